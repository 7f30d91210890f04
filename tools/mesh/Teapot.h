// The teapot's patches as meshes: y up, standing on y = 0, spout towards +x, open edges.
#pragma once

#include "mesh/Grid.h"

inline constexpr int kTeapotPatches = 32;

// patch: 0 to kTeapotPatches - 1; height: of the whole pot. Patches that meet have exactly equal
// samples along the common edge, if they have the same number of rows and columns.
void MakeTeapotPatch(GeoImage& mesh, int patch, double height, Progress& progress);
