// Surfaces in closed form, as model files often hold them: every triangle has positions of its own.
#pragma once

#include <Eigen/Geometry>
#include <functional>
#include <numbers>

#include "import/Model.h"

using PlaceOnLattice = std::function<Eigen::Vector3d(int i, int j)>;

inline void AddTriangle(Surface& soup, const Eigen::Vector3d& a, const Eigen::Vector3d& b,
                        const Eigen::Vector3d& c) {
    const int first = static_cast<int>(soup.positions.size());
    soup.positions.insert(soup.positions.end(), {a, b, c});
    soup.triangles.push_back({first, first + 1, first + 2});
    soup.corners.emplace_back();
    soup.materials.push_back(0);
}

// n x m quads; equal places join. Those that skip says are left out.
inline Surface Lattice(
    int n, int m, const PlaceOnLattice& at,
    const std::function<bool(int, int)>& skip = [](int, int) { return false; }) {
    Surface soup;
    for (int i = 0; i < n * m; ++i) {
        const int x = i % n, y = i / n;
        if (skip(x, y)) continue;
        AddTriangle(soup, at(x, y), at(x + 1, y), at(x, y + 1));
        AddTriangle(soup, at(x + 1, y + 1), at(x, y + 1), at(x + 1, y));
    }
    return soup;
}

inline double Angle(int i, int n) {
    return 2 * std::numbers::pi * (i % n) / n;
}

// Longitudes by latitudes; its poles are exact points on the y axis.
inline Surface SphereSoup(int n, int m, double radius, const Eigen::Vector3d& centre) {
    return Lattice(n, m, [=](int i, int j) -> Eigen::Vector3d {
        const double ring = j % m == 0 ? 0 : std::sin(Angle(j, 2 * m));
        const double height = j % m == 0 ? (j == 0 ? 1 : -1) : std::cos(Angle(j, 2 * m));
        const Eigen::Vector3d out(ring * std::cos(Angle(i, n)), height,
                                  ring * std::sin(Angle(i, n)));
        return centre + radius * out;
    });
}

// The outside of unit cubes, within 8 of the origin along each axis.
inline Surface Cubes(const std::function<bool(int, int, int)>& filled) {
    Surface soup;
    for (int i = 0; i < 512 * 6; ++i) {
        const Eigen::Vector3i cell(i / 6 % 8, i / 48 % 8, i / 384);
        const int axis = i % 3, side = i / 3 % 2;
        const Eigen::Vector3i beside = cell + (2 * side - 1) * Eigen::Vector3i::Unit(axis);
        if (!filled(cell[0], cell[1], cell[2]) || filled(beside[0], beside[1], beside[2])) continue;
        Eigen::Vector3d p = (cell + side * Eigen::Vector3i::Unit(axis)).cast<double>();
        Eigen::Vector3d u = Eigen::Vector3d::Unit((axis + 1) % 3);
        Eigen::Vector3d v = Eigen::Vector3d::Unit((axis + 2) % 3);
        if (side == 0) std::swap(u, v);
        AddTriangle(soup, p, p + u, p + v);
        AddTriangle(soup, p + u + v, p + v, p + u);
    }
    return soup;
}
