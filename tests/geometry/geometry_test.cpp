#include "geometry/geometry.h"

#include "geometry/bvh.h"
#include "geometry/hit.h"
#include "geometry/intersector_mode.h"
#include "geometry/ray.h"
#include "geometry/ray_transform.h"
#include "support/gl_test_context.h"
#include "support/test_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
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

// Each face a fan (c0, c1, m), (c1, c2, m), (c2, c3, m), (c3, c0, m) with its outward normal at every corner;
// u runs across the strip, v over the face's sixth of it.
TEST(GeometryTest, CubeFacesHaveTheirCornersNormalsAndStripRanges) {
    VERDANIUM_REQUIRE_GL();
    const std::shared_ptr<Geometry> cube = makeCube(4.0f);
    struct Face {
        Vec3 normal, corners[4];
        float a, b;
        bool reversed; // (1, b), (0, b), (0, a), (1, a) instead of (0, a), (1, a), (1, b), (0, b)
    };
    const float h = 2.0f;
    const Face faces[] = {
        {{-1, 0, 0}, {{-h, -h, -h}, {-h, -h, h}, {-h, h, h}, {-h, h, -h}}, 1 / 6.0f, 2 / 6.0f, false},
        {{1, 0, 0}, {{h, -h, h}, {h, -h, -h}, {h, h, -h}, {h, h, h}}, 0.0f, 1 / 6.0f, false},
        {{0, -1, 0}, {{h, -h, h}, {-h, -h, h}, {-h, -h, -h}, {h, -h, -h}}, 3 / 6.0f, 4 / 6.0f, true},
        {{0, 1, 0}, {{-h, h, h}, {h, h, h}, {h, h, -h}, {-h, h, -h}}, 2 / 6.0f, 3 / 6.0f, false},
        {{0, 0, -1}, {{h, -h, -h}, {-h, -h, -h}, {-h, h, -h}, {h, h, -h}}, 5 / 6.0f, 1.0f, false},
        {{0, 0, 1}, {{-h, -h, h}, {h, -h, h}, {h, h, h}, {-h, h, h}}, 4 / 6.0f, 5 / 6.0f, false},
    };
    ASSERT_EQ(cube->positions.size(), 72u);
    for (int f = 0; f < 6; ++f) {
        const Face& face = faces[f];
        const TexCoord straight[4] = {{0, face.a}, {1, face.a}, {1, face.b}, {0, face.b}};
        const TexCoord reversed[4] = {{1, face.b}, {0, face.b}, {0, face.a}, {1, face.a}};
        const TexCoord* coordinates = face.reversed ? reversed : straight;
        for (int k = 0; k < 4; ++k) {
            SCOPED_TRACE(::testing::Message() << "face " << f << ", triangle " << k);
            const std::size_t first = 12 * f + 3 * k;
            const int next = (k + 1) % 4;
            EXPECT_EQ(cube->positions[first], face.corners[k]);
            EXPECT_EQ(cube->positions[first + 1], face.corners[next]);
            EXPECT_EQ(cube->positions[first + 2], face.normal * h);
            expectTexCoord(cube->texCoords[first], coordinates[k].u, coordinates[k].v);
            expectTexCoord(cube->texCoords[first + 1], coordinates[next].u, coordinates[next].v);
            expectTexCoord(cube->texCoords[first + 2], 0.5f, 0.5f * (face.a + face.b));
            for (int corner = 0; corner < 3; ++corner)
                EXPECT_EQ(cube->normals[first + corner], face.normal);
        }
    }
}

// Both hierarchies name a struck triangle by its first corner, three times its number, with the barycentric
// (u, v) of corners 1 and 2; a ray at each triangle's centroid along its inward normal strikes that one.
TEST(GeometryTest, BothHierarchiesNameTheTriangleStruckAndItsBarycentrics) {
    VERDANIUM_REQUIRE_GL();
    const std::shared_ptr<Geometry> cube = makeCube(4.0f);
    const std::int32_t modeBefore = gIntersectorMode;
    for (std::int32_t mode : {0, 1}) {
        gIntersectorMode = mode;
        for (std::size_t first = 0; first < cube->positions.size(); first += 3) {
            const Vec3* p = &cube->positions[first];
            // Corner weights 0.2, 0.3, 0.5: u = 0.3, v = 0.5.
            const Vec3 target = p[0] * 0.2f + p[1] * 0.3f + p[2] * 0.5f;
            Ray ray;
            ray.origin = target + cube->normals[first] * 3.0f;
            ray.direction = cube->normals[first] * -1.0f;
            Hit hit;
            ASSERT_TRUE(cube->intersect(ray, hit)) << "mode " << mode << ", corner " << first;
            EXPECT_EQ(hit.firstIndex, first) << "mode " << mode;
            EXPECT_NEAR(hit.u, 0.3f, 1e-5f) << "mode " << mode << ", corner " << first;
            EXPECT_NEAR(hit.v, 0.5f, 1e-5f) << "mode " << mode << ", corner " << first;
            EXPECT_NEAR(hit.t, 3.0f, 1e-5f);
        }
    }
    gIntersectorMode = modeBefore;
}

