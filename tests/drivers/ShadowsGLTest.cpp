// Stencil shadows: a sphere between a light on the right and a wall behind it. Where shadows fall
// in whole scenes is tested by rays.
#include "GLFixture.h"

#include <set>

#include "renderer/Renderer.h"
#include "support/SceneBuilder.h"

namespace {

class ShadowsGL : public GLFixture {
protected:
    GeoImage m_wall = SquareMesh(8, -4);
    GeoImage m_caster = SphereMesh(0.4F, 16, 24);
    const vec3 m_centre{0, 0, -2};
    const vec3 m_light{2, 0, 0};
    // The ray from the light through the sphere's middle meets the wall here.
    const vec3 m_inside{-2, 0, -4};
    const vec3 m_outside{2, 0, -4};

    void CastShadow() {
        const vec3 position = m_light - m_centre;
        m_driver->StartShadows();
        MoveTo(m_centre);
        m_driver->AddShadow(&m_caster, &position, 100);
        m_driver->FinishShadows();
        m_driver->LoadMatrix({});
    }

    // Red everywhere, then green where no shadow falls. before: drawn ahead of the shadows.
    void Draw(const Shader& before = Unlit(kRed)) {
        StartFrame();
        Run(m_wall, Unlit(kRed));
        Run(m_wall, before);
        CastShadow();
        m_driver->SetShadowTest(true);
        Run(m_wall, Unlit(kGreen, BlendAdd));
        m_driver->SetShadowTest(false);
        Shoot();
    }

    void ExpectShadow() {
        EXPECT_THAT(At(m_inside), IsColor(1, 0, 0));
        EXPECT_THAT(At(m_outside), IsColor(1, 1, 0));
    }
};

// Culling off, a see-through texture, either alpha test: none of it holds for volumes.
TEST_F(ShadowsGL, FallWhateverWasDrawnBefore) {
    Texture clear = FilledTexture(1, 1, {255, 255, 255, 0});
    Shader before[] = {Unlit(kRed), Unlit(kWhite), Unlit(kWhite)};
    before[1].texture = &clear;
    before[1].faces = FacesAll;
    before[1].atest = TestGreater;
    before[2].atest = TestLess;
    before[2].athresh = 0.5F;
    std::set<std::string> pictures;
    for (const Shader& pass : before) {
        Draw(pass);
        ExpectShadow();
        pictures.insert(Pixels());
    }
    EXPECT_EQ(pictures.size(), 1U);
}

TEST_F(ShadowsGL, VolumesCanBeShownOrLeftOut) {
    const auto through = [&] {
        StartFrame();
        CastShadow();
        Shoot();
        EXPECT_EQ(At(m_outside), kNothing);
        return At(vec3{-1, 0, -3});
    };
    EXPECT_EQ(through(), kNothing);
    for (const char* setting : {"GL_shadows_visible", "D_wireframe"}) {
        m_driver->Set(setting, 1);
        EXPECT_THAT(through(), IsColor(0.1, 0, 0.1)) << setting;
        m_driver->Set(setting, 0);
    }
    m_driver->Set("GL_shadows", 0);
    Draw();
    EXPECT_THAT(At(m_inside), IsColor(1, 1, 0));
}

// An open sheet casts a shadow only while its front turns away from the light; the offset moves
// the near side of its volume about the mesh's origin.
TEST_F(ShadowsGL, SheetsCastShadowsFromTheirBack) {
    m_caster = SquareMesh(0.4F, 0);
    Draw();
    EXPECT_THAT(At(m_inside), IsColor(1, 1, 0));
    m_caster = TurnedRound(m_caster);
    Draw();
    ExpectShadow();
    m_driver->Set("D_shadowoffset", 0);
    Draw();
    EXPECT_THAT(At(m_outside), IsColor(1, 1, 0));
}

TEST_F(ShadowsGL, SizesFromNothingToLargeAreSentWithoutErrors) {
    for (const float method : {0.0F, 1.0F}) {
        m_driver->Set("GL_shadow_method", method);
        for (const int size : {1, 2, 129, 257}) {
            m_caster = size < 3 ? GeoImage(size, size) : SphereMesh(0.4F, size, size);
            if (size < 3) std::fill_n(m_caster.samples, size * size, GeoImageSample{});
            Draw();
            if (size > 2) ExpectShadow();
        }
    }
    m_driver->AddShadow(nullptr, nullptr, 1);
}

// The light's place in the mesh's coordinates is found twice, by the renderer and by the driver.
TEST_F(ShadowsGL, ShadowShadersFeedTheStencilPasses) {
    TestScene scene;
    scene.AddLight("sun", {3, 4, 1})->shadowlen = 20;
    scene.AddLit(scene.room, "wall", scene.Quad(8), {0, 0, -6})->shadow = false;
    for (const char* name : {"a", "b", "c"}) {
        const float x = 0.37F * static_cast<float>(*name - 'b');
        Object* ball = scene.AddLit(scene.room, name, scene.Sphere(0.3F), {x, x / 3, -3.1F});
        ball->point = {x, 0.7F, 1.3F};
        ball->shaders[PassShadow].push_back(Of(RenderShadow));
    }
    Renderer renderer;
    renderer.Set("F_shadows", 1);
    m_driver->Set("GL_dlistShadows", 1);
    for (const float hits : {0.0F, 10.0F}) {
        StartFrame();
        renderer.BeginFrame(m_driver.get());
        renderer.Render(&scene.room, Camera());
        renderer.FinishFrame();
        m_driver->Finish();
        EXPECT_EQ(Statistic(m_driver->Stats(), "cache accesses"), 14);
        EXPECT_EQ(Statistic(m_driver->Stats(), "cache hits"), 4 + hits);
    }
}

TEST_F(ShadowsGL, PassesDrawTheVolumeOfTheOneLight) {
    Light light;
    light.pos = m_light;
    for (const RenderFunc mode : {RenderShadow, RenderWireShadow}) {
        StartFrame();
        ASSERT_TRUE(m_driver->AddLight(&light));
        MoveTo(m_centre);
        Shader pass = Of(mode, 1, Unlit(kBlue));
        pass.faces = FacesAll;
        EXPECT_TRUE(Run(m_caster, pass));
        const std::string drawn = Pixels();
        EXPECT_GT(std::count(drawn.begin(), drawn.end(), '\xFF'), kWidth * kHeight + 50);
        EXPECT_EQ(At(m_outside), kNothing);
        EXPECT_EQ(At(m_inside) == kNothing, mode == RenderWireShadow);
    }
}

}  // namespace
