// A steady frame of the whole program against the floor: the same lists of the same objects at the
// same detail with the same state, replayed by plain OpenGL. Needs a display.
#include <benchmark/benchmark.h>

#include "Floor.h"
#include "GLClock.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "app/Application.h"
#include "app/FrameLoop.h"
#include "app/HeapPolicy.h"
#include "app/Windows.h"
#include "drivers/gl/SettingsGL.h"
#include "renderer/Renderer.h"
#include "renderer/RendererSettings.h"
#include "scene/Command.h"
#include "scene/SceneDatabase.h"
#include "settings/Registry.h"
#include "support/SceneBuilder.h"

namespace {

constexpr int kObjects = 5000;
constexpr float kHalfSize = 60;
constexpr int kMeshSide = 65;
// Detail then follows the distance over most of the view.
constexpr float kMeshError = 10;
// Until the octree has split and every level and list is made.
constexpr int kSettlingFrames = 30;
constexpr int kRounds = 15;
constexpr int kFramesARound = 2;

// Frames print their statistics, which are not what the benchmark prints.
class QuietOutput {
public:
    QuietOutput() : m_saved(dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        const int sink = open("/dev/null", O_WRONLY);
        dup2(sink, STDOUT_FILENO);
        close(sink);
    }
    ~QuietOutput() {
        std::fflush(stdout);
        dup2(m_saved, STDOUT_FILENO);
        close(m_saved);
    }
    QuietOutput(const QuietOutput&) = delete;
    QuietOutput& operator=(const QuietOutput&) = delete;

private:
    int m_saved;
};

// The program without its event loop, with budgets large enough for everything. The scene is a
// file, or, without a name, five thousand spheres in a cube that is seen from a side.
class Program {
public:
    Program(const char* file, bool occlusion);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    Application app;
    TapDriver* driver = nullptr;

    void DrawFrame() { RenderFrame(app); }
    RecordedFrame Record();

private:
    TestScene m_spheres;

    void LoadFile(const char* file);
    void PlaceSpheres();
};

Program::Program(const char* file, bool occlusion) {
    app.display = XOpenDisplay(nullptr);
    if (app.display == nullptr) return;
    app.renderer = new Renderer;
    app.driver = driver = new TapDriver(app.display);
    app.database = new SceneDatabase;
    app.command = new Command(app.database);
    app.shell.showStats = false;  // the graph is no part of the scene
    app.renderer->Set(renderer_settings::kCacheEntries, 16);
    app.renderer->Set(renderer_settings::kCacheKilobytes, 1048576);
    app.renderer->Set(renderer_settings::kOcclusion, occlusion ? 1 : 0);
    driver->Set(gl_settings::kMostLists, 16384);
    driver->Set(gl_settings::kListBudget, 262144);
    CreateTopWindow(app);
    CreateRenderWindow(app);
    XMapWindow(app.display, app.renderWindow);
    if (file != nullptr) {
        LoadFile(file);
    } else {
        PlaceSpheres();
    }
}

Program::~Program() {
    app.currentRoom = nullptr;
    delete app.command;
    delete app.database;
    delete app.renderer;
    delete app.driver;
    if (app.display != nullptr) XCloseDisplay(app.display);
}

void Program::LoadFile(const char* file) {
    std::ifstream input(file);
    while (ExecuteLine(input, *app.command)) {
    }
    if (!app.command->Rooms().empty()) app.currentRoom = app.command->Rooms().begin()->second;
}

void Program::PlaceSpheres() {
    GeoImage* sphere = m_spheres.Sphere(1, kMeshSide);
    sphere->error = kMeshError;
    std::mt19937 random(1);
    std::uniform_real_distribution<float> place(-kHalfSize, kHalfSize);
    for (int i = 0; i < kObjects; ++i) {
        const vec3 pos{place(random), place(random), place(random)};
        m_spheres.AddLit(m_spheres.room, std::to_string(i), sphere, pos);
    }
    Light* sun = m_spheres.AddLight("sun", {-300, 500, 400});
    sun->falloff = {1, 0, 0};
    app.camera.pos = {0, 0, kHalfSize};
    app.camera.lookat = {0, 0, 0};
    app.currentRoom = &m_spheres.room;
}

RecordedFrame Program::Record() {
    driver->recording = true;
    DrawFrame();
    driver->recording = false;
    return driver->frame;
}

double Milliseconds(clockid_t clock) {
    timespec now;
    clock_gettime(clock, &now);
    return 1e3 * static_cast<double>(now.tv_sec) + 1e-6 * static_cast<double>(now.tv_nsec);
}

// Of frames: elapsed, and spent by all threads together.
struct Times {
    std::vector<double> elapsed;
    std::vector<double> processor;

