// The scene without its language: the octrees that objects are kept in, shared resources with what
// is told of their release, and the lock of the frames.
#include "SceneFixture.h"

#include "renderer/Renderer.h"
#include "scene/Camera.h"
#include "scene/SceneFile.h"
#include "scene/SceneLock.h"
#include "settings/Registry.h"
#include "settings/StatisticNames.h"
#include "support/RecordingDriver.h"

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <random>
#include <thread>

namespace {

// A room with parts and parts of these. Radii a second time: they grow where a change is, and one
// level further up, and only removals recompute them.
TEST(ObjectOctree, RandomChangesReachOneLevelUp) {
    std::mt19937 random(1);
    Object room;
    std::vector<Object> objects(40);  // ten groups and the parts of each
    std::vector<GeoImage> meshes(6);
    for (int i = 0; i < 6; ++i)
        meshes[i].radius = static_cast<float>(i);
    std::map<const Object*, float> radii;
    const auto own = [](const Object& o) { return o.mesh != nullptr ? o.mesh->radius : 0; };
    const auto widen = [&](Object* parent, const Object& child) {
        if (parent) radii[parent] = std::max(radii[parent], Length(child.pos) + radii[&child]);
    };
    for (int step = 0; step < 4000; ++step) {
        const std::size_t i = random() % objects.size();
        Object& object = objects[i];
        Object& above = i < 10 ? room : objects[i % 10];
        const bool inside = object.parent != nullptr;
        for (Object& each : objects)
            each.derivedCache = {&room};
        room.derivedCache = {&room};
        if (const auto action = random() % 8; action == 0 && inside) {
            EXPECT_TRUE(above.RemoveChild(std::to_string(i)));
            radii[&above] = own(above);
            for (const auto& [name, child] : above.children)
                widen(&above, *child);  // the one that goes among them
            above.children.erase(std::to_string(i));
            object.parent = nullptr;
        } else if (!inside) {
            above.AddChild(std::to_string(i), &object);
            widen(&above, object);
            if (above.parent) widen(above.parent, above);
            EXPECT_EQ(room.derivedCache.empty(), &above == &room || above.parent);
        } else if (action < 4) {
            object.SetMesh(&meshes[random() % meshes.size()]);
            radii[&object] = std::max(radii[&object], own(object));
            widen(&above, object);
            EXPECT_TRUE(object.derivedCache.empty());
        } else {
            const auto far = [&] { return static_cast<float>(random() % 30); };
            object.SetPosition({far(), far(), far()});
            widen(&above, object);
            for (const auto& [name, child] : object.children)
                EXPECT_TRUE(child->derivedCache.empty()) << "parts move along";
        }
        EXPECT_TRUE(above.derivedCache.empty());
        EXPECT_TRUE(&above == &room || !inside || !room.derivedCache.empty());
        for (const Object& each : objects) {
            EXPECT_FLOAT_EQ(each.Radius(true), radii[&each]);
            EXPECT_EQ(each.octreeLink != nullptr, each.parent != nullptr);
        }
        ASSERT_FLOAT_EQ(room.radius, radii[&room]) << "step " << step;
    }
}

TEST(ObjectOctree, WhatIsMissingIsReportedAndOddRadiiAreHeld) {
    Object parent;
    Object child;
    GeoImage odd;
    parent.AddChild("b", &child);
    EXPECT_TRUE(parent.RemoveChild("b"));
    const std::string warning = "Warning: node " + Address(&parent);
    EXPECT_EQ(CaptureStderr([&] {
                  EXPECT_TRUE(parent.RemoveChild("b"));
                  child.SetPosition({0, 3e30F, 4e30F});
              }),
              warning + " couldn't find child b(" + Address(&child) + ") in octree map\n" +
                  warning + " couldn't find child " + Address(&child) + " in octree map\n");
    EXPECT_EQ(child.octreeLink, &parent.ChildOctree()) << "a move inserts what is missing";
    EXPECT_FLOAT_EQ(parent.radius, 5e30F);
    child.SetPosition({3.4e38F, 3.4e38F, -3.4e38F});
    EXPECT_FALSE(std::isnan(parent.radius));
    child.SetPosition({0, 0, 7});
    EXPECT_TRUE(parent.RemoveChild("b"));
    parent.children.erase("b");
    EXPECT_EQ(CaptureStderr([&] { EXPECT_FALSE(parent.RemoveChild("b")); }),
              warning + " requested to remove non-child b\n");
    parent.AddChild("nobody", nullptr);
    odd.radius = -1;
    parent.SetMesh(&odd);
    EXPECT_TRUE(parent.radius == 0 && parent.Radius(false) == -1) << "negative ones recompute";
}

TEST_F(Scene, NamesAndReloadsResourcesOfBothKinds) {
    const std::string sheet = Mesh("sheet");
    const std::string image = Image("image");
    const std::string reload = "reload " + sheet + ' ' + image;
    dir.Write("image", "sTXT" + dir.Read("image").substr(9));  // the older kind, without flags
    GeoImage* mesh = database->GetMesh(sheet, false);
    Texture* texture = database->GetTexture(image, false);
    ASSERT_TRUE(mesh && texture && texture->filter && texture->mipmap);
    database->AddRefMesh(mesh);
    mesh->AddToken(1);
    texture->uploads.insert(this);
    dir.Write("sheet", "damaged");
    dir.Write("image", "damaged");
    EXPECT_NE(Errors(reload), "");
    EXPECT_TRUE(mesh->width == 2 && mesh->HasToken(1));
    EXPECT_TRUE(texture->pixels && texture->width == 2 && texture->uploads.size() == 1);
    // A mesh takes over everything, a texture keeps its flags.
    GeoImage larger = SquareMesh(2, 0);
    larger.wrapRows = true;
    larger.error = 3;
    Texture wide;
    wide.filter = wide.mipmap = false;
    EXPECT_TRUE(larger.Save(sheet, CODEC_FLAT) && wide.SetSize(4, 1, 1) &&
                wide.Save(image, CODEC_FLAT));
    EXPECT_TRUE(database->GetMesh(sheet, false) == mesh && mesh->boundsMax.x == 1);
    EXPECT_EQ(Errors(reload + " /nowhere"), "");
    EXPECT_TRUE(mesh->boundsMax.x == 2 && mesh->radius > 2 && mesh->error == 3);
    EXPECT_TRUE(mesh->wrapRows && !mesh->wrapColumns && !mesh->HasToken(1));
    EXPECT_TRUE(texture->width == 4 && texture->channels == 1 && texture->uploads.empty());
    EXPECT_TRUE(texture->filter && texture->mipmap);
    // A name of both kinds: its file is one of them, and the other stays as it was.
    Image("sheet");
    Texture* both = database->GetTexture(sheet, false);
    Mesh("sheet", 3);
    EXPECT_NE(Errors("reload " + sheet), "");
    EXPECT_TRUE(mesh->boundsMax.x == 3 && both->width == 2);
    database->ReleaseMesh(mesh);
    database->ReleaseTexture(texture);
    EXPECT_EQ(database->ResourceName(mesh) + database->ResourceName(texture), "null://null://")
        << "gone with the last user, or without any";
    CaptureStderr([&] { EXPECT_EQ(database->GetMesh("/none", false), nullptr); });
    EXPECT_EQ(database->ResourceName(nullptr), "/none");
    EXPECT_EQ(End(), "") << "what nobody counted is no leak";
}

TEST_F(Scene, FindsWhatTheWorkingFolderLacksBesideTheSceneWhereverThatIsMovedTo) {
    std::filesystem::create_directories(dir.File("one/meshes"));
    std::filesystem::create_directory(dir.File("two"));
    Mesh("one/part");
    Mesh("one/meshes/sphere");
    Image("one/pic");
    Mesh("two/part", 2);
    const std::string pair = "set mesh part\nshader set texture pic\nset shade base\n";
    dir.Write("one/scene", "room r\nobject a\n" + pair + "object s\nset mesh meshes/sphere\n");
    dir.Write("two/scene", "room r\nobject b\nset mesh part\nset mesh " + dir.File("part"));
    const auto load = [this](const std::string& path) {
        const Registry registry{dir.File("registry")};
        Camera camera;
        Room* room = nullptr;
        std::string recname;
        return CaptureStderr([&] {
            CaptureStdout([&] {
                LoadRoom(dir.File(path), {*command, registry, camera, room, recname});
            });
        });
    };
    const auto size = [this](const char* object) { return At("r", object)->mesh->boundsMax.x; };
    EXPECT_EQ(load("one/scene"), "");
    EXPECT_GT(At("r", "s")->mesh->width, 2) << "the working folder comes first";
    EXPECT_EQ(load("two/scene"), "GeoImage::Load: could not open file " + dir.File("part") + '\n');
    EXPECT_TRUE(size("a") == 1 && size("b") == 2) << "one name, two files";
    const std::string missing = "GeoImage::Load: could not open file part\n";
    EXPECT_EQ(Errors("object c\nset mesh part"), missing) << "no scene file names it";
    const std::string emitted = Emit();
    EXPECT_EQ(emitted.find(dir.Path()), std::string::npos);
    EXPECT_NE(emitted.find("shader set texture pic\n"), std::string::npos);
    Mesh("one/part", 3);
    Mesh("two/part", 4);
    EXPECT_EQ(Errors("reload part"), "");
    EXPECT_TRUE(size("a") == 3 && size("b") == 4);
    dir.Write("two/part", "damaged");
    std::filesystem::rename(dir.File("one"), dir.File("moved"));
    EXPECT_EQ(Errors("reload part"), missing + "GeoImage::Load: file part not a PALLIX GeoImage\n");
    Run("delete r\nshader new");
    EXPECT_EQ(load("moved/scene"), "");
    EXPECT_EQ(size("a"), 3);
}

TEST_F(Scene, RenderersHearOfWhatGoesAtOnceAndDriversLater) {
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
    std::vector<std::jthread> waiting;
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
}

}  // namespace
