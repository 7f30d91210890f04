// Moves a grid's samples off the surface to where the triangles between them lie closest to it.
#pragma once

#include "import/remesh/Locator.h"
#include "import/remesh/SampleGrid.h"
#include "import/remesh/SurfaceTree.h"

// grid: sampled from the map of the locator; tree: over the same surface, shape. First every
// surface point pulls the grid point that the map gives it, then each side's samples pull along
// their distance to the other side, so that samples can slide into creases.
SampleGrid FitGrid(const SampleGrid& grid, const Locator& locator, const MapSurface& shape,
                   const SurfaceTree& tree, int threads);
