#include "geometry/mesh_wide_bvh.h"

#include "geometry/bounding_box.h"
#include "geometry/triangle_intersection.h"
#include "geometry/wide_bvh.h"

#include <algorithm>
#include <cmath>
#include <limits>

#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

namespace verdanium {

// Makes the copy top down. The lanes of a node are a cut through the binary subtree below it: a subtree of at
// most four leaves becomes a cluster of its leaves; a larger one gets its two children as lanes, each opened
// into its own two children when it has more than four leaves, so that the lanes below are mostly full
// clusters or inner nodes with four lanes.
struct MeshWideBuilder {
    std::span<const BvhNode> binary;
    std::span<const LeafTriangle> triangles;
    MeshWideBvh& copy;
    std::vector<std::uint32_t> leafCounts;
    bool exact = true;

    static constexpr std::uint32_t kClusterSize = 4;

    bool isLeaf(std::uint32_t node) const { return binary[node].count != 0; }
    std::uint32_t right(std::uint32_t node) const { return binary[node].index; }

    void countLeaves() {
        leafCounts.assign(binary.size(), 0);
        // Children stand after their parent in pre-order, so one pass from the back sees them first.
        for (std::size_t i = binary.size(); i-- > 0;) {
            const BvhNode& node = binary[i];
            leafCounts[i] = node.count != 0 ? 1 : leafCounts[i + 1] + leafCounts[node.index];
            exact = exact && node.count <= 1;
        }
    }

    void leavesOf(std::uint32_t node, std::vector<std::uint32_t>& lanes) const {
        if (isLeaf(node)) {
            lanes.push_back(node);
            return;
        }
        leavesOf(node + 1, lanes);
        leavesOf(right(node), lanes);
    }

    // The positions of `lanes` in the order the binary walk reaches them from `node` in the given octant.
    void walkOrder(std::uint32_t node, unsigned octant, const std::vector<std::uint32_t>& lanes,
                   unsigned& order, int& position) const {
        for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
            if (lanes[lane] == node) {
                order |= static_cast<unsigned>(lane) << (2 * position++);
                return;
            }
        }
        const bool rightFirst = (octant >> binary[node].axis) & 1u;
        walkOrder(rightFirst ? right(node) : node + 1, octant, lanes, order, position);
        walkOrder(rightFirst ? node + 1 : right(node), octant, lanes, order, position);
    }

    static bool finiteBox(const BvhNode& box) {
        constexpr float kInfinity = std::numeric_limits<float>::infinity();
        bool good = true;
        for (int axis = 0; axis < 3; ++axis)
            good = good && -kInfinity < box.lower[axis] && box.lower[axis] <= box.upper[axis] &&
                   box.upper[axis] < kInfinity;
        return good;
    }

