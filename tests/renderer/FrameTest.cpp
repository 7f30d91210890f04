// Whole frames of random scenes against the plain renderer, call by call: walk, visibility, passes,
// detail, lights, shadows, and what is remembered from frame to frame.
#include <gtest/gtest.h>

#include "support/Random.h"
#include "support/RecordingDriver.h"
#include "support/SceneBuilder.h"
#include "support/TempFile.h"

#include "PlainRenderer.h"

#include <cstdio>

#include "renderer/Renderer.h"

namespace {

constexpr unsigned kObjects = 130;
constexpr unsigned kInRoom = 70;  // the rest hangs on these and on one another
constexpr float kReach = 14;      // of the room
constexpr const char* kRecord = "/tmp/vis-stream";
constexpr const char* kAside = "/tmp/vis-stream.aside";  // the developer's own

struct Dice : Random {
    using Random::Random;
    unsigned Number(unsigned below) { return static_cast<unsigned>(Index(below)); }
    bool OneIn(unsigned count) { return Index(count) == 0; }
    Color Paint() { return {Real(0, 1), Real(0, 1), Real(0, 1), Real(0, 1)}; }
    template <class T>
    T Pick(std::initializer_list<T> list) {
        return list.begin()[Index(list.size())];
    }
};

struct WatchedOcclusion : Occlusion {
    mutable std::vector<vec3> asked;  // three corners a question

    bool TestTriangle(const vec3& a, const vec3& b, const vec3& c) const override {
        asked.insert(asked.end(), {a, b, c});
        return Occlusion::TestTriangle(a, b, c);
    }
};

// A scene and its views. Two are alike down to the order of addresses, by which octrees are walked.
struct Side {
    Object objects[kObjects];
    Room room;
    Camera camera;
    RecordingDriver driver;
    WatchedOcclusion occlusion;

    explicit Side(Dice dice) : driver(dice.Pick({-1, 0, 1, 2, 3, 8}), !dice.OneIn(4)) {}
};

struct FrameComparison : testing::TestWithParam<unsigned> {
    TempDir files;
    TestScene store;  // of meshes
    Renderer renderer;
    PlainRenderer plain{renderer, files.File("record")};
    Dice dice{GetParam()};
    Side compared{dice};
    Side expected{dice};
    std::vector<GeoImage*> meshes{
        store.Sphere(1),     store.Sphere(0.3F),  store.Quad(2, 9),     store.Sphere(2, 17),
        store.Quad(0.7F, 5), store.Sphere(0.01F), store.Quad(1.5F, 33), nullptr};
    bool recorded = GetParam() == 1;  // all programs share one record

