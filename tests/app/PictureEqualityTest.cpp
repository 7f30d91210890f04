// Every scene that is delivered, loaded and flown through as the program draws it: what only saves
// time must not be seen, and what is switched off must not be counted.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "ShellFixture.h"
#include "app/DriverSwitch.h"
#include "app/FrameLoop.h"
#include "geometry/Texture.h"
#include "scene/Room.h"
#include "settings/StatisticNames.h"
#include "support/Capture.h"

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

std::set<std::string> SceneNames() {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("scenes"))
        names.insert(entry.path().filename().string());
    return names;
}

class Flight : public ShellFixture, public testing::WithParamInterface<std::string> {
protected:
    Statistics m_drawn;  // of the renderer, summed over the last flight
    Statistics m_sent;   // of the driver

    Driver* MakeDriver() override { return DriverFactory::Create("GL", app.display); }
    void SetUp() override {
        app.windowWidth = kWidth;
        app.windowHeight = kHeight;
        app.shell.showStats = false;
        ShellFixture::SetUp();
        XMapWindow(app.display, app.renderWindow);
        const std::string complaints = CaptureStderr([&] {
            CaptureStdout([&] {
                EXPECT_TRUE(LoadScene("scenes/" + GetParam(), app.Selection()));
                RenderFrame(app);
            });
        });
        EXPECT_EQ(complaints, "");
        ASSERT_NE(app.currentRoom, nullptr);
        m_start = app.camera;
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
            Settings* owner = app.database->SettingOwner(name);
            EXPECT_TRUE(owner) << "nobody has a setting " << name;
            if (owner) owner->Set(name, value);
        }
        m_drawn.clear();
        m_sent.clear();
        Pictures pictures;
        CaptureStderr([&] { SwitchDriver(app); });
        for (int frame = 0; frame < kFrames; ++frame) {
            app.camera = CameraAt(frame);
            EXPECT_EQ(CaptureStderr([&] { CaptureStdout([&] { RenderFrame(app); }); }), "");
            const Texture shot = app.driver->GetFramebuffer();
            pictures.emplace_back(shot.pixels, shot.pixels + 4 * shot.width * shot.height);
            for (const auto& [name, value] : app.renderer->Stats())
                m_drawn[name] += value;
            for (const auto& [name, value] : app.driver->Stats())
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
            EXPECT_LE(share, hardware > 0 ? kByDepthBuffer : kBySoftwareBuffer) << hardware;
            EXPECT_GT(m_drawn[stat_names::kCachedVisibility], 0);
            const float most = GetParam() == "occlusion" ? 0.6F * drawn : drawn;
            EXPECT_LE(m_drawn[stat_names::kDrawn], most);
        }
    }

private:
    Camera m_start;
};

// Radii are passed on to the next parent only, when a mesh is set. A scene must place its parents
// last, or the traversal leaves out what reaches beyond them.
void ExpectPartsInsideParent(const Object& parent) {
    for (const auto& [name, child] : parent.children) {
        EXPECT_GE(parent.Radius(true) * 1.0001F, Length(child->pos) + child->Radius(true)) << name;
        ExpectPartsInsideParent(*child);
    }
}

}  // namespace

TEST_P(Flight, LooksTheSameHoweverItIsDrawn) {
    ExpectPartsInsideParent(*app.currentRoom);
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
    if (app.currentRoom->children.size() > kCrowd) return;
    const SettingList on = {{"F_shadows", 1}};
    const Pictures reference = Fly(on);
    const float volumes = m_drawn[stat_names::kShadowVolumes];
    EXPECT_GT(volumes, 0);
    ExpectLittleHidden(reference, on);
    EXPECT_EQ(Differences(reference, Fly(on + SettingList{{"GL_shadow_method", 0}})), 0);
    EXPECT_EQ(m_drawn[stat_names::kShadowVolumes], volumes);
    EXPECT_EQ(Differences(reference, Fly(on + kAllLists)), 0);
}

INSTANTIATE_TEST_SUITE_P(Scenes, Flight, testing::ValuesIn(SceneNames()),
                         [](const auto& scene) { return scene.param; });
