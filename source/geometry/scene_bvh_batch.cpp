#include "geometry/hit.h"
#include "geometry/ray.h"
#include "geometry/scene_bvh.h"
#include "geometry/shared_origin_walk.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace verdanium {

namespace {

bool sameOrigin(const SlabRay& a, const SlabRay& b) {
    return std::memcmp(a.origin, b.origin, sizeof a.origin) == 0;
}

} // namespace

std::uint64_t SceneBvh::intersectBatch(std::span<const Ray> rays, std::span<Hit> hits) const {
    const std::size_t count = std::min<std::size_t>({rays.size(), hits.size(), std::size_t(kGroupCapacity)});
    SlabRay slabs[kGroupCapacity];
    std::uint64_t found = 0;
    // The rays a group can take: those on which the binary walk's distances are free of NaN (see
    // shared_origin_walk.h) and whose tMin is a number, so that the group's smallest tMin is one too.
    std::uint64_t grouped = 0;
    for (std::size_t i = 0; i < count; ++i) {
        slabs[i] = makeSlabRay(rays[i]);
        if (wide_.walksExactly(slabs[i]) && rays[i].tMin == rays[i].tMin)
            grouped |= std::uint64_t(1) << i;
        else if (intersect(rays[i], hits[i]))
            found |= std::uint64_t(1) << i;
    }
    // A leaf's entity tested for each ray that enters its box. The mesh queries stay one per ray: Embree's
    // packet queries, tried here, gave the same hits on the rays tried but no faster frame, since most rays
    // that reach an entity's box pass its mesh by.
    const auto leaf = [&](std::uint32_t index, std::uint8_t items, std::uint64_t entering) {
        std::uint64_t improved = 0;
        for (std::uint32_t item = index; item < index + items; ++item) {
            for (std::uint64_t left = entering; left != 0; left &= left - 1) {
                const int i = std::countr_zero(left);
                if (intersectEntity(*leafItems[item], rays[i], hits[i]))
                    improved |= std::uint64_t(1) << i;
            }
        }
        return improved;
    };
    // One group per origin and sign octant: a tile's camera rays make one, or a few where the tile
    // straddles an axis of the world.
    while (grouped != 0) {
        const SlabRay& leader = slabs[std::countr_zero(grouped)];
        SharedOriginGroup group;
        group.rays = rays.data();
        group.hits = hits.data();
        for (std::uint64_t left = grouped; left != 0; left &= left - 1) {
            const int i = std::countr_zero(left);
            if (slabs[i].octant == leader.octant && sameOrigin(slabs[i], leader))
                group.add(i, slabs[i]);
        }
        grouped &= ~group.members;
        found |= groupIntersect(nodes, group, leaf);
    }
    return found;
}

} // namespace verdanium
