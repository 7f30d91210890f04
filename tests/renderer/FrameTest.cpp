// What random frames leave out: odd views, meshes and settings, and the tokens of detail caches.
#include <gtest/gtest.h>

#include "support/RecordingDriver.h"
#include "support/SceneBuilder.h"

#include <limits>

#include "renderer/Renderer.h"

namespace {

constexpr float kHuge = std::numeric_limits<float>::max();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

struct FrameTest : testing::Test {
    TestScene scene;
    Renderer renderer;
    RecordingDriver driver{2, true};

    // One frame; returns its calls.
    std::string Draw(const Camera& camera = {}, int width = 640, int height = 480) {
        driver.SetViewport(0, 0, width, height);
        renderer.BeginFrame(&driver);
        renderer.Render(&scene.room, camera);
        renderer.FinishFrame();
        return driver.TakeLog();
    }
};

}  // namespace

// Nothing crashes or grows beyond what a mesh may be, and the next ordinary frame is as ever.
TEST_F(FrameTest, OddFramesLeaveNoTrace) {
    const int sizes[][2] = {{1, 1}, {1, 9}, {9, 1}, {2, 2}, {0, 0}, {33, 33}};
    std::deque<GeoImage> meshes;
    for (const auto& [rows, columns] : sizes) {
        GeoImage& mesh = meshes.emplace_back(rows, columns);
        std::fill_n(mesh.samples, rows * columns, GeoImageSample{{1, 0, 0}, {0, 0, 1}, 0, 0});
        mesh.Finish(true);
        mesh.radius = 2;
        mesh.error = 3;
        const std::string name = std::to_string(meshes.size());
        scene.AddLit(scene.room, name, &mesh, {0, 0, -7})->billboard = true;
    }
    scene.AddLight("spot", {0, 0, 5})->angle = 30;
    scene.AddLight("zero", {0, 0, -5})->falloff = {0, 0, 0};
    scene.AddLight("odd", {0, 0, -5})->focus = -1000;
    renderer.Set("F_shadows", 1);
    const std::string usual = Draw();
    EXPECT_EQ(Statistic(renderer.Stats(), "NumDrawn"), 4 * std::size(sizes)) << "one unlit pass";

    std::vector<Camera> cameras;
    for (const float value : {0.0F, -1.0F, 180.0F, 360.0F, 1e-38F, kHuge, kNan}) {
        for (const auto field : {&Camera::fov, &Camera::aspect, &Camera::hith})
            cameras.emplace_back().*field = value;
        for (const auto field : {&Camera::pos, &Camera::lookat, &Camera::up})
            cameras.emplace_back().*field = {value, value, value};
    }
    const int windows[][2] = {{640, 480}, {0, 0}, {640, 0}, {0, 480}, {5, 5}, {1000, 5}, {5, 1000}};
    for (const auto& [width, height] : windows) {
        for (const Camera& camera : cameras) {
            Draw(camera, width, height);
            EXPECT_EQ(Draw(), usual);
        }
    }
    for (const char* name : {"P_LODmax", "P_LODscale", "P_LODmaxPolys", "P_LODstep", "P_LODcache",
                             "P_LODcachesize", "P_LODdrain"}) {
        const float initial = renderer.Get(name);
        for (const float value : {kNan, -kHuge, kHuge}) {
            renderer.Set(name, value);
            Draw();
            Draw();
            renderer.Set(name, initial);
            Draw();
            EXPECT_EQ(Draw(), usual) << name << " " << value;
        }
    }
    scene.AddLit(scene.room, "huge", scene.Quad(1, 1025), {0, 0, -20});
    renderer.Set("P_LODmax", 20);
    renderer.Set("P_LODscale", 400);
    for (int i = 0; i < 2; ++i)
        EXPECT_NE(Draw().find("RunShader 1025x1025"), std::string::npos);
}

// However many come and go: a value is free again when its cache is gone.
TEST(DetailCache, TokensCountDownFromTheHighest) {
    GeoImage mesh = SquareMesh(1, 0);
    DetailCache().Find(&mesh, 8, 1);
    DetailCache first;
    first.Find(&mesh, 8, 1);
    EXPECT_TRUE(mesh.HasToken(0xFFFFFFFEU) && !mesh.HasToken(0xFFFFFFFDU));
    DetailCache().Find(&mesh, 8, 1);
    EXPECT_TRUE(mesh.HasToken(0xFFFFFFFDU) && !mesh.HasToken(0xFFFFFFFCU));
}
