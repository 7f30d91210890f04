// Whole frames of random scenes against the plain renderer, call by call: walk, visibility, passes,
// detail, lights, shadows, and what is remembered from frame to frame.
#include <gtest/gtest.h>

#include "support/RecordingDriver.h"
#include "support/SceneBuilder.h"

#include "PlainRenderer.h"

#include <random>

#include "renderer/Renderer.h"

namespace {

constexpr unsigned kObjects = 130;
constexpr unsigned kInRoom = 70;  // the rest hangs on these and on one another
constexpr float kReach = 14;      // of the room

struct Dice {
    std::mt19937 random;

    // Less than count.
    unsigned Number(unsigned count) { return static_cast<unsigned>(random() % count); }
    bool OneIn(unsigned count) { return Number(count) == 0; }
    float Between(float low, float high) {
        return low + (high - low) * static_cast<float>(random()) * 0x1p-32F;
    }
    vec3 Within(float reach) {
        return {Between(-reach, reach), Between(-reach, reach), Between(-reach, reach)};
    }
    Color Paint() { return {Between(0, 1), Between(0, 1), Between(0, 1), Between(0, 1)}; }
    template <class T>
    T Pick(std::initializer_list<T> list) {
        return list.begin()[Number(static_cast<unsigned>(list.size()))];
    }
};

// Hides what lies wholly behind a disc at a mesh that was added, and remembers what it was asked.
class Discs : public Occlusion {
public:
    mutable std::vector<vec3> asked;

    void Clear() override { m_discs.clear(); }
    void SetMatrix(const Matrix& modelView) override { m_matrix = modelView; }
    void AddGeoImage(GeoImage* mesh, const Shader&, vec3) override {
        m_discs.push_back({m_matrix.Translation(), 0.7F * mesh->radius});
    }
    void Sync() override { asked.emplace_back(); }
    bool TestTriangle(const vec3& a, const vec3& b, const vec3& c) const override {
        asked.insert(asked.end(), {a, b, c});
        return std::ranges::none_of(m_discs, [&](const Disc& disc) {
            return disc.Hides(a) && disc.Hides(b) && disc.Hides(c);
        });
    }

private:
    struct Disc {
        vec3 at;
        float radius;

        bool Hides(const vec3& p) const {
            return p.z < at.z && at.z < 0 && Length(p * (at.z / p.z) - at) < radius;
        }
    };
    Matrix m_matrix;
    std::vector<Disc> m_discs;
};

// A scene with the driver that it is drawn on. Two of them are alike down to the order of their
// objects' addresses, in which octrees and caches visit them.
struct Side {
    Object objects[kObjects];
    Room room;
    RecordingDriver driver;
    Discs discs;

    Side(int maxLights, bool shadows) : driver(maxLights, shadows) {}
};

struct FrameComparison : testing::TestWithParam<unsigned> {
    TestScene store;  // of meshes
    Renderer renderer;
    PlainRenderer plain{renderer};
    Dice dice{std::mt19937(GetParam())};
    int maxLights = dice.Pick({-1, 0, 1, 2, 3, 8});
    bool shadows = !dice.OneIn(4);
    Side compared{maxLights, shadows};
    Side expected{maxLights, shadows};
    Camera camera;
    std::vector<GeoImage*> meshes{
        store.Sphere(1),     store.Sphere(0.3F),  store.Quad(2, 9),     store.Sphere(2, 17),
        store.Quad(0.7F, 5), store.Sphere(0.01F), store.Quad(1.5F, 33), nullptr};

