// The ways of sending vertices: all methods give one picture, at every size of mesh.
#include "GLFixture.h"

#include <set>

namespace {

class GeometryGL : public GLFixture {
protected:
    GeoImage m_sphere = SphereMesh(0.5F, 24, 33);

    // The different pictures that the methods of a setting give.
    std::set<std::string> Pictures(const Shader& pass, const char* setting, int methods) {
        std::set<std::string> pictures;
        Light light;
        light.pos = {2, 1, 3};
        const vec3 eye{0, 0, 1.5F};
        for (int method = 0; method < methods; ++method) {
            m_driver->Set(setting, static_cast<float>(method));
            StartFrame();
            m_driver->AddLight(&light);
            MoveTo({0, 0, -1.5F});
            EXPECT_TRUE(m_driver->RunShader(&m_sphere, &pass, &eye, true));
            pictures.insert(Pixels());
        }
        return pictures;
    }
};

TEST_F(GeometryGL, MeshMethodsDrawTheSamePicture) {
    Texture texture = FilledTexture(3, 5, {30, 90, 200});
    Shader textured = Lit();
    textured.texture = &texture;
    std::set<std::string> all;
    for (const Shader& pass : {Lit(), textured, Unlit(kRed)}) {
        const std::set<std::string> pictures = Pictures(pass, "GL_draw_method", 3);
        EXPECT_EQ(pictures.size(), 1U);
        all.insert(pictures.begin(), pictures.end());
    }
    EXPECT_EQ(all.size(), 3U) << "light and texture show";
}

TEST_F(GeometryGL, EverySizeIsSentWithoutErrors) {
    const std::pair<int, int> sizes[] = {{0, 0}, {1, 1},     {1, 7},     {7, 1},
                                         {2, 2}, {129, 129}, {300, 300}, {2, 5000}};
    for (const float method : {0.0F, 1.0F, 2.0F}) {
        m_driver->Set("GL_draw_method", method);
        StartFrame();
        for (const auto& [rows, columns] : sizes) {
            GeoImage mesh(rows, columns);
            for (int i = 0; i < rows * columns; ++i)
                mesh.samples[i] = m_sphere.samples[i % 792];
            Shader pass = Lit();
            EXPECT_TRUE(Run(mesh, pass));
            pass.rmode = RenderShell;
            EXPECT_TRUE(Run(mesh, pass));
        }
    }
}

TEST_F(GeometryGL, ShellLiesTheThicknessAbove) {
    Shader shell = Unlit(kGreen);
    shell.rmode = RenderShell;
    shell.thick = 0.25F;
    Pictures(shell, "GL_draw_method", 1);
    const vec3 above{0.6F, 0, -1.5F};
    EXPECT_THAT(At(above), IsColor(0, 1, 0));
    EXPECT_EQ(At(vec3{0.9F, 0, -1.5F}), kBlack);
    Pictures(Unlit(kGreen), "GL_draw_method", 1);
    EXPECT_EQ(At(above), kBlack);
}

TEST_F(GeometryGL, OutlineFollowsTheRimWithEitherLineMethod) {
    for (const bool lit : {false, true}) {
        Shader outline = lit ? Lit() : Unlit(kRed);
        outline.rmode = RenderOutline;
        outline.thick = 2;
        EXPECT_EQ(Pictures(outline, "GL_line_method", 2).size(), 1U);
        EXPECT_EQ(At(kWidth / 2, kHeight / 2), kBlack);
        // Seen from 1.5, the rim of radius 0.5 lies at 0.3536 of the distance.
        const int rim = kWidth / 2 + static_cast<int>(0.3536F * kHeight / 2);
        int found = 0;
        for (int x = rim - 2; x <= rim + 2; ++x)
            found += At(x, kHeight / 2) != kBlack ? 1 : 0;
        EXPECT_GT(found, 0);
    }
}

TEST_F(GeometryGL, UnknownMethodsSaySo) {
    Shader outline = Unlit(kRed);
    outline.rmode = RenderOutline;
    // Their ranges keep users from unknown methods.
    for (const char* setting : {"GL_draw_method", "GL_line_method"}) {
        m_driver->Declare(setting, 0, 9, 1, "") = 3;
    }
    StartFrame();
    const vec3 eye{0, 0, 3};
    EXPECT_EQ(CaptureStderr([&] { EXPECT_TRUE(Run(m_sphere, Unlit(kRed))); }),
              "Unknown drawmethod 3 (in DriverGL::intRenderGeoImage)\n");
    EXPECT_EQ(CaptureStderr([&] { m_driver->RunShader(&m_sphere, &outline, &eye, true); }),
              "Unknown linemethod 3 (in DriverGL::intRenderOutline)\n");
}

}  // namespace
