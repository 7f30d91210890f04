// Camera steps: paths, coasting, the upright view, animated lights and shaken objects.
#include <gtest/gtest.h>

#include "app/CameraMotion.h"

#include <limits>
#include <random>

#include "app/Application.h"
#include "scene/SceneFixture.h"
#include "settings/Registry.h"

namespace {

bool Near(const vec3& a, const vec3& b, float tolerance = 1e-5F) {
    return Length(a - b) <= tolerance;
}

class CameraMotionTest : public SceneFixture {
protected:
    Registry m_registry{dir.File("registry")};
    Application m_app;

    CameraMotionTest() {
        m_registry.SetFloat("testRender/veloscale", 0.01F);
        m_app.registry = &m_registry;
        Run("room r");
        m_app.currentRoom = command->GetRoom("r");
    }
    // Whether the step asked for a frame.
    bool Step() {
        m_app.redrawRequested = false;
        CameraStep(m_app);
        return m_app.redrawRequested;
    }
    // The number of steps until one asks for no frame, at most limit.
    int StepsToRest(int limit) {
        int steps = 0;
        while (steps < limit && Step())
            ++steps;
        return steps;
    }
};

TEST_F(CameraMotionTest, CoastsFiveTimesTheFirstStepAndThenRests) {
    m_app.velocity = {0, 0, -1};
    EXPECT_TRUE(Step());
    EXPECT_FLOAT_EQ(m_app.camera.pos.z, -0.01F);
    EXPECT_EQ(StepsToRest(100), 30) << "0.8^31 is the first power not above 0.001";
    EXPECT_FALSE(Step());
    for (int i = 0; i < 300; ++i)
        Step();
    EXPECT_TRUE(Near(m_app.camera.pos, {0, 0, -0.05F}));
    EXPECT_TRUE(Near(m_app.camera.lookat, {0, 0, -1.05F}));
    EXPECT_EQ(m_app.velocity, vec3()) << "denormal velocities slow the idle pass";
    EXPECT_EQ(m_app.frameNumber, 0);
    m_app.recording = true;
    EXPECT_FALSE(Step()) << "recording a still picture asks for no frame";
    EXPECT_EQ(m_app.frameNumber, 1);
}

// In floats alone six views in a hundred flip between two neighbouring up vectors for ever.
TEST_F(CameraMotionTest, EveryViewComesToRest) {
    constexpr int kLimit = 200000;  // nearly vertical views take their time
    std::mt19937 random(7);
    std::uniform_real_distribution<float> coordinate(-20, 20);
    for (int i = 0; i < 20000; ++i) {
        for (vec3* v : {&m_app.camera.pos, &m_app.camera.lookat, &m_app.camera.up})
            *v = {coordinate(random), coordinate(random), coordinate(random)};
        ASSERT_LT(StepsToRest(kLimit), kLimit) << "view " << i;
    }
}

TEST_F(CameraMotionTest, TurnsUprightAndLeansIntoSidewaysMotion) {
    m_app.camera.up = {1, 0, 0};
    EXPECT_TRUE(Step());
    EXPECT_EQ(m_app.camera.up, (vec3{0.9F, 0.1F, 0}));
    StepsToRest(10000);
    EXPECT_TRUE(Near(m_app.camera.up, {0, 1, 0}));
    // Two units to the right in one step: the lean is 0.05 * 2 of a view one unit long.
    m_app.velocity = {200, 0, 0};
    Step();
    const float length = std::sqrt(1.01F);
    EXPECT_TRUE(Near(m_app.camera.up, {0.09F / length, 0.9F / length + 0.1F, 0}));
}

TEST_F(CameraMotionTest, DegenerateViewsAndHostileNumbersLeaveTheCameraFinite) {
    constexpr float kHuge = std::numeric_limits<float>::max();
    const Camera views[] = {{{1, 2, 3}, {1, 2, 3}, {0, 1, 0}},
                            {{0, 0, 0}, {0, -5, 0}, {0, 1, 0}},
                            {{0, 0, 0}, {0, 0, -1}, {0, 0, 0}},
                            {{kHuge, kHuge, 0}, {-kHuge, 0, kHuge}, {kHuge, 0, kHuge}}};
    Run("object _cam/p\nset point 3e38,3e38,3e38\nobject _cam/c\nset point 3e38,3e38,3e38");
    for (const Camera& view : views) {
        for (const char* scale : {"nan", "1e38", "-inf"}) {
            m_registry.SetString("testRender/veloscale", scale);
            m_app.camera = view;
            m_app.velocity = {kHuge, 1, std::numeric_limits<float>::infinity()};
            m_app.paused = false;
            StepsToRest(20);
            m_app.paused = true;
            EXPECT_LT(StepsToRest(2000), 2000);
            for (const vec3& v : {m_app.camera.pos, m_app.camera.lookat, m_app.camera.up}) {
                EXPECT_TRUE(std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z));
            }
        }
    }
}

