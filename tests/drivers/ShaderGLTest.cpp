// The state of a pass: blending, alpha test, faces, lines, and passes that draw nothing.
#include "GLFixture.h"

namespace {

class ShaderGL : public GLFixture {
protected:
    GeoImage m_square = SquareMesh(100, -2);
    GeoImage m_turned = TurnedSquare();

    // The same square showing its back.
    static GeoImage TurnedSquare() {
        GeoImage mesh = SquareMesh(100, -2);
        std::swap(mesh.At(0, 0), mesh.At(0, 1));
        std::swap(mesh.At(1, 0), mesh.At(1, 1));
        for (int i = 0; i < 4; ++i)
            mesh.samples[i].normal = {0, 0, -1};
        mesh.Finish(false);
        return mesh;
    }
};

TEST_F(ShaderGL, BlendsAsThePassSays) {
    const Color under{0.25F, 0.5F, 0.75F, 1};
    const Color over{0.5F, 0.25F, 1, 0.25F};
    struct Case {
        BlendFunc blend;
        vec3 expected;
    };
    const Case cases[] = {
        {BlendReplace, {0.5F, 0.25F, 1}},          {BlendAdd, {0.75F, 0.75F, 1}},
        {BlendBlend, {0.3125F, 0.4375F, 0.8125F}}, {BlendMul, {0.125F, 0.125F, 0.75F}},
        {BlendHaze, {0.375F, 0.5625F, 1}},         {BlendFilter, {0.25F, 0.1875F, 1}},
        {BlendSubtract, {0.125F, 0.375F, 0}},
    };
    for (const Case& c : cases) {
        StartFrame();
        Paint(under);
        Shader pass = Unlit(over);
        pass.blend = c.blend;
        EXPECT_TRUE(Run(m_square, pass));
        EXPECT_THAT(ShotCentre(), IsColor(c.expected.x, c.expected.y, c.expected.z)) << c.blend;
    }
}

TEST_F(ShaderGL, TestsAlphaAgainstTheThreshold) {
    struct Case {
        TestFunc test;
        float threshold;
        bool drawn;
    };
    for (const Case& c : {Case{TestLess, 0.6F, true},
                          {TestLess, 0.4F, false},
                          {TestGreater, 0.4F, true},
                          {TestGreater, 0.6F, false},
                          {TestAlways, 0.6F, true}}) {
        StartFrame();
        Shader pass = Unlit({1, 0, 0, 0.5F});
        pass.atest = c.test;
        pass.athresh = c.threshold;
        EXPECT_TRUE(Run(m_square, pass));
        EXPECT_EQ(ShotCentre() != kBlack, c.drawn) << c.test << " " << c.threshold;
    }
}

TEST_F(ShaderGL, DrawsTheFacesOfThePassAndLightsBothSides) {
    const bool drawn[3][2] = {{true, false}, {false, true}, {true, true}};
    Light light;
    light.falloff = {1, 0, 0};
    ASSERT_TRUE(m_driver->AddLight(&light));
    for (int faces = 0; faces < FacesCount; ++faces) {
        for (int turned = 0; turned < 2; ++turned) {
            StartFrame();
            m_driver->AddLight(&light);
            Shader pass = Unlit(kGreen);
            pass.faces = static_cast<FaceSet>(faces);
            GeoImage& mesh = turned != 0 ? m_turned : m_square;
            Run(mesh, pass);
            EXPECT_EQ(ShotCentre() != kBlack, drawn[faces][turned]) << faces << turned;
            pass.lit = true;
            pass.material.diffuse = kRed;
            pass.blend = BlendAdd;
            Run(mesh, pass);
            EXPECT_EQ(ShotCentre().r > 0, drawn[faces][turned]) << "lit " << faces << turned;
        }
    }
}

TEST_F(ShaderGL, LinesAreAsThickAsThePassSays) {
    GeoImage square = SquareMesh(1, -2);
    const auto rowsCrossed = [&](RenderFunc mode, float wireframe) {
        m_driver->Set("D_wireframe", wireframe);
        StartFrame();
        Shader pass = Unlit(kRed);
        pass.rmode = mode;
        pass.thick = 3;
        EXPECT_TRUE(Run(square, pass));
        Shoot();
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
    EXPECT_EQ(ShotCentre(), kBlack);
}

}  // namespace
