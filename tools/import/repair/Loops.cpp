// A tree of shortest paths from the base, and a tree over the triangles (and borders) that crosses
// none of its edges: the edges that neither tree has, two for each handle, close the loops. The
// second tree takes the edges first whose loops are longest.
#include "import/repair/Loops.h"

#include "import/repair/UnionFind.h"

#include <Eigen/Geometry>

#include <algorithm>
#include <limits>
#include <numeric>
#include <queue>

namespace {

constexpr double kUnreached = std::numeric_limits<double>::infinity();

}  // namespace

LoopFinder::LoopFinder(const Surface& surface, const HalfEdges& mesh)
    : m_surface(surface),
      m_mesh(mesh),
      m_atBorder(surface.positions.size(), 0),
      m_begins(surface.positions.size() + 1, 0),
      m_borders(mesh.Count(), -1),
      m_marked(surface.positions.size(), 0) {
    for (const std::vector<int>& border : mesh.Borders()) {
        for (const int h : border) {
            m_borders[h] = m_borderCount;
            m_atBorder[mesh.From(h)] = 1;
        }
        ++m_borderCount;
    }
    for (int h = 0; h < mesh.Count(); ++h)
        m_detour += (surface.positions[mesh.To(h)] - surface.positions[mesh.From(h)]).norm();
    const auto forEachEnd = [&](const auto& visit) {
        for (int h = 0; h < mesh.Count(); ++h) {
            visit(mesh.From(h), h);
            if (mesh.Opposite(h) < 0) visit(mesh.To(h), h);
        }
    };
    forEachEnd([&](int v, int) { ++m_begins[v + 1]; });
    std::partial_sum(m_begins.begin(), m_begins.end(), m_begins.begin());
    m_around.resize(m_begins.back());
    std::vector<int> ends(m_begins.begin(), m_begins.end() - 1);
    forEachEnd([&](int v, int h) { m_around[ends[v]++] = h; });
}

double LoopFinder::Length(int h) const {
    const int from = m_mesh.From(h), to = m_mesh.To(h);
    const double length = (m_surface.positions[to] - m_surface.positions[from]).norm();
    return m_atBorder[from] || m_atBorder[to] ? m_detour + length : length;
}

int LoopFinder::ParentOf(int vertex) const {
    const int h = m_reachedBy[vertex];
    return h < 0 ? -1 : m_mesh.From(h) == vertex ? m_mesh.To(h) : m_mesh.From(h);
}

void LoopFinder::FindDistances(const std::vector<int>& bases) {
    m_distances.assign(m_surface.positions.size(), kUnreached);
    m_reachedBy.assign(m_surface.positions.size(), -1);
    using Entry = std::pair<double, int>;
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> queue;
    for (const int base : bases) {
        m_distances[base] = 0;
        queue.emplace(0.0, base);
    }
    while (!queue.empty()) {
        const auto [distance, v] = queue.top();
        queue.pop();
        if (distance > m_distances[v]) continue;
        for (int i = m_begins[v]; i < m_begins[v + 1]; ++i) {
            const int h = m_around[i];
            const int to = m_mesh.From(h) == v ? m_mesh.To(h) : m_mesh.From(h);
            const double longer = distance + Length(h);
            if (longer >= m_distances[to]) continue;
            m_distances[to] = longer;
            m_reachedBy[to] = h;
            queue.emplace(longer, to);
        }
    }
}

std::vector<int> LoopFinder::Spread(int count) {
    std::vector<int> bases = {m_mesh.From(0)};
    while (static_cast<int>(bases.size()) < count) {
        FindDistances(bases);
        int farthest = bases[0];
        for (int h = 0; h < m_mesh.Count(); ++h)
            if (m_distances[m_mesh.From(h)] > m_distances[farthest]) farthest = m_mesh.From(h);
        if (farthest == bases[0]) break;
        bases.push_back(farthest);
    }
    return bases;
}

std::vector<int> LoopFinder::EdgesLeft() const {
    std::vector<std::pair<double, int>> edges;
    for (int h = 0; h < m_mesh.Count(); ++h) {
        const int from = m_mesh.From(h), to = m_mesh.To(h), g = m_mesh.Opposite(h);
        if (g > h) continue;  // once an edge
        const auto joins = [&](int v) {
            return m_reachedBy[v] == h || (g >= 0 && m_reachedBy[v] == g);
        };
        if (joins(from) || joins(to)) continue;
        edges.emplace_back(-(m_distances[from] + Length(h) + m_distances[to]), h);
    }
    std::sort(edges.begin(), edges.end());
    const int triangles = m_mesh.Count() / 3;
    UnionFind sides(triangles + m_borderCount);
    std::vector<int> left;
    for (const auto& [length, h] : edges) {
        const int g = m_mesh.Opposite(h);
        if (!sides.Join(h / 3, g >= 0 ? g / 3 : triangles + m_borders[h])) left.push_back(h);
    }
    return left;
}

// Both ends' paths to the base, up to where they meet.
Loop LoopFinder::LoopOver(int h) {
    std::vector<int> fromSide, toSide;  // vertices
    for (int v = m_mesh.From(h); v >= 0; v = ParentOf(v)) {
        fromSide.push_back(v);
        m_marked[v] = 1;
    }
    for (int v = m_mesh.To(h);; v = ParentOf(v)) {
        toSide.push_back(v);
        if (m_marked[v]) break;
    }
    for (const int v : fromSide)
        m_marked[v] = 0;
    while (fromSide.back() != toSide.back())
        fromSide.pop_back();

    // Down from the meeting to From(h), over h, and up again.
    Loop loop;
    const auto add = [&](int edge, int from) {
        loop.length += Length(edge);
        loop.halfEdges.push_back(m_mesh.From(edge) == from ? edge : m_mesh.Opposite(edge));
    };
    for (std::size_t i = fromSide.size(); i-- > 1;)
        add(m_reachedBy[fromSide[i - 1]], fromSide[i]);
    add(h, m_mesh.From(h));
    for (std::size_t i = 0; i + 1 < toSide.size(); ++i)
        add(m_reachedBy[toSide[i]], toSide[i]);
    return loop;
}

std::vector<Loop> LoopFinder::Basis(int base) {
    FindDistances({base});
    std::vector<Loop> loops;
    for (const int h : EdgesLeft())
        loops.push_back(LoopOver(h));
    return loops;
}
