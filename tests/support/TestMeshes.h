// Meshes for pictures: fronts face the viewer, normals and texture coordinates are set.
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>

#include "geometry/GeoImage.h"

// A square of that half side in the plane z, facing +z; u grows to the right, v downwards.
inline GeoImage SquareMesh(float half, float z, int points = 2) {
    GeoImage mesh(points, points);
    for (int i = 0; i < points * points; ++i) {
        const float u = static_cast<float>(i % points) / static_cast<float>(points - 1);
        const float v = static_cast<float>(i / points) / static_cast<float>(points - 1);
        mesh.samples[i] = {{half * (2 * u - 1), half * (1 - 2 * v), z}, {0, 0, 1}, u, v};
    }
    mesh.Finish(false);
    return mesh;
}

// The same sheet with front and back exchanged.
inline GeoImage TurnedRound(const GeoImage& sheet) {
    GeoImage mesh = sheet;
    for (int row = 0; row < mesh.height; ++row)
        std::reverse(&mesh.At(row, 0), &mesh.At(row, 0) + mesh.width);
    mesh.Finish(true);
    return mesh;
}

// A closed sphere round the origin with outward fronts and normals.
inline GeoImage SphereMesh(float radius, int rows, int columns) {
    GeoImage mesh(rows, columns);
    for (int i = 0; i < rows * columns; ++i) {
        const float u = static_cast<float>(i % columns) / static_cast<float>(columns - 1);
        const float v = static_cast<float>(i / columns) / static_cast<float>(rows - 1);
        const float around = 2 * std::numbers::pi_v<float> * (u < 1 ? u : 0);
        const float down = std::numbers::pi_v<float> * v;
        const float ring = v > 0 && v < 1 ? std::sin(down) : 0;
        const vec3 normal{ring * std::sin(around), std::cos(down), ring * std::cos(around)};
        mesh.samples[i] = {radius * normal, normal, u, v};
    }
    mesh.wrapColumns = true;
    mesh.Finish(false);
    return mesh;
}
