#include "geometry/centroid_selection.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

namespace verdanium::centroid_selection {
namespace {

// Moves the records of [first, last) that come before the pivot (or, with
// orEqual, do not come after it) to the front, and returns the end of that
// group. Branch-free: every record is swapped and the boundary advances by the
// comparison's result, a few cycles per record on random data, where a branch
// per record would be mispredicted half of the time.
template <bool orEqual>
SplitRecord* partitionAround(SplitRecord* first, SplitRecord* last, int axis, float pivot) {
    SplitRecord* boundary = first;
    const bool pivotIsNan = std::isnan(pivot);
    for (SplitRecord* it = first; it != last; ++it) {
        const SplitRecord record = *it;
        const float key = record.centroid[axis];
        // Against a number, plain comparisons already put NaN keys last.
        bool front;
        if constexpr (orEqual)
            front = pivotIsNan || key <= pivot;
        else
            front = pivotIsNan ? !std::isnan(key) : key < pivot;
        *it = *boundary;
        *boundary = record;
        boundary += front;
    }
    return boundary;
}

} // namespace

// Rearranges [first, last) so that no record before nth comes after the one at
// nth on the axis and none after it comes before: the guarantee of
// nth_element, which the tree is defined by. Quickselect with a median-of-three
// pivot and a three-way split, so that a range of equal coordinates ends at
// once; should the pivots keep failing (adversarial input), nth_element
// finishes the range.
void selectMedian(SplitRecord* first, SplitRecord* nth, SplitRecord* last, int axis) {
    auto before = [axis](const SplitRecord& a, const SplitRecord& b) {
        return centroidKeyBefore(a.centroid[axis], b.centroid[axis]);
    };
    int budget = 2 * static_cast<int>(std::bit_width(static_cast<std::size_t>(last - first))) + 4;
    while (last - first > 16) {
        if (--budget < 0) {
            std::nth_element(first, nth, last, before);
            return;
        }
        SplitRecord samples[3] = {*first, first[(last - first) / 2], *(last - 1)};
        std::sort(samples, samples + 3, before);
        const float pivot = samples[1].centroid[axis];
        SplitRecord* below = partitionAround<false>(first, last, axis, pivot);
        SplitRecord* notAbove = partitionAround<true>(below, last, axis, pivot);
        if (nth < below)
            last = below;
        else if (nth >= notAbove)
            first = notAbove;
        else
            return;
    }
    std::sort(first, last, before);
}

namespace {

// A linear map of the keys in [low, high] onto up to 1024 buckets, about two
// records per bucket on small ranges. It rounds but never reverses an order,
// so every record of a lower bucket comes before every one of a higher bucket:
// counting the buckets finds the one that holds the median, the records below
// and above it need no ordering at all, and only the bucket's few records go
// through a selection. A radix-style selection, in two passes where a
// quickselect makes several. The range must be finite and its scale too.
struct Buckets {
    float low;
    float scale;
    int last;

    Buckets(std::size_t n, float low_, float high)
        : low(low_), scale(0.0f),
          last(static_cast<int>(std::min(kMaxBuckets, std::max<std::size_t>(std::bit_floor(n) / 2, 1))) - 1) {
        scale = static_cast<float>(last + 1) / (high - low);
    }
    int of(float key) const { return std::min(static_cast<int>((key - low) * scale), last); }
};

// The bucket that holds the record of rank floor(n / 2), and how many records
// lie in lower buckets.
template <int kAxis>
std::pair<int, std::size_t> findMedianBucket(const SplitRecord* records, std::size_t n,
                                             const Buckets& buckets, std::uint32_t* histogram) {
    std::memset(histogram, 0, static_cast<std::size_t>(buckets.last + 1) * sizeof(std::uint32_t));
    for (std::size_t i = 0; i < n; ++i)
        ++histogram[buckets.of(records[i].centroid[kAxis])];
    std::size_t below = 0;
    int median = 0;
    while (below + histogram[median] <= n / 2)
        below += histogram[median++];
    return {median, below};
}

// Splits the n records of `in` into `out` around their median, the floor(n / 2)
// smallest first, keeping the order within each side for all but the median
// bucket's records: for a node whose axis changed, where about half the
// records change sides. Each side then still holds, in order, the runs that
// the old splits below left, so the nodes below it find most of their
// records near where they were.
template <int kAxis>
void splitByBuckets(const SplitRecord* in, SplitRecord* out, SplitRecord* straddling, std::size_t n,
                    const Buckets& buckets, int median, std::size_t below, std::size_t inMedian) {
    // Each record is written to all three places and only the matching cursor
    // advances: a branch per record would be mispredicted a good part of the
    // time. A stray write lands on a slot that a later record of that kind,
    // or the bucket's records copied in last, overwrites, or on the one slot
    // past the end that each array has to spare.
    //
    // The cursors advance by the sign bits of the differences: written as
    // comparisons, the compiler turns them back into branches. A record moves
    // as one register, where a member-wise copy takes three stores a place.
    std::size_t lower = 0;
    std::size_t upper = below + inMedian;
    std::size_t middle = 0;
    for (std::size_t i = 0; i < n; ++i) {
#if defined(__SSE2__)
        const __m128 record = _mm_load_ps(in[i].centroid);
        const int bucket = buckets.of(_mm_cvtss_f32(_mm_shuffle_ps(record, record, kAxis * 0x55)));
        _mm_store_ps(out[lower].centroid, record);
        _mm_store_ps(out[upper].centroid, record);
        _mm_store_ps(straddling[middle].centroid, record);
#else
        const SplitRecord record = in[i];
        const int bucket = buckets.of(record.centroid[kAxis]);
        out[lower] = record;
        out[upper] = record;
        straddling[middle] = record;
#endif
        const std::size_t isLower = static_cast<std::uint32_t>(bucket - median) >> 31;
        const std::size_t isUpper = static_cast<std::uint32_t>(median - bucket) >> 31;
        lower += isLower;
        upper += isUpper;
        middle += 1 - isLower - isUpper;
    }
    std::nth_element(
        straddling, straddling + (n / 2 - below), straddling + middle,
        [](const SplitRecord& a, const SplitRecord& b) { return a.centroid[kAxis] < b.centroid[kAxis]; });
    std::memcpy(static_cast<void*>(out + below), straddling, middle * sizeof(SplitRecord));
}

} // namespace

// The bucket selection of [low, high] over the n records of `in`, into `out`.
template <int kAxis>
void splitInOrder(const SplitRecord* in, SplitRecord* out, SplitRecord* straddling, std::uint32_t* histogram,
                  std::size_t n, float low, float high) {
    const Buckets buckets(n, low, high);
    const auto [median, below] = findMedianBucket<kAxis>(in, n, buckets, histogram);
    splitByBuckets<kAxis>(in, out, straddling, n, buckets, median, below, histogram[median]);
}

template void splitInOrder<0>(const SplitRecord*, SplitRecord*, SplitRecord*, std::uint32_t*, std::size_t,
                              float, float);
template void splitInOrder<1>(const SplitRecord*, SplitRecord*, SplitRecord*, std::uint32_t*, std::size_t,
                              float, float);
template void splitInOrder<2>(const SplitRecord*, SplitRecord*, SplitRecord*, std::uint32_t*, std::size_t,
                              float, float);

} // namespace verdanium::centroid_selection
