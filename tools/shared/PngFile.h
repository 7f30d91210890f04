// PNG files to textures and back. A texture's first row is its lowest, a PNG file's the highest:
// both directions turn the rows round, so that a picture stands upright on a mesh.
#pragma once

#include <string>

class Texture;

// Reads an 8- or 16-bit PNG file ("-": standard input) of any colour type into 1 to 4 channels as
// in the file, or into one grey channel. False, with one line on standard error, when it cannot.
bool ReadPng(const std::string& path, Texture& texture, bool grey);
// Writes a regular file or, for "-", standard output. False, with one line, when it cannot; what
// was written of a file is removed.
bool WritePng(const std::string& path, const Texture& texture);
