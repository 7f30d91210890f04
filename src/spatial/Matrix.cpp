// Matrix arithmetic of the renderer: products, rigid inverses and the frames of scene objects.
// Knows nothing of scene objects themselves.
#include "spatial/Matrix.h"

#include <cmath>

namespace {

// Rounding leaves squares of unit vectors closer to 1 than this.
constexpr double kUnitTolerance = 1e-5;

// One row of the rotation applied to v, plus an offset. Extended precision: large translations
// cancel here, and the rounding would make far objects tremble.
float RowTimes(const Matrix& m, int row, const vec3& v, double offset) {
    const auto term = [&](int column, float value) {
        return static_cast<long double>(m[4 * column + row]) * value;
    };
    return static_cast<float>(term(0, v.x) + term(1, v.y) + term(2, v.z) + offset);
}

void SetColumn(Matrix& m, int column, const dvec3& v) {
    m[4 * column] = v.x;
    m[4 * column + 1] = v.y;
    m[4 * column + 2] = v.z;
}

bool IsUnit(const dvec3& v) {
    return std::fabs(Dot(v, v) - 1) < kUnitTolerance;
}

// Carries three axes that are right to a float's last bit on to a double's. A frame times its
// rigid inverse is then the identity for all that floats can tell, and an object whose matrix was
// brought over from the frame before is drawn on the same pixels as with a fresh one.
void Orthonormalise(dvec3& x, dvec3& y, dvec3& z) {
    z = Normalise(z);
    x = Normalise(x - Dot(x, z) * z);
    y = Cross(z, x);
}

}  // namespace

Matrix::Matrix() : m_elements{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1} {}

vec3 Matrix::Translation() const {
    return {static_cast<float>(m_elements[12]), static_cast<float>(m_elements[13]),
            static_cast<float>(m_elements[14])};
}

vec3 Matrix::Transform(const vec3& point) const {
    return {RowTimes(*this, 0, point, m_elements[12]), RowTimes(*this, 1, point, m_elements[13]),
            RowTimes(*this, 2, point, m_elements[14])};
}

vec3 Matrix::Rotate(const vec3& direction) const {
    return {RowTimes(*this, 0, direction, 0), RowTimes(*this, 1, direction, 0),
            RowTimes(*this, 2, direction, 0)};
}

Matrix Matrix::RigidInverse() const {
    const Matrix& m = *this;
    Matrix inverse;
    for (int axis = 0; axis < 3; ++axis) {
        for (int row = 0; row < 3; ++row)
            inverse[4 * axis + row] = m[4 * row + axis];
        const int column = 4 * axis;
        inverse[12 + axis] = -(m[column] * m[12] + m[column + 1] * m[13] + m[column + 2] * m[14]);
    }
    return inverse;
}

Matrix Matrix::Frame(const vec3& pos, const vec3& point, const vec3& up) {
    vec3 z = Direction(point);
    vec3 x = Direction(Cross(up, z));
    vec3 y = Direction(Cross(z, x));
    const bool upright = y != vec3{};
    if (!upright) {
        // No upright direction is left. Any other axis will do; it need not be perpendicular.
        y = {z.y, z.z, z.x};
        x = Cross(y, z);
        if (x == vec3{}) {
            x = {1, 0, 0};
            y = {0, 1, 0};
            z = {0, 0, 1};
        }
    }
    dvec3 axisX(x);
    dvec3 axisY(y);
    dvec3 axisZ(z);
    // Tiny directions give short axes, which stay as they are.
    if (upright && IsUnit(axisX) && IsUnit(axisZ)) Orthonormalise(axisX, axisY, axisZ);
    Matrix frame;
    SetColumn(frame, 0, axisX);
    SetColumn(frame, 1, axisY);
    SetColumn(frame, 2, axisZ);
    SetColumn(frame, 3, dvec3(pos));
    return frame;
}

vec3 ToMeshSpace(const Matrix& modelView, const vec3& eyePoint) {
    return modelView.RigidInverse().Transform(eyePoint);
}

Matrix operator*(const Matrix& a, const Matrix& b) {
    Matrix product;
    for (int column = 0; column < 4; ++column) {
        for (int row = 0; row < 4; ++row) {
            double sum = 0;
            for (int k = 0; k < 4; ++k)
                sum += a[4 * k + row] * b[4 * column + k];
            product[4 * column + row] = sum;
        }
    }
    return product;
}
