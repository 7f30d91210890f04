// The table of keys and their actions. Must not know how keys arrive.
#include "app/KeyBindings.h"

#include <algorithm>

#include "app/Application.h"
#include "app/EventLoop.h"
#include "drivers/Driver.h"
#include "renderer/Renderer.h"

namespace {
constexpr char kEscape = 27;
constexpr float kDivergenceStep = 0.01F;
constexpr float kRateStep = 1;  // frames per second
constexpr float kMinRate = 1;   // frames per second; the key never goes below
constexpr float kDetailStep = 0.1F;
constexpr float kMinDetail = 0.1F;
constexpr float kBlurStep = 0.05F;
constexpr float kShadowOffsetStep = 0.01F;
constexpr const char* kBlurAmount = "GL_mblur%";
constexpr const char* kShadowOffset = "D_shadowoffset";

void Flip(bool& value) {
    value = !value;
}

void Step(Settings& settings, const char* name, float step) {
    settings.Set(name, settings.Get(name) + step);
}

vec3 ViewDirection(const Application& app) {
    return Normalise(app.camera.lookat - app.camera.pos);
}

void RaiseDetail(Application& app) {
    if (app.shell.ratecap) {
        app.shell.caprate += kRateStep;
    } else {
        app.shell.baseLOD += kDetailStep;
    }
}

void LowerDetail(Application& app) {
    if (!app.shell.ratecap) {
        const float lower = app.shell.baseLOD - kDetailStep;
        app.shell.baseLOD = lower > kMinDetail ? lower : kMinDetail;
    } else if (app.shell.caprate > kMinRate) {
        app.shell.caprate -= kRateStep;
    }
}

void NextFrameNumber(Application& app) {
    ++app.frameNumber;
}

constexpr KeyBinding kBindings[] = {
    {kEscape, nullptr, "quit"},
    {'q', nullptr, "quit"},
    {' ', NextFrameNumber, "next frame number"},
    {'0', NextFrameNumber, "next frame number"},
    {'9', [](Application& app) { --app.frameNumber; }, "previous frame number"},
    {'a', [](Application& app) { app.velocity += ViewDirection(app); }, "fly forward"},
    {'z', [](Application& app) { app.velocity -= ViewDirection(app); }, "fly backward"},
    {'[', WidenView, "wider field of view"},
    {']', NarrowView, "narrower field of view"},
    {'p', [](Application& app) { Flip(app.paused); }, "start or stop the camera path"},
    {'P', [](Application& app) { Flip(app.jiggle); }, "start or stop lights and jiggler"},
    {'k', [](Application& app) { Flip(app.recording); }, "start or stop recording frames"},
    {'f', [](Application& app) { Flip(app.shell.showStats); }, "show or hide the rate graph"},
    {'r', [](Application& app) { Flip(app.shell.ratecap); },
     "hold the capture rate, or the detail"},
    {'+', RaiseDetail, "more detail, or a higher capture rate"},
    {'=', RaiseDetail, "more detail, or a higher capture rate"},
    {'-', LowerDetail, "less detail, or a lower capture rate"},
    {'w', [](Application& app) { app.driver->Toggle("D_wireframe"); }, "wireframe"},
    {'m', [](Application& app) { app.renderer->Toggle("P_mipmesh"); }, "detail chosen by distance"},
    {'o', [](Application& app) { app.renderer->Toggle("P_occlusion"); }, "occlusion culling"},
    {'s', [](Application& app) { app.renderer->Toggle("F_shadows"); }, "shadows"},
    {'{', [](Application& app) { Step(*app.driver, kShadowOffset, -kShadowOffsetStep); },
     "smaller offset of shadows from their objects"},
    {'}', [](Application& app) { Step(*app.driver, kShadowOffset, kShadowOffsetStep); },
     "larger offset of shadows from their objects"},
    {'b', [](Application& app) { app.driver->Toggle("GL_mblur"); }, "motion blur"},
    {'<', [](Application& app) { Step(*app.driver, kBlurAmount, -kBlurStep); }, "less motion blur"},
    {'>', [](Application& app) { Step(*app.driver, kBlurAmount, kBlurStep); }, "more motion blur"},
    {'`', [](Application& app) { Flip(app.shell.anaglyph); }, "stereo view"},
    {'(', [](Application& app) { app.shell.ediverg -= kDivergenceStep; }, "eyes closer together"},
    {')', [](Application& app) { app.shell.ediverg += kDivergenceStep; }, "eyes farther apart"},
    {'1', [](Application& app) { Flip(app.shell.emask[0]); }, "red in the first eye's image"},
    {'2', [](Application& app) { Flip(app.shell.emask[1]); }, "green in the first eye's image"},
    {'3', [](Application& app) { Flip(app.shell.emask[2]); }, "blue in the first eye's image"},
    {'!', [](Application& app) { Flip(app.drawLeftEye); }, "draw the first eye's image"},
    {'@', [](Application& app) { Flip(app.drawRightEye); }, "draw the second eye's image"},
    {'D', [](Application& app) { SwitchDriver(app); }, "next rendering driver"},
};
}  // namespace

std::span<const KeyBinding> KeyBindings() {
    return kBindings;
}

const KeyBinding* FindKeyBinding(char key) {
    const auto found = std::ranges::find(kBindings, key, &KeyBinding::key);
    return found == std::end(kBindings) ? nullptr : &*found;
}

void NarrowView(Application& app) {
    app.camera.fov = std::max(kMinFov, app.camera.fov - kFovStep);
}

void WidenView(Application& app) {
    app.camera.fov = std::min(kMaxFov, app.camera.fov + kFovStep);
}
