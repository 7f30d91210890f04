// Writing a packed file and making sure that all of it arrived. Knows nothing of what is packed.
#pragma once

#include <functional>
#include <string>

#include "shared/Result.h"

// Lets save write to the path that it is given and unpacks the result once more, because the
// program's own writers do not look at write errors. "-" is written to memory first. Fails when
// save does, which then has printed its line, or when the stream behind the header is not whole, as
// on a full disk; then no file is left.
Outcome WriteWhole(const std::string& path, int headerLength,
                   const std::function<bool(const std::string& path)>& save);
