// Where the triangles of a mesh that face a point meet those that do not.
#pragma once

#include <cstdint>
#include <vector>

#include "spatial/Vec3.h"

struct SilhouetteEdge {
    vec3 from;
    vec3 to;
};

struct SilhouetteCap {
    vec3 a;
    vec3 b;
    vec3 c;
};

// Owned by the caller and reused from call to call, so that its lists keep their capacity.
struct SilhouetteResult {
    std::vector<SilhouetteEdge> edges;   // each the reverse of the facing triangle's own edge
    std::vector<SilhouetteCap> caps;     // facing triangles, in the grid's vertex order
    std::vector<std::uint64_t> scratch;  // working storage of the extraction
};
static_assert(sizeof(SilhouetteEdge) == 24 && sizeof(SilhouetteCap) == 36,
              "drivers hand both lists to the graphics library as packed points");
