// Silhouettes against a twin that follows the triangles of the grid one at a time.
#include "geometry/Silhouette.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <set>
#include <string>
#include <tuple>

#include "geometry/GeoImage.h"
#include "support/Capture.h"
#include "support/TestMeshes.h"

extern thread_local int allocationsLeft;

namespace {

class Twin {
public:
    Twin(const GeoImage& mesh, const vec3& point, bool positive) : m_mesh(mesh) {
        for (int r = 0; r + 1 < mesh.height; ++r) {
            bool last = false;  // what is seen edge-on or is no triangle takes it over
            for (int c = 0; c + 1 < mesh.width; ++c) {
                const auto [p, q, b, s] = Corners(c, r);
                Classify(c, r, 1, {p, q, b}, q - point, Cross(q - p, b - p), positive, last);
                Classify(c, r, 2, {s, b, q}, q - point, Cross(b - s, q - s), positive, last);
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
    const GeoImage& m_mesh;
    std::set<std::tuple<int, int, int>> m_facing;  // column, row, triangle of the quad

    std::array<vec3, 4> Corners(int c, int r) const {
        return {S(c, r), S(c + 1, r), S(c, r + 1), S(c + 1, r + 1)};
    }
    vec3 S(int c, int r) const { return m_mesh.At(r, c).position; }
    bool Flag(int c, int r, int t) const { return m_facing.contains({c, r, t}); }
    void Classify(int c, int r, int t, const SilhouetteCap& k, const vec3& toQ, const vec3& normal,
                  bool positive, bool& last) {
        if (!(k.a == k.b || k.b == k.c || k.c == k.a)) {
            ++solid;
            const float d = Dot(toQ, normal) * (positive ? 1.0F : -1.0F);
            if (d < 0) result.caps.push_back(k);
            if (d != 0) last = d < 0;
        }
        if (last) m_facing.insert({c, r, t});
    }
    // The edge between two triangles of which one faces the point, as that one runs along it.
    void Shared(bool own, bool next, const SilhouetteEdge& ofOwn, const SilhouetteEdge& ofNext) {
        if (own == next) return;
        const SilhouetteEdge& edge = own ? ofOwn : ofNext;
        if (!(edge.from == edge.to)) result.edges.push_back(edge);
    }
    void EmitQuad(int c, int r) {
        const auto [p, q, b, s] = Corners(c, r);
        const bool f1 = Flag(c, r, 1);
        const bool f2 = Flag(c, r, 2);
        // Seams are paired from their far side.
        if (r > 0 || !m_mesh.wrapRows) Shared(f1, Flag(c, r - 1, 2), {q, p}, {p, q});
        if (r == m_mesh.height - 2) {
            const bool first = m_mesh.wrapRows && Flag(c, 0, 1);
            Shared(f2, first, {b, s}, {S(c + 1, 0), S(c, 0)});
        }
        if (c > 0 || !m_mesh.wrapColumns) Shared(f1, Flag(c - 1, r, 2), {p, b}, {b, p});
        if (c == m_mesh.width - 2) {
            const bool first = m_mesh.wrapColumns && Flag(0, r, 1);
            Shared(f2, first, {s, q}, {S(0, r), S(0, r + 1)});
        }
        Shared(f1, f2, {b, q}, {q, b});
    }
};

void ExpectSame(const SilhouetteResult& a, const SilhouetteResult& b) {
    const auto sameEdge = [](const SilhouetteEdge& x, const SilhouetteEdge& y) {
        return x.from == y.from && x.to == y.to;
    };
    const auto sameCap = [](const SilhouetteCap& x, const SilhouetteCap& y) {
        return x.a == y.a && x.b == y.b && x.c == y.c;
    };
    EXPECT_TRUE(
        std::equal(a.edges.begin(), a.edges.end(), b.edges.begin(), b.edges.end(), sameEdge));
    EXPECT_TRUE(std::equal(a.caps.begin(), a.caps.end(), b.caps.begin(), b.caps.end(), sameCap));
}

// Small whole coordinates make triangles degenerate or seen edge-on often.
GeoImage RandomMesh(std::mt19937& random, bool wrapColumns, bool wrapRows) {
    const int rows = 1 + static_cast<int>(random() % 7);
    // Now and then a row of several words of 64 quads.
    const int columns = 1 + static_cast<int>(random() % (random() % 20 == 0 ? 200 : 7));
    const bool closeSeams = random() % 2 == 0;
    const unsigned range = random() % 2 == 0 ? 2 : 50;
    GeoImage mesh(rows, columns);
    const auto coordinate = [&] { return static_cast<float>(random() % range); };
    for (int i = 0; i < rows * columns; ++i) {
        mesh.samples[i] = {};
        mesh.samples[i].position = {coordinate(), coordinate(), coordinate()};
    }
    for (int r = 0; closeSeams && wrapColumns && r < rows; ++r)
        mesh.At(r, columns - 1) = mesh.At(r, 0);
    for (int c = 0; closeSeams && wrapRows && c < columns; ++c)
        mesh.At(rows - 1, c) = mesh.At(0, c);
    mesh.wrapColumns = wrapColumns;
    mesh.wrapRows = wrapRows;
    mesh.Finish(true);
    return mesh;
}

TEST(Silhouette, AgreesWithTheTwinOnRandomGrids) {
    std::mt19937 random(11);
    SilhouetteResult result;
    std::size_t edges = 0;
    for (int i = 0; i < 4000 && !testing::Test::HasFailure(); ++i) {
        SCOPED_TRACE(i);
        GeoImage mesh = RandomMesh(random, i % 2 == 0, i / 2 % 2 == 0);
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

TEST(Silhouette, KeepsFaceNormalsUntilTheMeshChanges) {
    GeoImage mesh = SquareMesh(1, 0);
    SilhouetteResult result;
    mesh.ExtractSilhouette({0, 0, -1}, result, true, true);
    EXPECT_TRUE(mesh.HasToken(GeoImage::kFaceNormalToken));
    EXPECT_EQ(result.caps.size(), 2U);
    const GeoImage turned = TurnedRound(mesh);
    std::copy_n(turned.samples, 4, mesh.samples);  // not announced: the cached normals still decide
    mesh.ExtractSilhouette({0, 0, -1}, result, true, true);
    EXPECT_EQ(result.caps.size(), 2U);
    mesh.Finish(false);
    EXPECT_FALSE(mesh.HasToken(GeoImage::kFaceNormalToken));
    mesh.ExtractSilhouette({0, 0, -1}, result, true, true);
    EXPECT_TRUE(result.caps.empty());
}

// Shadows are left out, one line a call says so, and the next call with memory finds all.
TEST(Silhouette, IsEmptyWhereMemoryEnds) {
    std::mt19937 random(12);
    GeoImage mesh;
    while (mesh.height < 5 || mesh.width < 5)
        mesh = RandomMesh(random, true, false);
    const Twin twin(mesh, {1, 2, 3}, true);
    int failures = 0;
    for (std::string said = "some"; !said.empty(); ++failures) {
        SilhouetteResult result;
        result.caps.resize(1);
        said = CaptureStderr([&] {
            allocationsLeft = failures;
            mesh.ExtractSilhouette({1, 2, 3}, result, true, true);
            allocationsLeft = -1;
        });
        EXPECT_TRUE(said.empty() || said == "GeoImage::ExtractSilhouette: out of memory\n");
        ExpectSame(result, said.empty() ? twin.result : SilhouetteResult());
    }
    EXPECT_GT(failures, 5);
}

}  // namespace
