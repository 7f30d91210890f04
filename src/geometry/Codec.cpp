// The codec stream's header, the flat body and the border around the pyramid.
// Must not know what the channels mean.
#include "geometry/Codec.h"

#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <new>

#include "geometry/BigEndian.h"
#include "geometry/CodecPyramid.h"
#include "geometry/CodecStream.h"

namespace {

// An array a channel: bounds the arrays' own cost where a stream claims many channels of one value.
constexpr std::int32_t kMaxChannels = 1 << 16;
// The pyramid's reader and writer meet only in rectangles of at least 4 x 4.
constexpr std::int32_t kSmallestPyramid = 4;
// Values that are brought in or out of channel order at a time: half of the first-level cache.
constexpr std::size_t kBlockValues = 4096;

bool IsKnown(std::int32_t codec) {
    return codec == CODEC_FLAT || codec == CODEC_PYRAMID;
}

bool SizesAreSane(const StreamHead& head) {
    if (head.width < 1 || head.height < 1 || head.channels < 1) return false;
    if (head.bits < 1 || head.bits > 32 || head.channels > kMaxChannels) return false;
    const std::int64_t cells = std::int64_t{head.width} * head.height;
    return cells <= Codec::kMaxValues && cells * head.channels <= Codec::kMaxValues;
}

// A gzip stream on a duplicate of the descriptor; null, with the system's error, when none opens.
gzFile OpenStream(int fd, const char* mode, const char* caller) {
    const int duplicate = dup(fd);
    const gzFile stream = duplicate < 0 ? nullptr : gzdopen(duplicate, mode);
    if (stream != nullptr) return stream;
    std::perror(caller);
    if (duplicate >= 0) close(duplicate);
    return nullptr;
}

std::size_t Cells(const Codec& codec) {
    return static_cast<std::size_t>(codec.width) * static_cast<std::size_t>(codec.height);
}

// Blocks of whole grid positions, all channels of a position beside each other.
template <class Visit>
void ForFlatBlocks(const Codec& codec, Visit visit) {
    const std::size_t cells = Cells(codec);
    const std::size_t step =
        std::max<std::size_t>(kBlockValues / std::max<std::size_t>(codec.data.size(), 1), 1);
    for (std::size_t first = 0; first < cells; first += step) {
        visit(first, std::min(step, cells - first));
    }
}

void ReadFlat(Codec& codec, CodecReader& reader) {
    const std::size_t channels = codec.data.size();
    std::vector<std::int32_t> block(std::max(kBlockValues, channels));
    ForFlatBlocks(codec, [&](std::size_t first, std::size_t count) {
        const std::size_t got = reader.Read(block.data(), count * channels);
        for (std::size_t c = 0; c < channels; ++c) {
            std::int32_t* target = codec.data[c].data() + first;
            for (std::size_t i = c; i < got; i += channels)
                *target++ = block[i];
        }
    });
}

void WriteFlat(const Codec& codec, CodecWriter& writer) {
    const std::size_t channels = codec.data.size();
    std::vector<std::int32_t> block(std::max(kBlockValues, channels));
    ForFlatBlocks(codec, [&](std::size_t first, std::size_t count) {
        for (std::size_t c = 0; c < channels; ++c) {
            const std::int32_t* source = codec.data[c].data() + first;
            for (std::size_t i = 0; i < count; ++i)
                block[i * channels + c] = source[i];
        }
        writer.Write(block.data(), count * channels);
    });
}

// The strips right of and below the x0 x y0 rectangle, row by row.
template <class Transfer>
void ForBorder(Codec& codec, std::int32_t x0, std::int32_t y0, Transfer transfer) {
    const auto width = static_cast<std::size_t>(codec.width);
    const auto left = static_cast<std::size_t>(x0);
    const std::size_t below = static_cast<std::size_t>(y0) * width;
    for (ZeroedArray<std::int32_t>& values : codec.data) {
        if (left < width) {
            for (std::size_t row = 0; row < below; row += width) {
                transfer(values.data() + row + left, width - left);
            }
        }
        transfer(values.data() + below, values.size() - below);
    }
}

void WriteInt(gzFile stream, std::int32_t value) {
    std::uint8_t bytes[4];
    WriteBigEndian32(bytes, value);
    gzwrite(stream, bytes, sizeof bytes);
}

std::int32_t FloorPowerOfTwo(std::int32_t size) {
    return static_cast<std::int32_t>(std::bit_floor(static_cast<std::uint32_t>(size)));
}

}  // namespace

void Codec::Init(std::int32_t columns, std::int32_t rows, std::int32_t channelCount,
                 std::int32_t bitsPerValue) {
    width = columns;
    height = rows;
    channels = channelCount;
    bytesPerValue = bitsPerValue / 8;
    data.resize(static_cast<std::size_t>(channels));
    for (ZeroedArray<std::int32_t>& values : data) {
        ZeroedArray<std::int32_t> resized(Cells(*this));
        std::copy_n(values.begin(), std::min(values.size(), resized.size()), resized.begin());
        values.swap(resized);
    }
}

