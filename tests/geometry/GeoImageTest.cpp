// Storage, derived geometry, resampling and silhouettes of meshes, against plain second versions.
#include "geometry/GeoImage.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <random>
#include <set>
#include <tuple>

#include "geometry/Silhouette.h"
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

// With odd, some fields are infinite or -0.
GeoImage RandomMesh(std::mt19937& random, int rows, int columns, bool odd, float unit = 1) {
    GeoImage mesh(rows, columns);
    auto* fields = reinterpret_cast<float*>(mesh.samples);
    std::uniform_real_distribution<float> value(-1, 1);
    for (int i = 0; i < 8 * rows * columns; ++i) {
        const auto kind = odd ? random() % 16 : 0;
        fields[i] = kind == 1 ? -0.0F : kind == 2 ? INFINITY : unit * (value(random) + 0.5F);
    }
    return mesh;
}

bool SameBits(const GeoImage& a, const GeoImage& b) {
    return a.width == b.width && a.height == b.height &&
           std::memcmp(a.samples, b.samples, std::size_t(a.ByteSize() - 72)) == 0;
}

// Sums of the normals of the triangles around each sample, one triangle at a time.
std::vector<dvec3> NormalSums(const GeoImage& mesh) {
    std::vector<dvec3> sums(std::size_t(mesh.width * mesh.height));
    const auto add = [&](std::size_t a, std::size_t b, std::size_t c) {
        const auto at = [&](std::size_t k) { return dvec3(mesh.samples[k].position); };
        for (const std::size_t corner : {a, b, c})
            sums[corner] += Cross(at(c) - at(a), at(b) - at(a));
    };
    const auto width = std::size_t(mesh.width);
    for (std::size_t p = 0; p + width + 1 < sums.size(); ++p) {
        if ((p + 1) % width == 0) continue;
        add(p, p + 1, p + width);
        add(p + width + 1, p + width, p + 1);
    }
    return sums;
}

// The products of the smallest and largest edges are beyond the range of float.
TEST(GeoImage, FinishAgreesWithPlainSumsAtAnyScale) {
    std::mt19937 random(2);
    for (int i = 0; i < 400 && !testing::Test::HasFailure(); ++i) {
        const bool recompute = i % 2 == 0;
        GeoImage mesh = RandomMesh(random, 1 + i % 5, 1 + i / 5 % 5, false,
                                   std::pow(10.0F, static_cast<float>(i % 74) - 37));
        std::vector<dvec3> normals = NormalSums(mesh);
        dvec3 low(mesh.samples[0].position);
        dvec3 high = low;
        double farthest = 0;
        for (std::size_t k = 0; k < normals.size(); ++k) {
            const dvec3 p(mesh.samples[k].position);
            if (!recompute) normals[k] = dvec3(mesh.samples[k].normal);
            low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
            high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
            farthest = std::max(farthest, Length(p));
        }
        mesh.AddToken(1);
        mesh.Finish(recompute);
        EXPECT_TRUE(dvec3(mesh.boundsMin) == low && dvec3(mesh.boundsMax) == high);
        EXPECT_FLOAT_EQ(mesh.radius, static_cast<float>(farthest));
        EXPECT_FALSE(mesh.HasToken(1));
        for (std::size_t k = 0; k < normals.size(); ++k)
            EXPECT_LT(Length(dvec3(mesh.samples[k].normal) - Normalise(normals[k])), 1e-6) << i;
    }
}

TEST(GeoImage, KeepsTokensOnceAndProjectsItsError) {
    GeoImage mesh(2, 3);
    EXPECT_EQ(mesh.ByteSize(), 32 * 6 + 72);
    EXPECT_EQ(mesh.ProjectedError(0, 0, 0), 1);
    mesh.error = 0.5F;
    EXPECT_FLOAT_EQ(mesh.ProjectedError(4, 960, 90), 0.25F);
    for (const std::uint32_t token : {9U, 7U, 8U, 7U})
        mesh.AddToken(token);
    EXPECT_TRUE(mesh.HasToken(7) && mesh.HasToken(8) && mesh.HasToken(9) && !mesh.HasToken(6));
    EXPECT_FALSE(mesh.SetSize(1 << 20, 1 << 20) || mesh.SetSize(4097, 4096) || mesh.SetSize(-1, 1));
    EXPECT_TRUE(mesh.samples == nullptr && mesh.width == 0 && mesh.height == 0);
    EXPECT_TRUE(mesh.SetSize(0, 5) && mesh.samples == nullptr && !mesh.HasToken(7));
}

