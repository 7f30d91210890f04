// Mesh files: a header in plain big-endian words, then a codec stream of the grid.
// Must not know how streams are coded nor what uses the mesh.
#include "geometry/GeoImage.h"

#include <unistd.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <numbers>
#include <utility>

#include "geometry/BigEndian.h"
#include "geometry/Codec.h"
#include "files/FileAccess.h"
#include "spatial/Truncate.h"

namespace {

constexpr char kMagic[] = {'s', 'N', 'M', 'M'};
constexpr std::int32_t kVersion = 2;
// Normals, texture coordinates and the error are 16.16 fixed point.
constexpr double kFixedOne = 65536;
constexpr std::int32_t kFixedExponent = 16;
constexpr std::uint8_t kWrapColumnsBit = 1;
constexpr std::uint8_t kWrapRowsBit = 2;

struct Header {
    std::int32_t error = 0;                  // version 0 carries none
    std::int32_t exponent = kFixedExponent;  // of version 0: as all other channels
};

// Which stream channels hold normal and texture coordinate; -1: not in the stream.
struct Layout {
    int normal = -1;
    int texture = -1;
};

bool FindLayout(std::int32_t channels, Layout& layout) {
    switch (channels) {
        case 3:
            layout = {-1, -1};
            return true;
        case 5:
            layout = {-1, 3};
            return true;
        case 6:
            layout = {3, -1};
            return true;
        case 8:
            layout = {3, 6};
            return true;
        default:
            return false;
    }
}

// Also true for an exponent that no float can follow: such positions would be infinite.
bool PositionsOverflow(const Codec& grid, double scale) {
    std::uint32_t largest = 0;
    for (int c = 0; c < 3; ++c) {
        for (const std::int32_t value : grid.data[static_cast<std::size_t>(c)]) {
            const auto bits = static_cast<std::uint32_t>(value);
            largest = std::max(largest, value < 0 ? 0U - bits : bits);
        }
    }
    return !(largest * scale * std::numbers::sqrt3 <= double{FLT_MAX});
}

// One pass over the samples; the channels are read side by side. A null channel reads as zeros.
struct ChannelPointers {
    const std::int32_t* position[3];
    const std::int32_t* normal[3];
    const std::int32_t* texture[2];
};

template <bool kNormals, bool kTexture>
void Convert(const ChannelPointers& in, double scale, GeoImageSample* samples, std::size_t count) {
    constexpr float unit = 1 / static_cast<float>(kFixedOne);
    for (std::size_t i = 0; i < count; ++i) {
        GeoImageSample& sample = samples[i];
        sample.position = {static_cast<float>(in.position[0][i] * scale),
                           static_cast<float>(in.position[1][i] * scale),
                           static_cast<float>(in.position[2][i] * scale)};
        if constexpr (kNormals) {
            sample.normal = {static_cast<float>(in.normal[0][i]) * unit,
                             static_cast<float>(in.normal[1][i]) * unit,
                             static_cast<float>(in.normal[2][i]) * unit};
        } else {
            sample.normal = {};
        }
        sample.u = kTexture ? static_cast<float>(in.texture[0][i]) * unit : 0;
        sample.v = kTexture ? static_cast<float>(in.texture[1][i]) * unit : 0;
    }
}

void ConvertGrid(const Codec& grid, const Layout& layout, double scale, GeoImageSample* samples) {
    const auto channel = [&](int first, int k) {
        return first < 0 ? nullptr : grid.data[static_cast<std::size_t>(first + k)].data();
    };
    ChannelPointers in{};
    for (int k = 0; k < 3; ++k)
        in.position[k] = channel(0, k);
    for (int k = 0; k < 3; ++k)
        in.normal[k] = channel(layout.normal, k);
    for (int k = 0; k < 2; ++k)
        in.texture[k] = channel(layout.texture, k);
    const std::size_t count = grid.data[0].size();
    if (layout.normal >= 0 && layout.texture >= 0) {
        Convert<true, true>(in, scale, samples, count);
    } else if (layout.normal >= 0) {
        Convert<true, false>(in, scale, samples, count);
    } else if (layout.texture >= 0) {
        Convert<false, true>(in, scale, samples, count);
    } else {
        Convert<false, false>(in, scale, samples, count);
    }
}

// Everything before the stream. Wrap flags are taken over at once, all else only on success.
bool ReadHeader(int fd, const char* path, GeoImage& mesh, Header& header) {
    std::uint8_t bytes[4];
    if (ReadBytes(fd, bytes, 4) != 4 || std::memcmp(bytes, kMagic, 4) != 0) {
        std::fprintf(stderr, "GeoImage::Load: file %s not a PALLIX GeoImage\n", path);
        return false;
    }
    ReadBytes(fd, bytes, 4);
    const std::int32_t version = ReadBigEndian32(bytes);
    if (version > kVersion) {
        std::fprintf(stderr,
                     "GeoImage::Load: file %s version %d, I only know version %d and lower\n", path,
                     version, kVersion);
        return false;
    }
    if (version >= 1) {
        std::uint8_t exponent[4];
        if (ReadBytes(fd, bytes, 4) <= 0 || ReadBytes(fd, exponent, 4) <= 0) {
            std::fprintf(stderr, "GeoImage::Load: read of %s failed in header\n", path);
            return false;
        }
        header.error = ReadBigEndian32(bytes);
        header.exponent = ReadBigEndian32(exponent);
    }
    if (version == 2) {
        ReadBytes(fd, bytes, 1);
        mesh.wrapColumns = (bytes[0] & kWrapColumnsBit) != 0;
        mesh.wrapRows = (bytes[0] & kWrapRowsBit) != 0;
    }
    return true;
}

// Largest E for which the coordinate m x 2^E stays within int32; 0 for a mesh in one point.
std::int32_t PositionExponent(const GeoImage& mesh) {
    float largest = 0;
    const std::int64_t count = std::int64_t{mesh.width} * mesh.height;
    for (std::int64_t i = 0; i < count; ++i) {
        const vec3& p = mesh.samples[i].position;
        largest = std::max({largest, std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)});
    }
    if (!(largest > 0) || !std::isfinite(largest)) return 0;
    constexpr double limit = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(
        std::floor(std::log(limit / double{largest}) / std::numbers::ln2));
}

