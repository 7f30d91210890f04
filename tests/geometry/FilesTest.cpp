// Mesh and texture files byte by byte: what is written, read and refused, and from where.
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <csignal>

#include "geometry/Codec.h"
#include "geometry/GeoImage.h"
#include "geometry/Texture.h"
#include "geometry/StreamFiles.h"
#include "support/Capture.h"
#include "support/FilesFixture.h"

namespace {

std::string MeshFile(std::int64_t exponent, char flags, const std::string& stream) {
    return "sNMM" + Words({2, 0, exponent}) + flags + Gzip(stream);
}
std::string TextureFile(char flags, const std::string& stream) {
    return "sTX2" + Words({1}) + flags + Gzip(stream);
}

// Made by hand. Everything is cut off toward zero: positions are in units of 2^-29, the rest of
// 2^-16.
const std::string kMesh = "sNMM" + Words({2, -49152, 29}) + '\1' +
                          Gzip(StreamHeader(1, 2, 1, 8, 32) +
                               Words({268435456, -536870, -1610612736, 39321, -52428, 0, 65535,
                                      -65536, 0, 536870, -1, 0, 0, 65536, 0, 131072}));
const GeoImageSample kSamples[] = {{{0.5F, -0.001F, -3}, {0.6F, -0.8F, 1e-5F}, 0.99999F, -1.00001F},
                                   {{0, 0.001F, -3.5e-9F}, {0, 0, 1}, 0, 2}};
const std::string kPixels = "\x01\x80\xFE\xFFxy";
const std::string kTextureGrid = StreamHeader(1, 1, 2, 3, 8) + kPixels;
const std::string kTexture = TextureFile(1, kTextureGrid);
const std::string kPPM = "P6\n1 2\n255\n\xFFxy\x01\x80\xFE";

class Files : public FilesFixture {
protected:
    const std::string file = m_dir.File("f");
    GeoImage mesh{1, 2};
    Texture image;