    std::uint32_t emit(std::uint32_t node) {
        const auto self = static_cast<std::uint32_t>(copy.nodes.size());
        copy.nodes.emplace_back();
        std::vector<std::uint32_t> lanes;
        const bool cluster = isLeaf(node) || leafCounts[node] <= kClusterSize;
        if (cluster) {
            leavesOf(node, lanes);
        } else {
            for (const std::uint32_t child : {node + 1, right(node)}) {
                if (!isLeaf(child) && leafCounts[child] > kClusterSize) {
                    lanes.push_back(child + 1);
                    lanes.push_back(right(child));
                } else {
                    lanes.push_back(child);
                }
            }
        }

        MeshWideNode wide;
        const BoundingBox empty;
        for (int lane = 0; lane < 4; ++lane) {
            for (int axis = 0; axis < 3; ++axis) {
                wide.planes[axis][lane] = empty.lower[axis];
                wide.planes[axis + 3][lane] = empty.upper[axis];
            }
            wide.child[lane] = 0;
        }
        wide.cluster = cluster;
        for (unsigned octant = 0; octant < 8; ++octant) {
            unsigned order = 0;
            int position = 0;
            walkOrder(node, octant, lanes, order, position);
            for (auto lane = static_cast<unsigned>(lanes.size()); lane < 4; ++lane)
                order |= lane << (2 * position++);
            wide.order[octant] = static_cast<std::uint8_t>(order);
        }
        TriangleQuad quad{};
        for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
            const BvhNode& box = binary[lanes[lane]];
            exact = exact && finiteBox(box);
            for (int axis = 0; axis < 3; ++axis) {
                wide.planes[axis][lane] = box.lower[axis];
                wide.planes[axis + 3][lane] = box.upper[axis];
            }
            wide.occupied |= static_cast<std::uint8_t>(1u << lane);
            if (!cluster)
                continue;
            const LeafTriangle& triangle = triangles[box.index];
            wide.child[lane] = triangle.firstVertex;
            for (int axis = 0; axis < 3; ++axis) {
                quad.a[axis][lane] = triangle.a[axis];
                quad.edge1[axis][lane] = triangle.edge1[axis];
                quad.edge2[axis][lane] = triangle.edge2[axis];
            }
        }
        if (cluster) {
            wide.quad = static_cast<std::uint32_t>(copy.quads.size());
            copy.quads.push_back(quad);
        } else {
            for (std::size_t lane = 0; lane < lanes.size(); ++lane)
                wide.child[lane] = emit(lanes[lane]);
        }
        copy.nodes[self] = wide;
        return self;
    }
};

void MeshWideBvh::clear() {
    nodes.clear();
    quads.clear();
    for (std::vector<float>& axis : planes)
        axis.clear();
}

void MeshWideBvh::build(std::span<const BvhNode> binary, std::span<const LeafTriangle> triangles) {
    clear();
    // The empty tree's lone root (no items) is left to the binary walk.
    if (binary.empty() || (binary.size() == 1 && binary[0].count == 0))
        return;
    MeshWideBuilder builder{binary, triangles, *this, {}};
    builder.countLeaves();
    if (!builder.exact)
        return;
    nodes.reserve(binary.size() / 3 + 1);
    quads.reserve(binary.size() / 4 + 1);
    builder.emit(0);
    if (!builder.exact) {
        clear();
        return;
    }
    for (int axis = 0; axis < 3; ++axis) {
        std::vector<float>& sorted = planes[axis];
        for (const BvhNode& node : binary) {
            if (node.count != 0) {
                sorted.push_back(node.lower[axis]);
                sorted.push_back(node.upper[axis]);
            }
        }
        std::sort(sorted.begin(), sorted.end());
        sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    }
}

bool MeshWideBvh::walksAlongPlanes(const SlabRay& slab) const {
    for (int axis = 0; axis < 3; ++axis) {
        const float origin = slab.origin[axis], inverse = slab.inverse[axis];
        if (!std::isfinite(origin))
            return false;
        if (std::isfinite(inverse) && inverse != 0.0f)
            continue;
        // Sorted by <, which holds 0 and -0 equal, as the subtraction that would give 0 * infinity does.
        if (!std::isinf(inverse) || std::binary_search(planes[axis].begin(), planes[axis].end(), origin))
            return false;
    }
    return true;
}

