// The headers that stand before the codec stream of mesh and texture files: the one place that
// knows their bytes. Knows nothing of the grid behind them and prints nothing.
#pragma once

#include <cstdint>

// What is wrong with a header: the first thing that is met.
enum class HeaderFault {
    None,
    Unreadable,  // the system refuses to read; errno says why
    Magic,       // a file of another kind
    Version,     // newer than kVersion; the header's version says which
    Short,       // ends where a version has more
};

struct MeshHeader {
    static constexpr std::int32_t kVersion = 2;  // the newest, and the one that is written
    static constexpr int kWrittenLength = 17;    // bytes before the stream of a written file

    std::int32_t version = kVersion;
    std::int32_t error = 0;  // 16.16 fixed point; from version 1 on
    // Positions are in units of 2^-exponent. From version 1 on; before, they were 16.16 fixed
    // point like all the other channels.
    std::int32_t exponent = 16;
    bool wrapColumns = false;  // version 2
    bool wrapRows = false;
};

struct TextureHeader {
    static constexpr std::int32_t kVersion = 1;
    static constexpr int kWrittenLength = 9;

    char magic[5] = {};  // as read, with an end: what the file is when it is no texture
    std::int32_t version = kVersion;
    bool filter = true;  // from version 1 on
    bool mipmap = true;
};

// Reads a header from the descriptor's position and leaves it at the stream. What the file's
// version does not carry keeps the value that it has in header; bytes that are missing are 0
// wherever that is no fault. Meshes: a file that cannot be read is none, so never Unreadable.
// Textures: never Short, the stream tells.
HeaderFault ReadHeader(int fd, MeshHeader& header);
HeaderFault ReadHeader(int fd, TextureHeader& header);

// Writes kWrittenLength bytes, of version kVersion whatever header.version and magic say. False
// when not all could be written.
bool WriteHeader(int fd, const MeshHeader& header);
bool WriteHeader(int fd, const TextureHeader& header);
