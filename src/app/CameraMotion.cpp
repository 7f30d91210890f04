// The camera step: flight path, coasting, upright view, animated lights, shaken objects.
// Runs on every idle pass of the event loop, so it allocates nothing. Draws nothing.
#include "app/CameraMotion.h"

#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <numbers>

#include "app/Application.h"
#include "app/CameraPath.h"
#include "scene/Room.h"
#include "settings/Registry.h"
#include "settings/ShellKeys.h"

namespace {

constexpr double kVisibleSpeed = 0.001;  // slower coasting is not worth a frame
constexpr double kVelocityKept = 0.8;    // share of the velocity left after a step
constexpr float kRestVelocity = 1e-20F;  // below: at rest, before denormals slow the idle pass
constexpr float kPathStep = 0.5F;        // path time of a step
constexpr double kUpKept = 0.9;          // share of the view's own up direction
constexpr dvec3 kWorldUp{0, 0.1, 0};     // and of the world's
constexpr double kBanking = 0.05;        // lean per unit of sideways motion
constexpr double kVisibleUpChange = 1e-10;
constexpr int kShakeInterval = 17;   // one child in so many is shaken
constexpr double kShakeRange = 0.5;  // part of the child's radius
constexpr double kRandomRange = 2147483648.0;

constexpr PathParameters kCameraPath{
    {0, 0, 0}, {0.051, 0.05, 0.051}, {9, 3, 9}, {0, 0, std::numbers::pi / 2}, {0.5, 0, 0.5}};

// Rounds into the target, which stays as it was when a component has no finite float: a value
// that is not a number would never leave a camera or an octree again.
void RoundInto(vec3& target, const dvec3& value) {
    const auto fits = [](double component) { return std::fabs(component) <= double{FLT_MAX}; };
    if (fits(value.x) && fits(value.y) && fits(value.z)) target = vec3(value);
}

const Object* Marker(const Application& app, std::string_view name) {
    return app.currentRoom ? app.currentRoom->Child(name) : nullptr;
}

void FlyPath(Application& app, dvec3& pos, dvec3& lookat) {
    app.pathTime += kPathStep;
    const PathParameters path = ReadPath(Marker(app, "_cam"), kCameraPath);
    const PathView view = FollowPath(path, double{app.pathTime}, lookat);
    pos = view.pos;
    lookat = view.aimPoint;
    app.redrawRequested = true;
}

void SlowDown(vec3& velocity) {
    const auto slower = [](float v) {
        const auto left = static_cast<float>(kVelocityKept * double{v});
        return std::isfinite(left) && std::fabs(left) >= kRestVelocity ? left : 0.0F;
    };
    velocity = {slower(velocity.x), slower(velocity.y), slower(velocity.z)};
}

// Turns the up vector towards the world's, leaning into sideways motion.
void Straighten(Application& app, const dvec3& view, const dvec3& moved) {
    const vec3 before = app.camera.up;
    const dvec3 right = Normalise(Cross(dvec3(before), view));
    const double lean = kBanking * Dot(moved, right);
    const dvec3 upright = Cross(view, right) + lean * right;
    RoundInto(app.camera.up, kUpKept * Normalise(upright) + kWorldUp);
    if (Length(dvec3(app.camera.up) - dvec3(before)) > kVisibleUpChange) {
        app.redrawRequested = true;
    }
}

void MoveCamera(Application& app) {
    const dvec3 velocity(app.velocity);
    if (Length(velocity) > kVisibleSpeed) app.redrawRequested = true;
    const dvec3 step = double{app.registry->GetFloat(shell_keys::kVelocityScale)} * velocity;
    const dvec3 start(app.camera.pos);
    dvec3 pos = start;
    dvec3 lookat(app.camera.lookat);
    if (!app.paused) FlyPath(app, pos, lookat);
    pos = pos + step;
    lookat = lookat + step;
    SlowDown(app.velocity);
    Straighten(app, lookat - pos, pos - start);
    RoundInto(app.camera.pos, pos);
    RoundInto(app.camera.lookat, lookat);
}

// Flies the lights whose names begin with ':', each on a default path of its own.
void AnimateLights(Application& app) {
    app.lightTime += kPathStep;
    if (!app.currentRoom) return;
    int n = 0;
    for (const auto& [name, light] : app.currentRoom->lights) {
        if (!light || !name.starts_with(':')) continue;
        ++n;
        const PathParameters defaults{
            {0, 4, 0}, {0.03 * n, 0.04 * n, 0.05 * n}, {7, 2, 2}, {0, 1, 2}, {0, 0, 1}};
        const PathParameters path = ReadPath(Marker(app, name), defaults);
        const PathView view = FollowPath(path, double{app.lightTime}, dvec3(light->pointat));
        RoundInto(light->pos, view.pos);
        RoundInto(light->pointat, view.aimPoint);
        app.redrawRequested = true;
    }
}

// Moved at random by up to a quarter of the radius on each axis, x first, then y, then z.
vec3 Shaken(const vec3& from, double radius) {
    const auto change = [radius] {
        return kShakeRange * (std::rand() / kRandomRange * radius - 0.5 * radius);
    };
    dvec3 to(from);
    to.x += change();
    to.y += change();
    to.z += change();
    vec3 result = from;
    RoundInto(result, to);
    return result;
}

// As whoever writes a field of an object, each step empties the caches first.
void Shake(Object& object) {
    const double radius = object.Radius(false);
    object.SetPosition(Shaken(object.pos, radius));
    object.InvalidateTree();
    object.point = Shaken(object.point, radius);
    object.InvalidateTree();
    object.up = Shaken(object.up, radius);
}

void ShakeObjects(Application& app) {
    Object* jiggler = app.currentRoom ? app.currentRoom->Child("jiggler") : nullptr;
    if (!jiggler) return;
    for (const auto& [name, child] : jiggler->children) {
        if (app.shakeVisits == 0 && child) Shake(*child);
        app.shakeVisits = (app.shakeVisits + 1) % kShakeInterval;
    }
    app.redrawRequested = true;
}

}  // namespace

void CameraStep(Application& app) {
    MoveCamera(app);
    if (app.jiggle) {
        AnimateLights(app);
        ShakeObjects(app);
    }
    if (app.recording || !app.paused) app.AdvanceFrameNumber(1);
}
