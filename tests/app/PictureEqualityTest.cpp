// Every scene, flown through as the program draws it: what only saves time must not be seen, and
// what is switched off must not be counted.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "app/Application.h"
#include "app/EventLoop.h"
#include "app/FrameLoop.h"
#include "app/Windows.h"
#include "drivers/Driver.h"
#include "drivers/DriverFactory.h"
#include "geometry/Texture.h"
#include "renderer/Renderer.h"
#include "scene/Command.h"
#include "scene/Room.h"
#include "scene/SceneDatabase.h"
#include "settings/Registry.h"
#include "settings/StatisticNames.h"
#include "support/Capture.h"
#include "support/TempFile.h"

namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr int kFrames = 8;

// Share of the pixels that occlusion culling may change. Its buffers have pixels of six or seven
// of the window's: an object that looks out from behind others, or into the picture, by less may
// be taken for hidden.
constexpr double kBySoftwareBuffer = 0.005;
constexpr double kByDepthBuffer = 0.0005;

constexpr std::size_t kCrowd = 1000;  // more objects are not flown through with shadows

using SettingList = std::vector<std::pair<std::string, float>>;
using Pictures = std::vector<std::vector<std::uint8_t>>;  // RGBA, by frame

const SettingList kPlain = {{"F_shadows", 0},      {"P_occlusion", 0},     {"GL_hw_occlusion", 0},
                            {"GL_draw_method", 1}, {"GL_line_method", 1},  {"GL_shadow_method", 1},
                            {"GL_dlistMax", 1024}, {"GL_dlistSize", 1024}, {"GL_dlistShadows", 0}};
const SettingList kNoLists = {{"GL_dlistMax", 0}};
const SettingList kAllLists = {
    {"GL_dlistMax", 16384}, {"GL_dlistSize", 262144}, {"GL_dlistShadows", 1}};

SettingList operator+(SettingList a, const SettingList& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::vector<std::string> SceneNames() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("scenes"))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

class Flight : public testing::TestWithParam<std::string> {
protected:
    Application m_app;
    Statistics m_drawn;  // of the renderer, summed over the last flight
    Statistics m_sent;   // of the driver

    void SetUp() override {
        m_app.display = XOpenDisplay(nullptr);
        ASSERT_NE(m_app.display, nullptr);
        m_app.windowWidth = kWidth;
        m_app.windowHeight = kHeight;
        m_app.shell.showStats = false;
        m_app.registry = new Registry(m_directory.File("registry"));
        m_app.renderer = new Renderer;
        m_app.driver = DriverFactory::Create("GL", m_app.display);
        m_app.database = new SceneDatabase;
        m_app.database->AddRenderer(m_app.renderer);
        m_app.database->AddDriver(m_app.driver);
        m_app.command = new Command(m_app.database);
        CreateTopWindow(m_app);
        ASSERT_TRUE(CreateRenderWindow(m_app));
        XMapWindow(m_app.display, m_app.renderWindow);
        CaptureStdout([&] {
            ASSERT_TRUE(LoadScene("scenes/" + GetParam(), m_app.Selection()));
            RenderFrame(m_app);
        });
        m_start = m_app.camera;
    }
    void TearDown() override {
        delete m_app.command;
        delete m_app.database;
        delete m_app.renderer;
        delete m_app.driver;
        delete m_app.registry;
        if (m_app.display != nullptr) XCloseDisplay(m_app.display);
    }

    // Forward, sideways, and at the end about.
    Camera CameraAt(int frame) const {
        const float t = static_cast<float>(frame) / kFrames;
        const vec3 ahead = m_start.lookat - m_start.pos;
        const vec3 aside = Cross(ahead, m_start.up) * 0.3F;
        Camera camera = m_start;
        camera.pos += ahead * (0.8F * t) + aside * std::sin(5 * t);
        camera.lookat = camera.pos + ahead + aside * (t < 0.7F ? t : 8 * t - 4.9F);
        return camera;
    }