    FrameComparison() {
        for (const auto& [mesh, error] :
             {std::pair{0U, -1.0F}, {2U, 5.0F}, {3U, 10.0F}, {6U, 9.0F}})
            meshes[mesh]->error = error;
    }
    void AddShaders(Dice& d, std::vector<Shader>& list) {
        for (unsigned count = d.Number(4); count > 0; --count) {
            Shader& shader = list.emplace_back();
            if (d.OneIn(4)) shader.mesh = meshes[d.Number(5)];
            shader.material = {d.Paint(), d.Paint(), d.Paint(), 20, d.Paint()};
            shader.blend = d.Pick({BlendOpaque, BlendOpaque, BlendMul, BlendBlend});
            shader.atest = d.Pick({TestAlways, TestAlways, TestAlways, TestNever});
            shader.lit = !d.OneIn(3);
        }
    }
    void SetFlags(Dice& d, Object& object) {
        object.visible = !d.OneIn(10);
        object.active = !d.OneIn(20);
        object.billboard = d.OneIn(6);
        object.shadow = !d.OneIn(3);
    }
    void Build(Side& side, Dice d) {
        for (unsigned i = 0; i < kObjects; ++i) {
            Object& object = side.objects[i];
            Object& parent = i < kInRoom ? side.room : side.objects[d.Number(d.OneIn(2) ? 3 : i)];
            object.pos = d.Within(i < kInRoom ? kReach : 3);
            object.point = d.Within(1);
            object.up = d.Within(1);
            object.SetMesh(meshes[d.Number(8)]);
            parent.AddChild(std::to_string(i), &object);
            SetFlags(d, object);
            for (const ShaderPass pass : {PassBase, PassLight, PassShadow, PassBlend})
                if (!d.OneIn(pass == PassShadow ? 4 : 2)) AddShaders(d, object.shaders[pass]);
        }
        side.room.SetMesh(meshes[d.Number(8)]);
        AddShaders(d, side.room.shaders[PassBase]);
        for (unsigned i = d.Number(12); i > 0; --i) {
            Light* light = side.room.GetLight("light" + std::to_string(i));
            side.driver.Name(light, "light" + std::to_string(i));
            if (d.OneIn(4)) continue;  // such lights are equal
            light->active = !d.OneIn(6);
            light->shadows = d.OneIn(2);
            light->pos = d.Within(kReach);
            light->color = d.OneIn(4) ? Color() : d.Paint();
            light->global = d.Paint();
            light->falloff = {d.Between(0.1F, 1), d.Between(0, 0.2F), d.Between(0, 0.1F)};
            if (d.OneIn(4)) light->falloff = {};
            light->shadowlen = d.Pick({0.0F, 4.0F, 100.0F});
            light->pointat = d.Within(kReach);
            light->angle = d.Pick({30.0F, 65.0F, 90.0F, 120.0F, 180.0F});
            light->focus = d.Pick({0.0F, 2.0F, 7.5F});
            if (d.OneIn(3)) AddShaders(d, light->shaders);
        }
        side.room.ambient = d.Paint();
        side.driver.acceptedLights = d.OneIn(4) ? static_cast<int>(d.Number(4)) : -1;
        side.driver.occlusion = d.OneIn(4) ? nullptr : &side.discs;
        side.driver.purgedLive = true;
        for (unsigned i = 0; i < 7; ++i)
            side.driver.Name(meshes[i], "mesh" + std::to_string(i));
    }
    // Some objects move, change or go, the same ones on both sides.
    template <class AnyRenderer>
    void Change(AnyRenderer& drawing, Side& side, Dice d) {
        if (d.OneIn(8)) drawing.ForgetObject(&side.room);
        for (unsigned i = d.Number(6); i > 0; --i) {
            const unsigned number = d.Number(kObjects);
            Object& object = side.objects[number];
            if (object.parent == nullptr) continue;
            const unsigned what = d.Number(4);
            if (what == 0) object.SetPosition(object.pos + d.Within(1));
            if (what == 1) object.SetMesh(meshes[d.Number(8)]);
            if (what == 2) SetFlags(d, object);
            if (what != 3 || !object.children.empty()) continue;
            drawing.ForgetObject(&object);
            object.parent->RemoveChild(std::to_string(number));
            object.parent->children.erase(std::to_string(number));
            object.parent = nullptr;
        }
    }
    void ChangeBoth() {
        Change(renderer, compared, dice);
        Change(plain, expected, dice);
        dice.random.discard(100);
    }
    // Most often to the first of the values.
    void Set(const char* name, std::initializer_list<float> values) {
        renderer.Set(name, dice.OneIn(3) ? dice.Pick(values) : *values.begin());
    }
    void ChangeSettings() {
        Set("P_LODmax", {1, 1, 0.5F, 1.5F});
        Set("P_LODmaxPolys", {-1, 1.5F});
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
    }
    // Reloads one and forgets what was made of another.
    void ChangeMeshes() {
        GeoImage* mesh = meshes[2 + dice.Number(2)];
        if (dice.OneIn(4)) *mesh = GeoImage(*mesh);
        if (!dice.OneIn(4)) return;
        renderer.ForgetMesh(meshes[6]);
        plain.ForgetMesh(meshes[6]);
    }
    void MoveCamera() {
        if (dice.OneIn(3)) {
            camera.pos = dice.Within(kReach);
            camera.lookat = dice.Within(5);
            camera.fov = dice.Between(30, 100);
            camera.aspect = dice.Between(0.7F, 1.4F);
            camera.hith = dice.Pick({0.1F, 3.0F, 8.0F});
        }
        camera.pos += dice.Within(0.2F);
        if (!dice.OneIn(8)) return;
        camera.pos = {camera.pos.x, 0, 0};  // beside the mesh of the room
        camera.lookat = camera.pos - vec3{0, 0, 1};
    }
    void ExpectSame() {
        RecordingDriver& driver = compared.driver;
        RecordingDriver& truth = expected.driver;
        for (std::size_t i = 0; i < std::min(driver.log.size(), truth.log.size()); ++i)
            ASSERT_EQ(truth.log[i], driver.log[i]) << "in call " << i;
        ASSERT_EQ(truth.log.size(), driver.log.size());
        for (std::size_t i = 0; i < driver.draws.size(); ++i) {
            const RecordingDriver::Draw& draw = driver.draws[i];
            ASSERT_EQ(truth.draws[i].shader.material.emission, draw.shader.material.emission);
            ASSERT_EQ(truth.draws[i].modelView, draw.modelView);
            ASSERT_EQ(truth.draws[i].eye, draw.eye);
        }
        const std::vector<vec3> asked = std::exchange(compared.discs.asked, {});
        const std::vector<vec3> trulyAsked = std::exchange(expected.discs.asked, {});
        ASSERT_EQ(trulyAsked.size(), asked.size());
        for (std::size_t i = 0; i < asked.size(); ++i)
            ASSERT_LT(Length(trulyAsked[i] - asked[i]), 1e-4F);
        EXPECT_EQ(plain.stats, renderer.Stats());
        EXPECT_EQ(truth.TakeLog(), driver.TakeLog());
    }
};

}  // namespace

