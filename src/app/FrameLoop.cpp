// One call draws the current room once and accounts for it.
// Knows the order of a frame, not how anything is drawn.
#include "app/FrameLoop.h"

#include <sys/time.h>

#include <cmath>

#include "app/Application.h"
#include "app/FrameCapture.h"
#include "app/StatisticsLine.h"
#include "drivers/Driver.h"
#include "drivers/DriverSettings.h"
#include "renderer/Renderer.h"
#include "renderer/RendererSettings.h"
#include "scene/Command.h"
#include "scene/Room.h"
#include "scene/SceneDatabase.h"

namespace {

constexpr double kSettledDetail = 0.001;  // smaller changes of the detail scale need no frame

// Wraps about every 50 days: only differences mean anything.
unsigned Milliseconds() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return static_cast<unsigned>(std::int64_t{now.tv_sec} * 1000 + now.tv_usec / 1000);
}

int Elapsed(unsigned since, unsigned until) {
    return static_cast<int>(until - since);
}

// Objects that bear the name of a light stand where it is and point where it aims.
void FollowLights(const Room& room) {
    for (const auto& [name, light] : room.lights) {
        Object* marker = light ? room.Child(name) : nullptr;
        if (!marker) continue;
        if (marker->pos != light->pos) marker->SetPosition(light->pos);
        const vec3 aim = light->pointat - light->pos;
        if (marker->point == aim) continue;
        marker->InvalidateTree();
        marker->point = aim;
    }
}

void PrepareDriver(Application& app) {
    Driver& driver = *app.driver;
    driver.SetWindow(app.renderWindow);
    app.database->DrainPurges();
    driver.SetViewport(0, 0, app.windowWidth, app.windowHeight);
    driver.ColorMask(true, true, true);
    // A scene covers its own background; a wireframe does not.
    driver.Clear(true, driver.GetBool(driver_settings::kWireframe));
}

void DrawEye(Application& app, const Camera& camera) {
    app.renderer->BeginFrame(app.driver);
    app.renderer->Render(app.currentRoom, camera);
    app.renderer->FinishFrame();
}

// One picture, or two for red-green glasses: the second through the complement of the mask.
void DrawEyes(Application& app) {
    const ShellValues& shell = app.shell;
    const bool* mask = shell.emask;
    const bool divided = shell.anaglyph && std::isfinite(shell.ediverg) && shell.ediverg != 0;
    const bool stereo = divided && !(mask[0] == mask[1] && mask[1] == mask[2]);
    Camera eye = app.camera;
    vec3 offset;
    if (stereo) {
        offset = 0.5F * shell.ediverg * Normalise(Cross(eye.lookat - eye.pos, eye.up));
        app.driver->ColorMask(mask[0], mask[1], mask[2]);
    } else {
        app.driver->ColorMask(true, true, true);
    }
    eye.pos -= offset;
    eye.lookat -= offset;
    if (!stereo || app.drawLeftEye) DrawEye(app, eye);
    if (divided) {
        app.driver->ColorMask(!mask[0], !mask[1], !mask[2]);
        app.driver->Clear(true, false);
        eye.pos += 2 * offset;
        eye.lookat += 2 * offset;
        if (app.drawRightEye) DrawEye(app, eye);
    }
    app.driver->ColorMask(true, true, true);
}

void DrawGraph(Application& app) {
    const float reference =
        app.shell.ratecap ? app.shell.caprate : FrameGraph::Reference(app.frame);
    const float aspect = static_cast<float>(app.windowWidth) / static_cast<float>(app.windowHeight);
    app.graph.Draw(app.frame, *app.driver, reference, aspect);
}

// Brings the frame time closer to the capture rate through the detail of the meshes.
void SteerDetail(Application& app) {
    const float now = app.renderer->Get(renderer_settings::kDetailScale);
    const float next = SteeredDetailScale(now, app.shell.caprate, app.frame.smoothedFrameTime);
    if (std::fabs(double{next} - double{now}) > kSettledDetail) app.redrawRequested = true;
    app.renderer->Set(renderer_settings::kDetailScale, next);
}

void Capture(Application& app) {
    app.frame.recordedTime += Elapsed(app.frame.lastTime, Milliseconds());
    AppendFrameTime(app.recname, app.frame.recordedTime, app.frameNumber);
    WriteFrame(app.driver->GetFramebuffer(), app.recname, app.frameNumber);
}

// The time that a capture takes counts for no frame.
void FinishBookkeeping(Application& app) {
    if (app.frame.firstFrame) app.frame.lastTime = Milliseconds();
    app.frame.firstFrame = false;
    if (app.recording) Capture(app);
    app.frame.Advance();
    app.frame.lastTime = Milliseconds();
}

}  // namespace

void RenderFrame(Application& app) {
    if (app.windowWidth <= 0 || app.windowHeight <= 0) return;
    FrameSummary summary;
    summary.frameNumber = app.frameNumber;
    summary.fov = app.camera.fov;
    const unsigned start = Milliseconds();
    if (app.command->TakeCameraChanged()) app.camera = app.command->GetCamera();
    if (app.currentRoom) FollowLights(*app.currentRoom);

    PrepareDriver(app);
    if (!app.shell.ratecap) {
        app.renderer->Set(renderer_settings::kDetailScale,
                          std::isnan(app.shell.baseLOD) ? 1 : app.shell.baseLOD);
    }
    DrawEyes(app);
    if (app.shell.showStats) DrawGraph(app);
    app.driver->Finish();

    app.frame.AddFrameTime(Elapsed(start, Milliseconds()));
    if (app.shell.ratecap) SteerDetail(app);
    summary.rate = app.frame.AverageRate();
    summary.rateCapped = app.shell.ratecap;
    summary.caprate = app.shell.caprate;
    summary.lodScale = app.renderer->Get(renderer_settings::kDetailScale);
    summary.shadows = app.renderer->GetBool(renderer_settings::kShadows);
    PrintStatisticsLine(summary, app.renderer->Stats(), app.driver->Stats());
    FinishBookkeeping(app);
}
