// Triangles over vertices, with the triangles around each vertex, while collapses take vertices
// away and bring them back.
#pragma once

#include <Eigen/Core>
#include <vector>

#include "import/Model.h"

// Vertex `gone` slid along an edge into `kept`.
struct Collapse {
    int gone;
    int kept;
    std::array<int, 2> lost = {-1, -1};  // triangles that fell away; one at a border
    std::array<Triangle, 2> lostCorners;
    std::vector<int> moved;  // triangles whose corner `gone` became `kept`
};

// The surface that a map is made of: unit area, around the origin; manifold, consistently
// oriented; no inner edge has both ends on a border.
struct MapSurface {
    std::vector<Eigen::Vector3d> positions;
    std::vector<Eigen::Vector3d> normals;  // unit length
    std::vector<Triangle> triangles;
    // A position times scale plus centre is the one that it was made from.
    double scale = 1;
    Eigen::Vector3d centre = Eigen::Vector3d::Zero();
};

// Every triangle of the surface has an entry; those that fell away around no vertex.
struct MeshState {
    std::vector<Triangle> triangles;
    std::vector<std::vector<int>> around;  // triangles of each vertex, empty once it is gone
    std::vector<char> there;               // of each triangle
    int vertices = 0;                      // that are there

    explicit MeshState(const MapSurface& surface);
    bool Has(int vertex) const { return !around[vertex].empty(); }
    int CornerOf(int triangle, int vertex) const {
        const Triangle& t = triangles[triangle];
        return t[0] == vertex ? 0 : t[1] == vertex ? 1 : 2;
    }
    // The corner that is neither.
    int ThirdOf(int triangle, int a, int b) const;
    void Apply(const Collapse& collapse);
    // Of the last collapse that was applied.
    void Undo(const Collapse& collapse);

private:
    void Forget(int vertex, int triangle);
};

// For each vertex the next one along its border, surface to the left; -1 for inner vertices.
std::vector<int> NextOnBorder(const std::vector<Triangle>& triangles, std::size_t vertices);
