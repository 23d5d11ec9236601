#include "geometry/scene_bvh.h"

#include "geometry/bounding_box.h"
#include "geometry/bvh_traversal.h"
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

// Bound k of lower x, y, z, upper x, y, z, by one load at a computed offset
// (the six floats are adjacent), where Vec3's operator[] selects.
float boxBound(const BoundingBox& box, int k) {
    float value;
    std::memcpy(&value, reinterpret_cast<const unsigned char*>(&box) + k * sizeof(float), sizeof(float));
    return value;
}

// The point box of one record's centroid, as extending the empty box by it
// makes it (a NaN coordinate is left out).
BoundingBox centroidPoint(const SplitRecord& record) {
    BoundingBox box;
    box.extend(Vec3{record.centroid[0], record.centroid[1], record.centroid[2]});
    return box;
}

// The bucket selection of [low, high] over the n records of `in`, into `out`.
template <int kAxis>
void splitInOrder(const SplitRecord* in, SplitRecord* out, SplitRecord* straddling, std::uint32_t* histogram,
                  std::size_t n, float low, float high) {
    const Buckets buckets(n, low, high);
    const auto [median, below] = findMedianBucket<kAxis>(in, n, buckets, histogram);
    splitByBuckets<kAxis>(in, out, straddling, n, buckets, median, below, histogram[median]);
}

} // namespace

// The build runs at every flying step, and at tens of thousands of entities it
// was most of a step, most of that in the median selections. But between two
// steps an entity moves by a hundredth of its velocity, so the arrangement of
// the records that the last build left is nearly the one this build needs.
// The build starts from it, with the new centroids, and repairs it:
//
// - The layout of the nodes (which are leaves, where right children stand)
//   depends on the count alone, so it is kept, and so is each node's axis of
//   the last build. A bottom-up pass makes the centroid box of every node
//   over the current arrangement: a parent's is the union of its children's.
// - Top down, a node whose axis is unchanged still has its halves split when
//   the largest coordinate on the left does not exceed the smallest on the
//   right, two box reads. Where a few records crossed the median, the largest
//   on the left and the smallest on the right are found by descending the
//   children's boxes and swapped, with the boxes on their two paths made
//   again, until the halves are split. Every other record keeps its place,
//   so the nodes below find them still split.
// - A node whose axis changed (or the first build over a new count, or one
//   where too many records crossed) splits its range by the bucket selection,
//   keeping each side's order, and the nodes below it take their children's
//   boxes from scans of their halves (see splitNodes).
//
// Either way a node's halves hold the floor(n / 2) smallest records and the
// rest, which is all the selection the tree is defined by promises; the tree
// is the one a fresh build makes, the order among equal coordinates aside.
// Last, one backward pass over the nodes gives each leaf its primitive and
// each node its box.
void SceneBvh::build(EntityMap::const_iterator first, EntityMap::const_iterator last) {
    startCapture();
    forEachEntity(first, last, [this](Entity& entity) { capture(entity, true); });
    buildCaptured();
}

void SceneBvh::startCapture() {
    inMapOrder_.clear();
    recapture_.clear();
}

void SceneBvh::capture(Entity& entity, bool final) {
    if (!final)
        recapture_.push_back(static_cast<std::uint32_t>(inMapOrder_.size()));
    inMapOrder_.push_back(makeEntityPrimitive(entity));
}

