// Finding the neighbours by a counting sort over the lower vertex of each edge: memory is a few
// integers a half-edge for any mesh.
#include "import/repair/HalfEdges.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace {

// So that a mesh with a vertex of millions of triangles does not take their square in time.
constexpr int kLargestFan = 10000;

std::pair<int, int> EdgeOf(const std::vector<Triangle>& triangles, int h) {
    return std::minmax(triangles[h / 3][h % 3], triangles[h / 3][Next(h) % 3]);
}

}  // namespace

std::vector<int> SortedByEdge(const std::vector<Triangle>& triangles, int vertexCount) {
    const int count = 3 * static_cast<int>(triangles.size());
    std::vector<int> begins(vertexCount + 1, 0);
    for (int h = 0; h < count; ++h)
        ++begins[EdgeOf(triangles, h).first + 1];
    std::partial_sum(begins.begin(), begins.end(), begins.begin());
    std::vector<int> order(count);
    std::vector<int> ends(begins.begin(), begins.end() - 1);
    for (int h = 0; h < count; ++h)
        order[ends[EdgeOf(triangles, h).first]++] = h;
    for (int v = 0; v < vertexCount; ++v)
        std::sort(order.begin() + begins[v], order.begin() + begins[v + 1], [&](int a, int b) {
            return std::pair(EdgeOf(triangles, a).second, a) <
                   std::pair(EdgeOf(triangles, b).second, b);
        });
    return order;
}

std::size_t EndOfEdge(const std::vector<Triangle>& triangles, const std::vector<int>& byEdge,
                      std::size_t begin) {
    const std::pair<int, int> edge = EdgeOf(triangles, byEdge[begin]);
    std::size_t end = begin + 1;
    while (end < byEdge.size() && EdgeOf(triangles, byEdge[end]) == edge)
        ++end;
    return end;
}

HalfEdges::HalfEdges(std::vector<Triangle>& triangles, int vertexCount)
    : m_triangles(triangles), m_opposite(3 * triangles.size(), -1) {
    const std::vector<int> order = SortedByEdge(triangles, vertexCount);
    for (std::size_t i = 0; i + 1 < order.size(); ++i)
        if (EdgeOf(triangles, order[i]) == EdgeOf(triangles, order[i + 1]))
            Link(order[i], order[i + 1]);
}

int HalfEdges::FirstOfFan(int h) const {
    int first = h;
    while (m_opposite[first] >= 0) {
        first = Next(m_opposite[first]);
        if (first == h) break;
    }
    return first;
}

bool HalfEdges::Joins(int h, int vertex) const {
    int steps = 0;
    int turn = h;
    do {
        if (To(turn) == vertex || Apex(turn) == vertex || ++steps > kLargestFan) return true;
        turn = Turn(turn);
        if (turn == h) return false;
    } while (turn >= 0);
    while (m_opposite[h] >= 0) {
        h = Next(m_opposite[h]);
        if (To(h) == vertex || ++steps > kLargestFan) return true;
    }
    return false;
}

std::vector<std::vector<int>> HalfEdges::Borders() const {
    std::vector<char> seen(m_opposite.size(), 0);
    std::vector<std::vector<int>> borders;
    for (int start = 0; start < Count(); ++start) {
        if (m_opposite[start] >= 0 || seen[start]) continue;
        std::vector<int>& border = borders.emplace_back();
        for (int h = start; !seen[h]; h = FirstOfFan(Next(h))) {
            seen[h] = 1;
            border.push_back(h);
        }
    }
    return borders;
}

void HalfEdges::Link(int h, int other) {
    if (h >= 0) m_opposite[h] = other;
    if (other >= 0) m_opposite[other] = h;
}

//      c            c            The outer half-edges, as they lie around the square, keep
//     / \          /|\           their neighbours.
//    a---b   ->   a | b
//     \ /          \|/
//      d            d
void HalfEdges::Flip(int h) {
    const int g = m_opposite[h];
    const int a = From(h), b = To(h), c = Apex(h), d = Apex(g);
    const int bc = m_opposite[Next(h)], ca = m_opposite[Previous(h)];
    const int ad = m_opposite[Next(g)], db = m_opposite[Previous(g)];
    const int one = h / 3, two = g / 3;
    m_triangles[one] = {d, b, c};
    m_triangles[two] = {c, a, d};
    Link(3 * one, db);
    Link(3 * one + 1, bc);
    Link(3 * two, ca);
    Link(3 * two + 1, ad);
    Link(3 * one + 2, 3 * two + 2);
}

void HalfEdges::SplitSide(int h, int vertex) {
    const int added = Count();
    m_triangles.push_back({vertex, To(h), Apex(h)});
    m_opposite.resize(m_opposite.size() + 3, -1);
    m_triangles[h / 3][Next(h) % 3] = vertex;
    Link(added + 1, m_opposite[Next(h)]);
    Link(added + 2, Next(h));
}

void HalfEdges::SplitEdge(int h, int vertex) {
    const int g = m_opposite[h];
    const int afterH = Count();
    SplitSide(h, vertex);
    if (g < 0) return;
    const int afterG = Count();
    SplitSide(g, vertex);
    Link(h, afterG);
    Link(g, afterH);
}

void HalfEdges::SplitTriangle(int triangle, int vertex) {
    const auto [a, b, c] = m_triangles[triangle];
    const int first = 3 * triangle;
    const int bc = m_opposite[first + 1], ca = m_opposite[first + 2];
    const int second = Count(), third = second + 3;
    m_triangles[triangle] = {a, b, vertex};
    m_triangles.push_back({b, c, vertex});
    m_triangles.push_back({c, a, vertex});
    m_opposite.resize(m_opposite.size() + 6, -1);
    Link(second, bc);
    Link(third, ca);
    Link(first + 1, second + 2);
    Link(second + 1, third + 2);
    Link(third + 1, first + 2);
}

void HalfEdges::Detach(int triangle) {
    for (int h = 3 * triangle; h < 3 * triangle + 3; ++h) {
        if (m_opposite[h] >= 0) m_opposite[m_opposite[h]] = -1;
        m_opposite[h] = -1;
    }
}

int EulerCharacteristic(const std::vector<Triangle>& triangles, const HalfEdges& mesh) {
    int last = -1;
    for (const Triangle& triangle : triangles)
        last = std::max({last, triangle[0], triangle[1], triangle[2]});
    std::vector<char> used(last + 1, 0);
    int vertices = 0, edges = 0;
    for (int h = 0; h < mesh.Count(); ++h) {
        vertices += used[mesh.From(h)] == 0;
        used[mesh.From(h)] = 1;
        edges += mesh.Opposite(h) < h;  // once an edge: borders are -1
    }
    return vertices - edges + static_cast<int>(triangles.size());
}

int Genus(const std::vector<Triangle>& triangles, const HalfEdges& mesh) {
    const int borders = static_cast<int>(mesh.Borders().size());
    return (2 - borders - EulerCharacteristic(triangles, mesh)) / 2;
}
