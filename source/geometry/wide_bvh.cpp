#include "geometry/wide_bvh.h"

#include "geometry/bounding_box.h"

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
WideBvhNode emptyWideNode() {
    WideBvhNode wide{};
    const BoundingBox empty;
    for (int lane = 0; lane < 4; ++lane)
        writeBox(wide, lane, empty.lower, empty.upper);
    return wide;
}

} // namespace

WideRay makeWideRay(const Ray& ray) {
    WideRay wide;
    const float origin[3] = {ray.origin.x, ray.origin.y, ray.origin.z};
    const float direction[3] = {ray.direction.x, ray.direction.y, ray.direction.z};
    for (int axis = 0; axis < 3; ++axis) {
        wide.origin[axis] = origin[axis];
        // A true division, so that a zero component gives an infinity of its sign.
        wide.inverse[axis] = 1.0f / direction[axis];
        const std::uint32_t sign = wide.inverse[axis] >= 0.0f ? 0u : 1u;
        wide.entry[axis] = static_cast<std::uint32_t>(axis) + 3 * sign;
        wide.exit[axis] = static_cast<std::uint32_t>(axis) + 3 * (1 - sign);
    }
    wide.tMin = ray.tMin;
    return wide;
}

void WideBvh::build(std::span<const BvhNode> binary) {
    nodes.clear();
    if (binary.empty())
        return;
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

    // The grandchildren through each inner child; a leaf child takes a lane of its own.
    std::uint32_t lanes[4];
    int laneCount = 0;
    for (const std::uint32_t child : {node + 1, binary[node].index}) {
        if (binary[child].count == 0) {
            lanes[laneCount++] = child + 1;
            lanes[laneCount++] = binary[child].index;
        } else {
            lanes[laneCount++] = child;
        }
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
