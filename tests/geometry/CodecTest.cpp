// The codec against its stream layout, a literal recursive twin, and damaged streams.
#include "geometry/Codec.h"

#include <gmock/gmock.h>

#include <bit>
#include <random>

#include "geometry/StreamFiles.h"
#include "support/Capture.h"
#include "support/FilesFixture.h"

namespace {

class CodecTest : public FilesFixture {
protected:
    std::string Save(Codec codec, int number) const {
        const int fd = open(m_dir.Write("stream", "").c_str(), O_WRONLY);
        EXPECT_TRUE(codec.Save(fd, number));
        EXPECT_EQ(close(fd), 0) << "the caller's descriptor stays open";
        return m_dir.Read("stream");
    }
    bool Load(const std::string& compressed, Codec& codec) const {
        const int fd = open(m_dir.Write("stream", compressed).c_str(), O_RDONLY);
        const bool loaded = codec.Load(fd);
        close(fd);
        return loaded;
    }
    // What a load that ends with that result says; the stream is not compressed yet.
    std::string SaidWhen(bool loaded, const std::string& stream, Codec& codec) const {
        return CaptureStderr([&] { EXPECT_EQ(Load(Gzip(stream), codec), loaded); });
    }
};

Codec RandomGrid(int width, int height, int channels, int bits, std::mt19937::result_type seed) {
    Codec codec;
    codec.Init(width, height, channels, bits);
    std::mt19937 random(seed);
    for (auto& values : codec.data)
        for (auto& value : values)
            value = static_cast<std::int32_t>(random());
    return codec;
}

// The body by its recursive definition, one value at a time.
struct LiteralBody {
    Codec codec;
    std::string bytes;

