// Passes against the formulas of fixed lighting and blending.
#include "GLFixture.h"
#include "Random.h"

namespace {

class LightsGL : public GLFixture {
protected:
    // Its middle vertex is straight ahead, two units away, normal towards the eye.
    GeoImage m_square = SquareMesh(2, -2, 65);
};

vec3 ToVector(const Color& color) {
    return {color.r, color.g, color.b};
}

vec3 Product(const Color& a, const Color& b) {
    return {a.r * b.r, a.g * b.g, a.b * b.b};
}

// The colour of the middle vertex. Light positions and directions are in eye space.
vec3 Surface(const Shader& pass, const Color& ambient, const std::vector<Light>& lights) {
    const Material& m = pass.material;
    if (!pass.lit) return ToVector(m.diffuse);
    vec3 sum = ToVector(m.emission) + Product(m.ambient, ambient);
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
        sum = sum + strength * (Product(light.ambient, m.ambient) +
                                facing * Product(light.color, m.diffuse) +
                                (facing > 0 ? shine : 0) * Product(light.color, m.specular));
    }
    return sum;
}

// A channel of the surface over what was there.
float Blend(const Shader& pass, float surface, float there) {
    const float alpha = pass.material.diffuse.a;
    const float s = std::min(surface, 1.0F);
    if (pass.blend == BlendAdd) return s + there;
    if (pass.blend == BlendBlend) return alpha * s + (1 - alpha) * there;
    if (pass.blend == BlendMul) return s * there;
    if (pass.blend == BlendHaze) return alpha * s + there;
    if (pass.blend == BlendFilter) return alpha * s + s * there;
    if (pass.blend == BlendSubtract) return (1 - s) * there;
    return s;
}

// Values that OpenGL refuses, every time with a line, do not bring back those of an earlier light.
TEST_F(LightsGL, PassesShowWhatTheFormulasSay) {
    Random random(8);
    const auto color = [&](float most) {
        return Color{random.Real(0, most), random.Real(0, most), random.Real(0, most)};
    };
    const auto point = [&](float near, float far) {
        return vec3{random.Real(-1, 1), random.Real(-1, 1), random.Real(near, far)};
    };
    GeoImage turned = TurnedRound(m_square);
    for (int i = 0; i < 65 * 65; ++i)
        turned.samples[i].normal = {0, 0, -1};
    GeoImage further = SquareMesh(3, -3);
    for (int round = 0; round < 600; ++round) {
        m_driver->ClearLights();
        const Color ambient = color(0.3F);
        m_driver->SetAmbient(ambient.r, ambient.g, ambient.b, 1);
        std::vector<Light> lights(static_cast<std::size_t>(random.Index(4)));
        for (Light& light : lights) {
            light.pos = point(-1.5F, 1);
            light.pointat = point(-4, -2);
            light.ambient = color(0.3F);
            light.color = color(1);
            light.falloff = {random.Real(0.5F, 1), random.Real(0, 1), random.Real(0, 0.5F)};
            light.angle = random.Coin() ? 180 : random.Real(20, 90);
            light.focus = random.Coin() ? 0 : random.Real(0, 9);
            const bool refused = random.Index(4) == 0;
            Light given = light;
            if (refused) {
                given.falloff = -1 * light.falloff;
                given.angle = light.angle == 180 ? 120 : light.angle;
                given.focus = -2;
                light.falloff = {1, 0, 0};
                light.focus = 0;
            }
            const vec3 shift = point(-5, 5);
            MoveTo(shift);
            EXPECT_THAT(Said([&] { EXPECT_TRUE(m_driver->AddLight(&given)); }),
                        testing::MatchesRegex(refused ? "GLError 0x501 at SetupLight:.*\n" : ""));
            light.pos = light.pos + shift;
            light.pointat = light.pointat + shift;
        }
        m_driver->LoadMatrix({});
        Shader pass = Lit();
        pass.material = {color(1), color(0.7F), color(0.5F), random.Real(0, 128), color(0.3F)};
        pass.material.diffuse.a = random.Real(0, 1);
        pass.lit = random.Index(4) != 0;
        pass.depth = random.Coin();
        pass.blend = static_cast<BlendFunc>(BlendReplace + random.Index(BlendCount - 1));
        pass.faces = static_cast<FaceSet>(random.Index(FacesCount));
        pass.atest = std::array{TestAlways, TestLess, TestGreater}[random.Index(3)];
        pass.athresh = pass.material.diffuse.a + (random.Coin() ? 0.1F : -0.1F);
        const bool front = random.Coin();
        const bool less = pass.athresh > pass.material.diffuse.a;
        const bool shown = pass.faces != (front ? FacesBack : FacesFront) &&
                           (pass.atest == TestAlways || less == (pass.atest == TestLess));

        const Color there = color(1);
        const vec3 surface = Surface(pass, ambient, lights);
        const float red = shown ? Blend(pass, surface.x, there.r) : there.r;
        const float green = shown ? Blend(pass, surface.y, there.g) : there.g;
        const float blue = shown ? Blend(pass, surface.z, there.b) : there.b;
        EXPECT_THAT(Shown(front ? m_square : turned, pass, there),
                    IsColor(std::min(red, 1.0F), std::min(green, 1.0F), std::min(blue, 1.0F)))
            << round;
        EXPECT_TRUE(Run(further, Unlit(kBlue)));
        EXPECT_EQ(ShotCentre() == kBlue, !(shown && pass.depth)) << round;
    }
}

TEST_F(LightsGL, CountsAndForgetsLights) {
    m_driver->Set("GL_lights", 2);
    StartFrame();
    Light light;
    light.color = {0.25F, 0, 0, 1};
    light.falloff = {1, 0, 0};
    EXPECT_TRUE(m_driver->AddLight(&light));
    EXPECT_TRUE(m_driver->AddLight(&light));
    EXPECT_FALSE(m_driver->AddLight(&light));
    EXPECT_THAT(Shown(m_square, Lit()), IsColor(0.5, 0, 0));
    m_driver->Set("GL_lights", 1);
    StartFrame();
    EXPECT_TRUE(m_driver->AddLight(&light));
    EXPECT_THAT(Shown(m_square, Lit()), IsColor(0.25, 0, 0)) << "no light beyond the limit stays";
}

}  // namespace
