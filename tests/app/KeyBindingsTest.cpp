// Every key changes what it is bound to, within its limits, and asks for a frame.
#include <gtest/gtest.h>

#include "app/KeyBindings.h"

#include <cmath>
#include <string>

#include "ShellFixture.h"
#include "app/EventLoop.h"
#include "support/Capture.h"

#include <X11/Xutil.h>
#include <X11/keysym.h>

namespace {
class Keys : public ShellFixture {
protected:
    // Presses the key with that symbol, with Shift when the keyboard needs it.
    bool PressSymbol(KeySym symbol) {
        XKeyEvent event{};
        event.type = KeyPress;
        event.display = app.display;
        event.keycode = XKeysymToKeycode(app.display, symbol);
        if (XLookupKeysym(&event, 0) != symbol) event.state = ShiftMask;
        return HandleKey(app, event);
    }
    // Latin-1 key symbols are the characters themselves.
    void Press(const std::string& keys) {
        for (const char key : keys) {
            app.redrawRequested = false;
            EXPECT_FALSE(PressSymbol(static_cast<KeySym>(key))) << key;
            EXPECT_TRUE(app.redrawRequested) << key;
        }
    }
};

TEST_F(Keys, ChangeCountersSwitchesAndStereo) {
    EXPECT_TRUE(PressSymbol(XK_q));
    EXPECT_TRUE(PressSymbol(XK_Escape));
    EXPECT_FALSE(app.redrawRequested);
    EXPECT_FALSE(PressSymbol(XK_Shift_L)) << "a key without a character";
    EXPECT_TRUE(app.redrawRequested);
    Press("xQ~ 009!@1233`pPkfr)))(");
    EXPECT_EQ(2, app.frameNumber);
    EXPECT_FALSE(app.drawLeftEye || app.drawRightEye);
    EXPECT_TRUE(app.shell.emask[0] && !app.shell.emask[1]);
    EXPECT_TRUE(app.shell.emask[2]) << "toggled twice";
    EXPECT_TRUE(app.shell.anaglyph && app.jiggle && app.recording && app.shell.ratecap);
    EXPECT_FALSE(app.paused || app.shell.showStats);
    EXPECT_NEAR(0.02F, app.shell.ediverg, 1e-6);
}

TEST_F(Keys, StopAtLimits) {
    // The rate when it is capped, else the detail.
    const auto steps = [&](bool ratecap, float from, const char* keys) {
        app.shell.ratecap = ratecap;
        app.shell.caprate = app.shell.baseLOD = from;
        Press(keys);
        EXPECT_TRUE((ratecap ? app.shell.baseLOD : app.shell.caprate) == from || std::isnan(from));
        return ratecap ? app.shell.caprate : app.shell.baseLOD;
    };
    EXPECT_FLOAT_EQ(0.1F, steps(false, 0.15F, "-"));
    EXPECT_FLOAT_EQ(0.3F, steps(false, 0.1F, "-+="));
    EXPECT_FLOAT_EQ(0.1F, steps(false, NAN, "-"));
    EXPECT_FLOAT_EQ(0.5F, steps(true, 2.5F, "--"));
    EXPECT_FLOAT_EQ(1.5F, steps(true, 0.5F, "-+"));
    app.camera.fov = 8;
    Press("]");
    EXPECT_FLOAT_EQ(5, app.camera.fov);
    app.camera.fov = 172;
    Press("[");
    EXPECT_FLOAT_EQ(175, app.camera.fov);
    app.camera = {.pos = {1, 2, 3}, .lookat = {1, 2, -7}};
    Press("aaz");
    app.camera.lookat = app.camera.pos;
    Press("a");
    EXPECT_EQ(vec3(0, 0, -1), app.velocity) << "no direction to fly in";
}

TEST_F(Keys, ChangeSettingsAndReportThoseThatTheDriverLacks) {
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
    EXPECT_EQ(
        "*** Attempt to read nonexistent setting GL_mblur%\n"
        "*** Attempt to read nonexistent setting GL_mblur%\n"
        "*** Attempt to read nonexistent setting GL_mblur\n",
        CaptureStderr([&] { Press("<>b"); }));
}
}  // namespace
