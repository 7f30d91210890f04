// What a piece of sent geometry was made from: two draws with equal keys send the same vertices.
// Knows nothing of OpenGL.
#pragma once

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
    int size = 0;  // approximate bytes in a display list; 0 until the geometry was sent
};