// A triangle is placed by the centre of its box, not by the mean of its corners: the wide triangle's centre
// (x 5) lies left of the narrow one's (x 5.75), though its corner mean (6.67) lies right of the other's.
// The object-space ray by the rule, row by row: x * column 0 + y * column 1 + z * column 2 + w * column 3,
// summed left to right, and for the origin (w = 1) the coordinates times 1 / w unless w is exactly 1.
TEST(GeometryTest, ObjectSpaceRayIsTheMatrixProductToTheBit) {
    const auto product = [](const Mat4& m, const Vec3& v, float w, int row) {
        return m.m[row] * v.x + m.m[4 + row] * v.y + m.m[8 + row] * v.z + m.m[12 + row] * w;
    };
    const auto same = [](float a, float b) {
        return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b) || (a != a && b != b);
    };
    std::mt19937 random(11);
    const auto number = [&] {
        // Mantissas of every kind over a wide range of exponents, and now and then an exact 0, 1 or -0.
        const std::uint32_t pick = random() % 16;
        if (pick < 3)
            return pick == 0 ? 0.0f : (pick == 1 ? 1.0f : -0.0f);
        return std::ldexp(std::uniform_real_distribution<float>(-1, 1)(random), int(random() % 40) - 20);
    };
    const float specials[] = {INFINITY, -INFINITY, NAN, -2.5f};
    for (int trial = 0; trial < 4000; ++trial) {
        Mat4 m;
        for (float& element : m.m)
            element = number();
        // Mostly the last row of an affine transform (w = 1); else a projective one, or a special value in
        // the translation column, which the direction multiplies by 0.
        if (trial % 4 != 0) {
            m.m[3] = m.m[7] = m.m[11] = 0.0f;
            m.m[15] = 1.0f;
        }
        if (trial % 7 == 0)
            m.m[12 + trial % 3] = specials[trial % 4];
        Ray ray;
        ray.origin = {number(), number(), number()};
        ray.direction = {number(), number(), number()};
        ray.countsLights = trial % 2 == 0;
        const float w = product(m, ray.origin, 1.0f, 3);
        if (w == 0.0f) {
            EXPECT_THROW(toObjectSpace(m, ray), std::domain_error);
            continue;
        }
        const Ray object = toObjectSpace(m, ray);
        for (int row = 0; row < 3; ++row) {
            float origin = product(m, ray.origin, 1.0f, row);
            if (w != 1.0f)
                origin *= 1.0f / w;
            EXPECT_TRUE(same(object.origin[row], origin)) << trial << " origin " << row;
            EXPECT_TRUE(same(object.direction[row], product(m, ray.direction, 0.0f, row)))
                << trial << " direction " << row;
        }
        EXPECT_EQ(object.countsLights, ray.countsLights);
        EXPECT_EQ(object.tMin, 0.0f);
        EXPECT_EQ(object.tMax, INFINITY);
    }
}

TEST(GeometryTest, TreeOrdersTrianglesByTheCentresOfTheirBoxes) {
    const std::vector<Vec3> positions = {{5.5f, 0, 0}, {6, 0, 0},  {6, 0.1f, 0},
                                         {0, 0, 0},    {10, 0, 0}, {10, 0.1f, 0}};
    MeshBvh bvh;
    bvh.build(positions);
    ASSERT_EQ(bvh.nodes.size(), 3u);
    const BvhNode& root = bvh.nodes[0];
    EXPECT_TRUE(root.count == 0 && root.axis == 0 && root.index == 2);
    EXPECT_TRUE(root.lower == (Vec3{0, 0, 0}) && root.upper == (Vec3{10, 0.1f, 0}));
    EXPECT_TRUE(bvh.nodes[1].lower == (Vec3{0, 0, 0}) && bvh.nodes[1].upper == (Vec3{10, 0.1f, 0}));
    EXPECT_TRUE(bvh.nodes[2].lower == (Vec3{5.5f, 0, 0}) && bvh.nodes[2].upper == (Vec3{6, 0.1f, 0}));
    EXPECT_TRUE(bvh.nodes[1].count == 1 && bvh.nodes[1].index == 0 && bvh.nodes[2].index == 1);
    EXPECT_EQ(bvh.leafItems, (std::vector<std::uint32_t>{3, 0}));
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
