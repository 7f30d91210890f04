// Neighbours in a triangle mesh, in flat arrays: half-edge 3 t + k runs from corner k of triangle t
// to corner k + 1, its triangle on the left. Knows nothing of places.
#pragma once

#include <vector>

#include "import/Model.h"

// The next and the previous half-edge around a triangle.
constexpr int Next(int h) {
    return h % 3 == 2 ? h - 2 : h + 1;
}
constexpr int Previous(int h) {
    return h % 3 == 0 ? h + 2 : h - 1;
}

// All half-edges, those over the same two vertices side by side, ascending among themselves.
std::vector<int> SortedByEdge(const std::vector<Triangle>& triangles, int vertexCount);
// One past the last half-edge of the run that starts at `begin` of such an order.
std::size_t EndOfEdge(const std::vector<Triangle>& triangles, const std::vector<int>& byEdge,
                      std::size_t begin);

// The triangles stay the caller's, who changes them through this class only; he may append
// whatever belongs to a triangle where a change says that it appends one.
class HalfEdges {
public:
    // Of a mesh that is oriented consistently, with at most two triangles an edge and one fan of
    // triangles a vertex.
    HalfEdges(std::vector<Triangle>& triangles, int vertexCount);
    // With the neighbours already known, -1 at borders.
    HalfEdges(std::vector<Triangle>& triangles, std::vector<int> opposite)
        : m_triangles(triangles), m_opposite(std::move(opposite)) {}

    int Count() const { return static_cast<int>(m_opposite.size()); }
    int From(int h) const { return m_triangles[h / 3][h % 3]; }
    int To(int h) const { return From(Next(h)); }
    // The corner across.
    int Apex(int h) const { return From(Previous(h)); }
    // The same edge in the neighbour, or -1 at a border.
    int Opposite(int h) const { return m_opposite[h]; }
    // The next half-edge from the same vertex, counter-clockwise, or -1 at a border.
    int Turn(int h) const { return m_opposite[Previous(h)]; }
    // The first of the fan of half-edges from the same vertex: h itself where the fan is closed.
    int FirstOfFan(int h) const;
    bool FromBorder(int h) const { return m_opposite[FirstOfFan(h)] < 0; }
    // Whether an edge joins the vertex that h comes from to another; true, too, where its fan is
    // too large to be searched.
    bool Joins(int h, int vertex) const;
    // Half-edges along each border in order, the surface on their left.
    std::vector<std::vector<int>> Borders() const;

    // Turns the edge of two triangles (a, b, c) and (b, a, d), h from a to b: the first becomes
    // (d, b, c), the second (c, a, d). c and d must not be joined.
    void Flip(int h);
    // Puts a vertex on an edge: To(h) becomes the vertex in the triangle of h, and a triangle
    // (vertex, To, Apex) is appended; then the same for the opposite, where there is one.
    void SplitEdge(int h, int vertex);
    // Puts a vertex into a triangle (a, b, c): it becomes (a, b, vertex), and (b, c, vertex) and
    // (c, a, vertex) are appended.
    void SplitTriangle(int triangle, int vertex);
    // Makes the neighbours of a triangle borders: it may then be left out.
    void Detach(int triangle);

private:
    void Link(int h, int other);
    void SplitSide(int h, int vertex);

    std::vector<Triangle>& m_triangles;
    std::vector<int> m_opposite;
};

// Vertices less edges plus triangles; vertices that no triangle has do not count.
int EulerCharacteristic(const std::vector<Triangle>& triangles, const HalfEdges& mesh);
// Handles of a connected surface.
int Genus(const std::vector<Triangle>& triangles, const HalfEdges& mesh);
