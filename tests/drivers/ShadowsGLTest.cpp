// Stencil shadows: a sphere between a light on the right and a wall behind it. Where shadows fall
// in whole scenes is tested by rays.
#include "GLFixture.h"

#include <array>
#include <random>

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

    // The caster's volume corner by corner, red behind and blue in front, under the current matrix.
    void SendVolume(const vec3& light, float extrusion, float offset, bool shown) {
        SilhouetteResult silhouette;
        m_caster.ExtractSilhouette(light, silhouette, true, true);
        const auto near = [&](const vec3& p) {
            const vec3 moved = offset * p;
            glVertex3f(moved.x, moved.y, moved.z);
        };
        const auto far = [&](const vec3& p) {
            const vec3 moved = p + (p - light) * extrusion * (1 / (Length(p - light) + 1e-12F));
            glVertex3f(moved.x, moved.y, moved.z);
        };
        glPushAttrib(GL_ALL_ATTRIB_BITS);
        for (const GLenum feature : {GL_LIGHTING, GL_TEXTURE_2D, GL_ALPHA_TEST})
            glDisable(feature);
        for (const GLenum feature : {GL_CULL_FACE, GL_STENCIL_TEST, GL_BLEND})
            glEnable(feature);
        glColorMask(shown, shown, shown, shown);
        glBlendFunc(GL_ONE, GL_ONE);
        glDepthMask(GL_FALSE);
        glDepthFunc(GL_LESS);
        glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
        glStencilFunc(GL_ALWAYS, 0, 0);
        for (const bool back : {true, false}) {
            glCullFace(back ? GL_FRONT : GL_BACK);
            glStencilOp(GL_KEEP, back ? GL_INCR : GL_DECR, GL_KEEP);
            glColor3f(back ? 0.1F : 0, 0, back ? 0 : 0.1F);
            glBegin(GL_QUADS);
            for (const auto& [a, b] : silhouette.edges)
                near(a), near(b), far(b), far(a);
            glEnd();
            glBegin(GL_TRIANGLES);
            for (const auto& [a, b, c] : silhouette.caps)
                near(a), near(b), near(c), far(a), far(c), far(b);
            glEnd();
        }
        glPopAttrib();
    }

    // Red everywhere, then green where no shadow falls.
    void Draw() {
        StartFrame();
        Run(m_wall, Unlit(kRed));
        CastShadow();
        m_driver->SetShadowTest(true);
        Run(m_wall, Unlit(kGreen, BlendAdd));
        m_driver->SetShadowTest(false);
        Shoot();
    }
};

// Whatever was drawn before, also with a see-through texture: the stencil and the picture are
// those of the volume's own points.
TEST_F(ShadowsGL, CountAndShowTheVolumeAsItIsDefined) {
    std::mt19937 random(6);
    const auto real = [&](float low, float high) {
        return std::uniform_real_distribution(low, high)(random);
    };
    Texture clear = FilledTexture(1, 1, {255, 255, 255, 0});
    const GeoImage sheet = SquareMesh(0.6F, 0.1F, 3);
    const GeoImage casters[] = {SphereMesh(0.4F, 9, 12), sheet, TurnedRound(sheet)};
    m_driver->Set("GL_dither", 0);
    int differences = 0;
    for (int round = 0; round < 120; ++round) {
        m_caster = casters[random() % 3];
        const vec3 light{real(-3, 3), real(-3, 3), real(-3, 3)};
        const float extrusion = real(0.3F, 6);
        const float offset = std::array{0.0F, 0.8F, 1.0F, 1.0F, 1.05F}[random() % 5];
        const int shown = static_cast<int>(random() % 3);
        m_driver->Set("D_shadowoffset", offset);
        m_driver->Set("GL_shadow_method", static_cast<float>(random() % 2));
        m_driver->Set("GL_shadows_visible", shown == 1 ? 1 : 0);
        m_driver->Set("D_wireframe", shown == 2 ? 1 : 0);
        Shader before = Unlit(kBlack);
        before.texture = random() % 2 == 0 ? &clear : nullptr;
        before.atest = random() % 2 == 0 ? TestGreater : TestAlways;
        before.faces = FacesAll;
        std::string pictures[2];
        std::vector<int> stencils[2];
        for (const int plain : {0, 1}) {
            StartFrame();
            Run(m_wall, Unlit(kBlack));
            MoveTo(m_centre);
            Run(m_caster, Unlit(kBlack));
            Run(m_wall, before);
            if (plain != 0) {
                SendVolume(light, extrusion, offset, shown != 0);
            } else {
                m_driver->StartShadows();
                m_driver->AddShadow(&m_caster, &light, extrusion);
                m_driver->FinishShadows();
            }
            pictures[plain] = Pixels();
            stencils[plain].resize(std::size_t{kWidth} * kHeight);
            glReadPixels(0, 0, kWidth, kHeight, GL_STENCIL_INDEX, GL_INT, stencils[plain].data());
        }
        for (std::size_t i = 0; i < stencils[0].size(); ++i) {
            const bool same = stencils[0][i] == stencils[1][i] &&
                              pictures[0].compare(4 * i, 3, pictures[1], 4 * i, 3) == 0;
            differences += same ? 0 : 1;
        }
    }
    EXPECT_LT(differences, 10) << "edges that meet the middle of a pixel";
}

TEST_F(ShadowsGL, FallOnWhatLiesInsideUnlessSwitchedOff) {
    for (const bool on : {true, false}) {
        m_driver->Set("GL_shadows", on ? 1 : 0);
        Draw();
        EXPECT_THAT(At(m_inside), IsColor(1, on ? 0 : 1, 0));
        EXPECT_THAT(At(m_outside), IsColor(1, 1, 0));
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
