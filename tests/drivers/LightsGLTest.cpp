// Lights and materials against the formulas of fixed lighting.
#include "GLFixture.h"

#include <numbers>
#include <random>

namespace {

class LightsGL : public GLFixture {
protected:
    // Its middle vertex is straight ahead, two units away, normal towards the eye.
    GeoImage m_square = SquareMesh(2, -2, 65);

    Rgb LitCentre(const Light& light, const Shader& pass) {
        StartFrame();
        EXPECT_TRUE(m_driver->AddLight(&light));
        return Shown(m_square, pass);
    }
};

// What the formulas of fixed lighting make of the middle vertex. Light positions and directions are
// in eye space.
vec3 Expected(const Shader& pass, const Color& ambient, const std::vector<Light>& lights) {
    const Material& m = pass.material;
    const auto product = [](const Color& a, const Color& b) {
        return vec3{a.r * b.r, a.g * b.g, a.b * b.b};
    };
    if (!pass.lit) return {m.diffuse.r, m.diffuse.g, m.diffuse.b};
    const Color one{1, 1, 1, 1};
    vec3 sum = product(m.emission, one) + product(m.ambient, ambient);
    for (const Light& light : lights) {
        const vec3 toLight = light.pos - vec3{0, 0, -2};
        const float d = Length(toLight);
        const vec3 direction = Normalise(toLight);
        const float facing = std::max(direction.z, 0.0F);
        const float shine = std::pow(Normalise(direction + vec3{0, 0, 1}).z, m.shininess);
        float strength = 1 / (light.falloff.x + light.falloff.y * d + light.falloff.z * d * d);
        if (light.angle <= 90) {
            const float along = -Dot(direction, Normalise(light.pointat - light.pos));
            const bool inside = along >= std::cos(light.angle * std::numbers::pi_v<float> / 180);
            strength *= inside ? std::pow(along, light.focus) : 0;
        }
        sum = sum + strength * (product(light.ambient, m.ambient) +
                                facing * product(light.color, m.diffuse) +
                                (facing > 0 ? shine : 0) * product(light.color, m.specular));
    }
    return {std::min(sum.x, 1.0F), std::min(sum.y, 1.0F), std::min(sum.z, 1.0F)};
}

TEST_F(LightsGL, PassesShowWhatTheFormulasSay) {
    std::mt19937 random(8);
    const auto real = [&](float low, float high) {
        return std::uniform_real_distribution(low, high)(random);
    };
    const auto color = [&](float most) {
        return Color{real(0, most), real(0, most), real(0, most), 1};
    };
    const auto point = [&](float near, float far) {
        return vec3{real(-1, 1), real(-1, 1), real(near, far)};
    };
    for (int round = 0; round < 300; ++round) {
        m_driver->ClearLights();
        const Color ambient = color(0.3F);
        m_driver->SetAmbient(ambient.r, ambient.g, ambient.b, 1);
        std::vector<Light> lights(random() % 4);
        for (Light& light : lights) {
            light.pos = point(-1.5F, 1);
            light.pointat = point(-4, -2);
            light.ambient = color(0.3F);
            light.color = color(1);
            light.falloff = {real(0.5F, 1), real(0, 1), real(0, 0.5F)};
            light.angle = random() % 2 == 0 ? 180 : real(20, 90);
            light.focus = random() % 2 == 0 ? 0 : real(0, 9);
            const vec3 shift = point(-5, 5);
            MoveTo(shift);
            EXPECT_TRUE(m_driver->AddLight(&light));
            light.pos = light.pos + shift;
            light.pointat = light.pointat + shift;
        }
        m_driver->LoadMatrix({});
        Shader pass = Lit();
        pass.material = {color(1), color(0.7F), color(0.5F), real(0, 128), color(0.3F)};
        pass.lit = random() % 4 != 0;
        const vec3 expected = Expected(pass, ambient, lights);
        EXPECT_THAT(Shown(m_square, pass), IsColor(expected.x, expected.y, expected.z)) << round;
    }
}

TEST_F(LightsGL, RefusedValuesDoNotBringBackTheLastLight) {
    Light spot;
    spot.falloff = {1, 1, 0};
    spot.angle = 5;
    spot.focus = 100;
    LitCentre(spot, Lit());
    Light odd;
    odd.falloff = {1, -1, 0};
    odd.angle = 120;
    odd.focus = -2;
    EXPECT_THAT(LitCentre(odd, Lit()), IsColor(1, 1, 1));
    EXPECT_NE(At(vec3{1.5F, 0, -2}), kNothing);
    EXPECT_THAT(m_cerr.text,
                testing::MatchesRegex("GLError 0x501 at SetupLight:[0-9]+ - SetupLight\n"));
    m_cerr.text.clear();
}

TEST_F(LightsGL, CountsAndForgetsLights) {
    m_driver->Set("GL_lights", 2);
    StartFrame();
    Light light;
    light.color = {0.25F, 0, 0, 1};
    light.falloff = {1, 0, 0};
    const auto shown = [&](const Shader& pass) { return Shown(m_square, pass); };
    EXPECT_TRUE(m_driver->AddLight(&light));
    EXPECT_TRUE(m_driver->AddLight(&light));
    EXPECT_FALSE(m_driver->AddLight(&light));
    EXPECT_THAT(shown(Lit()), IsColor(0.5, 0, 0));
    m_driver->Set("GL_lights", 1);
    StartFrame();
    EXPECT_TRUE(m_driver->AddLight(&light));
    EXPECT_THAT(shown(Lit()), IsColor(0.25, 0, 0)) << "a frame forgets lights beyond its limit";
}

}  // namespace
