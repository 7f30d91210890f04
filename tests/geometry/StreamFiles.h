// Builds mesh, texture and codec files byte by byte, so that tests reach what no writer produces.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <initializer_list>
#include <string>

#include "support/TempFile.h"

inline const std::string kPrematureEnd = "Codec::ReadInt: premature EOF\n";

inline std::string Words(std::initializer_list<std::int64_t> values) {
    std::string bytes;
    for (const std::int64_t value : values)
        for (int shift = 24; shift >= 0; shift -= 8)
            bytes += static_cast<char>(value >> shift);
    return bytes;
}

inline std::string Gzip(const std::string& bytes) {
    const TempDir dir;
    const gzFile file = gzopen(dir.File("z").c_str(), "wb9");
    gzwrite(file, bytes.data(), static_cast<unsigned>(bytes.size()));
    gzclose(file);
    return dir.Read("z");
}

inline std::string Gunzip(const std::string& bytes) {
    const TempDir dir;
    const gzFile file = gzopen(dir.Write("z", bytes).c_str(), "rb");
    std::string out(1 << 20, '\0');
    out.resize(static_cast<std::size_t>(gzread(file, out.data(), 1 << 20)));
    gzclose(file);
    return out;
}

// The header of a codec stream, uncompressed.
inline std::string StreamHeader(std::int64_t codec, std::int64_t width, std::int64_t height,
                                std::int64_t channels, int bits) {
    return Words({codec, width, height, channels}) + static_cast<char>(bits);
}
