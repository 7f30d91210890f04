// What a frame costs in the renderer alone, driver calls excluded, when the room grows around a
// view that keeps showing the same number of objects.
#include <benchmark/benchmark.h>

#include <cmath>
#include <string>

#include "renderer/Renderer.h"
#include "settings/StatisticNames.h"
#include "support/RecordingDriver.h"
#include "support/SceneBuilder.h"

namespace {

// Objects stand one unit apart in a cube around the origin. The eye stands this far inside of one
// face and looks out through it: a pyramid that holds about a hundred of them.
constexpr float kEyeDepth = 5.5F;
constexpr float kObjectRadius = 0.3F;
// The octree splits one level a frame until every node is small.
constexpr int kSettlingFrames = 40;

float FillRoom(TestScene& scene, int count) {
    GeoImage* mesh = scene.Sphere(kObjectRadius);
    const int side = static_cast<int>(std::ceil(std::cbrt(count)));
    const float half = static_cast<float>(side) * 0.5F;
    for (int i = 0; i < count; ++i) {
        const vec3 cell(static_cast<float>(i % side), static_cast<float>(i / side % side),
                        static_cast<float>(i / side / side));
        scene.AddLit(scene.room, std::to_string(i), mesh, cell - vec3{half, half, half});
    }
    return half;
}

void DrawFrame(Renderer& renderer, RecordingDriver& driver, Room& room, const Camera& camera) {
    renderer.BeginFrame(&driver);
    renderer.Render(&room, camera);
    renderer.FinishFrame();
}

// Arguments: objects in the room, lights (more than eight are chosen per object).
void FrameOfARoom(benchmark::State& state) {
    TestScene scene;
    Renderer renderer;
    RecordingDriver driver;
    driver.keep = false;
    const float half = FillRoom(scene, static_cast<int>(state.range(0)));
    for (int i = 0; i < state.range(1); ++i) {
        scene.AddLight(std::to_string(i), {half, static_cast<float>(i), 0});
    }
    Camera camera;
    camera.pos = {half - kEyeDepth, 0, 0};
    camera.lookat = {half, 0.1F, 0};
    for (int i = 0; i < kSettlingFrames; ++i)
        DrawFrame(renderer, driver, scene.room, camera);
    for (auto _ : state)
        DrawFrame(renderer, driver, scene.room, camera);
    const auto count = [&](const char* name) { return Statistic(renderer.Stats(), name); };
    state.counters["drawn"] = count(stat_names::kDrawn);
    state.counters["traversed"] = count(stat_names::kTraversed);
    driver.calls = 0;
    DrawFrame(renderer, driver, scene.room, camera);
    state.counters["calls"] = static_cast<double>(driver.calls);
}

}  // namespace

BENCHMARK(FrameOfARoom)
    ->ArgNames({"objects", "lights"})
    ->Args({1000, 1})
    ->Args({10000, 1})
    ->Args({100000, 1})
    ->Args({100000, 100})
    ->Unit(benchmark::kMicrosecond);
