// Every key changes what it is bound to, within its limits; the mouse turns, slides and flies.
#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "ShellFixture.h"
#include "app/KeyBindings.h"
#include "app/MouseInput.h"
#include "support/Capture.h"

namespace {
class Input : public ShellFixture {
protected:
    void Press(const std::string& keys) {
        for (const char key : keys)
            FindKeyBinding(key)->action(app);
    }
    // Presses these buttons (bit by bit) at (50, 50), drags to (50 + x, 50 + y) and lets them go.
    void Drag(unsigned buttons, int x, int y) {
        const vec3 before = app.camera.lookat;
        for (unsigned button = 1; button <= 32; ++button)
            if (buttons >> (button - 1) & 1) HandleMouse(app, button, true, 50, 50);
        EXPECT_EQ(before, app.camera.lookat) << "a press alone changes nothing";
        app.redrawRequested = false;
        HandleMouse(app, 0, false, 50 + x, 50 + y);
        EXPECT_TRUE(app.redrawRequested);
        for (unsigned button = 0; button <= 32; ++button)
            HandleMouse(app, button, false, 50, 50);
    }
};

TEST_F(Input, KeysChangeTheShellWithinItsLimits) {
    Press(" 009!@1233`pPkfr)))([[]");
    EXPECT_TRUE(app.frameNumber == 2 && app.camera.fov == 65);
    const bool* mask = app.shell.emask;
    EXPECT_TRUE(mask[0] && !mask[1] && mask[2]) << "the third toggled twice";
    EXPECT_TRUE(app.shell.anaglyph && app.jiggle && app.recording && app.shell.ratecap);
    EXPECT_FALSE(app.paused || app.shell.showStats || app.drawLeftEye || app.drawRightEye);
    EXPECT_NEAR(0.02F, app.shell.ediverg, 1e-6);

    const struct {
        bool ratecap;  // then the rate is stepped, else the detail
        float from;
        const char* keys;
        float to;
    } steps[] = {{false, 0.15F, "-", 0.1F},
                 {false, 0.1F, "-+=", 0.3F},
                 {false, NAN, "-", 0.1F},
                 {true, 2.5F, "--", 0.5F},
                 {true, 0.5F, "-+", 1.5F}};
    for (const auto& [ratecap, from, keys, to] : steps) {
        app.shell.ratecap = ratecap;
        app.shell.caprate = app.shell.baseLOD = from;
        Press(keys);
        EXPECT_FLOAT_EQ(to, ratecap ? app.shell.caprate : app.shell.baseLOD) << keys;
        const float other = ratecap ? app.shell.baseLOD : app.shell.caprate;
        EXPECT_TRUE(other == from || std::isnan(from));
    }
    app.camera = {.pos = {1, 2, 3}, .lookat = {1, 2, -7}};
    Press("aaz");
    app.camera.lookat = app.camera.pos;
    Press("a");
    EXPECT_EQ(vec3(0, 0, -1), app.velocity) << "no direction to fly in";
}

TEST_F(Input, KeysChangeSettingsAndReportThoseThatTheDriverLacks) {
    Press("mos");
    const Renderer& renderer = *app.renderer;
    EXPECT_FALSE(renderer.GetBool("P_mipmesh") || renderer.GetBool("P_occlusion"));
    EXPECT_TRUE(renderer.GetBool("F_shadows"));
    Press("wb>>>{{}<");
    EXPECT_TRUE(app.driver->GetBool("D_wireframe") && app.driver->GetBool("GL_mblur"));
    EXPECT_NEAR(0.6F, app.driver->Get("GL_mblur%"), 1e-6);
    EXPECT_NEAR(0.99F, app.driver->Get("D_shadowoffset"), 1e-6);

    app.database->RemoveDriver(app.driver);
    delete app.driver;
    app.driver = new Driver(app.display);
    const std::string lacks = "*** Attempt to read nonexistent setting GL_mblur";
    EXPECT_EQ(lacks + "%\n" + lacks + "%\n" + lacks + "\n", CaptureStderr([&] { Press("<>b"); }));
}

TEST_F(Input, MouseTurnsSlidesAndFlies) {
    const struct {
        unsigned buttons;
        int x, y;
        vec3 lookat, velocity;
        float fov;
    } drags[] = {{1, 50, 0, {1.15F, 2, -4.3F}, {1, 2, 3}, 60},
                 {1, 0, -20, {1, 2.06F, -4.3F}, {1, 2, 3}, 60},
                 {2, 50, -20, {1, 2, -4.3F}, {1.5F, 2.2F, 3}, 60},
                 {4, 50, -20, {1.15F, 2, -4.3F}, {1, 2, 2.6F}, 60},
                 {7, 50, -20, {1.3F, 2.06F, -4.3F}, {1.7F, 2.28F, 2.6F}, 60},
                 {8, 50, -20, {1, 2, -7}, {1, 2, 3}, 55},
                 {16, 50, -20, {1, 2, -7}, {1, 2, 3}, 65},
                 {~31U, 50, -20, {1, 2, -7}, {1, 2, 3}, 60}};
    app.windowHeight = 100;
    for (const auto& [buttons, x, y, lookat, velocity, fov] : drags) {
        app.camera = {.pos = {1, 2, 3}, .lookat = {1, 2, -7}, .up = {0, 5, 3}};
        app.velocity = {1, 2, 3};
        Drag(buttons, x, y);
        EXPECT_LT(Length(app.camera.lookat - lookat) + Length(app.velocity - velocity), 1e-5F);
        EXPECT_EQ(app.camera.fov, fov) << buttons;
    }
    for (const auto& [from, wheel, to] : {std::tuple{8.0F, 8, 5.0F}, {172.0F, 16, 175.0F}}) {
        app.camera.fov = from;
        Drag(wheel, 0, 0);
        EXPECT_EQ(app.camera.fov, to) << "a limit";
    }
    for (const Camera& camera : {Camera{.lookat = {0, 0, 0}}, Camera{.lookat = {0, 1, 0}},
                                 Camera{.up = {0, 0, 0}}, Camera{{3e38F, 0, 0}, {-3e38F, 0, 0}}}) {
        app.camera = camera;
        app.windowHeight = 0;
        Drag(7, 32767, -32768);
        EXPECT_TRUE(std::isfinite(Length(app.velocity)));
        EXPECT_FALSE(std::isnan(app.camera.lookat.x + app.camera.lookat.y + app.camera.lookat.z));
    }
}
}  // namespace