    // With a new driver, which holds no lists yet.
    Pictures Fly(const SettingList& settings) {
        for (const auto& [name, value] : kPlain + settings) {
            const bool drivers = name.starts_with("GL");
            (drivers ? static_cast<Settings&>(*m_app.driver) : *m_app.renderer).Set(name, value);
        }
        m_drawn.clear();
        m_sent.clear();
        Pictures pictures;
        CaptureStderr([&] { EXPECT_TRUE(SwitchDriver(m_app)); });
        for (int frame = 0; frame < kFrames; ++frame) {
            m_app.camera = CameraAt(frame);
            EXPECT_EQ(CaptureStderr([&] { CaptureStdout([&] { RenderFrame(m_app); }); }), "");
            const Texture shot = m_app.driver->GetFramebuffer();
            pictures.emplace_back(shot.pixels, shot.pixels + 4 * shot.width * shot.height);
            for (const auto& [name, value] : m_app.renderer->Stats())
                m_drawn[name] += value;
            for (const auto& [name, value] : m_app.driver->Stats())
                m_sent[name] += value;
        }
        return pictures;
    }

    // Pixels that differ, over all pictures.
    static int Differences(const Pictures& a, const Pictures& b) {
        int count = 0;
        for (std::size_t frame = 0; frame < a.size(); ++frame) {
            for (std::size_t i = 0; i < a[frame].size(); i += 4)
                count += std::equal(&a[frame][i], &a[frame][i + 3], &b[frame][i]) ? 0 : 1;
        }
        return count;
    }

    void ExpectLittleHidden(const Pictures& reference, const SettingList& settings) {
        const float drawn = m_drawn[stat_names::kDrawn];
        for (const float hardware : {0.0F, 1.0F}) {
            const int count = Differences(
                reference,
                Fly(settings + SettingList{{"P_occlusion", 1}, {"GL_hw_occlusion", hardware}}));
            const double share = static_cast<double>(count) / (kWidth * kHeight * kFrames);
            std::cout << GetParam() << ": " << (hardware > 0 ? "depth buffer" : "software")
                      << " changes " << count << " pixels, draws " << m_drawn[stat_names::kDrawn]
                      << " of " << drawn << "\n";
            EXPECT_LE(share, hardware > 0 ? kByDepthBuffer : kBySoftwareBuffer);
            EXPECT_GT(m_drawn[stat_names::kCachedVisibility], 0);
            const float most = GetParam() == "occlusion" ? 0.6F * drawn : drawn;
            EXPECT_LE(m_drawn[stat_names::kDrawn], most);
        }
    }

private:
    TempDir m_directory;
    Camera m_start;
};

std::string NameOf(const testing::TestParamInfo<std::string>& info) {
    return info.param;
}

}  // namespace

TEST_P(Flight, LooksTheSameHoweverItIsDrawn) {
    const Pictures reference = Fly({});
    EXPECT_EQ(m_drawn[stat_names::kCachedVisibility], 0);
    EXPECT_EQ(m_drawn[stat_names::kShadowVolumes], 0);
    EXPECT_GT(m_sent[stat_names::kCacheHits], 0);
    ExpectLittleHidden(reference, {});
    for (const float method : {0.0F, 1.0F, 2.0F}) {
        const SettingList methods = {{"GL_draw_method", method},
                                     {"GL_line_method", std::min(method, 1.0F)}};
        EXPECT_EQ(Differences(reference, Fly(methods + kNoLists)), 0) << "method " << method;
        EXPECT_EQ(m_sent[stat_names::kCacheHits], 0);
        EXPECT_EQ(m_sent[stat_names::kCacheEntries], 0);
    }
    EXPECT_EQ(Differences(reference, Fly(kAllLists)), 0);
    EXPECT_EQ(m_sent[stat_names::kCachePurges], 0);
}

TEST_P(Flight, LooksTheSameHoweverItsShadowsAreDrawn) {
    if (m_app.currentRoom->children.size() > kCrowd) return;
    const SettingList on = {{"F_shadows", 1}};
    const Pictures reference = Fly(on);
    const float volumes = m_drawn[stat_names::kShadowVolumes];
    EXPECT_GT(volumes, 0);
    ExpectLittleHidden(reference, on);
    EXPECT_EQ(Differences(reference, Fly(on + SettingList{{"GL_shadow_method", 0}})), 0);
    EXPECT_EQ(m_drawn[stat_names::kShadowVolumes], volumes);
    EXPECT_EQ(Differences(reference, Fly(on + kAllLists)), 0);
}

INSTANTIATE_TEST_SUITE_P(Scenes, Flight, testing::ValuesIn(SceneNames()), NameOf);
