// The switch to the next driver, start-up without one that works, and the end of the program while
// a console command does not come to its own.
#include <gtest/gtest.h>

#include <filesystem>
#include <mutex>
#include <thread>

#include "ShellFixture.h"
#include "app/DriverSwitch.h"
#include "app/EventLoop.h"
#include "scene/SceneLock.h"
#include "support/Capture.h"

#include <X11/keysym.h>

namespace {
class TestFactory : public DriverFactory {
public:
    char makes = 'D';  // a driver, 'V' one without a visual, '-' none

    explicit TestFactory(const char* name) : DriverFactory(name, name) { Register(this); }
    Driver* Make(Display* display) override {
        return makes == '-' ? nullptr : new IdleDriver(display, makes == 'D');
    }
};
TestFactory factories[] = {TestFactory("A"), TestFactory("B"), TestFactory("C")};

// What A, B and C make from now on.
void LetMake(const std::string& made) {
    for (const std::size_t i : {0, 1, 2})
        factories[i].makes = made[i];
}

class DriverSwitch : public ShellFixture {
protected:
    void SetUp() override {
        ShellFixture::SetUp();
        app.driverName = "A";
        LetMake("DDD");
    }
    // The messages of a switch.
    std::string Switch(bool expected) {
        const std::string text = CaptureStderr([&] { SwitchDriver(app); });
        EXPECT_EQ(expected, app.driver != nullptr);
        return WithoutAddresses(text);
    }
};

TEST_F(DriverSwitch, TakesTheNextThatWorksWithItsSettingsAndAWindowOfItsOwn) {
    const Window before = app.renderWindow;
    app.windowWidth = 321;
    app.driver->Set("GL_mblur%", 0.25F);
    EXPECT_EQ("Switching to driver B\nNew driver = *\n", Switch(true));
    EXPECT_EQ("B", app.driverName);
    EXPECT_FLOAT_EQ(0.25F, app.driver->Get("GL_mblur%")) << "saved by the old, loaded by the new";
    EXPECT_NE(before, app.renderWindow);
    LetMake("VD-");
    EXPECT_EQ(
        "Switching to driver C\nSwitching to driver A\nNew driver = *\n"
        "could not obtain appropriate visual\nSwitching to driver B\nNew driver = *\n",
        Switch(true));
    EXPECT_EQ(std::set<Driver*>{app.driver}, app.database->Drivers());
    EXPECT_EQ(1, IdleDriver::alive);
    XWindowAttributes window{};
    XGetWindowAttributes(app.display, app.renderWindow, &window);
    EXPECT_TRUE(window.map_state != IsUnmapped && window.width == app.windowWidth);
}

TEST_F(DriverSwitch, KeepsTheOldDriverUnlessItIsGoneWhenNoneWorks) {
    LetMake("---");
    Driver* const old = app.driver;
    EXPECT_EQ("Switching to driver B\nSwitching to driver C\nSwitching to driver A\n",
              Switch(true));
    EXPECT_TRUE(old == app.driver && app.driverName == "A");
    EXPECT_EQ(std::set<Driver*>{old}, app.database->Drivers());
    LetMake("--V");
    EXPECT_EQ(
        "Switching to driver B\nSwitching to driver C\nNew driver = *\n"
        "could not obtain appropriate visual\nSwitching to driver A\n",
        Switch(false));
    EXPECT_TRUE(app.driver == nullptr && app.driverName == "A");
    EXPECT_TRUE(app.database->Drivers().empty() && IdleDriver::alive == 0);
}

TEST_F(DriverSwitch, StartUpTriesNoEarlierNamesAndSavesNothingWhenNoneIsLeft) {
    const TempDir home;
    std::filesystem::create_directory(home.File(".Pallix"));
    home.Write(".Pallix/registry", "kept 1\n");
    setenv("HOME", home.Path().c_str(), 1);
    char program[] = "pallix", option[] = "-driver", name[] = "B";
    char* arguments[] = {program, option, name};
    Application started;
    LetMake("D--");
    EXPECT_EQ(
        "Creating registry: File exists\nDriver B creation failed\nDriver C creation failed\n"
        "Too many tries; aborting\n",
        CaptureStderr(
            [&] { CaptureStdout([&] { EXPECT_FALSE(StartUp(started, 3, arguments)); }); }));
    EXPECT_EQ("kept 1\n", home.Read(".Pallix/registry"));
    Release(started);
}

TEST_F(DriverSwitch, QuittingSavesButReleasesNothingThatARunningCommandUses) {
    app.registry->SetString("own", "word");
    app.driver->Set("GL_mblur%", 0.75F);
    app.shell.ediverg = 2;
    std::unique_lock command(frameLock, std::defer_lock);
    std::thread([&] { command.lock(); }).join();
    XSync(app.display, True);
    XEvent press{};
    press.xkey.type = KeyPress;
    press.xkey.display = app.display;
    press.xkey.keycode = XKeysymToKeycode(app.display, XK_q);
    XPutBackEvent(app.display, &press);
    EventLoop(app);  // ends by the key although no frame can be drawn
    EXPECT_EQ("A console command is still running; its scene is not released\n",
              CaptureStderr([&] { EXPECT_FALSE(ShutDown(app, 20)); }));
    app.registry = nullptr;  // deleted, and so written
    EXPECT_EQ(1, IdleDriver::alive);
    command.unlock();
    const Registry saved(dir.File("registry"));
    for (const auto& [key, value] : {std::pair{"own", "word"},
                                     {"driver", "A"},
                                     {"setting/GL_mblur%", "0.75"},
                                     {"testRender/ediverg", "2"}})
        EXPECT_EQ(value, saved.GetString(key)) << key;
}
}  // namespace
