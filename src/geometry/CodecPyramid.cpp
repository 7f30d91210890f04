// Levels of the difference pyramid: splitting and merging of blocks, and their order in the stream.
// Must not know how values become bytes.
//
// One level of a w x h rectangle keeps a block's first value at the top left and the differences
// of the three others from it in the other quarters:
//
//      p00 p01          a = p00   | b = p01 - a
//      p10 p11    =>    ----------+------------
//                       c = p10-a | d = p11 - a
//
// The next coarser level is the quarter a. Differences wrap modulo 2^32.
#include "geometry/CodecPyramid.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "geometry/Codec.h"
#include "geometry/CodecStream.h"

namespace {

struct Level {
    std::size_t w;
    std::size_t h;
};

using Values = ZeroedArray<std::int32_t>;

// Rows top to bottom - 1, columns left to right - 1 of a channel.
template <class Transfer>
void ForRows(Values& values, std::size_t pitch, std::size_t top, std::size_t bottom,
             std::size_t left, std::size_t right, Transfer transfer) {
    if (left >= right) return;
    for (std::size_t y = top; y < bottom; ++y) {
        transfer(values.data() + y * pitch + left, right - left);
    }
}

// The quarters b, c and d of a channel's level, in the order of the stream.
template <class Transfer>
void ForDifferences(Values& values, std::size_t pitch, Level level, Transfer transfer) {
    ForRows(values, pitch, 0, level.h / 2, level.w / 2, level.w, transfer);
    ForRows(values, pitch, level.h / 2, level.h, 0, level.w, transfer);
}

std::int32_t Add(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

std::int32_t Subtract(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

// Copies the 2(w/2) x 2(h/2) grid back over the top left of the channel.
void CopyBack(const Values& scratch, Values& values, std::size_t pitch, Level level) {
    const std::size_t w = level.w / 2 * 2;
    const std::size_t h = level.h / 2 * 2;
    for (std::size_t y = 0; y < h; ++y) {
        std::copy_n(scratch.data() + y * w, w, values.data() + y * pitch);
    }
}

void Merge(Values& values, Values& scratch, std::size_t pitch, Level level) {
    const std::size_t w = level.w / 2;
    const std::size_t h = level.h / 2;
    for (std::size_t j = 0; j < h; ++j) {
        const std::int32_t* a = values.data() + j * pitch;
        const std::int32_t* b = a + w;
        const std::int32_t* c = values.data() + (j + h) * pitch;
        const std::int32_t* d = c + w;
        std::int32_t* upper = scratch.data() + 4 * j * w;
        std::int32_t* lower = upper + 2 * w;
        for (std::size_t i = 0; i < w; ++i) {
            upper[2 * i] = a[i];
            upper[2 * i + 1] = Add(a[i], b[i]);
            lower[2 * i] = Add(a[i], c[i]);
            lower[2 * i + 1] = Add(a[i], d[i]);
        }
    }
    CopyBack(scratch, values, pitch, level);
}

void Split(Values& values, Values& scratch, std::size_t pitch, Level level) {
    const std::size_t w = level.w / 2;
    const std::size_t h = level.h / 2;
    for (std::size_t j = 0; j < h; ++j) {
        const std::int32_t* upper = values.data() + 2 * j * pitch;
        const std::int32_t* lower = upper + pitch;
        std::int32_t* a = scratch.data() + 2 * j * w;
        std::int32_t* c = scratch.data() + 2 * (j + h) * w;
        for (std::size_t i = 0; i < w; ++i) {
            const std::int32_t first = upper[2 * i];
            a[i] = first;
            a[i + w] = Subtract(upper[2 * i + 1], first);
            c[i] = Subtract(lower[2 * i], first);
            c[i + w] = Subtract(lower[2 * i + 1], first);
        }
    }
    CopyBack(scratch, values, pitch, level);
}

// Whether the next coarser level holds zeros only.
bool IsEmpty(const Values& values, std::size_t pitch, Level level) {
    for (std::size_t y = 0; y < level.h / 2; ++y) {
        const std::int32_t* row = values.data() + y * pitch;
        if (std::any_of(row, row + level.w / 2, [](std::int32_t v) { return v != 0; }))
            return false;
    }
    return true;
}

// Halves the rectangle, finest first, for as long as keepHalving agrees with a level.
template <class Condition>
std::vector<Level> Levels(int x0, int y0, Condition keepHalving) {
    std::vector<Level> levels;
    Level level{static_cast<std::size_t>(x0), static_cast<std::size_t>(y0)};
    while (keepHalving(level)) {
        levels.push_back(level);
        level = {level.w / 2, level.h / 2};
    }
    levels.push_back(level);
    return levels;
}

}  // namespace

// The reader stops one level above the writer and reads the half block there; for powers of two
// that is the block that the writer's last level wrote.
void DecodePyramid(Codec& codec, CodecReader& reader, int x0, int y0) {
    const auto read = [&](std::int32_t* row, std::size_t count) { reader.Read(row, count); };
    const auto pitch = static_cast<std::size_t>(codec.width);
    const auto levels = Levels(x0, y0, [](Level l) { return l.w >= 3 && l.h >= 3; });
    for (Values& values : codec.data) {
        ForRows(values, pitch, 0, levels.back().h / 2, 0, levels.back().w / 2, read);
    }
    Values scratch(levels.front().w * levels.front().h);
    for (auto level = levels.rbegin(); level != levels.rend(); ++level) {
        for (Values& values : codec.data) {
            // Merged while the channel is in the cache; the stream does not depend on it. Behind
            // the end of the data zeros only make more zeros, which stay untouched memory.
            const bool anyData = reader.Ok();
            ForDifferences(values, pitch, *level, read);
            if (anyData || !IsEmpty(values, pitch, *level)) Merge(values, scratch, pitch, *level);
        }
    }
}

void EncodePyramid(Codec& codec, CodecWriter& writer, int x0, int y0) {
    const auto write = [&](std::int32_t* row, std::size_t count) { writer.Write(row, count); };
    const auto pitch = static_cast<std::size_t>(codec.width);
    auto levels = Levels(x0, y0, [](Level l) { return l.w >= 2 && l.h >= 2; });
    const Level coarsest = levels.back();
    levels.pop_back();
    Values scratch(static_cast<std::size_t>(x0) * static_cast<std::size_t>(y0));
    for (const Level level : levels) {
        for (Values& values : codec.data)
            Split(values, scratch, pitch, level);
    }
    for (Values& values : codec.data)
        ForRows(values, pitch, 0, coarsest.h, 0, coarsest.w, write);
    for (auto level = levels.rbegin(); level != levels.rend(); ++level) {
        for (Values& values : codec.data)
            ForDifferences(values, pitch, *level, write);
    }
}
