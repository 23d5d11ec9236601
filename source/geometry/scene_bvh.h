#pragma once

#include "foundation/math/vec3.h"
#include "geometry/bvh.h"
#include "geometry/huge_page_allocator.h"
#include "geometry/wide_bvh.h"
#include "world/entity_map.h"

#include <cstdint>
#include <span>
#include <vector>

namespace verdanium {

class Entity;
class Scene;
struct Hit;
struct Ray;

// Build record of one entity at the scene level: its world box and the box's centre.
struct EntityPrimitive {
    Entity* entity = nullptr;
    Vec3 lower;
    Vec3 upper;
    Vec3 centroid;
};

// The entity's world box: the mesh's radius cube (which holds the mesh under any
// rotation about its origin) moved by the translation column of the transform.
// Rotation and scale are ignored, so a tumbling asteroid's box never has to be
// recomputed from its vertices.
EntityPrimitive makeEntityPrimitive(Entity& entity);

// The upper level of the two-level hierarchy: one tree over the entities in world
// space, thrown away and built again in full after every step in which they
// moved. Leaves hold raw entity pointers: the scene's map owns the entities, and
// the tree must not be queried between a change of the map and the next build.
class SceneBvh : public Bvh<EntityPrimitive, Entity*, Scene> {
public:
    explicit SceneBvh(Scene* owner = nullptr) : Bvh(owner) {}

    // Builds over the entities of [first, last) in map order, i.e. by ascending
    // key, by the rules of the mesh level's median build: one item per leaf, the
    // longest axis of the centroids' box with its tie rules, the object median
    // at floor(n / 2), pre-order nodes, leaf index = position in primitives. The
    // tree is the one Bvh::buildFromPrimitives makes over the same primitives
    // (up to the order among equal coordinates, which carries no meaning).
    // The arrays keep their capacity, so once they have grown a rebuild
    // allocates nothing.
    void build(EntityMap::const_iterator first, EntityMap::const_iterator last);

    // The same build over primitives captured during the caller's own walk
    // over the map, so that a step walks its entities once: startCapture, then
    // capture(entity, final) for every entity in map order, then
    // buildCaptured. `final` promises that nothing moves the entity before
    // buildCaptured; an entity captured without it is captured again there.
    void startCapture();
    void capture(Entity& entity, bool final);
    void buildCaptured();

    // Centroid of a primitive and its position in the build's gathered copy of
    // the primitives: what the median selection moves around, a third the size
    // of a primitive, and one SSE register.
    struct alignas(16) SplitRecord {
        float centroid[3];
        std::uint32_t primitive;
    };

    // A primitive as the build carries it about until the last pass: its
    // centroid, which the records hold, is made again from the box. Two to a
    // cache line, where a whole primitive takes a line and a half, since the
    // build's scratch is most of what a step streams through memory.
    struct alignas(32) CapturedBox {
        Entity* entity;
        Vec3 lower;
        Vec3 upper;
    };

    // Empties the tree and its wide copy, keeping their capacity.
    void clearKeepingCapacity() {
        Bvh::clearKeepingCapacity();
        wide_.clear();
    }

    // Nearest hit over the tree; each entity reached is tested in its object
    // space. The walk runs over a four-wide copy of the tree, made by every
    // build, and answers as the binary walk does (binary_bvh_walk.h): the same
    // entities tested in the same order under the same limits. Returns false
    // at once when the tree has never been built.
    bool intersect(const Ray& ray, Hit& hit) const;
    // Any hit, the entities tested in the binary walk's order (which decides
    // which singular transform is reached first). The ray's range limits only
    // the entity boxes: inside an entity the object-space ray runs from 0 to
    // infinity.
    bool occluded(const Ray& ray) const;

