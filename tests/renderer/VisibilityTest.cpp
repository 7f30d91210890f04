// What is drawn of a room: against a test of every object by itself, behind occluders, and after
// objects moved or went away.
#include "RendererFixture.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>

#include "spatial/Occlusion.h"
#include "spatial/Plane.h"

namespace {

constexpr double kSlack = 1e-3;   // objects this near to a threshold are not judged
constexpr double kColumns = 640;  // of the driver's window
constexpr double kRows = 480;
constexpr const char* kStream = "/tmp/vis-stream";

using Visibility = RendererFixture;

// Of the view, one unit ahead.
double HalfHeight(const Camera& camera) {
    return std::tan(std::numbers::pi * camera.fov / 360);
}

// Signed distances from the five planes of the view, positive inside.
std::array<double, 5> ViewDistances(const Camera& camera, const vec3& p) {
    const double tall = HalfHeight(camera);
    const double wide = tall * camera.aspect * kColumns / kRows;
    const double across = std::hypot(1, wide);
    const double upright = std::hypot(1, tall);
    return {camera.hith - p.z, (p.x - wide * p.z) / across, (-p.x - wide * p.z) / across,
            (p.y - tall * p.z) / upright, (-p.y - tall * p.z) / upright};
}

// The obvious twin: size in pixels, sphere, then box against each plane; slack widens the view.
bool Sees(const Camera& camera, const Object& object, double slack) {
    const Matrix view =
        Matrix::Frame(camera.pos, camera.pos - camera.lookat, camera.up).RigidInverse();
    const Matrix modelView = view * Matrix::Frame(object.pos, object.point, object.up);
    const GeoImage& mesh = *object.mesh;
    const double pixel = HalfHeight(camera) * std::max(-modelView[14], 1e-4) * 2 / kRows;
    if (mesh.radius / pixel < 0.5 - slack) return false;
    const auto centre = ViewDistances(camera, modelView.Translation());
    for (std::size_t plane = 0; plane < centre.size(); ++plane) {
        if (centre[plane] < -mesh.radius - slack) return false;
        bool anyInside = false;
        for (int corner = 0; corner < 8; ++corner) {
            const Box box{mesh.boundsMin, mesh.boundsMax};
            const vec3 p = modelView.Transform(box.Corner(corner));
            anyInside = anyInside || ViewDistances(camera, p)[plane] >= -slack;
        }
        if (!anyInside) return false;
    }
    return true;
}

// Hides whatever lies wholly behind the nearest mesh that was added, unless it lets all be seen.
class WallOcclusion : public Occlusion {
public:
    std::string log;
    bool seeThrough = false;

    void Resize(int, int) override {}
    void Clear() override {}
    void SetProjection(const Camera&) override { m_wall = -1e30F; }
    void SetMatrix(const Matrix& modelView) override { m_matrix = modelView; }
    void AddGeoImage(GeoImage*, const Shader&, vec3) override {
        log += "add ";
        m_wall = std::max(m_wall, m_matrix.Translation().z);
    }
    void Sync() override { log += "sync "; }
    bool TestTriangle(const vec3& a, const vec3& b, const vec3& c) const override {
        return seeThrough || std::max({a.z, b.z, c.z}) >= m_wall;
    }

private:
    Matrix m_matrix;
    float m_wall = -1e30F;
};

// With a buffer that hides what is behind the nearest mesh of the frame before.
struct WallVisibility : RendererFixture {
    WallOcclusion occlusion;

    WallVisibility() { driver.occlusion = &occlusion; }
    float Cached() const { return Stat(stat_names::kCachedVisibility); }
};

}  // namespace

