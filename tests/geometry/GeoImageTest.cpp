// Mesh storage, derived geometry and mesh files.
#include "geometry/GeoImage.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>

#include "geometry/Codec.h"
#include "geometry/StreamFiles.h"
#include "support/Capture.h"
#include "support/TempFile.h"

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

std::string MeshFile(std::int64_t exponent, const std::string& stream) {
    return "sNMM" + Words({2, 0, exponent}) + OneByte(0) + Gzip(stream);
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

    GeoImage tiny = BentGrid(3, 3);  // squares of its face normals are below the range of float
    for (int i = 0; i < 9; ++i)
        tiny.samples[i].position *= 1e-13F;
    tiny.Finish(true);
    EXPECT_LT(Length(tiny.At(0, 0).normal - BentGrid(3, 3).At(0, 0).normal), 1e-5F);
    GeoImage point(3, 1);  // a collapsed row has no direction
    std::fill_n(point.samples, 3, GeoImageSample{});
    point.Finish(true);
    EXPECT_EQ(point.At(1, 0).normal, vec3());
}

TEST(GeoImage, CopiesAllButDerivedData) {
    GeoImage mesh = BentGrid(3, 4);
    mesh.error = 0.5F;
    mesh.wrapRows = true;
    for (const std::uint32_t token : {9U, 7U, 8U, 7U})
        mesh.AddToken(token);
    EXPECT_TRUE(mesh.HasToken(7) && mesh.HasToken(8) && mesh.HasToken(9));
    GeoImage copy(mesh);
    GeoImage assigned = BentGrid(9, 9);
    assigned.AddToken(8);
    assigned = mesh;
    for (const GeoImage* other : {&copy, &assigned}) {
        EXPECT_TRUE(other->width == 4 && other->height == 3);
        EXPECT_EQ(other->At(2, 3).position, mesh.At(2, 3).position);
        EXPECT_EQ(other->radius, mesh.radius);
        EXPECT_EQ(other->boundsMax, mesh.boundsMax);
        EXPECT_TRUE(other->error == 0.5F && other->wrapRows);
        EXPECT_FALSE(other->HasToken(7) || other->HasToken(8));
    }
    EXPECT_FALSE(mesh.SetSize(1 << 20, 1 << 20));
    EXPECT_EQ(mesh.samples, nullptr);
    EXPECT_TRUE(copy.SetSize(0, 5));
    EXPECT_EQ(copy.samples, nullptr);
}

TEST(GeoImage, SurvivesTheFile) {
    const TempDir dir;
    GeoImage mesh = BentGrid(9, 6);
    mesh.error = 0.25F;
    mesh.wrapColumns = true;
    for (const int codec : {CODEC_FLAT, CODEC_PYRAMID}) {
        ASSERT_TRUE(mesh.Save(dir.File("m"), codec));
        GeoImage loaded = BentGrid(2, 2);
        loaded.wrapRows = true;
        loaded.AddToken(3);
        ASSERT_TRUE(loaded.Load(dir.File("m")));
        ASSERT_TRUE(loaded.width == 6 && loaded.height == 9);
        EXPECT_TRUE(loaded.error == 0.25F && loaded.wrapColumns && !loaded.wrapRows);
        EXPECT_FALSE(loaded.HasToken(3));
        for (int i = 0; i < 54; ++i) {
            const GeoImageSample& sample = loaded.samples[i];
            EXPECT_LT(Length(sample.position - mesh.samples[i].position), 1e-6F);
            EXPECT_LT(Length(sample.normal - mesh.samples[i].normal), 1e-4F);
            EXPECT_TRUE(sample.u == mesh.samples[i].u && sample.v == mesh.samples[i].v);
        }
        EXPECT_NEAR(loaded.radius, mesh.radius, 1e-5);
    }
}

TEST(GeoImage, WritesTheLargestExponentThatFits) {
    const TempDir dir;
    for (const auto& [largest, exponent] : {std::pair{1.0F, 30},
                                            {3, 29},
                                            {0, 0},
                                            {-2147483648.0F, -1},
                                            {1e-30F, 130},
                                            {1e30F, -69},
                                            {NAN, 0}}) {
        GeoImage mesh(1, 1);
        mesh.samples[0] = {};
        mesh.samples[0].position.y = largest;
        ASSERT_TRUE(mesh.Save(dir.File("m"), CODEC_FLAT));
        EXPECT_EQ(dir.Read("m").substr(0, 17), "sNMM" + Words({2, 0, exponent}) + OneByte(0));
        GeoImage loaded;
        ASSERT_TRUE(loaded.Load(dir.File("m")));
        EXPECT_FLOAT_EQ(loaded.samples[0].position.y, std::isnan(largest) ? 0 : largest);
    }
}