    FrameComparison() {
        Build(compared);
        dice = Dice(GetParam());
        Build(expected);
        meshes[0]->error = -1;
        for (GeoImage* mesh : {meshes[2], meshes[3], meshes[6]})
            mesh->error = 9;
        if (recorded) std::rename(kRecord, kAside);
        recorded = recorded && !std::filesystem::exists(kRecord);  // another user's stays
    }
    void AddShaders(std::vector<Shader>& list) {
        for (unsigned count = dice.Number(4); count > 0; --count) {
            Shader& shader = list.emplace_back();
            if (dice.OneIn(4)) shader.mesh = meshes[dice.Number(5)];
            shader.material = {dice.Paint(), dice.Paint(), dice.Paint(), 20, dice.Paint()};
            shader.blend = dice.Pick({BlendOpaque, BlendOpaque, BlendMul, BlendBlend});
            shader.atest = dice.Pick({TestAlways, TestAlways, TestAlways, TestNever});
            shader.lit = !dice.OneIn(3);
        }
    }
    void SetFlags(Object& object) {
        object.visible = !dice.OneIn(10);
        object.active = !dice.OneIn(20);
        object.billboard = dice.OneIn(6);
        object.shadow = !dice.OneIn(3);
    }
    void Build(Side& side) {
        for (unsigned i = 0; i < kObjects; ++i) {
            Object& object = side.objects[i];
            Object& parent =
                i < kInRoom ? side.room : side.objects[dice.Number(dice.OneIn(2) ? 3 : i)];
            GeoImage* mesh = meshes[dice.Number(8)];
            object.pos = dice.Point(i < kInRoom ? kReach : 3);
            if (i > 0 && i < kInRoom && dice.OneIn(6)) {  // equally far
                mesh = side.objects[i - 1].mesh;
                object.pos = side.objects[i - 1].pos;
            }
            object.point = dice.Point(1);
            object.up = dice.Point(1);
            object.SetMesh(mesh);
            parent.AddChild(std::to_string(i), &object);
            SetFlags(object);
            for (const ShaderPass pass : {PassBase, PassLight, PassShadow, PassBlend})
                if (!dice.OneIn(pass == PassShadow ? 4 : 2)) AddShaders(object.shaders[pass]);
        }
        side.room.SetMesh(meshes[dice.Number(8)]);
        AddShaders(side.room.shaders[PassBase]);
        side.room.ambient = dice.Paint();
        for (unsigned i = dice.Number(12); i > 0; --i)
            AddLight(side, "light" + std::to_string(i));
        side.driver.acceptedLights = dice.OneIn(4) ? static_cast<int>(dice.Number(4)) : -1;
        side.driver.occlusion = dice.OneIn(4) ? nullptr : &side.occlusion;
        side.driver.purgedLive = true;
        for (unsigned i = 0; i < 7; ++i)
            side.driver.Name(meshes[i], "mesh" + std::to_string(i));
    }
    void AddLight(Side& side, const std::string& name) {
        Light* light = side.room.GetLight(name);
        side.driver.Name(light, name);
        if (dice.OneIn(4)) return;  // such lights are equal
        light->active = !dice.OneIn(6);
        light->shadows = dice.OneIn(2);
        light->pos = dice.Point(kReach);
        light->color = dice.Pick({Color(), dice.Paint(), dice.Paint()});
        light->global = dice.Paint();
        light->falloff = dice.Pick({vec3(), vec3(0.5F, 0.2F, 0), vec3(0.2F, 0.01F, 0.05F)});
        light->shadowlen = dice.Pick({0.0F, 4.0F, 100.0F});
        light->pointat = dice.Point(kReach);
        light->angle = dice.Pick({30.0F, 65.0F, 90.0F, 120.0F, 180.0F});
        light->focus = dice.Pick({0.0F, 2.0F, 7.5F});
        if (dice.OneIn(3)) AddShaders(light->shaders);
    }
    // Most often to the first of the values.
    void Set(const char* name, std::initializer_list<float> values) {
        renderer.Set(name, dice.OneIn(3) ? dice.Pick(values) : *values.begin());
    }
    void ChangeSettings() {
        Set("P_LODmax", {1, 1, 0.5F, 1.5F});
        Set("P_LODmaxPolys", {-1, 1.5F, 0});
        Set("P_LODscale", {1, 0.4F, 3});
        Set("P_LODstep", {8, 8, 8, 3});
        Set("P_LODcache", {12, 3, 5});
        Set("P_LODcachesize", {32768, 8, 40});
        Set("P_LODdrain", {0.1F, 0, 0.5F, 1});
        Set("P_shaderDetail", {4, 1, 2, 0});
        Set("P_shadowLOD", {1, 0.5F});
        Set("P_LODmaxShadow", {1, 0.6F});
        Set("P_LODmaxShadowPolys", {-1, 1.2F});
    }
    void ChangeSwitches() {
        for (const char* name : {"F_blend", "F_shadows", "P_occlusion", "P_virtlights"})
            Set(name, {1, 0});
        if (recorded) Set("R_recordvis", {0, 1});
    }
    // Some objects move, change or go.
    void ChangeScene(auto& drawing, Side& side) {
        if (dice.OneIn(8)) drawing.ForgetObject(&side.room);
        if (dice.OneIn(8)) drawing.ForgetMesh(meshes[6]);
        for (unsigned i = dice.Number(6); i > 0; --i) {
            const unsigned number = dice.Number(kObjects);
            Object& object = side.objects[number];
            if (object.parent == nullptr) continue;
            const unsigned what = dice.Number(4);
            if (what == 0) object.SetPosition(object.pos + dice.Point(1));
            if (what == 1) object.SetMesh(meshes[dice.Number(8)]);
            if (what == 2) SetFlags(object);
            if (what != 3 || !object.children.empty()) continue;
            drawing.ForgetObject(&object);
            object.parent->RemoveChild(std::to_string(number));
            object.parent->children.erase(std::to_string(number));
            object.parent = nullptr;
        }
    }
    void MoveCamera(Camera& camera) {
        if (dice.OneIn(3)) {
            camera.pos = dice.Point(kReach);
            camera.lookat = dice.Point(5);
            camera.fov = dice.Real(30, 100);
            camera.aspect = dice.Real(0.7F, 1.4F);
            camera.hith = dice.Pick({0.1F, 3.0F, 8.0F});
        }
        camera.pos += dice.Point(0.2F);
        if (!dice.OneIn(8)) return;
        camera.pos = {camera.pos.x, 0, 0};  // beside the mesh of the room
        camera.lookat = camera.pos - vec3{0, 0, 1};
    }
    void DrawFrame(auto& drawing, Side& side) {
        side.driver.TakeLog();
        ChangeScene(drawing, side);
        ChangeSettings();
        ChangeSwitches();
        std::srand(dice.Number(99));
        drawing.BeginFrame(&side.driver);
        for (unsigned image = dice.OneIn(8) ? 2 : 1; image > 0; --image) {
            ChangeSwitches();
            MoveCamera(side.camera);
            renderer.Render(nullptr, side.camera);
            drawing.Render(&side.room, side.camera);
        }
        ChangeSwitches();
        ChangeScene(drawing, side);
        EXPECT_TRUE(renderer.Stats().empty() || &side == &expected);
        drawing.FinishFrame();
    }
    void ExpectSame() {
        RecordingDriver& driver = compared.driver;
        RecordingDriver& truth = expected.driver;
        for (std::size_t i = 0; i < std::min(driver.log.size(), truth.log.size()); ++i)
            ASSERT_EQ(truth.log[i], driver.log[i]) << "in call " << i;
        ASSERT_EQ(truth.log.size(), driver.log.size());
        for (std::size_t i = 0; i < driver.draws.size(); ++i) {
            ASSERT_EQ(truth.draws[i].shader.material, driver.draws[i].shader.material);
            ASSERT_EQ(truth.draws[i].modelView, driver.draws[i].modelView);
            ASSERT_EQ(truth.draws[i].eye, driver.draws[i].eye);
        }
        EXPECT_TRUE(expected.occlusion.asked == compared.occlusion.asked);
        EXPECT_EQ(plain.stats, renderer.Stats());
        std::ifstream file(kRecord);
        const std::string record{std::istreambuf_iterator<char>(file), {}};
        EXPECT_EQ(recorded ? files.Read("record") : record, record);
    }
};

}  // namespace

