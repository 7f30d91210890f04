// How often a surface goes round a point.
#pragma once

#include "import/Model.h"

// 1 inside a closed surface that faces outward, 0 outside; in between where the surface is open,
// as far as it encloses the point.
double WindingNumber(const Surface& surface, const Eigen::Vector3d& point);
