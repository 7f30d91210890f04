// The pictures of a model: found, unpacked, and taken out of the materials where that fails.
#pragma once

#include <string>
#include <vector>

#include "import/read/FlatModel.h"

// modelPath: names of pictures are relative to its folder. The pictures' order may change; the
// materials follow.
void AddPictures(const std::string& modelPath, const std::vector<FlatPicture>& pictures,
                 Model& model);
