// From the scene of the reading library to plain triangles. Runs where the library does, in a
// process that may fail; knows no files.
#pragma once

#include <cstdint>

#include "import/read/FlatModel.h"

struct aiScene;

struct FlatteningRules {
    std::int64_t maxTriangles = 0;
    // Material and corner colours are linear light, as glTF has them, not display values.
    bool linearColours = false;
};

// All triangles of all nodes in their places, with mirrored ones turned back to face outward, and
// the materials and pictures that they use. Points and lines are left out. The failure is set where
// there are no triangles, too many, or coordinates that are no numbers.
FlatModel FlattenScene(const aiScene& scene, const FlatteningRules& rules);
