// What random frames leave out: odd views, equal and odd lights, objects that go during a frame,
// and the record of what was seen.
#include "RendererFixture.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>

namespace {

using FrameTest = RendererFixture;
constexpr const char* kStream = "/tmp/vis-stream";

}  // namespace

// Whatever the camera or window, a frame ends and the next ordinary one is as ever.
TEST_F(FrameTest, OddCamerasAndWindowsLeaveNoTrace) {
    constexpr float kHuge = std::numeric_limits<float>::max();
    RecordingDriver shadowing(2, true);
    renderer.Set("F_shadows", 1);
    GeoImage* mesh = scene.Quad(1);
    mesh->error = 1;
    scene.AddLit(scene.room, "object", mesh, {0, 0, 0})->billboard = true;
    scene.AddLight("spot", {0, 0, 5})->angle = 30;
    scene.AddLight("zero", {0, 0, 0})->falloff = {0, 0, 0};
    scene.AddLight("odd", {0, 0, 0})->focus = -1000;
    LookFrom({0, 0, 5});
    const auto frame = [&](const Camera& view, int width, int height) {
        shadowing.viewWidth = width;
        shadowing.viewHeight = height;
        camera = view;
        Draw(shadowing, &scene.room);
        return shadowing.TakeLog();
    };
    const Camera usualCamera = camera;
    const std::string usual = frame(usualCamera, 640, 480);
    EXPECT_NE(usual.find("RunShader"), std::string::npos);

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
            frame(view, width, height);
            EXPECT_EQ(frame(usualCamera, 640, 480), usual);
        }
    }
    Draw(driver, nullptr);
    EXPECT_EQ(driver.TakeLog(), "");
}

// Equal lights in their order, those without a sensible intensity last.
TEST(LightRanking, PutsEqualAndOddLightsInOrder) {
    Light odd;
    odd.color = {0, 0, 0, 1};
    odd.falloff = {0, 0, 0};
    Light far;
    far.pos = {0, 0, -9};
    Light near;
    const LightList lights = {&odd, &far, &near, &far, &near};
    std::vector<RankedLight> ranking;
    RankLights(lights, Matrix(), {0, 0, -1}, {1, 1, 1, 1}, ranking);
    std::vector<std::size_t> order;
    for (; !ranking.empty(); DropFront(ranking))
        order.push_back(ranking.front().index);
    EXPECT_EQ(order, (std::vector<std::size_t>{2, 4, 1, 3, 0}));
}

TEST_F(FrameTest, RecordsEveryDecisionOfTheView) {
    const std::string aside = std::string(kStream) + ".aside";
    std::rename(kStream, aside.c_str());  // a record that the developer may still want
    if (std::filesystem::exists(kStream)) GTEST_SKIP() << "another user's record lies there";
    GeoImage* ball = scene.Sphere(1);
    scene.AddPlain(scene.room, "ahead", ball, {0, 0, -10});
    scene.AddPlain(scene.room, "aside", ball, {20, 0, -10});
    scene.AddPlain(scene.room, "tiny", scene.Sphere(0.01F), {0, 0, -10.5F});
    Object* group = scene.Add(scene.room, "group", nullptr, {0, 0, -12});
    scene.AddPlain(*group, "member", ball, {2, 0, 0});
    using Lines = std::multiset<std::string>;
    const auto record = [&](float z) {
        LookFrom({0, 0, z});
        Draw();
        std::ifstream file(kStream);
        Lines lines;
        for (std::string line; std::getline(file, line);)
            lines.insert(line);
        return lines;
    };
    EXPECT_TRUE(record(0).empty() && !std::filesystem::exists(kStream));
    renderer.Set("R_recordvis", 1);
    EXPECT_EQ(record(0),
              (Lines{"abb 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1  -3 -3 -15 21 3 -9",
                     "abb 1 0 0 0 0 1 0 0 0 0 1 0 0 0 -12 1  1 -1 -1 3 1 1", "node 0 0 -10 1",
                     "node 2 0 -12 1", "ptl 20 0 -10 1", "tiny 0 0 -10.5 0.01"}));
    EXPECT_EQ(record(8000), Lines{"rej 1 0 0 0 0 1 0 0 0 0 1 0 0 0 -8000 1  -3 -3 -15 21 3 -9"});
    renderer.Set("R_recordvis", 0);
    EXPECT_EQ(record(0).size(), 1U) << "of the view before";
    std::remove(kStream);
    std::rename(aside.c_str(), kStream);
}

// An object may go between Render and FinishFrame as well, its room between frames.
TEST_F(FrameTest, ForgottenObjectsAreInNoListOfTheFrame) {
    Occlusion occlusion;
    driver.occlusion = &occlusion;
    for (const char* name : {"goes", "stays"})
        scene.AddLit(scene.room, name, scene.Quad(1), {0, 0, -5})
            ->shaders[PassBlend]
            .emplace_back();
    renderer.BeginFrame(&driver);
    renderer.Render(&scene.room, camera);
    driver.TakeLog();
    renderer.ForgetObject(scene.room.Child("goes"));
    scene.Remove(scene.room, "goes");
    renderer.FinishFrame();
    EXPECT_EQ(driver.draws.size(), 1U);
    Draw();
    EXPECT_EQ(Stat(stat_names::kCachedVisibility), 1);
    renderer.ForgetObject(&scene.room);
    Draw();
    EXPECT_EQ(Stat(stat_names::kCachedVisibility), 0);
}