TEST_F(CameraMotionTest, FliesTheDefaultPathOrThatOfTheMarkers) {
    m_app.paused = false;
    m_app.currentRoom = nullptr;
    EXPECT_TRUE(Step());
    EXPECT_TRUE(Near(m_app.camera.pos, {0.2295F, 0.075F, 8.9971F}, 2e-4F));
    // Half way between the centre and the former aim point (0, 0, -1).
    EXPECT_TRUE(Near(m_app.camera.lookat, {0, 0, -0.5F}));
    EXPECT_EQ(m_app.frameNumber, 1);

    m_app.currentRoom = command->GetRoom("r");
    Run("object _cam/c\nset point 1,2,3\nobject _cam/p\nset point 0,0,0");
    Step();
    EXPECT_EQ(m_app.camera.pos, (vec3{1, 2, 3}));
    Run("set point 10,0,0\nobject _cam/k\nset point 1,0,0\nobject _cam/o\nset point 0.25,0,0\n"
        "object _cam/t\nset point 0,100,0");
    Step();
    EXPECT_TRUE(Near(m_app.camera.pos, {1 + 10 * std::sin(1.75F), 2, 3}));
    // The flight direction: a hundredth of path time ahead, weighted with a hundred.
    const float ahead = 1000 * (std::sin(1.76F) - std::sin(1.75F));
    EXPECT_TRUE(Near(m_app.camera.lookat - m_app.camera.pos, {ahead, 0, 0}, 1e-3F));
}

TEST_F(CameraMotionTest, JiggleFliesTheLightsNamedWithAColon) {
    m_app.jiggle = true;
    Run("light set sun pos 0,0,0");
    Step();
    EXPECT_FALSE(Step());
    Run("light set :a pointat 0.1,0.2,0.3\nlight set :b pos 0,0,0\n"
        "object :b/c\nset point 0,0,0\nobject :b/o\nset point 0,0,0");
    auto& lights = m_app.currentRoom->lights;
    m_app.lightTime = 0.5F;
    EXPECT_TRUE(Step());
    EXPECT_TRUE(Near(lights[":a"]->pos,
                     {7 * std::sin(0.03F), 4 + 2 * std::sin(1.04F), 2 * std::sin(2.05F)}));
    EXPECT_TRUE(
        Near(lights[":b"]->pos, {7 * std::sin(0.06F), 2 * std::sin(0.08F), 2 * std::sin(0.1F)}));
    StepsToRest(100);
    EXPECT_EQ(lights[":a"]->pointat, (vec3{0.1F, 0.2F, 0.3F})) << "the default keeps the aim point";
    EXPECT_EQ(lights["sun"]->pos, vec3());
}

TEST_F(CameraMotionTest, ShakesTheFirstChildAndThenEverySeventeenth) {
    m_app.jiggle = true;
    const std::string mesh = Mesh("mesh", std::sqrt(2.0F));  // of radius 2
    for (const char* name : {"a", "b", "c", "d", "e"})
        Run(std::string("object jiggler/") + name + "\nset mesh " + mesh);
    const auto child = [this](const std::string& name) { return At("r", "jiggler/" + name); };
    std::srand(3);
    const auto change = [] { return static_cast<float>(std::rand() / 2147483648.0 - 0.5); };
    vec3 changes[4];
    for (auto& [x, y, z] : changes)
        x = change(), y = change(), z = change();
    std::srand(3);
    Run("object jiggler/a/below");
    command->CurrentObject()->derivedCache.insert(this);
    EXPECT_TRUE(Step());
    EXPECT_TRUE(Near(child("a")->pos, changes[0]));
    EXPECT_TRUE(Near(child("a")->point, vec3{0, 0, 1} + changes[1]));
    EXPECT_TRUE(Near(child("a")->up, vec3{0, 1, 0} + changes[2]));
    EXPECT_TRUE(command->CurrentObject()->derivedCache.empty());
    StepsToRest(3);  // visits 5 to 19: number 17 is the third child
    EXPECT_TRUE(Near(child("a")->pos, changes[0]));
    EXPECT_TRUE(Near(child("c")->pos, changes[3]));
    EXPECT_TRUE(child("b")->pos == vec3() && child("d")->pos == vec3());
}

}  // namespace
