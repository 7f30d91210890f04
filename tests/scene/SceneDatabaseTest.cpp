// Shared resources with what is told of their release, and the lock of the frames.
#include "SceneFixture.h"

#include "renderer/Renderer.h"
#include "scene/SceneLock.h"
#include "settings/StatisticNames.h"
#include "support/RecordingDriver.h"

#include <unistd.h>

#include <atomic>
#include <fstream>
#include <thread>
#include <vector>

namespace {

using SceneDatabaseTest = SceneFixture;

TEST_F(SceneDatabaseTest, NamesAndReloadsResourcesOfBothKinds) {
    const std::string sheet = Mesh("sheet");
    const std::string image = Image("image");
    GeoImage* mesh = database->GetMesh(sheet, false);
    Texture* texture = database->GetTexture(image, false);
    Texture wide;
    EXPECT_TRUE(wide.SetSize(4, 1, 1) && wide.Save(image, CODEC_FLAT));
    Mesh("sheet", 2);
    EXPECT_TRUE(database->GetMesh(sheet, false) == mesh && mesh->boundsMax.x == 1);
    EXPECT_EQ(Errors("reload " + sheet + " " + image + " /nowhere"), "");
    EXPECT_TRUE(mesh->boundsMax.x == 2 && texture->width == 4);
    // A name of both kinds: its file is one of them, and the other stays as it was.
    Image("sheet");
    Texture* both = database->GetTexture(sheet, false);
    Mesh("sheet", 3);
    EXPECT_NE(Errors("reload " + sheet), "");
    EXPECT_TRUE(mesh->boundsMax.x == 3 && both->width == 2);
    database->ReleaseMesh(mesh);
    EXPECT_EQ(database->ResourceName(mesh), "null://") << "never counted: gone at once";
    CaptureStderr([&] { EXPECT_EQ(database->GetMesh("/none", false), nullptr); });
    EXPECT_EQ(database->ResourceName(nullptr), "/none");
    EXPECT_EQ(End(), "") << "what nobody counted is no leak";
}

TEST_F(SceneDatabaseTest, RenderersHearOfWhatGoesAtOnceAndDriversLater) {
    Renderer renderer;
    RecordingDriver driver;
    RecordingDriver gone;
    database->AddRenderer(&renderer);
    database->AddDriver(&driver);
    database->AddDriver(&gone);
    database->RemoveDriver(&gone);
    Run("room r\nobject a\nset pos 0,0,-900\nset mesh " + Mesh("sheet") +
        "\nshader set lit no\nshader set blend add\nset shade blend");
    At("r", "a")->mesh->error = 0.01F;
    const auto drawnAfter = [&](const std::string& lines) {
        driver.TakeLog();
        renderer.BeginFrame(&driver);
        renderer.Render(command->GetRoom("r"), Camera());
        Run(lines);
        renderer.FinishFrame();
        return driver.draws.size();
    };
    EXPECT_EQ(drawnAfter(""), 1U);
    EXPECT_EQ(drawnAfter(""), 1U);
    EXPECT_EQ(Statistic(renderer.Stats(), stat_names::kCacheEntries), 1);
    EXPECT_EQ(drawnAfter("delete r a"), 0U) << "between two passes of a frame";
    EXPECT_EQ(drawnAfter(""), 0U);
    EXPECT_EQ(Statistic(renderer.Stats(), stat_names::kCacheSize), 0);
    driver.TakeLog();
    database->DrainPurges();
    EXPECT_EQ(driver.TakeLog() + gone.TakeLog(), "Purge unnamed\n");
    command.reset();
}

TEST(FrameLock, ServesInTurnAndForgetsWhoGaveUp) {
    FrameLock lock;
    std::string served;
    std::vector<std::thread> waiting;
    const auto state = [](pid_t thread) {
        std::string word;
        std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
        stat >> word >> word >> word;
        return word;
    };
    const auto queueUp = [&](char name) {
        std::atomic<pid_t> id = 0;
        waiting.emplace_back([&, name] {
            id = gettid();
            lock.lock();
            served += name;
            lock.unlock();
        });
        while (id == 0 || state(id) == "R")
            std::this_thread::yield();
    };
    lock.lock();
    queueUp('a');
    queueUp('b');
    std::thread([&] { EXPECT_FALSE(lock.TryLockFor(5)); }).join();
    queueUp('c');
    lock.unlock();
    // Who comes back at once waits behind the others.
    EXPECT_TRUE(lock.TryLockFor(600000));
    EXPECT_EQ(served, "abc");
    lock.unlock();
    for (std::thread& thread : waiting)
        thread.join();
}

}  // namespace
