// Multi-channel grid of 32-bit integers stored as one gzip stream, flat or as a difference
// pyramid. Knows nothing of meshes or textures; see docs for the stream layout.
#pragma once

#include <cstdint>
#include <vector>

#include "geometry/ZeroedArray.h"

enum CodecNumber : int { CODEC_FLAT = 1, CODEC_PYRAMID = 2 };

typedef struct gzFile_s* gzFile;

// What a stream begins with.
struct StreamHead {
    std::int32_t codec = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t channels = 0;
    std::int32_t bits = 0;  // per value
};

class Codec {
public:
    // Largest number of values (width x height x channels) that Load accepts, on purpose: 2^27, a
    // 4096 x 4096 mesh of eight channels. A header may claim anything. Address space is taken only
    // after this check, and memory only as the data arrives; a pyramid spreads one value over all
    // the grid that it stands for, even when nothing follows it.
    static constexpr std::int64_t kMaxValues = std::int64_t{1} << 27;

    bool ok = true;  // cleared when a read runs past the end of the data
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t channels = 0;
    std::int32_t bytesPerValue = 0;
    // One array per channel, index y * width + x.
    std::vector<ZeroedArray<std::int32_t>> data;

    // Sets the sizes and resizes every array; values that exist keep their place, new ones are 0.
    void Init(std::int32_t columns, std::int32_t rows, std::int32_t channelCount,
              std::int32_t bitsPerValue);
    // Reads the stream at the descriptor's position through a duplicate; the caller's descriptor
    // stays open. False, with one line on standard error, for a bad header. Short data loads as
    // zeros after one line and still gives true; zeros behind the end of the data take no memory.
    bool Load(int fd);
    // The head alone of a stream that Load takes, at the descriptor's position. Codec and sizes are
    // 0 when it cannot be read.
    static StreamHead HeadOf(int fd);
    // Writes the contents through a duplicate of the descriptor. CODEC_PYRAMID turns the arrays
    // into coefficients. False, with one line, for an unknown codec, a stream that cannot open,
    // or no memory.
    bool Save(int fd, int codec);
    // One big-endian value of 1 to 4 bytes, sign-extended; 0 after the end of the data.
    std::int32_t ReadInt(gzFile stream, int bytes);

private:
    StreamHead ReadHead(gzFile stream);
    bool LoadStream(gzFile stream);
    void LoadBody(gzFile stream, int codec, std::int32_t x0, std::int32_t y0);
    bool SaveStream(gzFile stream, int codec);
    void SaveBody(gzFile stream, int codec);
};
