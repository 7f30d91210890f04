#include "import/repair/Winding.h"

#include <Eigen/Geometry>

#include <cmath>
#include <numbers>

// The sum of the triangles' solid angles; the tangent of half of each is a ratio of products of
// the corners' directions.
double WindingNumber(const Surface& surface, const Eigen::Vector3d& point) {
    double sum = 0;
    for (const auto& [i, j, k] : surface.triangles) {
        const Eigen::Vector3d a = surface.positions[i] - point;
        const Eigen::Vector3d b = surface.positions[j] - point;
        const Eigen::Vector3d c = surface.positions[k] - point;
        const double la = a.norm(), lb = b.norm(), lc = c.norm();
        const double volume = a.dot(b.cross(c));
        sum += std::atan2(volume, la * lb * lc + a.dot(b) * lc + b.dot(c) * la + c.dot(a) * lb);
    }
    return sum / (2 * std::numbers::pi);
}
