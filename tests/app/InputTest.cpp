// Every key changes what it is bound to, within its limits; the mouse turns, slides and flies.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

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
    for (const auto& [key, name] :
         {std::pair{"m", "P_mipmesh"}, {"o", "P_occlusion"}, {"s", "F_shadows"}}) {
        const bool before = app.renderer->GetBool(name);
        Press(key);
        EXPECT_NE(before, app.renderer->GetBool(name)) << name;
    }
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

TEST_F(Input, MouseTurnsSlidesAndFliesLikeAPlainSecondVersion) {
    std::mt19937 random(3);
    const auto coordinate = [&] { return static_cast<float>(random() % 2001) / 100 - 10; };
    for (int round = 0; round < 300; ++round) {
        Camera& camera = app.camera;
        for (vec3* v : {&camera.pos, &camera.lookat, &camera.up, &app.velocity})
            *v = {coordinate(), coordinate(), coordinate()};
        app.windowHeight = 100 + static_cast<int>(random() % 1000);
        camera.fov = random() % 2 == 0 ? 8 : 172;
        const unsigned buttons = random();  // all but the first three and the wheel do nothing
        const int x = static_cast<int>(random() % 200) - 100;
        const int y = static_cast<int>(random() % 200) - 100;
        const dvec3 pos(camera.pos);
        const dvec3 lookat(camera.lookat);
        const dvec3 direction = Normalise(lookat - pos);
        const dvec3 right = Normalise(Cross(direction, dvec3(camera.up)));
        const dvec3 onScreen = double(x) * right + double(-y) * Cross(right, direction);
        dvec3 look = direction;
        dvec3 velocity(app.velocity);
        float fov = camera.fov;
        if (buttons & 1) look = look + (1.0 / app.windowHeight) * onScreen;
        if (buttons & 2) velocity = velocity + 0.01 * onScreen;
        if (buttons & 4) {
            velocity = velocity + 0.02 * -y * look;
            look = look + double(x) / app.windowHeight * right;
        }
        if (buttons & 8) fov = std::max(5.0F, fov - 5);
        if (buttons & 16) fov = std::min(175.0F, fov + 5);
        const bool drags = (buttons & 7) != 0 && (x != 0 || y != 0);
        Drag(buttons, x, y);
        const dvec3 wanted = drags ? 0.7 * lookat + 0.3 * (pos + look) : lookat;
        EXPECT_LT(Length(dvec3(camera.lookat) - wanted), 1e-4);
        EXPECT_LT(Length(dvec3(app.velocity) - velocity), 1e-4);
        EXPECT_FLOAT_EQ(camera.fov, fov);
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
