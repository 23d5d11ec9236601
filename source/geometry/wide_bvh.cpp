#include "geometry/wide_bvh.h"

#include "geometry/bounding_box.h"

#include <cmath>

namespace verdanium {

namespace {

void writeBox(WideBvhNode& wide, int lane, const Vec3& lower, const Vec3& upper) {
    wide.planes[0][lane] = lower.x;
    wide.planes[1][lane] = lower.y;
    wide.planes[2][lane] = lower.z;
    wide.planes[3][lane] = upper.x;
    wide.planes[4][lane] = upper.y;
    wide.planes[5][lane] = upper.z;
}

void setLane(WideBvhNode& wide, int lane, const BvhNode& box) {
    writeBox(wide, lane, box.lower, box.upper);
    wide.occupied |= static_cast<std::uint8_t>(1u << lane);
}

// A node with no lane occupied; the empty box in every lane as well, so that stray lanes read as misses.
// Its order lists the lanes as they stand.
WideBvhNode emptyWideNode() {
    WideBvhNode wide{};
    const BoundingBox empty;
    for (int lane = 0; lane < 4; ++lane)
        writeBox(wide, lane, empty.lower, empty.upper);
    for (std::uint8_t& order : wide.order)
        order = 0b11100100;
    return wide;
}

bool finite(const Vec3& v) {
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

bool holds(const BvhNode& outer, const BvhNode& inner) {
    return outer.lower.x <= inner.lower.x && outer.lower.y <= inner.lower.y &&
           outer.lower.z <= inner.lower.z && outer.upper.x >= inner.upper.x &&
           outer.upper.y >= inner.upper.y && outer.upper.z >= inner.upper.z;
}

// What the wide walk needs to skip the boxes of the levels it folds (see wide_bvh.h): every plane finite,
// no box inside out, and each inner box holding both of its children's.
bool foldableTree(std::span<const BvhNode> binary) {
    for (std::size_t i = 0; i < binary.size(); ++i) {
        const BvhNode& node = binary[i];
        if (!finite(node.lower) || !finite(node.upper) || !holds(node, node))
            return false;
        if (node.count == 0 && !(holds(node, binary[i + 1]) && holds(node, binary[node.index])))
            return false;
    }
    return true;
}

} // namespace

SlabRay makeSlabRay(const Ray& ray) {
    SlabRay slab;
    const float origin[3] = {ray.origin.x, ray.origin.y, ray.origin.z};
    const float direction[3] = {ray.direction.x, ray.direction.y, ray.direction.z};
    slab.octant = 0;
    slab.finite = true;
    for (int axis = 0; axis < 3; ++axis) {
        slab.origin[axis] = origin[axis];
        slab.inverse[axis] = 1.0f / direction[axis];
        // 0 if the inverse is >= 0, else 1; a NaN counts as 1.
        const std::uint32_t sign = slab.inverse[axis] >= 0.0f ? 0u : 1u;
        slab.entry[axis] = static_cast<std::uint32_t>(axis) + 3 * sign;
        slab.exit[axis] = static_cast<std::uint32_t>(axis) + 3 * (1 - sign);
        slab.octant |= sign << axis;
        slab.finite = slab.finite && std::isfinite(origin[axis]) && std::isfinite(slab.inverse[axis]) &&
                      slab.inverse[axis] != 0.0f;
    }
    return slab;
}

void WideBvh::build(std::span<const BvhNode> binary) {
    nodes.clear();
    foldable = false;
    if (binary.empty())
        return;
    foldable = foldableTree(binary);
    const BvhNode& root = binary[0];
    if (root.count != 0 || binary.size() == 1) {
        // A tree of one leaf, or the empty tree's lone root (no items, the empty box): one wide node
        // holding it, or holding nothing.
        nodes.push_back(emptyWideNode());
        if (root.count != 0) {
            setLane(nodes[0], 0, root);
            nodes[0].child[0] = root.index;
            nodes[0].count[0] = root.count;
        }
        return;
    }
    // Each wide node stands for at least one binary inner node and at most two levels of them.
    nodes.reserve(binary.size() / 2 + 1);
    emit(binary, 0);
}

std::uint32_t WideBvh::emit(std::span<const BvhNode> binary, std::uint32_t node) {
    const std::uint32_t self = static_cast<std::uint32_t>(nodes.size());
    nodes.push_back(emptyWideNode());

    // The grandchildren through each inner child, left before right; a leaf child takes a lane of its own.
    struct Group {
        int firstLane;
        int laneCount;
        std::uint8_t axis;
    } groups[2];
    std::uint32_t lanes[4];
    int laneCount = 0;
    const std::uint32_t children[2] = {node + 1, binary[node].index};
    for (int side = 0; side < 2; ++side) {
        const BvhNode& child = binary[children[side]];
        groups[side] = Group{laneCount, child.count == 0 ? 2 : 1, child.axis};
        if (child.count == 0) {
            lanes[laneCount++] = children[side] + 1;
            lanes[laneCount++] = child.index;
        } else {
            lanes[laneCount++] = children[side];
        }
    }

    // The binary walk's order for each octant: the child on the near side of the node's axis first, and
    // within an inner child its near grandchild first.
    for (std::uint32_t octant = 0; octant < 8; ++octant) {
        const auto sign = [octant](std::uint8_t axis) { return static_cast<int>((octant >> axis) & 1u); };
        const int first = sign(binary[node].axis);
        unsigned order = 0;
        int position = 0;
        for (const int side : {first, 1 - first}) {
            const Group& group = groups[side];
            const int near = group.laneCount == 2 ? sign(group.axis) : 0;
            for (int k = 0; k < group.laneCount; ++k)
                order |= static_cast<unsigned>(group.firstLane + (k ^ near)) << (2 * position++);
        }
        for (int lane = laneCount; lane < 4; ++lane)
            order |= static_cast<unsigned>(lane) << (2 * position++);
        nodes[self].order[octant] = static_cast<std::uint8_t>(order);
    }

    for (int lane = 0; lane < laneCount; ++lane) {
        const BvhNode& source = binary[lanes[lane]];
        // Not a reference into `nodes`: emitting the child below may move the array.
        std::uint32_t child = source.index;
        if (source.count == 0)
            child = emit(binary, lanes[lane]);
        WideBvhNode& wide = nodes[self];
        setLane(wide, lane, source);
        wide.child[lane] = child;
        wide.count[lane] = source.count;
    }
    return self;
}

} // namespace verdanium
