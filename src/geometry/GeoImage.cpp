// Storage, copying and derived geometry (normals, bounds, radius) of a mesh.
// Must not know the file format.
#include "geometry/GeoImage.h"

#include "spatial/CameraSpace.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

// View height in pixels for which `error` is stated.
constexpr double kReferenceResolution = 480;

// A sample without a direction (a pole, a collapsed row) keeps the zero normal, so that no NaN
// reaches resampling.
vec3 UnitNormal(const dvec3& n) {
    const double length = Length(n);
    return length > 0 && std::isfinite(length) ? vec3((1 / length) * n) : vec3();
}

// Normals of the triangles (P, Q, R) and (S, R, Q) of a quad, longer for larger triangles.
struct QuadNormals {
    dvec3 first;
    dvec3 second;
};

// Zeros for a quad outside the grid. In double: the products of the edges of a tiny or huge mesh
// leave the range of float.
QuadNormals NormalsOfQuad(const GeoImage& mesh, std::int32_t row, std::int32_t column) {
    if (row < 0 || row + 1 >= mesh.height || column + 1 >= mesh.width) return {};
    const GeoImageSample* upper = &mesh.At(row, column);
    const GeoImageSample* lower = upper + mesh.width;
    const dvec3 p(upper[0].position);
    const dvec3 q(upper[1].position);
    const dvec3 r(lower[0].position);
    const dvec3 s(lower[1].position);
    return {Cross(r - p, q - p), Cross(q - s, r - s)};
}

// Whatever already has its value is not written: the samples that a cut file left at zero stay
// pages that take no memory.
void SetNormal(GeoImageSample& sample, const vec3& normal) {
    if (sample.normal != normal) sample.normal = normal;
}

// A sample's normal is the direction of the sum over the triangles around it.
void ComputeNormals(GeoImage& mesh) {
    for (std::int32_t r = 0; r < mesh.height; ++r) {
        QuadNormals aboveLeft;
        QuadNormals belowLeft;
        for (std::int32_t c = 0; c < mesh.width; ++c) {
            const QuadNormals above = NormalsOfQuad(mesh, r - 1, c);
            const QuadNormals below = NormalsOfQuad(mesh, r, c);
            const dvec3 sum = aboveLeft.second + above.first + above.second + belowLeft.first +
                              belowLeft.second + below.first;
            SetNormal(mesh.At(r, c), UnitNormal(sum));
            aboveLeft = above;
            belowLeft = below;
        }
    }
}

}  // namespace

GeoImage::GeoImage(int rows, int columns) {
    SetSize(rows, columns);
}

GeoImage::~GeoImage() {
    std::free(samples);
}

GeoImage::GeoImage(const GeoImage& other) {
    if (SetSize(other.height, other.width) && samples != nullptr) {
        std::memcpy(static_cast<void*>(samples), other.samples,
                    sizeof(GeoImageSample) * other.Index(other.height, 0));
    }
    CopyAttributes(other);
}

GeoImage::GeoImage(GeoImage&& other) noexcept
    : width(std::exchange(other.width, 0)),
      height(std::exchange(other.height, 0)),
      samples(std::exchange(other.samples, nullptr)) {
    CopyAttributes(other);
}

GeoImage& GeoImage::operator=(GeoImage other) noexcept {
    std::swap(width, other.width);
    std::swap(height, other.height);
    std::swap(samples, other.samples);
    std::swap(m_tokens, other.m_tokens);
    std::swap(m_faceNormals, other.m_faceNormals);
    m_faceNormalCount = 0;
    CopyAttributes(other);
    return *this;
}

void GeoImage::CopyAttributes(const GeoImage& other) {
    radius = other.radius;
    boundsMin = other.boundsMin;
    boundsMax = other.boundsMax;
    error = other.error;
    wrapColumns = other.wrapColumns;
    wrapRows = other.wrapRows;
}

bool GeoImage::SetSize(int rows, int columns) {
    m_tokens.clear();
    m_faceNormals = {};
    m_faceNormalCount = 0;
    const bool sane = rows >= 0 && columns >= 0 && std::int64_t{rows} * columns <= kMaxSamples;
    const auto count = sane ? static_cast<std::size_t>(std::int64_t{rows} * columns) : 0;
    void* grown = nullptr;
    if (count > 0) grown = std::realloc(static_cast<void*>(samples), count * sizeof *samples);
    if (grown == nullptr) std::free(samples);
    samples = static_cast<GeoImageSample*>(grown);
    const bool kept = sane && (count == 0 || grown != nullptr);
    width = kept ? columns : 0;
    height = kept ? rows : 0;
    return kept;
}

void GeoImage::Finish(bool recomputeNormals) {
    ClearTokens();
    const std::size_t count = Index(height, 0);
    if (count == 0) return;
    if (recomputeNormals) ComputeNormals(*this);
    vec3 low = samples[0].position;
    vec3 high = low;
    double farthest = 0;
    for (std::size_t i = 0; i < count; ++i) {
        GeoImageSample& sample = samples[i];
        if (!recomputeNormals) SetNormal(sample, UnitNormal(dvec3(sample.normal)));
        const vec3& p = sample.position;
        low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
        high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
        farthest = std::max(farthest, Dot(dvec3(p), dvec3(p)));
    }
    boundsMin = low;
    boundsMax = high;
    radius = static_cast<float>(std::sqrt(farthest));
}

void GeoImage::AddToken(std::uint32_t token) {
    const auto place = std::lower_bound(m_tokens.begin(), m_tokens.end(), token);
    if (place == m_tokens.end() || *place != token) m_tokens.insert(place, token);
}

float GeoImage::ProjectedError(float distance, int resolution, float fov) const {
    if (!(error > 0)) return 1;
    const double spread = HalfViewTangent(fov);
    return static_cast<float>(double{error} * resolution /
                              (spread * kReferenceResolution * double{distance}));
}