    LiteralBody(const Codec& grid, int number, int x0, int y0) : codec(grid) {
        for (int i = 0; number == CODEC_FLAT && i < codec.width * codec.height; ++i)
            Around(i, 1, i + 1, 1);
        if (number == CODEC_FLAT) return;
        bytes = Words({x0, y0});
        Around(x0, y0, codec.width, codec.height);
        Encode(x0, y0);
    }
    // What a rectangle has beyond a smaller one, channel by channel.
    void Around(int x0, int y0, int width, int height) {
        for (const auto& values : codec.data)
            for (int y = 0; y < height; ++y)
                for (int x = y < y0 ? x0 : 0; x < width; ++x) {
                    const std::int32_t value = values[Index(x, y)];
                    bytes += Words({value}).substr(std::size_t(4 - codec.bytesPerValue));
                }
    }
    std::size_t Index(int x, int y) const { return std::size_t(y * codec.width + x); }
    void Encode(int w, int h) {
        if (w < 2 || h < 2) return Around(0, 0, w, h);
        for (auto& values : codec.data) {
            const auto old = values;
            for (int y = 0; y < h / 2 * 2; ++y)
                for (int x = 0; x < w / 2 * 2; ++x) {
                    const bool isFirst = x % 2 == 0 && y % 2 == 0;
                    const std::int64_t base = isFirst ? 0 : old[Index(x / 2 * 2, y / 2 * 2)];
                    values[Index(x / 2 + x % 2 * (w / 2), y / 2 + y % 2 * (h / 2))] =
                        static_cast<std::int32_t>(old[Index(x, y)] - base);
                }
        }
        Encode(w / 2, h / 2);
        Around(w / 2, h / 2, w, h);
    }
};

// Other writers may choose corners that are no powers of two. The low bits are those that the file
// holds: sums of the pyramid may run over into the others.
TEST_F(CodecTest, WritesTheLayoutAndReadsItBackFromAnyCornerOrCutShort) {
    std::mt19937 random(7);
    const auto upTo = [&](int most) { return 1 + static_cast<int>(random() % unsigned(most)); };
    const auto floor = [](int size) { return static_cast<int>(std::bit_floor(unsigned(size))); };
    for (int i = 0; i < 80 && !HasFailure(); ++i) {
        const int width = i == 0 ? 257 : i == 1 ? 4 : upTo(40);
        const int height = i == 0 ? 256 : i == 1 ? 4 : upTo(40);
        const int number = i < 2 ? CODEC_PYRAMID : width > 3 && height > 3 ? upTo(2) : CODEC_FLAT;
        const int x0 = upTo(width + 1) - 1;
        const int y0 = upTo(height + 1) - 1;
        Codec grid = RandomGrid(width, height, upTo(3), 8 * upTo(4), random());
        for (auto& value : grid.data[0])  // a channel that may be all but empty
            value = i % 5 == 0 && random() % 100 != 0 ? 0 : value;
        SCOPED_TRACE(testing::Message() << width << "x" << height << " codec " << number << " at "
                                        << x0 << ", " << y0);
        std::string header =
            StreamHeader(number, width, height, grid.channels, 8 * grid.bytesPerValue);
        const std::string stream = Save(grid, number);
        const std::string whole = Gunzip(stream);
        EXPECT_TRUE(whole == header + LiteralBody(grid, number, floor(width), floor(height)).bytes);
        Codec loaded = RandomGrid(300, 2, 5, 8, 9);
        EXPECT_TRUE(Load(stream, loaded) && loaded.ok);
        // Zeros follow what is cut short; every second time within the coarse levels.
        const std::size_t start = number == CODEC_FLAT ? 17 : 25;
        const std::size_t kept = start + random() % (whole.size() - start) / (i % 4 < 2 ? 1 : 8);
        Codec cut = grid;  // must not shine through
        EXPECT_EQ(SaidWhen(true, whole.substr(0, kept), cut), kPrematureEnd);
        Codec padded;
        const std::string zeros(whole.size() - kept, '\0');
        EXPECT_TRUE(Load(Gzip(whole.substr(0, kept) + zeros), padded));
        EXPECT_TRUE(cut.data == padded.data && !cut.ok && padded.ok);
        Codec odd;
        header.replace(0, 4, Words({CODEC_PYRAMID}));
        EXPECT_TRUE(Load(Gzip(header + LiteralBody(grid, CODEC_PYRAMID, x0, y0).bytes), odd));
        const std::string flat = LiteralBody(grid, CODEC_FLAT, 0, 0).bytes;
        EXPECT_TRUE(LiteralBody(loaded, CODEC_FLAT, 0, 0).bytes == flat);
        EXPECT_TRUE(LiteralBody(odd, CODEC_FLAT, 0, 0).bytes == flat);
    }
}

TEST_F(CodecTest, RefusesWhatNoStreamCanBe) {
    constexpr std::int64_t kHuge = 2147483647;
    const std::string square = StreamHeader(2, 4, 4, 1, 8);
    Codec codec;
    for (const auto& [header, sizes] : {std::pair{StreamHeader(1, kHuge, kHuge, kHuge, 32),
                                                  "2147483647x2147483647x2147483647x32"},
                                        {StreamHeader(1, 1, 1, 1 << 27, 32), "1x1x134217728x32"},
                                        {StreamHeader(1, 4097, 4096, 8, 32), "4097x4096x8x32"},
                                        {StreamHeader(1, 4, 4, 0, 32), "4x4x0x32"},
                                        {StreamHeader(1, -4, 4, 1, 32), "-4x4x1x32"},
                                        {StreamHeader(2, 4, 4, 1, 33), "4x4x1x33"},
                                        {StreamHeader(2, 4, 4, 1, 200), "4x4x1x-56"},
                                        {square + Words({5, 4}), "4x4x1x8"},
                                        {square + Words({4, -1}), "4x4x1x8"},
                                        {square + Words({4, kHuge}), "4x4x1x8"}}) {
        EXPECT_EQ(SaidWhen(false, header, codec),
                  std::string("Codec::Load: invalid image dimensions (") + sizes + "bpp)\n");
        EXPECT_TRUE(codec.data.empty());
    }
    Codec narrow = RandomGrid(3, 100, 1, 32, 1);
    EXPECT_EQ(CaptureStderr([&] { Save(narrow, CODEC_PYRAMID); }),
              "Codec::Save: reverting to CODEC_FLAT for 3x100\n");
    EXPECT_EQ(Gunzip(m_dir.Read("stream")).substr(0, 4), Words({CODEC_FLAT}));
    EXPECT_EQ(CaptureStderr([&] { EXPECT_FALSE(codec.Save(-1, 1) || codec.Load(-1)); }),
              "Codec::Save: Bad file descriptor\nCodec::Load: Bad file descriptor\n");
    EXPECT_EQ(SaidWhen(false, Words({3}), codec), "Codec::Load: unknown codec 3\n");
    EXPECT_EQ(SaidWhen(false, "", codec), kPrematureEnd + "Codec::Load: unknown codec 0\n");
    // Five bits are no byte: every value reads as the end.
    EXPECT_EQ(SaidWhen(true, StreamHeader(2, 64, 64, 1, 5) + Words({64, 64, 7}), codec),
              kPrematureEnd);
    EXPECT_EQ(codec.data[0], ZeroedArray<std::int32_t>(64 * 64));
}

TEST_F(CodecTest, KeepsGoodDataBeforeDamage) {
    const Codec grid = RandomGrid(100, 100, 2, 32, 8);
    const std::string whole = Save(grid, CODEC_FLAT);
    std::string corrupt = whole;
    for (std::size_t i = whole.size() / 2; i < whole.size() / 2 + 40; ++i)
        corrupt[i] ^= 0x5A;
    Codec codec;
    const std::string message = CaptureStderr([&] { EXPECT_TRUE(Load(corrupt, codec)); });
    EXPECT_THAT(message, testing::StartsWith("Codec::ReadInt: "));
    EXPECT_EQ(std::count(message.begin(), message.end(), '\n'), 1);
    // Random values do not compress: half of the file is half of the values, less one piece.
    EXPECT_TRUE(
        std::equal(grid.data[1].begin(), grid.data[1].begin() + 3500, codec.data[1].begin()));
    EXPECT_EQ(codec.data[1].back(), 0);
}

}  // namespace
