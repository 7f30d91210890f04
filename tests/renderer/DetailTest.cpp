// Which level of a mesh is drawn, what the cache of levels keeps and what it counts.
#include "RendererFixture.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <utility>
#include <vector>

namespace {

using Size = std::pair<int, int>;  // rows, columns
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

Size SizeOf(const GeoImage& mesh) {
    return {mesh.height, mesh.width};
}

// The eye looks along -z, objects lie on its axis.
struct DetailTest : RendererFixture {
    GeoImage* Mesh(int size, float error) {
        GeoImage* mesh = scene.Quad(1, size);
        mesh->error = error;
        return mesh;
    }
    Object* Place(const std::string& name, GeoImage* mesh, float distance) {
        return scene.AddPlain(scene.room, name, mesh, {0, 0, -distance});
    }
    // The meshes of a frame, in no order of the scene: that follows addresses.
    std::vector<GeoImage*> Drawn() {
        Draw();
        std::vector<GeoImage*> meshes;
        for (const auto& draw : driver.draws)
            meshes.push_back(draw.mesh);
        std::sort(meshes.begin(), meshes.end());
        return meshes;
    }
};

// The choice of levels and their cache as the rules say it, entry by entry.
struct Twin {
    static constexpr std::int64_t kBytes = 256 << 10;
    float entryBits = 12, drain = 0.1F, scale = 1, most = 1, budget = -1, step = 8;  // settings
    std::map<const GeoImage*, std::map<int, Size>> cache;
    std::set<const GeoImage*> changed;  // since it was last drawn
    std::vector<std::pair<int, const GeoImage*>> entries;
    float hits = 0, accesses = 0;
    std::ptrdiff_t purges = 0;
    std::int64_t size = 0;
    int listed = 0;  // entries as the frame began

    void Drop(std::size_t i) {
        entries[i] = entries.back();
        entries.pop_back();
    }
    void Evict() {
        const std::size_t i = static_cast<std::size_t>(std::rand()) % entries.size();
        const auto [key, mesh] = entries[i];
        if (cache.contains(mesh) && cache[mesh].erase(key) != 0) {
            ++purges;
            if (cache[mesh].empty()) cache.erase(mesh);
        }
        Drop(i);
    }
    void StartFrame() {
        purges = size = 0;
        hits = accesses = 0;
        listed = static_cast<int>(entries.size());
        const int room = 1 << static_cast<int>(entryBits);
        const int keep = static_cast<int>((1 - drain) * static_cast<float>(room));
        for (int i = 0; listed > room && i < listed - keep; ++i)
            Evict();
        for (std::size_t i = 0; i < entries.size();) {
            const auto [key, mesh] = entries[i];
            if (!cache.contains(mesh)) {
                Drop(i);
                continue;
            }
            const auto [rows, columns] = cache[mesh][key];
            size += 32 * rows * columns + 72;
            ++i;
        }
        if (size <= kBytes) return;
        const std::int64_t average = size / static_cast<std::int64_t>(entries.size());
        const double excess = double(size) - (1 - drain) * double(kBytes);
        for (int i = 0; !entries.empty() && i < static_cast<int>(excess / double(average)); ++i)
            Evict();
    }
    Size Find(const GeoImage& mesh, float distance) {
        if (mesh.error < 0) return SizeOf(mesh);
        ++accesses;
        const auto samples = static_cast<float>(mesh.width * mesh.height);
        const float cap = budget < 0 ? most : std::min(most, std::pow(10.0F, budget) / samples);
        const float d = std::min(std::sqrt(scale) * mesh.ProjectedError(distance, 480, 60), cap);
        const auto finest = static_cast<float>(std::max(mesh.width, mesh.height));
        const int key = static_cast<int>(step * finest * d);
        if (changed.erase(&mesh) != 0) cache.erase(&mesh);
        auto& levels = cache[&mesh];
        if (levels.contains(key) && levels[key].first > 0) {
            ++hits;
            return levels[key];
        }
        if (d == 1) {
            ++hits;
            return SizeOf(mesh);
        }
        if (!levels.contains(key)) entries.push_back({key, &mesh});
        const auto side = [d](int count) {
            return std::max(static_cast<int>(std::ceil(d * static_cast<float>(count))), 4);
        };
        return levels[key] = {side(mesh.height), side(mesh.width)};
    }
};

}  // namespace

