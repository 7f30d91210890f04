// What random frames leave out of the detail cache: its tokens, odd settings and odd meshes.
#include "RendererFixture.h"

#include <algorithm>
#include <limits>
#include <set>

namespace {

using Size = std::pair<int, int>;  // rows, columns
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

Size SizeOf(const GeoImage& mesh) {
    return {mesh.height, mesh.width};
}

}  // namespace

// However many come and go: a value is free again when its cache is gone.
TEST(DetailCache, TokensCountDownFromTheHighest) {
    TestScene scene;
    GeoImage* mesh = scene.Quad(1);
    const auto first = std::make_unique<DetailCache>();
    auto second = std::make_unique<DetailCache>();
    first->Find(mesh, 8, 1);
    EXPECT_TRUE(mesh->HasToken(0xFFFFFFFEU) && !mesh->HasToken(0xFFFFFFFDU));
    second->Find(mesh, 8, 1);
    EXPECT_TRUE(mesh->HasToken(0xFFFFFFFDU));
    mesh->ClearTokens();
    second.reset();
    DetailCache().Find(mesh, 8, 1);
    EXPECT_TRUE(mesh->HasToken(0xFFFFFFFDU) && !mesh->HasToken(0xFFFFFFFEU));
}

// Nothing crashes, and nothing grows beyond what a mesh may be; what cannot be made is drawn as
// it is.
TEST_F(RendererFixture, OddSettingsAndMeshesAreDrawnSomehow) {
    const Size sizes[] = {{1, 1}, {1, 9}, {9, 1}, {2, 2}, {0, 0}};
    std::vector<GeoImage> odd(std::size(sizes));
    for (std::size_t i = 0; i < odd.size(); ++i) {
        const auto [rows, columns] = sizes[i];
        odd[i].SetSize(rows, columns);
        std::fill_n(odd[i].samples, rows * columns, GeoImageSample{{1, 0, 0}, {0, 0, 1}, 0, 0});
        odd[i].Finish(true);
        odd[i].radius = 2;
        odd[i].error = 3;
        scene.AddPlain(scene.room, "odd" + std::to_string(i), &odd[i], {0, 0, -7});
    }
    scene.AddPlain(scene.room, "usual", scene.Quad(1, 33), {0, 0, -20});
    const auto drawnSizes = [&] {
        Draw();
        std::multiset<Size> drawn;
        for (const auto& draw : driver.draws)
            drawn.insert(SizeOf(*draw.mesh));
        return drawn;
    };
    const std::multiset<Size> usual = drawnSizes();
    EXPECT_EQ(usual.size(), odd.size() + 1);
    for (const char* name : {"P_LODmax", "P_LODscale", "P_LODmaxPolys", "P_LODstep", "P_LODcache",
                             "P_LODcachesize", "P_LODdrain"}) {
        const float initial = renderer.Get(name);
        for (const float value : {kNan, -1e30F, 1e30F}) {
            renderer.Set(name, value);
            Draw();
            Draw();
            renderer.Set(name, initial);
            Draw();
            EXPECT_EQ(drawnSizes(), usual) << name << " " << value;
        }
    }

    GeoImage* huge = scene.Quad(1, 1025);
    scene.AddPlain(scene.room, "huge", huge, {0, 0, -30});
    renderer.Set("P_LODmax", 20);
    renderer.Set("P_LODscale", 400);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(drawnSizes().count({1025, 1025}), 1U);
}
