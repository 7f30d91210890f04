// Meshes, shells and outlines where they belong on the screen, and at every size of mesh. That all
// methods draw one picture is tested with the display lists.
#include "GLFixture.h"

namespace {

class GeometryGL : public GLFixture {
protected:
    GeoImage m_sphere = SphereMesh(0.5F, 24, 33);

    // Seen from 1.5.
    void DrawSphere(const Shader& pass) {
        MoveTo({0, 0, -1.5F});
        EXPECT_TRUE(Run(m_sphere, pass, {0, 0, 1.5F}));
        Shoot();
    }
};

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
            EXPECT_TRUE(Run(mesh, Lit()));
            EXPECT_TRUE(Run(mesh, Of(RenderShell, 1, Lit())));
        }
    }
}

TEST_F(GeometryGL, ShellLiesTheThicknessAboveAndOutlineFollowsTheRim) {
    const vec3 above{0.6F, 0, -1.5F};
    DrawSphere(Unlit(kGreen));
    EXPECT_EQ(At(above), kBlack);
    DrawSphere(Of(RenderShell, 0.25F, Unlit(kGreen)));
    EXPECT_EQ(At(above), kGreen);
    EXPECT_EQ(At(vec3{0.9F, 0, -1.5F}), kBlack);

    // Lines are lit as if they faced the eye, where this light is.
    StartFrame();
    Light light;
    light.falloff = {1, 0, 0};
    m_driver->AddLight(&light);
    DrawSphere(Of(RenderOutline, 2, Lit()));
    EXPECT_EQ(At(kWidth / 2, kHeight / 2), kBlack);
    // The rim of radius 0.5 lies at 0.3536 of the distance.
    const int rim = kWidth / 2 + static_cast<int>(0.3536F * kHeight / 2);
    int found = 0;
    for (int x = rim - 2; x <= rim + 2; ++x)
        found += At(x, kHeight / 2).g > 0.8F ? 1 : 0;
    EXPECT_GT(found, 0);
}

TEST_F(GeometryGL, UnknownMethodsSaySo) {
    // Their ranges keep users from unknown methods.
    for (const char* setting : {"GL_draw_method", "GL_line_method"})
        m_driver->Declare(setting, 0, 9, 1, "") = 3;
    StartFrame();
    EXPECT_EQ(Said([&] { DrawSphere(Unlit(kRed)); }),
              "Unknown drawmethod 3 (in DriverGL::intRenderGeoImage)\n");
    EXPECT_EQ(Said([&] { DrawSphere(Of(RenderOutline)); }),
              "Unknown linemethod 3 (in DriverGL::intRenderOutline)\n");
}

}  // namespace
