// Paths, records, shared resources and the locks of the scene, without the command language.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "drivers/Driver.h"
#include "geometry/Codec.h"
#include "renderer/Renderer.h"
#include "scene/Room.h"
#include "scene/SceneDatabase.h"
#include "scene/SceneLock.h"
#include "scene/ScenePath.h"
#include "support/Capture.h"
#include "support/TempFile.h"

namespace {

void DestroyChildren(Object& object) {
    SceneDatabase database;
    for (const auto& [name, child] : object.children)
        database.DestroyObject(child);
    object.children.clear();
}

class PurgeCounter : public Driver {
public:
    int meshes = 0;
    int textures = 0;

    PurgeCounter() : Driver(nullptr) {}
    void Purge(GeoImage*) override { ++meshes; }
    void Purge(Texture*) override { ++textures; }
};

// A database with two mesh files, a texture file, a renderer and a driver.
struct Stock {
    TempDir dir;
    std::string sheet = SaveMesh("sheet", 1);
    std::string sail = SaveMesh("sail", 2);
    std::string image = SaveImage();
    Renderer renderer;
    PurgeCounter driver;
    std::unique_ptr<SceneDatabase> database = std::make_unique<SceneDatabase>();

    Stock() {
        database->AddRenderer(&renderer);
        database->AddDriver(&driver);
    }
    std::string SaveMesh(const std::string& name, float size) const {
        GeoImage mesh(2, 2);
        for (int i = 0; i < 4; ++i) {
            mesh.samples[i] = {};
            mesh.samples[i].position = {i % 2 == 0 ? 0 : size, i < 2 ? 0 : size, 0};
        }
        mesh.Finish(true);
        EXPECT_TRUE(mesh.Save(dir.File(name), CODEC_FLAT));
        return dir.File(name);
    }
    std::string SaveImage() const {
        Texture texture;
        EXPECT_TRUE(texture.SetSize(2, 2, 3) && texture.Save(dir.File("image"), CODEC_FLAT));
        return dir.File("image");
    }
    GeoImage* Counted(const std::string& name) const {
        GeoImage* mesh = database->GetMesh(name, false);
        database->AddRefMesh(mesh);
        return mesh;
    }
};

}  // namespace

TEST(ScenePath, ResolvesComponentsAndCreatesTheWay) {
    Room room;
    const ResolvedPath there = ResolvePath(room, "a//b/");
    EXPECT_EQ(there.parent, room.Child("a"));
    EXPECT_EQ(there.leaf, "b");
    EXPECT_EQ(there.parent->Child("b"), nullptr);
    Object* b = GetOrCreateChild(*there.parent, there.leaf);
    EXPECT_EQ(GetOrCreateChild(*there.parent, "b"), b);
    EXPECT_EQ(ResolvePath(room, "a/b/c").parent, b);
    EXPECT_EQ(b->octreeLink, &there.parent->ChildOctree());

    EXPECT_EQ(FindPath(room, "//a").parent, nullptr);
    const ResolvedPath unnamed = ResolvePath(room, "//a");
    EXPECT_EQ(unnamed.parent, room.Child(""));
    EXPECT_EQ(unnamed.leaf, "a");
    EXPECT_EQ(FindPath(room, "x/y/z").parent, nullptr);
    EXPECT_EQ(room.Child("x"), nullptr);
    for (const char* path : {"", "/", "///"}) {
        EXPECT_EQ(ResolvePath(room, path).parent, &room);
        EXPECT_EQ(ResolvePath(room, path).leaf, "");
    }
    DestroyChildren(room);
}

TEST(ScenePath, RefusesPathsThatAreTooDeep) {
    Room room;
    std::string path = "a";
    for (int i = 1; i < kMaxPathDepth; ++i)
        path += "/a";
    const std::string complaint = "ResolvePath: path has more than 256 components\n";
    for (const std::string& tooDeep : {path + "/a", std::string(1000000, '/') + path}) {
        EXPECT_EQ(CaptureStderr([&] { EXPECT_EQ(ResolvePath(room, tooDeep).parent, nullptr); }),
                  complaint);
    }
    EXPECT_TRUE(room.children.empty());
    EXPECT_NE(ResolvePath(room, path).parent, nullptr);
    DestroyChildren(room);
}

