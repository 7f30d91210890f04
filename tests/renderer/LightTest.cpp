// Lights chosen per object, and shadow volumes.
#include "RendererFixture.h"

#include <tuple>

namespace {

// Objects stand around (0, 0, -10); the driver holds two lights and draws shadows.
struct LightTest : RendererFixture {
    GeoImage* ball = scene.Sphere(1);

    LightTest() : RendererFixture(2, true) { driver.Name(ball, "ball"); }
    Light* AddLight(const std::string& name, const vec3& pos) {
        Light* light = scene.AddLight(name, pos);
        driver.Name(light, name);
        return light;
    }
    // Names of the lights that the first pass was drawn under, in the order of loading.
    std::string Chosen() {
        Draw();
        std::string names;
        for (const Light* light : driver.draws.at(0).lights) {
            for (const auto& [name, candidate] : scene.room.lights)
                if (candidate == light) names += name + " ";
        }
        return names;
    }
};

}  // namespace

TEST_F(LightTest, EveryObjectTakesTheLightsThatMatterMostToIt) {
    Object* object = scene.AddLit(scene.room, "object", ball, {0, 0, -10});
    AddLight("a", {0, 0, -8})->falloff = {1, 0, 1};
    AddLight("b", {0, 0, -9})->falloff = {1, 0, 1};
    Light* c = AddLight("c", {0, 1, -10});
    c->falloff = {1, 0, 1};
    EXPECT_EQ(Chosen(), "b c ");  // equally near ones in order of name
    EXPECT_EQ(Stat(stat_names::kPasses), 1);

    c->angle = 60;
    c->pointat = {0, 5, -10};  // away from the object: 0.1 to the power of the focus
    c->focus = 2;
    EXPECT_EQ(Chosen(), "b a ");
    c->pointat = {0, 0, -10};
    EXPECT_EQ(Chosen(), "b c ");
    c->color = {0, 0, 9, 1};  // 9 times 0.114 is still more than white
    EXPECT_EQ(Chosen(), "c b ");
    object->shaders[PassLight].front().material.diffuse = {1, 1, 0, 1};
    object->shaders[PassLight].front().material.specular = {0, 0, 0, 1};
    EXPECT_EQ(Chosen(), "b a ");
    scene.room.lights["b"]->color = {0, 0, 0, 1};
    scene.room.lights["b"]->falloff = {0, 0, 0};  // 0 / 0: the least of all
    EXPECT_EQ(Chosen(), "a c ");
    object->shaders[PassLight].front().lit = false;
    EXPECT_EQ(Chosen(), "");
}

TEST_F(LightTest, ShadowLightsAddVolumesAndALitPassOutsideThem) {
    scene.AddLit(scene.room, "object", ball, {0, 0, -10});
    Object* ghost = scene.AddLit(scene.room, "ghost", ball, {0, 0, -12});
    ghost->shadow = false;
    ghost->shaders[PassShadow].emplace_back().blend = BlendMul;
    Light* sun = AddLight("sun", {0, 7, -10});
    AddLight("plain", {0, 0, 0})->shadows = false;
    const auto afterFirstPass = [&] {
        Draw();
        const std::string log = driver.TakeLog();
        const std::string end = "SetAmbient 0 0 0 1\n";
        return log.substr(log.rfind(end) + end.size());
    };
    EXPECT_EQ(afterFirstPass(), "");
    EXPECT_FALSE(renderer.Stats().contains(stat_names::kShadowVolumes));

    renderer.Set("F_shadows", 1);
    const std::string loadSun = "LoadMatrix 0 0 0\nClearLights\nAddLight sun yes\n";
    const std::string volume = "LoadMatrix 0 0 -10\nAddShadow ball 0 7 0 100\n";
    const std::string litPass =
        "SetShadowTest on\nLoadMatrix 0 0 -12\nRunShader ball add\n"
        "LoadMatrix 0 0 -10\nRunShader ball add\nSetShadowTest off\n";
    const std::string ghostPass = "LoadMatrix 0 0 -12\nRunShader ball mul\n";
    EXPECT_EQ(afterFirstPass(),
              loadSun + "StartShadows\n" + volume + "FinishShadows\n" + litPass + ghostPass);
    EXPECT_EQ(Stat(stat_names::kShadowVolumes), 1);
    EXPECT_EQ(Stat(stat_names::kPasses), 2);

    sun->shaders.emplace_back().blend = BlendHaze;  // on every caster, before its own
    sun->shadowlen = 0;
    EXPECT_EQ(afterFirstPass(), loadSun + litPass);
    sun->shadowlen = 100;
    EXPECT_EQ(afterFirstPass(), loadSun + "StartShadows\n" + volume + "FinishShadows\n" + litPass +
                                    "LoadMatrix 0 0 -12\nRunShader ball haze\nRunShader ball mul\n"
                                    "LoadMatrix 0 0 -10\nRunShader ball haze\n");

    // A caster's level follows settings of its own; what is seen stays the mesh itself.
    using Setting = std::tuple<const char*, float, float>;
    for (const auto& [name, value, usual] :
         {Setting{"P_shadowLOD", 0.6F, 1.0F}, Setting{"P_LODmaxShadow", 0.6F, 1.0F},
          Setting{"P_LODmaxShadowPolys", 1.5F, -1.0F}}) {
        renderer.Set(name, value);
        const std::string log = afterFirstPass();
        EXPECT_EQ(log.find("AddShadow ball"), std::string::npos) << name << log;
        EXPECT_NE(log.find("AddShadow "), std::string::npos) << name << log;
        EXPECT_NE(log.find("RunShader ball"), std::string::npos) << name;
        renderer.Set(name, usual);
    }
}

TEST_F(LightTest, CastersOutOfViewCountWhenTheirVolumesReachIntoIt) {
    scene.AddLit(scene.room, "ground", ball, {0, 0, -20})->shadow = false;
    Object* caster = scene.AddPlain(scene.room, "caster", ball, {0, 30, -20});
    Light* sun = AddLight("sun", {0, 40, -20});
    renderer.Set("F_shadows", 1);
    const auto volumes = [&] {
        Draw();
        return Stat(stat_names::kShadowVolumes);
    };
    EXPECT_EQ(volumes(), 1);
    sun->shadowlen = 5;  // ends above the view
    EXPECT_EQ(volumes(), 0);
    EXPECT_TRUE(renderer.Stats().contains(stat_names::kShadowVolumes));
    sun->shadowlen = 100;

    sun->pos = {0, 0, -20};  // below the caster: its shadow falls away from the view
    EXPECT_EQ(volumes(), 0);
    sun->pos = {0, 40, -20};

    using Spot = std::tuple<float, vec3, float>;  // angle, target, volumes
    for (const auto& [angle, pointat, expected] :
         {Spot{45, {0, 30, -20}, 1}, Spot{45, {30, 40, -20}, 0}, Spot{90, {30, 45, -20}, 0},
          Spot{90, {30, 39, -20}, 1}, Spot{120, {30, 45, -20}, 1}}) {
        sun->angle = angle;
        sun->pointat = pointat;
        EXPECT_EQ(volumes(), expected) << angle << " towards " << pointat.y;
    }
    caster->shadow = false;
    EXPECT_EQ(volumes(), 0);
}
