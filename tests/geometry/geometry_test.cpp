#include "geometry/geometry.h"

#include "foundation/resource_cache.h"
#include "support/gl_test_context.h"
#include "test_files.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace verdanium {
namespace {

void expectVec3(const Vec3& actual, const Vec3& expected) {
    EXPECT_FLOAT_EQ(actual.x, expected.x);
    EXPECT_FLOAT_EQ(actual.y, expected.y);
    EXPECT_FLOAT_EQ(actual.z, expected.z);
}

void expectTexCoord(const TexCoord& actual, const TexCoord& expected) {
    EXPECT_FLOAT_EQ(actual.u, expected.u);
    EXPECT_FLOAT_EQ(actual.v, expected.v);
}

GLint bufferSize(uint32_t buffer) {
    GLint size = -1;
    glBindBuffer(GL_ARRAY_BUFFER, buffer);
    glGetBufferParameteriv(GL_ARRAY_BUFFER, GL_BUFFER_SIZE, &size);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    return size;
}

TEST(GeometryTest, DefaultMeshIsEmpty) {
    Geometry geometry;
    EXPECT_TRUE(geometry.positions.empty());
    EXPECT_TRUE(geometry.triangleMaterials.empty());
    EXPECT_EQ(geometry.positionBuffer, 0u);
    EXPECT_TRUE(geometry.radiusBounds.isEmpty());
    EXPECT_EQ(geometry.radiusBounds.lower.x, std::numeric_limits<float>::infinity());
    EXPECT_TRUE(geometry.tightBounds.isEmpty());
    EXPECT_EQ(geometry.bvh.owner, &geometry);
}

TEST(GeometryTest, QuadIsAFanOfFourAroundItsCentre) {
    VERDANIUM_REQUIRE_GL();
    std::shared_ptr<Geometry> quad = makeQuad(2.0f);

    const std::vector<Vec3> positions = {
        {-1, -1, 1}, {1, -1, 1}, {0, 0, 1}, {1, -1, 1}, {1, 1, 1},   {0, 0, 1},
        {1, 1, 1},   {-1, 1, 1}, {0, 0, 1}, {-1, 1, 1}, {-1, -1, 1}, {0, 0, 1},
    };
    const std::vector<TexCoord> texCoords = {
        {0, 0}, {1, 0}, {0.5f, 0.5f}, {1, 0}, {1, 1}, {0.5f, 0.5f},
        {1, 1}, {0, 1}, {0.5f, 0.5f}, {0, 1}, {0, 0}, {0.5f, 0.5f},
    };
    ASSERT_EQ(quad->positions.size(), 12u);
    ASSERT_EQ(quad->texCoords.size(), 12u);
    ASSERT_EQ(quad->normals.size(), 12u);
    for (size_t i = 0; i < 12; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(quad->positions[i], positions[i]);
        EXPECT_EQ(quad->normals[i], (Vec3{0, 0, 1}));
        expectTexCoord(quad->texCoords[i], texCoords[i]);
    }
    EXPECT_EQ(quad->triangleMaterials, (std::vector<uint64_t>{0, 0, 0, 0}));
    EXPECT_TRUE(quad->materials.empty());

    const float r = std::sqrt(3.0f);
    EXPECT_EQ(quad->radiusBounds.lower, (Vec3{-r, -r, -r}));
    EXPECT_EQ(quad->radiusBounds.upper, (Vec3{r, r, r}));
    EXPECT_EQ(quad->tightBounds.lower, (Vec3{-1, -1, 1}));
    EXPECT_EQ(quad->tightBounds.upper, (Vec3{1, 1, 1}));

    // Only the arrays that hold something get a buffer, of exactly their size.
    EXPECT_EQ(bufferSize(quad->positionBuffer), 12 * 12);
    EXPECT_EQ(bufferSize(quad->normalBuffer), 12 * 12);
    EXPECT_EQ(bufferSize(quad->texCoordBuffer), 12 * 8);
    EXPECT_EQ(quad->extraBuffer0, 0u);
    EXPECT_EQ(quad->extraBuffer1, 0u);
    EXPECT_EQ(quad->indexBuffer, 0u);
    EXPECT_EQ(quad->bvh.nodes.size(), 7u); // the acceleration structures were built last

    EXPECT_EQ(makeQuad(2.0f), quad);
    std::shared_ptr<Geometry> bigger = makeQuad(4.0f);
    EXPECT_NE(bigger, quad);
    EXPECT_EQ(bigger->positions[0], (Vec3{-2, -2, 2}));
}

TEST(GeometryTest, CubeFacesFollowTheStripLayout) {
    VERDANIUM_REQUIRE_GL();
    std::shared_ptr<Geometry> cube = makeCube(10.0f);
    const float h = 5.0f;
    struct Face {
        Vec3 corners[4];
        Vec3 normal;
        TexCoord texCoords[4];
        Vec3 centre;
        TexCoord centreTexCoord;
    };
    const float s = 1.0f / 6.0f;
    const Face faces[6] = {
        {{{-h, -h, -h}, {-h, -h, h}, {-h, h, h}, {-h, h, -h}},
         {-1, 0, 0},
         {{0, s}, {1, s}, {1, 2 * s}, {0, 2 * s}},
         {-h, 0, 0},
         {0.5f, 1.5f * s}},
        {{{h, -h, h}, {h, -h, -h}, {h, h, -h}, {h, h, h}},
         {1, 0, 0},
         {{0, 0}, {1, 0}, {1, s}, {0, s}},
         {h, 0, 0},
         {0.5f, 0.5f * s}},
        {{{h, -h, h}, {-h, -h, h}, {-h, -h, -h}, {h, -h, -h}},
         {0, -1, 0},
         {{1, 4 * s}, {0, 4 * s}, {0, 3 * s}, {1, 3 * s}},
         {0, -h, 0},
         {0.5f, 3.5f * s}},
        {{{-h, h, h}, {h, h, h}, {h, h, -h}, {-h, h, -h}},
         {0, 1, 0},
         {{0, 2 * s}, {1, 2 * s}, {1, 3 * s}, {0, 3 * s}},
         {0, h, 0},
         {0.5f, 2.5f * s}},
        {{{h, -h, -h}, {-h, -h, -h}, {-h, h, -h}, {h, h, -h}},
         {0, 0, -1},
         {{0, 5 * s}, {1, 5 * s}, {1, 1}, {0, 1}},
         {0, 0, -h},
         {0.5f, 5.5f * s}},
        {{{-h, -h, h}, {h, -h, h}, {h, h, h}, {-h, h, h}},
         {0, 0, 1},
         {{0, 4 * s}, {1, 4 * s}, {1, 5 * s}, {0, 5 * s}},
         {0, 0, h},
         {0.5f, 4.5f * s}},
    };
    ASSERT_EQ(cube->positions.size(), 72u);
    ASSERT_EQ(cube->triangleMaterials.size(), 24u);
    for (int f = 0; f < 6; ++f) {
        for (int k = 0; k < 4; ++k) {
            SCOPED_TRACE(::testing::Message() << "face " << f << " triangle " << k);
            const size_t first = 12 * f + 3 * k;
            const int next = (k + 1) % 4;
            EXPECT_EQ(cube->positions[first], faces[f].corners[k]);
            EXPECT_EQ(cube->positions[first + 1], faces[f].corners[next]);
            EXPECT_EQ(cube->positions[first + 2], faces[f].centre);
            expectTexCoord(cube->texCoords[first], faces[f].texCoords[k]);
            expectTexCoord(cube->texCoords[first + 1], faces[f].texCoords[next]);
            expectTexCoord(cube->texCoords[first + 2], faces[f].centreTexCoord);
            for (int corner = 0; corner < 3; ++corner)
                EXPECT_EQ(cube->normals[first + corner], faces[f].normal);
        }
    }
    expectVec3(cube->radiusBounds.upper, Vec3{5 * std::sqrt(3.0f), 5 * std::sqrt(3.0f), 5 * std::sqrt(3.0f)});
    EXPECT_EQ(cube->tightBounds.lower, (Vec3{-h, -h, -h}));
    EXPECT_EQ(makeCube(10.0f), cube);
}

using GeometryFileTest = TestFilesFixture;

// Two triangles off the origin, in two groups; the file's last group comes first in the soup.
const char* const kTwoGroups = "v 1 1 1\nv 3 1 1\nv 3 3 1\nv 1 3 5\n"
                               "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
                               "vn 0 0 1\nvn 0 1 0\n"
                               "g first\nf 1/1/1 2/2/1 3/3/1\n"
                               "g second\nf 1/4/2 3/3/2 4/2/2\n";

TEST_F(GeometryFileTest, CornersFollowTheGroupListNewestFirst) {
    VERDANIUM_REQUIRE_GL();
    Geometry geometry(write("mesh.obj", kTwoGroups));
    ASSERT_EQ(geometry.positions.size(), 6u);
    EXPECT_EQ(geometry.positions[0], (Vec3{1, 1, 1})); // "second": corners 1, 3, 4
    EXPECT_EQ(geometry.positions[1], (Vec3{3, 3, 1}));
    EXPECT_EQ(geometry.positions[2], (Vec3{1, 3, 5}));
    EXPECT_EQ(geometry.positions[4], (Vec3{3, 1, 1})); // then "first": corners 1, 2, 3
    EXPECT_EQ(geometry.normals[0], (Vec3{0, 1, 0}));
    EXPECT_EQ(geometry.normals[5], (Vec3{0, 0, 1}));
    expectTexCoord(geometry.texCoords[0], TexCoord{0, 1});
    expectTexCoord(geometry.texCoords[4], TexCoord{1, 0});
    EXPECT_EQ(geometry.triangleMaterials, (std::vector<uint64_t>{0, 0}));
    EXPECT_TRUE(geometry.materials.empty());
    EXPECT_EQ(geometry.tightBounds.lower, (Vec3{1, 1, 1}));
    EXPECT_EQ(geometry.tightBounds.upper, (Vec3{3, 3, 5}));
    EXPECT_NE(geometry.positionBuffer, 0u);
}

TEST_F(GeometryFileTest, QuadrilateralAndMissingIndexKinds) {
    VERDANIUM_REQUIRE_GL();
    // Faces that give no normals or texture coordinates read them as zero rather than from outside the file.
    Geometry geometry(write("quad.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3 4\n"));
    ASSERT_EQ(geometry.positions.size(), 6u);
    EXPECT_EQ(geometry.positions[3], (Vec3{0, 0, 0}));
    EXPECT_EQ(geometry.positions[4], (Vec3{1, 1, 0}));
    EXPECT_EQ(geometry.positions[5], (Vec3{0, 1, 0}));
    EXPECT_EQ(geometry.normals[5], (Vec3{0, 0, 0}));
    expectTexCoord(geometry.texCoords[5], TexCoord{0, 0});
}

TEST_F(GeometryFileTest, MaterialsAreCopiedByPosition) {
    VERDANIUM_REQUIRE_GL();
    write("lib.mtl", "newmtl rock\nmap_Kd rock.pbm\nnewmtl ice\nKd 0 0 1\n");
    Geometry geometry(
        write("mesh.obj", std::string("mtllib lib.mtl\n") + kTwoGroups + "usemtl ice\nf 1 2 3\n"));
    ASSERT_EQ(geometry.materials.size(), 3u);
    EXPECT_STREQ(geometry.materials[1].diffuseMap, "rock.pbm"); // still valid after the model was freed
    EXPECT_EQ(geometry.materials[2].diffuse[2], 1.0f);
    // The ice face was added to group "second", which leads the soup.
    EXPECT_EQ(geometry.triangleMaterials, (std::vector<uint64_t>{0, 2, 0}));
}

TEST_F(GeometryFileTest, OnlyAsteroidPathsAreRecentred) {
    VERDANIUM_REQUIRE_GL();
    Geometry plain(write("rock.obj", kTwoGroups));
    Geometry inDirectory(write("asteroid/rock.obj", kTwoGroups));
    Geometry inName(write("big_asteroid3.obj", kTwoGroups));

    EXPECT_EQ(plain.positions[0], (Vec3{1, 1, 1}));
    for (const Geometry* moved : {&inDirectory, &inName}) {
        Vec3 sum;
        float radius = 0.0f;
        for (size_t i = 0; i < moved->positions.size(); ++i) {
            sum += moved->positions[i];
            radius = std::fmax(radius, length(moved->positions[i]));
            // Every corner moved by the same mean: (12, 12, 10) / 6.
            expectVec3(moved->positions[i] - plain.positions[i], Vec3{-2.0f, -2.0f, -10.0f / 6.0f});
        }
        EXPECT_NEAR(length(sum), 0.0f, 1e-5f);
        EXPECT_FLOAT_EQ(moved->radiusBounds.upper.x, radius);
        EXPECT_FLOAT_EQ(moved->tightBounds.upper.z, 5.0f - 10.0f / 6.0f);
    }
}

TEST_F(GeometryFileTest, EmptyAsteroidCannotBeRecentred) {
    VERDANIUM_REQUIRE_GL();
    std::string path = write("asteroid_empty.obj", "# nothing\n");
    try {
        Geometry geometry(path);
        FAIL() << "expected a domain_error";
    } catch (const std::domain_error& error) {
        EXPECT_STREQ(error.what(), "element not invertible");
    }
    Geometry empty(write("empty.obj", "# nothing\n"));
    EXPECT_EQ(empty.tightBounds.lower, (Vec3{0, 0, 0}));
    EXPECT_EQ(empty.positionBuffer, 0u);
}

TEST_F(GeometryFileTest, LoadGoesThroughTheCache) {
    VERDANIUM_REQUIRE_GL();
    std::string path = write("sub/mesh.obj", kTwoGroups);
    std::shared_ptr<Geometry> first = Geometry::load(path);
    EXPECT_EQ(Geometry::load(path), first);
    std::string otherSpelling = (directory / "sub").string() + "//mesh.obj";
    EXPECT_NE(Geometry::load(otherSpelling), first);
    EXPECT_TRUE(gGeometryCache.contains(path));
}

} // namespace
} // namespace verdanium