void SceneBvh::buildCaptured() {
    for (const std::uint32_t i : recapture_)
        inMapOrder_[i] = makeEntityPrimitive(*inMapOrder_[i].entity);
    const std::size_t count = inMapOrder_.size();

    // A new count (a recreation) or emptied arrays make the layout again and
    // start from map order.
    const std::size_t nodeCount = count == 0 ? 1 : 2 * count - 1;
    const bool freshLayout = nodes.size() != nodeCount || mapIndexOf_.size() != count;
    if (freshLayout) {
        nodes.clear();
        nodeRanges_.clear();
        // Four per primitive, as at the mesh level, though only 2n - 1 are used.
        nodes.reserve(4 * count);
        makeNodeLayout(0, count);
        mapIndexOf_.resize(count);
        for (std::size_t i = 0; i < count; ++i)
            mapIndexOf_[i] = static_cast<std::uint32_t>(i);
    }

    // The primitives are gathered in the last arrangement, the one pass that
    // reads them out of map order, so that the leaves, whose order differs
    // from it only where records moved, find theirs nearly in sequence.
    records_.resize(count);
    arranged_.resize(count);
    constexpr std::size_t kGatherLookahead = 8;
    bool anyNan = false;
    for (std::size_t i = 0; i < count; ++i) {
        if (i + kGatherLookahead < count)
            __builtin_prefetch(&inMapOrder_[mapIndexOf_[i + kGatherLookahead]]);
        const EntityPrimitive& primitive = inMapOrder_[mapIndexOf_[i]];
        const Vec3& centroid = primitive.centroid;
        anyNan |= std::isnan(centroid.x) | std::isnan(centroid.y) | std::isnan(centroid.z);
        arranged_[i] = primitive;
        records_[i] = SplitRecord{{centroid.x, centroid.y, centroid.z}, static_cast<std::uint32_t>(i)};
    }
    anyNan_ = anyNan;
    // One spare slot each: a split's stray write may land just past its range.
    splitOutput_.resize(count + 1);
    straddling_.resize(count + 1);
    histogram_.resize(kMaxBuckets);
    centroidBoxes_.resize(nodeCount);
    nextMapIndexOf_.resize(count);
    primitives.resize(count);
    leafItems.resize(count);

    if (count == 0) {
        nodes[0] = BvhNode{BoundingBox{}.lower, BoundingBox{}.upper, 0, 0, 0};
        wide_.build(nodes);
        return;
    }
    if (count >= 2)
        splitNodes(freshLayout);

    // Children stand after their parent, so a backward pass sees them first.
    for (std::size_t k = nodeCount; k-- > 0;) {
        BvhNode& node = nodes[k];
        BoundingBox box;
        if (node.count != 0) {
            const std::size_t position = node.index;
            const std::uint32_t slot = records_[position].primitive;
            const EntityPrimitive& primitive = arranged_[slot];
            primitives[position] = primitive;
            leafItems[position] = primitive.entity;
            nextMapIndexOf_[position] = mapIndexOf_[slot];
            box.extend(BoundingBox{primitive.lower, primitive.upper});
        } else {
            box.extend(BoundingBox{nodes[k + 1].lower, nodes[k + 1].upper});
            box.extend(BoundingBox{nodes[node.index].lower, nodes[node.index].upper});
        }
        node.lower = box.lower;
        node.upper = box.upper;
    }
    mapIndexOf_.swap(nextMapIndexOf_);
    wide_.build(nodes);
}

// The nodes of a tree over [first, last) in pre-order: leaf ranges and
// right-child positions, and each node's range beside them. Axes and boxes
// are filled by each build.
void SceneBvh::makeNodeLayout(std::size_t first, std::size_t last) {
    const std::size_t n = last - first;
    const std::size_t self = nodes.size();
    nodes.push_back(BvhNode{BoundingBox{}.lower, BoundingBox{}.upper, 0, 0, 0});
    nodeRanges_.push_back(NodeRange{static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(last)});
    if (n <= 1) {
        nodes[self].count = static_cast<std::uint8_t>(n);
        nodes[self].index = static_cast<std::uint32_t>(first);
        return;
    }
    makeNodeLayout(first, first + n / 2);
    nodes[self].index = static_cast<std::uint32_t>(nodes.size());
    makeNodeLayout(first + n / 2, last);
}

// Centroid boxes of the nodes [firstNode, endNode), which must be whole
// subtrees, children before parents. The union of the children's boxes is the
// box a scan over the node's range makes (NaN coordinates are left out of
// both), up to the sign of a zero bound, which no extent and no comparison
// can tell.
void SceneBvh::makeCentroidBoxes(std::size_t firstNode, std::size_t endNode) {
    for (std::size_t k = endNode; k-- > firstNode;) {
        const BvhNode& node = nodes[k];
        if (node.count != 0) {
            centroidBoxes_[k] = centroidPoint(records_[node.index]);
        } else {
            BoundingBox box = centroidBoxes_[k + 1];
            box.extend(centroidBoxes_[node.index]);
            centroidBoxes_[k] = box;
        }
    }
}

