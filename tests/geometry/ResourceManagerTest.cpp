// Sharing by name, use counts, reloading in place and the leak report.
#include "geometry/ResourceManager.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "geometry/Codec.h"
#include "support/Capture.h"
#include "support/TempFile.h"

namespace {

std::string WriteMesh(const TempDir& dir, const std::string& name, float x) {
    GeoImage mesh(2, 2);
    for (int i = 0; i < 4; ++i)
        mesh.samples[i] = {};
    mesh.samples[3].position.x = x;
    mesh.Finish(true);
    EXPECT_TRUE(mesh.Save(dir.File(name), CODEC_FLAT));
    return dir.File(name);
}

TEST(ResourceManager, SharesCountsAndReloads) {
    const TempDir dir;
    const std::string name = WriteMesh(dir, "m", 1);
    ResourceManager<GeoImage> meshes("mesh");
    GeoImage* mesh = meshes.Acquire(name, false);
    ASSERT_NE(mesh, nullptr);
    mesh->AddToken(1);
    WriteMesh(dir, "m", 2);
    EXPECT_EQ(meshes.Acquire(name, false), mesh);
    EXPECT_EQ(mesh->radius, 1);
    EXPECT_EQ(meshes.Acquire(name, true), mesh);
    EXPECT_EQ(mesh->radius, 2);
    EXPECT_FALSE(mesh->HasToken(1));
    dir.Write("m", "broken");
    CaptureStderr([&] { EXPECT_EQ(meshes.Acquire(name, true), mesh); });
    EXPECT_EQ(mesh->radius, 2);

    meshes.AddRef(mesh);
    meshes.AddRef(mesh);
    EXPECT_FALSE(meshes.Release(mesh));
    EXPECT_TRUE(meshes.Release(mesh));
    EXPECT_FALSE(meshes.Knows(name));
    EXPECT_FALSE(meshes.Release(nullptr));
    meshes.AddRef(nullptr);
    CaptureStderr([&] { EXPECT_EQ(meshes.Acquire(name, false), nullptr); });
    EXPECT_FALSE(meshes.Knows(name));

    WriteMesh(dir, "m", 3);
    EXPECT_TRUE(meshes.Release(meshes.Acquire(name, false))) << "never counted: gone at once";
}

TEST(ResourceManager, ReloadsTexturesWithTheirFlagsKept) {
    const TempDir dir;
    Texture image;
    ASSERT_TRUE(image.SetSize(2, 2, 3) && image.Save(dir.File("t"), CODEC_FLAT));
    ResourceManager<Texture> textures("texture");
    Texture* texture = textures.Acquire(dir.File("t"), false);
    ASSERT_NE(texture, nullptr);
    texture->uploads[&dir] = 1;
    image.filter = false;
    ASSERT_TRUE(image.SetSize(4, 1, 1) && image.Save(dir.File("t"), CODEC_FLAT));
    EXPECT_EQ(textures.Acquire(dir.File("t"), true), texture);
    EXPECT_EQ(texture->width, 4);
    EXPECT_TRUE(texture->filter);
    EXPECT_TRUE(texture->uploads.empty());
}

TEST(ResourceManager, ReportsWhatIsStillInUseAtItsEnd) {
    const TempDir dir;
    auto meshes = std::make_unique<ResourceManager<GeoImage>>("mesh");
    GeoImage* leaked = meshes->Acquire(WriteMesh(dir, "a", 1), false);
    meshes->AddRef(leaked);
    meshes->AddRef(leaked);
    meshes->Acquire(WriteMesh(dir, "b", 1), false);  // without users: freed, not reported
    std::ostringstream line;
    line << "Memory leak detected - mesh resource " << static_cast<void*>(leaked)
         << " has 2 references!\n";
    EXPECT_EQ(CaptureStderr([&] { meshes.reset(); }), line.str());
}

}  // namespace
