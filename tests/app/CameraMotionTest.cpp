// Camera steps: paths, coasting, the upright view, animated lights and shaken objects.
#include <gtest/gtest.h>

#include "app/CameraMotion.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>
#include <numbers>
#include <random>

#include "app/Application.h"
#include "scene/SceneFixture.h"
#include "settings/Registry.h"
#include "settings/ShellKeys.h"

namespace {

constexpr double kHalfPi = std::numbers::pi / 2;
constexpr float kRadius = 2;  // of the shaken objects

// Path parameters in the order of their markers' names.
constexpr const char* kMarkers[] = {"c", "k", "p", "o", "t"};
using Path = std::array<dvec3, 5>;

// Where the path is at the time, and what one looks at who looked at aim before.
std::pair<dvec3, dvec3> Follow(const Path& path, double time, const dvec3& aim) {
    const auto& [centre, speed, amplitude, phase, weights] = path;
    dvec3 at[2];
    for (double dvec3::*axis : {&dvec3::x, &dvec3::y, &dvec3::z}) {
        for (const int i : {0, 1}) {
            const double angle = speed.*axis * (time + 0.01 * i) + phase.*axis;
            at[i].*axis = centre.*axis + amplitude.*axis * std::sin(angle);
        }
    }
    return {at[0], at[0] + weights.x * (centre - at[0]) + weights.y * (at[1] - at[0]) +
                       weights.z * (aim - at[0])};
}

class CameraMotionTest : public SceneFixture {
protected:
    Registry m_registry{dir.File("registry")};
    Application m_app;
    std::mt19937 m_random{7};

