#include "geometry/scene_bvh.h"

#include "geometry/bounding_box.h"
#include "world/entity.h"

#include <algorithm>
#include <bit>
#include <cmath>

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

} // namespace

void SceneBvh::build(EntityMap::const_iterator first, EntityMap::const_iterator last) {
    clearKeepingCapacity();
    inMapOrder_.clear();
    records_.clear();
    forEachEntity(first, last,
                  [this](Entity& entity) { inMapOrder_.push_back(makeEntityPrimitive(entity)); });
    const std::size_t count = inMapOrder_.size();

    // The selection works on compact records rather than on the primitives: the
    // tree over tens of thousands of entities is rebuilt at every step, and most
    // of that time goes into the median selections.
    for (std::size_t i = 0; i < count; ++i) {
        const Vec3& centroid = inMapOrder_[i].centroid;
        records_.push_back(SplitRecord{{centroid.x, centroid.y, centroid.z}, static_cast<std::uint32_t>(i)});
    }
    // Four per primitive, as at the mesh level, though only 2n - 1 are used.
    nodes.reserve(4 * count);
    buildNodes(0, count);

    // The primitives in the build's final order, so that a leaf's index is its
    // primitive's position, and the leaf items beside them.
    primitives.reserve(count);
    leafItems.reserve(count);
    for (const SplitRecord& record : records_) {
        primitives.push_back(inMapOrder_[record.primitive]);
        leafItems.push_back(primitives.back().entity);
    }
    // Boxes last, children before parents: a node's children stand after it.
    for (std::size_t k = nodes.size(); k-- > 0;) {
        BvhNode& node = nodes[k];
        BoundingBox box;
        if (node.count != 0) {
            for (std::size_t i = node.index; i < node.index + node.count; ++i)
                box.extend(BoundingBox{primitives[i].lower, primitives[i].upper});
        } else if (k + 1 < nodes.size()) {
            box.extend(BoundingBox{nodes[k + 1].lower, nodes[k + 1].upper});
            box.extend(BoundingBox{nodes[node.index].lower, nodes[node.index].upper});
        }
        node.lower = box.lower;
        node.upper = box.upper;
    }
}

void SceneBvh::buildNodes(std::size_t first, std::size_t last) {
    const std::size_t n = last - first;
    const std::size_t self = nodes.size();
    nodes.push_back(BvhNode{BoundingBox{}.lower, BoundingBox{}.upper, 0, 0, 0});
    if (n <= 1) {
        nodes[self].count = static_cast<std::uint8_t>(n);
        nodes[self].index = static_cast<std::uint32_t>(first);
        return;
    }

    // The centroids' box, NaN coordinates left out as BoundingBox::extend does.
    BoundingBox centroids;
    for (std::size_t i = first; i < last; ++i) {
        const float* c = records_[i].centroid;
        centroids.extend(Vec3{c[0], c[1], c[2]});
    }
    const std::uint8_t axis = splitAxis(centroids);
    nodes[self].axis = axis;

    const std::size_t mid = first + n / 2;
    selectMedian(records_.data() + first, records_.data() + mid, records_.data() + last, axis);
    buildNodes(first, mid);
    nodes[self].index = static_cast<std::uint32_t>(nodes.size());
    buildNodes(mid, last);
}

} // namespace verdanium
