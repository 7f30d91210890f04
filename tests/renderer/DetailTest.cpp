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
    std::ptrdiff_t Purges() const {
        return std::count(driver.log.begin(), driver.log.end(), "Purge unnamed");
    }
};

// The cache as the rules say it, entry by entry.
struct Twin {
    using Entry = std::pair<int, const GeoImage*>;
    std::map<const GeoImage*, std::map<int, Size>> cache;
    std::set<const GeoImage*> changed;  // since it was last drawn
    std::vector<Entry> entries;
    float hits = 0;
    std::ptrdiff_t purges = 0;
    std::int64_t size = 0;
    int listed = 0;  // entries as the frame began
    float drain = 0.1F;

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
    void Clean(int maxEntries, std::int64_t maxBytes) {
        purges = size = 0;
        hits = 0;
        listed = static_cast<int>(entries.size());
        const int keep = static_cast<int>((1 - drain) * static_cast<float>(maxEntries));
        for (int i = 0; listed > maxEntries && i < listed - keep; ++i)
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
        if (size <= maxBytes) return;
        const std::int64_t average = size / static_cast<std::int64_t>(entries.size());
        const double excess = double(size) - (1 - drain) * double(maxBytes);
        for (int i = 0; !entries.empty() && i < static_cast<int>(excess / double(average)); ++i)
            Evict();
    }
    Size Find(const GeoImage& mesh, float distance, int step) {
        const float d = std::min(mesh.error > 0 ? mesh.ProjectedError(distance, 480, 60) : 1, 1.0F);
        const int key =
            static_cast<int>(static_cast<float>(step * std::max(mesh.width, mesh.height)) * d);
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
        const auto side = [d](int samples) {
            return std::max(static_cast<int>(std::ceil(d * static_cast<float>(samples))), 4);
        };
        return levels[key] = {side(mesh.height), side(mesh.width)};
    }
};

}  // namespace

TEST_F(DetailTest, DetailFollowsDistanceSettingsAndCaps) {
    GeoImage* mesh = Mesh(65, 10);
    Object* object = Place("object", mesh, 5);
    const auto side = [&](float distance) {
        object->SetPosition({0, 0, -distance});
        return Drawn().front()->width;
    };
    EXPECT_EQ(Drawn().front(), mesh);
    EXPECT_EQ(side(20), 57);
    EXPECT_EQ(side(100), 12);
    EXPECT_EQ(side(0), 65);
    renderer.Set("P_LODscale", 4);
    EXPECT_EQ(side(100), 23);
    renderer.Set("P_LODmax", 1.5F);
    EXPECT_EQ(side(5), 98);
    renderer.Set("P_LODmaxPolys", 3.5F);  // the budget is linear: 3162 / 4225 of the side
    EXPECT_EQ(side(5), 49);
    renderer.Set("P_LODmaxPolys", 0);
    EXPECT_EQ(side(5), 4);
    renderer.Set("P_LODmaxPolys", -1);
    renderer.Set("P_LODmax", 2);
    mesh->error = 0;  // no distance makes it coarser
    EXPECT_EQ(side(100), 130);
    mesh->error = -1;
    EXPECT_EQ(Drawn().front(), mesh);
    EXPECT_EQ(Stat(stat_names::kCacheAccesses), 0) << "the cache is not asked";
}

// Objects all over the view, meshes that are reloaded and forgotten, and settings that change.
TEST_F(DetailTest, AgreesWithTheTwinOnALongFlight) {
    std::mt19937 random(6);
    const auto below = [&](unsigned count) { return static_cast<int>(random() % count); };
    std::vector<GeoImage*> meshes;
    for (int i = 0; i < 60; ++i) {
        meshes.push_back(Mesh(5 + below(30), static_cast<float>(i % 6)));
        for (const float depth : {0.0F, 20.0F}) {
            Object* object = Place(std::to_string(2 * i + (depth > 0 ? 1 : 0)), meshes[i], depth);
            object->shaders[PassBase].front().thick = static_cast<float>(i);  // its mesh
        }
    }
    Twin twin;
    int step = 8;
    int cacheBits = 12;
    std::ptrdiff_t purges = 0;
    renderer.Set("P_LODcachesize", 256);
    for (unsigned frame = 0; frame < 1500 && !HasFailure(); ++frame) {
        SCOPED_TRACE(frame);
        LookFrom({0, 0, static_cast<float>(below(1000)) / 25});
        if (frame % 40 == 39) {
            cacheBits = 4 + below(6);
            twin.drain = 0.25F * static_cast<float>(below(5));
        }
        renderer.Set("P_LODcache", static_cast<float>(cacheBits));
        renderer.Set("P_LODdrain", twin.drain);
        GeoImage* chosen = meshes[random() % meshes.size()];
        if (below(4) == 0) {
            GeoImage loaded =
                SquareMesh(0.5F + 0.5F * static_cast<float>(below(3)), 0, chosen->width);
            loaded.error = chosen->error;
            *chosen = loaded;
            twin.changed.insert(chosen);
        } else if (below(4) == 0) {
            renderer.ForgetMesh(chosen);
            twin.cache.erase(chosen);
        }
        if (frame % 200 == 199) {
            step = 1 + step % 16;
            renderer.Set("P_LODstep", static_cast<float>(step));
            twin.cache.clear();
        }
        std::srand(frame);
        Draw();
        std::srand(frame);
        twin.Clean(1 << cacheBits, 256 << 10);
        for (const auto& draw : driver.draws) {
            const GeoImage& source = *meshes[static_cast<std::size_t>(draw.shader.thick)];
            const float distance = Length(draw.modelView.Translation());
            EXPECT_EQ(SizeOf(*draw.mesh), twin.Find(source, distance, step));
            EXPECT_FLOAT_EQ(draw.mesh->radius, source.radius) << "made of other samples";
            EXPECT_NEAR(Length(draw.mesh->At(1, 1).normal), 1, 1e-6);
        }
        EXPECT_EQ(Stat(stat_names::kCacheSize), static_cast<float>(twin.size));
        EXPECT_EQ(Stat(stat_names::kCacheEntries), static_cast<float>(twin.listed));
        EXPECT_EQ(Stat(stat_names::kCacheHits), twin.hits);
        EXPECT_EQ(Stat(stat_names::kCacheAccesses), static_cast<float>(driver.draws.size()));
        EXPECT_EQ(Purges(), twin.purges);
        purges += twin.purges;
    }
    EXPECT_GT(purges, 1000);
}

// Nothing crashes, and nothing grows beyond what a mesh may be; what cannot be made is drawn as
// it is.
TEST_F(DetailTest, OddSettingsAndMeshesAreDrawnSomehow) {
    const Size sizes[] = {{1, 1}, {1, 9}, {9, 1}, {2, 2}, {0, 0}};
    std::vector<GeoImage> odd(std::size(sizes));
    for (std::size_t i = 0; i < odd.size(); ++i) {
        odd[i].SetSize(sizes[i].first, sizes[i].second);
        for (int k = 0; k < sizes[i].first * sizes[i].second; ++k)
            odd[i].samples[k] = {{1, static_cast<float>(k), 0}, {0, 0, 1}, 0, 0};
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
    const std::pair<const char*, float> settings[] = {
        {"P_LODmax", 1},    {"P_LODscale", 1},         {"P_LODmaxPolys", -1}, {"P_LODstep", 8},
        {"P_LODcache", 12}, {"P_LODcachesize", 32768}, {"P_LODdrain", 0.1F},
    };
    for (const auto& [name, initial] : settings) {
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