    // Nearest hits of up to 64 rays asked together (scene_bvh_batch.cpp): on return hits[i] and bit i of the
    // result are what intersect(rays[i], hits[i]) would have given, to the bit. Rays that leave one point
    // with the same signs of direction (a tile's camera rays) are walked as a group, the others one by one.
    std::uint64_t intersectBatch(std::span<const Ray> rays, std::span<Hit> hits) const;

private:
    void gatherArrangement();
    void resumeRootAxisArrangement();
    void makeNodeLayout(std::size_t first, std::size_t last);
    void makeCentroidBoxes(std::size_t firstNode, std::size_t endNode);
    void splitNodes(bool freshLayout);
    void splitNodesFrom(std::size_t firstNode, std::size_t endNode, std::size_t staleEnd);
    void prepareOtherRootAxes();
    void prepareOtherChildAxes(const std::uint32_t* mapIndexOfSlot);
    void keepChildArrangement(std::size_t node, std::uint8_t axis, const std::uint32_t* mapIndexOfSlot);
    bool resumeChildArrangement(std::size_t node, std::uint8_t axis);
    bool swapAcrossMedian(std::size_t node, std::size_t first, std::size_t last, std::uint8_t axis);
    template <bool kLargest>
    std::size_t extremePosition(std::size_t node, std::size_t first, std::size_t last,
                                std::uint8_t axis) const;
    void refreshCentroidPath(std::size_t node, std::size_t first, std::size_t last, std::size_t position);
    void splitAtMedian(std::size_t first, std::size_t last, std::uint8_t axis, const BoundingBox& centroids);

    // What the queries walk: the finished tree, four children to a node.
    WideBvh wide_;

    // Scratch of the build, kept with its capacity between builds. The build
    // starts from the arrangement the last one left: mapIndexOf_[i] is the map
    // position of the primitive at leaf position i.
    std::vector<std::uint32_t> mapIndexOf_;
    std::vector<std::uint32_t> nextMapIndexOf_;
    // The primitives, and their records, in that arrangement.
    std::vector<CapturedBox, HugePageAllocator<CapturedBox>> arranged_;
    std::vector<SplitRecord, HugePageAllocator<SplitRecord>> records_;
    // The leaf positions [first, last) under each node, by node position.
    struct NodeRange {
        std::uint32_t first;
        std::uint32_t last;
    };
    std::vector<NodeRange, HugePageAllocator<NodeRange>> nodeRanges_;
    // The shape of the tree in a quarter of the memory of its nodes, for the
    // passes that walk all of it: by node position, the right child's
    // position, or for a leaf kLeafBit and its record's position.
    static constexpr std::uint32_t kLeafBit = 0x80000000u;
    std::vector<std::uint32_t, HugePageAllocator<std::uint32_t>> topology_;
    // The split axes by node position, written into the nodes by the last pass.
    std::vector<std::uint8_t> axes_;
    // Box of the records' centroids under each node, by node position.
    std::vector<BoundingBox, HugePageAllocator<BoundingBox>> centroidBoxes_;
    // Scratch of the splits.
    std::vector<SplitRecord> splitOutput_;
    std::vector<SplitRecord> straddling_;
    std::vector<std::uint32_t> histogram_;
    std::vector<CapturedBox, HugePageAllocator<CapturedBox>> inMapOrder_;
    // An arrangement of a subtree's records (the map positions, as mapIndexOf_)
    // and its node axes, kept for when the subtree's top turns to an axis again.
    struct KeptArrangement {
        std::vector<std::uint32_t> mapIndexOf;
        std::vector<std::uint8_t> axes;
    };
    // Per root axis, the whole tree's of the last build whose root split on it;
    // empty when there is none for this count.
    KeptArrangement rootAxisArrangements_[3];
    // Per root axis, root child (left, right) and the child's axis, the child's
    // subtree's of the last step in which the child split on it.
    KeptArrangement childAxisArrangements_[3][2][3];
    // Scratch of the child arrangements: kept positions by map position, and
    // a child's records and axes saved while the others are prepared.
    std::vector<std::uint32_t> keptPositionOf_;
    std::vector<SplitRecord> savedRecords_;
    std::vector<std::uint8_t> savedAxes_;
    // Map positions of the entities to capture again before the build.
    std::vector<std::uint32_t> recapture_;
    // Some centroid coordinate is NaN: then every node takes the plain
    // selection, which orders NaN last.
    bool anyNan_ = false;
};

// Nearest-hit test of one entity: the world ray taken into object space and
// handed to the entity's mesh with the caller's hit, whose t bounds the search.
// On a hit, sets hit.entity and clears hit.complete. Raises std::domain_error
// "transformation not invertible" for a singular transform.
bool intersectEntity(Entity& entity, const Ray& worldRay, Hit& hit);

// Any-hit test of one entity, over the whole object-space line from 0 on.
bool entityOccludes(const Entity& entity, const Ray& worldRay);

} // namespace verdanium
