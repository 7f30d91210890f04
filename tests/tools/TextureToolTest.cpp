// pallix-texture: PNG files in and out, patterns, errors.
#include <gtest/gtest.h>
#include <png.h>

#include <filesystem>
#include <vector>

#include "geometry/Texture.h"
#include "tools/RunTool.h"

namespace {

ToolRun Tool(const TempDir& folder, const std::string& words) {
    return RunTool(folder, PALLIX_TEXTURE, words);
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
    ASSERT_EQ(Tool(folder, "import p.png t --codec flat --no-filter").status, 0);
    Texture texture;
    ASSERT_TRUE(texture.Load(folder.File("t")));
    EXPECT_EQ(texture.channels, 1);
    EXPECT_FALSE(texture.filter);
    EXPECT_TRUE(texture.mipmap);
    EXPECT_EQ(Value(texture, 0, 0, 0), 7);  // the texture's first row is the lowest
    EXPECT_EQ(Value(texture, 1, 1, 0), 250);

    const struct {
        const char* words;
        int channels;
    } kinds[] = {{"noise t --width 33 --height 20", 1},
                 {"noise t --low 80808000 --high ffffff --fade", 2},
                 {"checker t --first ff0000 --second 00ff00 --grain 0.5 --width 30", 3},
                 {"gradient t --stop 0:ff000000 --stop 1:0000ff", 4}};
    for (const auto& kind : kinds) {
        SCOPED_TRACE(kind.words);
        ASSERT_EQ(Tool(folder, kind.words).status, 0);
        ASSERT_EQ(Tool(folder, "export t t.png").status, 0);
        ASSERT_EQ(Tool(folder, "import t.png back").status, 0);
        Texture back;
        ASSERT_TRUE(texture.Load(folder.File("t")) && back.Load(folder.File("back")));
        EXPECT_EQ(texture.channels, kind.channels);
        EXPECT_TRUE(SamePicture(texture, back));
    }
}

TEST(TextureTool, PatternsPutTheirColoursInPlace) {
    const TempDir folder;
    Texture texture;
    ASSERT_EQ(
        Tool(folder, "checker t --first ff0000 --second 0000ff --cells 2 --width 8 --height 8")
            .status,
        0);
    ASSERT_TRUE(texture.Load(folder.File("t")));
    EXPECT_EQ(Value(texture, 0, 0, 0), 255);
    EXPECT_EQ(Value(texture, 7, 0, 2), 255);
    EXPECT_EQ(Value(texture, 7, 7, 0), 255);

    ASSERT_EQ(Tool(folder,
                   "gradient t --stop 1:0000ff --stop 0.5:00ff00 --stop 0:ff0000 --width 4 "
                   "--height 101")
                  .status,
              0);
    ASSERT_TRUE(texture.Load(folder.File("t")));
    EXPECT_GT(Value(texture, 0, 0, 0), 250);
    EXPECT_GT(Value(texture, 0, 50, 1), 250);
    EXPECT_GT(Value(texture, 0, 100, 2), 250);

    ASSERT_EQ(Tool(folder, "glow t --inner ffffff --outer ffffff00 --width 65 --height 65").status,
              0);
    ASSERT_TRUE(texture.Load(folder.File("t")));
    EXPECT_EQ(Value(texture, 32, 32, 1), 255);
    EXPECT_EQ(Value(texture, 0, 0, 1), 0);
    EXPECT_EQ(Value(texture, 0, 32, 1), 0);

    // Noise tiles: across the border it changes no more than inside.
    ASSERT_EQ(Tool(folder, "noise t --octaves 3 --width 128 --height 128 --contrast 2").status, 0);
    ASSERT_TRUE(texture.Load(folder.File("t")));
    for (int i = 0; i < 128; ++i) {
        EXPECT_NEAR(Value(texture, 0, i, 0), Value(texture, 127, i, 0), 40) << i;
        EXPECT_NEAR(Value(texture, i, 0, 0), Value(texture, i, 127, 0), 40) << i;
    }
}

TEST(TextureTool, RefusesWithOneLineAndLeavesNoFile) {
    const TempDir folder;
    folder.Write("text", "not a picture");
    for (const char* words :
         {"", "paint m", "glow", "glow m --inner red", "glow m --inner 12345",
          "glow m --from 1 --to 0.5", "gradient m --stop 2:000000", "gradient m --stop 0.5",
          "noise m --octaves 0", "noise m --width 0", "noise m --width 100000",
          "noise m --contrast nan", "import text m", "import missing.png m", "export text m",
          "export missing m", "noise missing/m"}) {
        const ToolRun run = Tool(folder, words);
        EXPECT_EQ(run.status, 1) << words;
        EXPECT_TRUE(run.OneErrorLine()) << words << ": " << run.err;
        EXPECT_FALSE(std::filesystem::exists(folder.File("m"))) << words;
    }
    EXPECT_EQ(Tool(folder, "noise --help").status, 0);
    ASSERT_EQ(Tool(folder, "glow m --width 40 --no-mipmap").status, 0);
    const ToolRun print = RunTool(folder, PALLIX_PRINT, "m");
    EXPECT_EQ(print.status, 0);
    EXPECT_NE(print.out.find("40 x 256, grey and alpha\n  flags    filter yes, mipmap no\n"),
              std::string::npos)
        << print.out;
}

}  // namespace
