#include "import/remesh/SurfaceTree.h"

#include <algorithm>
#include <limits>

namespace {

using Eigen::Vector3d;

constexpr int kLeafSize = 4;

// Weights of the point of triangle abc that lies nearest to p: the region of p among the three
// corners, the three edges and the face decides (Voronoi regions of the triangle's features).
std::array<double, 3> NearestWeights(const Vector3d& a, const Vector3d& b, const Vector3d& c,
                                     const Vector3d& p) {
    const Vector3d ab = b - a, ac = c - a, ap = p - a;
    const double d1 = ab.dot(ap), d2 = ac.dot(ap);
    if (d1 <= 0 && d2 <= 0) return {1, 0, 0};
    const Vector3d bp = p - b;
    const double d3 = ab.dot(bp), d4 = ac.dot(bp);
    if (d3 >= 0 && d4 <= d3) return {0, 1, 0};
    const double vc = d1 * d4 - d3 * d2;
    if (vc <= 0 && d1 >= 0 && d3 <= 0 && d1 > d3) {
        const double t = d1 / (d1 - d3);
        return {1 - t, t, 0};
    }
    const Vector3d cp = p - c;
    const double d5 = ab.dot(cp), d6 = ac.dot(cp);
    if (d6 >= 0 && d5 <= d6) return {0, 0, 1};
    const double vb = d5 * d2 - d1 * d6;
    if (vb <= 0 && d2 >= 0 && d6 <= 0 && d2 > d6) {
        const double t = d2 / (d2 - d6);
        return {1 - t, 0, t};
    }
    const double va = d3 * d6 - d5 * d4;
    if (va <= 0 && d4 >= d3 && d5 >= d6) {
        const double whole = (d4 - d3) + (d5 - d6);
        const double t = whole > 0 ? (d4 - d3) / whole : 0;
        return {0, 1 - t, t};
    }
    const double scale = 1 / (va + vb + vc);
    return {va * scale, vb * scale, vc * scale};
}

}  // namespace

SurfaceTree::SurfaceTree(const std::vector<Vector3d>& positions,
                         const std::vector<Triangle>& triangles)
    : m_slots(triangles.size()), m_slotOf(triangles.size()) {
    for (std::size_t i = 0; i < triangles.size(); ++i) {
        for (int k = 0; k < 3; ++k)
            m_slots[i].corners[k] = positions[triangles[i][k]];
        m_slots[i].triangle = static_cast<int>(i);
    }
    m_nodes.reserve(2 * triangles.size() / kLeafSize + 2);
    Build(0, static_cast<int>(m_slots.size()));
    for (std::size_t i = 0; i < m_slots.size(); ++i)
        m_slotOf[m_slots[i].triangle] = static_cast<int>(i);
}

// Halves at the median of the centres along the box's longest side.
void SurfaceTree::Build(int first, int last) {
    const std::size_t own = m_nodes.size();
    m_nodes.emplace_back();
    Box box{Eigen::Array3d::Constant(std::numeric_limits<double>::max()),
            Eigen::Array3d::Constant(std::numeric_limits<double>::lowest())};
    for (int i = first; i < last; ++i) {
        for (const Vector3d& corner : m_slots[i].corners) {
            box.low = box.low.min(corner.array());
            box.high = box.high.max(corner.array());
        }
    }
    m_nodes[own].box = box;
    if (last - first <= kLeafSize) {
        m_nodes[own].second = first;
        m_nodes[own].count = last - first;
        return;
    }
    int axis = 0;
    (box.high - box.low).maxCoeff(&axis);
    const int middle = first + (last - first) / 2;
    const auto centre = [axis](const Slot& slot) {
        return slot.corners[0][axis] + slot.corners[1][axis] + slot.corners[2][axis];
    };
    std::nth_element(m_slots.begin() + first, m_slots.begin() + middle, m_slots.begin() + last,
                     [&](const Slot& a, const Slot& b) {
                         const double x = centre(a), y = centre(b);
                         return x != y ? x < y : a.triangle < b.triangle;
                     });
    Build(first, middle);
    m_nodes[own].second = static_cast<int>(m_nodes.size());
    Build(middle, last);
}

void SurfaceTree::Improve(const Slot& slot, const Vector3d& point, NearestPoint& best) {
    const auto weights = NearestWeights(slot.corners[0], slot.corners[1], slot.corners[2], point);
    const Vector3d nearest =
        slot.corners[0] * weights[0] + slot.corners[1] * weights[1] + slot.corners[2] * weights[2];
    const double distance = (nearest - point).squaredNorm();
    if (distance < best.squaredDistance) best = {nearest, distance, {slot.triangle, weights}};
}

NearestPoint SurfaceTree::Nearest(const Vector3d& point, int near) const {
    NearestPoint best{point, std::numeric_limits<double>::max(), {}};
    Improve(m_slots[m_slotOf[near]], point, best);
    struct Waiting {
        int node;
        double distance;
    };
    // Two children wait a level at most, and the median keeps the tree shallow.
    std::array<Waiting, 64> stack;
    int waiting = 0;
    stack[waiting++] = {0, m_nodes[0].box.SquaredDistance(point.array())};
    while (waiting > 0) {
        const Waiting top = stack[--waiting];
        if (top.distance >= best.squaredDistance) continue;
        const Node& node = m_nodes[top.node];
        if (node.count > 0) {
            for (int i = node.second; i < node.second + node.count; ++i)
                Improve(m_slots[i], point, best);
            continue;
        }
        Waiting closer{top.node + 1, m_nodes[top.node + 1].box.SquaredDistance(point.array())};
        Waiting other{node.second, m_nodes[node.second].box.SquaredDistance(point.array())};
        if (other.distance < closer.distance) std::swap(closer, other);
        stack[waiting++] = other;
        stack[waiting++] = closer;
    }
    return best;
}
