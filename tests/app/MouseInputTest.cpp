// Mouse control: what each button moves, the wheel, and events that make no sense.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "ShellFixture.h"
#include "app/MouseInput.h"

namespace {
class Mouse : public ShellFixture {
protected:
    // Presses these buttons (bit by bit) at (50, 50), drags to (50 + x, 50 + y) and lets them go.
    void Drag(unsigned buttons, int x, int y) {
        const vec3 before = app.camera.lookat;
        for (unsigned button = 1; button <= 32; ++button)
            if (buttons >> (button - 1) & 1) HandleMouse(app, button, true, 50, 50);
        EXPECT_EQ(before, app.camera.lookat) << "a press alone changes nothing";
        app.redrawRequested = false;
        HandleMouse(app, 0, false, 50 + x, 50 + y);
        EXPECT_TRUE(app.redrawRequested);
        HandleMouse(app, 0, false, 50, 50);
        for (unsigned button = 1; button <= 32; ++button)
            HandleMouse(app, button, false, 50, 50);
    }
};

TEST_F(Mouse, TurnsSlidesAndFliesLikeAPlainSecondVersion) {
    std::mt19937 random(3);
    const auto coordinate = [&] { return static_cast<float>(random() % 2001) / 100 - 10; };
    for (int round = 0; round < 300; ++round) {
        Camera& camera = app.camera;
        for (vec3* v : {&camera.pos, &camera.lookat, &camera.up, &app.velocity})
            *v = {coordinate(), coordinate(), coordinate()};
        app.windowHeight = 100 + static_cast<int>(random() % 1000);
        const unsigned buttons = random();  // all but the first three and the wheel do nothing
        const int x = static_cast<int>(random() % 200) - 100;
        const int y = static_cast<int>(random() % 200) - 100;
        const dvec3 pos(camera.pos);
        const dvec3 lookat(camera.lookat);
        const dvec3 direction = Normalise(lookat - pos);
        const dvec3 right = Normalise(Cross(direction, dvec3(camera.up)));
        const dvec3 onScreen = double(x) * right + double(-y) * Cross(right, direction);
        dvec3 look = direction;
        dvec3 velocity(app.velocity);
        if (buttons & 1) look = look + (1.0 / app.windowHeight) * onScreen;
        if (buttons & 2) velocity = velocity + 0.01 * onScreen;
        if (buttons & 4) {
            velocity = velocity + 0.02 * -y * look;
            look = look + double(x) / app.windowHeight * right;
        }
        const bool drags = (buttons & 7) != 0 && (x != 0 || y != 0);
        Drag(buttons, x, y);
        const dvec3 wanted = drags ? 0.7 * lookat + 0.3 * (pos + look) : lookat;
        EXPECT_LT(Length(dvec3(camera.lookat) - wanted), 1e-4);
        EXPECT_LT(Length(dvec3(app.velocity) - velocity), 1e-4);
    }
}

TEST_F(Mouse, WheelAndDegenerateViewsLeaveTheCameraSound) {
    app.camera.fov = 8;
    Drag(1U << 3, 7, 7);
    EXPECT_FLOAT_EQ(5, app.camera.fov);
    Drag(1U << 4, 7, 7);
    EXPECT_FLOAT_EQ(10, app.camera.fov);
    for (const Camera& camera : {Camera{.lookat = {0, 0, 0}}, Camera{.lookat = {0, 1, 0}},
                                 Camera{.up = {0, 0, 0}}, Camera{{3e38F, 0, 0}, {-3e38F, 0, 0}}}) {
        app.camera = camera;
        app.velocity = {};
        app.windowHeight = 0;
        Drag(7, 32767, -32768);
        EXPECT_TRUE(std::isfinite(Length(app.velocity)));
        EXPECT_FALSE(std::isnan(app.camera.lookat.x + app.camera.lookat.y + app.camera.lookat.z));
    }
}
}  // namespace
