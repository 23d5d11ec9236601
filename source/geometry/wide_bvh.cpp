#include "geometry/wide_bvh.h"

#include "geometry/bounding_box.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace verdanium {

namespace {

void writeBox(WideBvhNode& wide, int lane, const Vec3& lower, const Vec3& upper) {
    wide.planes[0][lane] = lower.x;
    wide.planes[1][lane] = lower.y;
    wide.planes[2][lane] = lower.z;
    wide.planes[3][lane] = upper.x;
    wide.planes[4][lane] = upper.y;
    wide.planes[5][lane] = upper.z;
}

void setLane(WideBvhNode& wide, int lane, const BvhNode& box) {
    writeBox(wide, lane, box.lower, box.upper);
    wide.occupied |= static_cast<std::uint8_t>(1u << lane);
}

// A node with no lane occupied; the empty box in every lane as well, so that stray lanes read as misses.
// Its order lists the lanes as they stand.
WideBvhNode emptyWideNode() {
    WideBvhNode wide{};
    const BoundingBox empty;
    for (int lane = 0; lane < 4; ++lane)
        writeBox(wide, lane, empty.lower, empty.upper);
    for (std::uint8_t& order : wide.order)
        order = 0b11100100;
    return wide;
}

// Whether the occupied lanes of a wide node hold finite planes with no axis inside out (a NaN fails too).
bool finiteLanes(const WideBvhNode& wide) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
#if defined(__SSE2__)
    __m128 good = _mm_castsi128_ps(_mm_set1_epi32(-1));
    for (int axis = 0; axis < 3; ++axis) {
        const __m128 lower = _mm_load_ps(wide.planes[axis]);
        const __m128 upper = _mm_load_ps(wide.planes[axis + 3]);
        good = _mm_and_ps(good, _mm_cmple_ps(lower, upper));
        good = _mm_and_ps(good, _mm_cmpgt_ps(lower, _mm_set1_ps(-kInfinity)));
        good = _mm_and_ps(good, _mm_cmplt_ps(upper, _mm_set1_ps(kInfinity)));
    }
    const unsigned lanes = static_cast<unsigned>(_mm_movemask_ps(good));
#else
    unsigned lanes = 0;
    for (int lane = 0; lane < 4; ++lane) {
        bool good = true;
        for (int axis = 0; axis < 3; ++axis) {
            const float lower = wide.planes[axis][lane], upper = wide.planes[axis + 3][lane];
            good = good && -kInfinity < lower && lower <= upper && upper < kInfinity;
        }
        lanes |= (good ? 1u : 0u) << lane;
    }
#endif
    return (lanes & wide.occupied) == wide.occupied;
}

// The lane order of a wide node for each of the eight sign octants, packed one byte per octant, for a node
// split on `axis` whose left and right children are inner (split on leftAxis, rightAxis) or leaves: the
// child on the near side of the node's axis first, and within an inner child its near grandchild first.
// Lanes stand left grandchildren first (a leaf child takes one lane); positions past them name the unused
// lanes.
std::uint64_t laneOrders(int axis, int leftAxis, int rightAxis, bool leftInner, bool rightInner) {
    const int laneCounts[2] = {leftInner ? 2 : 1, rightInner ? 2 : 1};
    const int firstLanes[2] = {0, laneCounts[0]};
    const int childAxes[2] = {leftAxis, rightAxis};
    std::uint64_t orders = 0;
    for (unsigned octant = 0; octant < 8; ++octant) {
        const auto sign = [octant](int of) { return static_cast<int>((octant >> of) & 1u); };
        const int first = sign(axis);
        unsigned order = 0;
        int position = 0;
        for (const int side : {first, 1 - first}) {
            const int near = laneCounts[side] == 2 ? sign(childAxes[side]) : 0;
            for (int k = 0; k < laneCounts[side]; ++k)
                order |= static_cast<unsigned>(firstLanes[side] + (k ^ near)) << (2 * position++);
        }
        for (int lane = laneCounts[0] + laneCounts[1]; lane < 4; ++lane)
            order |= static_cast<unsigned>(lane) << (2 * position++);
        orders |= std::uint64_t(order) << (8 * octant);
    }
    return orders;
}

