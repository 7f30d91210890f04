// A dense scene with and without occlusion culling: what the buffer saves and what it costs.
// Needs a display.
#include <benchmark/benchmark.h>
#include <GL/gl.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "GLView.h"
#include "app/HeapPolicy.h"
#include "drivers/gl/SettingsGL.h"
#include "renderer/RendererSettings.h"
#include "settings/StatisticNames.h"
#include "spatial/Occlusion.h"
#include "support/RecordingDriver.h"
#include "support/SceneBuilder.h"

namespace {

constexpr int kObjects = 5000;
constexpr float kHalfSize = 20;
constexpr int kMeshSide = 65;
// Until the octree has split and every display list is made.
constexpr int kSettlingFrames = 12;
constexpr float kBoundless = 1e9F;

// A generator of its own, so that the scene is the same everywhere.
class Places {
public:
    float Next() {
        m_state = m_state * 6364136223846793005U + 1442695040888963407U;
        return kHalfSize * (2 * static_cast<float>(m_state >> 40) / (1 << 24) - 1);
    }

private:
    std::uint64_t m_state = 1;
};

// The number of the object as a colour.
Color NumberColor(int number) {
    const auto part = [number](int shift) {
        return static_cast<float>(number >> shift & 255) / 255;
    };
    return {part(0), part(8), part(16), 1};
}

struct DenseScene {
    TestScene scene;
    Camera camera;

    DenseScene(float radius, float fov, float back) {
        Places places;
        GeoImage* sphere = scene.Sphere(radius, kMeshSide);
        for (int i = 0; i < kObjects; ++i) {
            const vec3 pos{places.Next(), places.Next(), places.Next()};
            Object* object = scene.Add(scene.room, std::to_string(i), sphere, pos);
            Shader& plain = object->shaders[PassBase].emplace_back();
            plain.lit = false;
            plain.material.diffuse = NumberColor(i + 1);
        }
        camera.pos.z = back;
        camera.lookat.z = back - 1;
        camera.fov = fov;
    }
};

double Milliseconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double, std::milli>(now).count();
}

// Objects that show a pixel of the image just drawn.
std::size_t ObjectsShown() {
    std::vector<std::uint8_t> pixels(std::size_t{4} * GLView::kWidth * GLView::kHeight);
    glReadPixels(0, 0, GLView::kWidth, GLView::kHeight, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    std::set<int> numbers;
    for (std::size_t i = 0; i < pixels.size(); i += 4)
        numbers.insert(pixels[i] + 256 * pixels[i + 1] + 65536 * pixels[i + 2]);
    return numbers.size();
}

void RaiseBudgets(Driver& driver) {
    driver.Set(gl_settings::kMostLists, kBoundless);
    driver.Set(gl_settings::kListBudget, kBoundless);
}

// A frame of everything but drawing: traversal, the filling of the buffer, the tests.
double FrameWithoutDrawing(DenseScene& dense) {
    Renderer renderer;
    RecordingDriver driver;
    Occlusion buffer;
    driver.keep = false;
    driver.occlusion = &buffer;
    double best = std::numeric_limits<double>::infinity();
    for (int i = 0; i < 3 * kSettlingFrames; ++i) {
        const double start = Milliseconds();
        renderer.BeginFrame(&driver);
        renderer.Render(&dense.scene.room, dense.camera);
        renderer.FinishFrame();
        best = std::min(best, Milliseconds() - start);
    }
    return best;
}

// Frames with and without culling in turn, each by a renderer of its own.
void DenseFrame(benchmark::State& state) {
    KeepHeap();
    GLView view;
    if (!view.Ready()) {
        state.SkipWithError("no display");
        return;
    }
    RaiseBudgets(*view.driver);
    DenseScene dense(static_cast<float>(state.range(0)) / 100, static_cast<float>(state.range(1)),
                     static_cast<float>(state.range(2)));
    Renderer culling;
    Renderer drawing;
    drawing.Set(renderer_settings::kOcclusion, 0);
    const auto frame = [&](Renderer& renderer) {
        const double start = Milliseconds();
        view.Draw(renderer, dense.scene.room, dense.camera);
        glFinish();
        return Milliseconds() - start;
    };
    for (int i = 0; i < kSettlingFrames; ++i) {
        frame(culling);
        frame(drawing);
    }
    double with = std::numeric_limits<double>::infinity();
    double without = with;
    for (auto _ : state) {
        with = std::min(with, frame(culling));
        without = std::min(without, frame(drawing));
    }
    state.counters["show_a_pixel"] = static_cast<double>(ObjectsShown());
    state.counters["in_view"] = Statistic(drawing.Stats(), stat_names::kDrawn);
    state.counters["drawn"] = Statistic(culling.Stats(), stat_names::kDrawn);
    state.counters["without_ms"] = without;
    state.counters["with_ms"] = with;
    state.counters["times_faster"] = without / with;
    state.counters["cost_of_saved"] = FrameWithoutDrawing(dense) / (without - with);
}

// Radius in hundredths, field of view in degrees, distance of the eye from the cube's centre.
BENCHMARK(DenseFrame)
    ->ArgNames({"radius", "fov", "back"})
    ->Args({120, 150, 0})
    ->Args({90, 60, 20})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5)
    ->UseRealTime();

}  // namespace
