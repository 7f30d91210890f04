// The table of keys and their actions. Must not know how keys arrive.
#include "app/KeyBindings.h"

#include <algorithm>

#include "app/Application.h"
#include "app/DriverSwitch.h"
#include "drivers/Driver.h"
#include "drivers/DriverSettings.h"
#include "drivers/gl/SettingsGL.h"
#include "renderer/Renderer.h"
#include "renderer/RendererSettings.h"

namespace {
constexpr char kEscape = 27;
constexpr float kDivergenceStep = 0.01F;
constexpr float kRateStep = 1;  // frames per second
constexpr float kMinRate = 1;   // frames per second; the key never goes below
constexpr float kDetailStep = 0.1F;
constexpr float kMinDetail = 0.1F;
constexpr float kBlurStep = 0.05F;
constexpr float kShadowStep = 0.01F;

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
    app.AdvanceFrameNumber(1);
}

constexpr KeyBinding kBindings[] = {
    {kEscape, nullptr},
    {'q', nullptr},
    {' ', NextFrameNumber},
    {'0', NextFrameNumber},
    {'9', [](Application& app) { app.AdvanceFrameNumber(-1); }},
    {'!', [](Application& app) { Flip(app.drawLeftEye); }},
    {'@', [](Application& app) { Flip(app.drawRightEye); }},
    {'(', [](Application& app) { app.shell.ediverg -= kDivergenceStep; }},
    {')', [](Application& app) { app.shell.ediverg += kDivergenceStep; }},
    {'+', RaiseDetail},
    {'=', RaiseDetail},
    {'-', LowerDetail},
    {'1', [](Application& app) { Flip(app.shell.emask[0]); }},
    {'2', [](Application& app) { Flip(app.shell.emask[1]); }},
    {'3', [](Application& app) { Flip(app.shell.emask[2]); }},
    {'`', [](Application& app) { Flip(app.shell.anaglyph); }},
    {'[', WidenView},
    {']', NarrowView},
    {'a', [](Application& app) { app.velocity += ViewDirection(app); }},
    {'z', [](Application& app) { app.velocity -= ViewDirection(app); }},
    {'<', [](Application& app) { Step(*app.driver, gl_settings::kMotionBlurFactor, -kBlurStep); }},
    {'>', [](Application& app) { Step(*app.driver, gl_settings::kMotionBlurFactor, kBlurStep); }},
    {'b', [](Application& app) { app.driver->Toggle(gl_settings::kMotionBlur); }},
    {'w', [](Application& app) { app.driver->Toggle(driver_settings::kWireframe); }},
    {'{',
     [](Application& app) { Step(*app.driver, driver_settings::kShadowOffset, -kShadowStep); }},
    {'}', [](Application& app) { Step(*app.driver, driver_settings::kShadowOffset, kShadowStep); }},
    {'m', [](Application& app) { app.renderer->Toggle(renderer_settings::kMipmesh); }},
    {'o', [](Application& app) { app.renderer->Toggle(renderer_settings::kOcclusion); }},
    {'s', [](Application& app) { app.renderer->Toggle(renderer_settings::kShadows); }},
    {'D', SwitchDriver},
    {'f', [](Application& app) { Flip(app.shell.showStats); }},
    {'k', [](Application& app) { Flip(app.recording); }},
    {'p', [](Application& app) { Flip(app.paused); }},
    {'P', [](Application& app) { Flip(app.jiggle); }},
    {'r', [](Application& app) { Flip(app.shell.ratecap); }},
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
