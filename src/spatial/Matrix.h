// 4 x 4 matrix of doubles, column-major: element 4 * column + row, translation in 12 to 14.
#pragma once

#include <array>

#include "spatial/Vec3.h"

class Matrix {
public:
    Matrix();  // identity

    double& operator[](int index) { return m_elements[static_cast<unsigned>(index)]; }
    double operator[](int index) const { return m_elements[static_cast<unsigned>(index)]; }
    const double* Data() const { return m_elements.data(); }
    bool operator==(const Matrix&) const = default;

    vec3 Translation() const;
    // M * p, computed in extended precision, stored as floats.
    vec3 Transform(const vec3& point) const;
    // Rotation part only, same precision.
    vec3 Rotate(const vec3& direction) const;
    // Inverse of a rotation-plus-translation matrix (anything else gives no inverse).
    Matrix RigidInverse() const;

    // Frame of an object at pos whose Z axis points along point, upright along up. Falls back to
    // fixed axes when up is parallel to point or point is zero. The axes are chosen in floats and
    // then carried on to a double's last bit, on purpose: see Orthonormalise in the source.
    static Matrix Frame(const vec3& pos, const vec3& point, const vec3& up);

private:
    std::array<double, 16> m_elements;
};

// Where a point of eye space, such as a light, lies in the coordinates of a mesh that is drawn
// under the rigid modelView. Equal arguments give equal results to the last bit.
vec3 ToMeshSpace(const Matrix& modelView, const vec3& eyePoint);

// a * b applies b first.
Matrix operator*(const Matrix& a, const Matrix& b);
