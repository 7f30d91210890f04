// Conversion of numbers of any size to int.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

// Toward zero; what no int holds is limited to its range, NaN gives 0.
inline int Truncated(double value) {
    using Limits = std::numeric_limits<int>;
    if (std::isnan(value)) return 0;
    return static_cast<int>(std::clamp(value, double{Limits::min()}, double{Limits::max()}));
}
