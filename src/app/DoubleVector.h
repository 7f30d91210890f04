// A vector in double precision for motion that is rounded to floats once a step: in floats alone
// a view that should come to rest can flip between two neighbouring values for ever.
#pragma once

#include <cfloat>
#include <cmath>

#include "spatial/Vec3.h"

struct dvec3 {
    double x = 0;
    double y = 0;
    double z = 0;

    constexpr dvec3() = default;
    constexpr dvec3(double px, double py, double pz) : x(px), y(py), z(pz) {}
    explicit dvec3(const vec3& v) : x(v.x), y(v.y), z(v.z) {}
};

inline dvec3 operator+(const dvec3& a, const dvec3& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline dvec3 operator-(const dvec3& a, const dvec3& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline dvec3 operator*(double s, const dvec3& a) {
    return {s * a.x, s * a.y, s * a.z};
}
inline double Dot(const dvec3& a, const dvec3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline dvec3 Cross(const dvec3& a, const dvec3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double Length(const dvec3& a) {
    return std::sqrt(Dot(a, a));
}
// The zero vector stays zero.
inline dvec3 Normalise(const dvec3& a) {
    const double length = Length(a);
    return length > 0 ? (1 / length) * a : dvec3{};
}

// Rounds into the target, which stays as it was when a component has no finite float: a value
// that is not a number would never leave a camera or an octree again.
inline void RoundInto(vec3& target, const dvec3& value) {
    const auto fits = [](double component) { return std::fabs(component) <= double{FLT_MAX}; };
    if (!fits(value.x) || !fits(value.y) || !fits(value.z)) return;
    target = {static_cast<float>(value.x), static_cast<float>(value.y),
              static_cast<float>(value.z)};
}