    Files() { std::copy_n(kSamples, 2, mesh.samples); }
    bool Loads(auto& resource, const std::string& bytes) const {
        return resource.Load(m_dir.Write("f", bytes));
    }
};

TEST_F(Files, EveryByteOfAMesh) {
    mesh.error = -0.75001F;
    mesh.wrapColumns = true;
    ASSERT_TRUE(mesh.Save(file, CODEC_FLAT));
    EXPECT_TRUE(m_dir.Read("f") == kMesh);
    GeoImage loaded(2, 2);
    loaded.wrapRows = true;
    loaded.AddToken(3);
    ASSERT_TRUE(loaded.Load(file));
    ASSERT_TRUE(loaded.width == 2 && loaded.height == 1 && !loaded.HasToken(3));
    EXPECT_TRUE(loaded.error == -0.75F && loaded.wrapColumns && !loaded.wrapRows);
    const GeoImageSample& first = loaded.samples[0];
    EXPECT_EQ(first.position, vec3(0.5F, -536870 / 536870912.0F, -3));
    EXPECT_LT(Length(first.normal - vec3(0.6F, -0.8F, 0)), 1e-5F);
    EXPECT_TRUE(first.u == 65535 / 65536.0F && first.v == -1);
    EXPECT_EQ(loaded.samples[1].normal, vec3(0, 0, 1));
    EXPECT_EQ(loaded.boundsMax, vec3(0.5F, 536870 / 536870912.0F, -1 / 536870912.0F));

    // Every axis counts for the exponent, whatever its sign.
    mesh.wrapRows = true;
    const std::pair<float, int> cases[] = {
        {1, 30}, {-3, 29}, {0, 0}, {-2147483648.0F, -1}, {1e-30F, 130}, {-3.4e38F, -97}, {NAN, 0}};
    for (const auto& [largest, exponent] : cases) {
        for (float vec3::*const axis : {&vec3::x, &vec3::y, &vec3::z}) {
            std::fill_n(mesh.samples, 2, GeoImageSample{});
            mesh.samples[1].position.*axis = largest;
            ASSERT_TRUE(mesh.Save(file, CODEC_FLAT));
            EXPECT_EQ(m_dir.Read("f").substr(4, 13), Words({2, -49152, exponent}) + "\3");
            ASSERT_TRUE(loaded.Load(file));
            EXPECT_FLOAT_EQ(loaded.samples[1].position.*axis, std::isnan(largest) ? 0 : largest);
        }
    }
}

std::string Pixels(const Texture& image) {
    const int bytes = image.width * image.height * image.channels;
    return {reinterpret_cast<const char*>(image.pixels), static_cast<std::size_t>(bytes)};
}

TEST_F(Files, EveryByteOfATexture) {
    ASSERT_TRUE(Loads(image, kTexture));
    EXPECT_TRUE(image.width == 1 && image.channels == 3 && Pixels(image) == kPixels);
    ASSERT_TRUE(image.Save(m_dir.File("again"), CODEC_FLAT) && image.SavePPM(m_dir.File("p")));
    EXPECT_TRUE(m_dir.Read("again") == kTexture && m_dir.Read("p") == kPPM);
    // The older kind has neither version nor flags; of wide values the upper byte counts.
    const std::string wide = StreamHeader(1, 1, 2, 2, 16) + "a_b_" + "\xFF_d_";
    for (const char flags : {1, 2}) {
        for (const std::string& header :
             {"sTX2" + Words({1}) + flags, std::string("sTXT"), "sTX2" + Words({0})}) {
            image.uploads.insert(&image);
            ASSERT_TRUE(Loads(image, header + Gzip(wide)));
            EXPECT_TRUE(Pixels(image) == "ab\xFF" + std::string("d") && image.uploads.empty());
            EXPECT_TRUE(image.filter == (flags == 1) && image.WantsMipmaps() == (flags == 2));
        }
    }
    ASSERT_TRUE(image.Save(m_dir.File("again"), CODEC_FLAT) && image.SavePPM(m_dir.File("p")));
    EXPECT_EQ(m_dir.Read("again").substr(0, 9), "sTX2" + Words({1}) + "\2");
    EXPECT_EQ(m_dir.Read("p"), "P5\n1 2\n255\n\xFF" + std::string("a"));
    // Pixels are handed on with the flags, but nothing that was made of them.
    image.uploads.insert(&image);
    Texture taken(std::move(image));
    EXPECT_TRUE(taken.uploads.empty() && !taken.filter && taken.mipmap && Pixels(taken)[0] == 'a');
    EXPECT_EQ(image.pixels, nullptr);  // NOLINT: an emptied image is a valid one
    for (const auto& [columns, rows, channels] :
         {std::array{1 << 20, 1 << 20, 4}, {1, 1, 5}, {1, 1, 0}, {-1, 1, 1}, {1, -1, 1}})
        EXPECT_FALSE(taken.SetSize(columns, rows, channels));
    EXPECT_TRUE(Texture().SetSize(0, 0, 1)) << "no pixels are an image";
    EXPECT_EQ(Pixels(taken).size(), 4U);
    // Captures follow no link.
    std::filesystem::create_symlink("p", m_dir.File("link"));
    EXPECT_EQ(CaptureStderr([&] { EXPECT_FALSE(Texture().SavePPM(m_dir.File("link"))); }), "");
    ASSERT_TRUE(Texture().SavePPM(m_dir.File("p")));
    EXPECT_EQ(m_dir.Read("p"), "P6\n0 0\n255\n");
}

TEST_F(Files, OlderVersionsAndChannelsOfMeshes) {
    constexpr std::int64_t kOne = 65536;
    std::string body = StreamHeader(1, 2, 2, 5, 32);
    for (int i = 0; i < 4; ++i)
        body += Words({4 + 2 * (i % 2), 6 + i / 2 * 2, 8, i % 2 * kOne / 4, i / 2 * kOne / 2});
    mesh.wrapRows = mesh.wrapColumns = true;
    ASSERT_TRUE(Loads(mesh, "sNMM" + Words({1, 98304, 1}) + Gzip(body)));
    EXPECT_TRUE(mesh.wrapRows && mesh.wrapColumns) << "only version 2 carries the flags";
    EXPECT_EQ(mesh.error, 1.5F);
    const GeoImageSample& last = mesh.At(1, 1);
    EXPECT_TRUE(last.position == vec3(3, 4, 4) && last.normal == vec3(0, 0, -1));
    EXPECT_TRUE(last.u == 0.25F && last.v == 0.5F);
    EXPECT_TRUE(mesh.boundsMin == vec3(2, 3, 4) && mesh.boundsMax == vec3(3, 4, 4));
    // A negative version counts as 0: no error, no exponent, 16.16 positions.
    body = StreamHeader(1, 1, 1, 6, 32) + Words({kOne, 2 * kOne, 0, 0, 3 * kOne, 4 * kOne});
    ASSERT_TRUE(Loads(mesh, "sNMM" + Words({-5}) + Gzip(body)));
    EXPECT_TRUE(mesh.error == 0 && mesh.samples[0].position == vec3(1, 2, 0));
    EXPECT_LT(Length(mesh.samples[0].normal - vec3(0, 0.6F, 0.8F)), 1e-6F);
    EXPECT_TRUE(mesh.samples[0].u == 0 && mesh.samples[0].v == 0);
    body = StreamHeader(1, 1, 1, 3, 16) + std::string("\xFF\xFF\0\0\0\1", 6);
    ASSERT_TRUE(Loads(mesh, MeshFile(1, 0, body)));
    EXPECT_TRUE(mesh.samples[0].position == vec3(-0.5F, 0, 0.5F) && mesh.samples[0].u == 0);
    EXPECT_FALSE(mesh.wrapRows || mesh.wrapColumns);
    // An exponent beyond all floats makes positions 0, and 0 is 0 in any unit.
    for (const int exponent : {2000000000, -2000}) {
        body = StreamHeader(1, 1, 1, 8, 32) + std::string(12, exponent > 0) + std::string(20, '\1');
        ASSERT_TRUE(Loads(mesh, MeshFile(exponent, 0, body)));
        EXPECT_TRUE(mesh.radius == 0 && mesh.samples[0].u > 0);
    }
}

// What is refused leaves one line and the contents as they were.
TEST_F(Files, RefusedOnesLeaveEverythingAsItWas) {
    mesh.error = 2;
    ASSERT_TRUE(image.SetSize(3, 3, 2));
    const GeoImageSample* const samples = mesh.samples;
    const std::uint8_t* const pixels = image.pixels;
    // "*" in the message stands for the path.
    const auto refuses = [&](bool isMesh, const std::string& path, std::string message) {
        if (const auto at = message.find('*'); at != message.npos) message.replace(at, 1, path);
        mesh.AddToken(1);
        EXPECT_EQ(CaptureStderr([&] { EXPECT_FALSE(isMesh ? mesh.Load(path) : image.Load(path)); }),
                  message + "\n");
        EXPECT_EQ(Descriptors(), m_descriptors) << message;
        EXPECT_TRUE(mesh.samples == samples && mesh.error == 2 && mesh.HasToken(1) != isMesh);
        EXPECT_TRUE(image.pixels == pixels && image.width == 3 && image.filter && image.mipmap);
    };
    mkfifo(m_dir.File("pipe").c_str(), 0666);
    for (const char* name : {"none", "", "pipe", "../../dev/zero"}) {
        refuses(true, m_dir.File(name), "GeoImage::Load: could not open file *");
        refuses(false, m_dir.File(name), "Texture::Load: could not open file *");
    }
    const std::string one = StreamHeader(1, 1, 1, 8, 32) + std::string(32, '\1');
    const std::string none = "GeoImage::Load: file * not a PALLIX GeoImage";
    const std::string odd = "GeoImage::Load: file * indecipherable";
    const std::pair<std::string, std::string> cases[] = {
        {"", none},
        {"sNMX" + kMesh, none},
        {kMesh.substr(0, 8), "GeoImage::Load: read of * failed in header"},
        {kMesh.substr(0, 12), "GeoImage::Load: read of * failed in header"},
        {"sNMM" + Words({3}), "GeoImage::Load: file * version 3, I only know version 2 and lower"},
        {kMesh.substr(0, 13), kPrematureEnd + "Codec::Load: unknown codec 0"},
        {"sNMM", kPrematureEnd + "Codec::Load: unknown codec 0"},
        {MeshFile(20, 3, StreamHeader(1, 1, 1, 0, 8)),
         "Codec::Load: invalid image dimensions (1x1x0x8bpp)"},
        {MeshFile(20, 0, StreamHeader(1, 1, 1, 4, 8) + "1234"), odd},
        {MeshFile(20, 0, StreamHeader(1, 1, 1, 7, 8) + "1234567"), odd},
        {MeshFile(20, 0, StreamHeader(1, 4096, 4097, 3, 8)), kPrematureEnd + odd},
        {MeshFile(-2000000000, 0, one), odd},
        {MeshFile(INT32_MIN, 0, one), odd},
        {MeshFile(-104, 0, one), odd},
        {"sTX3abc", "Texture::Load: file not a Texture - sTX3?"},
        {"sT", "Texture::Load: file not a Texture - sT?"},
        {"sTX2" + Words({2}), "Texture::Load: file version 2, I only know version 1 and lower"},
        {"sTXT" + Gzip(StreamHeader(1, 1, 1, 5, 8) + "12345"),
         "Texture::Load: nonsensical channel count 5"},
        {"sTXT" + Gzip(Words({4})), "Codec::Load: unknown codec 4"}};
    for (const auto& [bytes, message] : cases)
        refuses(!bytes.starts_with("sT"), m_dir.Write("f", bytes), message);
    // What ends early is good: zeros follow.
    const std::string early = MeshFile(20, 0, one.substr(0, 21));
    EXPECT_EQ(CaptureStderr([&] { EXPECT_TRUE(Loads(mesh, early)); }), kPrematureEnd);
    EXPECT_TRUE(mesh.samples[0].position.x > 0 && mesh.samples[0].position.y == 0);
}

TEST_F(Files, SavesWhatCanBeLoadedAndLeavesNoHalves) {
    ASSERT_TRUE(Loads(image, kTexture));
    const auto said = [&](bool isMesh, const std::string& path, int codec) {
        return CaptureStderr(
            [&] { EXPECT_FALSE(isMesh ? mesh.Save(path, codec) : image.Save(path, codec)); });
    };
    for (const bool isMesh : {true, false}) {
        const std::string writer = isMesh ? "GeoImage::Save" : "Texture::Save";
        for (const std::string& path : {m_dir.Path(), std::string("/dev/full")})
            EXPECT_EQ(said(isMesh, path, 1), writer + ": could not open file " + path + "\n");
        EXPECT_EQ(said(isMesh, m_dir.Write("f", "old"), 9), "Codec::Save: unknown codec 9\n");
        EXPECT_FALSE(std::filesystem::exists(file));
    }
    // Far out on one axis a mesh has a finite radius, at a far corner it has none.
    m_dir.Write("f", std::string(100000, 'x'));
    for (const vec3& corner : {vec3(3e38F, 3e38F, 3e38F), vec3(2e38F, -2.8e38F, 0)}) {
        mesh.samples[0].position = corner;
        EXPECT_EQ(said(true, file, 1),
                  "GeoImage::Save: no file can hold the mesh for " + file + "\n");
    }
    EXPECT_NE(CaptureStderr([&] { EXPECT_FALSE(GeoImage().Save(file, CODEC_FLAT)); }), "");
    EXPECT_EQ(m_dir.Read("f").size(), 100000U) << "untouched";
    mesh.samples[0].position = {3.4e38F, 0, 0};
    ASSERT_TRUE(mesh.Save(file, CODEC_FLAT) && mesh.Load(file));
    EXPECT_LT(m_dir.Read("f").size(), 1000U);

    std::filesystem::create_symlink("target", m_dir.File("link"));
    ASSERT_TRUE(mesh.Save(m_dir.File("link"), CODEC_FLAT)) << "links are followed";
    EXPECT_TRUE(m_dir.Read("target") == m_dir.Read("f"));
}

TEST_F(Files, StandardStreamsWholePiecemealAndInterrupted) {
    const auto loads = [&](auto& resource, const std::string& path) {
        bool loaded = false;
        Redirected(0, open(path.c_str(), O_RDONLY), [&] { loaded = resource.Load("-"); });
        return loaded;
    };
    EXPECT_TRUE(loads(mesh, m_dir.Write("f", kMesh)) && mesh.error == -0.75F);
    EXPECT_TRUE(loads(image, m_dir.Write("f", kTexture)) && image.height == 2);
    EXPECT_EQ(CaptureStderr([&] {
                  EXPECT_FALSE(loads(mesh, m_dir.Write("f", "sNMX")));
                  EXPECT_FALSE(loads(image, m_dir.Write("f", "sTXT")));
                  EXPECT_FALSE(loads(image, "/"));
              }),
              "GeoImage::Load: file - not a PALLIX GeoImage\n" + kPrematureEnd +
                  "Codec::Load: unknown codec 0\nTexture::Load: Is a directory\n");
    EXPECT_EQ(CaptureStdout([&] {
                  std::printf("before");
                  EXPECT_TRUE(image.Save("-", CODEC_FLAT) && image.SavePPM("-"));
                  CaptureStderr([&] { EXPECT_FALSE(image.Save("-", 9)); });
                  std::printf("after");
              }),
              "before" + kTexture + kPPM + kTexture.substr(0, 9) + Gzip("") + "after");

    // Calls that wait are interrupted, once while loading: in the packed stream an interruption
    // would be the end, and only the header is late.
    m_dir.Write("f", kTexture);
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const auto piped = [](const std::string& command, bool saves, auto body) {
        FILE* pipe = popen(command.c_str(), saves ? "w" : "r");
        ualarm(3000, saves ? 3000 : 0);
        Redirected(saves ? 1 : 0, dup(fileno(pipe)), body);
        ualarm(0, 0);
        pclose(pipe);
    };
    piped("sleep 0.02; head -c 3 " + file + "; sleep 0.02; tail -c +4 " + file, false,
          [&] { EXPECT_TRUE(image.Load("-")); });
    ASSERT_TRUE(image.SetSize(300, 400, 3));
    for (int i = 0; i < 300 * 400 * 3; ++i)
        image.pixels[i] = static_cast<std::uint8_t>(i * 7 / 5);
    piped("sleep 0.03; cat >" + file, true, [&] { EXPECT_TRUE(image.SavePPM("-")); });
    EXPECT_TRUE(m_dir.Read("f") == "P6\n300 400\n255\n" + image.UprightBytes());
}

// A header may claim a large grid and nothing more come.
TEST_F(Files, MemoryGrowsWithTheDataThatArrives) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "its own records grow with every page that is read";
#endif
    const auto peakMebibytes = [] {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return static_cast<int>(usage.ru_maxrss / 1024);
    };
    for (const std::string& bytes :
         {MeshFile(0, 0, StreamHeader(1, 2048, 2048, 8, 32)),
          MeshFile(0, 0, StreamHeader(2, 2048, 2048, 3, 32) + Words({2048, 2048})),
          TextureFile(0, StreamHeader(1, 2048, 4096, 4, 16))}) {
        EXPECT_EXIT(
            {
                const int before = peakMebibytes();
                const bool loaded = bytes[1] == 'N' ? Loads(mesh, bytes) : Loads(image, bytes);
                EXPECT_LT(peakMebibytes() - before, 100);
                _exit(loaded && std::max(mesh.width, image.width) == 2048 && !HasFailure() ? 0 : 1);
            },
            testing::ExitedWithCode(0), kPrematureEnd);
    }
}

}  // namespace
