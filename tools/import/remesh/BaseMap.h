// First maps of a coarse base: a network of springs between fixed places (an embedding wherever
// the base is connected well enough), for each way in which the base could lie on its domain.
#pragma once

#include <vector>

#include "import/remesh/SurfaceMap.h"

// Vertices that a way of lying is made of. Sphere: the two poles, top and bottom. Square: the four
// corners counter-clockwise, the first where row and column 0 meet. Torus: the two loops whose
// crossing adds a turn and a round, behind each other, `split` vertices in the first; shift is the
// map's. Annulus: nothing.
struct BaseChoice {
    std::vector<int> vertices;
    int split = 0;
    int shift = 0;
};

// Places every vertex of the map's base. False when no embedding without a flipped triangle came
// of it; the map is then of no use.
bool MakeBaseMap(SurfaceMap& map, const BaseChoice& choice);

// Two loops that cross once, short ones, on a torus.
struct TorusLoops {
    std::vector<int> first, second;
};
TorusLoops FindTorusLoops(const MapSurface& surface, const MeshState& state);

// Border loops, each in the direction that keeps the surface to its left, longest first.
std::vector<std::vector<int>> BorderLoops(const MapSurface& surface,
                                          const std::vector<Triangle>& triangles);

// Lengths of shortest paths along edges from a vertex; and the vertex before each on its path,
// where asked for.
std::vector<double> PathLengths(const MapSurface& surface, const MeshState& state, int from,
                                std::vector<int>* before = nullptr);
