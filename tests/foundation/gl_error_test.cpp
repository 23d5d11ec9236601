#include "foundation/gl_error.h"
#include "support/gl_test_context.h"

#include <GL/glew.h>

#include <GL/glu.h>
#include <gtest/gtest.h>
#include <iostream>
#include <sstream>

namespace verdanium {
namespace {

std::string gluText(GLenum code) {
    return reinterpret_cast<const char*>(gluErrorString(code));
}

TEST(PrintErrorReport, WritesErrorAndLocationLines) {
    std::ostringstream stream;
    printErrorReport(stream, gl_check_site::kWindowFinalContext, GL_INVALID_ENUM);
    EXPECT_EQ(stream.str(), "GL error: " + gluText(GL_INVALID_ENUM) +
                                "\n(printErrorReport called from: ..\\source\\window(582))\n");
}

TEST(PrintErrorReport, EmptyLocationWritesOnlyTheFirstLine) {
    std::ostringstream stream;
    printErrorReport(stream, "", GL_OUT_OF_MEMORY);
    EXPECT_EQ(stream.str(), "GL error: " + gluText(GL_OUT_OF_MEMORY) + "\n");
}

TEST(CheckGlError, ReportsAPendingErrorOnceOnStandardError) {
    VERDANIUM_REQUIRE_GL();
    while (glGetError() != GL_NO_ERROR) {
    }
    glEnable(0xFFFFu); // not a capability: GL_INVALID_ENUM

    ::testing::internal::CaptureStderr();
    checkGlError(gl_check_site::kBackgroundSetUp);
    checkGlError(gl_check_site::kBackgroundSetUp);
    std::string output = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(output, "GL error: " + gluText(GL_INVALID_ENUM) +
                          "\n(printErrorReport called from: ..\\source\\Background(62))\n");
}

} // namespace
} // namespace verdanium
