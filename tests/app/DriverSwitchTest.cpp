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
        app.driverName = std::string("A");
    }
    // Switches while A, B and C make that; what is said, and then in use.
    void Switch(const std::string& made, const std::string& said, const std::string& name) {
        LetMake(made);
        EXPECT_EQ(said, WithoutAddresses(CaptureStderr([&] { SwitchDriver(app); })));
        EXPECT_EQ(name, app.driverName);
    }
};

TEST_F(DriverSwitch, TakesTheNextThatWorksAndKeepsTheOldUnlessItIsGoneWhenNoneWorks) {
    const std::string toA = "Switching to driver A\n";
    const std::string toB = "Switching to driver B\n";
    const std::string toC = "Switching to driver C\n";
    const std::string made = "New driver = *\n";
    const std::string blind = made + "could not obtain appropriate visual\n";
    app.driver->Set("GL_mblur%", 0.25F);
    Switch("DDD", toB + made, "B");
    EXPECT_FLOAT_EQ(0.25F, app.driver->Get("GL_mblur%")) << "saved by the old, loaded by the new";
    Switch("VD-", toC + toA + blind + toB + made, "B");
    Driver* const kept = app.driver;
    Switch("---", toC + toA + toB, "B");
    EXPECT_EQ(kept, app.driver);
    EXPECT_EQ(std::set{kept}, app.database->Drivers());
    EXPECT_EQ(1, IdleDriver::alive);
    Switch("V--", toC + toA + blind + toB, "B");
    EXPECT_EQ(nullptr, app.driver);
    EXPECT_TRUE(app.database->Drivers().empty() && IdleDriver::alive == 0);
}

TEST_F(DriverSwitch, StartUpTriesNoEarlierNamesAndSavesNothingWhenNoneIsLeft) {
    std::filesystem::create_directory(dir.File(".Pallix"));
    dir.Write(".Pallix/registry", "kept 1\n");
    setenv("HOME", dir.Path().c_str(), 1);
    char program[] = "pallix", option[] = "-driver", name[] = "B";
    char* arguments[] = {program, option, name};
    Application started;
    LetMake("D--");
    EXPECT_EQ(
        "Creating registry: File exists\nDriver B creation failed\nDriver C creation failed\n"
        "Too many tries; aborting\n",
        CaptureStderr(
            [&] { CaptureStdout([&] { EXPECT_FALSE(StartUp(started, 3, arguments)); }); }));
    EXPECT_EQ("kept 1\n", dir.Read(".Pallix/registry"));
    Release(started);
}

TEST_F(DriverSwitch, QuittingSavesButReleasesNothingThatARunningCommandUses) {
    app.registry->SetString("own", "word");
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
    EXPECT_EQ("word 2", saved.GetString("own") + " " + saved.GetString("testRender/ediverg"));
}
}  // namespace
