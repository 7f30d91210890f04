// Names that hold in the scene language and as file names.
#pragma once

#include <string>
#include <vector>

// The wanted name where it holds, else the nearest that does: letters, digits and "_.+-" alone,
// neither a leading '.' nor a '-' nor what makes a light or an object move by itself, at most 64
// bytes. None of those taken: a number is put behind.
std::string SceneName(const std::string& wanted, const std::vector<std::string>& taken = {});