std::int32_t Codec::ReadInt(gzFile stream, int bytes) {
    if (!ok) return 0;
    std::uint8_t read[4] = {};
    const int got = gzread(stream, read, static_cast<unsigned>(bytes));
    std::int32_t value = 0;
    if (got > 0) {
        UnpackValues(static_cast<std::size_t>(bytes), read, &value, 1);
    } else {
        ok = false;
        ReportEndOfData(got < 0);
    }
    return value;
}

bool Codec::Load(int fd) {
    ok = true;
    const gzFile stream = OpenStream(fd, "r", "Codec::Load");
    if (stream == nullptr) return false;
    const bool loaded = LoadStream(stream);
    gzclose(stream);
    return loaded;
}

StreamHead Codec::HeadOf(int fd) {
    const gzFile stream = OpenStream(fd, "r", "Codec::HeadOf");
    if (stream == nullptr) return {};
    const StreamHead head = Codec().ReadHead(stream);
    gzclose(stream);
    return head;
}

// Behind an unknown codec there may be anything: nothing more is read.
StreamHead Codec::ReadHead(gzFile stream) {
    StreamHead head;
    head.codec = ReadInt(stream, 4);
    if (!IsKnown(head.codec)) return head;
    for (std::int32_t* field : {&head.width, &head.height, &head.channels})
        *field = ReadInt(stream, 4);
    head.bits = ReadInt(stream, 1);
    return head;
}

bool Codec::LoadStream(gzFile stream) {
    const StreamHead head = ReadHead(stream);
    if (!IsKnown(head.codec)) {
        std::fprintf(stderr, "Codec::Load: unknown codec %d\n", head.codec);
        return false;
    }
    const auto refuse = [&] {
        std::fprintf(stderr, "Codec::Load: invalid image dimensions (%dx%dx%dx%dbpp)\n", head.width,
                     head.height, head.channels, head.bits);
        return false;
    };
    if (!SizesAreSane(head)) return refuse();
    std::int32_t x0 = 0;
    std::int32_t y0 = 0;
    if (head.codec == CODEC_PYRAMID) {
        x0 = ReadInt(stream, 4);
        y0 = ReadInt(stream, 4);
        if (x0 < 0 || x0 > head.width || y0 < 0 || y0 > head.height) return refuse();
    }
    try {
        data.clear();
        Init(head.width, head.height, head.channels, head.bits);
        LoadBody(stream, head.codec, x0, y0);
        return true;
    } catch (const std::bad_alloc&) {
        return refuse();
    }
}

void Codec::LoadBody(gzFile stream, int codec, std::int32_t x0, std::int32_t y0) {
    CodecReader reader(stream, bytesPerValue, ok);
    if (codec == CODEC_FLAT) {
        ReadFlat(*this, reader);
    } else {
        ForBorder(*this, x0, y0,
                  [&](std::int32_t* row, std::size_t count) { reader.Read(row, count); });
        DecodePyramid(*this, reader, x0, y0);
    }
}

bool Codec::Save(int fd, int codec) {
    ok = true;
    const gzFile stream = OpenStream(fd, "wb", "Codec::Save");
    if (stream == nullptr) return false;
    gzsetparams(stream, Z_BEST_COMPRESSION, Z_DEFAULT_STRATEGY);
    const bool saved = SaveStream(stream, codec);
    gzclose(stream);
    return saved;
}

bool Codec::SaveStream(gzFile stream, int codec) {
    if (!IsKnown(codec)) {
        std::fprintf(stderr, "Codec::Save: unknown codec %d\n", codec);
        return false;
    }
    if (codec == CODEC_PYRAMID && (width < kSmallestPyramid || height < kSmallestPyramid)) {
        std::fprintf(stderr, "Codec::Save: reverting to CODEC_FLAT for %dx%d\n", width, height);
        codec = CODEC_FLAT;
    }
    for (const std::int32_t field : {codec, width, height, channels})
        WriteInt(stream, field);
    gzputc(stream, bytesPerValue * 8);
    try {
        SaveBody(stream, codec);
        return true;
    } catch (const std::bad_alloc&) {
        std::fputs("Codec::Save: out of memory\n", stderr);
        return false;
    }
}

void Codec::SaveBody(gzFile stream, int codec) {
    CodecWriter writer(stream, bytesPerValue);
    if (codec == CODEC_FLAT) {
        WriteFlat(*this, writer);
    } else {
        const std::int32_t x0 = FloorPowerOfTwo(width);
        const std::int32_t y0 = FloorPowerOfTwo(height);
        WriteInt(stream, x0);
        WriteInt(stream, y0);
        ForBorder(*this, x0, y0,
                  [&](std::int32_t* row, std::size_t count) { writer.Write(row, count); });
        EncodePyramid(*this, writer, x0, y0);
    }
    writer.Flush();
}
