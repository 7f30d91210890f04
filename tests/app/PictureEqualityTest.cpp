// Every scene that is delivered, loaded and flown through as the program draws it: what only saves
// time must not be seen.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <map>
#include <set>

#include "ShellFixture.h"
#include "app/DriverSwitch.h"
#include "app/FrameLoop.h"
#include "geometry/Texture.h"
#include "scene/Room.h"
#include "support/Capture.h"

namespace {

constexpr int kFrames = 8;
constexpr std::size_t kCrowd = 1000;  // more objects are not flown through with shadows

using SettingList = std::map<std::string, float>;

const SettingList kPlain = {{"P_occlusion", 0},     {"GL_hw_occlusion", 0},  {"GL_draw_method", 1},
                            {"GL_line_method", 1},  {"GL_shadow_method", 1}, {"GL_dlistMax", 1024},
                            {"GL_dlistSize", 1024}, {"GL_dlistShadows", 0}};

// Ways to save time, and the share of the pixels that they may change: what looks out from behind
// others by less than a pixel of the occlusion buffer, six or seven here, may be taken for hidden.
const struct {
    SettingList settings;
    double share;
} kVariants[] = {{{{"P_occlusion", 1}}, 0.005},
                 {{{"P_occlusion", 1}, {"GL_hw_occlusion", 1}}, 0.0005},
                 {{{"GL_draw_method", 0}, {"GL_line_method", 0}, {"GL_dlistMax", 0}}, 0},
                 {{{"GL_draw_method", 2}, {"GL_shadow_method", 0}, {"GL_dlistMax", 0}}, 0},
                 {{{"GL_dlistMax", 16384}, {"GL_dlistSize", 262144}, {"GL_dlistShadows", 1}}, 0}};

std::set<std::string> SceneNames() {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("scenes"))
        names.insert(entry.path().filename().string());
    return names;
}

class Flight : public ShellFixture, public testing::WithParamInterface<std::string> {
protected:
    Driver* MakeDriver() override { return DriverFactory::Create("GL", app.display); }
    void SetUp() override {
        app.windowWidth = 320;
        app.windowHeight = 240;
        app.shell.showStats = false;
        ShellFixture::SetUp();
        XMapWindow(app.display, app.renderWindow);
        CaptureStdout([&] { ASSERT_TRUE(LoadScene("scenes/" + GetParam(), app.Selection())); });
        CaptureStdout([&] { RenderFrame(app); });  // takes over the scene's camera
        m_start = app.camera;
    }
    // The RGBA pictures of a flight forward, sideways, and at the end about, with these settings in
    // place of plain ones and with a new driver, which holds no lists yet.
    std::string Fly(SettingList settings) {
        settings.insert(kPlain.begin(), kPlain.end());
        for (const auto& [name, value] : settings) {
            Settings& owner =
                name.starts_with("GL") ? *app.driver : static_cast<Settings&>(*app.renderer);
            owner.Set(name, value);
        }
        std::string pictures;
        CaptureStderr([&] { SwitchDriver(app); });
        for (int frame = 0; frame < kFrames; ++frame) {
            const float t = static_cast<float>(frame) / kFrames;
            const vec3 ahead = m_start.lookat - m_start.pos;
            const vec3 aside = Cross(ahead, m_start.up) * 0.3F;
            app.camera.pos = m_start.pos + ahead * (0.8F * t) + aside * std::sin(5 * t);
            app.camera.lookat = app.camera.pos + ahead + aside * (t < 0.7F ? t : 8 * t - 4.9F);
            CaptureStdout([&] { RenderFrame(app); });
            const Texture shot = app.driver->GetFramebuffer();
            pictures.append(shot.pixels, shot.pixels + 4 * shot.width * shot.height);
        }
        return pictures;
    }

private:
    Camera m_start;
};

// Share of the pixels that differ.
double Difference(const std::string& a, const std::string& b) {
    double count = 0;
    for (std::size_t i = 0; i < a.size(); i += 4)
        count += a.compare(i, 3, b, i, 3) != 0 ? 4 : 0;
    return count / static_cast<double>(a.size());
}

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
    const bool crowd = app.currentRoom->children.size() > kCrowd;
    for (float shadows = 0; shadows <= (crowd ? 0 : 1); ++shadows) {
        app.renderer->Set("F_shadows", shadows);
        const std::string reference = Fly({});
        for (const auto& [settings, share] : kVariants)
            EXPECT_LE(Difference(reference, Fly(settings)), share)
                << testing::PrintToString(settings);
    }
}

INSTANTIATE_TEST_SUITE_P(Scenes, Flight, testing::ValuesIn(SceneNames()),
                         [](const auto& scene) { return scene.param; });