    CameraMotionTest() {
        m_registry.SetFloat(shell_keys::kVelocityScale, 0.01F);
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
    vec3 RandomVector(float range) {
        std::uniform_real_distribution<float> coordinate(-range, range);
        return {coordinate(m_random), coordinate(m_random), coordinate(m_random)};
    }
    bool Chance() { return m_random() % 2 == 0; }
    // Replaces some parameters by markers below the object.
    Path WithMarkers(const std::string& object, Path path) {
        for (std::size_t i = 0; i < path.size(); ++i) {
            if (Chance()) continue;
            Run("object " + object + "/" + kMarkers[i]);
            path[i] = dvec3(command->CurrentObject()->point = RandomVector(1));
        }
        return path;
    }
    static bool Near(const vec3& is, const dvec3& wanted) {
        return Length(dvec3(is) - wanted) < 1e-5 * (1 + Length(wanted));
    }
};

TEST_F(CameraMotionTest, MovesTheCameraLikeAPlainSecondVersion) {
    for (int round = 0; round < 300; ++round) {
        Run("delete r _cam");
        const Path path = WithMarkers(
            "_cam", {{{}, {0.051, 0.05, 0.051}, {9, 3, 9}, {0, 0, kHalfPi}, {0.5, 0, 0.5}}});
        const bool upright = Chance();  // and stays so by moving along the view only
        m_app.camera = {};
        if (!upright) m_app.camera = {RandomVector(9), RandomVector(9), RandomVector(1)};
        m_app.velocity = upright ? vec3{0, 0, 1} : RandomVector(100);
        if (Chance()) m_app.velocity *= 0.0005F;
        m_app.paused = Chance();
        m_app.recording = Chance();
        m_app.pathTime = static_cast<float>(round) / 2;
        dvec3 pos(m_app.camera.pos);
        dvec3 lookat(m_app.camera.lookat);
        dvec3 up(m_app.camera.up);
        const dvec3 velocity(m_app.velocity);
        const int number = m_app.frameNumber;
        EXPECT_EQ(Step(), !upright || !m_app.paused || Length(velocity) > 0.001);

        const dvec3 start = pos;
        if (!m_app.paused) std::tie(pos, lookat) = Follow(path, 0.5 * (round + 1), lookat);
        pos = pos + 0.01 * velocity;
        lookat = lookat + 0.01 * velocity;
        const dvec3 right = Normalise(Cross(up, lookat - pos));
        const double lean = 0.05 * Dot(pos - start, right);
        up = 0.9 * Normalise(Cross(lookat - pos, right) + lean * right) + dvec3{0, 0.1, 0};
        EXPECT_TRUE(Near(m_app.camera.pos, pos) && Near(m_app.camera.lookat, lookat));
        EXPECT_TRUE(Near(m_app.camera.up, up) && Near(m_app.velocity, 0.8 * velocity));
        EXPECT_EQ(m_app.frameNumber - number, m_app.recording || !m_app.paused ? 1 : 0);
    }
}

TEST_F(CameraMotionTest, JigglesLightsAndObjectsLikeAPlainSecondVersion) {
    m_app.jiggle = true;
    Run("light set sun pos 0,0,0");
    EXPECT_FALSE(Step()) << "its name begins with no colon";
    const std::string mesh = Mesh("mesh", kRadius / std::sqrt(2.0F));
    for (const char name : std::string_view("abcdefghijklmnopqrst")) {
        const std::string object = std::string("object jiggler/") + name;
        Run(object + "/below\n" + object + "\nset mesh " + mesh);
    }
    const auto shake = [](dvec3& v) {
        for (double* component : {&v.x, &v.y, &v.z})
            *component += 0.5 * kRadius * (std::rand() / 2147483648.0 - 0.5);
    };
    int visits = 0;
    for (int round = 0; round < 50; ++round) {
        std::map<std::string, std::pair<dvec3, dvec3>> flown;
        for (const std::string name : {":a", ":b", ":c"}) {
            Run("delete r " + name + "\nlight set " + name + " pos 0,0,0");
            vec3& aim = m_app.currentRoom->lights[name]->pointat = RandomVector(5);
            const double n = static_cast<double>(flown.size() + 1);
            const dvec3 speed{0.03 * n, 0.04 * n, 0.05 * n};
            const Path path =
                WithMarkers(name, {{{0, 4, 0}, speed, {7, 2, 2}, {0, 1, 2}, {0, 0, 1}}});
            flown[name] = Follow(path, 0.5 * (round + 2), dvec3(aim));
        }
        const auto& children = m_app.currentRoom->Child("jiggler")->children;
        std::vector<std::array<dvec3, 3>> moved;
        for (const auto& [name, child] : children) {
            child->Child("below")->derivedCache.insert(this);
            moved.push_back({dvec3(child->pos), dvec3(child->point), dvec3(child->up)});
        }
        std::srand(static_cast<unsigned>(round));
        EXPECT_TRUE(Step());
        for (const auto& [name, view] : flown) {
            const Light& light = *m_app.currentRoom->lights[name];
            EXPECT_TRUE(Near(light.pos, view.first) && Near(light.pointat, view.second)) << name;
        }
        std::srand(static_cast<unsigned>(round));
        auto to = moved.begin();
        for (const auto& [name, child] : children) {
            const bool shaken = visits++ % 17 == 0;
            if (shaken) std::ranges::for_each(*to, shake);
            EXPECT_TRUE(Near(child->pos, (*to)[0]) && Near(child->point, (*to)[1]));
            EXPECT_TRUE(Near(child->up, (*to++)[2]));
            EXPECT_EQ(child->Child("below")->derivedCache.empty(), shaken);
        }
    }
}

// In floats alone six views in a hundred flip between two neighbouring up vectors for ever.
TEST_F(CameraMotionTest, EveryViewComesToRest) {
    constexpr int kLimit = 200000;  // nearly vertical views take their time
    for (int i = 0; i < 20000; ++i) {
        m_app.camera = {
            .pos = RandomVector(20), .lookat = RandomVector(20), .up = RandomVector(20)};
        ASSERT_LT(StepsToRest(kLimit), kLimit) << "view " << i;
    }
    m_app.velocity = {1, 2, 3};
    for (int i = 0; i < 300; ++i)
        Step();
    EXPECT_EQ(m_app.velocity, vec3()) << "denormal velocities slow the idle pass";
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
            m_registry.SetString(shell_keys::kVelocityScale, scale);
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

}  // namespace
