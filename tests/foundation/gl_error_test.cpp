#include "foundation/gl_error.h"
#include "support/gl_test_context.h"

#include <GL/glew.h>

#include <GL/glu.h>
#include <gtest/gtest.h>
#include <sstream>

namespace verdanium {
namespace {

std::string firstLine(GLenum code) {
    return std::string("GL error: ") + reinterpret_cast<const char*>(gluErrorString(code)) + "\n";
}

TEST(GlError, ReportHasTheLocationLineOnlyWhenThereIsALocation) {
    std::ostringstream stream;
    printErrorReport(stream, gl_check_site::kWindowFinalContext, GL_INVALID_ENUM);
    printErrorReport(stream, "", GL_OUT_OF_MEMORY);
    EXPECT_EQ(stream.str(), firstLine(GL_INVALID_ENUM) +
                                "(printErrorReport called from: ..\\source\\window(582))\n" +
                                firstLine(GL_OUT_OF_MEMORY));
}

TEST(GlError, CheckReportsAPendingErrorOnceOnStandardError) {
    VERDANIUM_REQUIRE_GL();
    while (glGetError() != GL_NO_ERROR) {
    }
    glEnable(0xFFFFu); // not a capability: GL_INVALID_ENUM
    ::testing::internal::CaptureStderr();
    checkGlError(gl_check_site::kBackgroundSetUp);
    checkGlError(gl_check_site::kBackgroundSetUp);
    const std::string output = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(output,
              firstLine(GL_INVALID_ENUM) + "(printErrorReport called from: ..\\source\\Background(62))\n");
}

} // namespace
} // namespace verdanium
