#include "geometry/mesh_wide_bvh.h"

#include "geometry/bounding_box.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace verdanium {

namespace {

// The binary nodes that stand as the lanes of one wide node or pair of clusters, left to right.
struct LaneList {
    std::uint32_t at[8];
    std::size_t count = 0;
    void push_back(std::uint32_t node) { at[count++] = node; }
    std::size_t size() const { return count; }
    const std::uint32_t* data() const { return at; }
    std::uint32_t operator[](std::size_t lane) const { return at[lane]; }
    // Replaces the node at `lane` with `left` and `right`, in that order.
    void open(std::size_t lane, std::uint32_t left, std::uint32_t right) {
        for (std::size_t k = count++; k > lane + 1; --k)
            at[k] = at[k - 1];
        at[lane] = left;
        at[lane + 1] = right;
    }
};

} // namespace

// Makes the copy top down. The lanes of a node are a cut through the binary subtree below it: a subtree of at
// most four leaves becomes a cluster of its leaves, one of five to eight a pair of clusters; a larger one an
// inner node of up to eight lanes (see cut).
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

    void leavesOf(std::uint32_t node, LaneList& lanes) const {
        if (isLeaf(node)) {
            lanes.push_back(node);
            return;
        }
        leavesOf(node + 1, lanes);
        leavesOf(right(node), lanes);
    }

    // Per sign octant, the lanes of `lanes` in the order the binary walk reaches them from `node`, `bits`
    // bits per position; the positions past them name the unused lanes up to `slots`. The binary subtree
    // down to the lanes is copied once, in pre-order, each entry a lane or an inner node with its axis and
    // its right child's entry (the left child's is the next one), and walked in each octant, the right child
    // first where the octant's bit of the node's axis is set.
    void laneOrders(std::uint32_t node, const LaneList& lanes, int bits, unsigned slots,
                    std::uint32_t (&orders)[8]) const {
        // A cut of at most eight lanes has at most seven inner nodes above it.
        struct Entry {
            std::uint8_t lane; // kInner for an inner node
            std::uint8_t axis;
            std::uint8_t right;
        };
        constexpr std::uint8_t kInner = 0xff;
        Entry entries[15];
        std::size_t count = 0;
        // The axes the inner nodes split on: the octant's other bits leave the order as it is.
        unsigned axes = 0;
        const auto copy = [&](const auto& self, std::uint32_t at) -> void {
            Entry& entry = entries[count++];
            for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
                if (lanes[lane] == at) {
                    entry.lane = static_cast<std::uint8_t>(lane);
                    return;
                }
            }
            entry.lane = kInner;
            entry.axis = binary[at].axis;
            axes |= 1u << entry.axis;
            self(self, at + 1);
            entry.right = static_cast<std::uint8_t>(count);
            self(self, right(at));
        };
        copy(copy, node);
        for (unsigned octant = 0; octant < 8; ++octant) {
            if ((octant & axes) != octant) {
                orders[octant] = orders[octant & axes];
                continue;
            }
            unsigned order = 0;
            int position = 0;
            const auto visit = [&](const auto& self, std::size_t at) -> void {
                const Entry& entry = entries[at];
                if (entry.lane != kInner) {
                    order |= static_cast<unsigned>(entry.lane) << (bits * position++);
                    return;
                }
                const bool rightFirst = (octant >> entry.axis) & 1u;
                self(self, rightFirst ? entry.right : at + 1);
                self(self, rightFirst ? at + 1 : entry.right);
            };
            visit(visit, 0);
            for (auto lane = static_cast<unsigned>(lanes.size()); lane < slots; ++lane)
                order |= lane << (bits * position++);
            orders[octant] = order;
        }
    }

    static bool finiteBox(const BvhNode& box) {
        constexpr float kInfinity = std::numeric_limits<float>::infinity();
        bool good = true;
        for (int axis = 0; axis < 3; ++axis)
            good = good && -kInfinity < box.lower[axis] && box.lower[axis] <= box.upper[axis] &&
                   box.upper[axis] < kInfinity;
        return good;
    }

    // The boxes of up to four binary nodes, from `lanes`, in the lanes of `planes`; the empty box in the
    // others. Returns the bits of the lanes used.
    unsigned setBoxes(float (*planes)[4], const std::uint32_t* lanes, std::size_t count) {
        const BoundingBox empty;
        for (std::size_t lane = 0; lane < 4; ++lane) {
            const bool used = lane < count;
            if (used)
                exact = exact && finiteBox(binary[lanes[lane]]);
            const Vec3& lower = used ? binary[lanes[lane]].lower : empty.lower;
            const Vec3& upper = used ? binary[lanes[lane]].upper : empty.upper;
            for (int axis = 0; axis < 3; ++axis) {
                planes[axis][lane] = lower[axis];
                planes[axis + 3][lane] = upper[axis];
            }
        }
        return (1u << std::min<std::size_t>(count, 4)) - 1;
    }

    // The lanes of an inner node over `node`: a cut through its subtree, made from its two children by
    // opening the lane of the most leaves into its two children while there is room, as long as it has more
    // leaves than a cluster holds; the first such lane where several tie. So a large subtree gets the eight
    // nodes three levels down, and the lanes below are mostly inner nodes, pairs or clusters.
    LaneList cut(std::uint32_t node) const {
        LaneList lanes;
        lanes.push_back(node + 1);
        lanes.push_back(right(node));
        while (lanes.size() < 8) {
            std::size_t widest = lanes.size();
            for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
                if (leafCounts[lanes[lane]] > kClusterSize &&
                    (widest == lanes.size() || leafCounts[lanes[lane]] > leafCounts[lanes[widest]]))
                    widest = lane;
            }
            if (widest == lanes.size())
                break;
            lanes.open(widest, lanes[widest] + 1, right(lanes[widest]));
        }
        return lanes;
    }

    // The copy of the subtree at `node`, as a walk reference.
    std::uint32_t emit(std::uint32_t node) {
        LaneList lanes;
        if (isLeaf(node) || leafCounts[node] <= 2 * kClusterSize) {
            leavesOf(node, lanes);
            const auto first = static_cast<std::uint32_t>(copy.clusters.size());
            for (std::size_t start = 0; start < lanes.size(); start += kClusterSize) {
                const std::size_t count = std::min<std::size_t>(kClusterSize, lanes.size() - start);
                // Filled in place: no cluster is added while this one is filled.
                MeshCluster& cluster = copy.clusters.emplace_back();
                cluster.occupied =
                    static_cast<std::uint8_t>(setBoxes(cluster.planes, lanes.data() + start, count));
                for (std::size_t lane = 0; lane < count; ++lane) {
                    const LeafTriangle& triangle = triangles[binary[lanes[start + lane]].index];
                    cluster.firstVertex[lane] = triangle.firstVertex;
                    for (int axis = 0; axis < 3; ++axis) {
                        cluster.triangles.a[axis][lane] = triangle.a[axis];
                        cluster.triangles.edge1[axis][lane] = triangle.edge1[axis];
                        cluster.triangles.edge2[axis][lane] = triangle.edge2[axis];
                    }
                }
                if (start == 0)
                    laneOrders(node, lanes, 3, 2 * kClusterSize, cluster.order);
            }
            return MeshWideBvh::cluster(first, lanes.size() > kClusterSize);
        }
        lanes = cut(node);
        const auto self = static_cast<std::uint32_t>(copy.nodes.size());
        copy.nodes.emplace_back();
        MeshWideNode wide{};
        const std::size_t low = std::min<std::size_t>(lanes.size(), 4);
        setBoxes(wide.planes[0], lanes.data(), low);
        setBoxes(wide.planes[1], lanes.data() + low, lanes.size() - low);
        laneOrders(node, lanes, 3, 8, wide.order);
        for (std::size_t lane = 0; lane < 8; ++lane)
            wide.child[lane] = lane < lanes.size() ? emit(lanes[lane]) : 0;
        copy.nodes[self] = wide;
        return MeshWideBvh::inner(self, lanes.size() <= 4);
    }
};