// laneOrders for every shape of node, made once: a table, because the scene's tree is copied at every step.
struct LaneOrderTable {
    std::uint64_t orders[3][3][3][2][2];
    LaneOrderTable() {
        for (int axis = 0; axis < 3; ++axis)
            for (int left = 0; left < 3; ++left)
                for (int right = 0; right < 3; ++right)
                    for (int leftInner = 0; leftInner < 2; ++leftInner)
                        for (int rightInner = 0; rightInner < 2; ++rightInner)
                            orders[axis][left][right][leftInner][rightInner] =
                                laneOrders(axis, left, right, leftInner, rightInner);
    }
};
const LaneOrderTable& laneOrderTable() {
    static const LaneOrderTable table;
    return table;
}

} // namespace

void WideBvh::build(std::span<const BvhNode> binary) {
    nodes.clear();
    sources_.clear();
    binarySize_ = binary.size();
    foldable = false;
    if (binary.empty())
        return;
    const BvhNode& root = binary[0];
    if (root.count != 0 || binary.size() == 1) {
        // A tree of one leaf, or the empty tree's lone root (no items, the empty box): one wide node
        // holding it, or holding nothing.
        nodes.push_back(emptyWideNode());
        if (root.count != 0) {
            setLane(nodes[0], 0, root);
            nodes[0].child[0] = root.index;
            nodes[0].count[0] = root.count;
            foldable = finiteLanes(nodes[0]);
        }
        return;
    }
    // Each wide node stands for at least one binary inner node and at most two levels of them.
    nodes.reserve(binary.size() / 2 + 1);
    sources_.reserve(binary.size() / 2 + 1);
    // Every box of the tree is a lane somewhere or the union of lanes, so checking the lanes checks all.
    foldable = true;
    emit(binary, 0);
}

void WideBvh::refit(std::span<const BvhNode> binary) {
    if (!startRefit(binary)) {
        build(binary);
        return;
    }
    refitCursor_ = 0;
    for (std::size_t k = 0; k < nodes.size(); ++k)
        refitNode(binary, k);
    foldable = refitFinite_;
}

bool WideBvh::startRefit(std::span<const BvhNode> binary) {
    // A copy of one node (a leaf root or the empty tree) is as quick to make again.
    if (binary.size() != binarySize_ || sources_.size() != nodes.size() || sources_.empty())
        return false;
    refitCursor_ = nodes.size();
    refitFinite_ = true;
    return true;
}

void WideBvh::finishRefit(std::span<const BvhNode> binary) {
    // Pre-order puts the wide nodes in the order of the binary nodes they stand for, so refitAt met them
    // all; any it did not meet are made here all the same.
    for (; refitCursor_ != 0; --refitCursor_)
        refitNode(binary, refitCursor_ - 1);
    foldable = refitFinite_;
}

