// Meshes for pictures: fronts face the viewer, normals and texture coordinates are set.
#pragma once

#include <cmath>
#include <numbers>

#include "geometry/GeoImage.h"

// A square of that half side in the plane z, facing +z; u grows to the right, v downwards.
inline GeoImage SquareMesh(float half, float z, int points = 2) {
    GeoImage mesh(points, points);
    for (int row = 0; row < points; ++row) {
        for (int column = 0; column < points; ++column) {
            const float u = static_cast<float>(column) / static_cast<float>(points - 1);
            const float v = static_cast<float>(row) / static_cast<float>(points - 1);
            const vec3 position{half * (2 * u - 1), half * (1 - 2 * v), z};
            mesh.At(row, column) = {position, {0, 0, 1}, u, v};
        }
    }
    mesh.Finish(false);
    return mesh;
}

// The same sheet with front and back exchanged.
inline GeoImage TurnedRound(const GeoImage& sheet) {
    GeoImage mesh = sheet;
    for (int row = 0; row < mesh.height; ++row) {
        for (int column = 0; column < mesh.width; ++column) {
            mesh.At(row, column) = sheet.At(row, mesh.width - 1 - column);
        }
    }
    mesh.Finish(true);
    return mesh;
}

// A closed sphere round the origin with outward fronts and normals.
inline GeoImage SphereMesh(float radius, int rows, int columns) {
    GeoImage mesh(rows, columns);
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            const float u = static_cast<float>(column) / static_cast<float>(columns - 1);
            const float v = static_cast<float>(row) / static_cast<float>(rows - 1);
            const float around = 2 * std::numbers::pi_v<float> * (column + 1 < columns ? u : 0);
            const float down = std::numbers::pi_v<float> * v;
            const bool pole = row == 0 || row + 1 == rows;
            const float ring = pole ? 0 : std::sin(down);
            const vec3 normal{ring * std::sin(around), std::cos(down), ring * std::cos(around)};
            mesh.At(row, column) = {radius * normal, normal, u, v};
        }
    }
    mesh.wrapColumns = true;
    mesh.Finish(false);
    return mesh;
}
