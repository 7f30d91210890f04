// Geometry of camera space: the eye at the origin looks along -z, y up.
#pragma once

#include <cmath>
#include <numbers>

#include "spatial/Vec3.h"

// Half the height of what is seen at distance 1 under a vertical field of view in degrees; 0,
// negative or huge for odd angles.
inline double HalfViewTangent(float fov) {
    return std::tan(std::numbers::pi * fov / 360);
}

// Positive when a triangle shows the eye its clockwise side: (b - a) x (c - a) points away.
// 0 when it is seen edge on, NaN when a corner is no number.
inline float Facing(const vec3& a, const vec3& b, const vec3& c) {
    return Dot(Cross(b - a, c - a), a);
}
