// Resampling, bit for bit against a twin that follows the formula one field at a time.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "geometry/GeoImage.h"
#include "support/Capture.h"

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Twin {
    const GeoImage& source;
    float rows;
    float columns;
    int filter;

    struct At {
        int index;
        float fraction;
    };
    static float Least(float wanted) { return std::max(wanted, 4.0F); }
    static At Place(int output, int sourceCount, float wanted) {
        if (output == 0) return {0, 0};
        if (output == static_cast<int>(std::ceil(wanted)) - 1) return {sourceCount - 1, 0};
        const float quotient = static_cast<float>((sourceCount - 1) * 4096) / (wanted - 1);
        int position = 0;
        for (int i = 0; i < output; ++i)
            position += static_cast<int>(quotient);
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
    float Field(int column, int row, int field) const {
        const At x = Place(column, source.width, Least(columns));
        const At y = Place(row, source.height, Least(rows));
        if (filter == 0) return S(x.index, y.index, field);
        const float bilinear = Bilinear(x, y, field);
        if (filter == 1) return bilinear;
        const auto area = static_cast<float>(source.width * source.height);
        const float k = std::clamp(std::sqrt(area / rows / columns) - 1, 0.0F, 1.0F);
        return bilinear * (1 - k) + Box(x.index, y.index, field) * k;
    }
};

GeoImage RandomMesh(std::mt19937& random, int rows, int columns, bool odd) {
    GeoImage mesh(rows, columns);
    auto* fields = reinterpret_cast<float*>(mesh.samples);
    std::uniform_real_distribution<float> value(-1, 1);
    for (int i = 0; i < 8 * rows * columns; ++i) {
        const auto kind = odd ? random() % 16 : 0;
        fields[i] = kind == 1 ? -0.0F : kind == 2 ? kInfinity : value(random);
    }
    return mesh;
}

testing::AssertionResult SameBits(const GeoImage& a, const GeoImage& b) {
    if (a.width != b.width || a.height != b.height) return testing::AssertionFailure() << "size";
    const std::size_t bytes = sizeof(GeoImageSample) * static_cast<std::size_t>(a.width * a.height);
    if (std::memcmp(a.samples, b.samples, bytes) == 0) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "samples";
}

void ExpectLikeTwin(const Twin& twin) {
    GeoImage result;
    ASSERT_TRUE(GeoImage::Resize(twin.source, result, twin.rows, twin.columns, twin.filter));
    ASSERT_EQ(result.height, static_cast<int>(std::ceil(Twin::Least(twin.rows))));
    ASSERT_EQ(result.width, static_cast<int>(std::ceil(Twin::Least(twin.columns))));
    GeoImage wanted(result.height, result.width);
    for (int r = 0; r < wanted.height; ++r) {
        for (int c = 0; c < wanted.width; ++c) {
            auto* fields = reinterpret_cast<float*>(&wanted.At(r, c));
            for (int f = 0; f < 8; ++f)
                fields[f] = twin.Field(c, r, f);
        }
    }
    EXPECT_TRUE(SameBits(result, wanted))
        << twin.source.height << " x " << twin.source.width << " to " << twin.rows << " x "
        << twin.columns << ", filter " << twin.filter;
}

}  // namespace

TEST(Resize, AgreesWithTheTwinToTheLastBit) {
    std::mt19937 random(3);
    std::uniform_real_distribution<float> scale(0.1F, 2.5F);
    for (int i = 0; i < 400 && !testing::Test::HasFailure(); ++i) {
        const int rows = 1 + static_cast<int>(random() % 40);
        const int columns = 1 + static_cast<int>(random() % 150);
        float wantedRows = scale(random) * static_cast<float>(rows);
        float wantedColumns = scale(random) * static_cast<float>(columns);
        if (i % 3 == 0) wantedRows = std::round(wantedRows + 1);
        if (i % 5 == 0) wantedColumns = wantedRows * 2 - 1;
        // Infinite fields: a sample that has no weight leaves no trace of itself.
        const GeoImage source = RandomMesh(random, rows, columns, i % 3 == 1);
        if (source.width == std::ceil(Twin::Least(wantedColumns)) &&
            source.height == std::ceil(Twin::Least(wantedRows))) {
            continue;
        }
        ExpectLikeTwin({source, wantedRows, wantedColumns, i % 3});
    }
    // The step is rounded in float before it is cut off: just above a whole size, and far above.
    const GeoImage source = RandomMesh(random, 33, 200, true);
    for (const float rows : {std::nextafter(9.0F, 10.0F), 9.2F, 65.0F, 0.5F, 1000.7F})
        ExpectLikeTwin({source, rows, 17, 1});
}

TEST(Resize, CopiesAMeshOfTheWantedSizeAndResizesInPlace) {
    std::mt19937 random(4);
    GeoImage source = RandomMesh(random, 9, 9, false);
    source.error = 3;
    source.wrapColumns = true;
    for (const int filter : {0, 1, 2, 7}) {
        GeoImage copy(2, 2);
        EXPECT_TRUE(GeoImage::Resize(source, copy, 8.5F, 9, filter));
        EXPECT_TRUE(SameBits(copy, source));
        EXPECT_EQ(copy.error, 3);
    }
    GeoImage apart;
    apart.wrapRows = true;
    EXPECT_TRUE(GeoImage::Resize(source, apart, 5.5F, 12, 2));
    EXPECT_TRUE(apart.wrapColumns && !apart.wrapRows);
    EXPECT_TRUE(GeoImage::Resize(source, source, 5.5F, 12, 2));
    EXPECT_TRUE(SameBits(source, apart));
    EXPECT_TRUE(source.error == 0 && source.wrapColumns) << "what it was resized through";
}

TEST(Resize, RefusesWhatNoMeshCanBe) {
    std::mt19937 random(5);
    GeoImage source = RandomMesh(random, 5, 5, false);
    GeoImage result(3, 3);
    EXPECT_EQ(CaptureStderr([&] { EXPECT_FALSE(GeoImage::Resize(source, result, 6, 7.5F, 7)); }),
              "GeoImage::Resize: Unknown filter 7\n");
    EXPECT_TRUE(result.height == 6 && result.width == 8);

    const float nan = std::nanf("");
    for (const float odd : {nan, -kInfinity, -1e30F, 0.0F}) {
        for (const int filter : {0, 1, 2}) {
            EXPECT_TRUE(GeoImage::Resize(source, result, odd, odd, filter));
            EXPECT_EQ(result.width * result.height, 16);
        }
    }
    for (const float odd : {kInfinity, 3e38F, 4097.0F}) {
        result.SetSize(2, 2);
        EXPECT_FALSE(GeoImage::Resize(source, result, odd, 4096, 1));
        EXPECT_TRUE(result.samples == nullptr && result.width == 0);
    }
    const GeoImage before = source;
    EXPECT_FALSE(GeoImage::Resize(source, source, kInfinity, nan, 1));
    EXPECT_TRUE(SameBits(source, before)) << "the caller keeps its mesh";
    EXPECT_FALSE(GeoImage::Resize(GeoImage(), result, 9, 9, 1));
}
