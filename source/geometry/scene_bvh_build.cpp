#include "geometry/scene_bvh.h"

#include "geometry/bounding_box.h"
#include "world/entity.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace verdanium {
namespace {

using SplitRecord = SceneBvh::SplitRecord;
using Straddler = SceneBvh::Straddler;

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

// The box of the centroids of [first, last), as extending the empty box by each
// would make it (NaN coordinates are left out), up to the sign of a zero bound,
// which no extent and no comparison can tell. minps(c, lower) is
// c < lower ? c : lower, exactly extend's rule. Two accumulators per bound, so
// that the loop is not one long chain of dependent minimums.
BoundingBox centroidBox(const SplitRecord* first, const SplitRecord* last) {
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

constexpr std::size_t kMaxBuckets = 1024;

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

// Repairs the split of n records in place by swapping only the records that
// are on the wrong side: left ones above the median bucket, right ones below
// it, and of the median bucket's records those that its selection puts on
// the other side. Every other record keeps its position, which is what keeps
// the nodes below split from one build to the next: a split that shifted
// records along would move every boundary beneath it. Returns false, having
// changed nothing, when more than `limit` records would have to be looked at.
template <int kAxis>
bool exchangeAcrossMedian(SplitRecord* records, std::size_t n, const Buckets& buckets, int median,
                          std::size_t below, std::uint32_t* positions, Straddler* straddlers,
                          std::size_t limit) {
    const std::size_t half = n / 2;
    // Positions, written without branches: in [0, half) the left records
    // leaving from the front and the left ones in the median bucket from the
    // back; in [half, n) the same for the right. A stray write lands on a
    // free slot between the two groups.
    std::size_t leavingLeft = 0;
    std::size_t straddlingLeft = 0;
    for (std::size_t i = 0; i < half; ++i) {
        const int bucket = buckets.of(records[i].centroid[kAxis]);
        positions[leavingLeft] = static_cast<std::uint32_t>(i);
        positions[half - 1 - straddlingLeft] = static_cast<std::uint32_t>(i);
        leavingLeft += bucket > median;
        straddlingLeft += bucket == median;
    }
    std::size_t leavingRight = 0;
    std::size_t straddlingRight = 0;
    for (std::size_t i = half; i < n; ++i) {
        const int bucket = buckets.of(records[i].centroid[kAxis]);
        positions[half + leavingRight] = static_cast<std::uint32_t>(i);
        positions[n - 1 - straddlingRight] = static_cast<std::uint32_t>(i);
        leavingRight += bucket < median;
        straddlingRight += bucket == median;
    }
    if (leavingLeft + leavingRight + straddlingLeft + straddlingRight > limit)
        return false;

    // The median bucket's records: the (half - below) smallest belong left.
    std::size_t straddling = 0;
    for (std::size_t j = 0; j < straddlingLeft; ++j) {
        const std::uint32_t position = positions[half - 1 - j];
        straddlers[straddling++] = Straddler{records[position].centroid[kAxis], position};
    }
    for (std::size_t j = 0; j < straddlingRight; ++j) {
        const std::uint32_t position = positions[n - 1 - j];
        straddlers[straddling++] = Straddler{records[position].centroid[kAxis], position};
    }
    const std::size_t stayLeft = half - below;
    std::nth_element(straddlers, straddlers + stayLeft, straddlers + straddling,
                     [](const Straddler& a, const Straddler& b) { return a.key < b.key; });
    // The leaving lists grow by the straddlers on the wrong side; the slots
    // after each list's own entries are free, since the median bucket's
    // positions were copied out above.
    for (std::size_t j = 0; j < straddling; ++j) {
        const std::uint32_t position = straddlers[j].position;
        if (j < stayLeft && position >= half)
            positions[half + leavingRight++] = position;
        else if (j >= stayLeft && position < half)
            positions[leavingLeft++] = position;
    }
    // As many leave each side as enter it.
    for (std::size_t j = 0; j < leavingLeft; ++j)
        std::swap(records[positions[j]], records[positions[half + j]]);
    return true;
}

// Splits the n records of `in` into `out` around their median, the floor(n / 2)
// smallest first, keeping the order within each side for all but the median
// bucket's records: for a node whose axis changed, where nearly half the
// records change sides, and whose halves still hold the runs that the old
// splits below left in order.
template <int kAxis>
void splitByBuckets(const SplitRecord* in, SplitRecord* out, SplitRecord* straddling, std::size_t n,
                    const Buckets& buckets, int median, std::size_t below, std::size_t inMedian) {
    // Each record is written to all three places and only the matching cursor
    // advances: a branch per record would be mispredicted a good part of the
    // time. A stray write lands on a slot that a later record of that kind,
    // or the bucket's records copied in last, overwrites, or on the one slot
    // past the end that each array has to spare.
    SplitRecord* lower = out;
    SplitRecord* upper = out + below + inMedian;
    SplitRecord* middle = straddling;
    for (std::size_t i = 0; i < n; ++i) {
        const SplitRecord record = in[i];
        const int bucket = buckets.of(record.centroid[kAxis]);
        *lower = record;
        *upper = record;
        *middle = record;
        lower += bucket < median;
        upper += bucket > median;
        middle += bucket == median;
    }
    std::nth_element(
        straddling, straddling + (n / 2 - below), middle,
        [](const SplitRecord& a, const SplitRecord& b) { return a.centroid[kAxis] < b.centroid[kAxis]; });
    std::memcpy(static_cast<void*>(out + below), straddling,
                static_cast<std::size_t>(middle - straddling) * sizeof(SplitRecord));
}

} // namespace

// The build runs at every flying step, and at tens of thousands of entities it
// was most of a step, most of that in the median selections. Two things make
// it cheaper than a fresh selection per node:
//
// - Between two steps an entity moves by a hundredth of its velocity, so the
//   arrangement the last build left is nearly the one this build needs. The
//   build starts from it, with the new centroids, and each node first checks
//   whether its halves are still split on its axis: the largest coordinate on
//   the left not above the smallest on the right. That takes the two halves'
//   centroid boxes, one pass that also gives each child its box. Only where
//   the check fails is the range split anew, by the bucket selection: where a
//   few records crossed the median they are swapped back in place, so that
//   the nodes below find everything else where it was; where the axis changed
//   the range is split keeping each side's order.
// - Nodes are written at their final positions (a left child at + 1, a right
//   child after the 2h - 1 nodes of the left subtree), and leaves take their
//   primitive and their box on the way back up, so no pass over the nodes
//   follows the recursion.
//
// Either way a node's halves hold the floor(n / 2) smallest records and the
// rest, which is all the selection the tree is defined by promises; the tree
// is the one a fresh build makes, the order among equal coordinates aside.
void SceneBvh::build(EntityMap::const_iterator first, EntityMap::const_iterator last) {
    inMapOrder_.clear();
    anyNan_ = false;
    forEachEntity(first, last, [this](Entity& entity) {
        const EntityPrimitive primitive = makeEntityPrimitive(entity);
        const Vec3& centroid = primitive.centroid;
        anyNan_ |= std::isnan(centroid.x) | std::isnan(centroid.y) | std::isnan(centroid.z);
        inMapOrder_.push_back(primitive);
    });
    const std::size_t count = inMapOrder_.size();

    // A new count (a recreation) starts from map order; otherwise the records
    // keep the last arrangement and take the new centroids. The primitives are
    // gathered in that arrangement too, the one pass that reads them out of
    // map order, so that the leaves, whose order differs from it only where
    // splits moved records, find theirs nearly in sequence.
    if (mapIndexOf_.size() != count) {
        mapIndexOf_.resize(count);
        for (std::size_t i = 0; i < count; ++i)
            mapIndexOf_[i] = static_cast<std::uint32_t>(i);
    }
    records_.resize(count);
    arranged_.resize(count);
    constexpr std::size_t kGatherLookahead = 8;
    for (std::size_t i = 0; i < count; ++i) {
        if (i + kGatherLookahead < count)
            __builtin_prefetch(&inMapOrder_[mapIndexOf_[i + kGatherLookahead]]);
        const EntityPrimitive& primitive = inMapOrder_[mapIndexOf_[i]];
        arranged_[i] = primitive;
        records_[i] = SplitRecord{{primitive.centroid.x, primitive.centroid.y, primitive.centroid.z},
                                  static_cast<std::uint32_t>(i)};
    }
    nextMapIndexOf_.resize(count);
    // One spare slot each: a split's stray write may land just past its range.
    splitOutput_.resize(count + 1);
    straddling_.resize(count + 1);
    histogram_.resize(kMaxBuckets);
    positions_.resize(count);
    straddlers_.resize(count);

    // Sized, not emptied and refilled: every element is written below.
    nodes.resize(count == 0 ? 1 : 2 * count - 1);
    primitives.resize(count);
    leafItems.resize(count);
    if (count == 0) {
        nodes[0] = BvhNode{BoundingBox{}.lower, BoundingBox{}.upper, 0, 0, 0};
        return;
    }
    buildChild(0, 0, count, centroidBox(records_.data(), records_.data() + count));
    mapIndexOf_.swap(nextMapIndexOf_);
}

BoundingBox SceneBvh::buildChild(std::size_t node, std::size_t first, std::size_t last,
                                 const BoundingBox& centroids) {
    return last - first == 1 ? makeLeaf(node, first) : buildSubtree(node, first, last, centroids);
}

// The leaf of the record at `position`: its primitive, leaf item and box, and
// where the next build finds the primitive in map order.
BoundingBox SceneBvh::makeLeaf(std::size_t node, std::size_t position) {
    const std::uint32_t slot = records_[position].primitive;
    const EntityPrimitive& primitive = arranged_[slot];
    primitives[position] = primitive;
    leafItems[position] = primitive.entity;
    nextMapIndexOf_[position] = mapIndexOf_[slot];
    BoundingBox box;
    box.extend(BoundingBox{primitive.lower, primitive.upper});
    nodes[node] = BvhNode{box.lower, box.upper, static_cast<std::uint32_t>(position), 1, 0};
    return box;
}

// The inner node at `node` over [first, last) (at least two records) whose
// centroid box is given; returns its box.
BoundingBox SceneBvh::buildSubtree(std::size_t node, std::size_t first, std::size_t last,
                                   const BoundingBox& centroids) {
    const std::size_t half = (last - first) / 2;
    const std::size_t mid = first + half;
    const std::uint8_t axis = splitAxis(centroids);
    const SplitRecord* records = records_.data();
    BoundingBox leftCentroids = centroidBox(records + first, records + mid);
    BoundingBox rightCentroids = centroidBox(records + mid, records + last);
    // Without NaN the boxes hold the halves' exact extremes.
    if (anyNan_ || !(leftCentroids.upper[axis] <= rightCentroids.lower[axis])) {
        splitAtMedian(first, last, axis, centroids);
        leftCentroids = centroidBox(records + first, records + mid);
        rightCentroids = centroidBox(records + mid, records + last);
    }
    const std::size_t right = node + 2 * half;
    BoundingBox box = buildChild(node + 1, first, mid, leftCentroids);
    box.extend(buildChild(right, mid, last, rightCentroids));
    nodes[node] = BvhNode{box.lower, box.upper, static_cast<std::uint32_t>(right), 0, axis};
    return box;
}

// Puts the floor(n / 2) smallest records of [first, last) on the axis first.
void SceneBvh::splitAtMedian(std::size_t first, std::size_t last, std::uint8_t axis,
                             const BoundingBox& centroids) {
    const std::size_t n = last - first;
    SplitRecord* records = records_.data();
    const float low = centroids.lower[axis];
    const float high = centroids.upper[axis];
    // NaN keys, or a range that the buckets' scale can't span (infinite, or
    // all keys equal): the plain selection.
    const float inf = std::numeric_limits<float>::infinity();
    if (anyNan_ || !(high - low < inf) || !(static_cast<float>(kMaxBuckets) / (high - low) < inf)) {
        selectMedian(records + first, records + first + n / 2, records + last, axis);
        return;
    }
    axis == 0   ? splitAtMedian<0>(records + first, n, low, high)
    : axis == 1 ? splitAtMedian<1>(records + first, n, low, high)
                : splitAtMedian<2>(records + first, n, low, high);
}

template <int kAxis>
void SceneBvh::splitAtMedian(SplitRecord* records, std::size_t n, float low, float high) {
    const Buckets buckets(n, low, high);
    std::uint32_t* histogram = histogram_.data();
    const auto [median, below] = findMedianBucket<kAxis>(records, n, buckets, histogram);
    // A few crossings are repaired in place; a changed axis moves about half
    // the records, and those are better split in order.
    const std::size_t limit = std::max<std::size_t>(n / 8, 16);
    if (exchangeAcrossMedian<kAxis>(records, n, buckets, median, below, positions_.data(), straddlers_.data(),
                                    limit))
        return;
    SplitRecord* out = splitOutput_.data();
    splitByBuckets<kAxis>(records, out, straddling_.data(), n, buckets, median, below, histogram[median]);
    std::memcpy(static_cast<void*>(records), out, n * sizeof(SplitRecord));
}

} // namespace verdanium
