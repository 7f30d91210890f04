// The control points of the Utah teapot (M. Newell, 1975): ten bicubic patches, from which mirror
// images make the 32 of the whole pot. Knows nothing of how patches become meshes.
#pragma once

#include <array>

// x towards the spout, z up, y away from the quarter that is listed.
struct ControlPoint {
    double x;
    double y;
    double z;
};

// 4 rows of 4 points.
using ControlGrid = std::array<ControlPoint, 16>;

struct TeapotPart {
    ControlGrid points;
    bool quarter;  // one of four quarters around the axis; else one of two halves
};

inline constexpr int kTeapotParts = 10;
inline constexpr double kTeapotHeight = 3.15;

// part: 0 to kTeapotParts - 1. Quarters come first, from rim to bottom, then handle and spout.
TeapotPart GetTeapotPart(int part);
