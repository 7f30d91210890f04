// The order of driver calls in a frame, and what each pass of an object is given.
#include "RendererFixture.h"

#include <limits>

namespace {

Shader BlendShader(BlendFunc blend, bool lit) {
    Shader shader;
    shader.blend = blend;
    shader.lit = lit;
    return shader;
}

// One mesh to hand, eye at (0, 0, 5).
struct FrameTest : RendererFixture {
    GeoImage* mesh = scene.Quad(1);

    FrameTest() {
        driver.Name(mesh, "mesh");
        LookFrom({0, 0, 5});
    }
    std::vector<BlendFunc> Blends() const {
        std::vector<BlendFunc> blends;
        for (const auto& draw : driver.draws)
            blends.push_back(draw.shader.blend);
        return blends;
    }
};

}  // namespace

TEST_F(FrameTest, DrawsOpaquePassesThenBlendedOnesUnderLightsOfTheirOwn) {
    Light* key = scene.AddLight("key", {0, 5, 0});
    key->global = {0.1F, 0.2F, 0.3F, 0.5F};
    scene.AddLight("off", {0, 5, 0})->active = false;
    driver.Name(key, "key");
    Object* both = scene.AddLit(scene.room, "both", mesh, {0, 0, 0});
    both->shaders[PassBase].push_back(BlendShader(BlendOpaque, false));
    for (const float z : {-1.0F, -3.0F}) {
        Object* glass = scene.Add(scene.room, "glass" + std::to_string(z), mesh, {0, 0, z});
        glass->shaders[PassBlend].push_back(BlendShader(BlendBlend, true));
    }
    Draw();
    EXPECT_EQ(Stat(stat_names::kDrawn), 4);
    EXPECT_EQ(driver.TakeLog(),
              "SetupProjection 60\nClearLights\nSetAmbient 0.1 0.2 0.3 1.5\n"
              "ClearLights\nLoadMatrix 0 0 -5\nAddLight key yes\n"
              "LoadMatrix 0 0 -5\nRunShader mesh replace\nRunShader mesh add\n"
              "SetAmbient 0 0 0 1\n"
              "LoadMatrix 0 0 -5\nClearLights\nAddLight key yes\n"
              "LoadMatrix 0 0 -8\nRunShader mesh blend\n"
              "LoadMatrix 0 0 -5\nClearLights\nAddLight key yes\n"
              "LoadMatrix 0 0 -6\nRunShader mesh blend\n");
    EXPECT_EQ(Stat(stat_names::kPasses), 2);
    EXPECT_EQ(Stat(stat_names::kPolys), 4 * 2);
    EXPECT_EQ(Stat(stat_names::kTraversed), 4);
    EXPECT_EQ(Stat(stat_names::kRendered), 3);
    EXPECT_FALSE(renderer.Stats().contains(stat_names::kShadowVolumes));

    renderer.Set("F_blend", 0);
    EXPECT_EQ(Draw(), 2U);
    EXPECT_EQ(Stat(stat_names::kPasses), 1);
    EXPECT_EQ(Stat(stat_names::kRendered), 1);
}

TEST_F(FrameTest, OffersLightsInBatchesAndRedrawsLitObjects) {
    for (int i = 0; i < 11; ++i)
        scene.AddLight("light" + std::to_string(i), {0, 0, 3});
    Object* lit = scene.AddLit(scene.room, "lit", mesh, {0, 0, 0});
    lit->shaders[PassLight].front().material.emission = {1, 1, 1, 1};
    scene.AddPlain(scene.room, "plain", mesh, {0, 0, -1});
    renderer.Set("P_virtlights", 0);

    ASSERT_EQ(Draw(), 3U);
    EXPECT_EQ(Stat(stat_names::kPasses), 2);
    EXPECT_EQ(driver.draws[0].lights.size(), 8U);
    const RecordingDriver::Draw& again = driver.draws[2];
    EXPECT_EQ(again.lights.size(), 3U);
    EXPECT_EQ(again.shader.blend, BlendAdd);
    EXPECT_EQ(again.shader.material.emission, (Color{0.5F, 0.5F, 0.5F, 0.5F}));

    driver.acceptedLights = 4;  // fewer than it said: one batch more, the same spread
    ASSERT_EQ(Draw(), 4U);
    EXPECT_EQ(driver.draws[3].lights.size(), 3U);
    driver.acceptedLights = 0;  // no progress ends the batches
    EXPECT_EQ(Draw(), 2U);

    driver.acceptedLights = -1;
    for (const char* name : {"light8", "light9", "light10"})
        scene.room.lights[name]->active = false;
    renderer.Set("P_virtlights", 1);  // exactly as many as the driver holds: one common batch
    ASSERT_EQ(Draw(), 2U);
    EXPECT_EQ(driver.draws[0].lights.size(), 8U);
    EXPECT_EQ(Stat(stat_names::kPasses), 1);

    RecordingDriver single(1);
    for (auto& [name, light] : scene.room.lights)
        light->active = false;
    Draw(single, &scene.room);
    EXPECT_EQ(Stat(stat_names::kPasses), 1);
}