// The formula of resampling, one field at a time.
struct ResizeTwin {
    const GeoImage& source;
    float rows;
    float columns;
    int filter;

    struct At {
        int index;
        float fraction;
    };
    static int Count(float wanted) { return static_cast<int>(std::ceil(std::max(wanted, 4.0F))); }
    static At Place(int output, int sourceCount, float wanted) {
        if (output == 0) return {0, 0};
        if (output == Count(wanted) - 1) return {sourceCount - 1, 0};
        const float span = static_cast<float>((sourceCount - 1) * 4096);
        const int position = output * static_cast<int>(span / (std::max(wanted, 4.0F) - 1));
        return {position >> 12, static_cast<float>(position & 4095) / 4096};
    }
    float S(int x, int y, int field) const {
        EXPECT_TRUE(0 <= x && x < source.width && 0 <= y && y < source.height);
        return reinterpret_cast<const float*>(&source.At(y, x))[field];
    }
    float Bilinear(At x, At y, int field) const {
        const auto column = [&](int c) {
            if (y.fraction == 0) return S(c, y.index, field);
            return S(c, y.index, field) * (1 - y.fraction) + S(c, y.index + 1, field) * y.fraction;
        };
        if (x.fraction == 0) return column(x.index);
        return column(x.index) * (1 - x.fraction) + column(x.index + 1) * x.fraction;
    }
    float Box(int x, int y, int field) const {
        const bool right = 0 < x && x < source.width - 1;
        const bool below = 0 < y && y < source.height - 1;
        float sum = S(x, y, field);
        if (right) sum += S(x + 1, y, field);
        if (below) sum += S(x, y + 1, field);
        if (right && below) sum += S(x + 1, y + 1, field);
        return sum / static_cast<float>((right ? 2 : 1) * (below ? 2 : 1));
    }
    float Field(At x, At y, int field) const {
        if (filter == 0) return S(x.index, y.index, field);
        const float bilinear = Bilinear(x, y, field);
        if (filter == 1) return bilinear;
        const auto area = static_cast<float>(source.width * source.height);
        const float k = std::clamp(std::sqrt(area / rows / columns) - 1, 0.0F, 1.0F);
        return bilinear * (1 - k) + Box(x.index, y.index, field) * k;
    }
    GeoImage Resized() const {
        if (Count(rows) == source.height && Count(columns) == source.width) return source;
        GeoImage result(Count(rows), Count(columns));
        for (int i = 0; i < result.width * result.height * 8; ++i)
            reinterpret_cast<float*>(result.samples)[i] =
                Field(Place(i / 8 % result.width, source.width, columns),
                      Place(i / 8 / result.width, source.height, rows), i % 8);
        return result;
    }
};

TEST(Resize, AgreesWithTheTwinToTheLastBit) {
    std::mt19937 random(3);
    std::uniform_real_distribution<float> scale(0.1F, 2.5F);
    for (int i = 0; i < 300 && !testing::Test::HasFailure(); ++i) {
        const int rows = 1 + static_cast<int>(random() % 40);
        const int columns = 1 + static_cast<int>(random() % 150);
        float wantedRows = scale(random) * static_cast<float>(rows);
        float wantedColumns = scale(random) * static_cast<float>(columns);
        if (i % 3 == 0) wantedRows = std::round(wantedRows + 1);
        if (i % 5 == 0) wantedColumns = wantedRows * 2 - 1;
        // The step is rounded in float before it is cut off: just above a whole size, far above.
        if (i % 10 == 0) wantedRows = std::nextafter(9.0F, 10.0F);
        if (i % 50 == 1) wantedRows = 1000.7F;
        if (i % 7 == 0) wantedColumns = static_cast<float>(columns) - 0.5F;
        if (i % 7 == 0) wantedRows = static_cast<float>(rows);
        GeoImage source = RandomMesh(random, rows, columns, i % 3 == 1);
        source.wrapRows = i % 2 == 0;
        source.wrapColumns = i / 2 % 2 == 0;
        source.boundsMin.x = source.boundsMax.y = source.radius = source.error = 3;
        source.AddToken(1);
        GeoImage result;
        result.wrapRows = !source.wrapRows;
        result.AddToken(1);
        EXPECT_TRUE(GeoImage::Resize(source, result, wantedRows, wantedColumns, i % 3));
        GeoImage taken(std::move(result));
        EXPECT_TRUE(result.width == 0 && result.height == 0 && result.samples == nullptr);
        GeoImage inPlace = source;
        EXPECT_TRUE(GeoImage::Resize(inPlace, inPlace, wantedRows, wantedColumns, i % 3));
        result = taken;
        const GeoImage expected = ResizeTwin{source, wantedRows, wantedColumns, i % 3}.Resized();
        for (const GeoImage* mesh : {&result, &inPlace}) {
            EXPECT_TRUE(SameBits(*mesh, expected))
                << rows << " x " << columns << " to " << wantedRows << " x " << wantedColumns;
            EXPECT_TRUE(mesh->error == expected.error && !mesh->HasToken(1));
            EXPECT_EQ(mesh->wrapRows, source.wrapRows);
            EXPECT_EQ(mesh->wrapColumns, source.wrapColumns);
            if (mesh->error == 0) continue;  // the rest comes with a copy
            EXPECT_TRUE(mesh->radius == 3 && mesh->boundsMin == source.boundsMin &&
                        mesh->boundsMax == source.boundsMax);
        }
    }
}