// Whether they were seen a frame ago or not.
TEST_F(WallVisibility, DrawsExactlyTheObjectsThatPassByThemselves) {
    occlusion.seeThrough = true;
    std::mt19937 random(7);
    std::uniform_real_distribution<float> place(-30, 30);
    std::uniform_real_distribution<float> turn(-1, 1);
    GeoImage* meshes[] = {scene.Sphere(0.2F), scene.Sphere(2), scene.Quad(1), scene.Quad(0.02F)};
    std::vector<Object*> objects;
    for (unsigned i = 0; i < 400; ++i) {
        const vec3 pos{place(random), place(random), place(random)};
        objects.push_back(scene.AddPlain(scene.room, std::to_string(i), meshes[i % 4], pos));
        objects.back()->point = {turn(random), turn(random), turn(random)};
        objects.back()->shaders[PassBase].front().thick = static_cast<float>(i);  // its number
    }
    int drawn = 0;
    int judged = 0;
    for (int frame = 0; frame < 60; ++frame) {
        LookFrom({place(random), place(random), place(random)},
                 {turn(random), turn(random), turn(random)});
        camera.fov = 20 + static_cast<float>(frame);
        camera.aspect = frame % 2 == 0 ? 1.0F : 1.5F;
        Draw();
        std::set<int> seen;
        for (const auto& draw : driver.draws)
            seen.insert(static_cast<int>(draw.shader.thick));
        EXPECT_EQ(seen.size(), driver.draws.size());
        for (int i = 0; i < std::ssize(objects); ++i) {
            const Object& object = *objects[static_cast<std::size_t>(i)];
            const bool visible = Sees(camera, object, kSlack);
            if (visible != Sees(camera, object, -kSlack)) continue;
            ASSERT_EQ(seen.contains(i), visible) << "object " << i << " in frame " << frame;
            ++judged;
            drawn += visible ? 1 : 0;
        }
    }
    EXPECT_GT(drawn, 1000);
    EXPECT_GT(judged, 60 * 390);
}

TEST_F(Visibility, RulesOutWhatTheFlagsSay) {
    GeoImage* ball = scene.Sphere(1);
    scene.AddPlain(scene.room, "hidden", ball, {0, 0, -9})->visible = false;
    Object* inactive = scene.AddPlain(scene.room, "inactive", ball, {0, 0, -9});
    scene.AddPlain(*inactive, "below", ball, {1, 0, 0});
    inactive->active = false;
    Object* empty = scene.Add(scene.room, "empty", nullptr, {0, 0, -9});
    scene.AddPlain(*empty, "leaf", ball, {0, 0, 0});
    EXPECT_EQ(Draw(), 1U) << "the leaf";
    EXPECT_EQ(Stat(stat_names::kTraversed), 4);
    inactive->active = true;
    EXPECT_EQ(Draw(), 3U);
}

TEST_F(WallVisibility, BillboardsShowTheirFaceAndAreNeverTrustedForTheNextFrame) {
    Object* sign = scene.AddPlain(scene.room, "sign", scene.Quad(1), {3, 0, -9});
    sign->point = {0, 0, -1};
    sign->billboard = true;
    EXPECT_EQ(Draw(), 1U);
    EXPECT_NEAR(driver.draws.at(0).eye.x, 0, 1e-5);
    EXPECT_NEAR(driver.draws.at(0).eye.z, std::sqrt(90), 1e-5);
    scene.AddPlain(*sign, "leaf", scene.Quad(1), {0, 0, 0.5F});  // nor what hangs on them
    for (int frame = 0; frame < 2; ++frame)
        EXPECT_EQ(Draw(), 2U);
    EXPECT_EQ(Cached(), 0);
}

// Groups are judged by their extent at the distance of their owner's origin.
TEST_F(Visibility, NodesOpenBySizeAndSplitUnseen) {
    GeoImage* ball = scene.Sphere(0.3F);
    const auto seen = [&](float z) {
        LookFrom({0, 0, z});
        return Draw();
    };
    scene.AddPlain(scene.room, "0", ball, {0, 0, 995});
    EXPECT_EQ(seen(1000), 0U);  // half a unit a thousand away: 0.2 pixels
    scene.AddPlain(scene.room, "1", ball, {4, 0, 995});
    EXPECT_EQ(seen(1000), 0U);  // 0.9
    scene.AddPlain(scene.room, "2", ball, {4.8F, 0, 995});
    EXPECT_EQ(seen(1000), 2U);  // 1.1, one of the three beside the view

    for (int i = 3; i < 100; ++i) {
        const auto step = static_cast<float>(i);
        scene.AddPlain(scene.room, std::to_string(i), ball, {step, step, 995 + step});
    }
    EXPECT_EQ(seen(900), 0U);  // all behind the eye
    int split = 0;
    for (int slot = 0; slot < 8; ++slot) {
        const Octree* child = scene.room.ChildOctree().Child(slot);
        split += child != nullptr && child->IsSplit() ? 1 : 0;
    }
    EXPECT_GT(split, 0);
}

