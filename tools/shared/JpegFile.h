// JPEG files to textures.
#pragma once

#include <memory>
#include <span>

#include "geometry/Texture.h"
#include "shared/Result.h"

// The picture of a whole file with at most maxSide pixels a side, lowest row first: 1 channel of a
// grey file, else 3; four inks become colours. A cut file fails, lesser damage is shown as it is.
Result<std::unique_ptr<Texture>> ReadJpeg(std::span<const unsigned char> bytes, int maxSide);
