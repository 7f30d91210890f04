// Storage, derived geometry and resampling of meshes, against plain second versions.
#include "geometry/GeoImage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "support/Capture.h"

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
struct Twin {
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
        GeoImage result(Count(rows), Count(columns));
        for (int i = 0; i < result.width * result.height * 8; ++i) {
            reinterpret_cast<float*>(result.samples)[i] =
                Field(Place(i / 8 % result.width, source.width, columns),
                      Place(i / 8 / result.width, source.height, rows), i % 8);
        }
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
        const bool isSame =
            columns == Twin::Count(wantedColumns) && rows == Twin::Count(wantedRows);
        GeoImage result;
        result.wrapRows = !source.wrapRows;
        result.AddToken(1);
        EXPECT_TRUE(GeoImage::Resize(source, result, wantedRows, wantedColumns, i % 3));
        GeoImage taken(std::move(result));
        EXPECT_TRUE(result.width == 0 && result.height == 0 && result.samples == nullptr);
        GeoImage inPlace = source;
        EXPECT_TRUE(GeoImage::Resize(inPlace, inPlace, wantedRows, wantedColumns, i % 3));
        result = taken;
        const Twin twin{source, wantedRows, wantedColumns, i % 3};
        const GeoImage expected = isSame ? source : twin.Resized();
        for (const GeoImage* mesh : {&result, &inPlace}) {
            EXPECT_TRUE(SameBits(*mesh, expected))
                << rows << " x " << columns << " to " << wantedRows << " x " << wantedColumns;
            EXPECT_TRUE(mesh->wrapRows == source.wrapRows && !mesh->HasToken(1));
            EXPECT_EQ(mesh->wrapColumns, source.wrapColumns);
            EXPECT_EQ(mesh->error, expected.error);
            EXPECT_TRUE(!isSame || (mesh->radius == 3 && mesh->boundsMin == source.boundsMin &&
                                    mesh->boundsMax == source.boundsMax));
        }
    }
}

TEST(Resize, HoldsSizesAndRefusesWhatNoMeshCanBe) {
    std::mt19937 random(4);
    GeoImage source = RandomMesh(random, 9, 9, false);
    GeoImage result;
    EXPECT_TRUE(GeoImage::Resize(source, result, 8.5F, 9, 7) && SameBits(result, source));
    for (const float odd : {NAN, -INFINITY, -1e30F, 0.0F}) {
        for (const int filter : {0, 1, 2}) {
            EXPECT_TRUE(GeoImage::Resize(source, result, odd, odd, filter) && result.width == 4 &&
                        result.height == 4);
        }
    }
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

}  // namespace
