#include "geometry/mesh_wide_bvh.h"

#include "geometry/triangle_intersection.h"

#include <bit>
#include <cmath>
#include <limits>

// The walk is written for four-lane vectors, which every x86-64 processor has.
#if !defined(__SSE2__)
#error "the mesh walk needs SSE2"
#endif
#include <emmintrin.h>

namespace verdanium {

namespace {

// Whether the finite `value` is a plane of `table` (see MeshWideBvh::planes): one probe, two at times, where
// a search through the sorted planes waited on a dozen loads one after another.
bool onPlane(const std::vector<std::uint32_t>& table, float value) {
    if (table.empty())
        return false;
    const std::uint32_t key = MeshWideBvh::planeKey(value);
    for (std::uint32_t slot = MeshWideBvh::planeSlot(key, table.size());;
         slot = (slot + 1) & (table.size() - 1)) {
        if (table[slot] == key)
            return true;
        if (table[slot] == MeshWideBvh::kNoPlane)
            return false;
    }
}

} // namespace

bool MeshWideBvh::walksAlongPlanes(const float origins[4], const float inverses[4]) const {
    for (int axis = 0; axis < 3; ++axis) {
        const float origin = origins[axis], inverse = inverses[axis];
        if (!std::isfinite(origin))
            return false;
        if (std::isfinite(inverse) && inverse != 0.0f)
            continue;
        if (!std::isinf(inverse) || onPlane(planes[axis], origin))
            return false;
    }
    return true;
}

namespace {

// The walk's stack: each inner node on the path from the root leaves at most seven lanes waiting, and folds
// three levels of the binary tree, whose median split keeps it about log2(n) deep; eight spare entries take
// the writes of a node's lanes that are not kept.
constexpr int kStackSize = 2 * kWalkStackSize + 8;

// The per-ray constants of the walk in vector form, made once per query so that the loop reloads them rather
// than broadcasting them again at every node: those of SlabRay (binary_bvh_walk.h), computed alike.
struct WideRay {
    __m128 origin[3];
    __m128 inverse[3];
    __m128 tMin;
    // Per axis the byte offset in a node of the plane the ray enters through, and of the one it leaves by.
    std::uint32_t entry[3];
    std::uint32_t exit[3];
    std::uint32_t octant;
    // Origin finite and every inverse finite and nonzero.
    bool finite;
    // Origin and inverse per axis, for rays that are not finite.
    alignas(16) float origins[4];
    alignas(16) float inverses[4];

