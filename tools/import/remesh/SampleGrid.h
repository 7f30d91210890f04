// A regular grid of surface points: the geometry image before it is rounded, and its triangles.
#pragma once

#include <Eigen/Core>
#include <vector>

#include "import/GridKind.h"
#include "import/remesh/Locator.h"

struct SampleGrid {
    GridKind kind = GridKind::Square;
    int rows = 0;
    int columns = 0;
    std::vector<Eigen::Vector3d> positions;  // row by row
    std::vector<Place> places;               // where on the surface each was taken

    int At(int row, int column) const { return row * columns + column; }
    bool WrapsColumns() const { return kind != GridKind::Square; }
    bool WrapsRows() const { return kind == GridKind::Torus; }
    bool IsPoleRow(int row) const {
        return kind == GridKind::Sphere && (row == 0 || row == rows - 1);
    }
    // The first sample that is the same point: seams and pole rows repeat samples.
    int Original(int row, int column) const;
    // As the engine splits its quads, counter-clockwise from outside, without those that a pole
    // row makes degenerate. original: with the originals of repeated samples.
    std::vector<Triangle> Triangles(bool original) const;
};

// The map's surface at the grid's samples.
SampleGrid SampleMap(const Locator& locator, const SurfaceMap& map, int rows, int columns,
                     int threads);
