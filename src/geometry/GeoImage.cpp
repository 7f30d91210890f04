// Storage, copying and derived geometry (normals, bounds, radius) of a mesh.
// Must not know the file format.
#include "geometry/GeoImage.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "spatial/CameraSpace.h"

namespace {

// View height in pixels for which `error` is stated.
constexpr double kReferenceResolution = 480;

// In double: the squares of a tiny or huge mesh leave the range of float. A sample without a
// direction (a pole, a collapsed row) keeps the zero normal, so that no NaN reaches resampling.
vec3 UnitNormal(const vec3& n) {
    const double x = n.x;
    const double y = n.y;
    const double z = n.z;
    const double length = std::sqrt(x * x + y * y + z * z);
    if (!(length > 0) || !std::isfinite(length)) return {};
    const double scale = 1 / length;
    return {static_cast<float>(x * scale), static_cast<float>(y * scale),
            static_cast<float>(z * scale)};
}

// Adds the face normals, which are longer for larger triangles, to their corners.
void AccumulateNormals(GeoImage& mesh) {
    for (std::int32_t r = 0; r + 1 < mesh.height; ++r) {
        GeoImageSample* upper = mesh.samples + static_cast<std::ptrdiff_t>(r) * mesh.width;
        GeoImageSample* lower = upper + mesh.width;
        for (std::int32_t c = 0; c + 1 < mesh.width; ++c) {
            const vec3& p = upper[c].position;
            const vec3& q = upper[c + 1].position;
            const vec3& s = lower[c + 1].position;
            const vec3& below = lower[c].position;
            const vec3 n1 = Cross(below - p, q - p);
            const vec3 n2 = Cross(q - s, below - s);
            const vec3 both = n1 + n2;
            upper[c].normal += n1;
            upper[c + 1].normal += both;
            lower[c].normal += both;
            lower[c + 1].normal += n2;
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
    *this = other;
}

GeoImage& GeoImage::operator=(const GeoImage& other) {
    if (this == &other) return *this;
    if (SetSize(other.height, other.width) && samples != nullptr) {
        std::memcpy(static_cast<void*>(samples), other.samples,
                    sizeof(GeoImageSample) * other.Index(other.height, 0));
    }
    radius = other.radius;
    boundsMin = other.boundsMin;
    boundsMax = other.boundsMax;
    error = other.error;
    wrapColumns = other.wrapColumns;
    wrapRows = other.wrapRows;
    return *this;
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
    if (recomputeNormals) {
        for (std::size_t i = 0; i < count; ++i)
            samples[i].normal = {};
        AccumulateNormals(*this);
    }
    if (count == 0) return;
    vec3 low = samples[0].position;
    vec3 high = low;
    double farthest = 0;
    for (std::size_t i = 0; i < count; ++i) {
        GeoImageSample& sample = samples[i];
        sample.normal = UnitNormal(sample.normal);
        const vec3& p = sample.position;
        low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
        high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
        const double x = p.x;
        const double y = p.y;
        const double z = p.z;
        farthest = std::max(farthest, x * x + y * y + z * z);
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
