// Camera steps: paths, coasting, the upright view, animated lights and shaken objects.
#include <gtest/gtest.h>

#include "app/CameraMotion.h"

#include <array>
#include <cstdlib>
#include <limits>
#include <numbers>

#include "app/Application.h"
#include "scene/SceneFixture.h"
#include "settings/Registry.h"
#include "settings/ShellKeys.h"
#include "support/Random.h"

namespace {

constexpr float kRadius = 2;        // of the shaken objects
using Path = std::array<dvec3, 5>;  // centre, speed, amplitude, phase and weights

// Where the path is at the time, and what one looks at who looked at aim before.
std::pair<dvec3, dvec3> Follow(const Path& path, double time, const dvec3& aim) {
    const auto& [centre, speed, amplitude, phase, weights] = path;
    const auto at = [&](double t) {
        const auto swing = [&](double dvec3::*axis) {
            return centre.*axis + amplitude.*axis * std::sin(speed.*axis * t + phase.*axis);
        };
        return dvec3{swing(&dvec3::x), swing(&dvec3::y), swing(&dvec3::z)};
    };
    const dvec3 pos = at(time);
    return {pos, pos + weights.x * (centre - pos) + weights.y * (at(time + 0.01) - pos) +
                     weights.z * (aim - pos)};
}

class CameraMotionTest : public SceneFixture {
protected:
    Registry m_registry{dir.File("registry")};
    Application m_app;
    Random m_random{7};

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
    bool ComesToRest(int steps) {
        while (steps > 0 && Step())
            --steps;
        return steps > 0;
    }
    // Replaces some parameters by markers below the object.
    Path WithMarkers(const std::string& object, Path path) {
        for (std::size_t i = 0; i < path.size(); ++i) {
            if (m_random.Coin()) continue;
            Run("object " + object + "/" + "ckpot"[i]);
            path[i] = dvec3(command->CurrentObject()->point = m_random.Point(1));
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
            "_cam",
            {{{}, {0.051, 0.05, 0.051}, {9, 3, 9}, {0, 0, std::numbers::pi / 2}, {0.5, 0, 0.5}}});
        const bool upright = m_random.Coin();  // and stays so by moving along the view only
        m_app.camera = {};
        if (!upright) m_app.camera = {m_random.Point(9), m_random.Point(9), m_random.Point(1)};
        m_app.velocity = upright ? vec3{0, 0, 1} : m_random.Point(100);
        if (m_random.Coin()) m_app.velocity *= 0.0005F;
        m_app.paused = m_random.Coin();
        m_app.recording = m_random.Coin();
        m_app.pathTime = static_cast<float>(round) / 2;
        dvec3 pos(m_app.camera.pos);
        dvec3 lookat(m_app.camera.lookat);
        dvec3 up(m_app.camera.up);
        const dvec3 velocity(m_app.velocity);
        m_app.frameNumber = 0;
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
        EXPECT_EQ(m_app.frameNumber, m_app.recording || !m_app.paused);
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
        std::vector<std::pair<dvec3, dvec3>> flown;
        for (const std::string name : {":a", ":b", ":c"}) {
            Run("delete r " + name + "\nlight set " + name + " pos 0,0,0");
            const vec3 aim = m_app.currentRoom->lights[name]->pointat = m_random.Point(5);
            const dvec3 speed = (flown.size() + 1.0) * dvec3{0.03, 0.04, 0.05};
            const Path path =
                WithMarkers(name, {{{0, 4, 0}, speed, {7, 2, 2}, {0, 1, 2}, {0, 0, 1}}});
            flown.push_back(Follow(path, 0.5 * (round + 2), dvec3(aim)));
        }
        const auto& children = m_app.currentRoom->Child("jiggler")->children;
        std::vector<std::array<dvec3, 3>> moved;
        for (const auto& [name, child] : children) {
            child->Child("below")->derivedCache.insert(this);
            moved.push_back({dvec3(child->pos), dvec3(child->point), dvec3(child->up)});
        }
        std::srand(static_cast<unsigned>(round));
        EXPECT_TRUE(Step());
        for (auto light = m_app.currentRoom->lights.begin(); const auto& [pos, aim] : flown) {
            EXPECT_TRUE(Near(light->second->pos, pos) && Near(light->second->pointat, aim));
            ++light;
        }
        std::srand(static_cast<unsigned>(round));
        auto to = moved.begin();
        for (const auto& [name, child] : children) {
            const bool shaken = visits++ % 17 == 0;
            for (dvec3& place : *to)
                if (shaken) shake(place);
            const auto& [pos, point, up] = *to++;
            EXPECT_TRUE(Near(child->pos, pos) && Near(child->point, point) && Near(child->up, up));
            EXPECT_EQ(child->Child("below")->derivedCache.empty(), shaken);
        }
    }
}

// In floats alone six views in a hundred flip between two neighbouring up vectors for ever.
TEST_F(CameraMotionTest, EveryViewComesToRest) {
    for (int i = 0; i < 20000; ++i) {
        m_app.camera = {m_random.Point(20), m_random.Point(20), m_random.Point(20)};
        ASSERT_TRUE(ComesToRest(200000)) << "nearly vertical views take their time";
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
            ComesToRest(20);
            m_app.paused = true;
            EXPECT_TRUE(ComesToRest(2000));
            for (const vec3& v : {m_app.camera.pos, m_app.camera.lookat, m_app.camera.up})
                EXPECT_TRUE(std::isfinite(Length(dvec3(v))));
        }
    }
}

}  // namespace
