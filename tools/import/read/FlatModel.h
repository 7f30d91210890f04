// A model as the process that reads it sends it: triangles, and pictures that are not unpacked yet.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "import/Model.h"

class ChildProcess;

// A picture inside the model file (bytes) or beside it (name alone).
struct FlatPicture {
    std::string name;
    std::string bytes;  // a PNG or JPEG file; red, green, blue, alpha a pixel where width is not 0
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t opaque = 0;  // its alpha means nothing
};

struct FlatModel {
    std::string failure;  // not empty: why there is nothing else
    Surface surface;
    std::vector<ModelMaterial> materials;  // their pictures are indices of the next
    std::vector<FlatPicture> pictures;
};

// False when the reader of the descriptor is gone.
bool SendModel(int out, const FlatModel& model);

enum class Received { Whole, Ended, Damaged };
// Whole: all indices lie inside what they point into, all numbers are finite. Ended: the process
// stopped before its end. Damaged: it sent nonsense, or more than maxTriangles allow.
Received ReceiveModel(ChildProcess& process, std::int64_t maxTriangles, FlatModel& model);
