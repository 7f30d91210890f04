// Which triangles of a soup continue each other across their edges, and which way round they face:
// the surfaces that a soup consists of, each edge of at most two triangles. Knows no attributes.
#pragma once

#include <vector>

#include "import/Model.h"

// Triangles of three different vertices each, no two of one orientation over the same three.
struct Sheets {
    std::vector<Triangle> triangles;
    std::vector<int> opposite;    // of each half-edge (HalfEdges.h), or -1; consistent in direction
    std::vector<char> flipped;    // whether the triangle's last two corners were exchanged
    std::vector<int> components;  // of each triangle, counted from 0 by its first triangle
    int componentCount = 0;
};

// Where more than two triangles meet in an edge, those continue each other that bound the same
// solid between them, so that closed bodies that touch in an edge stay closed; a lone sheet ends
// there. Triangles are turned to agree with the first of their component; where they cannot (a
// Moebius strip), the surface is cut open.
Sheets FindSheets(const std::vector<Eigen::Vector3d>& positions, std::vector<Triangle> triangles);
