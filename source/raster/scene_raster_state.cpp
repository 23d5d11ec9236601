#include "raster/scene_raster_state.h"

#include "tracer/renderer.h"

#include <GL/glew.h>

#include <iostream>

namespace verdanium {

bool isRasterMode(std::uint32_t mode) {
    return mode == RenderModeFixedRaster || mode == RenderModeShaderRaster || mode == RenderModeHybrid;
}

void reportCannotRasterize(std::uint32_t mode) {
    std::cerr << "error: cannot rasterize in RenderMode " << mode << std::endl;
}

void applyRasterState() {
    glEnable(GL_LIGHTING);
    glEnable(GL_LIGHT0);
    glEnable(GL_DEPTH_TEST);
    glLightModelf(GL_LIGHT_MODEL_LOCAL_VIEWER, 1.0f);
    glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
    glDisable(GL_CULL_FACE);
}

} // namespace verdanium
