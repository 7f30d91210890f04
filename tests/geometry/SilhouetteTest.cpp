// Silhouettes against a twin that follows the triangles of the grid one at a time.
#include "geometry/Silhouette.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <random>
#include <set>
#include <string>
#include <tuple>

#include "geometry/GeoImage.h"
#include "support/Capture.h"

// How many allocations of this thread still succeed before all fail; negative: no end.
thread_local int allocationsLeft = -1;

void* operator new(std::size_t size) {
    if (allocationsLeft == 0) throw std::bad_alloc();
    allocationsLeft -= allocationsLeft > 0;
    return std::malloc(size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

class Twin {
public:
    Twin(const GeoImage& mesh, const vec3& point, bool positive) : m_mesh(mesh) {
        for (int r = 0; r + 1 < mesh.height; ++r) {
            bool last = false;  // what is seen edge-on or is no triangle takes it over
            for (int c = 0; c + 1 < mesh.width; ++c) {
                const vec3 p = S(c, r), q = S(c + 1, r), b = S(c, r + 1), s = S(c + 1, r + 1);
                const vec3 toQ = (positive ? 1.0F : -1.0F) * (q - point);
                Classify({c, r, 1}, {p, q, b}, Dot(toQ, Cross(q - p, b - p)), last);
                Classify({c, r, 2}, {s, b, q}, Dot(toQ, Cross(b - s, q - s)), last);
            }
        }
        for (int r = 0; r + 1 < mesh.height; ++r) {
            for (int c = 0; c + 1 < mesh.width; ++c)
                EmitQuad(c, r);
        }
    }
    SilhouetteResult result;
    std::size_t solid = 0;  // triangles that are not degenerate

private:
    using Triangle = std::tuple<int, int, int>;  // column, row, 1 or 2

    const GeoImage& m_mesh;
    std::set<Triangle> m_facing;

    vec3 S(int c, int r) const { return m_mesh.At(r, c).position; }
    bool Flag(int c, int r, int t) const { return m_facing.contains({c, r, t}); }
    void Classify(const Triangle& t, const SilhouetteCap& k, float d, bool& last) {
        if (!(k.a == k.b || k.b == k.c || k.c == k.a)) {
            ++solid;
            if (d < 0) result.caps.push_back(k);
            if (d != 0) last = d < 0;
        }
        if (last) m_facing.insert(t);
    }
    // The edge a to b of a triangle, where its neighbour's runs from c to d: that of the one of
    // both that faces the point, backwards.
    void Shared(bool own, bool next, const vec3& a, const vec3& b, const vec3& c, const vec3& d) {
        if (own != next && own && !(a == b)) result.edges.push_back({b, a});
        if (own != next && next && !(c == d)) result.edges.push_back({d, c});
    }
    void EmitQuad(int c, int r) {
        const vec3 p = S(c, r), q = S(c + 1, r), b = S(c, r + 1), s = S(c + 1, r + 1);
        const bool f1 = Flag(c, r, 1), f2 = Flag(c, r, 2);
        const bool rows = m_mesh.wrapRows, columns = m_mesh.wrapColumns;
        // Seams are paired from their far side.
        if (r > 0 || !rows) Shared(f1, Flag(c, r - 1, 2), p, q, q, p);
        if (r == m_mesh.height - 2) Shared(f2, rows && Flag(c, 0, 1), s, b, S(c, 0), S(c + 1, 0));
        if (c > 0 || !columns) Shared(f1, Flag(c - 1, r, 2), b, p, p, b);
        if (c == m_mesh.width - 2) Shared(f2, columns && Flag(0, r, 1), q, s, S(0, r + 1), S(0, r));
        Shared(f1, f2, q, b, b, q);
    }
};

template <class Item>
std::string Bytes(const std::vector<Item>& items) {
    return {reinterpret_cast<const char*>(items.data()), items.size() * sizeof(Item)};
}
void ExpectSame(const SilhouetteResult& a, const SilhouetteResult& b) {
    EXPECT_TRUE(Bytes(a.edges) == Bytes(b.edges) && Bytes(a.caps) == Bytes(b.caps));
}

// Small whole coordinates make triangles degenerate or seen edge-on often.
GeoImage RandomMesh(std::mt19937& random, int rows, int columns, bool wrapColumns, bool wrapRows) {
    const bool closeSeams = random() % 2 == 0;
    const unsigned range = random() % 2 == 0 ? 2 : 50;
    GeoImage mesh(rows, columns);
    const auto coordinate = [&] { return static_cast<float>(random() % range); };
    for (int i = 0; i < rows * columns; ++i)
        mesh.samples[i] = {{coordinate(), coordinate(), coordinate()}, {}};
    for (int r = 0; closeSeams && wrapColumns && r < rows; ++r)
        mesh.At(r, columns - 1) = mesh.At(r, 0);
    for (int c = 0; closeSeams && wrapRows && c < columns; ++c)
        mesh.At(rows - 1, c) = mesh.At(0, c);
    mesh.wrapColumns = wrapColumns;
    mesh.wrapRows = wrapRows;
    return mesh;
}

TEST(Silhouette, AgreesWithTheTwinOnRandomGrids) {
    std::mt19937 random(11);
    SilhouetteResult result;
    std::size_t edges = 0;
    for (int i = 0; i < 4000 && !testing::Test::HasFailure(); ++i) {
        SCOPED_TRACE(i);
        const int rows = 1 + static_cast<int>(random() % 7);
        // Now and then a row of several words of 64 quads.
        const int columns = 1 + static_cast<int>(random() % (random() % 20 == 0 ? 200 : 7));
        GeoImage mesh = RandomMesh(random, rows, columns, i % 2 == 0, i / 2 % 2 == 0);
        for (int view = 0; view < 3; ++view) {
            const auto coordinate = [&] { return static_cast<float>(random() % 7) - 3; };
            const vec3 point{coordinate(), coordinate(), coordinate()};
            const bool positive = random() % 2 == 0;
            const bool caps = random() % 4 != 0;
            Twin twin(mesh, point, positive);
            if (!caps) twin.result.caps.clear();
            mesh.ExtractSilhouette(point, result, caps, positive);
            ExpectSame(result, twin.result);
            EXPECT_EQ(mesh.FaceNormalCount(), twin.solid);
            edges += result.edges.size();
        }
    }
    EXPECT_GT(edges, 10000U);
}

// Shadows are left out and one line a call says so; with memory the next call finds all. The face
// normals of that one serve until a change of the mesh is announced.
TEST(Silhouette, IsEmptyWhereMemoryEndsAndKeepsFaceNormals) {
    std::mt19937 random(12);
    GeoImage mesh = RandomMesh(random, 5, 70, true, false);
    const Twin twin(mesh, {1, 2, 3}, true);
    SilhouetteResult result;
    const auto extract = [&] { mesh.ExtractSilhouette({1, 2, 3}, result, true, true); };
    int failures = 0;
    for (std::string said = "some"; !said.empty(); ++failures) {
        result = {};
        result.caps.resize(1);
        said = CaptureStderr([&] {
            allocationsLeft = failures;
            extract();
            allocationsLeft = -1;
        });
        EXPECT_TRUE(said.empty() || said == "GeoImage::ExtractSilhouette: out of memory\n");
        ExpectSame(result, said.empty() ? twin.result : SilhouetteResult());
    }
    EXPECT_GT(failures, 5);
    EXPECT_TRUE(mesh.HasToken(GeoImage::kFaceNormalToken));
    std::fill_n(mesh.samples, 5 * 70, GeoImageSample{});
    extract();
    EXPECT_EQ(mesh.FaceNormalCount(), twin.solid);
    mesh.Finish(false);
    extract();
    EXPECT_TRUE(mesh.FaceNormalCount() == 0 && result.caps.empty());
}

}  // namespace
