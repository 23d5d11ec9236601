#include "geometry/centroid_selection.h"
#include "geometry/scene_bvh.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace verdanium {

using namespace centroid_selection;

// Once the root keeps its axis, the costliest steps are those in which one of
// its two children turns: half the records are split anew. A child's axis
// swings between the same two or three as the root's does, so each child's
// arrangement is kept per axis (under the root's axis, whose halves it is made
// for) as the root's is, and taken up again when the child comes back to the
// axis. The records that entered the half since then take the places of those
// that left it; the repair of splitNodesFrom sets the few of them right. Any
// arrangement is a valid start for the repair, so an old one costs time,
// never correctness.

namespace {

std::size_t childSide(std::size_t node) {
    return node == 1 ? 0 : 1;
}

} // namespace

// Keeps the arrangement of `node`'s records, split on `axis`, and its subtree's
// node axes (the node's own is already the new one). mapIndexOfSlot gives the
// map position of each record's primitive slot.
void SceneBvh::keepChildArrangement(std::size_t node, std::uint8_t axis,
                                    const std::uint32_t* mapIndexOfSlot) {
    const std::size_t first = nodeRanges_[node].first;
    const std::size_t n = nodeRanges_[node].last - first;
    KeptArrangement& kept = childAxisArrangements_[axes_[0]][childSide(node)][axis];
    kept.mapIndexOf.resize(n);
    for (std::size_t i = 0; i < n; ++i)
        kept.mapIndexOf[i] = mapIndexOfSlot[records_[first + i].primitive];
    kept.axes.assign(axes_.begin() + node, axes_.begin() + node + 2 * n - 1);
    kept.axes[0] = axis;
}

// Rearranges `node`'s records as they stood when it last split on `axis`,
// gives its subtree that arrangement's axes and makes its centroid boxes
// again. Returns false, changing nothing, when none is kept.
bool SceneBvh::resumeChildArrangement(std::size_t node, std::uint8_t axis) {
    const std::size_t first = nodeRanges_[node].first;
    const std::size_t n = nodeRanges_[node].last - first;
    const KeptArrangement& kept = childAxisArrangements_[axes_[0]][childSide(node)][axis];
    if (kept.mapIndexOf.size() != n)
        return false;
    constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();
    keptPositionOf_.assign(records_.size(), kNone);
    for (std::size_t i = 0; i < n; ++i)
        keptPositionOf_[kept.mapIndexOf[i]] = static_cast<std::uint32_t>(i);
    // Each record still in the half goes back to its kept place; the newcomers
    // fill the places left empty, in order. Slots are below the count, so kNone
    // marks an empty place.
    SplitRecord* out = splitOutput_.data();
    SplitRecord* newcomers = straddling_.data();
    for (std::size_t i = 0; i < n; ++i)
        out[i].primitive = kNone;
    std::size_t newcomerCount = 0;
    for (std::size_t i = first; i < first + n; ++i) {
        const SplitRecord& record = records_[i];
        const std::uint32_t place = keptPositionOf_[mapIndexOf_[record.primitive]];
        if (place != kNone)
            out[place] = record;
        else
            newcomers[newcomerCount++] = record;
    }
    for (std::size_t i = 0, next = 0; i < n; ++i)
        if (out[i].primitive == kNone)
            out[i] = newcomers[next++];
    std::memcpy(static_cast<void*>(records_.data() + first), out, n * sizeof(SplitRecord));
    std::copy(kept.axes.begin(), kept.axes.end(), axes_.begin() + node);
    makeCentroidBoxes(node, node + 2 * n - 1);
    return true;
}

// For the tree as split now (records_ over the slots of mapIndexOfSlot), splits
// each root child once on each of its other two axes and keeps those
// arrangements, so that a child's first turn after a fresh build resumes too.
// The records and axes are left as they were.
void SceneBvh::prepareOtherChildAxes(const std::uint32_t* mapIndexOfSlot) {
    SplitRecord* records = records_.data();
    for (const std::size_t node : {std::size_t{1}, std::size_t{topology_[0]}}) {
        if (topology_[node] & kLeafBit)
            continue;
        const std::size_t first = nodeRanges_[node].first;
        const std::size_t last = nodeRanges_[node].last;
        const std::size_t mid = first + (last - first) / 2;
        const std::size_t endNode = node + 2 * (last - first) - 1;
        savedRecords_.assign(records + first, records + last);
        savedAxes_.assign(axes_.begin() + node, axes_.begin() + endNode);
        const BoundingBox box = centroidBox(records + first, records + last);
        for (std::uint8_t axis = 0; axis < 3; ++axis) {
            if (axis == savedAxes_[0])
                continue;
            splitAtMedian(first, last, axis, box);
            axes_[node] = axis;
            centroidBoxes_[node + 1] = centroidBox(records + first, records + mid);
            centroidBoxes_[topology_[node]] = centroidBox(records + mid, records + last);
            splitNodesFrom(node + 1, endNode, endNode);
            keepChildArrangement(node, axis, mapIndexOfSlot);
        }
        std::copy(savedRecords_.begin(), savedRecords_.end(), records + first);
        std::copy(savedAxes_.begin(), savedAxes_.end(), axes_.begin() + node);
    }
}

} // namespace verdanium
