// Shared resources with what is told of their release, and the lock of the frames.
#include "SceneFixture.h"

#include "scene/SceneLock.h"
#include "support/RecordingDriver.h"

#include <chrono>
#include <thread>
#include <vector>

namespace {

using SceneDatabaseTest = SceneFixture;

TEST_F(SceneDatabaseTest, SharesCountsAndReloadsResources) {
    const std::string sheet = Mesh("sheet");
    GeoImage* mesh = database->GetMesh(sheet, false);
    Mesh("sheet", 2);
    EXPECT_EQ(database->GetMesh(sheet, false), mesh);
    EXPECT_EQ(mesh->boundsMax.x, 1);
    EXPECT_EQ(database->GetMesh(sheet, true), mesh);
    EXPECT_EQ(mesh->boundsMax.x, 2);

    database->AddRefMesh(mesh);
    database->AddRefMesh(mesh);
    database->ReleaseMesh(mesh);
    EXPECT_EQ(database->ResourceName(mesh), sheet);
    database->ReleaseMesh(mesh);
    EXPECT_EQ(database->ResourceName(mesh), "null://");
    dir.Write("sheet", "broken");
    CaptureStderr([&] { EXPECT_EQ(database->GetMesh(sheet, false), nullptr); });
    EXPECT_EQ(database->ResourceName(nullptr), sheet);
    Mesh("sheet", 3);
    mesh = database->GetMesh(sheet, false);
    database->ReleaseMesh(mesh);
    EXPECT_EQ(database->ResourceName(mesh), "null://") << "never counted: gone at once";
    database->AddRefMesh(nullptr);
    database->ReleaseMesh(nullptr);

    const std::string image = Image("image");
    Texture* texture = database->GetTexture(image, false);
    Texture wide;
    EXPECT_TRUE(wide.SetSize(4, 1, 1) && wide.Save(image, CODEC_FLAT));
    Mesh("sheet", 4);
    mesh = database->GetMesh(sheet, false);
    Mesh("sheet", 5);
    EXPECT_EQ(Errors("reload " + sheet + " " + image + " /nowhere"), "");
    EXPECT_TRUE(mesh->boundsMax.x == 5 && texture->width == 4);
    EXPECT_EQ(End(), "") << "what nobody counted is no leak";
}

TEST_F(SceneDatabaseTest, DriversHearOfAReleaseLaterOnTheirOwnThread) {
    RecordingDriver driver;
    RecordingDriver gone;
    database->AddDriver(&driver);
    database->AddDriver(&gone);
    GeoImage* mesh = database->GetMesh(Mesh("sheet"), false);
    Texture* texture = database->GetTexture(Image("image"), false);
    driver.Name(mesh, "sheet");
    driver.Name(texture, "image");
    database->ReleaseMesh(mesh);
    database->ReleaseTexture(texture);
    database->RemoveDriver(&gone);
    EXPECT_EQ(driver.TakeLog(), "");
    database->DrainPurges();
    database->DrainPurges();
    EXPECT_EQ(driver.TakeLog(), "Purge sheet\nPurge image\n");
    EXPECT_EQ(gone.TakeLog(), "");
}

TEST(FrameLock, ServesInTurnAndForgetsWhoGaveUp) {
    FrameLock lock;
    std::string served;
    std::vector<std::thread> waiting;
    const auto queueUp = [&](char name) {
        waiting.emplace_back([&, name] {
            lock.lock();
            served += name;
            lock.unlock();
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    };
    lock.lock();
    queueUp('a');
    queueUp('b');
    std::thread([&] { EXPECT_FALSE(lock.TryLockFor(5)); }).join();
    queueUp('c');
    lock.unlock();
    // Who comes back at once waits behind the others.
    EXPECT_TRUE(lock.TryLockFor(10000));
    EXPECT_EQ(served, "abc");
    lock.unlock();
    for (std::thread& thread : waiting)
        thread.join();
}

}  // namespace
