// Conversion of numbers of any size to integers.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

// Toward zero; what lies outside low to high gives the nearer of the two, NaN gives low.
inline std::int64_t Truncated(double value, std::int64_t low, std::int64_t high) {
    return value > static_cast<double>(low)
               ? static_cast<std::int64_t>(std::min(value, static_cast<double>(high)))
               : low;
}

// Toward zero; what no int holds is limited to its range, NaN gives 0.
inline int Truncated(double value) {
    using Limits = std::numeric_limits<int>;
    return std::isnan(value) ? 0 : static_cast<int>(Truncated(value, Limits::min(), Limits::max()));
}
