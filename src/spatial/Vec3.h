// The float 3-vector of positions, directions and colours without alpha.
#pragma once

#include <cmath>

struct vec3 {
    float x = 0;
    float y = 0;
    float z = 0;

    vec3() = default;
    constexpr vec3(float px, float py, float pz) : x(px), y(py), z(pz) {}

    vec3& operator+=(const vec3& b) {
        x += b.x;
        y += b.y;
        z += b.z;
        return *this;
    }
    vec3& operator-=(const vec3& b) {
        x -= b.x;
        y -= b.y;
        z -= b.z;
        return *this;
    }
    vec3& operator*=(float s) {
        x *= s;
        y *= s;
        z *= s;
        return *this;
    }
    bool operator==(const vec3& b) const = default;
};

inline vec3 operator+(vec3 a, const vec3& b) {
    return a += b;
}
inline vec3 operator-(vec3 a, const vec3& b) {
    return a -= b;
}
inline vec3 operator*(vec3 a, float s) {
    return a *= s;
}
inline vec3 operator*(float s, vec3 a) {
    return a *= s;
}
inline vec3 operator-(const vec3& a) {
    return {-a.x, -a.y, -a.z};
}

inline float Dot(const vec3& a, const vec3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline vec3 Cross(const vec3& a, const vec3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline float Length(const vec3& a) {
    return std::sqrt(Dot(a, a));
}
// Along a, with a length just below 1: the shorter a, the shorter, so that the division is defined
// for the zero vector, too. What is guarded against lies far below the resolution of a unit length.
inline vec3 Direction(const vec3& a) {
    constexpr float kTinyLength = 1e-12F;
    const float length = Length(a) + kTinyLength;
    return {a.x / length, a.y / length, a.z / length};
}
// Unit vector along a; the zero vector stays zero, so that no NaN enters the scene.
inline vec3 Normalise(const vec3& a) {
    const float length = Length(a);
    return length > 0 ? vec3{a.x / length, a.y / length, a.z / length} : vec3{};
}
