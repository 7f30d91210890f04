// Shared resources with what is told of their release, and the lock of the frames.
#include "SceneFixture.h"

#include "drivers/Driver.h"
#include "scene/SceneLock.h"

#include <chrono>
#include <thread>
#include <vector>

namespace {

class PurgeCounter : public Driver {
public:
    int meshes = 0;
    int textures = 0;

    PurgeCounter() : Driver(nullptr) {}
    void Purge(GeoImage*) override { ++meshes; }
    void Purge(Texture*) override { ++textures; }
};

using SceneDatabaseTest = SceneFixture;

TEST_F(SceneDatabaseTest, SharesCountsAndReloadsResources) {
    const std::string sheet = Mesh("sheet");
    GeoImage* mesh = database->GetMesh(sheet, false);
    mesh->AddToken(1);
    Mesh("sheet", 2);
    EXPECT_EQ(database->GetMesh(sheet, false), mesh);
    EXPECT_EQ(mesh->boundsMax.x, 1);
    EXPECT_EQ(database->GetMesh(sheet, true), mesh);
    EXPECT_EQ(mesh->boundsMax.x, 2);
    EXPECT_FALSE(mesh->HasToken(1));
    dir.Write("sheet", "broken");
    CaptureStderr([&] { EXPECT_EQ(database->GetMesh(sheet, true), mesh); });
    EXPECT_EQ(mesh->boundsMax.x, 2);

    database->AddRefMesh(mesh);
    database->AddRefMesh(mesh);
    database->ReleaseMesh(mesh);
    EXPECT_EQ(database->ResourceName(mesh), sheet);
    database->ReleaseMesh(mesh);
    EXPECT_EQ(database->ResourceName(mesh), "null://");
    CaptureStderr([&] { EXPECT_EQ(database->GetMesh(sheet, false), nullptr); });
    EXPECT_EQ(database->ResourceName(nullptr), sheet);
    Mesh("sheet", 3);
    mesh = database->GetMesh(sheet, false);
    database->ReleaseMesh(mesh);
    EXPECT_EQ(database->ResourceName(mesh), "null://") << "never counted: gone at once";
    database->AddRefMesh(nullptr);
    database->ReleaseMesh(nullptr);

    // Reloading keeps a texture's flags.
    const std::string image = Image("image");
    Texture* texture = database->GetTexture(image, false);
    texture->uploads[this] = 1;
    Texture changed;
    changed.filter = false;
    EXPECT_TRUE(changed.SetSize(4, 1, 1) && changed.Save(image, CODEC_FLAT));
    EXPECT_EQ(Errors("reload " + sheet + " " + image + " /nowhere"), "");
    EXPECT_TRUE(texture->width == 4 && texture->filter && texture->uploads.empty());
    EXPECT_EQ(End(), "") << "what nobody counted is no leak";
}

TEST_F(SceneDatabaseTest, DriversHearOfAReleaseLaterOnTheirOwnThread) {
    PurgeCounter driver;
    PurgeCounter gone;
    database->AddDriver(&driver);
    database->AddDriver(&gone);
    database->ReleaseMesh(database->GetMesh(Mesh("sheet"), false));
    database->ReleaseTexture(database->GetTexture(Image("image"), false));
    database->RemoveDriver(&gone);
    EXPECT_EQ(driver.meshes, 0);
    database->DrainPurges();
    database->DrainPurges();
    EXPECT_TRUE(driver.meshes == 1 && driver.textures == 1);
    EXPECT_EQ(gone.meshes + gone.textures, 0);
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
