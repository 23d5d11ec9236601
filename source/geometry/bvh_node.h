#pragma once

#include "foundation/math/vec3.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace verdanium {

// One node of a bounding volume hierarchy, the same at the mesh and at the scene level.
//
// Nodes stand in depth-first pre-order: the left child of an inner node at i is node i + 1, so only the right
// child's position is stored. The six box floats lower x, y, z, upper x, y, z are adjacent, so that a slab
// plane can be picked as plane(axis + 3 * sign) without a min/max per node.
//
// 32-byte aligned so that a node never straddles a cache line, and a parent and its left child share a line
// half of the time.
struct alignas(32) BvhNode {
    Vec3 lower;
    Vec3 upper;
    // Inner node: position of the right child in the node array. Leaf: position of its first leaf item.
    std::uint32_t index = 0;
    // 0 for an inner node, else the number of items in the leaf (always 1 for a finished non-empty tree).
    std::uint8_t count = 0;
    // Inner node: split axis, 0 = x, 1 = y, 2 = z. Unused in a leaf.
    std::uint8_t axis = 0;

    // Box plane k of lower x, y, z, upper x, y, z. Copied out of the object representation, whose layout the
    // static_asserts below fix: one load at a computed offset, where a chain of selects would lengthen every
    // slab test, and well defined, unlike a float pointer into the middle of the node.
    float plane(std::uint32_t k) const {
        float value;
        std::memcpy(&value, reinterpret_cast<const unsigned char*>(this) + k * sizeof(float), sizeof(float));
        return value;
    }
};
static_assert(sizeof(Vec3) == 3 * sizeof(float), "the six box floats must be adjacent");
static_assert(offsetof(BvhNode, upper) == 3 * sizeof(float), "upper must follow lower directly");
static_assert(sizeof(BvhNode) == 32, "a node is six floats, an index, a count and an axis");

} // namespace verdanium