TEST_P(FrameComparison, EveryCallIsTheSame) {
    for (int frame = 0; frame < 12 && !HasFailure(); ++frame) {
        SCOPED_TRACE(frame);
        if (dice.OneIn(4)) *meshes[2] = GeoImage(*meshes[2]);
        const Dice before = dice;
        DrawFrame(renderer, compared);
        dice = before;
        DrawFrame(plain, expected);
        ExpectSame();
    }
    if (recorded) std::remove(kRecord);
    if (recorded) std::rename(kAside, kRecord);
}

INSTANTIATE_TEST_SUITE_P(Random, FrameComparison, testing::Range(1U, 41U));

// Nothing crashes or grows beyond what a mesh may be, and the next ordinary frame is as ever.
TEST(OddFrames, LeaveNoTrace) {
    TestScene scene;
    Renderer renderer;
    RecordingDriver driver(2, true);
    const auto draw = [&](const Camera& camera = {}, int width = 640, int height = 480) {
        driver.SetViewport(0, 0, width, height);
        renderer.BeginFrame(&driver);
        renderer.Render(&scene.room, camera);
        renderer.FinishFrame();
        return driver.TakeLog();
    };
    const int sizes[][2] = {{1, 1}, {1, 9}, {9, 1}, {2, 2}, {0, 0}, {33, 33}};
    std::deque<GeoImage> meshes;
    for (const auto& [rows, columns] : sizes) {
        GeoImage& mesh = meshes.emplace_back(rows, columns);
        std::fill_n(mesh.samples, rows * columns, GeoImageSample{{1, 0, 0}, {0, 0, 1}, 0, 0});
        mesh.Finish(true);
        mesh.radius = 2;
        mesh.error = 3;
        const std::string name = std::to_string(meshes.size());
        scene.AddLit(scene.room, name, &mesh, {0, 0, -7})->billboard = true;
    }
    scene.AddLight("spot", {0, 0, 5})->angle = 30;
    scene.AddLight("zero", {0, 0, -5})->falloff = {0, 0, 0};
    scene.AddLight("odd", {0, 0, -5})->focus = -1000;
    renderer.Set("F_shadows", 1);
    const std::string usual = draw();
    EXPECT_EQ(Statistic(renderer.Stats(), "NumDrawn"), 4 * std::size(sizes)) << "one unlit pass";

    std::vector<Camera> cameras;
    for (const float value : {0.0F, -1.0F, 180.0F, 360.0F, 1e-38F, 3e38F, std::nanf("")}) {
        for (const auto field : {&Camera::fov, &Camera::aspect, &Camera::hith})
            cameras.emplace_back().*field = value;
        for (const auto field : {&Camera::pos, &Camera::lookat, &Camera::up})
            cameras.emplace_back().*field = {value, value, value};
    }
    const int windows[][2] = {{640, 480}, {0, 0}, {640, 0}, {0, 480}, {5, 5}, {1000, 5}, {5, 1000}};
    for (const auto& [width, height] : windows) {
        for (const Camera& camera : cameras) {
            draw(camera, width, height);
            EXPECT_EQ(draw(), usual);
        }
    }
    for (const char* name : {"P_LODmax", "P_LODscale", "P_LODmaxPolys", "P_LODstep", "P_LODcache",
                             "P_LODcachesize", "P_LODdrain"}) {
        const float initial = renderer.Get(name);
        for (const float value : {std::nanf(""), -3e38F, 3e38F}) {
            renderer.Set(name, value);
            draw();
            draw();
            renderer.Set(name, initial);
            draw();
            EXPECT_EQ(draw(), usual) << name << " " << value;
        }
    }
    scene.AddLit(scene.room, "huge", scene.Quad(1, 1025), {0, 0, -20});
    renderer.Set("P_LODmax", 20);
    renderer.Set("P_LODscale", 400);
    for (int i = 0; i < 2; ++i)
        EXPECT_NE(draw().find("RunShader 1025x1025"), std::string::npos);
}

// However many come and go: a value is free again when its cache is gone.
TEST(DetailCache, TokensCountDownFromTheHighest) {
    GeoImage mesh = SquareMesh(1, 0);
    DetailCache().Find(&mesh, 8, 1);
    DetailCache first;
    first.Find(&mesh, 8, 1);
    EXPECT_TRUE(mesh.HasToken(0xFFFFFFFEU) && !mesh.HasToken(0xFFFFFFFDU));
    DetailCache().Find(&mesh, 8, 1);
    EXPECT_TRUE(mesh.HasToken(0xFFFFFFFDU) && !mesh.HasToken(0xFFFFFFFCU));
}