TEST(GeoImage, ReadsOlderVersionsAndChannelLayouts) {
    const TempDir dir;
    constexpr std::int64_t kOne = 65536;
    // Version 1, five channels, 2 x 2, positions in halves.
    std::string body = StreamHeader(1, 2, 2, 5, 32);
    for (int r = 0; r < 2; ++r) {
        for (int c = 0; c < 2; ++c)
            body += Words({2 * c, 2 * r, 0, c * kOne / 4, r * kOne / 2});
    }
    dir.Write("five", "sNMM" + Words({1, 3 * kOne / 2, 1}) + Gzip(body));
    GeoImage mesh;
    mesh.wrapRows = true;
    ASSERT_TRUE(mesh.Load(dir.File("five")));
    EXPECT_TRUE(mesh.wrapRows) << "only version 2 carries the flags";
    EXPECT_EQ(mesh.error, 1.5F);
    const GeoImageSample& last = mesh.At(1, 1);
    EXPECT_TRUE(last.position == vec3(1, 1, 0) && last.normal == vec3(0, 0, -1));
    EXPECT_TRUE(last.u == 0.25F && last.v == 0.5F);

    // A negative version counts as 0: no error, no exponent, 16.16 positions. Six channels.
    body = StreamHeader(1, 1, 1, 6, 32) + Words({kOne, 2 * kOne, 0, 0, 3 * kOne, 4 * kOne});
    dir.Write("six", "sNMM" + Word(-5) + Gzip(body));
    ASSERT_TRUE(mesh.Load(dir.File("six")));
    EXPECT_EQ(mesh.error, 0);
    EXPECT_EQ(mesh.samples[0].position, vec3(1, 2, 0));
    EXPECT_LT(Length(mesh.samples[0].normal - vec3(0, 0.6F, 0.8F)), 1e-6F);
    EXPECT_EQ(mesh.samples[0].u, 0);

    body = StreamHeader(1, 1, 1, 3, 16) + std::string("\xFF\xFE\0\0\0\1", 6);
    dir.Write("three", MeshFile(1, body));
    ASSERT_TRUE(mesh.Load(dir.File("three")));
    EXPECT_EQ(mesh.samples[0].position, vec3(-1, 0, 0.5F));
}

TEST(GeoImage, KeepsItsContentsWhenAFileIsRefused) {
    const TempDir dir;
    GeoImage mesh = BentGrid(3, 3);
    mesh.error = 2;
    const GeoImageSample* const samples = mesh.samples;
    // "*" in the message stands for the path.
    const auto refuses = [&](const std::string& path, std::string message) {
        if (const auto at = message.find('*'); at != message.npos) message.replace(at, 1, path);
        mesh.AddToken(1);
        EXPECT_EQ(CaptureStderr([&] { EXPECT_FALSE(mesh.Load(path)); }), message + "\n");
        EXPECT_TRUE(mesh.samples == samples && mesh.error == 2 && !mesh.HasToken(1)) << message;
    };
    mkfifo(dir.File("pipe").c_str(), 0666);
    for (const std::string& path :
         {dir.File("none"), dir.Path(), dir.File("pipe"), std::string("/dev/zero")}) {
        refuses(path, "GeoImage::Load: could not open file *");
    }
    const std::string one = StreamHeader(1, 1, 1, 8, 32) + std::string(32, '\1');
    const std::string good = MeshFile(20, one);
    for (const std::string& bytes : {std::string(), "sNMX" + good})
        refuses(dir.Write("f", bytes), "GeoImage::Load: file * not a PALLIX GeoImage");
    refuses(dir.Write("f", "sNMM"), "Codec::ReadInt: premature EOF\nCodec::Load: unknown codec 0");
    for (const std::size_t length : {8U, 12U})
        refuses(dir.Write("f", good.substr(0, length)),
                "GeoImage::Load: read of * failed in header");
    refuses(dir.Write("f", "sNMM" + Word(3) + good),
            "GeoImage::Load: file * version 3, I only know version 2 and lower");
    for (const std::string& bytes :
         {MeshFile(20, StreamHeader(1, 1, 1, 4, 8) + "1234"), MeshFile(-2000000000, one),
          MeshFile(INT32_MIN, one), MeshFile(-104, one)}) {
        refuses(dir.Write("f", bytes), "GeoImage::Load: file * indecipherable");
    }
    refuses(dir.Write("f", MeshFile(20, StreamHeader(1, 1, 1, 0, 8))),
            "Codec::Load: invalid image dimensions (1x1x0x8bpp)");

    // An exponent beyond all floats makes positions 0, never infinite.
    ASSERT_TRUE(mesh.Load(dir.Write("f", MeshFile(2000000000, one))));
    EXPECT_EQ(mesh.radius, 0);
    ASSERT_TRUE(mesh.Load(dir.Write("f", MeshFile(-100, one))));
    EXPECT_TRUE(std::isfinite(mesh.radius));
    dir.Write("f", good.substr(0, 17) + Gzip(one.substr(0, 21)));
    EXPECT_EQ(CaptureStderr([&] { EXPECT_TRUE(mesh.Load(dir.File("f"))); }),
              "Codec::ReadInt: premature EOF\n");
    EXPECT_EQ(mesh.samples[0].position.y, 0);
}

TEST(GeoImage, SaveReportsAndRemovesWhatItCannotWrite) {
    const TempDir dir;
    const GeoImage mesh = BentGrid(3, 3);
    mkfifo(dir.File("pipe").c_str(), 0666);
    for (const std::string& path : {dir.Path(), dir.File("pipe")}) {
        EXPECT_EQ(CaptureStderr([&] { EXPECT_FALSE(mesh.Save(path, CODEC_FLAT)); }),
                  "GeoImage::Save: could not open file " + path + "\n");
    }
    EXPECT_EQ(CaptureStderr([&] { EXPECT_FALSE(mesh.Save(dir.File("m"), 9)); }),
              "Codec::Save: unknown codec 9\n");
    EXPECT_NE(access(dir.File("m").c_str(), F_OK), 0);
    dir.Write("m", std::string(100000, 'x'));
    ASSERT_TRUE(mesh.Save(dir.File("m"), CODEC_FLAT));
    EXPECT_LT(dir.Read("m").size(), 1000U);
}

}  // namespace
