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
    {kEscape, nullptr, "quit"},
    {'q', nullptr, "quit"},
    {' ', NextFrameNumber, "frame number up"},
    {'0', NextFrameNumber, "frame number up"},
    {'9', [](Application& app) { app.AdvanceFrameNumber(-1); }, "frame number down"},
    {'!', [](Application& app) { Flip(app.drawLeftEye); }, "left eye image on/off"},
    {'@', [](Application& app) { Flip(app.drawRightEye); }, "right eye image on/off"},
    {'(', [](Application& app) { app.shell.ediverg -= kDivergenceStep; }, "stereo divergence down"},
    {')', [](Application& app) { app.shell.ediverg += kDivergenceStep; }, "stereo divergence up"},
    {'+', RaiseDetail, "more detail, or a higher target rate under rate control"},
    {'=', RaiseDetail, "more detail, or a higher target rate under rate control"},
    {'-', LowerDetail, "less detail, or a lower target rate"},
    {'1', [](Application& app) { Flip(app.shell.emask[0]); }, "red of the first stereo eye on/off"},
    {'2', [](Application& app) { Flip(app.shell.emask[1]); },
     "green of the first stereo eye on/off"},
    {'3', [](Application& app) { Flip(app.shell.emask[2]); },
     "blue of the first stereo eye on/off"},
    {'`', [](Application& app) { Flip(app.shell.anaglyph); }, "anaglyph stereo on/off"},
    {'[', WidenView, "wider field of view"},
    {']', NarrowView, "narrower field of view"},
    {'a', [](Application& app) { app.velocity += ViewDirection(app); }, "fly forward"},
    {'z', [](Application& app) { app.velocity -= ViewDirection(app); }, "fly backward"},
    {'<', [](Application& app) { Step(*app.driver, gl_settings::kMotionBlurFactor, -kBlurStep); },
     "shorter motion blur (GL driver)"},
    {'>', [](Application& app) { Step(*app.driver, gl_settings::kMotionBlurFactor, kBlurStep); },
     "longer motion blur (GL driver)"},
    {'b', [](Application& app) { app.driver->Toggle(gl_settings::kMotionBlur); },
     "motion blur on/off (GL driver)"},
    {'w', [](Application& app) { app.driver->Toggle(driver_settings::kWireframe); },
     "wireframe on/off"},
    {'{', [](Application& app) { Step(*app.driver, driver_settings::kShadowOffset, -kShadowStep); },
     "shadow offset down"},
    {'}', [](Application& app) { Step(*app.driver, driver_settings::kShadowOffset, kShadowStep); },
     "shadow offset up"},
    {'m', [](Application& app) { app.renderer->Toggle(renderer_settings::kMipmesh); },
     "mesh mipmapping on/off"},
    {'o', [](Application& app) { app.renderer->Toggle(renderer_settings::kOcclusion); },
     "occlusion culling on/off"},
    {'s', [](Application& app) { app.renderer->Toggle(renderer_settings::kShadows); },
     "shadows on/off"},
    {'D', SwitchDriver, "next driver"},
    {'f', [](Application& app) { Flip(app.shell.showStats); }, "frame-rate graph on/off"},
    {'k', [](Application& app) { Flip(app.recording); }, "recording on/off"},
    {'p', [](Application& app) { Flip(app.paused); }, "camera path on/off"},
    {'P', [](Application& app) { Flip(app.jiggle); },
     "jiggler: animated lights and shaken objects on/off"},
    {'r', [](Application& app) { Flip(app.shell.ratecap); }, "rate control on/off"},
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
