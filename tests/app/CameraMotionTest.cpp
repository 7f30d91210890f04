// Camera steps: paths, coasting, the upright view, animated lights and shaken objects.
#include <gtest/gtest.h>

#include "app/CameraMotion.h"

#include <cmath>
#include <cstdlib>
#include <limits>
#include <list>
#include <random>
#include <string>
#include <vector>

#include "app/Application.h"
#include "geometry/GeoImage.h"
#include "scene/Room.h"
#include "settings/Registry.h"
#include "support/TempFile.h"

namespace {

class CameraMotionTest : public testing::Test {
protected:
    TempDir m_dir;
    Registry m_registry{m_dir.File("registry")};
    Room m_room;
    std::list<Object> m_objects;
    Application m_app;

    CameraMotionTest() {
        m_registry.SetFloat("testRender/veloscale", 0.01F);
        m_app.registry = &m_registry;
        m_app.currentRoom = &m_room;
    }

    Object& Add(Object& parent, const std::string& name, const vec3& point = {0, 0, 1}) {
        Object& child = m_objects.emplace_back();
        child.point = point;
        parent.AddChild(name, &child);
        return child;
    }
    // Whether the step asked for a frame.
    bool Step() {
        m_app.redrawRequested = false;
        CameraStep(m_app);
        return m_app.redrawRequested;
    }
    void ExpectPos(const vec3& expected, float tolerance = 1e-6F) {
        EXPECT_LE(Length(m_app.camera.pos - expected), tolerance)
            << m_app.camera.pos.x << " " << m_app.camera.pos.y << " " << m_app.camera.pos.z;
    }
};

TEST_F(CameraMotionTest, CoastsFiveTimesTheFirstStepAndThenRests) {
    Step();
    EXPECT_FALSE(Step());
    m_app.velocity = {0, 0, -1};
    EXPECT_TRUE(Step());
    ExpectPos({0, 0, -0.01F});
    EXPECT_FLOAT_EQ(m_app.camera.lookat.z, -1.01F);
    EXPECT_FLOAT_EQ(m_app.velocity.z, -0.8F);
    EXPECT_TRUE(Step());
    ExpectPos({0, 0, -0.018F});
    int frames = 2;
    while (Step()) {
        ++frames;
    }
    // 0.8^31 is the first power not above 0.001.
    EXPECT_EQ(frames, 31);
    for (int i = 0; i < 300; ++i) {
        EXPECT_FALSE(Step());
    }
    ExpectPos({0, 0, -0.05F}, 1e-5F);
    EXPECT_EQ(m_app.velocity, vec3()) << "denormal velocities slow the idle pass";
    EXPECT_EQ(m_app.frameNumber, 0);
}

TEST_F(CameraMotionTest, VelocityScaleIsReadOnEveryStep) {
    m_app.velocity = {1, 0, 0};
    Step();
    m_registry.SetFloat("testRender/veloscale", 1);
    Step();
    ExpectPos({0.81F, 0, 0});
}

TEST_F(CameraMotionTest, EveryViewComesToRest) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> coordinate(-20, 20);
    const auto point = [&] {
        return vec3{coordinate(random), coordinate(random), coordinate(random)};
    };
    int restless = 0;
    for (int i = 0; i < 20000; ++i) {
        m_app.camera.pos = point();
        m_app.camera.lookat = point();
        m_app.camera.up = point();
        int steps = 0;
        while (Step() && steps < 200000) {
            ++steps;
        }
        if (steps == 200000) ++restless;
    }
    EXPECT_EQ(restless, 0);
}

TEST_F(CameraMotionTest, TurnsUprightAndLeansIntoSidewaysMotion) {
    m_app.camera.up = {1, 0, 0};
    EXPECT_TRUE(Step());
    EXPECT_EQ(m_app.camera.up, (vec3{0.9F, 0.1F, 0}));
    while (Step()) {
    }
    EXPECT_LE(Length(m_app.camera.up - vec3{0, 1, 0}), 1e-6F);
    // Two units to the right in one step: the lean is 0.05 * 2 of a view one unit long.
    m_app.velocity = {200, 0, 0};
    Step();
    const float length = std::sqrt(1.01F);
    EXPECT_NEAR(m_app.camera.up.x, 0.9F * 0.1F / length, 1e-6F);
    EXPECT_NEAR(m_app.camera.up.y, 0.9F / length + 0.1F, 1e-6F);
}

