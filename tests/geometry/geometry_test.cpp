#include "geometry/geometry.h"

#include "support/gl_test_context.h"
#include "test_files.h"

#include <GL/glew.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

namespace verdanium {
namespace {

using ::testing::ThrowsMessage;

void expectTexCoord(const TexCoord& actual, float u, float v) {
    EXPECT_FLOAT_EQ(actual.u, u);
    EXPECT_FLOAT_EQ(actual.v, v);
}

GLint bufferSize(uint32_t buffer) {
    GLint size = -1;
    glBindBuffer(GL_ARRAY_BUFFER, buffer);
    glGetBufferParameteriv(GL_ARRAY_BUFFER, GL_BUFFER_SIZE, &size);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    return size;
}

// One square face of a shape: its corners as signs of the half size ("-+-" is (-h, h, -h)), and its texture
// coordinates as u and v in sixths of the strip ("12" is (1, 2/6)). The face is a fan of four triangles
// (corner k, corner k + 1, centre), with the outward normal at every corner.
void expectFace(const Geometry& shape, int face, float half, const char* signs, const char* texCoords) {
    Vec3 corner[4], centre;
    float u[4], v[4];
    for (int k = 0; k < 4; ++k) {
        for (int axis = 0; axis < 3; ++axis)
            corner[k][axis] = signs[4 * k + axis] == '+' ? half : -half;
        u[k] = float(texCoords[3 * k] - '0');
        v[k] = float(texCoords[3 * k + 1] - '0') / 6.0f;
        centre += corner[k] * 0.25f;
    }
    for (int k = 0; k < 4; ++k) {
        SCOPED_TRACE(::testing::Message() << "face " << face << " triangle " << k);
        const size_t first = 12 * face + 3 * k;
        const int next = (k + 1) % 4;
        EXPECT_EQ(shape.positions[first], corner[k]);
        EXPECT_EQ(shape.positions[first + 1], corner[next]);
        EXPECT_EQ(shape.positions[first + 2], centre);
        expectTexCoord(shape.texCoords[first], u[k], v[k]);
        expectTexCoord(shape.texCoords[first + 1], u[next], v[next]);
        expectTexCoord(shape.texCoords[first + 2], 0.5f, (v[0] + v[1] + v[2] + v[3]) / 4);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(shape.normals[first + i], normalized(centre));
    }
}

TEST(GeometryTest, QuadIsAFanOfFourAroundItsCentre) {
    VERDANIUM_REQUIRE_GL();
    std::shared_ptr<Geometry> quad = makeQuad(2.0f);
    ASSERT_EQ(quad->positions.size(), 12u);
    expectFace(*quad, 0, 1.0f, "--+ +-+ +++ -++", "00 10 16 06");
    EXPECT_EQ(quad->triangleMaterials, (std::vector<uint64_t>{0, 0, 0, 0}));
    const float r = std::sqrt(3.0f);
    EXPECT_EQ(quad->radiusBounds.lower, (Vec3{-r, -r, -r}));
    EXPECT_EQ(quad->tightBounds.lower, (Vec3{-1, -1, 1}));
    EXPECT_EQ(quad->tightBounds.upper, (Vec3{1, 1, 1}));

    // Only the arrays that hold something get a buffer, of exactly their size.
    EXPECT_EQ(bufferSize(quad->positionBuffer), 12 * 12);
    EXPECT_EQ(bufferSize(quad->normalBuffer), 12 * 12);
    EXPECT_EQ(bufferSize(quad->texCoordBuffer), 12 * 8);
    EXPECT_EQ(quad->extraBuffer0, 0u);
    EXPECT_EQ(quad->indexBuffer, 0u);
    EXPECT_EQ(quad->bvh.nodes.size(), 7u); // the acceleration structures were built last

    EXPECT_EQ(makeQuad(2.0f), quad);
    EXPECT_NE(makeQuad(4.0f), quad);
    EXPECT_EQ(makeQuad(4.0f)->positions[0], (Vec3{-2, -2, 2}));
}

TEST(GeometryTest, CubeFacesFollowTheStripLayout) {
    VERDANIUM_REQUIRE_GL();
    std::shared_ptr<Geometry> cube = makeCube(10.0f);
    ASSERT_EQ(cube->positions.size(), 72u);
    ASSERT_EQ(cube->triangleMaterials.size(), 24u);
    expectFace(*cube, 0, 5.0f, "--- --+ -++ -+-", "01 11 12 02"); // -x
    expectFace(*cube, 1, 5.0f, "+-+ +-- ++- +++", "00 10 11 01"); // +x
    expectFace(*cube, 2, 5.0f, "+-+ --+ --- +--", "14 04 03 13"); // -y, its strip row turned half round
    expectFace(*cube, 3, 5.0f, "-++ +++ ++- -+-", "02 12 13 03"); // +y
    expectFace(*cube, 4, 5.0f, "+-- --- -+- ++-", "05 15 16 06"); // -z
    expectFace(*cube, 5, 5.0f, "--+ +-+ +++ -++", "04 14 15 05"); // +z
    EXPECT_FLOAT_EQ(cube->radiusBounds.upper.x, 5 * std::sqrt(3.0f));
    EXPECT_EQ(cube->tightBounds.lower, (Vec3{-5, -5, -5}));
    EXPECT_EQ(makeCube(10.0f), cube);
}

using GeometryFileTest = TestFilesFixture;

// Two triangles off the origin, in two groups; the file's last group comes first in the soup.
const std::string kTwoGroups =
    "v 1 1 1\nv 3 1 1\nv 3 3 1\nv 1 3 5\nvt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
    "vn 0 0 1\nvn 0 1 0\ng first\nf 1/1/1 2/2/1 3/3/1\ng second\nf 1/4/2 3/3/2 4/2/2\n";

TEST_F(GeometryFileTest, CornersAndMaterialsFollowTheGroupListNewestFirst) {
    VERDANIUM_REQUIRE_GL();
    write("lib.mtl", "newmtl rock\nmap_Kd rock.pbm\nnewmtl ice\nKd 0 0 1\n");
    // The last face goes to group "second", which leads the soup: its two faces, then the one of "first".
    Geometry geometry(write("mesh.obj", "mtllib lib.mtl\n" + kTwoGroups + "usemtl ice\nf 1 2 3\n"));
    ASSERT_EQ(geometry.positions.size(), 9u);
    EXPECT_EQ(geometry.positions[0], (Vec3{1, 1, 1})); // corners 1, 3, 4
    EXPECT_EQ(geometry.positions[1], (Vec3{3, 3, 1}));
    EXPECT_EQ(geometry.positions[2], (Vec3{1, 3, 5}));
    EXPECT_EQ(geometry.positions[4], (Vec3{3, 1, 1})); // corners 1, 2, 3 twice
    EXPECT_EQ(geometry.positions[7], (Vec3{3, 1, 1}));
    EXPECT_EQ(geometry.normals[0], (Vec3{0, 1, 0}));
    EXPECT_EQ(geometry.normals[8], (Vec3{0, 0, 1}));
    expectTexCoord(geometry.texCoords[0], 0, 1);
    expectTexCoord(geometry.texCoords[7], 1, 0);
    // A face that gives no normals or texture coordinates reads them as zero rather than from outside the
    // file.
    EXPECT_EQ(geometry.normals[5], (Vec3{0, 0, 0}));
    expectTexCoord(geometry.texCoords[5], 0, 0);
    EXPECT_EQ(geometry.tightBounds.lower, (Vec3{1, 1, 1}));
    EXPECT_EQ(geometry.tightBounds.upper, (Vec3{3, 3, 5}));

    ASSERT_EQ(geometry.materials.size(), 3u);
    EXPECT_STREQ(geometry.materials[1].diffuseMap, "rock.pbm"); // still valid after the model was freed
    EXPECT_EQ(geometry.materials[2].diffuse[2], 1.0f);
    EXPECT_EQ(geometry.triangleMaterials, (std::vector<uint64_t>{0, 2, 0}));
}

TEST_F(GeometryFileTest, OnlyAsteroidPathsAreRecentred) {
    VERDANIUM_REQUIRE_GL();
    Geometry plain(write("rock.obj", kTwoGroups));
    EXPECT_EQ(plain.positions[0], (Vec3{1, 1, 1}));
    for (const std::string name : {"asteroid/rock.obj", "big_asteroid3.obj"}) {
        Geometry moved(write(name, kTwoGroups));
        float radius = 0.0f;
        for (size_t i = 0; i < moved.positions.size(); ++i) {
            radius = std::fmax(radius, length(moved.positions[i]));
            // Every corner moved by the same mean: (12, 12, 10) / 6.
            const Vec3 shift = moved.positions[i] - plain.positions[i];
            EXPECT_FLOAT_EQ(shift.x, -2.0f) << name;
            EXPECT_FLOAT_EQ(shift.z, -10.0f / 6.0f) << name;
        }
        EXPECT_FLOAT_EQ(moved.radiusBounds.upper.x, radius);
        EXPECT_FLOAT_EQ(moved.tightBounds.upper.z, 5.0f - 10.0f / 6.0f);
    }
    // An asteroid without corners has no mean to centre on.
    const std::string empty = write("asteroid_empty.obj", "# nothing\n");
    EXPECT_THAT([&] { Geometry geometry(empty); },
                ThrowsMessage<std::domain_error>(::testing::StrEq("element not invertible")));
}

} // namespace
} // namespace verdanium
