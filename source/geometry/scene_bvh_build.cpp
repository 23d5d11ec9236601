#include "geometry/scene_bvh.h"

#include "geometry/bounding_box.h"
#include "geometry/centroid_selection.h"
#include "world/entity.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

namespace verdanium {

using namespace centroid_selection;

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

namespace {

SceneBvh::CapturedBox captureBox(Entity& entity) {
    const EntityPrimitive primitive = makeEntityPrimitive(entity);
    return {primitive.entity, primitive.lower, primitive.upper};
}

} // namespace

void SceneBvh::startCapture() {
    inMapOrder_.clear();
    recapture_.clear();
}

void SceneBvh::capture(Entity& entity, bool final) {
    if (!final)
        recapture_.push_back(static_cast<std::uint32_t>(inMapOrder_.size()));
    inMapOrder_.push_back(captureBox(entity));
}

void SceneBvh::buildCaptured() {
    for (const std::uint32_t i : recapture_)
        inMapOrder_[i] = captureBox(*inMapOrder_[i].entity);
    const std::size_t count = inMapOrder_.size();

    // A new count (a recreation) or emptied arrays make the layout again and
    // start from map order.
    const std::size_t nodeCount = count == 0 ? 1 : 2 * count - 1;
    const bool freshLayout = nodes.size() != nodeCount || mapIndexOf_.size() != count;
    if (freshLayout) {
        for (KeptArrangement& kept : rootAxisArrangements_)
            kept.mapIndexOf.clear();
        for (auto& perSide : childAxisArrangements_)
            for (auto& perAxis : perSide)
                for (KeptArrangement& kept : perAxis)
                    kept.mapIndexOf.clear();
        nodes.clear();
        nodeRanges_.clear();
        topology_.clear();
        // Four per primitive, as at the mesh level, though only 2n - 1 are used.
        nodes.reserve(4 * count);
        makeNodeLayout(0, count);
        axes_.assign(nodeCount, 0);
        mapIndexOf_.resize(count);
        for (std::size_t i = 0; i < count; ++i)
            mapIndexOf_[i] = static_cast<std::uint32_t>(i);
    }

    gatherArrangement();
    centroidBoxes_.resize(nodeCount);
    if (!freshLayout && !anyNan_ && count >= 2) {
        makeCentroidBoxes(0, nodeCount);
        resumeRootAxisArrangement();
    }
    // One spare slot each: a split's stray write may land just past its range.
    splitOutput_.resize(count + 1);
    straddling_.resize(count + 1);
    histogram_.resize(kMaxBuckets);
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
    // The shape of the tree depends on the count alone, so where it is kept
    // the wide copy is refitted in the same pass, each wide node as soon as
    // the nodes it copies are final, rather than from a second read of them.
    const bool refitting = !freshLayout && wide_.startRefit(nodes);
    for (std::size_t k = nodeCount; k-- > 0;) {
        BvhNode& node = nodes[k];
        BoundingBox box;
        if (node.count != 0) {
            const std::size_t position = node.index;
            const SplitRecord& record = records_[position];
            const CapturedBox& captured = arranged_[record.primitive];
            const Vec3 centroid{record.centroid[0], record.centroid[1], record.centroid[2]};
            primitives[position] = EntityPrimitive{captured.entity, captured.lower, captured.upper, centroid};
            leafItems[position] = captured.entity;
            nextMapIndexOf_[position] = mapIndexOf_[record.primitive];
            box.extend(BoundingBox{captured.lower, captured.upper});
        } else {
            box.extend(BoundingBox{nodes[k + 1].lower, nodes[k + 1].upper});
            box.extend(BoundingBox{nodes[node.index].lower, nodes[node.index].upper});
            node.axis = axes_[k];
        }
        node.lower = box.lower;
        node.upper = box.upper;
        if (refitting)
            wide_.refitAt(nodes, k);
    }
    mapIndexOf_.swap(nextMapIndexOf_);
    if (refitting)
        wide_.finishRefit(nodes);
    else
        wide_.build(nodes);
    if (freshLayout && !anyNan_ && count >= 2)
        prepareOtherRootAxes();
}

// A new crowd's extents are often nearly equal, so that its root's axis swings
// within the first steps: and the first time it reaches an axis, there is no
// arrangement to take up (resumeRootAxisArrangement), and the whole tree is
// split anew in a step. The fresh build, which splits everything anyway, also
// splits the records once for each of the other two root axes, and keeps the
// arrangements for the steps. The tree it built is left as it is.
void SceneBvh::prepareOtherRootAxes() {
    const std::size_t nodeCount = nodes.size();
    const std::size_t count = records_.size();
    std::vector<std::uint8_t>& builtAxes = rootAxisArrangements_[axes_[0]].axes;
    builtAxes = axes_;
    // records_ is still in the order the build left, over the slots of the
    // arrangement it started from, nextMapIndexOf_ since the swap above.
    const BoundingBox rootBox = centroidBoxes_[0];
    prepareOtherChildAxes(nextMapIndexOf_.data());
    for (std::uint8_t axis = 0; axis < 3; ++axis) {
        if (axis == builtAxes[0])
            continue;
        splitAtMedian(0, count, axis, rootBox);
        axes_[0] = axis;
        centroidBoxes_[1] = centroidBox(records_.data(), records_.data() + count / 2);
        centroidBoxes_[topology_[0]] = centroidBox(records_.data() + count / 2, records_.data() + count);
        splitNodesFrom(1, nodeCount, nodeCount);
        prepareOtherChildAxes(nextMapIndexOf_.data());
        KeptArrangement& kept = rootAxisArrangements_[axis];
        kept.mapIndexOf.resize(count);
        for (std::size_t i = 0; i < count; ++i)
            kept.mapIndexOf[i] = nextMapIndexOf_[records_[i].primitive];
        kept.axes = axes_;
    }
    axes_.swap(builtAxes);
    // Only the arrangements count; the built one is kept by mapIndexOf_.
    builtAxes.clear();
}

// Gathers the primitives in the last arrangement, the one pass that reads them
// out of map order, so that the leaves, whose order differs from it only where
// records moved, find theirs nearly in sequence.
void SceneBvh::gatherArrangement() {
    const std::size_t count = inMapOrder_.size();
    records_.resize(count);
    arranged_.resize(count);
    // Far enough ahead for the misses to overlap: 16 ran a step at 262,144
    // entities about 1.5% faster than 8, side by side.
    constexpr std::size_t kGatherLookahead = 16;
    bool anyNan = false;
    for (std::size_t i = 0; i < count; ++i) {
        if (i + kGatherLookahead < count)
            __builtin_prefetch(&inMapOrder_[mapIndexOf_[i + kGatherLookahead]]);
        const CapturedBox& captured = inMapOrder_[mapIndexOf_[i]];
        // The centroid as makeEntityPrimitive makes it.
        const Vec3 centroid = boxCentre(captured.lower, captured.upper);
        anyNan |= std::isnan(centroid.x) | std::isnan(centroid.y) | std::isnan(centroid.z);
        arranged_[i] = captured;
        records_[i] = SplitRecord{{centroid.x, centroid.y, centroid.z}, static_cast<std::uint32_t>(i)};
    }
    anyNan_ = anyNan;
}

// When the root's axis changes, every record may change sides and the whole
// tree is split anew, several times the cost of a step. But the extents of a
// crowd's box are often nearly equal, and then the root's axis swings between
// the same two or three: the arrangement it had when it last split on the new
// axis is then a few steps old and needs little repair. So the arrangement
// (and the node axes it was split by) is kept per root axis when the root
// leaves that axis, and taken up again, with the primitives gathered in it,
// when the root comes back. Any arrangement is a valid start for the repair,
// so an old one costs time, never correctness.
void SceneBvh::resumeRootAxisArrangement() {
    const std::uint8_t oldAxis = axes_[0];
    const std::uint8_t newAxis = splitAxis(centroidBoxes_[0]);
    if (newAxis == oldAxis)
        return;
    KeptArrangement& leaving = rootAxisArrangements_[oldAxis];
    leaving.mapIndexOf.assign(mapIndexOf_.begin(), mapIndexOf_.end());
    leaving.axes = axes_;
    const KeptArrangement& resumed = rootAxisArrangements_[newAxis];
    if (resumed.mapIndexOf.size() != mapIndexOf_.size())
        return;
    mapIndexOf_.assign(resumed.mapIndexOf.begin(), resumed.mapIndexOf.end());
    axes_ = resumed.axes;
    gatherArrangement();
    makeCentroidBoxes(0, nodes.size());
}

// The nodes of a tree over [first, last) in pre-order: leaf ranges and
// right-child positions, and each node's range beside them. Axes and boxes
// are filled by each build.
void SceneBvh::makeNodeLayout(std::size_t first, std::size_t last) {
    const std::size_t n = last - first;
    const std::size_t self = nodes.size();
    nodes.push_back(BvhNode{BoundingBox{}.lower, BoundingBox{}.upper, 0, 0, 0});
    nodeRanges_.push_back(NodeRange{static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(last)});
    topology_.push_back(kLeafBit | static_cast<std::uint32_t>(first));
    if (n <= 1) {
        nodes[self].count = static_cast<std::uint8_t>(n);
        nodes[self].index = static_cast<std::uint32_t>(first);
        return;
    }
    makeNodeLayout(first, first + n / 2);
    nodes[self].index = static_cast<std::uint32_t>(nodes.size());
    topology_[self] = nodes[self].index;
    makeNodeLayout(first + n / 2, last);
}

// Centroid boxes of the nodes [firstNode, endNode), which must be whole
// subtrees, children before parents. The union of the children's boxes is the
// box a scan over the node's range makes (NaN coordinates are left out of
// both), up to the sign of a zero bound, which no extent and no comparison
// can tell.
void SceneBvh::makeCentroidBoxes(std::size_t firstNode, std::size_t endNode) {
    for (std::size_t k = endNode; k-- > firstNode;) {
        const std::uint32_t link = topology_[k];
        if (link & kLeafBit) {
            centroidBoxes_[k] = centroidPoint(records_[link & ~kLeafBit]);
        } else {
            BoundingBox box = centroidBoxes_[k + 1];
            box.extend(centroidBoxes_[link]);
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
    if (freshLayout || anyNan_) {
        centroidBoxes_[0] = centroidBox(records_.data(), records_.data() + records_.size());
        splitNodesFrom(0, nodes.size(), nodes.size());
    } else {
        splitNodesFrom(0, nodes.size(), 0);
    }
}

// The pass of splitNodes over the nodes [firstNode, endNode), which must end
// a subtree, the nodes before staleEnd taken as stale.
void SceneBvh::splitNodesFrom(std::size_t firstNode, std::size_t endNode, std::size_t staleEnd) {
    const SplitRecord* records = records_.data();
    for (std::size_t k = firstNode; k < endNode; ++k) {
        const std::uint32_t link = topology_[k];
        if (link & kLeafBit)
            continue;
        const std::uint8_t axis = splitAxis(centroidBoxes_[k]);
        const std::uint8_t oldAxis = axes_[k];
        bool sameAxis = oldAxis == axis;
        axes_[k] = axis;
        const std::size_t left = k + 1;
        const std::size_t right = link;
        const std::size_t first = nodeRanges_[k].first;
        const std::size_t last = nodeRanges_[k].last;
        const std::size_t mid = first + (last - first) / 2;
        const bool stale = k < staleEnd;
        if (stale) {
            centroidBoxes_[left] = centroidBox(records + first, records + mid);
            centroidBoxes_[right] = centroidBox(records + mid, records + last);
        }
        // A root child that turns takes up the arrangement it had when it last
        // split on its new axis, as the root does (resumeRootAxisArrangement).
        if (!stale && !sameAxis && (k == 1 || k == topology_[0])) {
            keepChildArrangement(k, oldAxis, mapIndexOf_.data());
            sameAxis = resumeChildArrangement(k, axis);
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
    const std::size_t right = topology_[node];
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
        const BoundingBox& right = centroidBoxes_[topology_[node]];
        const bool inRight =
            kLargest ? right.upper[axis] > left.upper[axis] : right.lower[axis] < left.lower[axis];
        if (inRight) {
            node = topology_[node];
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
    // The median split keeps the tree about log2(n) deep: 64 levels cannot be reached.
    std::size_t path[64];
    int depth = 0;
    while (last - first > 1) {
        path[depth++] = node;
        const std::size_t mid = first + (last - first) / 2;
        if (position < mid) {
            node = node + 1;
            last = mid;
        } else {
            node = topology_[node];
            first = mid;
        }
    }
    centroidBoxes_[node] = centroidPoint(records_[position]);
    while (depth > 0) {
        const std::size_t k = path[--depth];
        BoundingBox box = centroidBoxes_[k + 1];
        box.extend(centroidBoxes_[topology_[k]]);
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
