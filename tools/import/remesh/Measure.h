// How faithful one set of triangles is to another: exact distances from samples of each to the
// other.
#pragma once

#include <Eigen/Core>
#include <vector>

#include "import/Model.h"
#include "import/remesh/SurfaceTree.h"

struct Fidelity {
    double toGrid = 0;     // PSNR in decibels of distances from the surface to the grid
    double toSurface = 0;  // and back
    double largest = 0;    // distance, as a share of the bounding box's diagonal
    double Worse() const { return toGrid < toSurface ? toGrid : toSurface; }
};

// Samples a direction that the figures of a report are taken from.
constexpr int kMeasureSamples = 60000;

// n places spread evenly over the area, in the order of the triangles: neighbours in the list are
// neighbours in space. The same on every machine.
std::vector<Place> SpreadPlaces(const std::vector<Eigen::Vector3d>& positions,
                                const std::vector<Triangle>& triangles, int n);

Eigen::Vector3d PointAt(const std::vector<Eigen::Vector3d>& positions,
                        const std::vector<Triangle>& triangles, const Place& place);

double Diagonal(const std::vector<Eigen::Vector3d>& positions);

// PSNR = 20 log10(diagonal of the surface's bounding box / root mean square distance), at most
// 200 (equal surfaces). tree: over the surface. threads: how many work; the result is the same for
// any number.
Fidelity Compare(const std::vector<Eigen::Vector3d>& positions,
                 const std::vector<Triangle>& triangles, const SurfaceTree& tree,
                 const std::vector<Eigen::Vector3d>& gridPositions,
                 const std::vector<Triangle>& gridTriangles, int samples, int threads);
