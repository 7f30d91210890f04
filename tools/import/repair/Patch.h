// Fills a closed line of points with triangles. Knows nothing of the mesh around it but what the
// line's points are joined to.
#pragma once

#include <array>
#include <utility>
#include <vector>

#include "import/Model.h"

// Points 0 to n - 1 of the line in order, three at least.
struct PatchLine {
    std::vector<Eigen::Vector3d> points;
    std::vector<double> spacing;  // length of the edges around each point
    // Points, lower first, that an edge of the mesh joins already, in ascending order: the patch
    // joins none of them but neighbours on the line.
    std::vector<std::pair<int, int>> joined;
    bool onlyTriangle = false;  // the line is the border of one lone triangle
};

// Triangles over the line's points and, from n on, inner ones; the line's edges run forward in
// them, from point i to i + 1. No edge and no triangle comes twice.
struct Patch {
    std::vector<Eigen::Vector3d> points;  // the line's first
    std::vector<Triangle> triangles;
    // Of each inner point three points before it, between which it lies.
    std::vector<std::array<int, 3>> parents;
};

// Of least area, as far as lines of a few hundred points allow, then divided into triangles of the
// line's spacing, growing a little inwards.
Patch FillLine(const PatchLine& line);

double Area(const Patch& patch);