void FillGrid(const GeoImage& mesh, double scale, Codec& grid) {
    grid.Init(mesh.width, mesh.height, 8, 32);
    for (std::size_t i = 0; i < grid.data[0].size(); ++i) {
        const GeoImageSample& s = mesh.samples[i];
        const double values[8] = {s.position.x * scale,   s.position.y * scale,
                                  s.position.z * scale,   s.normal.x * kFixedOne,
                                  s.normal.y * kFixedOne, s.normal.z * kFixedOne,
                                  s.u * kFixedOne,        s.v * kFixedOne};
        for (std::size_t c = 0; c < 8; ++c)
            grid.data[c][i] = Truncated(values[c]);
    }
}

}  // namespace

bool GeoImage::Load(const std::string& path) {
    ClearTokens();
    const int fd = OpenForReading(path);
    if (fd < 0) {
        std::fprintf(stderr, "GeoImage::Load: could not open file %s\n", path.c_str());
        return false;
    }
    Header header;
    Codec grid;
    const bool read = ReadHeader(fd, path.c_str(), *this, header) && grid.Load(fd);
    CloseFile(fd);
    if (!read) return false;

    Layout layout;
    GeoImage fresh;
    const double scale = std::ldexp(1.0, -std::max(header.exponent, -INT32_MAX));
    if (!FindLayout(grid.channels, layout) || PositionsOverflow(grid, scale) ||
        !fresh.SetSize(grid.height, grid.width)) {
        std::fprintf(stderr, "GeoImage::Load: file %s indecipherable\n", path.c_str());
        return false;
    }
    ConvertGrid(grid, layout, scale, fresh.samples);
    width = fresh.width;
    height = fresh.height;
    std::swap(samples, fresh.samples);
    error = static_cast<float>(header.error / kFixedOne);
    Finish(layout.normal < 0);
    return true;
}

bool GeoImage::Save(const std::string& path, int codec) const {
    const int fd = OpenForWriting(path, Links::Follow);
    if (fd < 0) {
        std::fprintf(stderr, "GeoImage::Save: could not open file %s\n", path.c_str());
        return false;
    }
    const std::int32_t exponent = PositionExponent(*this);
    std::uint8_t header[17];
    std::memcpy(header, kMagic, 4);
    WriteBigEndian32(header + 4, kVersion);
    WriteBigEndian32(header + 8, Truncated(error * kFixedOne));
    WriteBigEndian32(header + 12, exponent);
    header[16] = static_cast<std::uint8_t>((wrapColumns ? kWrapColumnsBit : 0) |
                                           (wrapRows ? kWrapRowsBit : 0));
    WriteBytes(fd, header, sizeof header);
    Codec grid;
    FillGrid(*this, std::ldexp(1.0, exponent), grid);
    const bool saved = grid.Save(fd, codec);
    CloseFile(fd);
    if (!saved && path != "-" && unlink(path.c_str()) != 0) std::perror("GeoImage::Save");
    return saved;
}