    template <class Draw>
    void Measure(Draw draw) {
        const double elapsedStart = Milliseconds(CLOCK_MONOTONIC);
        const double processorStart = Milliseconds(CLOCK_PROCESS_CPUTIME_ID);
        draw();
        processor.push_back(Milliseconds(CLOCK_PROCESS_CPUTIME_ID) - processorStart);
        elapsed.push_back(Milliseconds(CLOCK_MONOTONIC) - elapsedStart);
    }
};

double Median(std::vector<double>& values) {
    const auto middle = values.begin() + std::ssize(values) / 2;
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Of the picture in the current context, drawn anew over black.
template <class Draw>
std::uint32_t Checksum(const Application& app, Draw draw) {
    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    draw();
    std::vector<std::uint8_t> pixels(std::size_t{3} * static_cast<std::size_t>(app.windowWidth) *
                                     static_cast<std::size_t>(app.windowHeight));
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, app.windowWidth, app.windowHeight, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());
    std::uint32_t sum = 2166136261U;
    for (const std::uint8_t value : pixels)
        sum = (sum ^ value) * 16777619U;
    return sum;
}

// A few frames of each in turn; the first after a change of context is not counted.
template <class DrawProgram, class DrawFloor>
void Interleave(DrawProgram drawProgram, Times& program, DrawFloor drawFloor, Times& floor) {
    for (int round = 0; round < kRounds; ++round) {
        drawProgram();
        for (int i = 0; i < kFramesARound; ++i)
            program.Measure(drawProgram);
        drawFloor();
        for (int i = 0; i < kFramesARound; ++i)
            floor.Measure(drawFloor);
    }
}

void SteadyFrame(benchmark::State& state, const char* file, bool occlusion) {
    KeepHeap();
    std::uint32_t programSum = 0;
    std::uint32_t floorSum = 0;
    Times programTimes;
    Times floorTimes;
    GLShare share;
    std::size_t draws = 0;
    for (auto _ : state) {
        const QuietOutput quiet;
        Program program(file, occlusion);
        if (program.app.renderWindow == 0 || program.app.currentRoom == nullptr) {
            state.SkipWithError("needs a display, and the scenes in the working directory");
            return;
        }
        const auto drawProgram = [&] { program.DrawFrame(); };
        for (int i = 0; i < kSettlingFrames; ++i)
            drawProgram();
        const RecordedFrame frame = program.Record();
        draws = frame.draws.size();
        StartGLClock();
        for (int i = 0; i < kRounds; ++i)
            drawProgram();
        share = StopGLClock();
        programSum = Checksum(program.app, drawProgram);

        Floor floor(program.app.display, program.app.windowWidth, program.app.windowHeight);
        floor.MakeCurrent();
        floor.Load(frame);
        const auto drawFloor = [&] {
            floor.MakeCurrent();
            floor.DrawFrame();
        };
        floorSum = Checksum(program.app, drawFloor);
        Interleave(drawProgram, programTimes, drawFloor, floorTimes);
    }
    if (programSum != floorSum) state.SkipWithError("the pictures differ");
    const double programTime = Median(programTimes.elapsed);
    const double floorTime = Median(floorTimes.elapsed);
    state.SetIterationTime(programTime / 1000);
    state.counters["floor_ms"] = floorTime;
    state.counters["program_ms"] = programTime;
    state.counters["ratio"] = programTime / floorTime;
    state.counters["processor_ratio"] =
        Median(programTimes.processor) / Median(floorTimes.processor);
    state.counters["outside_gl_percent"] = 100 * (1 - share.inside / share.seconds);
    state.counters["gl_calls"] = static_cast<double>(share.calls) / kRounds;
    state.counters["allocations"] = static_cast<double>(share.allocations) / kRounds;
    state.counters["draws"] = static_cast<double>(draws);
    state.counters["checksum"] = programSum;
}

// name, file, occlusion
BENCHMARK_CAPTURE(SteadyFrame, spheres, nullptr, false)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SteadyFrame, spheres_occlusion, nullptr, true)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SteadyFrame, many, "scenes/many", false)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SteadyFrame, many_occlusion, "scenes/many", true)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
