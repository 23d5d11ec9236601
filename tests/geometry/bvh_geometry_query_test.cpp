#include "bvh_test_meshes.h"

#include "geometry/geometry.h"
#include "geometry/hit.h"
#include "geometry/intersector_mode.h"
#include "geometry/ray.h"

#include <gtest/gtest.h>

#include <vector>

namespace verdanium {
namespace {

// Sets the intersector mode for one test and puts the old one back.
class IntersectorModeScope {
public:
    explicit IntersectorModeScope(std::int32_t mode) : saved(gIntersectorMode) { gIntersectorMode = mode; }
    ~IntersectorModeScope() { gIntersectorMode = saved; }

private:
    std::int32_t saved;
};

// A mesh made without GL: positions only, then both structures as the constructors build them.
void fill(Geometry& mesh, std::vector<Vec3> positions, bool build) {
    mesh.positions = std::move(positions);
    if (build)
        mesh.buildAcceleration();
}

// How closely the structures agree is the oracle's matter; here: the mode picks the structure at each call,
// and every branch names the mesh in the Hit and clears `complete`.
TEST(GeometryQuery, TheModeChoosesTheStructurePerCallAndBothNameTrianglesAlike) {
    IntersectorModeScope scope(1);
    Geometry mesh;
    fill(mesh, bvh_test::makeLumpyBall(10), true);
    const BvhNode* nodesBefore = mesh.bvh.nodes.data();
    // The same triangles with no tree answer by the linear walk.
    Geometry walked;
    fill(walked, mesh.positions, false);

    bvh_test::RandomRays rays(11, 3.0f, 1.0f);
    int bothFound = 0;
    for (int i = 0; i < 300; ++i) {
        Ray ray;
        rays.next(ray.origin, ray.direction);
        Hit embree, ours, linear;
        embree.complete = ours.complete = true;
        gIntersectorMode = 1;
        const bool embreeFound = mesh.intersect(ray, embree);
        gIntersectorMode = 0;
        const bool oursFound = mesh.intersect(ray, ours);
        EXPECT_EQ(walked.intersect(ray, linear), oursFound);
        if (!(embreeFound && oursFound))
            continue;
        ++bothFound;
        EXPECT_EQ(embree.geometry, &mesh);
        EXPECT_EQ(ours.geometry, &mesh);
        EXPECT_EQ(linear.geometry, &walked);
        EXPECT_FALSE(embree.complete || ours.complete);
        EXPECT_EQ(ours.t, linear.t);
        EXPECT_NEAR(embree.t, ours.t, 1e-4f * (1.0f + ours.t));
    }
    EXPECT_GT(bothFound, 60);
    EXPECT_EQ(mesh.bvh.nodes.data(), nodesBefore) << "switching rebuilt nothing";
}

TEST(GeometryQuery, MeshesWithoutTrianglesOrStructuresHitNothing) {
    Ray ray;
    ray.origin = Vec3{0.25f, 0.25f, -1};
    ray.direction = Vec3{0, 0, 1};

    // No triangles but a tree of one empty root.
    Geometry empty;
    fill(empty, {}, true);
    ASSERT_EQ(empty.bvh.nodes.size(), 1u);
    // Two corners and no tree: the walk must not read them as a triangle.
    Geometry twoCorners;
    fill(twoCorners, {Vec3{0, 0, 0}, Vec3{1, 0, 0}}, false);
    // A mesh whose loading failed has no structures at all, in either mode.
    Geometry unbuilt;
    fill(unbuilt, {Vec3{0, 0, 0}, Vec3{1, 0, 0}, Vec3{0, 1, 0}}, false);

    for (std::int32_t mode : {0, 1}) {
        IntersectorModeScope scope(mode);
        for (const Geometry* mesh : {&empty, &twoCorners}) {
            Hit hit;
            EXPECT_FALSE(mesh->intersect(ray, hit)) << mode;
            EXPECT_FALSE(mesh->occluded(ray)) << mode;
        }
    }
    IntersectorModeScope scope(0);
    Hit hit;
    EXPECT_TRUE(unbuilt.intersect(ray, hit)) << "the walk covers a mesh with no tree";
    EXPECT_EQ(hit.firstIndex, 0u);
    gIntersectorMode = 1;
    EXPECT_FALSE(unbuilt.intersect(ray, hit)) << "no Embree scene: no hit rather than a crash";
}

} // namespace
} // namespace verdanium