namespace {

// The triangle test of intersectTriangleEdges on the four lanes of a quad, the same operations in the same
// order per lane (no fused products: the build targets plain SSE2), so each lane's u, v and t are the scalar
// test's to the bit. Returns the lanes inside their triangle with t in [ray.tMin, ray.tMax] and not beyond
// hitT, and writes every lane's u, v and t.
inline unsigned quadHits(const TriangleQuad& quad, const Ray& ray, float hitT, float u[4], float v[4],
                         float t[4]) {
#if defined(__SSE2__)
    const __m128 dx = _mm_set1_ps(ray.direction.x), dy = _mm_set1_ps(ray.direction.y),
                 dz = _mm_set1_ps(ray.direction.z);
    const __m128 e1x = _mm_load_ps(quad.edge1[0]), e1y = _mm_load_ps(quad.edge1[1]),
                 e1z = _mm_load_ps(quad.edge1[2]);
    const __m128 e2x = _mm_load_ps(quad.edge2[0]), e2y = _mm_load_ps(quad.edge2[1]),
                 e2z = _mm_load_ps(quad.edge2[2]);
    const auto dot = [](__m128 ax, __m128 ay, __m128 az, __m128 bx, __m128 by, __m128 bz) {
        return _mm_add_ps(_mm_add_ps(_mm_mul_ps(ax, bx), _mm_mul_ps(ay, by)), _mm_mul_ps(az, bz));
    };
    // p = direction x edge2, det = edge1 . p
    const __m128 px = _mm_sub_ps(_mm_mul_ps(dy, e2z), _mm_mul_ps(dz, e2y));
    const __m128 py = _mm_sub_ps(_mm_mul_ps(dz, e2x), _mm_mul_ps(dx, e2z));
    const __m128 pz = _mm_sub_ps(_mm_mul_ps(dx, e2y), _mm_mul_ps(dy, e2x));
    const __m128 det = dot(e1x, e1y, e1z, px, py, pz);
    const __m128 inverse = _mm_div_ps(_mm_set1_ps(1.0f), det);
    // s = origin - a, u = (s . p) * inverse
    const __m128 sx = _mm_sub_ps(_mm_set1_ps(ray.origin.x), _mm_load_ps(quad.a[0]));
    const __m128 sy = _mm_sub_ps(_mm_set1_ps(ray.origin.y), _mm_load_ps(quad.a[1]));
    const __m128 sz = _mm_sub_ps(_mm_set1_ps(ray.origin.z), _mm_load_ps(quad.a[2]));
    const __m128 uu = _mm_mul_ps(dot(sx, sy, sz, px, py, pz), inverse);
    // q = s x edge1, v = (direction . q) * inverse, t = (edge2 . q) * inverse
    const __m128 qx = _mm_sub_ps(_mm_mul_ps(sy, e1z), _mm_mul_ps(sz, e1y));
    const __m128 qy = _mm_sub_ps(_mm_mul_ps(sz, e1x), _mm_mul_ps(sx, e1z));
    const __m128 qz = _mm_sub_ps(_mm_mul_ps(sx, e1y), _mm_mul_ps(sy, e1x));
    const __m128 vv = _mm_mul_ps(dot(dx, dy, dz, qx, qy, qz), inverse);
    const __m128 tt = _mm_mul_ps(dot(e2x, e2y, e2z, qx, qy, qz), inverse);
    const __m128 zero = _mm_setzero_ps(), one = _mm_set1_ps(1.0f);
    __m128 good = _mm_or_ps(_mm_cmplt_ps(det, zero), _mm_cmpgt_ps(det, zero));
    good = _mm_and_ps(good, _mm_and_ps(_mm_cmpge_ps(uu, zero), _mm_cmpngt_ps(uu, one)));
    good = _mm_and_ps(good, _mm_and_ps(_mm_cmpge_ps(vv, zero), _mm_cmpngt_ps(_mm_add_ps(uu, vv), one)));
    good = _mm_and_ps(good, _mm_cmpge_ps(tt, _mm_set1_ps(ray.tMin)));
    good = _mm_and_ps(
        good, _mm_and_ps(_mm_cmpngt_ps(tt, _mm_set1_ps(ray.tMax)), _mm_cmpngt_ps(tt, _mm_set1_ps(hitT))));
    _mm_storeu_ps(u, uu);
    _mm_storeu_ps(v, vv);
    _mm_storeu_ps(t, tt);
    return static_cast<unsigned>(_mm_movemask_ps(good));
#else
    unsigned struck = 0;
    for (int lane = 0; lane < 4; ++lane) {
        const Vec3 a{quad.a[0][lane], quad.a[1][lane], quad.a[2][lane]};
        const Vec3 edge1{quad.edge1[0][lane], quad.edge1[1][lane], quad.edge1[2][lane]};
        const Vec3 edge2{quad.edge2[0][lane], quad.edge2[1][lane], quad.edge2[2][lane]};
        const bool inside = intersectTriangleEdges(a, edge1, edge2, ray, u[lane], v[lane], t[lane]);
        const bool inRange = t[lane] >= ray.tMin && !(t[lane] > ray.tMax) && !(t[lane] > hitT);
        struck |= (inside && inRange ? 1u : 0u) << lane;
    }
    return struck;
#endif
}

} // namespace

