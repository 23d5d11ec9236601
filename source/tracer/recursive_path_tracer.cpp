#include "tracer/recursive_path_tracer.h"

#include "foundation/gl_error.h"
#include "geometry/geometry.h"
#include "platform/window.h"
#include "raster/composite_pass.h"
#include "raster/glsl_program.h"
#include "raster/hybrid_frame.h"
#include "raster/scene_raster_state.h"
#include "tracer/path_trace_frame.h"

#include <GL/glew.h>
#include <GL/glu.h>

#include <algorithm>
#include <iostream>
#include <sstream>
#include <string>

namespace verdanium {

namespace {

// Writes "title" and then each blank-separated word of text on a line of its
// own behind two blanks.
void printWordList(std::ostream& out, const char* title, const GLubyte* text) {
    out << title << '\n';
    std::istringstream words(text ? reinterpret_cast<const char*>(text) : "");
    std::string word;
    while (words >> word)
        out << "  " << word << '\n';
}

const char* glText(const GLubyte* text) {
    return text ? reinterpret_cast<const char*>(text) : "";
}

} // namespace

RecursivePathTracer::RecursivePathTracer(Window& window_, const WindowSettings& settings)
    : RecursivePathTracer(&window_, settings, window_.settings.width, window_.settings.height) {}

RecursivePathTracer::RecursivePathTracer(const WindowSettings& settings)
    : RecursivePathTracer(nullptr, settings, settings.width, settings.height) {}

RecursivePathTracer::RecursivePathTracer(Window* window_, const WindowSettings& settings,
                                         std::uint32_t firstWidth, std::uint32_t firstHeight)
    : window(window_), srgbOutput(settings.sRgb),
      camera(std::max<std::uint32_t>(firstWidth, 1), std::max<std::uint32_t>(firstHeight, 1)) {
    quad = makeQuad(2.0f);
    compositeProgram = GlslProgram::load("..\\..\\..\\data\\materials\\composite");

    resize(firstWidth, firstHeight);
    checkGlError(gl_check_site::kRendererFrame51);
    if (srgbOutput)
        glEnable(GL_FRAMEBUFFER_SRGB);
    // Pixel rows are tightly packed Vec4s; no row padding on upload or read-back.
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);

    prepareCompositeState(*this);
    checkGlError(gl_check_site::kRendererFrame105);
}

// The textures and the framebuffer object are left to the GL context, which
// takes them with it when the window goes.
RecursivePathTracer::~RecursivePathTracer() = default;

void RecursivePathTracer::render(Scene& frameScene) {
    scene = &frameScene;

    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();

    switch (renderMode) {
    case RenderModePathTrace:
        renderPathTraceFrame(*scene);
        break;
    case RenderModeFixedRaster:
    case RenderModeShaderRaster:
        glPushAttrib(kAllAttributeBits);
        applyRasterState();
        scene->rasterize(static_cast<RenderMode>(renderMode), camera);
        glPopAttrib();
        break;
    case RenderModeHybrid:
        renderHybridFrame(*this, *scene);
        break;
    default:
        std::cerr << "error: unknown RenderMode: " << renderMode << std::endl;
        break;
    }

    if (window != nullptr) {
        window->swapBuffers();
        if (window->pumpMessages)
            window->dispatchMessages();
    }
    checkGlError(gl_check_site::kRendererFrame309);
    dirty = false;
}

void RecursivePathTracer::resize(std::uint32_t newWidth, std::uint32_t newHeight) {
    newWidth = std::max<std::uint32_t>(newWidth, 1);
    newHeight = std::max<std::uint32_t>(newHeight, 1);
    glViewport(0, 0, static_cast<GLsizei>(newWidth), static_cast<GLsizei>(newHeight));

    camera = makeProjectedCamera(newWidth, newHeight);

    // Keeps the front of the old sums, read with the new row length, until the
    // scene next changes: a resize by itself starts no new picture.
    accumulation.resize(static_cast<std::size_t>(newWidth) * newHeight, Vec4{});
    width = newWidth;
    height = newHeight;
}

void RecursivePathTracer::printGlInfo(std::ostream& out) {
    out << "gl vendor: " << glText(glGetString(GL_VENDOR)) << '\n';
    out << "gl renderer: " << glText(glGetString(GL_RENDERER)) << '\n';
    out << "gl version: " << glText(glGetString(GL_VERSION)) << '\n';
    printWordList(out, "gl extensions: ", glGetString(GL_EXTENSIONS));
    out << "glu version: " << glText(gluGetString(GLU_VERSION)) << '\n';
    printWordList(out, "glu extensions: ", gluGetString(GLU_EXTENSIONS));
    out << "glew version: " << glText(glewGetString(GLEW_VERSION)) << '\n';
}

} // namespace verdanium