TEST_P(FrameComparison, EveryCallIsTheSame) {
    Build(compared, dice);
    Build(expected, dice);
    dice.random.discard(100);
    std::size_t drawn = 0;
    for (int frame = 0; frame < 12 && !HasFailure(); ++frame) {
        SCOPED_TRACE(frame);
        ChangeBoth();
        ChangeSettings();
        ChangeSwitches();
        ChangeMeshes();
        const unsigned seed = dice.Number(99);
        std::srand(seed);
        renderer.BeginFrame(&compared.driver);
        std::srand(seed);
        plain.BeginFrame(&expected.driver);
        for (unsigned image = dice.OneIn(8) ? 2 : 1; image > 0; --image) {
            ChangeSwitches();
            MoveCamera();
            renderer.Render(nullptr, camera);
            renderer.Render(&compared.room, camera);
            plain.Render(&expected.room, camera);
        }
        ChangeSwitches();
        ChangeBoth();
        EXPECT_TRUE(renderer.Stats().empty());
        renderer.FinishFrame();
        plain.FinishFrame();
        drawn += compared.driver.draws.size();
        ExpectSame();
    }
    EXPECT_GT(drawn, 50U);
}

INSTANTIATE_TEST_SUITE_P(Random, FrameComparison, testing::Range(1U, 41U));
