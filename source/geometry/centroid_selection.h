#pragma once

#include "geometry/bounding_box.h"
#include "geometry/scene_bvh.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// The selections and centroid boxes the scene tree's build is made of, on the compact records of
// SceneBvh::SplitRecord (a centroid and a primitive position, one SSE register).
namespace verdanium::centroid_selection {

using SplitRecord = SceneBvh::SplitRecord;

// The most buckets of the bucket selection of splitInOrder.
inline constexpr std::size_t kMaxBuckets = 1024;

// Rearranges [first, last) so that no record before nth comes after the one at nth on the axis and none
// after it comes before: the guarantee of nth_element, which the tree is defined by, with NaN coordinates
// ordered after all numbers.
void selectMedian(SplitRecord* first, SplitRecord* nth, SplitRecord* last, int axis);

// Splits the n records of `in`, whose coordinates on kAxis lie in the finite range [low, high], into `out`
// around their median: the floor(n / 2) smallest first, keeping the order within each side for all but a
// few records near the median. `straddling` has room for n + 1 records, `histogram` for kMaxBuckets counts.
template <int kAxis>
void splitInOrder(const SplitRecord* in, SplitRecord* out, SplitRecord* straddling, std::uint32_t* histogram,
                  std::size_t n, float low, float high);

// The box of the centroids of [first, last), as extending the empty box by each
// would make it (NaN coordinates are left out), up to the sign of a zero bound,
// which no extent and no comparison can tell. minps(c, lower) is
// c < lower ? c : lower, exactly extend's rule. Two accumulators per bound, so
// that the loop is not one long chain of dependent minimums.
inline BoundingBox centroidBox(const SplitRecord* first, const SplitRecord* last) {
#if defined(__SSE2__)
    const float inf = std::numeric_limits<float>::infinity();
    __m128 lower0 = _mm_set1_ps(inf), lower1 = lower0;
    __m128 upper0 = _mm_set1_ps(-inf), upper1 = upper0;
    const SplitRecord* it = first;
    for (; last - it >= 2; it += 2) {
        // The fourth lane holds the primitive's position; it is carried along and ignored.
        const __m128 a = _mm_load_ps(it[0].centroid);
        const __m128 b = _mm_load_ps(it[1].centroid);
        lower0 = _mm_min_ps(a, lower0);
        upper0 = _mm_max_ps(a, upper0);
        lower1 = _mm_min_ps(b, lower1);
        upper1 = _mm_max_ps(b, upper1);
    }
    if (it != last) {
        const __m128 a = _mm_load_ps(it->centroid);
        lower0 = _mm_min_ps(a, lower0);
        upper0 = _mm_max_ps(a, upper0);
    }
    alignas(16) float lower[4];
    alignas(16) float upper[4];
    _mm_store_ps(lower, _mm_min_ps(lower1, lower0));
    _mm_store_ps(upper, _mm_max_ps(upper1, upper0));
    return BoundingBox{Vec3{lower[0], lower[1], lower[2]}, Vec3{upper[0], upper[1], upper[2]}};
#else
    BoundingBox box;
    for (const SplitRecord* it = first; it != last; ++it)
        box.extend(Vec3{it->centroid[0], it->centroid[1], it->centroid[2]});
    return box;
#endif
}

// Bound k of lower x, y, z, upper x, y, z, by one load at a computed offset
// (the six floats are adjacent), where Vec3's operator[] selects.
inline float boxBound(const BoundingBox& box, int k) {
    float value;
    std::memcpy(&value, reinterpret_cast<const unsigned char*>(&box) + k * sizeof(float), sizeof(float));
    return value;
}

// The point box of one record's centroid, as extending the empty box by it
// makes it (a NaN coordinate is left out).
inline BoundingBox centroidPoint(const SplitRecord& record) {
    BoundingBox box;
    box.extend(Vec3{record.centroid[0], record.centroid[1], record.centroid[2]});
    return box;
}

} // namespace verdanium::centroid_selection
