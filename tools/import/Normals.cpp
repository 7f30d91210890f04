#include "import/Normals.h"

#include <Eigen/Geometry>

namespace {

using Eigen::Vector3d;

constexpr double kCreaseCosine = 0.64;  // of 50 degrees

Vector3d Unit(const Vector3d& v) {
    const double length = v.norm();
    return length > 0 ? Vector3d(v / length) : Vector3d::Zero();
}

}  // namespace

CornerNormals::CornerNormals(const Surface& surface) : m_normals(surface.triangles.size()) {
    const std::size_t count = surface.triangles.size();
    std::vector<Vector3d> faces(count);  // length: twice the area
    std::vector<int> start(surface.positions.size() + 1, 0), around(3 * count);
    for (std::size_t i = 0; i < count; ++i) {
        const Triangle& t = surface.triangles[i];
        const Vector3d& a = surface.positions[t[0]];
        faces[i] = (surface.positions[t[1]] - a).cross(surface.positions[t[2]] - a);
        for (const int vertex : t)
            ++start[vertex + 1];
    }
    for (std::size_t i = 1; i < start.size(); ++i)
        start[i] += start[i - 1];
    std::vector<int> next(start.begin(), start.end() - 1);
    for (std::size_t i = 0; i < count; ++i) {
        for (const int vertex : surface.triangles[i])
            around[next[vertex]++] = static_cast<int>(i);
    }
    for (std::size_t i = 0; i < count; ++i) {
        const Vector3d own = Unit(faces[i]);
        for (int k = 0; k < 3; ++k) {
            const int vertex = surface.triangles[i][k];
            Vector3d sum = Vector3d::Zero();
            for (int j = start[vertex]; j < start[vertex + 1]; ++j) {
                const Vector3d& face = faces[around[j]];
                if (face.dot(own) >= kCreaseCosine * face.norm()) sum += face;
            }
            m_normals[i][k] = Unit(sum);
        }
    }
}

Vector3d CornerNormals::At(const Place& place) const {
    const auto& corners = m_normals[place.triangle];
    const Vector3d sum = corners[0] * place.weights[0] + corners[1] * place.weights[1] +
                         corners[2] * place.weights[2];
    return Unit(sum.squaredNorm() > 0 ? sum : corners[0]);
}
