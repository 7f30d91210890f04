// pallix-texture: PNG files in and out, patterns, errors.
#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>

#include "geometry/Texture.h"
#include "tools/RunTool.h"

namespace {

Texture Pattern(const TempDir& folder, const std::string& words) {
    return Made<Texture>(folder, PALLIX_TEXTURE, words);
}

int Value(const Texture& texture, int column, int row, int channel) {
    return texture.pixels[(row * texture.width + column) * texture.channels + channel];
}

bool SamePicture(const Texture& a, const Texture& b) {
    return a.width == b.width && a.height == b.height && a.channels == b.channels &&
           std::equal(a.pixels, a.pixels + a.width * a.height * a.channels, b.pixels);
}

TEST(TextureTool, PngFilesStandUprightAndComeBackUnchanged) {
    const TempDir folder;
    const unsigned char topWhite[] = {255, 250, 7, 0};
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    png.width = 2;
    png.height = 2;
    png.format = PNG_FORMAT_GRAY;
    ASSERT_TRUE(
        png_image_write_to_file(&png, folder.File("p.png").c_str(), 0, topWhite, 0, nullptr));
    const Texture white = Pattern(folder, "import p.png m --codec flat --no-filter");
    EXPECT_EQ(white.channels, 1);
    EXPECT_TRUE(white.mipmap && !white.filter);
    EXPECT_EQ(Value(white, 0, 0, 0), 7);  // the texture's first row is the lowest
    EXPECT_EQ(Value(white, 1, 1, 0), 250);

    int channels = 0;
    for (const char* words :
         {"noise m --width 33 --height 20", "noise m --low 80808000 --high ffffff --fade",
          "checker m --first ff0000 --second 00ff00 --grain 0.5 --width 30",
          "gradient m --stop 0:ff000000 --stop 1:0000ff"}) {
        const Texture texture = Pattern(folder, words);
        EXPECT_EQ(texture.channels, ++channels) << words;
        ASSERT_EQ(RunTool(folder, PALLIX_TEXTURE, "export m m.png").status, 0);
        EXPECT_TRUE(SamePicture(texture, Pattern(folder, "import m.png m"))) << words;
    }
}

TEST(TextureTool, PatternsPutTheirColoursInPlace) {
    const TempDir folder;
    Texture texture =
        Pattern(folder, "checker m --first ff0000 --second 0000ff --cells 2 --width 8 --height 8");
    EXPECT_TRUE(Value(texture, 0, 0, 0) == 255 && Value(texture, 7, 7, 0) == 255);
    EXPECT_EQ(Value(texture, 7, 0, 2), 255);

    texture = Pattern(folder,
                      "gradient m --width 4 --height 101 "
                      "--stop 1:0000ff --stop 0.5:00ff00 --stop 0:ff0000");
    for (const int channel : {0, 1, 2})
        EXPECT_GT(Value(texture, 0, 50 * channel, channel), 250);

    texture = Pattern(folder, "glow m --inner ffffff --outer ffffff00 --width 65 --height 65");
    EXPECT_EQ(Value(texture, 32, 32, 1), 255);
    EXPECT_TRUE(Value(texture, 0, 0, 1) == 0 && Value(texture, 0, 32, 1) == 0);

    // Noise tiles: across the border it changes no more than inside.
    texture = Pattern(folder, "noise m --octaves 3 --width 128 --height 128 --contrast 2");
    for (int i = 0; i < 128; ++i) {
        EXPECT_NEAR(Value(texture, 0, i, 0), Value(texture, 127, i, 0), 40) << i;
        EXPECT_NEAR(Value(texture, i, 0, 0), Value(texture, i, 127, 0), 40) << i;
    }
}

TEST(TextureTool, RefusesWithOneLineAndLeavesNoFile) {
    ExpectRefusals(
        PALLIX_TEXTURE,
        {"", "paint m", "glow", "glow m --inner red", "glow m --inner 12345",
         "glow m --from 1 --to 0.5", "gradient m --stop 2:000000", "gradient m --stop 0.5",
         "noise m --octaves 0", "noise m --width 0", "noise m --width 100000",
         "noise m --contrast nan", "import text m", "import missing.png m", "export text m",
         "export missing m", "noise missing/m"});
}

}  // namespace