TEST(Resize, HoldsSizesAndRefusesWhatNoMeshCanBe) {
    std::mt19937 random(4);
    GeoImage source = RandomMesh(random, 9, 9, false);
    GeoImage result;
    EXPECT_TRUE(GeoImage::Resize(source, result, 8.5F, 9, 7) && SameBits(result, source));
    for (const float odd : {NAN, -INFINITY, -1e30F, 0.0F})
        for (const int filter : {0, 1, 2})
            EXPECT_TRUE(GeoImage::Resize(source, result, odd, odd, filter) && result.width == 4 &&
                        result.height == 4);
    EXPECT_EQ(CaptureStderr([&] { EXPECT_FALSE(GeoImage::Resize(source, result, 6, 7.5F, 7)); }),
              "GeoImage::Resize: Unknown filter 7\n");
    EXPECT_TRUE(result.height == 6 && result.width == 8);
    const GeoImage before = source;
    for (const float odd : {INFINITY, 3e38F, 4097.0F}) {
        EXPECT_FALSE(GeoImage::Resize(source, result, odd, 4096, 1));
        EXPECT_TRUE(result.samples == nullptr && result.width == 0);
        EXPECT_FALSE(GeoImage::Resize(source, source, odd, 4096, 1));
        EXPECT_TRUE(SameBits(source, before)) << "the caller keeps its mesh";
    }
    EXPECT_FALSE(GeoImage::Resize(GeoImage(), result, 9, 9, 1));
}

class SilhouetteTwin {
public:
    SilhouetteTwin(const GeoImage& mesh, const vec3& point, bool positive) : m_mesh(mesh) {
        for (int r = 0; r + 1 < mesh.height; ++r) {
            bool last = false;  // what is seen edge-on or is no triangle takes it over
            for (int c = 0; c + 1 < mesh.width; ++c) {
                const vec3 p = S(c, r), q = S(c + 1, r), b = S(c, r + 1), s = S(c + 1, r + 1);
                const vec3 toQ = (positive ? 1.0F : -1.0F) * (q - point);
                Classify({c, r, 1}, {p, q, b}, Dot(toQ, Cross(q - p, b - p)), last);
                Classify({c, r, 2}, {s, b, q}, Dot(toQ, Cross(b - s, q - s)), last);
            }
        }
        for (int r = 0; r + 1 < mesh.height; ++r)
            for (int c = 0; c + 1 < mesh.width; ++c)
                EmitQuad(c, r);
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
GeoImage SteppedMesh(std::mt19937& random, int rows, int columns, bool wrapColumns, bool wrapRows) {
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
        GeoImage mesh = SteppedMesh(random, rows, columns, i % 2 == 0, i / 2 % 2 == 0);
        for (int view = 0; view < 3; ++view) {
            const auto coordinate = [&] { return static_cast<float>(random() % 7) - 3; };
            const vec3 point{coordinate(), coordinate(), coordinate()};
            const bool positive = random() % 2 == 0;
            const bool caps = random() % 4 != 0;
            SilhouetteTwin twin(mesh, point, positive);
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
    GeoImage mesh = SteppedMesh(random, 5, 70, true, false);
    const SilhouetteTwin twin(mesh, {1, 2, 3}, true);
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
