// Model files of the usual formats (OBJ, PLY, STL, OFF, glTF and more) as triangles.
#pragma once

#include <cstdint>
#include <string>

#include "import/Model.h"
#include "shared/Result.h"

struct ReadLimits {
    std::int64_t memory = std::int64_t{3} << 30;  // bytes for the reading, beyond what is in use
    double seconds = 120;
    std::int64_t triangles = 10'000'000;
};

// Reads the file and its base colour pictures, which lie in it, beside it, or where it says. Nodes'
// transforms are applied; positions are as in the file otherwise, neither welded nor scaled. What
// is wrong with pictures is told in the warnings, what is wrong with the file in the failure, which
// begins with the path. The library that knows the formats may abort or hang on damaged files: it
// works in a process of its own (see ChildProcess for what that asks of the caller).
Result<Model> ReadModel(const std::string& path, const ReadLimits& limits = {});
