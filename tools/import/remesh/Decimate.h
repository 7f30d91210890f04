// Collapses edges until a coarse base of the surface is left.
#pragma once

#include <vector>

#include "import/remesh/MeshState.h"

// Half-edge collapses in the order of their quadric error until `target` vertices are left or none
// is possible; gives them in the order in which they were applied to the state. The vertices of
// `kept` stay; none of the first `poles` of them loses the simple ring around it that a map needs
// to start from: a collapse leaves no vertex in two of these rings, and none with more than two
// neighbours in one. Borders keep their loops, and no inner edge comes to join two border vertices.
std::vector<Collapse> Decimate(const MapSurface& surface, MeshState& state, int target,
                               const std::vector<int>& kept, int poles);