void WideBvh::refitNode(std::span<const BvhNode> binary, std::size_t k) {
    const LaneOrderTable& table = laneOrderTable();
    WideBvhNode& wide = nodes[k];
    const Source& source = sources_[k];
    const BvhNode& split = binary[source.split];
    const BvhNode& left = binary[source.split + 1];
    const BvhNode& right = binary[split.index];
    const bool leftInner = left.count == 0, rightInner = right.count == 0;
    const std::uint64_t orders = table.orders[split.axis][leftInner ? left.axis : 0]
                                             [rightInner ? right.axis : 0][leftInner][rightInner];
    std::memcpy(wide.order, &orders, sizeof orders);
    const int laneCount = std::popcount(static_cast<unsigned>(wide.occupied));
#if defined(__SSE2__)
    // The lanes' boxes turned into planes in registers: six stores where
    // lane by lane makes twenty-four, and the check of the planes reads
    // no stored value back. The unoccupied lanes get the empty box again.
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    __m128 lower[4], upper[4];
    for (int lane = 0; lane < 4; ++lane) {
        if (lane < laneCount) {
            // Lower x, y, z, then upper x, y, z and the index, whose lane the transposition drops.
            const BvhNode& box = binary[source.lanes[lane]];
            lower[lane] = _mm_loadu_ps(&box.lower.x);
            upper[lane] = _mm_loadu_ps(&box.upper.x);
        } else {
            lower[lane] = _mm_set1_ps(kInfinity);
            upper[lane] = _mm_set1_ps(-kInfinity);
        }
    }
    _MM_TRANSPOSE4_PS(lower[0], lower[1], lower[2], lower[3]);
    _MM_TRANSPOSE4_PS(upper[0], upper[1], upper[2], upper[3]);
    __m128 good = _mm_castsi128_ps(_mm_set1_epi32(-1));
    for (int axis = 0; axis < 3; ++axis) {
        _mm_store_ps(wide.planes[axis], lower[axis]);
        _mm_store_ps(wide.planes[axis + 3], upper[axis]);
        good = _mm_and_ps(good, _mm_cmple_ps(lower[axis], upper[axis]));
        good = _mm_and_ps(good, _mm_cmpgt_ps(lower[axis], _mm_set1_ps(-kInfinity)));
        good = _mm_and_ps(good, _mm_cmplt_ps(upper[axis], _mm_set1_ps(kInfinity)));
    }
    const unsigned lanes = static_cast<unsigned>(_mm_movemask_ps(good));
    refitFinite_ = refitFinite_ && (lanes & wide.occupied) == wide.occupied;
#else
    for (int lane = 0; lane < laneCount; ++lane) {
        const BvhNode& box = binary[source.lanes[lane]];
        writeBox(wide, lane, box.lower, box.upper);
    }
    refitFinite_ = refitFinite_ && finiteLanes(wide);
#endif
}

std::uint32_t WideBvh::emit(std::span<const BvhNode> binary, std::uint32_t node) {
    const std::uint32_t self = static_cast<std::uint32_t>(nodes.size());
    nodes.push_back(emptyWideNode());
    sources_.push_back(Source{node, {}});

    // The grandchildren through each inner child, left before right; a leaf child takes a lane of its own.
    const BvhNode& split = binary[node];
    const BvhNode& left = binary[node + 1];
    const BvhNode& right = binary[split.index];
    const bool leftInner = left.count == 0, rightInner = right.count == 0;
    // A leaf's axis is not set: it takes no part.
    const std::uint64_t orders = laneOrderTable().orders[split.axis][leftInner ? left.axis : 0]
                                                        [rightInner ? right.axis : 0][leftInner][rightInner];
    std::memcpy(nodes[self].order, &orders, sizeof orders);
    std::uint32_t lanes[4];
    int laneCount = 0;
    for (const std::uint32_t child : {node + 1, split.index}) {
        if (binary[child].count == 0) {
            lanes[laneCount++] = child + 1;
            lanes[laneCount++] = binary[child].index;
        } else {
            lanes[laneCount++] = child;
        }
    }

    for (int lane = 0; lane < laneCount; ++lane) {
        sources_[self].lanes[lane] = lanes[lane];
        const BvhNode& source = binary[lanes[lane]];
        // Not a reference into `nodes`: emitting the child below may move the array.
        std::uint32_t child = source.index;
        if (source.count == 0)
            child = emit(binary, lanes[lane]);
        WideBvhNode& wide = nodes[self];
        setLane(wide, lane, source);
        wide.child[lane] = child;
        wide.count[lane] = source.count;
    }
    foldable = foldable && finiteLanes(nodes[self]);
    return self;
}

} // namespace verdanium