    explicit WideRay(const Ray& ray) {
        const __m128 o = _mm_setr_ps(ray.origin.x, ray.origin.y, ray.origin.z, 0.0f);
        // A true division per lane, as 1 / direction is per axis; the fourth lane divides by 1.
        const __m128 inv = _mm_div_ps(_mm_set1_ps(1.0f),
                                      _mm_setr_ps(ray.direction.x, ray.direction.y, ray.direction.z, 1.0f));
        origin[0] = _mm_shuffle_ps(o, o, 0x00);
        origin[1] = _mm_shuffle_ps(o, o, 0x55);
        origin[2] = _mm_shuffle_ps(o, o, 0xaa);
        inverse[0] = _mm_shuffle_ps(inv, inv, 0x00);
        inverse[1] = _mm_shuffle_ps(inv, inv, 0x55);
        inverse[2] = _mm_shuffle_ps(inv, inv, 0xaa);
        tMin = _mm_set1_ps(ray.tMin);
        // The sign is 1 unless the inverse is >= 0, so a NaN counts as 1.
        octant = static_cast<unsigned>(_mm_movemask_ps(_mm_cmpnge_ps(inv, _mm_setzero_ps()))) & 7u;
        for (std::uint32_t axis = 0; axis < 3; ++axis) {
            const std::uint32_t sign = (octant >> axis) & 1u;
            entry[axis] = (axis + 3 * sign) * sizeof(__m128);
            exit[axis] = (axis + 3 * (1 - sign)) * sizeof(__m128);
        }
        // |x| < infinity fails for infinities and NaN.
        const __m128 magnitude = _mm_set1_ps(std::numeric_limits<float>::infinity());
        const __m128 absolute = _mm_castsi128_ps(_mm_set1_epi32(0x7fffffff));
        const __m128 good = _mm_and_ps(_mm_and_ps(_mm_cmplt_ps(_mm_and_ps(o, absolute), magnitude),
                                                  _mm_cmplt_ps(_mm_and_ps(inv, absolute), magnitude)),
                                       _mm_cmpneq_ps(inv, _mm_setzero_ps()));
        finite = (_mm_movemask_ps(good) & 7) == 7;
        _mm_store_ps(origins, o);
        _mm_store_ps(inverses, inv);
    }
};

// The slab test of four boxes, as wideSlabHits (wide_bvh.h) makes it: a lane passes if its entry t0 is short
// of the limit, its exit t1 beyond tMin and its entry not beyond its exit, which on rays free of NaN
// distances is the binary walk's test. `planes` are the boxes' six planes, four lanes each. Writes each
// lane's t0 and returns the bits of the lanes passed.
inline unsigned slabHits(const float (*planes)[4], const WideRay& ray, __m128 limit, __m128& entry) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(planes);
    const auto distance = [&](std::uint32_t offset, int axis) {
        const __m128 plane = _mm_load_ps(reinterpret_cast<const float*>(bytes + offset));
        return _mm_mul_ps(_mm_sub_ps(plane, ray.origin[axis]), ray.inverse[axis]);
    };
    __m128 t0 = distance(ray.entry[0], 0);
    __m128 t1 = distance(ray.exit[0], 0);
    for (int axis = 1; axis < 3; ++axis) {
        t0 = _mm_max_ps(distance(ray.entry[axis], axis), t0);
        t1 = _mm_min_ps(distance(ray.exit[axis], axis), t1);
    }
    entry = t0;
    // Rejected where t0 >= limit, as the binary test says it (a NaN limit rejects nothing).
    const __m128 passes =
        _mm_and_ps(_mm_and_ps(_mm_cmple_ps(t0, t1), _mm_cmpnge_ps(t0, limit)), _mm_cmpgt_ps(t1, ray.tMin));
    return static_cast<unsigned>(_mm_movemask_ps(passes));
}

// The slab test of a cluster's occupied lanes.
inline unsigned slabHits(const MeshCluster& cluster, const WideRay& ray, __m128 limit, __m128& entry) {
    return slabHits(cluster.planes, ray, limit, entry) & cluster.occupied;
}

// The slab test of an inner node's eight lanes, or of its first four where `narrow`: writes the lanes' t0 to
// `entry` and returns the bits of the lanes passed.
inline unsigned slabHits(const MeshWideNode& node, bool narrow, const WideRay& ray, __m128 limit,
                         float entry[8]) {
    __m128 low, high;
    unsigned mask = slabHits(node.planes[0], ray, limit, low);
    _mm_store_ps(entry, low);
    if (narrow)
        high = _mm_setzero_ps();
    else
        mask |= slabHits(node.planes[1], ray, limit, high) << 4;
    _mm_store_ps(entry + 4, high);
    return mask;
}

// The triangle test of intersectTriangleEdges on the four lanes of a quad, the same operations in the same
// order per lane (no fused products: the build targets plain SSE2), so each lane's u, v and t are the scalar
// test's to the bit. Gives the lanes inside their triangle with t in [ray.tMin, ray.tMax] and not beyond
// hitT, and every lane's u, v and t.
struct QuadHits {
    __m128 u, v, t;
    // The lanes struck.
    unsigned struck;
};

inline QuadHits quadHits(const TriangleQuad& quad, const Ray& ray, float hitT) {
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
    return {uu, vv, tt, static_cast<unsigned>(_mm_movemask_ps(good))};
}

} // namespace

