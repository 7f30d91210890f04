// Builds mesh, texture and codec files byte by byte, so that tests reach what no writer produces.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <initializer_list>
#include <string>

inline std::string Word(std::int64_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(value >> shift);
    return bytes;
}

inline std::string Words(std::initializer_list<std::int64_t> values) {
    std::string bytes;
    for (const std::int64_t value : values)
        bytes += Word(value);
    return bytes;
}

inline std::string OneByte(int value) {
    return std::string(1, static_cast<char>(value));
}

inline std::string Gzip(const std::string& bytes) {
    z_stream stream{};
    deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
    std::string out(deflateBound(&stream, bytes.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

inline std::string Gunzip(const std::string& bytes) {
    z_stream stream{};
    inflateInit2(&stream, 15 + 16);
    std::string out(1 << 22, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    inflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    inflateEnd(&stream);
    return out;
}

// The header of a codec stream, uncompressed.
inline std::string StreamHeader(std::int64_t codec, std::int64_t width, std::int64_t height,
                                std::int64_t channels, int bits) {
    return Words({codec, width, height, channels}) + OneByte(bits);
}
