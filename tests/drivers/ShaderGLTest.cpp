// The state of a pass: blending, alpha test, faces, lines, and passes that draw nothing.
#include "GLFixture.h"

#include <random>

namespace {

class ShaderGL : public GLFixture {
protected:
    GeoImage m_square = SquareMesh(100, -2);
};

TEST_F(ShaderGL, BlendsAsThePassSays) {
    const std::pair<BlendFunc, vec3> cases[] = {
        {BlendReplace, {0.5F, 0.25F, 1}},          {BlendAdd, {0.75F, 0.75F, 1}},
        {BlendBlend, {0.3125F, 0.4375F, 0.8125F}}, {BlendMul, {0.125F, 0.125F, 0.75F}},
        {BlendHaze, {0.375F, 0.5625F, 1}},         {BlendFilter, {0.25F, 0.1875F, 1}},
        {BlendSubtract, {0.125F, 0.375F, 0}},
    };
    for (const auto& [blend, expected] : cases) {
        const Shader pass = Unlit({0.5F, 0.25F, 1, 0.25F}, blend);
        EXPECT_THAT(Shown(m_square, pass, {0.25F, 0.5F, 0.75F, 1}),
                    IsColor(expected.x, expected.y, expected.z))
            << blend;
    }
}

TEST_F(ShaderGL, TestsAlphaAgainstTheThreshold) {
    const std::tuple<TestFunc, float, bool> cases[] = {{TestLess, 0.6F, true},
                                                       {TestLess, 0.4F, false},
                                                       {TestGreater, 0.4F, true},
                                                       {TestGreater, 0.6F, false},
                                                       {TestAlways, 0.6F, true}};
    for (const auto& [test, threshold, drawn] : cases) {
        Shader pass = Unlit({1, 0, 0, 0.5F});
        pass.atest = test;
        pass.athresh = threshold;
        EXPECT_EQ(Shown(m_square, pass) != kNothing, drawn) << test << " " << threshold;
    }
}

TEST_F(ShaderGL, DrawsTheFacesOfThePassAndLightsBothSides) {
    const bool drawn[3][2] = {{true, false}, {false, true}, {true, true}};
    GeoImage meshes[2] = {m_square, TurnedRound(m_square)};
    Light light;
    light.falloff = {1, 0, 0};
    m_driver->AddLight(&light);
    for (int faces = 0; faces < FacesCount; ++faces) {
        for (int turned = 0; turned < 2; ++turned) {
            for (Shader pass : {Unlit(kGreen), Lit()}) {
                pass.faces = static_cast<FaceSet>(faces);
                EXPECT_EQ(Shown(meshes[turned], pass).g > 0, drawn[faces][turned])
                    << faces << turned << pass.lit;
            }
        }
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

TEST_F(ShaderGL, WritesDepthOnlyWhenAsked) {
    GeoImage further = SquareMesh(100, -3);
    for (const bool depth : {true, false}) {
        StartFrame();
        Shader pass = Unlit(kRed);
        pass.depth = depth;
        Run(m_square, pass);
        Run(further, Unlit(kGreen));
        EXPECT_THAT(ShotCentre(), IsColor(depth, !depth, 0));
    }
}

// Only state that changes is sent: a pass must not depend on what the ones before it left.
TEST_F(ShaderGL, LooksTheSameWhateverWasDrawnBefore) {
    std::mt19937 random(3);
    const auto below = [&](unsigned count) { return static_cast<int>(random() % count); };
    const auto color = [&] {
        return Color{0.5F * static_cast<float>(below(3)), 0.5F, 0.5F * static_cast<float>(below(3)),
                     0.5F};
    };
    Texture textures[] = {FilledTexture(2, 2, {255, 90, 20}), FilledTexture(1, 1, {9, 250, 80})};
    GeoImage meshes[] = {SphereMesh(1, 9, 9), SquareMesh(1, 0, 3), TurnedRound(SquareMesh(1, 0))};
    Light lights[3];
    for (Light& light : lights) {
        light.pos = {static_cast<float>(below(5) - 2), 2, static_cast<float>(below(3))};
        light.color = color();
        light.angle = below(2) != 0 ? 180.0F : 60.0F;
    }
    const auto randomPass = [&] {
        Shader pass;
        pass.material = {color(), color(), color(), static_cast<float>(below(3)), color()};
        pass.texture = below(2) != 0 ? &textures[below(2)] : nullptr;
        pass.blend = static_cast<BlendFunc>(BlendReplace + below(BlendCount - 1));
        pass.rmode = static_cast<RenderFunc>(below(RenderCount));
        pass.atest = static_cast<TestFunc>(below(TestCount));
        pass.athresh = 0.25F * static_cast<float>(below(4));
        pass.faces = static_cast<FaceSet>(below(FacesCount));
        pass.thick = 1 + static_cast<float>(below(2));
        pass.smooth = below(2) != 0;
        pass.lit = below(2) != 0;
        pass.depth = below(2) != 0;
        return pass;
    };
    const auto draw = [&](const Shader& pass, int mesh, int lit) {
        m_driver->ClearLights();
        m_driver->LoadMatrix({});
        for (int i = 0; i < lit; ++i)
            m_driver->AddLight(&lights[(mesh + i) % 3]);
        MoveTo({0, 0, -3});
        Run(meshes[mesh], pass);
    };
    for (int round = 0; round < 150; ++round) {
        const Shader last = randomPass();
        const int mesh = below(3);
        const int lit = below(3);
        StartFrame();
        m_driver->Clear(true, true);
        draw(last, mesh, lit);
        const std::string alone = Pixels();
        for (int i = 0; i < 4; ++i)
            draw(randomPass(), below(3), below(4));
        if (below(2) == 0) {
            const vec3 light{0, 3, 0};
            m_driver->StartShadows();
            m_driver->AddShadow(meshes, &light, 10);
            m_driver->FinishShadows();
            m_driver->SetShadowTest(below(2) != 0);
            draw(randomPass(), below(3), 1);
            m_driver->SetShadowTest(false);
        }
        m_driver->Clear(true, true);
        draw(last, mesh, lit);
        ASSERT_EQ(Pixels() == alone, true) << round;
    }
}

TEST_F(ShaderGL, RefusesUnknownKindsAndDrawsNothing) {
    const auto refused = [&](auto change) {
        Shader pass = Unlit(kRed);
        change(pass);
        return CaptureStderr([&] { EXPECT_FALSE(Run(m_square, pass)); });
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
    EXPECT_FALSE(m_driver->RunShader(nullptr, &pass, nullptr, true));
    EXPECT_FALSE(m_driver->RunShader(&m_square, nullptr, nullptr, true));
    EXPECT_EQ(ShotCentre(), kNothing);
}

}  // namespace
