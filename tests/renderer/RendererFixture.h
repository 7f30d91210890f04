// A scene, a renderer and a driver that writes its calls down. Knows nothing of what is tested.
#pragma once

#include <gtest/gtest.h>

#include "support/RecordingDriver.h"
#include "support/SceneBuilder.h"

#include "renderer/Renderer.h"
#include "settings/StatisticNames.h"

struct RendererFixture : testing::Test {
    TestScene scene;
    Renderer renderer;
    RecordingDriver driver;
    Camera camera;  // at the origin, looks along -z; the view is 60 degrees and 480 pixels high

    explicit RendererFixture(int maxLights = 8, bool shadows = false)
        : driver(maxLights, shadows) {}

    void LookFrom(const vec3& pos) { LookFrom(pos, pos - vec3{0, 0, 1}); }
    void LookFrom(const vec3& pos, const vec3& target) {
        camera.pos = pos;
        camera.lookat = target;
    }
    // One frame. The driver then holds this frame's calls alone; returns how many passes it drew.
    std::size_t Draw() { return Draw(driver, &scene.room); }
    std::size_t Draw(RecordingDriver& target, Room* room) {
        target.TakeLog();
        renderer.BeginFrame(&target);
        renderer.Render(room, camera);
        renderer.FinishFrame();
        return target.draws.size();
    }
    float Stat(const char* name) const { return Statistic(renderer.Stats(), name); }
};
