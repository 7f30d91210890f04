// Four floats in one register of any x86-64. Operators work lane by lane and round like those of
// single floats.
#pragma once

#include <cstring>

#include <xmmintrin.h>

using Float4 [[gnu::vector_size(16)]] = float;

inline Float4 Broadcast(float value) {
    return Float4{value, value, value, value};
}

inline Float4 LoadFloat4(const void* floats) {
    Float4 loaded;
    std::memcpy(&loaded, floats, sizeof loaded);
    return loaded;
}

// Bit k: whether a is less than b in lane k.
inline unsigned LessBits(Float4 a, Float4 b) {
    return static_cast<unsigned>(_mm_movemask_ps(_mm_cmplt_ps(a, b)));
}