TEST_F(CameraMotionTest, DegenerateViewsAndHostileNumbersLeaveTheCameraFinite) {
    constexpr float kHuge = std::numeric_limits<float>::max();
    constexpr float kInfinite = std::numeric_limits<float>::infinity();
    const auto finite = [](const vec3& v) {
        return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
    };
    const Camera views[] = {{{1, 2, 3}, {1, 2, 3}, {0, 1, 0}},
                            {{0, 0, 0}, {0, -5, 0}, {0, 1, 0}},
                            {{0, 0, 0}, {0, 0, -1}, {0, 0, 0}},
                            {{kHuge, kHuge, 0}, {-kHuge, 0, kHuge}, {kHuge, 0, kHuge}}};
    Object& marker = Add(m_room, "_cam");
    Add(marker, "p", {kHuge, kHuge, kHuge});
    Add(marker, "c", {kHuge, kHuge, kHuge});
    for (const Camera& view : views) {
        for (const char* scale : {"nan", "1e38", "-inf"}) {
            m_registry.SetString("testRender/veloscale", scale);
            m_app.camera = view;
            m_app.velocity = {kHuge, 1, kInfinite};
            m_app.paused = false;
            for (int i = 0; i < 20; ++i) {
                Step();
            }
            m_app.paused = true;
            for (int i = 0; i < 2000 && Step(); ++i) {
            }
            EXPECT_FALSE(Step());
            const Camera& camera = m_app.camera;
            EXPECT_TRUE(finite(camera.pos) && finite(camera.lookat) && finite(camera.up));
        }
    }
}

TEST_F(CameraMotionTest, FliesTheDefaultPathWithoutMarkers) {
    m_app.paused = false;
    m_app.currentRoom = nullptr;
    EXPECT_TRUE(Step());
    ExpectPos({0.2295F, 0.075F, 8.9971F}, 2e-4F);
    EXPECT_EQ(m_app.pathTime, 0.5F);
    EXPECT_EQ(m_app.frameNumber, 1);
    // Weights 0.5, 0, 0.5: half way between the centre and the former aim point (0, 0, -1).
    EXPECT_LE(Length(m_app.camera.lookat - vec3{0, 0, -0.5F}), 1e-5F);
    m_app.currentRoom = &m_room;
    Step();
    ExpectPos({0.4588F, 0.14994F, 8.9883F}, 2e-4F);
    EXPECT_EQ(m_app.frameNumber, 2);
}

TEST_F(CameraMotionTest, MarkersShapeThePath) {
    Object& marker = Add(m_room, "_cam");
    Add(marker, "c", {1, 2, 3});
    Object& amplitude = Add(marker, "p", {0, 0, 0});
    m_app.paused = false;
    Step();
    EXPECT_EQ(m_app.camera.pos, (vec3{1, 2, 3}));

    amplitude.point = {10, 0, 0};
    Add(marker, "k", {1, 0, 0});
    Add(marker, "o", {0.25F, 0, 0});
    Add(marker, "t", {0, 100, 0});
    Step();
    ExpectPos({1 + 10 * std::sin(1.25F), 2, 3}, 1e-5F);
    // The flight direction: a hundredth of path time ahead, weighted with a hundred.
    const vec3 ahead = m_app.camera.lookat - m_app.camera.pos;
    EXPECT_NEAR(ahead.x, 1000 * (std::sin(1.26F) - std::sin(1.25F)), 1e-3F);
    EXPECT_FLOAT_EQ(ahead.y, 0);
    // A jump along the path leans the camera like any other motion.
    EXPECT_NE(m_app.camera.up, (vec3{0, 1, 0}));
}

