// Image storage, texture files and the PPM writer.
#include "geometry/Texture.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <utility>

#include "geometry/Codec.h"
#include "geometry/StreamFiles.h"
#include "support/Capture.h"
#include "support/TempFile.h"

namespace {

Texture Counting(int columns, int rows, int channels) {
    Texture image;
    EXPECT_TRUE(image.SetSize(columns, rows, channels));
    for (int i = 0; i < columns * rows * channels; ++i)
        image.pixels[i] = static_cast<std::uint8_t>(i * 37);
    return image;
}

bool SamePixels(const Texture& a, const Texture& b) {
    return a.width == b.width && a.height == b.height && a.channels == b.channels &&
           std::memcmp(a.pixels, b.pixels,
                       static_cast<std::size_t>(a.width * a.height * a.channels)) == 0;
}

TEST(Texture, OwnsItsPixelsThroughCopiesAndMoves) {
    Texture image = Counting(3, 2, 4);
    image.uploads[&image] = 5;
    image.filter = false;
    Texture copy(image);
    EXPECT_TRUE(SamePixels(copy, image) && !copy.filter && copy.uploads.empty());
    copy.pixels[0] = 99;
    EXPECT_NE(image.pixels[0], 99);
    copy = image;
    EXPECT_TRUE(SamePixels(copy, image));
    Texture taken(std::move(copy));
    EXPECT_TRUE(SamePixels(taken, image));
    EXPECT_EQ(copy.pixels, nullptr);  // NOLINT: an emptied image is a valid one

    Texture old = Counting(1, 1, 1);
    old.uploads[&old] = 1;
    old.TakeContents(image);
    EXPECT_TRUE(SamePixels(old, image) && old.uploads.empty());
    EXPECT_TRUE(old.filter) << "flags stay with the image";
    EXPECT_FALSE(old.SetSize(1 << 20, 1 << 20, 4) || old.SetSize(1, 1, 5) || old.SetSize(-1, 1, 1));
    EXPECT_TRUE(SamePixels(old, image));
}

TEST(Texture, SurvivesTheFile) {
    const TempDir dir;
    for (int channels = 1; channels <= 4; ++channels) {
        for (const int codec : {CODEC_FLAT, CODEC_PYRAMID}) {
            Texture image = Counting(13, 9, channels);
            image.filter = channels % 2 == 0;
            image.mipmap = !image.filter;
            ASSERT_TRUE(image.Save(dir.File("t"), codec));
            Texture loaded = Counting(2, 2, 1);
            loaded.uploads[&dir] = 3;
            ASSERT_TRUE(loaded.Load(dir.File("t")));
            EXPECT_TRUE(SamePixels(loaded, image) && loaded.uploads.empty());
            EXPECT_EQ(loaded.filter, image.filter);
            EXPECT_EQ(loaded.WantsMipmaps(), image.mipmap);
        }
    }
}

TEST(Texture, ReadsOldFilesWideValuesAndNone) {
    const TempDir dir;
    Texture image;
    image.mipmap = false;
    ASSERT_TRUE(image.Load(dir.Write(
        "a", "sTXT" + Gzip(StreamHeader(1, 2, 1, 1, 16) + std::string("\xAB\x01\x7F\xFF", 4)))));
    EXPECT_TRUE(image.pixels[0] == 0xAB && image.pixels[1] == 0x7F);
    EXPECT_TRUE(image.filter && !image.mipmap);
    const std::string bits = Gzip(StreamHeader(1, 2, 2, 3, 7));
    EXPECT_EQ(CaptureStderr([&] {
                  EXPECT_TRUE(image.Load(dir.Write("b", "sTX2" + Word(1) + OneByte(2) + bits)));
              }),
              "Codec::ReadInt: premature EOF\n");
    EXPECT_TRUE(!image.filter && image.WantsMipmaps() && image.pixels[11] == 0);
}

TEST(Texture, KeepsItsContentsWhenAFileIsRefused) {
    const TempDir dir;
    const std::string five = Gzip(StreamHeader(1, 1, 1, 5, 8) + "12345");
    Texture image = Counting(3, 3, 2);
    const std::uint8_t* pixels = image.pixels;
    for (const auto& [path, message] :
         {std::pair{dir.File("none"), "could not open file " + dir.File("none")},
          {dir.Write("a", "sTX3abc"), "file not a Texture - sTX3?"},
          {dir.Write("b", "sT"), "file not a Texture - sT?"},
          {dir.Write("c", "sTX2" + Word(2)), "file version 2, I only know version 1 and lower"},
          {dir.Write("d", "sTXT" + five), "nonsensical channel count 5"}}) {
        EXPECT_EQ(CaptureStderr([&, &p = path] { EXPECT_FALSE(image.Load(p)); }),
                  "Texture::Load: " + message + "\n");
        EXPECT_EQ(image.pixels, pixels);
    }
    EXPECT_EQ(CaptureStderr([&] { EXPECT_FALSE(image.Save(dir.File("new"), 0)); }),
              "Codec::Save: unknown codec 0\n");
    EXPECT_NE(access(dir.File("new").c_str(), F_OK), 0);
    EXPECT_EQ(CaptureStderr([&] { EXPECT_FALSE(image.Save(dir.Path(), 1)); }),
              "Texture::Save: could not open file " + dir.Path() + "\n");
}

TEST(Texture, WritesPPMLastRowFirstAndFollowsNoLink) {
    const TempDir dir;
    const Texture image = Counting(2, 2, 4);
    const auto pixel = [&](int i) {
        return std::string(reinterpret_cast<char*>(image.pixels) + 4 * i, 3);
    };
    const std::string wanted = "P6\n2 2\n255\n" + pixel(2) + pixel(3) + pixel(0) + pixel(1);
    dir.Write("p", std::string(1000, 'x'));
    ASSERT_TRUE(image.SavePPM(dir.File("p")));
    EXPECT_EQ(dir.Read("p"), wanted);
    EXPECT_EQ(CaptureStdout([&] { EXPECT_TRUE(image.SavePPM("-")); }), wanted);
    const Texture grey = Counting(1, 2, 2);
    ASSERT_TRUE(grey.SavePPM(dir.File("p")));
    EXPECT_EQ(dir.Read("p"), "P5\n1 2\n255\n" + OneByte(grey.pixels[2]) + OneByte(grey.pixels[0]));
    ASSERT_TRUE(Texture().SavePPM(dir.File("p")));
    EXPECT_EQ(dir.Read("p"), "P6\n0 0\n255\n");
    ASSERT_EQ(symlink("p", dir.File("link").c_str()), 0);
    EXPECT_EQ(CaptureStderr([&] { EXPECT_FALSE(image.SavePPM(dir.File("link"))); }), "");
    EXPECT_EQ(dir.Read("p"), "P6\n0 0\n255\n");
}

}  // namespace
