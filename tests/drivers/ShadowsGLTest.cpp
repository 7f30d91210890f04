// Stencil shadows of a caster before a wall, against volumes sent corner by corner. Where shadows
// fall in whole scenes is tested by rays.
#include "GLFixture.h"
#include "support/Random.h"

#include <array>

#include "renderer/Renderer.h"
#include "support/SceneBuilder.h"

namespace {

using ShadowsGL = GLFixture;

// The volume, red behind and blue in front, under the current matrix.
void SendVolume(GeoImage& caster, const vec3& light, float extrusion, float offset, bool shown) {
    SilhouetteResult silhouette;
    caster.ExtractSilhouette(light, silhouette, true, true);
    const auto near = [&](const vec3& p) { glVertex3f(offset * p.x, offset * p.y, offset * p.z); };
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

// Whatever was drawn before, also with a see-through texture: the stencil and the picture are
// those of the volume's own points, and a veil under the test covers what lies outside.
TEST_F(ShadowsGL, CountShowAndTestTheVolumeAsItIsDefined) {
    Random random(6);
    GeoImage wall = SquareMesh(8, -4);
    GeoImage veil = SquareMesh(8, -1);
    Texture clear = FilledTexture(1, 1, {255, 255, 255, 0});
    const GeoImage sheet = SquareMesh(0.6F, 0.1F, 3);
    GeoImage casters[] = {SphereMesh(0.4F, 9, 12), sheet, TurnedRound(sheet)};
    m_driver->Set("GL_dither", 0);
    int differences = 0;
    for (int round = 0; round < 120; ++round) {
        GeoImage& caster = casters[random.Index(3)];
        const vec3 light = random.Point(3);
        const float extrusion = random.Real(0.3F, 6);
        const float offset = std::array{0.0F, 0.8F, 1.0F, 1.0F, 1.05F}[random.Index(5)];
        const int shown = random.Index(3);
        const bool on = random.Index(8) != 0;
        m_driver->Set("GL_shadows", on ? 1 : 0);
        m_driver->Set("D_shadowoffset", offset);
        m_driver->Set("GL_shadow_method", random.Coin() ? 1 : 0);
        m_driver->Set("GL_shadows_visible", shown == 1 ? 1 : 0);
        m_driver->Set("D_wireframe", shown == 2 ? 1 : 0);
        Shader before = Unlit(kBlack);
        before.texture = random.Coin() ? &clear : nullptr;
        before.atest = random.Coin() ? TestGreater : TestAlways;
        before.faces = FacesAll;
        Picture pictures[2];
        std::vector<int> stencils[2];
        for (const int plain : {1, 0}) {
            StartFrame();
            Run(wall, Unlit(kBlack));
            MoveTo({0, 0, -2});
            Run(caster, Unlit(kBlack));
            Run(wall, before);
            if (plain == 0) {
                m_driver->StartShadows();
                m_driver->AddShadow(&caster, &light, extrusion);
                m_driver->FinishShadows();
            } else if (on) {
                SendVolume(caster, light, extrusion, offset, shown != 0);
            }
            pictures[plain] = Shoot();
            stencils[plain] = Stencil();
        }
        m_driver->SetShadowTest(true);
        m_driver->LoadMatrix({});
        Run(veil, Unlit(kWhite));
        m_driver->SetShadowTest(false);
        const Picture& veiled = Shoot();
        for (std::size_t i = 0; i < veiled.size(); ++i) {
            const bool same = stencils[0][i] == stencils[1][i] && pictures[0][i] == pictures[1][i];
            const bool lit = veiled[i] == 0xFFFFFFFF;
            differences += same && (shown == 2 || lit == (stencils[0][i] == 0)) ? 0 : 1;
        }
    }
    EXPECT_LT(differences, 10) << "edges that meet the middle of a pixel";
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
    m_camera.pos = {0.1F, 0.2F, 0.3F};
    for (const float hits : {0.0F, 10.0F}) {
        StartFrame();
        renderer.BeginFrame(m_driver.get());
        renderer.Render(&scene.room, m_camera);
        renderer.FinishFrame();
        m_driver->Finish();
        EXPECT_EQ(Statistic(m_driver->Stats(), "cache accesses"), 14);
        EXPECT_EQ(Statistic(m_driver->Stats(), "cache hits"), 4 + hits);
    }
}

}  // namespace
