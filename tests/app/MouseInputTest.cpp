// Mouse control: what each button moves, the wheel, and events that make no sense.
#include <gtest/gtest.h>

#include <cmath>

#include "ShellFixture.h"
#include "app/MouseInput.h"

namespace {
class Mouse : public ShellFixture {
protected:
    // A drag with these buttons held by (x, -y) hundredths of the window; they are let go again.
    void Drag(std::initializer_list<unsigned> buttons, int x, int y) {
        app.windowHeight = 100;
        app.velocity = {};
        app.camera.pos = {0, 0, 5};
        app.camera.lookat = {0, 0, 4};
        for (const unsigned button : buttons)
            HandleMouse(app, button, true, 50, 50);
        EXPECT_EQ(vec3(0, 0, 4), app.camera.lookat) << "a press alone changes nothing";
        Move(50 + x, 50 + y);
        Move(50, 50);
        for (const unsigned button : buttons)
            HandleMouse(app, button, false, 50, 50);
        Move(99, 99);
    }
    void Move(int x, int y) { HandleMouse(app, 0, false, x, y); }
    void Expect(const vec3& lookat, const vec3& velocity) {
        EXPECT_LT(Length(lookat - app.camera.lookat), 1e-5F);
        EXPECT_LT(Length(velocity - app.velocity), 1e-5F);
    }
};

TEST_F(Mouse, ButtonsTurnSlideAndFlyAndAddUp) {
    // Turning: 0.3 of the way to (0.1, 0.2, 4).
    Drag({1}, 10, -20);
    EXPECT_TRUE(app.redrawRequested);
    Expect({0.03F, 0.06F, 4}, {});
    Drag({2}, 10, -5);
    Expect({0, 0, 4}, {0.1F, 0.05F, 0});
    // Flying also turns by x alone.
    Drag({3}, 10, -5);
    Expect({0.03F, 0, 4}, {0, 0, -0.1F});
    // Flying follows the direction that turning has left: (0.2, 0.1, -1), times 2 * 10 * 0.01.
    Drag({1, 3}, 20, -10);
    Expect({0.3F * 0.4F, 0.3F * 0.1F, 4}, {0.04F, 0.02F, -0.2F});
    // From two units away the look-at point approaches to the view direction's length of 1.
    app.camera.lookat = {0, 0, 3};
    HandleMouse(app, 3, true, 0, 0);
    Move(10, 0);
    EXPECT_FLOAT_EQ(0.7F * 3 + 0.3F * 4, app.camera.lookat.z);
}

TEST_F(Mouse, WheelAndEventsWithoutSenseLeaveTheCameraSound) {
    app.camera.fov = 8;
    HandleMouse(app, 4, true, 7, 7);
    HandleMouse(app, 4, false, 7, 7);
    HandleMouse(app, 5, false, 7, 7);
    EXPECT_FLOAT_EQ(5, app.camera.fov);
    HandleMouse(app, 5, true, 7, 7);
    EXPECT_FLOAT_EQ(10, app.camera.fov);
    Drag({6, 33, 255, 4294967295U}, 1000, -1000);
    Expect({0, 0, 4}, {});
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
