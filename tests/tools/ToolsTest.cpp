// The command-line tools: what they make, against the shipped content and plain formulas; the
// printer's text, refusals, standard streams, full disks.
#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>

#include "geometry/GeoImage.h"
#include "geometry/Texture.h"
#include "support/TempFile.h"
#include "support/ToolRun.h"

namespace {

// What the tool makes as "m". The run must succeed in silence.
template <class Product>
Product Made(const TempDir& folder, const std::string& tool, const std::string& words) {
    const ToolRun run = RunTool(folder, tool, words);
    EXPECT_TRUE(run.status == 0 && run.err.empty()) << words << ": " << run.err;
    Product product;
    EXPECT_TRUE(product.Load(folder.File("m"))) << words;
    return product;
}

bool Alike(const GeoImageSample& a, const GeoImageSample& b) {
    return Length(a.position - b.position) < 1e-4F && Length(a.normal - b.normal) < 1e-4F &&
           std::hypot(a.u - b.u, a.v - b.v) < 1e-4F;
}

// And that the seams of b are closed without the smallest gap.
void ExpectAlike(const GeoImage& a, const GeoImage& b) {
    ASSERT_TRUE(a.height == b.height && a.width == b.width && a.wrapColumns == b.wrapColumns);
    EXPECT_TRUE(a.wrapRows == b.wrapRows && a.error == b.error);
    for (int i = 0; i < a.width * a.height; ++i)
        ASSERT_TRUE(Alike(a.samples[i], b.samples[i])) << i;
    const auto expectSeam = [](const GeoImageSample& one, const GeoImageSample& other) {
        EXPECT_TRUE(one.position == other.position && one.normal == other.normal);
    };
    for (int row = 0; b.wrapColumns && row < b.height; ++row)
        expectSeam(b.At(row, 0), b.At(row, b.width - 1));
    for (int column = 0; b.wrapRows && column < b.width; ++column)
        expectSeam(b.At(0, column), b.At(b.height - 1, column));
}

void ExpectAlike(const Texture& a, const Texture& b) {
    ASSERT_TRUE(a.width == b.width && a.height == b.height && a.channels == b.channels);
    EXPECT_TRUE(a.filter == b.filter && a.mipmap == b.mipmap);
    for (int i = 0; i < a.width * a.height * a.channels; ++i)
        ASSERT_NEAR(a.pixels[i], b.pixels[i], 1) << i;
}

template <class Product>
void ExpectSameFolder(const std::string& name, const TempDir& made) {
    for (const auto& file : std::filesystem::directory_iterator(name)) {
        SCOPED_TRACE(file.path());
        Product shipped, fresh;
        EXPECT_TRUE(shipped.Load(file.path()) && fresh.Load(made.Path() / file.path()));
        ExpectAlike(shipped, fresh);
    }
}

// Sines of another machine may differ in the last bit, packed bytes with the packing library.
TEST(Content, IsWhatItsRecipesMake) {
    using std::filesystem::absolute;
    const TempDir folder;
    EXPECT_EQ(RunTool(folder, absolute("tools/make_content.sh"), PALLIX_TOOLS).err, "");
    ExpectSameFolder<GeoImage>("meshes", folder);
    ExpectSameFolder<Texture>("textures", folder);
    for (const std::string scene : {"many", "octree", "town"}) {
        std::ifstream file(scene == "town" ? "scenes/occlusion" : "scenes/" + scene);
        const std::string shipped(std::istreambuf_iterator<char>(file), {});
        const ToolRun run = RunTool(folder, absolute("tools/make_" + scene + "_scene.sh"), "");
        EXPECT_TRUE(run.out == shipped) << scene;
    }
}

TEST(MeshTool, HasFirstValuesAndTurnsShapesToAnAxis) {
    const TempDir folder;
    ExpectAlike(
        Made<GeoImage>(folder, "pallix-mesh", "heightfield m"),
        Made<GeoImage>(folder, "pallix-mesh", "heightfield m --seed 1 --octaves 6 --frequency 3"));
    const std::string words = "superquadric m --meridian 2 --equator 2 --x 2 --rows 9 --columns 9";
    const auto upright = Made<GeoImage>(folder, "pallix-mesh", words);
    EXPECT_EQ(upright.samples[0].normal, (vec3{0, 1, 0})) << "at the tip";
    const auto turned = Made<GeoImage>(folder, "pallix-mesh", words + " --axis x");
    const auto turn = [](const vec3& v) { return vec3{v.y, -v.x, v.z}; };
    for (int i = 0; i < 9 * 9; ++i) {
        const auto& [position, normal, u, v] = upright.samples[i];
        EXPECT_TRUE(Alike(turned.samples[i], {turn(position), turn(normal), u, v})) << i;
    }
}

TEST(Tools, LetPicturesStandUpright) {
    const TempDir folder;
    const unsigned char pixels[] = {0, 51, 102, 255};  // two by two, top row first
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    png.width = png.height = 2;
    png.format = PNG_FORMAT_GRAY;
    ASSERT_TRUE(png_image_write_to_file(&png, folder.File("g").c_str(), 0, pixels, 0, nullptr));
    const auto image =
        Made<Texture>(folder, "pallix-texture", "import g m --codec flat --no-filter");
    EXPECT_TRUE(image.channels == 1 && image.mipmap && !image.filter);
    EXPECT_TRUE(image.pixels[0] == 102 && image.pixels[1] == 255 && image.pixels[3] == 51);

    // Heights are straight between the pixels, the top of the picture lies at the back.
    const auto mesh = Made<GeoImage>(folder, "pallix-mesh",
                                     "heightfield m --image g --height 3 --depth 4 --rows 5");
    for (int i = 0; i < mesh.width * mesh.height; ++i) {
        const float u = static_cast<float>(i % 33) / 32;
        const float w = static_cast<float>(i / 33) / 4;  // to the front
        const float x = 0.6F * (1 - w) + 1.8F * w;       // slopes across the whole sheet
        const float z = 1.2F + 1.2F * u;
        const vec3 position{2 * u - 1, x * u + 1.2F * w, 4 * w - 2};
        const vec3 normal = Normalise(vec3{-x / 2, 1, -z / 4});
        EXPECT_TRUE(Alike(mesh.samples[i], {position, normal, u, 1 - w})) << i;
    }
}

TEST(TextureTool, PatternsPutTheirColoursInPlaceAndGoThroughPngFilesUnchanged) {
    using Pixel = std::array<double, 4>;
    const auto red = [](double part) { return Pixel{part, 0, 1 - part, 1}; };
    const auto grey = [](double, double v) { return Pixel{v, v, v, 1}; };
    const auto still = [](double, double) { return Pixel{128 / 255.0, 0, 0, 0}; };
    const struct {
        const char* words;
        std::function<Pixel(double, double)> color;
    } cases[] = {
        {"checker m --first ff0000 --second '#0000ff' --cells 3 --width 8 --height 21",
         [&](double u, double v) { return red((int(3 * u) + int(3 * v) + 1) % 2); }},
        {"gradient m --width 50 --height 4 --stop 0.5:0000ff --stop 0.25:ff0000 --horizontal",
         [&](double u, double) { return red(std::clamp(2 - 4 * u, 0.0, 1.0)); }},
        {"gradient m --width 5 --height 4", grey},
        {"gradient m --stop 0:80808000 --width 5 --height 4", still},
    };
    for (const auto& [words, color] : cases) {
        const TempDir folder;
        const Texture texture = Made<Texture>(folder, "pallix-texture", words);
        for (int i = 0; i < texture.width * texture.height; ++i) {
            const Pixel wanted = color((i % texture.width + 0.5) / texture.width,
                                       (i / texture.width + 0.5) / texture.height);
            for (int c = 0; c < texture.channels; ++c)
                ASSERT_NEAR(texture.pixels[i * texture.channels + c],
                            255 * wanted[static_cast<std::size_t>(c)], 0.501)
                    << words << i;
        }
        EXPECT_EQ(RunTool(folder, "pallix-texture", "export m m.png").status, 0);
        ExpectAlike(texture, Made<Texture>(folder, "pallix-texture", "import m.png m"));
    }
}

// cases: the words of each run, a comma behind them.
void ExpectMade(const char* tool, bool good, const char* cases) {
    std::istringstream list(cases);
    for (std::string words; std::getline(list >> std::ws, words, ',');) {
        const TempDir folder;
        folder.Write("text", "not a picture");
        const ToolRun run = RunTool(folder, tool, words);
        EXPECT_TRUE(run.IsRefusal() == !good && run.status == !good) << words << run.err;
        EXPECT_EQ(std::filesystem::exists(folder.File("m")), good) << words;
    }
}

TEST(Tools, RefuseWithOneLineWhatCannotBeMade) {
    ExpectMade("pallix-mesh", true, R"(
        plane m --rows 2 --columns 2, plane m --columns 4097 --precision 8, cylinder m --rows 6,
        sphere m --rows 4 --columns 4, torus m --tube 0.99, cylinder m --top 0 --rows 4,
        superquadric m --meridian 2 --equator 0.1, cylinder m --open --rows 2 --error -32767,)");
    ExpectMade("pallix-mesh", false, R"(,
        blob m, sphere, sphere m n, sphere m --rows nan, sphere m --rows 3, sphere m --columns 3,
        plane m --rows 1, plane m --columns 4098, sphere m --radius inf, sphere m --radius 0,
        sphere m --axis w, sphere m --precision 7, sphere m --precision 25, sphere missing/m,
        sphere m --error 32768, torus m --tube 1, cylinder m --top 0 --bottom 0,
        cylinder m --rows 5, cylinder m --top 0 --rows 3, superquadric m --meridian 2.1,
        heightfield m --octaves 13, heightfield m --frequency 257, teapot - --rows 9,
        heightfield m --image text, heightfield m --image .,)");
    ExpectMade("pallix-texture", true, R"(
        glow m --width 1 --height 8192, noise m --octaves 12 --frequency 256, noise m --octaves 1,
        checker m --cells 1024 --grain 1, gradient m --stop 1:00000000,)");
    ExpectMade("pallix-texture", false, R"(,
        paint m, glow, glow m --inner red, glow m --inner 12345, glow m --inner 1234567890,
        glow m --to 2.1, glow m --from 1 --to 1, glow m --power 0, gradient m --stop 2:000000,
        gradient m --stop 0.5, gradient m --stop :000000, checker m --cells 1025,
        noise m --octaves 0, noise m --octaves 13, noise m --frequency 0, noise m --width 0,
        noise m --width 8193, noise m --contrast nan, noise m --contrast 101, noise missing/m,
        checker m --grain 1.1, import text m, import missing.png m, export text m,)");
}

TEST(PrintTool, ShowsHeadersAndGoesOnAfterOtherFiles) {
    const TempDir folder;
    RunTool(folder, "pallix-mesh", "torus m --tube .25 --columns 5 --error 4 --wrap-rows no");
    RunTool(folder, "pallix-texture", "glow t --width 40 --no-mipmap --codec flat");
    folder.Write("text", "no picture");
    folder.Write("cut", folder.Read("m").substr(0, 300));
    folder.Write("short", folder.Read("m").substr(0, 11));
    folder.Write("old", "sNMM" + std::string(4, '\0') + folder.Read("m").substr(17));
    folder.Write("plain", "sTXT" + folder.Read("t").substr(9));
    ToolRun run = RunTool(folder, "pallix-print", "m text t");
    EXPECT_TRUE(run.IsRefusal()) << run.err;
    EXPECT_EQ(run.out,
              "m: mesh\n  version  2\n  codec    2 (pyramid), 8 channels of 32 bits\n"
              "  size     33 rows, 5 columns, 256 triangles\n  scale    1/2^30\n"
              "  bounds   -1.25,-0.25,-1.25 to 1.25,0.25,1.25\n  radius   1.25\n  error    4\n"
              "  wrap     columns yes, rows no\n"
              "t: texture\n  version  1\n  codec    1 (flat), 2 channels of 8 bits\n"
              "  size     40 x 256, grey and alpha\n  flags    filter yes, mipmap no\n");
    run = RunTool(folder, "pallix-print", "old plain cut");
    EXPECT_TRUE(run.status == 0 && run.err == "Codec::ReadInt: premature EOF\n") << run.err;
    for (const char* part : {"old: mesh\n  version  0\n", "  scale    1/2^16\n", "error    0\n",
                             "plain: texture\n  version  0\n", "filter yes, mipmap yes\n"})
        EXPECT_NE(run.out.find(part), std::string::npos) << part << run.out;
    for (const char* words : {"short", "missing", ".", "-", ""})
        EXPECT_TRUE(RunTool(folder, "pallix-print", words).IsRefusal()) << words;
}

TEST(Tools, UseStandardStreamsAndNoticeLostOutput) {
    const TempDir folder;
    RunTool(folder, "pallix-texture", "glow t");
    RunTool(folder, "pallix-texture", "export t p");
    const struct {
        std::string tool, words, piped;
    } cases[] = {{"pallix-mesh", "sphere m ", "sphere - "},
                 {"pallix-texture", "import p m ", "import - - <p "},
                 {"pallix-texture", "export t m ", "export - - <t "},
                 {"pallix-print", "t ", "t "}};
    for (const auto& [tool, words, piped] : cases) {
        SCOPED_TRACE(words);
        const std::string output = RunTool(folder, tool, piped).out;
        EXPECT_GT(output.size(), 100U);
        for (const char* lost : {">/dev/full", ">&-"})
            EXPECT_TRUE(RunTool(folder, tool, piped + lost).IsRefusal()) << lost;
        const bool prints = words == piped;
        // No file takes the place of what is closed, and nothing is left of a longer one.
        for (const std::string closed : {"<&-", "2>&-", ">&-"}) {
            folder.Write("m", std::string(300000, 'x'));
            const ToolRun run = RunTool(folder, tool, words + closed);
            EXPECT_EQ(run.status, prints && closed == ">&-" ? 1 : 0) << closed;
            const std::string product = prints ? run.out : folder.Read("m");
            EXPECT_TRUE(product == output || run.status == 1) << closed;
        }
        if (prints) continue;
        WithFileSizeLimit(99, [&] { EXPECT_TRUE(RunTool(folder, tool, words).IsRefusal()); });
        EXPECT_FALSE(std::filesystem::exists(folder.File("m")));
    }
    EXPECT_TRUE(RunTool(folder, "pallix-mesh", "--help >/dev/full").IsRefusal());
}

}  // namespace
