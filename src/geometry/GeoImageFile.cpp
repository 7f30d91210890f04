// Mesh files: conversion between the samples and the integers of the codec stream.
// Must not know how headers and streams are coded nor what uses the mesh.
#include "geometry/GeoImage.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <numbers>
#include <optional>

#include "geometry/Codec.h"
#include "files/FileAccess.h"
#include "geometry/FileHeader.h"
#include "geometry/GridFile.h"
#include "geometry/WithinMemory.h"
#include "spatial/Truncate.h"

namespace {

// Normals, texture coordinates and the error are 16.16 fixed point.
constexpr double kFixedOne = 65536;

// A field of the sample in the stream: its channel, and which of the bits count: all, or none for
// a field that the stream does not hold.
struct Source {
    const std::int32_t* values;
    std::int32_t mask;
};

struct Layout {
    Source fields[8];  // in the order of GeoImageSample
    bool hasNormals;
};

// Nothing when a mesh has no such number of channels.
std::optional<Layout> FindLayout(const Codec& grid) {
    const bool normals = grid.channels == 6 || grid.channels == 8;
    const bool texture = grid.channels == 5 || grid.channels == 8;
    if (!normals && !texture && grid.channels != 3) return {};
    Layout layout{{}, normals};
    std::size_t channel = 0;
    for (int field = 0; field < 8; ++field) {
        const bool present = field < 3 || (field < 6 ? normals : texture);
        layout.fields[field] = {grid.data[present ? channel : 0].data(), present ? -1 : 0};
        if (present) ++channel;
    }
    return layout;
}

// The unit of positions. Far beyond the range of float on both sides, where every coordinate but 0
// is infinite or 0 anyway, it stays finite: 0 is 0 in any unit.
double PositionScale(std::int32_t exponent) {
    constexpr std::int32_t kLimit = 500;
    return std::ldexp(1.0, -std::clamp(exponent, -kLimit, kLimit));
}

// Whether all positions, and the radius that follows, are finite floats.
bool PositionsFit(const Codec& grid, double scale) {
    double farthest = 0;
    for (std::size_t i = 0; i < grid.data[0].size(); ++i) {
        const vec3 p(dvec3(grid.data[0][i], grid.data[1][i], grid.data[2][i]) * scale);
        farthest = std::max(farthest, Dot(dvec3(p), dvec3(p)));
    }
    return std::isfinite(static_cast<float>(std::sqrt(farthest)));
}

// Converts into zeroed samples. Those that are zero in the grid are not touched: where a cut file
// left the grid empty, the mesh takes no memory either.
void Convert(const Layout& layout, double scale, GeoImageSample* samples, std::size_t count) {
    constexpr float unit = 1 / static_cast<float>(kFixedOne);
    for (std::size_t i = 0; i < count; ++i) {
        std::int32_t v[8];
        std::int32_t bits = 0;
        for (std::size_t k = 0; k < 8; ++k) {
            v[k] = layout.fields[k].values[i] & layout.fields[k].mask;
            bits |= v[k];
        }
        if (bits == 0) continue;
        const auto position = [&](int k) { return static_cast<float>(v[k] * scale); };
        const auto fixed = [&](int k) { return static_cast<float>(v[k]) * unit; };
        samples[i].position = {position(0), position(1), position(2)};
        samples[i].normal = {fixed(3), fixed(4), fixed(5)};
        samples[i].u = fixed(6);
        samples[i].v = fixed(7);
    }
}

// Everything before the stream. Wrap flags are taken over at once, all else only on success.
bool TakeHeader(int fd, const char* name, GeoImage& mesh, MeshHeader& header) {
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
                         name, header.version, MeshHeader::kVersion);
            return false;
        case HeaderFault::Short:
            std::fprintf(stderr, "GeoImage::Load: read of %s failed in header\n", name);
            return false;
        default:
            std::fprintf(stderr, "GeoImage::Load: file %s not a PALLIX GeoImage\n", name);
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

bool GeoImage::Load(const std::string& path, const std::string& name) {
    ClearTokens();
    const int fd = OpenForReading(path);
    if (fd < 0) {
        std::fprintf(stderr, "GeoImage::Load: could not open file %s\n", name.c_str());
        return false;
    }
    MeshHeader header;
    Codec grid;
    const bool read = TakeHeader(fd, name.c_str(), *this, header) && grid.Load(fd);
    CloseFile(fd);
    if (!read) return false;

    const double scale = PositionScale(header.exponent);
    const std::optional<Layout> layout = FindLayout(grid);
    const std::size_t count = grid.data[0].size();
    const bool good = layout && count <= kMaxSamples && PositionsFit(grid, scale);
    void* const zeroed = good ? std::calloc(count, sizeof *samples) : nullptr;
    if (zeroed == nullptr) {
        std::fprintf(stderr, "GeoImage::Load: file %s indecipherable\n", name.c_str());
        return false;
    }
    std::free(samples);
    samples = static_cast<GeoImageSample*>(zeroed);
    width = grid.width;
    height = grid.height;
    Convert(*layout, scale, samples, count);
    error = static_cast<float>(header.error / kFixedOne);
    Finish(!layout->hasNormals);
    return true;
}

bool GeoImage::Save(const std::string& path, int codec) const {
    MeshHeader header;
    header.error = Truncated(error * kFixedOne);
    header.exponent = PositionExponent(*this);
    header.wrapColumns = wrapColumns;
    header.wrapRows = wrapRows;
    return WithinMemory("GeoImage::Save", [&] {
        Codec grid;
        FillGrid(*this, std::ldexp(1.0, header.exponent), grid);
        if (samples == nullptr || !PositionsFit(grid, PositionScale(header.exponent))) {
            std::fprintf(stderr, "GeoImage::Save: no file can hold the mesh for %s\n",
                         path.c_str());
            return false;
        }
        return WriteGridFile("GeoImage::Save", path, header, grid, codec);
    });
}