TEST_F(CameraMotionTest, FramesCountWhileRecordingOrFlying) {
    m_app.recording = true;
    Step();
    EXPECT_FALSE(Step()) << "recording a still picture asks for no frame";
    EXPECT_EQ(m_app.frameNumber, 2);
    m_app.frameNumber = std::numeric_limits<int>::max();
    Step();
    EXPECT_EQ(m_app.frameNumber, std::numeric_limits<int>::min());
}

TEST_F(CameraMotionTest, JiggleFliesTheLightsNamedWithAColon) {
    Step();
    Light& plain = *m_room.GetLight("sun");
    m_app.jiggle = true;
    EXPECT_FALSE(Step());
    Light& first = *m_room.GetLight(":a");
    Light& second = *m_room.GetLight(":b");
    m_room.lights[":"] = nullptr;
    first.pointat = {0.1F, 0.2F, 0.3F};
    Object& marker = Add(m_room, ":b");
    Add(marker, "c", {0, 0, 0});
    Add(marker, "o", {0, 0, 0});
    EXPECT_TRUE(Step());
    EXPECT_EQ(m_app.lightTime, 1);
    const auto near = [](const vec3& a, const vec3& b) { return Length(a - b) < 1e-5F; };
    EXPECT_TRUE(
        near(first.pos, {7 * std::sin(0.03F), 4 + 2 * std::sin(1.04F), 2 * std::sin(2.05F)}));
    EXPECT_TRUE(near(second.pos, {7 * std::sin(0.06F), 2 * std::sin(0.08F), 2 * std::sin(0.1F)}));
    for (int i = 0; i < 100; ++i) {
        Step();
    }
    EXPECT_EQ(first.pointat, (vec3{0.1F, 0.2F, 0.3F})) << "the default keeps the aim point";
    EXPECT_EQ(plain.pos, vec3());
    m_room.lights.erase(":");
}

// The change that the shaking makes with the next three random numbers.
vec3 NextShake(float radius) {
    vec3 change;
    for (float* axis : {&change.x, &change.y, &change.z}) {
        const double u = std::rand() / 2147483648.0;
        *axis = static_cast<float>(0.5 * (u * radius - 0.5 * radius));
    }
    return change;
}

TEST_F(CameraMotionTest, ShakesTheFirstChildAndThenEverySeventeenth) {
    m_app.jiggle = true;
    Object& jiggler = Add(m_room, "jiggler");
    GeoImage mesh;
    mesh.radius = 2;
    std::vector<Object*> children;
    for (const char* name : {"a", "b", "c", "d", "e"}) {
        children.push_back(&Add(jiggler, name));
        children.back()->SetMesh(&mesh);
    }
    Object& below = Add(*children[0], "below");
    const auto mark = [&] { below.derivedCache.insert(this); };
    mark();
    std::srand(3);
    const vec3 expected[] = {NextShake(2), NextShake(2), NextShake(2), NextShake(2)};
    std::srand(3);
    EXPECT_TRUE(Step());
    const auto near = [](const vec3& a, const vec3& b) { return Length(a - b) < 1e-6F; };
    EXPECT_TRUE(near(children[0]->pos, expected[0]));
    EXPECT_TRUE(near(children[0]->point, vec3{0, 0, 1} + expected[1]));
    EXPECT_TRUE(near(children[0]->up, vec3{0, 1, 0} + expected[2]));
    EXPECT_TRUE(below.derivedCache.empty());
    EXPECT_EQ(children[1]->pos, vec3());

    Step();
    Step();
    EXPECT_EQ(children[2]->pos, vec3());
    EXPECT_TRUE(Step());  // visits 15 to 19: the child of visit 17 is the third
    EXPECT_TRUE(near(children[2]->pos, expected[3]));
    EXPECT_EQ(children[1]->pos, vec3());
    EXPECT_EQ(children[3]->pos, vec3());
    EXPECT_TRUE(near(children[0]->pos, expected[0]));
}

}  // namespace
