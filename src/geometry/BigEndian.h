// Big-endian words, as the mesh and texture headers and the codec stream hold them.
// Knows nothing of files.
#pragma once

#include <cstdint>

inline std::int32_t ReadBigEndian32(const std::uint8_t* bytes) {
    return static_cast<std::int32_t>(std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
                                     std::uint32_t{bytes[2]} << 8 | std::uint32_t{bytes[3]});
}

inline void WriteBigEndian32(std::uint8_t* bytes, std::int32_t value) {
    const auto word = static_cast<std::uint32_t>(value);
    bytes[0] = static_cast<std::uint8_t>(word >> 24);
    bytes[1] = static_cast<std::uint8_t>(word >> 16);
    bytes[2] = static_cast<std::uint8_t>(word >> 8);
    bytes[3] = static_cast<std::uint8_t>(word);
}
