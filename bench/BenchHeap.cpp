// What keeping the heap saves: the same frames of software OpenGL with the C library's own
// thresholds and with the program's. Needs a display.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <string>

#include "GLView.h"
#include "app/HeapPolicy.h"
#include "support/SceneBuilder.h"

namespace {

constexpr int kObjects = 40;
constexpr int kMeshSide = 65;

long MinorFaults() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
}

// One frame, shown.
void DrawFrame(GLView& view, Renderer& renderer, Room& room) {
    view.Draw(renderer, room, {});
    view.driver->Finish();
}

void DrawFrames(benchmark::State& state) {
    GLView view;
    if (!view.Ready()) {
        state.SkipWithError("no display");
        return;
    }
    TestScene scene;
    GeoImage* sphere = scene.Sphere(1, kMeshSide);
    for (int i = 0; i < kObjects; ++i) {
        const vec3 place{static_cast<float>(i % 8 - 4) * 2.5F, static_cast<float>(i / 8 - 2) * 2.5F,
                         -15};
        scene.AddLit(scene.room, std::to_string(i), sphere, place);
    }
    scene.AddLight("sun", {5, 5, 5});
    Renderer renderer;
    DrawFrame(view, renderer, scene.room);
    const long before = MinorFaults();
    for (auto _ : state)
        DrawFrame(view, renderer, scene.room);
    state.counters["page_faults_a_frame"] = benchmark::Counter(
        static_cast<double>(MinorFaults() - before), benchmark::Counter::kAvgIterations);
    state.counters["drawn"] = Statistic(renderer.Stats(), "NumDrawn");
}

void FramesWithDefaultHeap(benchmark::State& state) {
    DrawFrames(state);
}

// Last: what mallopt sets cannot be taken back.
void FramesWithKeptHeap(benchmark::State& state) {
    KeepHeap();
    DrawFrames(state);
}

BENCHMARK(FramesWithDefaultHeap)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(FramesWithKeptHeap)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
