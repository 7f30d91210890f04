// Mouse control of the camera. Must not know of the window beyond its height and where the pointer
// is put back.
#include "app/MouseInput.h"

#include <algorithm>
#include <cmath>

#include "app/Application.h"
#include "app/KeyBindings.h"

namespace {
constexpr int kTurn = 1 << 0;
constexpr int kSlide = 1 << 1;
constexpr int kFly = 1 << 2;
constexpr float kVelocityPerPixel = 0.01F;
// The view follows the pointer smoothly: this much of the new direction at every event.
constexpr float kTurnBlend = 0.3F;

bool IsFinite(const vec3& v) {
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

void HoldOrRelease(Application& app, unsigned button, bool pressed, int x, int y) {
    const int bit = 1 << (button - 1);
    if (pressed) {
        app.anchorX = x;
        app.anchorY = y;
        app.buttonMask |= bit;
    } else {
        app.buttonMask &= ~bit;
    }
}

// dx, dy: displacement from the anchor in pixels, upwards positive.
void Drag(Application& app, float dx, float dy) {
    Camera& camera = app.camera;
    const float height = static_cast<float>(std::max(app.windowHeight, 1));
    const vec3 forward = camera.lookat - camera.pos;
    const vec3 right = Normalise(Cross(forward, camera.up));
    const vec3 screenUp = Normalise(Cross(right, forward));
    const vec3 onScreen = dx * right + dy * screenUp;
    vec3 look = Normalise(forward);
    vec3 move;
    if (app.buttonMask & kTurn) look += onScreen * (1 / height);
    if (app.buttonMask & kSlide) move += onScreen;
    if (app.buttonMask & kFly) {
        move += 2 * dy * look;
        look += dx / height * right;
    }
    const vec3 velocity = app.velocity + kVelocityPerPixel * move;
    const vec3 lookat = (1 - kTurnBlend) * camera.lookat + kTurnBlend * (camera.pos + look);
    // A camera at the edge of the float range would turn into NaN and never come back.
    if (!IsFinite(velocity) || !IsFinite(lookat)) return;
    app.velocity = velocity;
    camera.lookat = lookat;
}
}  // namespace

void HandleMouse(Application& app, unsigned button, bool pressed, int x, int y) {
    app.redrawRequested = true;
    if (button >= 1 && button <= 3) HoldOrRelease(app, button, pressed, x, y);
    if (button == 4 && pressed) NarrowView(app);
    if (button == 5 && pressed) WidenView(app);
    if (app.buttonMask == 0 || (x == app.anchorX && y == app.anchorY)) return;
    Drag(app, static_cast<float>(x - app.anchorX), static_cast<float>(app.anchorY - y));
    // Back to the anchor, so that every motion carries a displacement of its own.
    XWarpPointer(app.display, None, app.renderWindow, 0, 0, 0, 0, app.anchorX, app.anchorY);
}
