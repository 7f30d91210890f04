// Pictures that come with models: what stands in them, and that no damage ends the process.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <span>
#include <string>
#include <vector>

#include <jpeglib.h>

#include "shared/PictureFile.h"
#include "shared/PngFile.h"
#include "support/Random.h"
#include "support/TempFile.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr int kWidth = 43;
constexpr int kHeight = 30;

// Smooth, so that packing hardly changes it, and different in every corner. row: from the top.
unsigned char Wanted(int row, int column, int channel) {
    return static_cast<unsigned char>(4 * row + 2 * column + 20 * channel);
}

// A fourth channel is black ink, none of it: files store how much paper is left.
Bytes PackedJpeg(int channels, bool progressive) {
    jpeg_compress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char* packed = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&jpeg, &packed, &size);
    jpeg.image_width = kWidth;
    jpeg.image_height = kHeight;
    jpeg.input_components = channels;
    jpeg.in_color_space = channels == 1 ? JCS_GRAYSCALE : channels == 3 ? JCS_RGB : JCS_CMYK;
    jpeg_set_defaults(&jpeg);
    if (progressive) jpeg_simple_progression(&jpeg);
    jpeg_set_quality(&jpeg, 100, TRUE);
    jpeg_start_compress(&jpeg, TRUE);
    for (int row = 0; row < kHeight; ++row) {
        Bytes line;
        for (int i = 0; i < kWidth * channels; ++i)
            line.push_back(i % channels == 3 ? 255 : Wanted(row, i / channels, i % channels));
        JSAMPROW start = line.data();
        jpeg_write_scanlines(&jpeg, &start, 1);
    }
    jpeg_finish_compress(&jpeg);
    Bytes result(packed, packed + size);
    jpeg_destroy_compress(&jpeg);
    std::free(packed);
    return result;
}

Bytes PackedPng(const TempDir& folder, int channels) {
    Texture texture;
    EXPECT_TRUE(texture.SetSize(kWidth, kHeight, channels));
    for (int i = 0; i < kWidth * kHeight * channels; ++i)
        texture.pixels[i] =
            Wanted(kHeight - 1 - i / channels / kWidth, i / channels % kWidth, i % channels);
    EXPECT_TRUE(WritePng(folder.File("p"), texture));
    const std::string bytes = folder.Read("p");
    return {bytes.begin(), bytes.end()};
}

TEST(Pictures, StandUprightInTheirChannelsWhateverTheFormat) {
    const TempDir folder;
    const struct {
        Bytes bytes;
        int channels;
    } cases[] = {{PackedJpeg(1, false), 1}, {PackedJpeg(3, false), 3}, {PackedJpeg(3, true), 3},
                 {PackedJpeg(4, false), 3}, {PackedPng(folder, 1), 1}, {PackedPng(folder, 2), 2},
                 {PackedPng(folder, 3), 3}, {PackedPng(folder, 4), 4}};
    for (const auto& [bytes, channels] : cases) {
        const auto path = folder.Write("x", std::string(bytes.begin(), bytes.end()));
        const auto picture = ReadPicture(path);
        ASSERT_TRUE(picture) << picture.Why().line;
        const Texture& texture = **picture;
        ASSERT_TRUE(texture.width == kWidth && texture.height == kHeight);
        ASSERT_EQ(texture.channels, channels);
        for (int i = 0; i < kWidth * kHeight * channels; ++i)
            ASSERT_NEAR(
                texture.pixels[i],
                Wanted(kHeight - 1 - i / channels / kWidth, i / channels % kWidth, i % channels), 6)
                << i;
    }
}

TEST(Pictures, OfBrokenFilesAreRefusedOrBoundedAndNeverEndTheProcess) {
    const TempDir folder;
    Random random(7);
    const Bytes whole[] = {PackedJpeg(1, false), PackedJpeg(3, true), PackedJpeg(4, true),
                           PackedPng(folder, 4)};
    for (const Bytes& file : whole) {
        for (std::size_t length = 0; length < file.size() - 16; length += 1 + length / 60) {
            const auto cut = ReadPicture(std::span(file).first(length));
            EXPECT_TRUE(!cut && !cut.Why().line.empty()) << length;
        }
        for (int round = 0; round < 400; ++round) {
            Bytes bad = file;
            for (int i = random.Index(8); i >= 0; --i)
                bad[static_cast<std::size_t>(random.Index(round % 2 ? 100 : bad.size()))] =
                    static_cast<unsigned char>(random.Index(256));
            const auto picture = ReadPicture(bad);
            EXPECT_TRUE(!picture || (*picture)->width <= kMaxPictureSide);
        }
    }
    Bytes tall = whole[0];
    const unsigned char mark[] = {0xFF, 0xC0};
    const auto frame = std::search(tall.begin(), tall.end(), std::begin(mark), std::end(mark));
    frame[5] = 0x40;  // the high byte of the height
    EXPECT_EQ(ReadPicture(tall).Why().line, "the picture is too large");
    for (const char* name : {"missing", ".", "-", "/dev/zero"})
        EXPECT_EQ(ReadPicture(name).Why().line, std::string("could not open file ") + name);
    EXPECT_EQ(ReadPicture(folder.Write("t", "text")).Why().line,
              folder.File("t") + ": neither a PNG nor a JPEG file");
}

}  // namespace
