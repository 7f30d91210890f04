// PNG files to textures and back. A texture's first row is its lowest, a PNG file's the highest:
// both directions turn the rows round, so that a picture stands upright on a mesh.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "geometry/Texture.h"
#include "shared/Result.h"

// Reads an 8- or 16-bit PNG file ("-": standard input) of any colour type into 1 to 4 channels as
// in the file, or into one grey channel.
Result<std::unique_ptr<Texture>> ReadPng(const std::string& path, bool grey);
// The same of a file's whole contents, in the file's channels, with at most maxSide pixels a side.
// The line says the fault alone.
Result<std::unique_ptr<Texture>> ReadPng(std::span<const unsigned char> bytes, int maxSide);
// Writes a regular file or, for "-", standard output. What was written of a file is removed on
// failure.
Outcome WritePng(const std::string& path, const Texture& texture);
