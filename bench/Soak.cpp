// A long flight that changes everything on the way: scenes, drivers, meshes, settings. Fails when
// a cache leaves its bounds or memory grows. Prints a CSV row every thousand frames; rss_kb
// is the most that was resident since the last row; bare_rss_kb and bare_kb are what was resident
// and what the heap held when there was no scene and no OpenGL, the last time. Usage: soak [FRAMES]
// (in the root of the source tree, with a display)
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "app/Application.h"
#include "app/CameraMotion.h"
#include "app/DriverSwitch.h"
#include "app/EventLoop.h"
#include "app/FrameLoop.h"
#include "app/HeapPolicy.h"
#include "drivers/Driver.h"
#include "drivers/DriverSettings.h"
#include "drivers/gl/SettingsGL.h"
#include "renderer/Renderer.h"
#include "renderer/RendererSettings.h"
#include "scene/Command.h"
#include "scene/Room.h"
#include "scene/SceneDatabase.h"
#include "scene/SceneFile.h"
#include "scene/SceneLock.h"
#include "settings/StatisticNames.h"

namespace {

constexpr int kUsualFrames = 20000;
constexpr int kFramesPerRow = 1000;
// Odd periods, so that the changes meet in ever new combinations.
constexpr int kFramesPerScene = 257;
constexpr int kFramesPerReload = 41;
constexpr int kFramesPerSetting = 13;
constexpr int kFramesWithOtherDriver = 10;  // of the old scene, and again of the new one
constexpr int kFramesInACrowd = 40;
constexpr std::size_t kCrowd = 1000;  // objects

// Bounds low enough to be met by the scenes at hand.
constexpr int kLevelsPower = 6;
constexpr int kLevels = 1 << kLevelsPower;
constexpr int kLevelKilobytes = 1024;
constexpr int kListKilobytes = 256;
constexpr int kLists = 200;
// What one frame may add before the next one trims: a level or list of the largest mesh.
constexpr float kLargestLevel = 32 * 97 * 97;
constexpr float kLargestList = 12 * 97 * 97 + 8 * 97 * 97;

// After the first quarter. Settings meet scenes in ever new combinations, of which the dearest may
// come late; what remains when they are gone may not grow.
constexpr long kResidentGrowthPercent = 20;
constexpr long kBareResidentGrowthPercent = 5;
constexpr long kBareGrowthKilobytes = 1024;

// Settings go back and forth between two values.
struct Toggle {
    const char* name;
    float first;
    float other;
};
constexpr Toggle kToggles[] = {{renderer_settings::kShadows, 0, 1},
                               {renderer_settings::kOcclusion, 1, 0},
                               {renderer_settings::kVirtualLights, 1, 0},
                               {renderer_settings::kDetailSteps, 8, 4},
                               {gl_settings::kDrawMethod, 1, 2},
                               {gl_settings::kHardwareOcclusion, 0, 1},
                               {gl_settings::kLights, 0, 2},
                               {gl_settings::kShadowMethod, 1, 0},
                               {gl_settings::kCacheShadows, 0, 1},
                               {gl_settings::kLineMethod, 1, 0},
                               {renderer_settings::kBlend, 1, 0},
                               {gl_settings::kTextureFilter, 0, 1},
                               {gl_settings::kMipmapFilter, 0, 2},
                               {gl_settings::kMotionBlur, 0, 1},
                               {driver_settings::kWireframe, 0, 1}};

long ResidentKilobytes() {
    long total = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

// In kilobytes.
struct Memory {
    long resident = 0;
    long bare = 0;
    long bareResident = 0;
};

bool Within(long peak, long settled, long percent) {
    return peak <= settled * (100 + percent) / 100;
}

class Soak {
public:
    Soak(Application& app, std::FILE* csv) : m_app(app), m_csv(csv) {
        for (const auto& entry : std::filesystem::directory_iterator("scenes"))
            m_scenes.push_back(entry.path().string());
        std::sort(m_scenes.begin(), m_scenes.end());
        for (const auto& entry : std::filesystem::directory_iterator("meshes"))
            m_meshes.push_back(entry.path().string());
        std::sort(m_meshes.begin(), m_meshes.end());
        BoundCaches();
    }

    // False when a bound was broken; the reason has been printed.
    bool Run(int frames) {
        std::fprintf(m_csv, "frame,rss_kb,bare_rss_kb,bare_kb,levels,level_kb,lists,list_kb\n");
        for (int frame = 1; frame <= frames; ++frame) {
            Change(frame);
            Draw();
            m_now.resident = std::max(m_now.resident, ResidentKilobytes());
            if (!CachesAreBounded(frame)) return false;
            if (frame % kFramesPerRow == 0 || frame == frames / 4 || frame == frames)
                PrintRow(frame);
            if (frame == frames / 4) m_settled = m_peak;
        }
        std::fprintf(
            stderr,
            "peak of a quarter, of all: resident %ld, %ld; bare %ld, %ld; heap %ld, %ld KB\n",
            m_settled.resident, m_peak.resident, m_settled.bareResident, m_peak.bareResident,
            m_settled.bare, m_peak.bare);
        return Within(m_peak.resident, m_settled.resident, kResidentGrowthPercent) &&
               Within(m_peak.bareResident, m_settled.bareResident, kBareResidentGrowthPercent) &&
               m_peak.bare <= m_settled.bare + kBareGrowthKilobytes;
    }

private:
    Application& m_app;
    std::FILE* m_csv;
    std::vector<std::string> m_scenes;
    std::vector<std::string> m_meshes;
    std::size_t m_nextScene = 0;
    std::size_t m_nextMesh = 0;
    std::size_t m_nextToggle = 0;
    bool m_toggled = false;
    int m_sceneEnds = kFramesPerScene;  // frame
    float m_newLevels = 0;              // made by the last frame
    Memory m_now;
    Memory m_peak;
    Memory m_settled;

    bool HasLists() const { return m_app.driverName == "GL"; }

    // Typed as on the console, which takes the locks.
    void Type(const std::string& line) {
        std::istringstream words(line + "\n");
        ExecuteLine(words, *m_app.command);
    }

    void BoundCaches() {
        m_app.renderer->Set(renderer_settings::kCacheEntries, kLevelsPower);
        m_app.renderer->Set(renderer_settings::kCacheKilobytes, kLevelKilobytes);
        if (!HasLists()) return;
        m_app.driver->Set(gl_settings::kMostLists, kLists);
        m_app.driver->Set(gl_settings::kListBudget, kListKilobytes);
    }

    void Change(int frame) {
        if (frame == m_sceneEnds) Switch();
        if (frame == m_sceneEnds + kFramesWithOtherDriver) NextScene();
        if (frame == m_sceneEnds + 2 * kFramesWithOtherDriver) {
            Switch();
            const bool crowd = m_app.currentRoom->children.size() > kCrowd;
            m_sceneEnds = frame + (crowd ? kFramesInACrowd : kFramesPerScene);
        }
        if (frame % kFramesPerReload == 0) {
            Type("reload " + m_meshes[m_nextMesh++ % m_meshes.size()]);
            Type("reload textures/glow textures/floor");
        }
        if (frame % kFramesPerSetting == 0) ToggleNext();
    }

    void Switch() {
        SwitchDriver(m_app);
        if (m_app.driver == nullptr) std::abort();
    }

    void NextScene() {
        while (!m_app.command->Rooms().empty())
            Type("delete " + m_app.command->Rooms().begin()->first);
        m_app.database->DrainPurges();
        XSync(m_app.display, True);  // no event loop takes the events of the windows
        ReturnFreeMemory();
        m_now.bareResident = ResidentKilobytes();
        m_now.bare = static_cast<long>(mallinfo2().uordblks / 1024);
        LoadScene(m_scenes[m_nextScene++ % m_scenes.size()], m_app.Selection());
    }

    void ToggleNext() {
        const Toggle& toggle = kToggles[m_nextToggle++ % std::size(kToggles)];
        if (m_nextToggle % std::size(kToggles) == 0) m_toggled = !m_toggled;
        if (Settings* owner = m_app.database->SettingOwner(toggle.name)) {
            owner->Set(toggle.name, m_toggled ? toggle.first : toggle.other);
        } else if (HasLists()) {  // the other driver has fewer settings
            std::fprintf(stderr, "soak: nobody has a setting %s\n", toggle.name);
        }
    }

    void Draw() {
        const std::scoped_lock exclusive(frameLock);
        CameraStep(m_app);
        RenderFrame(m_app);
    }

    // The renderer counts its levels before it trims them, the driver its lists at the end of a
    // frame: what one frame made is allowed for.
    bool CachesAreBounded(int frame) {
        const Statistics& drawn = m_app.renderer->Stats();
        const Statistics& sent = m_app.driver->Stats();
        const float levels = Statistic(drawn, stat_names::kCacheEntries) - m_newLevels;
        const float bytes = Statistic(drawn, stat_names::kCacheSize) - m_newLevels * kLargestLevel;
        const bool bounded =
            levels <= kLevels && bytes <= kLevelKilobytes * 1024.0F &&
            Statistic(sent, stat_names::kCacheEntries) <= kLists &&
            Statistic(sent, stat_names::kCacheSize) <= kListKilobytes * 1024.0F + kLargestList;
        if (!bounded) {
            std::fprintf(stderr, "frame %d: caches beyond their bounds\n", frame);
            PrintRow(frame);
        }
        m_newLevels =
            Statistic(drawn, stat_names::kCacheAccesses) - Statistic(drawn, stat_names::kCacheHits);
        return bounded;
    }

    void PrintRow(int frame) {
        const Statistics& drawn = m_app.renderer->Stats();
        const Statistics& sent = m_app.driver->Stats();
        m_peak = {std::max(m_peak.resident, m_now.resident), std::max(m_peak.bare, m_now.bare),
                  std::max(m_peak.bareResident, m_now.bareResident)};
        std::fprintf(m_csv, "%d,%ld,%ld,%ld,%.0f,%.0f,%.0f,%.0f\n", frame, m_now.resident,
                     m_now.bareResident, m_now.bare, Statistic(drawn, stat_names::kCacheEntries),
                     Statistic(drawn, stat_names::kCacheSize) / 1024,
                     Statistic(sent, stat_names::kCacheEntries),
                     Statistic(sent, stat_names::kCacheSize) / 1024);
        std::fflush(m_csv);
        m_now.resident = 0;
    }
};

// Rows go where standard output went; what the program prints there goes nowhere.
std::FILE* TakeStandardOutput() {
    std::FILE* csv = fdopen(dup(STDOUT_FILENO), "w");
    if (!csv || !std::freopen("/dev/null", "w", stdout)) std::abort();
    if (!std::freopen("/dev/null", "r", stdin)) std::abort();
    return csv;
}

}  // namespace

int main(int argc, char** argv) {
    KeepHeap();
    const int frames = argc > 1 ? std::atoi(argv[1]) : kUsualFrames;
    std::FILE* csv = TakeStandardOutput();
    std::string home = (std::filesystem::temp_directory_path() / "pallix-soak-XXXXXX").string();
    if (!mkdtemp(home.data())) return 1;
    setenv("HOME", home.c_str(), 1);
    std::string words[] = {"soak", "-driver",        "GL",  "-testRender/wW",
                           "160",  "-testRender/wH", "120", "-testRender/showfps",
                           "0"};
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    static Application app;
    if (!StartUp(app, static_cast<int>(arguments.size()), arguments.data())) return 1;
    app.paused = false;
    app.jiggle = true;
    const bool passed = Soak(app, csv).Run(frames);
    const bool released = ShutDown(app);
    std::filesystem::remove_all(home);
    return passed && released ? 0 : 1;
}
