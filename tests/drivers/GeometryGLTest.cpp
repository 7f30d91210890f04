// The ways of sending vertices: all methods give one picture, at every size of mesh.
#include "GLFixture.h"

namespace {

class GeometryGL : public GLFixture {
protected:
    GeoImage m_sphere = SphereMesh(0.5F, 24, 33);
    Light m_light;
    Texture m_checker;

    void SetUp() override {
        GLFixture::SetUp();
        m_light.pos = {2, 1, 3};
        m_checker.SetSize(3, 5, 3);
        for (int i = 0; i < 45; ++i)
            m_checker.pixels[i] = static_cast<std::uint8_t>(i * 5 + 30);
    }

    std::string Picture(const Shader& pass) {
        StartFrame();
        m_driver->AddLight(&m_light);
        MoveTo({0, 0, -1.5F});
        EXPECT_TRUE(Run(m_sphere, pass));
        return Pixels();
    }

    // Range ends keep users from unknown methods; a registry of another version may widen them.
    void Force(const char* setting, float value) {
        m_driver->Declare(setting, 0, 9, 1, "") = value;
        m_driver->SetWindow(m_xWindow);
    }
};

TEST_F(GeometryGL, MeshMethodsDrawTheSamePicture) {
    Shader plain = Lit();
    Shader textured = Lit();
    textured.texture = &m_checker;
    Shader unlit = Unlit(kRed);
    std::set<std::string> kinds;
    for (const Shader& pass : {plain, textured, unlit}) {
        std::set<std::string> pictures;
        for (const float method : {0.0F, 1.0F, 2.0F}) {
            m_driver->Set("GL_draw_method", method);
            pictures.insert(Picture(pass));
        }
        EXPECT_EQ(pictures.size(), 1U);
        kinds.insert(pictures.begin(), pictures.end());
    }
    EXPECT_EQ(kinds.size(), 3U) << "light and texture show";
}

TEST_F(GeometryGL, EverySizeIsSentWithoutErrors) {
    Shader lit = Lit();
    for (const float method : {0.0F, 1.0F, 2.0F}) {
        m_driver->Set("GL_draw_method", method);
        StartFrame();
        for (const auto& [rows, columns] : {std::pair{0, 0},
                                            {1, 1},
                                            {1, 7},
                                            {7, 1},
                                            {2, 2},
                                            {3, 129},
                                            {129, 129},
                                            {257, 257},
                                            {2, 5000}}) {
            GeoImage mesh(rows, columns);
            const GeoImage source = SquareMesh(1, -2);
            for (int i = 0; i < rows * columns; ++i)
                mesh.samples[i] = source.samples[i % 4];
            EXPECT_TRUE(Run(mesh, lit));
            lit.rmode = RenderShell;
            EXPECT_TRUE(Run(mesh, lit));
            lit.rmode = RenderSolid;
        }
    }
}

TEST_F(GeometryGL, ShellLiesTheThicknessAbove) {
    Shader shell = Unlit(kGreen);
    shell.rmode = RenderShell;
    shell.thick = 0.25F;
    Picture(shell);
    const vec3 above{0.6F, 0, -1.5F};
    EXPECT_THAT(At(above), IsColor(0, 1, 0));
    EXPECT_EQ(At(vec3{0.9F, 0, -1.5F}), kBlack);
    Picture(Unlit(kGreen));
    EXPECT_EQ(At(above), kBlack);
}

TEST_F(GeometryGL, OutlineFollowsTheRimWithEitherLineMethod) {
    for (const bool lit : {false, true}) {
        Shader outline = lit ? Lit() : Unlit(kRed);
        outline.rmode = RenderOutline;
        outline.thick = 2;
        std::set<std::string> pictures;
        for (const float method : {0.0F, 1.0F}) {
            m_driver->Set("GL_line_method", method);
            StartFrame();
            m_driver->AddLight(&m_light);
            MoveTo({0, 0, -1.5F});
            const vec3 eye{0, 0, 1.5F};
            EXPECT_TRUE(m_driver->RunShader(&m_sphere, &outline, &eye, true));
            pictures.insert(Pixels());
        }
        EXPECT_EQ(pictures.size(), 1U);
        EXPECT_EQ(At(kWidth / 2, kHeight / 2), kBlack);
        // Seen from 1.5, the rim of radius 0.5 lies at 0.3536 of the distance.
        int found = 0;
        for (int x = -2; x <= 2; ++x) {
            const int rim = kWidth / 2 + static_cast<int>(0.3536F * kHeight / 2);
            found += At(rim + x, kHeight / 2) != kBlack ? 1 : 0;
        }
        EXPECT_GT(found, 0);
    }
}

TEST_F(GeometryGL, UnknownMethodsSaySo) {
    Shader outline = Unlit(kRed);
    outline.rmode = RenderOutline;
    Force("GL_draw_method", 3);
    Force("GL_line_method", 4);
    EXPECT_EQ(CaptureStderr([&] { EXPECT_TRUE(Run(m_sphere, Unlit(kRed))); }),
              "Unknown drawmethod 3 (in DriverGL::intRenderGeoImage)\n");
    const vec3 eye{0, 0, 3};
    EXPECT_EQ(CaptureStderr([&] { m_driver->RunShader(&m_sphere, &outline, &eye, true); }),
              "Unknown linemethod 4 (in DriverGL::intRenderOutline)\n");
    EXPECT_EQ(CountPixels(kBlack), kWidth * kHeight);
}

}  // namespace