// The buffer is filled with what was seen a frame ago, at its place in this frame.
TEST_F(WallVisibility, SeenObjectsHideOthersUntilTheyChange) {
    Object* wall = scene.AddPlain(scene.room, "wall", scene.Quad(4), {0, 0, -5});
    scene.AddPlain(scene.room, "hidden", scene.Sphere(1), {0, 0, -20});
    const auto drawnFrom = [&](float z) {
        LookFrom({0, 0, z});
        occlusion.log.clear();
        return Draw();
    };
    EXPECT_EQ(drawnFrom(0), 2U);  // nothing is known yet
    EXPECT_EQ(occlusion.log, "sync ");
    EXPECT_EQ(drawnFrom(0), 2U);  // both were seen; the walk finds one of them hidden
    EXPECT_EQ(occlusion.log, "add add sync ");
    EXPECT_EQ(Cached(), 2);
    EXPECT_EQ(drawnFrom(1), 1U);
    EXPECT_EQ(driver.draws[0].modelView.Translation(), (vec3{0, 0, -6}));
    EXPECT_EQ(Stat(stat_names::kRendered), 1);

    wall->SetPosition({0, 0, -6});  // no longer trusted
    EXPECT_EQ(drawnFrom(0), 2U);
    EXPECT_EQ(Cached(), 0);
    drawnFrom(0);
    EXPECT_EQ(drawnFrom(0), 1U);

    wall->visible = false;
    EXPECT_EQ(drawnFrom(0), 1U);
    EXPECT_EQ(driver.draws[0].modelView.Translation().z, -20) << "what is not shown hides nothing";
    wall->visible = true;
    renderer.Set("P_occlusion", 0);
    EXPECT_EQ(drawnFrom(0), 2U);
    EXPECT_EQ(occlusion.log, "");
    renderer.Set("P_occlusion", 1);

    renderer.ForgetObject(wall);
    scene.Remove(scene.room, "wall");
    EXPECT_EQ(drawnFrom(0), 1U);
    EXPECT_EQ(Cached(), 1);
    renderer.ForgetObject(&scene.room);
    EXPECT_EQ(drawnFrom(0), 1U);
    EXPECT_EQ(Cached(), 0);
}

TEST_F(WallVisibility, OccludedGroupsAreNotEntered) {
    scene.AddPlain(scene.room, "wall", scene.Quad(4), {0, 0, -5});
    Object* group = scene.Add(scene.room, "group", nullptr, {0, 0, -20});
    // A node of one object is left to the object's own test.
    for (const auto& [name, traversed] : {std::pair{"first", 4}, {"second", 3}}) {
        scene.AddPlain(*group, name, scene.Sphere(1), {0, 0, 0});
        for (int frame = 0; frame < 3; ++frame)
            Draw();
        EXPECT_EQ(driver.draws.size(), 1U);
        EXPECT_EQ(Stat(stat_names::kTraversed), traversed);
    }
}

TEST_F(Visibility, RecordsEveryDecisionOfTheView) {
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

// An object may go between Render and FinishFrame as well.
TEST_F(Visibility, ForgottenObjectsAreInNoListOfTheFrame) {
    renderer.Set("P_virtlights", 0);
    for (int i = 0; i < 9; ++i)
        scene.AddLight("light" + std::to_string(i), {0, 0, 0});
    for (const char* name : {"goes", "stays"}) {
        Object* object = scene.AddLit(scene.room, name, scene.Quad(1), {0, 0, -5});
        object->shaders[PassBlend].emplace_back();
    }
    renderer.BeginFrame(&driver);
    renderer.Render(&scene.room, camera);
    driver.TakeLog();
    renderer.ForgetObject(scene.room.Child("goes"));
    scene.Remove(scene.room, "goes");
    renderer.FinishFrame();
    EXPECT_EQ(driver.draws.size(), 1U);
}