TEST_F(FrameTest, BudgetCountsDrawnShadersAndOnlyTheFirstReplaces) {
    Object* object = scene.Add(scene.room, "object", mesh, {0, 0, 0});
    std::vector<Shader>& lit = object->shaders[PassLight];
    lit.assign(4, BlendShader(BlendOpaque, false));
    lit[0].atest = TestNever;
    lit[2].mesh = scene.Quad(2, 5);
    renderer.Set("P_shaderDetail", 2);
    Draw();
    EXPECT_EQ(Blends(), (std::vector<BlendFunc>{BlendReplace, BlendAdd}));
    EXPECT_EQ(driver.draws[1].mesh, lit[2].mesh);
    EXPECT_EQ(Stat(stat_names::kPolys), 1 * 2 + 8 * 4);
    EXPECT_EQ(driver.draws[0].eye, (vec3{0, 0, 5}));

    object->shaders[PassBase].push_back(lit[0]);  // draws nothing, yet the lit list is not first
    Draw();
    EXPECT_EQ(Blends(), (std::vector<BlendFunc>{BlendAdd, BlendAdd}));

    renderer.Set("P_shaderDetail", 0);
    EXPECT_EQ(Draw(), 0U);
    EXPECT_EQ(Stat(stat_names::kTraversed), 2);
}

TEST_F(FrameTest, EveryFrameDrawsOnceAndStartsAfresh) {
    scene.AddPlain(scene.room, "object", mesh, {0, 0, 0});
    for (const float eye : {-0.1F, 0.1F}) {
        LookFrom({eye, 0, 5});
        ASSERT_EQ(Draw(), 1U);
        EXPECT_EQ(driver.draws[0].modelView.Translation(), (vec3{-eye, 0, -5}));
    }
    driver.TakeLog();
    renderer.BeginFrame(&driver);
    renderer.Render(&scene.room, camera);
    renderer.Render(&scene.room, camera);
    renderer.FinishFrame();
    EXPECT_EQ(driver.draws.size(), 1U);

    Draw(driver, nullptr);
    EXPECT_EQ(driver.TakeLog(), "");
    for (const auto& [name, value] : renderer.Stats())
        EXPECT_EQ(value, 0) << name;
}

// Whatever the camera or window, a frame ends and the next ordinary one is as ever.
TEST_F(FrameTest, OddCamerasAndWindowsLeaveNoTrace) {
    constexpr float kHuge = std::numeric_limits<float>::max();
    RecordingDriver shadowing(2, true);
    renderer.Set("F_shadows", 1);
    mesh->error = 1;
    scene.AddLit(scene.room, "object", mesh, {0, 0, 0})->billboard = true;
    scene.AddLight("spot", {0, 0, 5})->angle = 30;
    scene.AddLight("zero", {0, 0, 0})->falloff = {0, 0, 0};
    scene.AddLight("odd", {0, 0, 0})->focus = -1000;
    const Camera usualCamera = camera;
    const auto usualFrame = [&] {
        shadowing.viewWidth = 640;
        shadowing.viewHeight = 480;
        camera = usualCamera;
        EXPECT_GT(Draw(shadowing, &scene.room), 0U);
        return shadowing.TakeLog();
    };
    const std::string usual = usualFrame();

    std::vector<Camera> odd;
    const auto add = [&]() -> Camera& { return odd.emplace_back(usualCamera); };
    for (const float fov : {0.0F, 180.0F, 360.0F, -60.0F, 1e-38F, kHuge, std::nanf("")})
        add().fov = fov;
    for (const float value : {0.0F, -1.0F, kHuge}) {
        add().aspect = value;
        add().hith = value;
        add().pos = {value, value, value};
    }
    add().lookat = usualCamera.pos;
    add().up = {0, 0, 0};
    const int sizes[][2] = {{640, 480}, {0, 0}, {640, 0}, {0, 480}, {5, 5}, {1000, 5}, {5, 1000}};
    for (const auto& [width, height] : sizes) {
        for (const Camera& view : odd) {
            shadowing.viewWidth = width;
            shadowing.viewHeight = height;
            camera = view;
            Draw(shadowing, &scene.room);
            EXPECT_EQ(usualFrame(), usual);
        }
    }
}
