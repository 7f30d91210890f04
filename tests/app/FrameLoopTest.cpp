// Whole frames on a recording driver: order of calls, stereo, detail, graph and captured files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/FrameLoop.h"

#include <png.h>
#include <sys/time.h>

#include <filesystem>
#include <limits>
#include <sstream>
#include <vector>

#include "app/Application.h"
#include "app/ShellSettings.h"
#include "app/StatisticsLine.h"
#include "geometry/Texture.h"
#include "renderer/Renderer.h"
#include "scene/SceneFixture.h"
#include "settings/Registry.h"
#include "settings/ShellKeys.h"
#include "support/RecordingDriver.h"

namespace {

constexpr float kInfinite = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// The clock that frames are timed by goes on by this at every look: a frame looks twice, and once
// more when it is captured.
int lookMilliseconds = 20;

class FrameLoopTest : public SceneFixture {
protected:
    RecordingDriver m_driver;
    Renderer m_renderer;
    Application m_app;

    FrameLoopTest() {
        database->AddRenderer(&m_renderer);
        database->AddDriver(&m_driver);
        m_app.driver = &m_driver;
        m_app.renderer = &m_renderer;
        m_app.database = database.get();
        m_app.command = command.get();
        Run("room r");
        m_app.currentRoom = command->GetRoom("r");
        m_app.shell.showStats = false;
        m_app.windowWidth = 64;
        m_app.windowHeight = 48;
        lookMilliseconds = 20;
    }
    ~FrameLoopTest() override { End(); }
    // The line that the frame prints.
    std::string Frame() {
        m_app.redrawRequested = false;
        m_driver.TakeLog();
        return CaptureStdout([this] { RenderFrame(m_app); });
    }
    // The calls of a frame that are not about lights, joined by "; ".
    std::string Calls() {
        Frame();
        std::string calls;
        for (const std::string& line : m_driver.log) {
            if (line.starts_with("ClearLights") || line.starts_with("SetAmbient")) continue;
            calls += (calls.empty() ? "" : "; ") + line;
        }
        return calls;
    }
};

TEST_F(FrameLoopTest, CallsTheDriverInOrder) {
    m_app.shell.showStats = true;
    Frame();  // the graph gets its mesh, which must not take the place of the released one
    Run("object quad\nset mesh " + Mesh("quad") +
        "\nset pos 0,0,-5\n"
        "shader set lit 0\nset shade base");
    m_driver.Name(At("r", "quad")->mesh, "quad");
    GeoImage* released = database->GetMesh(Mesh("mesh"), false);
    m_driver.Name(released, "released");
    database->ReleaseMesh(released);
    m_driver.reported = {{"cache accesses", 4}, {"cache hits", 3}, {"cache entries", 7}};
    EXPECT_EQ(Calls(),
              "SetWindow; Purge released; SetViewport 0 0 64 48; ColorMask 111; Clear depth; "
              "ColorMask 111; SetupProjection 60; LoadMatrix 0 0 0; LoadMatrix 0 0 -5; "
              "RunShader quad replace; ColorMask 111; SetupProjection 90; LoadMatrix 0 0 0; "
              "RunShader 2x64 blend uncached; Finish");
    EXPECT_EQ(Frame(), "f0 fov=60.0 F3.5 L1.0 H100%/0/0.0M D75%/7/0.0M V1(0)/2,1,2 P1    \r");

    m_driver.Set("D_wireframe", 1);
    m_renderer.Set("F_shadows", 1);
    m_app.shell.showStats = false;
    m_app.currentRoom = nullptr;
    EXPECT_EQ(Calls(),
              "SetWindow; SetViewport 0 0 64 48; ColorMask 111; Clear depth color; "
              "ColorMask 111; ColorMask 111; Finish");
    EXPECT_THAT(Frame(), testing::EndsWith("V0(0)/0,0,0 P0 S0    \r"));
    m_app.windowHeight = 1;
    EXPECT_FALSE(Frame().empty());
    m_app.windowHeight = 0;
    EXPECT_TRUE(Frame().empty() && m_driver.log.empty());
}

TEST_F(FrameLoopTest, EyesStandApartAndSeeComplementaryColours) {
    const std::string begin = "SetWindow; SetViewport 0 0 64 48; ColorMask 111; Clear depth; ";
    const std::string view = "SetupProjection 60; LoadMatrix ";
    const std::string middle = view + "0 0 0; ";
    const std::string end = "ColorMask 111; Finish";
    m_app.shell.anaglyph = true;
    m_app.shell.ediverg = 0.1F;
    for (const int eyes : {3, 2, 1, 0}) {
        m_app.drawLeftEye = (eyes & 1) != 0;
        m_app.drawRightEye = (eyes & 2) != 0;
        EXPECT_EQ(Calls(), begin + "ColorMask 011; " + (eyes & 1 ? view + "0.05 0 0; " : "") +
                               "ColorMask 100; Clear depth; " +
                               (eyes & 2 ? view + "-0.05 0 0; " : "") + end);
    }

    // Equal flags: no offset, and no left eye to switch off.
    m_app.drawRightEye = true;
    m_app.shell.emask[1] = m_app.shell.emask[2] = false;
    EXPECT_EQ(Calls(),
              begin + "ColorMask 111; " + middle + "ColorMask 111; Clear depth; " + middle + end);
    for (const float divergence : {0.0F, kNaN, kInfinite}) {
        m_app.shell.ediverg = divergence;
        EXPECT_EQ(Calls(), begin + "ColorMask 111; " + middle + end);
    }
}

TEST_F(FrameLoopTest, TakesCameraCommandsAndLetsMarkersFollowLights) {
    m_app.camera.pos = {1, 2, 3};
    command->DoCommand({"camera", "fov", "30"});
    EXPECT_THAT(Frame(), testing::HasSubstr("fov=60.0 "));
    EXPECT_EQ(m_app.camera.pos, command->GetCamera().pos) << "taken whole";
    m_app.camera.fov = 31;
    EXPECT_THAT(Frame(), testing::HasSubstr("fov=31.0 "));

    Run("light set lamp pos 1,2,3\nlight set lamp pointat 1,2,7\nlight set unmarked pos 0,0,0\n"
        "object lamp/below");
    Object* marker = At("r", "lamp");
    Object* below = At("r", "lamp/below");
    below->derivedCache.insert(this);
    Frame();
    EXPECT_EQ(marker->pos, (vec3{1, 2, 3}));
    EXPECT_EQ(marker->point, (vec3{0, 0, 4}));
    EXPECT_TRUE(below->derivedCache.empty());
    below->derivedCache.insert(this);
    Frame();
    EXPECT_EQ(below->derivedCache.count(this), 1U) << "an unchanged marker keeps its caches";
}

TEST_F(FrameLoopTest, DetailFollowsTheCaptureRateOrStaysAtItsBase) {
    m_app.shell.baseLOD = 2;
    EXPECT_THAT(Frame(), testing::HasSubstr(" L2.0 "));
    EXPECT_FALSE(m_app.redrawRequested);
    m_app.shell.baseLOD = kNaN;
    EXPECT_THAT(Frame(), testing::HasSubstr(" L1.0 "));
    m_app.shell.ratecap = true;
    m_app.shell.caprate = 50;
    lookMilliseconds = m_app.frame.smoothedFrameTime = 60;
    EXPECT_THAT(Frame(), testing::HasSubstr("/50.0 L0.8 "));
    EXPECT_TRUE(m_app.redrawRequested);
    m_renderer.Set("P_LODscale", 0.0001F);
    Frame();
    EXPECT_FALSE(m_app.redrawRequested) << "a settled scale asks for no frame";
}

TEST(StatisticsLineTest, SaysEveryFieldInItsPlace) {
    const Statistics renderer{
        {"cache accesses", 3},    {"cache hits", 2},        {"cache entries", 41},
        {"cache size", 1572864},  {"NumDrawn", 12},         {"rendered objects", 7.9F},
        {"cached visibility", 5}, {"traversed objects", 9}, {"NumPolys", 16384},
        {"NumPasses", 3},         {"numShadowVolumes", 4}};
    const Statistics driver{{"cache accesses", 8}, {"cache hits", 8}, {"cache entries", 2}};
    const Statistics wild{{"NumPolys", 1e20F}, {"NumDrawn", -kInfinite}, {"NumPasses", kNaN}};
    const auto said = CaptureStdout([&] {
        PrintStatisticsLine({-3, 5, 7.25F, true, 29.96F, 0.25F, true}, renderer, driver);
        PrintStatisticsLine({0, 0, kInfinite, false, 0, 0, false}, wild, {});
    });
    // The sign of 0/0 is the processor's business.
    EXPECT_THAT(said, testing::MatchesRegex("f-3 fov=5.0 F7.2/30.0 L0.2 H67%/41/1.5M D100%/2/0.0M "
                                            "V7\\(5\\)/9,12,16384 P3 S4    \r"
                                            "f0 fov=0.0 Finf L0.0 H-?nan%/0/0.0M D-?nan%/0/0.0M "
                                            "V0\\(0\\)/0,-2147483648,2147483647 P0    \r"));
}

TEST(FrameStateTest, RatesAndDetailFollowFrameTimes) {
    FrameState state;
    state.writeIndex = 63;
    state.AddFrameTime(-7);
    EXPECT_EQ(state.smoothedFrameTime, -3) << "truncated toward zero";
    state.AddFrameTime(4);
    EXPECT_EQ(state.AverageRate(), kInfinite);
    state.Advance();
    EXPECT_EQ(state.writeIndex, 0);

    const float cases[][4] = {// scale, capture rate, frame time, next scale
                              {1, 30, 10, 0.2F * 1000 / 300 + 0.8F},
                              {3, 20, 100, 0.3F * 1.5F + 0.7F * 3},
                              {1, 30, 0, 0.2F * 100 + 0.8F},
                              {0.001F, 1000, 1e6F, 0.3F * 0.0001F + 0.7F * 0.001F},
                              {2, kNaN, 10, 2}};
    for (const auto& [scale, rate, time, next] : cases)
        EXPECT_FLOAT_EQ(SteeredDetailScale(scale, rate, static_cast<int>(time)), next);
    for (const float rate : {0.0F, -30.0F, kInfinite, 1e-40F}) {
        for (float scale : {0.0F, 1.0F, 1000.0F, kNaN}) {
            for (int i = 0; i < 300; ++i)
                scale = SteeredDetailScale(scale, rate, i % 2);
            EXPECT_TRUE(scale > 0 && scale <= 1000) << rate;
        }
    }
}

TEST(FrameGraphTest, DrawsBarsBetweenRateAndReference) {
    RecordingDriver driver;
    FrameState state;
    FrameGraph graph;
    state.rates.fill(20);
    state.rates[4] = 80;  // the oldest
    state.rates[3] = 70;  // the newest
    state.writeIndex = 4;
    graph.Draw(state, driver, 40, 2);
    EXPECT_FLOAT_EQ(graph.Scale(), 0.95F * 60 + 0.05F * 70) << "the last rate above the scale";
    const Shader& shader = driver.draws.at(0).shader;
    EXPECT_TRUE(!shader.lit && !shader.depth && shader.faces == FacesAll);
    ASSERT_TRUE(shader.texture != nullptr && shader.texture->width == 2);
    EXPECT_THAT(std::vector<int>(shader.texture->pixels, shader.texture->pixels + 16),
                testing::ElementsAre(75, 75, 127, 64, 75, 127, 75, 192,  //
                                     127, 75, 75, 64, 127, 75, 75, 192));
    const GeoImage& mesh = *driver.draws[0].mesh;
    ASSERT_TRUE(mesh.width == 64 && mesh.height == 2);
    const auto rate = [&](int row, int column) {
        return (mesh.At(row, column).position.y * 10 + 1) * 2 * graph.Scale();
    };
    const float bars[][4] = {{0, 40, 80, 0}, {1, 20, 40, 1}, {63, 40, 70, 0}};
    for (const auto& [column, lower, upper, v] : bars) {
        const int x = static_cast<int>(column);
        EXPECT_LT(Length(vec3{rate(0, x) - lower, rate(1, x) - upper, mesh.At(0, x).v - v}), 1e-3F);
    }
    const GeoImageSample& last = mesh.At(1, 63);
    EXPECT_TRUE(last.u == 63 / 64.0F && last.v == 1 && last.position.z == -0.1F);
    EXPECT_FLOAT_EQ(last.position.x, (63 / 128.0F - 2) * 0.1F);

    state.rates = {kInfinite, -kInfinite, kNaN, -5, 3e38F};
    for (const float reference : {FrameGraph::Reference(state), kNaN, -kInfinite, 3e38F}) {
        graph.Draw(state, driver, reference, 1.3F);
        EXPECT_TRUE(std::isfinite(graph.Scale()) && std::isfinite(mesh.radius));
    }
    state.rates.fill(0);
    for (int i = 0; i < 3000; ++i)
        graph.Draw(state, driver, 0, 1);
    EXPECT_TRUE(std::isfinite(mesh.radius)) << "the scale must not fall to zero";
}

TEST_F(FrameLoopTest, WindowSizesThatXWouldRefuseAreClamped) {
    Registry registry(dir.File("registry"));
    std::istringstream sizes(
        "0 1 -99999999999999999999 1 abc 1 12.9 12 16384 16384 4294967297 16384 "
        "99999999999999999999 16384");
    int width = 0;
    for (std::string text; sizes >> text >> width;) {
        registry.SetString(shell_keys::kWidth, text);
        ReadWindowSize(registry, m_app.windowWidth, m_app.windowHeight);
        EXPECT_TRUE(m_app.windowWidth == width && m_app.windowHeight == 48) << text;
    }
}

// Width, height and the RGB or grey bytes, top row first; empty when it is no readable PNG.
std::vector<int> ReadPNG(const std::string& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return {};
    EXPECT_EQ(image.format & PNG_FORMAT_FLAG_ALPHA, 0U);
    std::vector<png_byte> bytes(PNG_IMAGE_SIZE(image));
    png_image_finish_read(&image, nullptr, bytes.data(), 0, nullptr);
    std::vector<int> result{static_cast<int>(image.width), static_cast<int>(image.height)};
    result.insert(result.end(), bytes.begin(), bytes.end());
    return result;
}

TEST_F(FrameLoopTest, CapturesNumberedPicturesAndTheirTimes) {
    const std::string name = "%s%n;touch hit;$(touch hit)\"' " + std::string(150, 'x');
    // The picture that a frame of that number leaves; the bytes shown are 0, 10, 20 and so on.
    const auto captured = [&](int number, int width, int height, int channels) {
        Texture& shown = m_driver.framebuffer;
        shown.SetSize(width, height, channels);
        for (int i = 0; i < width * height * channels; ++i)
            shown.pixels[i] = static_cast<std::uint8_t>(10 * i);
        m_app.frameNumber = number;
        Frame();
        char end[16];
        std::snprintf(end, sizeof end, "-%04d.png", number);
        return ReadPNG(m_app.recname + end);
    };
    m_app.recname = dir.File(name);
    m_app.recording = true;
    m_app.frame.recordedTime = 10000;
    const std::vector<int> picture{2, 2, 80, 90, 100, 120, 130, 140, 0, 10, 20, 40, 50, 60};
    EXPECT_EQ(captured(7, 2, 2, 4), picture);
    std::ifstream scratch("/tmp/foo.ppm", std::ios::binary);
    const std::string ppm{std::istreambuf_iterator<char>(scratch), {}};
    EXPECT_EQ(ppm, "P6\n2 2\n255\n" + std::string(picture.begin() + 2, picture.end()));
    m_app.frame.recordedTime = 3600000L * 24 * 30;  // times thirty it fits no int
    const std::vector<int> grey{2, 1, 0, 20};
    EXPECT_EQ(captured(-12, 2, 1, 2), grey);
    EXPECT_EQ(dir.Read(name + "-control"), "300 7\n77760001 -12\n")
        << "what follows the first capture counts for no frame";
    EXPECT_FALSE(std::filesystem::exists("hit"));

    // Planted links are left alone, each by itself.
    m_app.recname = dir.File("shot");
    const std::string target = dir.Write("precious", "kept");
    for (const char* link : {"shot-0001.png", "shot-control"})
        std::filesystem::create_symlink(target, dir.File(link));
    EXPECT_EQ(CaptureStderr([&] { captured(1, 2, 1, 2); }), "");
    EXPECT_EQ(captured(2, 2, 1, 2), grey);
    EXPECT_EQ(dir.Read("precious"), "kept");

    captured(3, 0, 0, 4);
    m_app.recording = false;
    captured(4, 2, 1, 2);
    for (const char* file : {"shot-0003.png", "shot-0004.png"})
        EXPECT_FALSE(std::filesystem::exists(dir.File(file))) << "no pixels, not recording";
    EXPECT_EQ(m_app.frame.writeIndex, 6);
}

}  // namespace

extern "C" int gettimeofday(timeval* now, void* /*zone*/) noexcept {
    static std::int64_t milliseconds = 0;
    milliseconds += lookMilliseconds;
    *now = {.tv_sec = milliseconds / 1000, .tv_usec = milliseconds % 1000 * 1000};
    return 0;
}