// Gives every inner node its axis and a median split of its records, top
// down: pre-order puts every parent before its children, so one pass in array
// order does it, with no recursion.
//
// Below a node that was split anew, the centroid boxes of the last
// arrangement mean nothing. There each node scans its two halves for its
// children's boxes instead, and takes no swaps, which descend the boxes of a
// whole subtree: a subtree whose records were rearranged is built much as a
// fresh build would build it, with one scan per level. (Making all its boxes
// again at every such node was the costliest part of a step where the axis
// of a large node changed.)
void SceneBvh::splitNodes(bool freshLayout) {
    const std::size_t nodeCount = nodes.size();
    const SplitRecord* records = records_.data();
    std::size_t staleEnd = 0;
    if (freshLayout || anyNan_) {
        centroidBoxes_[0] = centroidBox(records, records + records_.size());
        staleEnd = nodeCount;
    } else {
        makeCentroidBoxes(0, nodeCount);
    }
    for (std::size_t k = 0; k < nodeCount; ++k) {
        BvhNode& node = nodes[k];
        if (node.count != 0)
            continue;
        const std::uint8_t axis = splitAxis(centroidBoxes_[k]);
        const bool sameAxis = node.axis == axis;
        node.axis = axis;
        const std::size_t left = k + 1;
        const std::size_t right = node.index;
        const std::size_t first = nodeRanges_[k].first;
        const std::size_t last = nodeRanges_[k].last;
        const std::size_t mid = first + (last - first) / 2;
        const bool stale = k < staleEnd;
        if (stale) {
            centroidBoxes_[left] = centroidBox(records + first, records + mid);
            centroidBoxes_[right] = centroidBox(records + mid, records + last);
        }
        // Nearly every node of a flying step is still split: two box reads.
        // With no NaN about, the boxes hold the exact extremes of each half.
        if (!anyNan_ && boxBound(centroidBoxes_[left], 3 + axis) <= boxBound(centroidBoxes_[right], axis))
            continue;
        if (!stale && sameAxis && swapAcrossMedian(k, first, last, axis))
            continue;
        splitAtMedian(first, last, axis, centroidBoxes_[k]);
        centroidBoxes_[left] = centroidBox(records + first, records + mid);
        centroidBoxes_[right] = centroidBox(records + mid, records + last);
        staleEnd = std::max(staleEnd, k + 2 * (last - first) - 1);
    }
}

// Swaps the largest record on the left with the smallest on the right while
// the one lies above the other, each found by descending its half's boxes,
// and makes the boxes on both paths again. Returns false after so many swaps
// that a split of the whole range is cheaper (the halves then hold the same
// records as before, differently arranged).
bool SceneBvh::swapAcrossMedian(std::size_t node, std::size_t first, std::size_t last, std::uint8_t axis) {
    const std::size_t n = last - first;
    const std::size_t mid = first + n / 2;
    const std::size_t left = node + 1;
    const std::size_t right = nodes[node].index;
    // About twice the square root of n: records that merely crossed the median
    // between two steps are a handful, and a range that needs more is better
    // split anew than searched (each swap walks four paths of the subtree).
    const std::size_t limit = std::size_t{4} << (std::bit_width(n) / 2);
    for (std::size_t swaps = 0; centroidBoxes_[left].upper[axis] > centroidBoxes_[right].lower[axis];
         ++swaps) {
        if (swaps == limit)
            return false;
        const std::size_t largest = extremePosition<true>(left, first, mid, axis);
        const std::size_t smallest = extremePosition<false>(right, mid, last, axis);
        std::swap(records_[largest], records_[smallest]);
        refreshCentroidPath(left, first, mid, largest);
        refreshCentroidPath(right, mid, last, smallest);
    }
    return true;
}

// The position of a record with the largest (kLargest) or smallest coordinate
// on the axis under `node` (over [first, last)): the child whose box reaches
// farther holds it.
template <bool kLargest>
std::size_t SceneBvh::extremePosition(std::size_t node, std::size_t first, std::size_t last,
                                      std::uint8_t axis) const {
    while (last - first > 1) {
        const std::size_t mid = first + (last - first) / 2;
        const BoundingBox& left = centroidBoxes_[node + 1];
        const BoundingBox& right = centroidBoxes_[nodes[node].index];
        const bool inRight =
            kLargest ? right.upper[axis] > left.upper[axis] : right.lower[axis] < left.lower[axis];
        if (inRight) {
            node = nodes[node].index;
            first = mid;
        } else {
            node = node + 1;
            last = mid;
        }
    }
    return first;
}

// Makes again the centroid boxes on the path from `node` (over [first, last))
// down to the leaf at `position`.
void SceneBvh::refreshCentroidPath(std::size_t node, std::size_t first, std::size_t last,
                                   std::size_t position) {
    std::size_t path[kBvhStackSize];
    int depth = 0;
    while (last - first > 1) {
        path[depth++] = node;
        const std::size_t mid = first + (last - first) / 2;
        if (position < mid) {
            node = node + 1;
            last = mid;
        } else {
            node = nodes[node].index;
            first = mid;
        }
    }
    centroidBoxes_[node] = centroidPoint(records_[position]);
    while (depth > 0) {
        const std::size_t k = path[--depth];
        BoundingBox box = centroidBoxes_[k + 1];
        box.extend(centroidBoxes_[nodes[k].index]);
        centroidBoxes_[k] = box;
    }
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
    SplitRecord* out = splitOutput_.data();
    SplitRecord* straddling = straddling_.data();
    std::uint32_t* histogram = histogram_.data();
    axis == 0   ? splitInOrder<0>(records + first, out, straddling, histogram, n, low, high)
    : axis == 1 ? splitInOrder<1>(records + first, out, straddling, histogram, n, low, high)
                : splitInOrder<2>(records + first, out, straddling, histogram, n, low, high);
    std::memcpy(static_cast<void*>(records + first), out, n * sizeof(SplitRecord));
}

} // namespace verdanium
