// What keeping the heap saves: the same frames of software OpenGL with the C library's own
// thresholds and with the program's. Needs a display.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <memory>
#include <string>

#include "app/HeapPolicy.h"
#include "drivers/Driver.h"
#include "drivers/DriverFactory.h"
#include "renderer/Renderer.h"
#include "support/SceneBuilder.h"

namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 480;
constexpr int kObjects = 40;
constexpr int kMeshSide = 65;

long MinorFaults() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
}

// A window of the driver's own, on a display that this holds open.
class View {
public:
    View() : m_display(XOpenDisplay(nullptr)) {
        if (m_display == nullptr) return;
        driver.reset(DriverFactory::Create("GL", m_display));
        XVisualInfo* visual = driver->GetVisual();
        if (visual == nullptr) return;
        const Window root = DefaultRootWindow(m_display);
        XSetWindowAttributes attributes{};
        attributes.colormap = XCreateColormap(m_display, root, visual->visual, AllocNone);
        m_window =
            XCreateWindow(m_display, root, 0, 0, kWidth, kHeight, 0, visual->depth, InputOutput,
                          visual->visual, CWColormap | CWBorderPixel, &attributes);
        XFree(visual);
        XMapWindow(m_display, m_window);
        XSync(m_display, False);
    }
    ~View() {
        driver.reset();
        if (m_display != nullptr) XCloseDisplay(m_display);
    }
    View(const View&) = delete;
    View& operator=(const View&) = delete;

    bool Ready() const { return m_window != 0; }
    void Draw(Renderer& renderer, Room& room, const Camera& camera) {
        driver->SetWindow(m_window);
        driver->SetViewport(0, 0, kWidth, kHeight);
        driver->ColorMask(true, true, true);
        driver->Clear(true, true);
        renderer.BeginFrame(driver.get());
        renderer.Render(&room, camera);
        renderer.FinishFrame();
        driver->Finish();
    }

    std::unique_ptr<Driver> driver;

private:
    Display* m_display;
    Window m_window = 0;
};

void DrawFrames(benchmark::State& state) {
    View view;
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
    const Camera camera;
    view.Draw(renderer, scene.room, camera);
    const long before = MinorFaults();
    for (auto _ : state)
        view.Draw(renderer, scene.room, camera);
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