TEST(SceneRecords, ChangesEmptyWhatWasDerived) {
    Room room;
    Object* parent = GetOrCreateChild(room, "p");
    Object* child = GetOrCreateChild(*parent, "c");
    const auto mark = [&] { parent->derivedCache = child->derivedCache = {&room}; };
    mark();
    AddShader(parent, PassLight, Shader());
    AddShader(parent, PassLight, Shader());
    EXPECT_EQ(parent->ShaderList(PassLight).size(), 2U);
    EXPECT_TRUE(parent->ShaderList(PassBlend).empty());
    EXPECT_TRUE(parent->derivedCache.empty());
    EXPECT_FALSE(child->derivedCache.empty());
    mark();
    SetPos(parent, {1, 0, 0});
    EXPECT_TRUE(parent->derivedCache.empty() && child->derivedCache.empty());
    mark();
    InvalidateTree(&room);
    EXPECT_TRUE(parent->derivedCache.empty() && child->derivedCache.empty());
    EXPECT_EQ(room.GetLight("l"), room.GetLight("l"));
    DestroyChildren(room);
}

TEST(SceneDatabase, NamesAndReloadsResources) {
    Stock stock;
    SceneDatabase& database = *stock.database;
    EXPECT_EQ(database.ResourceName(&stock), "null://");
    GeoImage* mesh = stock.Counted(stock.sheet);
    Texture* texture = database.GetTexture(stock.image, false);
    EXPECT_EQ(database.ResourceName(mesh), stock.sheet);
    EXPECT_EQ(database.ResourceName(texture), stock.image);
    EXPECT_EQ(database.ResourceName(nullptr), "null://");
    CaptureStderr([&] { EXPECT_EQ(database.GetMesh("/nowhere", false), nullptr); });
    EXPECT_EQ(database.ResourceName(nullptr), "/nowhere");

    stock.SaveMesh("sheet", 3);
    texture->uploads[&stock] = 1;
    EXPECT_EQ(CaptureStderr([&] {
                  database.Reload(stock.sheet);
                  database.Reload(stock.image);
                  database.Reload("/nowhere");
              }),
              "");
    EXPECT_EQ(mesh->boundsMax, vec3(3, 3, 0));
    EXPECT_TRUE(texture->uploads.empty());

    // The driver hears of a release later, on its own thread; a driver that has left never.
    database.ReleaseMesh(mesh);
    database.ReleaseTexture(texture);
    EXPECT_EQ(database.ResourceName(mesh), "null://");
    PurgeCounter gone;
    database.AddDriver(&gone);
    database.RemoveDriver(&gone);
    EXPECT_EQ(stock.driver.meshes, 0);
    database.DrainPurges();
    database.DrainPurges();
    EXPECT_EQ(stock.driver.meshes, 1);
    EXPECT_EQ(stock.driver.textures, 1);
    EXPECT_EQ(gone.meshes + gone.textures, 0);
}

TEST(SceneDatabase, DestroyingATreeGivesEverythingBack) {
    Stock stock;
    SceneDatabase& database = *stock.database;
    auto* room = new Room;
    Shader shader;
    shader.mesh = database.GetMesh(stock.sail, false);
    shader.texture = database.GetTexture(stock.image, false);
    for (int i = 0; i < 60; ++i) {
        const ResolvedPath path = ResolvePath(*room, "group/" + std::to_string(i));
        Object* object = GetOrCreateChild(*path.parent, path.leaf);
        object->SetMesh(stock.Counted(stock.sheet));
        object->SetPosition({static_cast<float>(i), 0, 0});
        for (const ShaderPass pass : {PassBase, PassBase, PassBlend}) {
            database.AddRefShader(shader);
            AddShader(object, pass, shader);
        }
    }
    vec3 min;
    vec3 max;
    Object* group = room->Child("group");
    group->ChildOctree().GetBounds(min, max, true);
    EXPECT_EQ(group->radius, 59 + group->Child("0")->mesh->radius);
    // One user more than the tree: the mesh must outlive it.
    GeoImage* kept = stock.Counted(stock.sheet);
    database.DestroyObject(room);
    database.DestroyObject(nullptr);
    EXPECT_EQ(database.ResourceName(kept), stock.sheet);
    EXPECT_EQ(database.ResourceName(shader.mesh), "null://");
    EXPECT_EQ(database.ResourceName(shader.texture), "null://");
    EXPECT_THAT(CaptureStderr([&] { stock.database.reset(); }),
                testing::HasSubstr("mesh resource " + Address(kept) + " has 1 references!"));
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
