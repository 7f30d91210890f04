// Mesh storage, derived geometry and mesh files.
#include "geometry/GeoImage.h"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>

namespace {

// x grows with the column, y with the row, z is bent a little.
GeoImage BentGrid(int rows, int columns) {
    GeoImage mesh(rows, columns);
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < columns; ++c) {
            GeoImageSample& s = mesh.At(r, c);
            s.position = {static_cast<float>(c), static_cast<float>(r),
                          0.1F * static_cast<float>(r * c)};
            s.u = static_cast<float>(c) / 8;
            s.v = static_cast<float>(r) / 8;
        }
    }
    mesh.Finish(true);
    return mesh;
}

TEST(GeoImage, FinishDerivesNormalsBoundsAndRadius) {
    GeoImage quad = BentGrid(2, 2);
    EXPECT_EQ(quad.ByteSize(), 32 * 4 + 72);
    EXPECT_LT(Length(quad.At(0, 1).normal - Normalise(vec3{0.1F, 0.1F, -2})), 1e-6F);
    EXPECT_LT(Length(quad.At(1, 1).normal - Normalise(vec3{0.1F, 0.1F, -1})), 1e-6F);
    quad.At(1, 1).position.z = 0;
    quad.AddToken(GeoImage::kHighestDetailToken);
    quad.Finish(true);
    EXPECT_FALSE(quad.HasToken(GeoImage::kHighestDetailToken));
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(quad.samples[i].normal, vec3(0, 0, -1));
    EXPECT_EQ(quad.boundsMin, vec3(0, 0, 0));
    EXPECT_EQ(quad.boundsMax, vec3(1, 1, 0));
    EXPECT_FLOAT_EQ(quad.radius, std::sqrt(2.0F));
    EXPECT_EQ(quad.ProjectedError(0, 0, 0), 1);
    quad.error = 2;
    EXPECT_FLOAT_EQ(quad.ProjectedError(4, 960, 90), 1);

    // Products of such edges are beyond the range of float.
    for (const float unit : {1e-38F, 1e-23F, 1e-13F, 1e19F, 1e37F}) {
        GeoImage scaled = BentGrid(3, 3);
        for (int i = 0; i < 9; ++i)
            scaled.samples[i].position *= unit;
        scaled.Finish(true);
        for (int i = 0; i < 9; ++i) {
            EXPECT_LT(Length(scaled.samples[i].normal - BentGrid(3, 3).samples[i].normal), 1e-5F)
                << unit;
        }
    }
    GeoImage point(3, 1);  // a collapsed row has no direction
    std::fill_n(point.samples, 3, GeoImageSample{});
    point.Finish(true);
    EXPECT_EQ(point.At(1, 0).normal, vec3());
}

TEST(GeoImage, CopiesAndMovesAllButDerivedData) {
    GeoImage mesh = BentGrid(3, 4);
    mesh.error = 0.5F;
    for (const std::uint32_t token : {9U, 7U, 8U, 7U})
        mesh.AddToken(token);
    EXPECT_TRUE(mesh.HasToken(7) && mesh.HasToken(8) && mesh.HasToken(9));
    for (const bool columns : {true, false}) {
        mesh.wrapColumns = columns;
        mesh.wrapRows = !columns;
        GeoImage copy(mesh);
        GeoImage assigned = BentGrid(9, 9);
        assigned.AddToken(8);
        assigned = mesh;
        GeoImage source(mesh);
        source.AddToken(8);
        const GeoImage moved(std::move(source));
        for (const GeoImage* other :
             std::initializer_list<const GeoImage*>{&copy, &assigned, &moved}) {
            EXPECT_TRUE(other->width == 4 && other->height == 3);
            EXPECT_EQ(other->At(2, 3).position, mesh.At(2, 3).position);
            EXPECT_EQ(other->radius, mesh.radius);
            EXPECT_TRUE(other->boundsMin == mesh.boundsMin && other->boundsMax == mesh.boundsMax);
            EXPECT_TRUE(other->error == 0.5F && !other->HasToken(7) && !other->HasToken(8));
            EXPECT_TRUE(other->wrapColumns == columns && other->wrapRows != columns);
        }
    }
    EXPECT_FALSE(mesh.SetSize(1 << 20, 1 << 20) || mesh.SetSize(4097, 4096) || mesh.SetSize(-1, 1));
    EXPECT_TRUE(mesh.samples == nullptr && mesh.width == 0 && mesh.height == 0);
    EXPECT_TRUE(mesh.SetSize(0, 5) && mesh.samples == nullptr);
}

}  // namespace
