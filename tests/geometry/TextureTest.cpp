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
    image.uploads.insert(&image);
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
    old.uploads.insert(&old);
    old.TakeContents(taken);
    EXPECT_TRUE(SamePixels(old, image) && old.uploads.empty());
    EXPECT_TRUE(old.filter) << "flags stay with the image";
    EXPECT_FALSE(old.SetSize(1 << 20, 1 << 20, 4) || old.SetSize(1, 1, 5) || old.SetSize(-1, 1, 1));
    EXPECT_TRUE(SamePixels(old, image));
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
    EXPECT_EQ(dir.Read("p"),
              std::string("P5\n1 2\n255\n") + char(grey.pixels[2]) + char(grey.pixels[0]));
    ASSERT_TRUE(Texture().SavePPM(dir.File("p")));
    EXPECT_EQ(dir.Read("p"), "P6\n0 0\n255\n");
    ASSERT_EQ(symlink("p", dir.File("link").c_str()), 0);
    EXPECT_EQ(CaptureStderr([&] { EXPECT_FALSE(image.SavePPM(dir.File("link"))); }), "");
    EXPECT_EQ(dir.Read("p"), "P6\n0 0\n255\n");
}

}  // namespace