bool MeshWideBvh::intersect(const SlabRay& slab, const Ray& ray, Hit& hit, const Geometry* mesh) const {
    // The stack as two parallel arrays (see WideBvh::intersect), with four spare entries for a node's lanes.
    float entries[kWalkStackSize + 4];
    std::uint32_t stack[kWalkStackSize + 4];
    // The root's own box is entered whenever a box below it is; only a limit of -infinity stops the walk
    // here.
    int size = 1;
    entries[0] = -std::numeric_limits<float>::infinity();
    stack[0] = 0;
    bool found = false;
    while (size > 0) {
        --size;
        const float limit = walkLimit(ray, hit);
        if (entries[size] >= limit)
            continue;
        const MeshWideNode& node = nodes[stack[size]];
        float entry[4];
        const unsigned mask = wideSlabHits(node, slab, ray.tMin, limit, entry);
        const unsigned order = node.order[slab.octant];
        if (node.cluster) {
            if (mask == 0)
                continue;
            float u[4], v[4], t[4];
            unsigned struck = mask & quadHits(quads[node.quad], ray, hit.t, u, v, t);
            // Taken in the walk's order, each against the limit and the hit of its turn: a lane's box entry
            // must still fall short of the limit, and an equal t replaces the hit.
            for (int position = 0; struck != 0; ++position) {
                const unsigned lane = (order >> (2 * position)) & 3u;
                if (((struck >> lane) & 1u) == 0)
                    continue;
                struck &= ~(1u << lane);
                if (entry[lane] >= walkLimit(ray, hit) || t[lane] > hit.t)
                    continue;
                hit.u = u[lane];
                hit.v = v[lane];
                hit.t = t[lane];
                hit.geometry = mesh;
                hit.firstIndex = node.child[lane];
                hit.complete = false;
                found = true;
            }
            continue;
        }
        // Pushed last visited first; every lane is written and only those that passed are kept.
        for (int position = 3; position >= 0; --position) {
            const unsigned lane = (order >> (2 * position)) & 3u;
            entries[size] = entry[lane];
            stack[size] = node.child[lane];
            size += static_cast<int>((mask >> lane) & 1u);
        }
    }
    return found;
}

bool MeshWideBvh::occluded(const SlabRay& slab, const Ray& ray) const {
    // The limit never changes, so a lane that passed stays passed: no entry distances on the stack. The
    // answer is the same in any order; near lanes first find a hit sooner.
    std::uint32_t stack[kWalkStackSize + 4];
    int size = 1;
    stack[0] = 0;
    constexpr float kNoHit = std::numeric_limits<float>::infinity();
    while (size > 0) {
        const MeshWideNode& node = nodes[stack[--size]];
        float entry[4];
        const unsigned mask = wideSlabHits(node, slab, ray.tMin, ray.tMax, entry);
        if (node.cluster) {
            float u[4], v[4], t[4];
            if (mask != 0 && (mask & quadHits(quads[node.quad], ray, kNoHit, u, v, t)) != 0)
                return true;
            continue;
        }
        const unsigned order = node.order[slab.octant];
        for (int position = 3; position >= 0; --position) {
            const unsigned lane = (order >> (2 * position)) & 3u;
            stack[size] = node.child[lane];
            size += static_cast<int>((mask >> lane) & 1u);
        }
    }
    return false;
}

} // namespace verdanium