// Objects all over the view, meshes that are reloaded and forgotten, and settings that change.
TEST_F(DetailTest, AgreesWithTheTwinOnALongFlight) {
    std::mt19937 random(6);
    const auto below = [&](unsigned count) { return static_cast<float>(random() % count); };
    std::vector<GeoImage*> meshes;
    for (int i = 0; i < 60; ++i) {
        meshes.push_back(Mesh(5 + static_cast<int>(below(30)), static_cast<float>(i % 7 - 1)));
        for (const float depth : {0.0F, 20.0F}) {
            Object* object = Place(std::to_string(2 * i + (depth > 0 ? 1 : 0)), meshes[i], depth);
            object->shaders[PassBase].front().thick = static_cast<float>(i);  // its mesh
        }
    }
    Twin twin;
    std::ptrdiff_t purges = 0;
    renderer.Set("P_LODcachesize", Twin::kBytes >> 10);
    for (unsigned frame = 0; frame < 1500 && !HasFailure(); ++frame) {
        SCOPED_TRACE(frame);
        LookFrom({0, 0, below(1000) / 25});
        if (frame % 40 == 39) {
            twin.entryBits = 4 + below(6);
            twin.drain = below(5) / 4;
            twin.scale = below(9) / 2;
            twin.most = below(5) / 2;
            twin.budget = below(6) / 2 - 0.5F;
        }
        if (frame % 200 == 199) {
            twin.step = 9 - twin.step;  // 8 and 1
            twin.cache.clear();
        }
        for (const auto& [name, value] : {std::pair{"P_LODcache", twin.entryBits},
                                          {"P_LODdrain", twin.drain},
                                          {"P_LODscale", twin.scale},
                                          {"P_LODmax", twin.most},
                                          {"P_LODmaxPolys", twin.budget},
                                          {"P_LODstep", twin.step}}) {
            renderer.Set(name, value);
        }
        GeoImage* chosen = meshes[random() % meshes.size()];
        if (below(4) == 0) {
            GeoImage loaded = SquareMesh(0.5F + below(3) / 2, 0, chosen->width);
            loaded.error = chosen->error;
            *chosen = loaded;
            twin.changed.insert(chosen);
        } else if (below(4) == 0) {
            renderer.ForgetMesh(chosen);
            twin.cache.erase(chosen);
        }
        std::srand(frame);
        Draw();
        std::srand(frame);
        twin.StartFrame();
        for (const auto& draw : driver.draws) {
            const GeoImage& source = *meshes[static_cast<std::size_t>(draw.shader.thick)];
            const float distance = Length(draw.modelView.Translation());
            EXPECT_EQ(SizeOf(*draw.mesh), twin.Find(source, distance));
            EXPECT_FLOAT_EQ(draw.mesh->radius, source.radius) << "made of other samples";
            EXPECT_NEAR(Length(draw.mesh->At(1, 1).normal), 1, 1e-6);
        }
        EXPECT_EQ(Stat(stat_names::kCacheSize), static_cast<float>(twin.size));
        EXPECT_EQ(Stat(stat_names::kCacheEntries), static_cast<float>(twin.listed));
        EXPECT_EQ(Stat(stat_names::kCacheHits), twin.hits);
        EXPECT_EQ(Stat(stat_names::kCacheAccesses), twin.accesses);
        const auto dropped = std::count(driver.log.begin(), driver.log.end(), "Purge unnamed");
        EXPECT_EQ(dropped, twin.purges);
        purges += dropped;
    }
    EXPECT_GT(purges, 1000);
}

// Nothing crashes, and nothing grows beyond what a mesh may be; what cannot be made is drawn as
// it is.
TEST_F(DetailTest, OddSettingsAndMeshesAreDrawnSomehow) {
    const Size sizes[] = {{1, 1}, {1, 9}, {9, 1}, {2, 2}, {0, 0}};
    std::vector<GeoImage> odd(std::size(sizes));
    for (std::size_t i = 0; i < odd.size(); ++i) {
        const auto [rows, columns] = sizes[i];
        odd[i].SetSize(rows, columns);
        std::fill_n(odd[i].samples, rows * columns, GeoImageSample{{1, 0, 0}, {0, 0, 1}, 0, 0});
        odd[i].Finish(true);
        odd[i].radius = 2;
        odd[i].error = 3;
        Place("odd" + std::to_string(i), &odd[i], 7);
    }
    Place("usual", Mesh(33, 10), 20);
    const auto drawnSizes = [&] {
        std::multiset<Size> drawn;
        for (const GeoImage* mesh : Drawn())
            drawn.insert(SizeOf(*mesh));
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

    GeoImage* huge = Mesh(1025, 0);
    Place("huge", huge, 30);
    renderer.Set("P_LODmax", 20);
    renderer.Set("P_LODscale", 400);
    for (int i = 0; i < 2; ++i) {
        const std::vector<GeoImage*> drawn = Drawn();
        EXPECT_EQ(std::count(drawn.begin(), drawn.end(), huge), 1);
    }
}
