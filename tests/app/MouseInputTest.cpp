// Mouse control: what each button moves, the limits of the wheel, and events that make no sense.
#include <gtest/gtest.h>

#include <cmath>

#include "ShellFixture.h"
#include "app/EventLoop.h"

namespace {
class Mouse : public ShellFixture {
protected:
    void SetUp() override {
        ShellFixture::SetUp();
        app.windowHeight = 100;
        app.camera.pos = {0, 0, 5};
        app.camera.lookat = {0, 0, 4};
    }
    void Move(int x, int y) { HandleMouse(app, 0, false, x, y); }
};

void ExpectNear(const vec3& expected, const vec3& actual) {
    EXPECT_NEAR(expected.x, actual.x, 1e-5);
    EXPECT_NEAR(expected.y, actual.y, 1e-5);
    EXPECT_NEAR(expected.z, actual.z, 1e-5);
}

TEST_F(Mouse, ButtonOneTurnsTheView) {
    HandleMouse(app, 1, true, 50, 50);
    EXPECT_TRUE(app.redrawRequested);
    EXPECT_EQ(vec3(0, 0, 4), app.camera.lookat) << "a press alone changes nothing";
    Move(60, 30);
    // 10 to the right, 20 up, in hundredths of the window: 0.3 of the way to (0.1, 0.2, 4).
    ExpectNear({0.03F, 0.06F, 4}, app.camera.lookat);
    ExpectNear({0, 0, 0}, app.velocity);
    Move(50, 50);
    ExpectNear({0.03F, 0.06F, 4}, app.camera.lookat);
    HandleMouse(app, 1, false, 50, 50);
    Move(99, 99);
    ExpectNear({0.03F, 0.06F, 4}, app.camera.lookat);
}

TEST_F(Mouse, ButtonTwoSlidesAndButtonThreeFlies) {
    HandleMouse(app, 2, true, 0, 0);
    Move(10, -5);
    ExpectNear({0.1F, 0.05F, 0}, app.velocity);
    ExpectNear({0, 0, 4}, app.camera.lookat);
    HandleMouse(app, 2, false, 0, 0);

    app.velocity = {};
    app.camera.lookat = {0, 0, 3};
    HandleMouse(app, 3, true, 0, 0);
    Move(10, -5);
    ExpectNear({0, 0, -0.1F}, app.velocity);
    // The view direction is of length 1, so the look-at point approaches, and turns by dx.
    ExpectNear({0.03F, 0, 0.7F * 3 + 0.3F * 4}, app.camera.lookat);
}

TEST_F(Mouse, ButtonsTogetherAddUp) {
    HandleMouse(app, 1, true, 0, 0);
    HandleMouse(app, 3, true, 0, 0);
    Move(20, -10);
    // Flying follows the direction that turning has left: (0.2, 0.1, -1), times 2 * 10 * 0.01.
    ExpectNear({0.04F, 0.02F, -0.2F}, app.velocity);
    ExpectNear({0.3F * 0.4F, 0.3F * 0.1F, 4}, app.camera.lookat);
}

TEST_F(Mouse, WheelObeysTheLimitsOfTheKeys) {
    app.camera.fov = 8;
    HandleMouse(app, 4, true, 7, 7);
    EXPECT_FLOAT_EQ(5, app.camera.fov);
    HandleMouse(app, 4, false, 7, 7);
    HandleMouse(app, 5, false, 7, 7);
    EXPECT_FLOAT_EQ(5, app.camera.fov);
    app.camera.fov = 172;
    HandleMouse(app, 5, true, 7, 7);
    EXPECT_FLOAT_EQ(175, app.camera.fov);
}

TEST_F(Mouse, EventsWithoutSenseLeaveTheCameraSound) {
    Move(1000, -1000);
    for (const unsigned button : {6U, 33U, 255U, 4294967295U}) {
        HandleMouse(app, button, true, 3, 3);
        HandleMouse(app, button, false, 4, 4);
    }
    EXPECT_EQ(vec3(0, 0, 4), app.camera.lookat);
    EXPECT_EQ(0, app.buttonMask);

    const Camera degenerate[] = {{.lookat = {0, 0, 0}},  // no view direction
                                 {.lookat = {0, 1, 0}},  // looking along up
                                 {.up = {0, 0, 0}},      //
                                 {.pos = {3e38F, 0, 0}, .lookat = {-3e38F, 0, 0}}};
    for (const Camera& camera : degenerate) {
        app.camera = camera;
        app.velocity = {};
        app.windowHeight = 0;
        for (const unsigned button : {1U, 2U, 3U})
            HandleMouse(app, button, true, 0, 0);
        Move(32767, -32768);
        EXPECT_TRUE(std::isfinite(Length(app.velocity)));
        EXPECT_FALSE(std::isnan(app.camera.lookat.x + app.camera.lookat.y + app.camera.lookat.z));
    }
}
}  // namespace
