// Lights and materials against colours computed by hand.
#include "GLFixture.h"

namespace {

class LightsGL : public GLFixture {
protected:
    // Its middle vertex is straight ahead, two units away, normal towards the eye.
    GeoImage m_square = SquareMesh(2, -2, 65);

    Rgb LitCentre(const Light& light, const Shader& pass) {
        StartFrame();
        EXPECT_TRUE(m_driver->AddLight(&light));
        return Shown(m_square, pass);
    }
};

TEST_F(LightsGL, ColoursFallOffAndFollowTheEye) {
    Light light;
    light.color = {1, 0.5F, 0.25F, 1};
    light.falloff = {1, 0.5F, 0.25F};  // a third at distance 2
    EXPECT_THAT(LitCentre(light, Lit()), IsColor(1.0 / 3, 0.5 / 3, 0.25 / 3));
    light.falloff = {1, 0, 0};
    light.ambient = {0, 0.25F, 0, 1};
    Shader pass = Lit();
    pass.material.diffuse = {0.5F, 0.5F, 0.5F, 1};
    pass.material.emission = {0.25F, 0, 0, 1};
    EXPECT_THAT(LitCentre(light, pass), IsColor(0.75, 0.5, 0.125));
    pass.material = {.diffuse = {0, 0, 0, 1}, .shininess = 128};
    EXPECT_THAT(LitCentre(light, pass), IsColor(1, 0.75, 0.25));
    EXPECT_LT(At(vec3{1.5F, 0, -2}).r, 100);
}

TEST_F(LightsGL, SpotLightsItsConeAlone) {
    Light spot;
    spot.falloff = {1, 0, 0};
    spot.pointat = {0, 0, -5};
    spot.angle = 20;
    EXPECT_THAT(LitCentre(spot, Lit()), IsColor(1, 1, 1));
    EXPECT_EQ(At(vec3{1.5F, 0, -2}), kNothing);
    spot.angle = 180;
    spot.pointat = spot.pos;
    LitCentre(spot, Lit());
    EXPECT_NE(At(vec3{1.5F, 0, -2}), kNothing);
}

TEST_F(LightsGL, RefusedValuesDoNotBringBackTheLastLight) {
    Light spot;
    spot.falloff = {1, 1, 0};
    spot.angle = 5;
    spot.focus = 100;
    LitCentre(spot, Lit());
    Light odd;
    odd.falloff = {1, -1, 0};
    odd.angle = 120;
    odd.focus = -2;
    EXPECT_THAT(LitCentre(odd, Lit()), IsColor(1, 1, 1));
    EXPECT_NE(At(vec3{1.5F, 0, -2}), kNothing);
    EXPECT_THAT(m_cerr.text,
                testing::MatchesRegex("GLError 0x501 at SetupLight:[0-9]+ - SetupLight\n"));
    m_cerr.text.clear();
}

TEST_F(LightsGL, PositionIsTakenUnderTheMatrixOfTheMoment) {
    Light light;
    light.falloff = {0, 0, 1};
    MoveTo({0, 0, -1});
    ASSERT_TRUE(m_driver->AddLight(&light));
    MoveTo({0, 0, -0.5F});  // the square is now 2.5 away, 1.5 from the light
    EXPECT_THAT(Shown(m_square, Lit()), IsColor(1 / 2.25, 1 / 2.25, 1 / 2.25));
}

TEST_F(LightsGL, CountsAndForgetsLights) {
    m_driver->Set("GL_lights", 2);
    StartFrame();
    Light light;
    light.color = {0.25F, 0, 0, 1};
    light.falloff = {1, 0, 0};
    const auto shown = [&](const Shader& pass) { return Shown(m_square, pass); };
    EXPECT_TRUE(m_driver->AddLight(&light));
    EXPECT_TRUE(m_driver->AddLight(&light));
    EXPECT_FALSE(m_driver->AddLight(&light));
    EXPECT_THAT(shown(Lit()), IsColor(0.5, 0, 0));
    EXPECT_THAT(shown(Unlit({0.25F, 0.5F, 0.75F, 1})), IsColor(0.25, 0.5, 0.75));
    EXPECT_THAT(shown(Lit()), IsColor(0.5, 0, 0));
    m_driver->Set("GL_lights", 1);
    StartFrame();
    EXPECT_TRUE(m_driver->AddLight(&light));
    EXPECT_THAT(shown(Lit()), IsColor(0.25, 0, 0)) << "a frame forgets lights beyond its limit";
    m_driver->ClearLights();
    m_driver->SetAmbient(0, 0.5F, 0, 1);
    EXPECT_THAT(shown(Lit()), IsColor(0, 0.5, 0));
    EXPECT_THAT(shown(Unlit(kRed)), IsColor(1, 0, 0)) << "unlit passes ignore the ambient light";
}

}  // namespace
