// What a piece of sent geometry was made from: two draws of equal keys and shapes send the same
// vertices.
// Knows nothing of OpenGL.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <functional>

#include "spatial/Vec3.h"

class GeoImage;

enum PrimitiveClass : int {
    PrimitiveOutline = 0,
    PrimitiveShadowVolume = 1,
    PrimitiveMesh = 2,
    PrimitiveShell = 3,
    PrimitiveNone = 4
};

struct CacheKey {
    GeoImage* mesh = nullptr;  // by address, not owned
    PrimitiveClass primitive = PrimitiveNone;
    // Outline: the eye; shadow volume: the light, both in mesh coordinates. Shell: (offset, 0, 0).
    // Mesh: zero.
    vec3 point;
    // Approximate bytes in a display list; 0 until the geometry was sent. No part of the order.
    std::int64_t size = 0;
    // What else the geometry depends on. No part of the order: a list of another shape is stale.
    // Outline: whether faces to the eye count as lit; shadow volume: extrusion and near offset.
    std::array<float, 2> shape{};

    // Whether the key can stand in an ordered container: a coordinate that is no number would
    // equal every other.
    bool HasOrder() const {
        return !std::isnan(point.x) && !std::isnan(point.y) && !std::isnan(point.z);
    }
};

inline bool operator<(const CacheKey& a, const CacheKey& b) {
    if (a.mesh != b.mesh) return std::less<>()(a.mesh, b.mesh);
    if (a.primitive != b.primitive) return a.primitive < b.primitive;
    if (a.point.x != b.point.x) return a.point.x < b.point.x;
    if (a.point.y != b.point.y) return a.point.y < b.point.y;
    return a.point.z < b.point.z;
}
