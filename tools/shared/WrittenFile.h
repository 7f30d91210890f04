// Whether a written file holds its whole packed stream. Knows nothing of what is packed.
#pragma once

#include <string>

// False, with one line, when the stream behind the header does not unpack to its end, as on a full
// disk. Standard output ("-") cannot be read back and counts as whole.
bool IsWhole(const std::string& path, long headerLength);
