// Joins positions that are meant to be one. Knows nothing of triangles but their indices.
#pragma once

#include <vector>

#include "import/Model.h"

// Two positions nearer than half of this share of the bounding box's diagonal are one, two further
// apart than twice of it are not (unless others lie between them).
constexpr double kWeldShare = 1e-6;

// For each position the index of the one that stands for it, the lowest by coordinates. Which
// positions are joined does not depend on their order. Positions that no triangle has stand for
// themselves.
std::vector<int> Weld(const Surface& soup);
