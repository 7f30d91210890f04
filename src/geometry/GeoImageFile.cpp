// Mesh files: conversion between the samples and the integers of the codec stream.
// Must not know how headers and streams are coded nor what uses the mesh.
#include "geometry/GeoImage.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numbers>
#include <utility>

#include "geometry/Codec.h"
#include "files/FileAccess.h"
#include "geometry/FileHeader.h"
#include "geometry/GridFile.h"
#include "spatial/Truncate.h"

namespace {

// Normals, texture coordinates and the error are 16.16 fixed point.
constexpr double kFixedOne = 65536;

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
bool TakeHeader(int fd, const char* path, GeoImage& mesh, MeshHeader& header) {
    header.wrapColumns = mesh.wrapColumns;
    header.wrapRows = mesh.wrapRows;
    switch (ReadHeader(fd, header)) {
        case HeaderFault::None:
            mesh.wrapColumns = header.wrapColumns;
            mesh.wrapRows = header.wrapRows;
            return true;
        case HeaderFault::Version:
            std::fprintf(stderr,
                         "GeoImage::Load: file %s version %d, I only know version %d and lower\n",
                         path, header.version, MeshHeader::kVersion);
            return false;
        case HeaderFault::Short:
            std::fprintf(stderr, "GeoImage::Load: read of %s failed in header\n", path);
            return false;
        default:
            std::fprintf(stderr, "GeoImage::Load: file %s not a PALLIX GeoImage\n", path);
            return false;
    }
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
    MeshHeader header;
    Codec grid;
    const bool read = TakeHeader(fd, path.c_str(), *this, header) && grid.Load(fd);
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
    MeshHeader header;
    header.error = Truncated(error * kFixedOne);
    header.exponent = PositionExponent(*this);
    header.wrapColumns = wrapColumns;
    header.wrapRows = wrapRows;
    Codec grid;
    FillGrid(*this, std::ldexp(1.0, header.exponent), grid);
    return WriteGridFile("GeoImage::Save", path, header, grid, codec);
}
