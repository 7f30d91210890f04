// The 3-vector of positions, directions and colours without alpha: in floats, as scenes and meshes
// hold it, and in doubles for what is computed in several steps and rounded to floats once.
#pragma once

#include <cmath>

template <class T>
struct Vector3 {
    T x = 0;
    T y = 0;
    T z = 0;

    constexpr Vector3() = default;
    constexpr Vector3(T px, T py, T pz) : x(px), y(py), z(pz) {}
    // Exact from floats to doubles; rounds the other way, beyond the range of float to infinity.
    template <class U>
    constexpr explicit Vector3(const Vector3<U>& v)
        : x(static_cast<T>(v.x)), y(static_cast<T>(v.y)), z(static_cast<T>(v.z)) {}

    Vector3& operator+=(const Vector3& b) {
        x += b.x;
        y += b.y;
        z += b.z;
        return *this;
    }
    Vector3& operator-=(const Vector3& b) {
        x -= b.x;
        y -= b.y;
        z -= b.z;
        return *this;
    }
    Vector3& operator*=(T s) {
        x *= s;
        y *= s;
        z *= s;
        return *this;
    }
    bool operator==(const Vector3& b) const = default;

    friend Vector3 operator+(Vector3 a, const Vector3& b) { return a += b; }
    friend Vector3 operator-(Vector3 a, const Vector3& b) { return a -= b; }
    friend Vector3 operator*(Vector3 a, T s) { return a *= s; }
    friend Vector3 operator*(T s, Vector3 a) { return a *= s; }
    friend Vector3 operator-(const Vector3& a) { return {-a.x, -a.y, -a.z}; }
};

using vec3 = Vector3<float>;
using dvec3 = Vector3<double>;

template <class T>
T Dot(const Vector3<T>& a, const Vector3<T>& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
template <class T>
Vector3<T> Cross(const Vector3<T>& a, const Vector3<T>& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
template <class T>
T Length(const Vector3<T>& a) {
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
template <class T>
Vector3<T> Normalise(const Vector3<T>& a) {
    const T length = Length(a);
    return length > 0 ? Vector3<T>{a.x / length, a.y / length, a.z / length} : Vector3<T>{};
}