namespace {

// Puts `key` into `table` (see MeshWideBvh::planes), which has a free slot; returns whether it was not there
// yet.
bool insertPlane(std::vector<std::uint32_t>& table, std::uint32_t key) {
    std::uint32_t slot = MeshWideBvh::planeSlot(key, table.size());
    for (; table[slot] != MeshWideBvh::kNoPlane; slot = (slot + 1) & (table.size() - 1)) {
        if (table[slot] == key)
            return false;
    }
    table[slot] = key;
    return true;
}

} // namespace

void MeshWideBvh::clear() {
    nodes.clear();
    clusters.clear();
    for (std::vector<std::uint32_t>& axis : planes)
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
    nodes.reserve(binary.size() / 6 + 1);
    clusters.reserve(binary.size() / 4 + 1);
    root = builder.emit(0);
    // A walk reference keeps 30 bits of position.
    constexpr std::size_t kPositions = std::size_t(1) << 30;
    if (!builder.exact || nodes.size() > kPositions || clusters.size() > kPositions) {
        clear();
        return;
    }
    // The distinct planes of an axis are found by hashing them into a table large enough for every leaf
    // plane, at most half full, then go into a table at most half full of the distinct ones alone, so that
    // a probe ends after a slot or two. Which slot a plane takes may vary with the order of insertion; which
    // planes the table holds does not.
    std::size_t leaves = 0;
    for (const BvhNode& node : binary)
        leaves += node.count != 0;
    std::vector<std::uint32_t> all, distinct;
    distinct.reserve(2 * leaves);
    for (int axis = 0; axis < 3; ++axis) {
        all.assign(std::bit_ceil(4 * leaves), kNoPlane);
        distinct.clear();
        for (const BvhNode& node : binary) {
            if (node.count != 0) {
                for (const float plane : {node.lower[axis], node.upper[axis]}) {
                    const std::uint32_t key = planeKey(plane);
                    if (insertPlane(all, key))
                        distinct.push_back(key);
                }
            }
        }
        std::vector<std::uint32_t>& table = planes[axis];
        table.assign(std::bit_ceil(2 * distinct.size()), kNoPlane);
        for (const std::uint32_t key : distinct)
            insertPlane(table, key);
    }
}

} // namespace verdanium
