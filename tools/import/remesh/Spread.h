// From a surface to its maps: decimation to a base, several ways of laying the base out, and the
// way back to all vertices for those that promise most.
#pragma once

#include <memory>
#include <vector>

#include "import/remesh/Measure.h"
#include "import/remesh/SurfaceMap.h"

// Scaled to area 1 around the origin, with the normals of its vertices.
std::shared_ptr<const MapSurface> MakeMapSurface(const Surface& surface);

// Adds vertices without changing the shape: every triangle into four while there are few, and in
// the middle of inner edges that join border vertices.
void RefineForMap(Surface& surface);

struct SpreadOptions {
    double aspect = 1;  // of the grid: cells of a column for each of a row
    int carried = 4;    // maps that are carried to the end
    int threads = 1;
};

// The finished maps without a flipped triangle, best energy first; none when no way of laying the
// surface out was found. surface: refined.
std::vector<SurfaceMap> Spread(const std::shared_ptr<const MapSurface>& surface, GridKind kind,
                               const SpreadOptions& options);
