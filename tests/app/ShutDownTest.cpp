// The end of the program while a console command does not come to its own.
#include <gtest/gtest.h>

#include <mutex>
#include <thread>

#include "ShellFixture.h"
#include "scene/SceneLock.h"
#include "support/Capture.h"

namespace {
using ShutDownTest = ShellFixture;

TEST_F(ShutDownTest, SavesButReleasesNothingThatARunningCommandUses) {
    app.registry->SetString("own", "word");
    app.driverName = "Idle";
    app.driver->Set("GL_mblur%", 0.75F);
    app.shell.ediverg = 2;
    std::unique_lock command(frameLock, std::defer_lock);
    std::thread console([&] { command.lock(); });
    console.join();
    bool finished = true;
    const std::string said = CaptureStderr([&] { finished = ShutDown(app, 20); });
    app.registry = nullptr;  // deleted, and so written
    EXPECT_FALSE(finished);
    EXPECT_EQ("A console command is still running; its scene is not released\n", said);
    EXPECT_EQ(1, IdleDriver::alive);
    command.unlock();
    const Registry saved(RegistryFile());
    EXPECT_EQ("word", saved.GetString("own"));
    EXPECT_EQ("Idle", saved.GetString("driver"));
    EXPECT_EQ("0.75", saved.GetString("setting/GL_mblur%"));
    EXPECT_EQ("2", saved.GetString("testRender/ediverg"));
}
}  // namespace
