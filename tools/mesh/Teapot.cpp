#include "mesh/Teapot.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "mesh/TeapotPatches.h"

namespace {

// Quarters stand in four mirror images, halves in two.
constexpr int kQuarters = 4;
constexpr int kHalves = 2;

// How far a normal is taken from a corner where the patch's edge shrinks to a point.
constexpr double kNudge = 1e-3;

struct Vector {
    double x = 0;
    double y = 0;
    double z = 0;
};

// Bernstein polynomials of degree 3, and their derivatives.
std::array<double, 4> Weights(double t) {
    const double s = 1 - t;
    return {s * s * s, 3 * s * s * t, 3 * s * t * t, t * t * t};
}

std::array<double, 4> Slopes(double t) {
    const double s = 1 - t;
    return {-3 * s * s, 3 * s * (s - 2 * t), 3 * t * (2 * s - t), 3 * t * t};
}

Vector Combine(const ControlGrid& points, const std::array<double, 4>& down,
               const std::array<double, 4>& across) {
    Vector sum;
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            const double weight = down[row] * across[column];
            const ControlPoint& p = points[4 * row + column];
            sum.x += weight * p.x;
            sum.y += weight * p.y;
            sum.z += weight * p.z;
        }
    }
    return sum;
}

Vector UnitCross(const Vector& a, const Vector& b) {
    const Vector n{a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
    const double length = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z);
    if (length < 1e-9) return {};
    return {n.x / length, n.y / length, n.z / length};
}

Vector NormalAt(const ControlGrid& points, double down, double across) {
    return UnitCross(Combine(points, Slopes(down), Weights(across)),
                     Combine(points, Weights(down), Slopes(across)));
}

// Where an edge of the patch is a single point, the surface has no derivative along it.
Vector SafeNormal(const ControlGrid& points, double down, double across, const Vector& position) {
    const Vector direct = NormalAt(points, down, across);
    if (direct.x != 0 || direct.y != 0 || direct.z != 0) return direct;
    const Vector near = NormalAt(points, std::clamp(down, kNudge, 1 - kNudge), across);
    if (position.x == 0 && position.y == 0) return {0, 0, std::copysign(1.0, near.z)};
    return near;
}

// The listed points, mirrored into place. Their columns run the wrong way round, which turns the
// front inward: an image that is mirrored once is right, the others have their columns reversed.
ControlGrid PlacedPoints(const ControlGrid& listed, bool mirrorX, bool mirrorY) {
    ControlGrid placed;
    for (std::size_t i = 0; i < placed.size(); ++i) {
        ControlPoint p = listed[mirrorX == mirrorY ? i ^ 3U : i];
        if (mirrorX) p.x = -p.x;
        if (mirrorY) p.y = -p.y;
        placed[i] = p;
    }
    return placed;
}

ControlGrid PatchPoints(int patch) {
    int part = 0;
    for (;; ++part) {
        const TeapotPart candidate = GetTeapotPart(part);
        const int images = candidate.quarter ? kQuarters : kHalves;
        if (patch < images) {
            return PlacedPoints(candidate.points, (patch & 2) != 0, (patch & 1) != 0);
        }
        patch -= images;
    }
}

// From z up to y up.
vec3 Upright(const Vector& v, double scale) {
    return {static_cast<float>(v.x * scale), static_cast<float>(v.z * scale),
            static_cast<float>(-v.y * scale)};
}

}  // namespace

void MakeTeapotPatch(GeoImage& mesh, int patch, double height, Progress& progress) {
    const ControlGrid points = PatchPoints(patch);
    const double scale = height / kTeapotHeight;
    const auto surface = [&](const GridPlace& at) -> SurfacePoint {
        const Vector position = Combine(points, Weights(at.down), Weights(at.across));
        return {Upright(position, scale),
                Upright(SafeNormal(points, at.down, at.across, position), 1)};
    };
    FillGrid(mesh, surface, progress);
}
