// Short closed lines along the edges of a surface that do not divide it.
#pragma once

#include <vector>

#include "import/repair/HalfEdges.h"

struct Loop {
    std::vector<int> halfEdges;  // one behind the other, no vertex twice
    double length = 0;
};

class LoopFinder {
public:
    // Both stay the caller's and must not change while the finder is used.
    LoopFinder(const Surface& surface, const HalfEdges& mesh);

    // Two loops for each handle of the surface, none a combination of others: the shortest such
    // that can be pulled along the surface to pass through `base` (Erickson and Whittlesey, Greedy
    // Optimal Homotopy and Homology Generators, 2005), without the way there and back. They meet
    // borders only where there is no other way.
    std::vector<Loop> Basis(int base);
    // Vertices far from each other along the edges.
    std::vector<int> Spread(int count);

private:
    void FindDistances(const std::vector<int>& bases);
    std::vector<int> EdgesLeft() const;
    double Length(int h) const;
    // The other end of the edge by which a vertex was reached.
    int ParentOf(int vertex) const;
    Loop LoopOver(int h);

    const Surface& m_surface;
    const HalfEdges& m_mesh;
    std::vector<char> m_atBorder;
    std::vector<int> m_begins;   // of each vertex in m_around
    std::vector<int> m_around;   // half-edges, either way
    std::vector<int> m_borders;  // of each border half-edge the number of its border
    int m_borderCount = 0;
    double m_detour = 0;  // longer than any way: what an edge at a border counts in addition
    std::vector<double> m_distances;
    std::vector<int> m_reachedBy;  // half-edge, either way, or -1
    std::vector<char> m_marked;
};