bool MeshWideBvh::intersect(const Ray& ray, Hit& hit, const Geometry* mesh, bool& result) const {
    const WideRay wide(ray);
    if (empty() || !(wide.finite || walksAlongPlanes(wide.origins, wide.inverses)))
        return false;
    // The stack as two parallel arrays (see WideBvh::intersect).
    float entries[kStackSize];
    std::uint32_t stack[kStackSize];
    int size = 0;
    // The next lane in the walk's order whose entry still falls short of the limit, popped into `child`.
    std::uint32_t child = root;
    const auto pop = [&] {
        while (size > 0) {
            --size;
            if (!(entries[size] >= walkLimit(ray, hit))) {
                child = stack[size];
                return true;
            }
        }
        return false;
    };
    bool found = false;
    // The root's own box is entered whenever a box below it is, and a limit of -infinity, which would reject
    // it, rejects every lane of the root as well.
    for (;;) {
        const float limit = walkLimit(ray, hit);
        const __m128 limitVector = _mm_set1_ps(limit);
        __m128 entryVector;
        if (child & 1u) {
            const MeshCluster* cluster = &clusters[child >> 2];
            // Boxes and triangles at once: the triangles cost less than a branch on the boxes that the ray
            // decides at random.
            const QuadHits first = quadHits(cluster[0].triangles, ray, hit.t);
            unsigned struck = slabHits(cluster[0], wide, limitVector, entryVector) & first.struck;
            __m128 second;
            QuadHits other{};
            if (child & 2u) {
                other = quadHits(cluster[1].triangles, ray, hit.t);
                struck |= (slabHits(cluster[1], wide, limitVector, second) & other.struck) << 4;
            }
            if (struck == 0) {
                if (pop())
                    continue;
                break;
            }
            // Read back by lane only when a triangle was struck.
            alignas(16) float u[8], v[8], t[8];
            _mm_store_ps(u, first.u);
            _mm_store_ps(v, first.v);
            _mm_store_ps(t, first.t);
            _mm_store_ps(u + 4, other.u);
            _mm_store_ps(v + 4, other.v);
            _mm_store_ps(t + 4, other.t);
            const auto take = [&](unsigned lane) {
                hit.u = u[lane];
                hit.v = v[lane];
                hit.t = t[lane];
                hit.geometry = mesh;
                hit.firstIndex = cluster[lane >> 2].firstVertex[lane & 3u];
                hit.complete = false;
                found = true;
            };
            // One lane struck (the usual case): its turn comes before any other changes the limit or the hit
            // it was tested against, so it stands.
            if ((struck & (struck - 1)) == 0) {
                take(static_cast<unsigned>(std::countr_zero(struck)));
                if (pop())
                    continue;
                break;
            }
            alignas(16) float entry[8];
            _mm_store_ps(entry, entryVector);
            if (child & 2u)
                _mm_store_ps(entry + 4, second);
            // Taken in the walk's order, each against the limit and the hit of its turn: a lane's box entry
            // must still fall short of the limit, and an equal t replaces the hit.
            const unsigned order = cluster[0].order[wide.octant];
            for (int position = 0; struck != 0; ++position) {
                const unsigned lane = (order >> (3 * position)) & 7u;
                if (((struck >> lane) & 1u) == 0)
                    continue;
                struck &= ~(1u << lane);
                if (entry[lane] < walkLimit(ray, hit) && !(t[lane] > hit.t))
                    take(lane);
            }
            if (pop())
                continue;
            break;
        }
        const MeshWideNode& node = nodes[child >> 2];
        alignas(16) float entry[8];
        const unsigned mask = slabHits(node, (child & 2u) != 0, wide, limitVector, entry);
        if (mask == 0) {
            if (pop())
                continue;
            break;
        }
        // One lane passed: it is next in the walk, tested against the limit of the moment.
        if ((mask & (mask - 1)) == 0) {
            child = node.child[std::countr_zero(mask)];
            continue;
        }
        // Pushed last visited first; every lane is written and only those that passed are kept.
        const std::uint32_t order = node.order[wide.octant];
        for (int position = 7; position >= 0; --position) {
            const unsigned lane = (order >> (3 * position)) & 7u;
            entries[size] = entry[lane];
            stack[size] = node.child[lane];
            size += static_cast<int>((mask >> lane) & 1u);
        }
        if (!pop())
            break;
    }
    result = found;
    return true;
}

bool MeshWideBvh::occluded(const Ray& ray, bool& blocked) const {
    const WideRay wide(ray);
    if (empty() || !(wide.finite || walksAlongPlanes(wide.origins, wide.inverses)))
        return false;
    const __m128 limit = _mm_set1_ps(ray.tMax);
    // The limit never changes, so a lane that passed stays passed: no entry distances on the stack. The
    // answer is the same in any order; the walk's order, near lanes first, finds a triangle struck sooner.
    std::uint32_t stack[kStackSize];
    int size = 1;
    stack[0] = root;
    constexpr float kNoHit = std::numeric_limits<float>::infinity();
    while (size > 0) {
        const std::uint32_t child = stack[--size];
        __m128 entry;
        if (child & 1u) {
            const MeshCluster* cluster = &clusters[child >> 2];
            unsigned struck =
                slabHits(cluster[0], wide, limit, entry) & quadHits(cluster[0].triangles, ray, kNoHit).struck;
            if (child & 2u)
                struck |= slabHits(cluster[1], wide, limit, entry) &
                          quadHits(cluster[1].triangles, ray, kNoHit).struck;
            if (struck != 0) {
                blocked = true;
                return true;
            }
            continue;
        }
        const MeshWideNode& node = nodes[child >> 2];
        alignas(16) float entries[8];
        const unsigned mask = slabHits(node, (child & 2u) != 0, wide, limit, entries);
        const std::uint32_t order = node.order[wide.octant];
        for (int position = 7; position >= 0; --position) {
            const unsigned lane = (order >> (3 * position)) & 7u;
            stack[size] = node.child[lane];
            size += static_cast<int>((mask >> lane) & 1u);
        }
    }
    blocked = false;
    return true;
}

} // namespace verdanium
