// Whether a PLY file is what its header announces.
#pragma once

#include <string>

// In a few words, what is wrong with a PLY file: its header has no meaning, or it ends too early.
// The reading library takes zeros for what is missing, or waits for it for ever. Empty for nothing,
// and for all other files.
std::string WhyNoPly(const std::string& path);
