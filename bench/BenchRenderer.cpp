// What a frame costs in the renderer alone, driver calls excluded, when the room grows around a
// view that keeps showing the same number of objects.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <string>

#include "renderer/Renderer.h"
#include "settings/StatisticNames.h"
#include "support/RecordingDriver.h"
#include "support/SceneBuilder.h"

namespace {

enum Arrangement : int { Floor, Cube };

constexpr float kObjectRadius = 0.2F;  // one object a unit of floor or space
// Ground as flat as a table with equal objects is the worst case: every object touches the plane
// that splits their common height, and the octree keeps all of them in its root.
constexpr float kGroundSlope = 0.02F;
// The eye stands this far inside of the room's face and looks out through it: about a hundred
// objects are in view.
constexpr float kEyeDepth[] = {11.4F, 5.5F};
// The octree splits one level a frame until every node is small.
constexpr int kSettlingFrames = 40;

// Returns how far the room reaches from its middle.
float FillRoom(TestScene& scene, Arrangement arrangement, int count) {
    const double dimensions = arrangement == Floor ? 2 : 3;
    const auto half = static_cast<float>(std::pow(count, 1 / dimensions) / 2);
    std::mt19937 random(1);
    std::uniform_real_distribution<float> place(-half, half);
    GeoImage* mesh = scene.Sphere(kObjectRadius);
    for (int i = 0; i < count; ++i) {
        vec3 pos{place(random), place(random), place(random)};
        if (arrangement == Floor) pos.y *= kGroundSlope;
        scene.AddLit(scene.room, std::to_string(i), mesh, pos);
    }
    return half;
}

void DrawFrame(Renderer& renderer, RecordingDriver& driver, Room& room, const Camera& camera) {
    renderer.BeginFrame(&driver);
    renderer.Render(&room, camera);
    renderer.FinishFrame();
}

// Arguments: arrangement, objects in the room, lights (more than eight: chosen per object).
void FrameOfARoom(benchmark::State& state) {
    TestScene scene;
    Renderer renderer;
    RecordingDriver driver;
    driver.keep = false;
    const auto arrangement = static_cast<Arrangement>(state.range(0));
    const float half = FillRoom(scene, arrangement, static_cast<int>(state.range(1)));
    for (int i = 0; i < state.range(2); ++i) {
        scene.AddLight(std::to_string(i), {half, static_cast<float>(i), 0});
    }
    Camera camera;
    camera.pos = {half - kEyeDepth[arrangement], 0, 0};
    camera.lookat = {half, 0, 0};
    for (int i = 0; i < kSettlingFrames; ++i) {
        DrawFrame(renderer, driver, scene.room, camera);
    }
    driver.calls = 0;
    DrawFrame(renderer, driver, scene.room, camera);
    state.counters["calls"] = static_cast<double>(driver.calls);
    for (auto _ : state) {
        DrawFrame(renderer, driver, scene.room, camera);
    }
    const auto count = [&](const char* name) { return Statistic(renderer.Stats(), name); };
    state.counters["drawn"] = count(stat_names::kDrawn);
    state.counters["traversed"] = count(stat_names::kTraversed);
}

}  // namespace

BENCHMARK(FrameOfARoom)
    ->ArgNames({"cube", "objects", "lights"})
    ->ArgsProduct({{Floor, Cube}, {1000, 10000, 100000}, {1}})
    ->Args({Floor, 100000, 100})
    ->Unit(benchmark::kMicrosecond);
