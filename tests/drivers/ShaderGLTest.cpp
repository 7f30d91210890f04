// The state of a pass: lines, what earlier passes leave, and passes that draw nothing.
#include "GLFixture.h"
#include "Random.h"

namespace {

class ShaderGL : public GLFixture {
protected:
    GeoImage m_square = SquareMesh(100, -2);
};

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

// Only state that changes is sent: a pass must not depend on what the ones before it left.
TEST_F(ShaderGL, LooksTheSameWhateverWasDrawnBefore) {
    Random random(3);
    const auto channel = [&] { return 0.5F * static_cast<float>(random.Index(3)); };
    const auto color = [&] { return Color{channel(), 0.5F, channel(), 0.5F}; };
    Texture textures[] = {FilledTexture(2, 2, {255, 90, 20}), FilledTexture(1, 1, {9, 250, 80})};
    GeoImage meshes[] = {SphereMesh(1, 9, 9), SquareMesh(1, 0, 3), TurnedRound(SquareMesh(1, 0))};
    Light lights[3];
    for (Light& light : lights) {
        light.pos = random.Point(2) + vec3{0, 2, 1};
        light.color = color();
        light.angle = random.Coin() ? 180 : 60;
    }
    const auto randomPass = [&] {
        Shader pass;
        pass.material = {color(), color(), color(), 4 * channel(), color()};
        pass.texture = random.Coin() ? &textures[random.Index(2)] : nullptr;
        pass.blend = static_cast<BlendFunc>(BlendReplace + random.Index(BlendCount - 1));
        pass.rmode = static_cast<RenderFunc>(random.Index(RenderCount));
        pass.atest = static_cast<TestFunc>(random.Index(TestCount));
        pass.athresh = 0.25F * static_cast<float>(random.Index(4));
        pass.faces = static_cast<FaceSet>(random.Index(FacesCount));
        pass.thick = random.Coin() ? 1 : 2;
        pass.smooth = random.Coin();
        pass.lit = random.Coin();
        pass.depth = random.Coin();
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
        const int mesh = random.Index(3);
        const int lit = random.Index(3);
        StartFrame();
        m_driver->Clear(true, true);
        draw(last, mesh, lit);
        const Picture alone = Shoot();
        for (int i = 0; i < 4; ++i)
            draw(randomPass(), random.Index(3), random.Index(4));
        if (random.Coin()) {
            const vec3 light{0, 3, 0};
            m_driver->StartShadows();
            m_driver->AddShadow(meshes, &light, 10);
            m_driver->FinishShadows();
            m_driver->SetShadowTest(random.Coin());
            draw(randomPass(), random.Index(3), 1);
            m_driver->SetShadowTest(false);
        }
        m_driver->Clear(true, true);
        draw(last, mesh, lit);
        ASSERT_EQ(Shoot(), alone) << round;
    }
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
    EXPECT_FALSE(m_driver->RunShader(nullptr, &pass, nullptr, true));
    EXPECT_FALSE(m_driver->RunShader(&m_square, nullptr, nullptr, true));
    EXPECT_EQ(ShotCentre(), kBlack);
}

}  // namespace
