// Stencil shadows: a sphere between a light on the right and a wall behind it.
#include "GLFixture.h"

namespace {

class ShadowsGL : public GLFixture {
protected:
    GeoImage m_wall = SquareMesh(8, -4);
    GeoImage m_sphere = SphereMesh(0.4F, 16, 24);
    const vec3 m_centre{0, 0, -2};
    const vec3 m_light{2, 0, 0};
    // The ray from the light through the sphere's middle meets the wall here.
    const vec3 m_inside{-2, 0, -4};
    const vec3 m_outside{2, 0, -4};

    // Red everywhere, then green where no shadow falls.
    void Draw() {
        StartFrame();
        Run(m_wall, Unlit(kRed));
        m_driver->StartShadows();
        MoveTo(m_centre);
        AddCaster(m_sphere);
        m_driver->FinishShadows();
        m_driver->SetShadowTest(true);
        m_driver->LoadMatrix({});
        Shader light = Unlit(kGreen);
        light.blend = BlendAdd;
        Run(m_wall, light);
        m_driver->SetShadowTest(false);
        Shoot();
    }

    void AddCaster(GeoImage& mesh) {
        const vec3 position = m_light - m_centre;
        m_driver->AddShadow(&mesh, &position, 100);
    }

    void ExpectShadow() {
        EXPECT_THAT(At(m_inside), IsColor(1, 0, 0));
        EXPECT_THAT(At(m_outside), IsColor(1, 1, 0));
    }

    static int Stencil(int x, int y) {
        GLint value = -1;
        glReadPixels(x, kHeight - 1 - y, 1, 1, GL_STENCIL_INDEX, GL_INT, &value);
        return value;
    }
};

TEST_F(ShadowsGL, BothMethodsKeepLightOutOfTheVolumeAlone) {
    std::set<std::string> pictures;
    for (const float method : {0.0F, 1.0F}) {
        m_driver->Set("GL_shadow_method", method);
        Draw();
        ExpectShadow();
        int inside = 0;
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                const int stencil = Stencil(x, y);
                EXPECT_TRUE(stencil == 0 || stencil == 1) << stencil;
                EXPECT_EQ(At(x, y).g > 0, stencil == 0 && At(x, y).r > 0) << x << ", " << y;
                inside += stencil;
            }
        }
        EXPECT_GT(inside, 20);
        pictures.insert(Pixels());
    }
    EXPECT_EQ(pictures.size(), 1U);
}

// A surface before the whole volume takes no shadow from it.
TEST_F(ShadowsGL, SurfacesBeforeTheVolumeStayLit) {
    GeoImage screen = SquareMesh(0.2F, -1);
    StartFrame();
    Run(m_wall, Unlit(kRed));
    m_driver->LoadMatrix(Matrix::Frame({-0.5F, 0, 0}, {0, 0, 1}, {0, 1, 0}));
    Run(screen, Unlit(kBlue));
    m_driver->StartShadows();
    MoveTo(m_centre);
    AddCaster(m_sphere);
    m_driver->FinishShadows();
    Shoot();
    EXPECT_THAT(At(m_inside), IsColor(0, 0, 1));
    EXPECT_EQ(Stencil(kWidth / 2 - kHeight / 4, kHeight / 2), 0);
}

TEST_F(ShadowsGL, AnyPassBeforeLeavesTheVolumesWhole) {
    Texture clear;
    clear.SetSize(1, 1, 4);
    GeoImage small = SquareMesh(0.01F, -3);
    Shader last = Unlit({1, 1, 1, 0});
    last.texture = &clear;
    last.faces = FacesAll;
    last.atest = TestGreater;
    m_driver->Set("D_shadowoffset", 1.02F);
    Draw();
    const std::string expected = Pixels();
    StartFrame();
    Run(m_wall, Unlit(kRed));
    Run(small, last);
    m_driver->StartShadows();
    MoveTo(m_centre);
    AddCaster(m_sphere);
    m_driver->FinishShadows();
    m_driver->SetShadowTest(true);
    m_driver->LoadMatrix({});
    Shader light = Unlit(kGreen);
    light.blend = BlendAdd;
    Run(m_wall, light);
    EXPECT_EQ(Pixels(), expected);
}

TEST_F(ShadowsGL, VolumesCanBeShownOrLeftOut) {
    const auto shown = [&] {
        StartFrame();
        m_driver->StartShadows();
        MoveTo(m_centre);
        AddCaster(m_sphere);
        m_driver->FinishShadows();
        Shoot();
    };
    shown();
    EXPECT_EQ(CountPixels(kBlack), kWidth * kHeight);
    for (const char* setting : {"GL_shadows_visible", "D_wireframe"}) {
        m_driver->Set(setting, 1);
        shown();
        EXPECT_THAT(At(vec3{-1, 0, -3}), IsColor(0.1, 0, 0.1)) << setting;
        EXPECT_EQ(At(m_outside), kBlack) << setting;
        m_driver->Set(setting, 0);
    }
    m_driver->Set("GL_shadows", 0);
    Draw();
    EXPECT_THAT(At(m_inside), IsColor(1, 1, 0));
}

// An open sheet casts a shadow only while its front turns away from the light.
TEST_F(ShadowsGL, SheetsCastShadowsFromTheirBack) {
    GeoImage sheet = SquareMesh(0.4F, 0);
    m_sphere = sheet;
    Draw();
    EXPECT_THAT(At(m_inside), IsColor(1, 1, 0));
    std::swap(m_sphere.At(0, 0), m_sphere.At(0, 1));
    std::swap(m_sphere.At(1, 0), m_sphere.At(1, 1));
    m_sphere.Finish(true);
    Draw();
    ExpectShadow();
}

TEST_F(ShadowsGL, SizesFromNothingToLargeAreSentWithoutErrors) {
    for (const float method : {0.0F, 1.0F}) {
        m_driver->Set("GL_shadow_method", method);
        for (const auto& [rows, columns] : {std::pair{1, 1}, {2, 2}, {129, 129}, {257, 257}}) {
            m_sphere = rows < 3 ? GeoImage(rows, columns) : SphereMesh(0.4F, rows, columns);
            if (rows < 3) std::fill_n(m_sphere.samples, rows * columns, GeoImageSample{});
            Draw();
            if (rows > 2) ExpectShadow();
        }
    }
    m_driver->AddShadow(nullptr, nullptr, 1);
}

TEST_F(ShadowsGL, PassesDrawTheVolumeOfTheOneLight) {
    Light light;
    light.pos = m_light;
    light.shadowlen = 100;
    for (const RenderFunc mode : {RenderShadow, RenderWireShadow}) {
        StartFrame();
        ASSERT_TRUE(m_driver->AddLight(&light));
        MoveTo(m_centre);
        Shader pass = Unlit(kBlue);
        pass.rmode = mode;
        pass.faces = FacesAll;
        EXPECT_TRUE(Run(m_sphere, pass));
        const int drawn = kWidth * kHeight - CountPixels(kBlack);
        EXPECT_GT(drawn, 50);
        EXPECT_EQ(At(m_outside), kBlack);
        EXPECT_EQ(At(m_inside) == kBlack, mode == RenderWireShadow);
    }
}

}  // namespace
