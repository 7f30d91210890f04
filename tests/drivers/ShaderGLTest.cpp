// The state of a pass, against the formulas of lighting and blending, and where its vertices are.
// That all methods of sending them draw one picture is tested with the display lists.
#include "GLFixture.h"
#include "support/Random.h"

#include <array>

namespace {

class ShaderGL : public GLFixture {
protected:
    // Its middle vertex is straight ahead, two units away, normal towards the eye.
    GeoImage m_square = SquareMesh(2, -2, 65);
    GeoImage m_sphere = SphereMesh(0.5F, 24, 33);
    const vec3 m_eye{0, 0, 1.5F};  // of the sphere

    bool RunSphere(const Shader& pass) {
        MoveTo(-m_eye);
        return Run(m_sphere, pass, m_eye);
    }
};

vec3 Product(const Color& a, const Color& b) {
    return {a.r * b.r, a.g * b.g, a.b * b.b};
}

// The colour of the middle vertex. Light positions and directions are in eye space.
vec3 Surface(const Shader& pass, const Color& ambient, const std::vector<Light>& lights) {
    const Material& m = pass.material;
    if (!pass.lit) return Product(m.diffuse, kWhite);
    vec3 sum = Product(m.emission, kWhite) + Product(m.ambient, ambient);
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

// A channel of the surface over what was there, before it is cut off at 1.
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
// Only state that changes is sent: a pass must not depend on what the ones before it left.
TEST_F(ShaderGL, PassesShowWhatTheFormulasSayWhateverWasDrawnBefore) {
    Random random(8);
    const auto color = [&](float most) {
        return Color{random.Real(0, most), random.Real(0, most), random.Real(0, most)};
    };
    const auto randomLight = [&] {
        Light light;
        light.pos = random.Point(1) - vec3{0, 0, 0.25F};
        light.pointat = random.Point(1) - vec3{0, 0, 3};
        light.ambient = color(0.3F);
        light.color = color(1);
        light.falloff = {random.Real(0.5F, 1), random.Real(0, 1), random.Real(0, 0.5F)};
        light.angle = random.Coin() ? 180 : random.Real(20, 90);
        light.focus = random.Coin() ? 0 : random.Real(0, 9);
        return light;
    };
    Texture texture = FilledTexture(2, 2, {255, 90, 20});
    const auto randomPass = [&] {
        Shader pass;
        pass.material = {color(1), color(0.7F), color(0.5F), random.Real(0, 128), color(0.3F)};
        pass.material.diffuse.a = random.Real(0, 1);
        pass.texture = random.Coin() ? &texture : nullptr;
        pass.blend = static_cast<BlendFunc>(BlendReplace + random.Index(BlendCount - 1));
        pass.rmode = static_cast<RenderFunc>(random.Index(RenderCount));
        pass.atest = std::array{TestAlways, TestLess, TestGreater}[random.Index(3)];
        pass.athresh = pass.material.diffuse.a + (random.Coin() ? 0.1F : -0.1F);
        pass.faces = static_cast<FaceSet>(random.Index(FacesCount));
        pass.thick = random.Coin() ? 1 : 2;
        pass.smooth = random.Coin();
        pass.lit = random.Coin();
        pass.depth = random.Coin();
        return pass;
    };
    const auto drawAnything = [&] {
        RunSphere(randomPass());
        if (random.Coin()) return;
        const vec3 light = random.Point(3);
        m_driver->StartShadows();
        m_driver->AddShadow(&m_sphere, &light, 10);
        m_driver->FinishShadows();
        m_driver->SetShadowTest(random.Coin());
        RunSphere(randomPass());
        m_driver->SetShadowTest(false);
    };
    GeoImage turned = TurnedRound(m_square);
    GeoImage further = SquareMesh(3, -3);
    for (int round = 0; round < 600; ++round) {
        m_driver->ClearLights();
        const Color ambient = color(0.3F);
        m_driver->SetAmbient(ambient.r, ambient.g, ambient.b, 1);
        std::vector<Light> lights;
        for (int i = random.Index(4); i > 0; --i) {
            Light given = randomLight();
            Light light = given;
            const bool refused = random.Index(4) == 0;
            if (refused) {
                given.falloff = -1 * light.falloff;
                given.angle = light.angle == 180 ? 120 : light.angle;
                given.focus = -2;
                light.falloff = {1, 0, 0};
                light.focus = 0;
            }
            const vec3 shift = random.Point(5);
            MoveTo(shift);
            EXPECT_THAT(Said([&] { EXPECT_TRUE(m_driver->AddLight(&given)); }),
                        testing::MatchesRegex(refused ? "GLError 0x501 at SetupLight:.*\n" : ""));
            light.pos = light.pos + shift;
            light.pointat = light.pointat + shift;
            lights.push_back(light);
        }
        for (int i = random.Index(3); i > 0; --i)
            drawAnything();
        m_driver->Clear(true, true);

        m_driver->LoadMatrix({});
        Shader pass = randomPass();
        pass.texture = nullptr;
        pass.rmode = RenderSolid;
        pass.smooth = true;
        const bool front = random.Coin();
        const bool less = pass.athresh > pass.material.diffuse.a;
        const bool shown = pass.faces != (front ? FacesBack : FacesFront) &&
                           (pass.atest == TestAlways || less == (pass.atest == TestLess));
        const Color there = color(1);
        const vec3 surface = Surface(pass, ambient, lights);
        const auto wanted = [&](float channel, float before) {
            return shown ? std::min(Blend(pass, channel, before), 1.0F) : before;
        };
        EXPECT_THAT(Shown(front ? m_square : turned, pass, there),
                    IsColor(wanted(surface.x, there.r), wanted(surface.y, there.g),
                            wanted(surface.z, there.b)))
            << round;
        EXPECT_TRUE(Run(further, Unlit(kBlue)));
        EXPECT_EQ(ShotCentre() == kBlue, !(shown && pass.depth)) << round;
    }
}

TEST_F(ShaderGL, TakesAsManyLightsAsItOffers) {
    const float available = m_driver->GetCapability("maxlights");
    Light light;
    light.color = {0.1F, 0, 0};
    light.falloff = {1, 0, 0};
    // A frame forgets lights beyond its limit.
    for (const auto& [forced, taken] :
         {std::pair{0.0F, available}, {128, available}, {2, 2}, {1, 1}}) {
        m_driver->Set("GL_lights", forced);
        StartFrame();
        EXPECT_EQ(m_driver->GetCapability("maxlights"), taken);
        EXPECT_EQ(Shown(m_square, Lit()), kBlack) << "a new frame is dark";
        for (int i = 0; i < taken; ++i)
            EXPECT_TRUE(m_driver->AddLight(&light));
        EXPECT_FALSE(m_driver->AddLight(&light));
        EXPECT_THAT(Shown(m_square, Lit()), IsColor(std::min(0.1 * taken, 1.0), 0, 0));
    }
}

TEST_F(ShaderGL, LinesAreAsThickAsThePassSays) {
    GeoImage square = SquareMesh(1, -2);
    const auto rowsCrossed = [&](RenderFunc mode, float wireframe) {
        m_driver->Set("D_wireframe", wireframe);
        StartFrame();
        Shown(square, Of(mode, 3));
        // A column left of the centre meets the upper edge and stays clear of the diagonal.
        int rows = 0;
        for (int y = 0; y < kHeight / 2; ++y)
            rows += At(kWidth / 2 - 10, y).r > 0 ? 1 : 0;
        return rows;
    };
    EXPECT_EQ(rowsCrossed(RenderWire, 0), 3);
    EXPECT_EQ(rowsCrossed(RenderSolid, 1), 1);
    EXPECT_GT(rowsCrossed(RenderSolid, 0), 10);
}

TEST_F(ShaderGL, EverySizeIsSentWithoutErrors) {
    const std::pair<int, int> sizes[] = {{0, 0}, {1, 1},     {1, 7},     {7, 1},
                                         {2, 2}, {129, 129}, {300, 300}, {2, 5000}};
    for (const float method : {0.0F, 1.0F, 2.0F}) {
        m_driver->Set("GL_draw_method", method);
        StartFrame();
        for (const auto& [rows, columns] : sizes) {
            GeoImage mesh(rows, columns);
            for (int i = 0; i < rows * columns; ++i)
                mesh.samples[i] = m_sphere.samples[i % 792];
            EXPECT_TRUE(Run(mesh, Lit()));
            EXPECT_TRUE(Run(mesh, Of(RenderShell, 1, Lit())));
        }
    }
}

TEST_F(ShaderGL, ShellLiesTheThicknessAboveAndOutlineFollowsTheRim) {
    const vec3 above{0.6F, 0, -1.5F};
    RunSphere(Unlit(kGreen));
    Shoot();
    EXPECT_EQ(At(above), kBlack);
    RunSphere(Of(RenderShell, 0.25F, Unlit(kGreen)));
    Shoot();
    EXPECT_EQ(At(above), kGreen);
    EXPECT_EQ(At(vec3{0.9F, 0, -1.5F}), kBlack);
    // Lines are lit as if they faced the eye, where this light is.
    StartFrame();
    Light light;
    light.falloff = {1, 0, 0};
    m_driver->AddLight(&light);
    RunSphere(Of(RenderOutline, 3, Lit()));
    EXPECT_EQ(ShotCentre(), kBlack);
    EXPECT_GT(At(vec3{0.471F, 0, -1.333F}).g, 0.8F) << "where a line from the eye is tangent";
}

TEST_F(ShaderGL, RefusesUnknownKindsAndDrawsNothing) {
    const auto refused = [&](auto change) {
        Shader pass = Unlit(kRed);
        change(pass);
        return Said([&] { EXPECT_FALSE(Run(m_square, pass)); });
    };
    EXPECT_EQ(refused([](Shader& s) { s.blend = BlendOpaque; }), "DriverGL: Unknown BlendFunc 0\n");
    EXPECT_EQ(refused([](Shader& s) { s.blend = BlendCount; }), "DriverGL: Unknown BlendFunc 8\n");
    EXPECT_EQ(refused([](Shader& s) { s.atest = TestCount; }), "DriverGL: Unknown AlphaFunc 4\n");
    EXPECT_EQ(refused([](Shader& s) { s.faces = FacesCount; }),
              "DriverGL::RunShader: Unknown face set 3\n");
    EXPECT_EQ(refused([](Shader& s) { s.rmode = RenderCount; }),
              "DriverGL::RunShader: Unknown renderfunc 6\n"
              "DriverGL::RunShader: Unknown renderfunc 6\n");
    EXPECT_EQ(refused([](Shader& s) { s.atest = TestNever; }), "");
    EXPECT_EQ(refused([](Shader& s) { s.rmode = RenderShadow; }), "") << "no light";
    const Light light;
    m_driver->AddLight(&light);
    m_driver->AddLight(&light);
    EXPECT_EQ(refused([](Shader& s) { s.rmode = RenderWireShadow; }), "") << "two lights";
    const Shader pass = Unlit(kRed);
    m_driver->AddShadow(nullptr, nullptr, 1);
    EXPECT_FALSE(m_driver->RunShader(nullptr, &pass, nullptr, true));
    EXPECT_FALSE(m_driver->RunShader(&m_square, nullptr, nullptr, true));
    const Shader outline = Of(RenderOutline);
    EXPECT_FALSE(m_driver->RunShader(&m_square, &outline, nullptr, true)) << "seen from nowhere";
    EXPECT_EQ(ShotCentre(), kBlack);
    // The ranges of these settings keep users from unknown methods.
    for (const char* setting : {"GL_draw_method", "GL_line_method"})
        m_driver->Declare(setting, 0, 9, 1, "") = 3;
    StartFrame();
    EXPECT_EQ(Said([&] { EXPECT_TRUE(RunSphere(Unlit(kRed))); }),
              "Unknown drawmethod 3 (in DriverGL::intRenderGeoImage)\n");
    EXPECT_EQ(Said([&] { EXPECT_TRUE(RunSphere(Of(RenderOutline))); }),
              "Unknown linemethod 3 (in DriverGL::intRenderOutline)\n");
}

}  // namespace
