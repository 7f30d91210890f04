// Named per-frame statistics, as the renderer and every driver keep them.
// Knows nothing of who counts what; names are constants beside their owners.
#pragma once

#include <map>
#include <string>
#include <string_view>

using Statistics = std::map<std::string, float, std::less<>>;

// The value recorded under the name; 0 when nothing was recorded. Inserts nothing.
inline float Statistic(const Statistics& statistics, std::string_view name) {
    const auto found = statistics.find(name);
    return found == statistics.end() ? 0.0F : found->second;
}
