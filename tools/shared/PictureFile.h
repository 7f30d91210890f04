// Pictures that come with models, PNG or JPEG as their first bytes say, to textures. The file is
// foreign: bad, cut or oversized contents give one line and never end the process.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "geometry/Texture.h"
#include "shared/Result.h"

// A side's most pixels; the texture's own bound on its bytes holds as well.
inline constexpr int kMaxPictureSide = 16384;

// The regular file's picture in as many channels as it has; lowest row first. The line is headed by
// the path.
Result<std::unique_ptr<Texture>> ReadPicture(const std::string& path);
// The same of a file's whole contents; the line says the fault alone.
Result<std::unique_ptr<Texture>> ReadPicture(std::span<const unsigned char> bytes);
