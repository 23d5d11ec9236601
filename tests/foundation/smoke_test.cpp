#include "support/gl_test_context.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

TEST(GlTestContext, ProvidesCompatibilityContext) {
    VERDANIUM_REQUIRE_GL();
    GLint major = 0;
    glGetIntegerv(GL_MAJOR_VERSION, &major);
    EXPECT_GE(major, 3);
}
