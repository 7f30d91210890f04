// Planes with outside masks of points, spheres and boxes. Up to 32 planes share one mask.
#pragma once

#include <cstdint>
#include <span>

#include "spatial/Matrix.h"
#include "spatial/Vec3.h"

// a*x + b*y + c*z + d with unit (a, b, c): at least 0 inside, below 0 outside.
struct Plane {
    float a = 0;
    float b = 0;
    float c = 0;
    float d = 0;

    // Through point, normal pointing inward; the normal need not be of unit length.
    static Plane Through(const vec3& point, const vec3& normal);
    float Value(const vec3& p) const { return a * p.x + b * p.y + c * p.z + d; }
    vec3 Normal() const { return {a, b, c}; }
    vec3 Point() const { return {-d * a, -d * b, -d * c}; }
};

struct Box {
    vec3 min;
    vec3 max;
    // Corner i takes x from max when bit 0 is set, y when bit 1, z when bit 2, else from min.
    vec3 Corner(int i) const;
};

inline constexpr std::uint32_t kAllPlanes = 0xFFFFFFFFU;

// Bits of the mask's planes that have the point outside.
std::uint32_t PointOutside(std::span<const Plane> planes, const vec3& point, std::uint32_t mask);
// Bits of the mask's planes that have the whole sphere outside.
std::uint32_t SphereOutside(std::span<const Plane> planes, const vec3& centre, float radius,
                            std::uint32_t mask);
// False when all eight corners, carried by m, lie outside one common plane.
bool BoxTouchesInside(std::span<const Plane> planes, const Box& box, const Matrix& m);
