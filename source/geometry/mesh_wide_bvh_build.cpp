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

    // The lanes of `lanes` in the order the binary walk reaches them from `node` in the given octant, `bits`
    // bits per position; the positions past them name the unused lanes up to `slots`.
    unsigned laneOrder(std::uint32_t node, unsigned octant, const LaneList& lanes, int bits,
                       unsigned slots) const {
        unsigned order = 0;
        int position = 0;
        const auto visit = [&](const auto& self, std::uint32_t at) -> void {
            for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
                if (lanes[lane] == at) {
                    order |= static_cast<unsigned>(lane) << (bits * position++);
                    return;
                }
            }
            const bool rightFirst = (octant >> binary[at].axis) & 1u;
            self(self, rightFirst ? right(at) : at + 1);
            self(self, rightFirst ? at + 1 : right(at));
        };
        visit(visit, node);
        for (auto lane = static_cast<unsigned>(lanes.size()); lane < slots; ++lane)
            order |= lane << (bits * position++);
        return order;
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
                MeshCluster cluster{};
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
                if (start == 0) {
                    for (unsigned octant = 0; octant < 8; ++octant)
                        cluster.order[octant] = laneOrder(node, octant, lanes, 3, 2 * kClusterSize);
                }
                copy.clusters.push_back(cluster);
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
        for (unsigned octant = 0; octant < 8; ++octant)
            wide.order[octant] = laneOrder(node, octant, lanes, 3, 8);
        for (std::size_t lane = 0; lane < 8; ++lane)
            wide.child[lane] = lane < lanes.size() ? emit(lanes[lane]) : 0;
        copy.nodes[self] = wide;
        return MeshWideBvh::inner(self, lanes.size() <= 4);
    }
};

namespace {

// The bits of a finite float as an unsigned key that sorts as the float does (-0 just before 0).
std::uint32_t orderedKey(float value) {
    const auto bits = std::bit_cast<std::uint32_t>(value);
    return bits & 0x80000000u ? ~bits : bits | 0x80000000u;
}

// Sorts by a byte at a time from the lowest: the planes of a mesh are many, with many repeats, which a
// comparison sort would pay for in mispredicted branches at every build.
void radixSort(std::vector<std::uint32_t>& keys, std::vector<std::uint32_t>& spare) {
    spare.resize(keys.size());
    for (int shift = 0; shift < 32; shift += 8) {
        std::size_t starts[257] = {};
        for (const std::uint32_t key : keys)
            ++starts[((key >> shift) & 0xffu) + 1];
        for (int digit = 0; digit < 256; ++digit)
            starts[digit + 1] += starts[digit];
        for (const std::uint32_t key : keys)
            spare[starts[(key >> shift) & 0xffu]++] = key;
        keys.swap(spare);
    }
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
    std::vector<std::uint32_t> keys, spare;
    for (int axis = 0; axis < 3; ++axis) {
        keys.clear();
        for (const BvhNode& node : binary) {
            if (node.count != 0) {
                keys.push_back(orderedKey(node.lower[axis]));
                keys.push_back(orderedKey(node.upper[axis]));
            }
        }
        radixSort(keys, spare);
        std::vector<float> sorted;
        for (const std::uint32_t key : keys)
            sorted.push_back(std::bit_cast<float>(key & 0x80000000u ? key & 0x7fffffffu : ~key));
        // -0 and 0 are neighbours and equal, as the lookup wants them.
        sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
        // At most half full, so that a probe ends after a slot or two.
        std::vector<std::uint32_t>& table = planes[axis];
        table.assign(std::bit_ceil(2 * sorted.size()), kNoPlane);
        for (const float plane : sorted) {
            const std::uint32_t key = planeKey(plane);
            std::uint32_t slot = planeSlot(key, table.size());
            while (table[slot] != kNoPlane)
                slot = (slot + 1) & (table.size() - 1);
            table[slot] = key;
        }
    }
}

} // namespace verdanium
