#include "mesh/Grid.h"

#include <algorithm>
#include <cmath>
#include <numbers>

void FillGrid(GeoImage& mesh, const std::function<SurfacePoint(const GridPlace&)>& surface,
              Progress& progress) {
    for (int row = 0; row < mesh.height; ++row) {
        const double down = static_cast<double>(row) / (mesh.height - 1);
        for (int column = 0; column < mesh.width; ++column) {
            const double across = static_cast<double>(column) / (mesh.width - 1);
            GridPlace place{row, column, across, down};
            if (mesh.wrapColumns && column == mesh.width - 1) place.across = 0;
            if (mesh.wrapRows && row == mesh.height - 1) place.down = 0;
            const SurfacePoint point = surface(place);
            mesh.At(row, column) = {point.position, point.normal, static_cast<float>(across),
                                    static_cast<float>(1 - down)};
        }
        progress.Done(row + 1, mesh.height);
    }
}

double SinTurn(double turns) {
    const double quarters = 4 * (turns - std::floor(turns));
    if (quarters != std::floor(quarters)) return std::sin(2 * std::numbers::pi * turns);
    constexpr double sines[] = {0, 1, 0, -1};
    return sines[static_cast<int>(quarters) % 4];
}

double CosTurn(double turns) {
    return SinTurn(turns + 0.25);
}

void TurnTo(GeoImage& mesh, Axis axis) {
    if (axis == Axis::Y) return;
    const auto turn = [axis](const vec3& v) {
        return axis == Axis::Z ? vec3{v.x, -v.z, v.y} : vec3{v.y, -v.x, v.z};
    };
    for (int i = 0; i < mesh.width * mesh.height; ++i) {
        mesh.samples[i].position = turn(mesh.samples[i].position);
        mesh.samples[i].normal = turn(mesh.samples[i].normal);
    }
}

double Extent(const GeoImage& mesh) {
    float extent = 0;
    for (int i = 0; i < mesh.width * mesh.height; ++i) {
        const vec3& p = mesh.samples[i].position;
        extent = std::max({extent, std::abs(p.x), std::abs(p.y), std::abs(p.z)});
    }
    return extent;
}

void RoundCoordinates(GeoImage& mesh, int bits, double extent) {
    if (extent <= 0) return;
    const double step = std::ldexp(1.0, std::ilogb(extent) + 1 - bits);
    const auto round = [step](float& value) {
        value = static_cast<float>(std::round(value / step) * step);
    };
    for (int i = 0; i < mesh.width * mesh.height; ++i) {
        vec3& p = mesh.samples[i].position;
        round(p.x);
        round(p.y);
        round(p.z);
    }
}
