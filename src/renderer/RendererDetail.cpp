// Which resolution of a mesh is drawn, and the cache of resampled levels. Knows neither what the
// level is drawn for nor what a driver keeps for it.
#include "renderer/Renderer.h"

#include "drivers/Driver.h"
#include "geometry/GeoImage.h"
#include "scene/Object.h"
#include "spatial/Truncate.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

constexpr int kBilinear = 1;
// The cache is trimmed between frames only. Odd settings could fill the memory within one: from
// here on, twice the largest budget, meshes are drawn as they are.
constexpr std::int64_t kMostBytes = std::int64_t{2} << 30;

float SampleCount(const GeoImage& mesh) {
    return static_cast<float>(std::int64_t{mesh.width} * mesh.height);
}

bool IsFullDetail(const GeoImage& mesh, float detail) {
    const auto width = static_cast<float>(mesh.width);
    const auto height = static_cast<float>(mesh.height);
    return detail * height == height && detail * width == width;
}

// A level holds no samples when the trim had to make it up for an entry without one.
bool IsMade(const GeoImage& level) {
    return level.samples != nullptr;
}

bool MakeLevel(const GeoImage& mesh, float detail, GeoImage& level) {
    const float rows = detail * static_cast<float>(mesh.height);
    const float columns = detail * static_cast<float>(mesh.width);
    if (!GeoImage::Resize(mesh, level, rows, columns, kBilinear)) return false;
    level.Finish(false);
    return true;
}

}  // namespace

GeoImage* Renderer::GetGeoImage(Object* object, const Shader& shader, const Matrix& modelView,
                                float scale, float cap, float budget) {
    GeoImage* mesh = shader.mesh ? shader.mesh : object->mesh;
    if (!mesh || mesh->error < 0) return mesh;
    if (!mesh->HasToken(GeoImage::kDetailToken)) {
        ForgetMesh(mesh);  // made from earlier samples, or from a mesh that lived here before
        mesh->AddToken(GeoImage::kDetailToken);
    }
    const float wanted = std::sqrt(m_lodScale) * scale;
    const float detail = ChooseDetail(*mesh, modelView.Translation(), wanted, cap, budget);
    const auto finest = static_cast<float>(m_lodStep * std::max(mesh->width, mesh->height));
    return FindLevel(mesh, Truncated(finest * detail), detail);
}

// The factor on the samples along each side. An object at the eye wants infinite detail, and an
// odd view no number at all: both get the cap.
float Renderer::ChooseDetail(const GeoImage& mesh, const vec3& position, float wanted, float cap,
                             float budget) const {
    if (budget > 0) cap = std::min(cap, budget / SampleCount(mesh));
    const float detail = wanted * mesh.ProjectedError(Length(position), m_viewHeight, m_camera.fov);
    return detail < cap ? detail : cap;
}

// The first request for a key fixes its level. What cannot be made is drawn at full detail.
GeoImage* Renderer::FindLevel(GeoImage* mesh, int key, float detail) {
    LevelMap& levels = m_lodCache[mesh];
    m_counters.cacheAccesses += 1;
    auto found = levels.lower_bound(key);
    const bool listed = found != levels.end() && found->first == key;
    if (listed && IsMade(found->second)) {
        m_counters.cacheHits += 1;
        return &found->second;
    }
    if (IsFullDetail(*mesh, detail)) {
        m_counters.cacheHits += 1;
        return mesh;
    }
    if (m_lodBytes >= kMostBytes) return mesh;
    if (listed) {
        m_lodBytes -= found->second.ByteSize();
    } else {
        found = levels.try_emplace(found, key);
        m_lodEntries.push_back({key, mesh});
    }
    const bool made = MakeLevel(*mesh, detail, found->second);
    m_lodBytes += found->second.ByteSize();
    return made ? &found->second : mesh;
}

void Renderer::EvictLODEntry() {
    if (m_lodEntries.empty()) return;
    const std::size_t pick = static_cast<std::size_t>(std::rand()) % m_lodEntries.size();
    const auto [key, mesh] = m_lodEntries[pick];
    const auto levels = m_lodCache.find(mesh);
    if (levels != m_lodCache.end()) {
        const auto level = levels->second.find(key);
        if (level != levels->second.end()) {
            m_driver->Purge(&level->second);
            m_lodBytes -= level->second.ByteSize();
            levels->second.erase(level);
            if (levels->second.empty()) m_lodCache.erase(levels);
        }
    }
    m_lodEntries[pick] = m_lodEntries.back();
    m_lodEntries.pop_back();
}

void Renderer::ForgetMesh(GeoImage* mesh) {
    const auto levels = m_lodCache.find(mesh);
    if (levels == m_lodCache.end()) return;
    for (const auto& [key, level] : levels->second)
        m_lodBytes -= level.ByteSize();
    if (!levels->second.empty()) m_lodUneven = true;
    m_lodCache.erase(levels);
}

// The levels die without a word to the driver: what it holds for them is stale as soon as another
// mesh lives at the address.
void Renderer::ForgetLevels() {
    if (!m_lodEntries.empty()) m_lodUneven = true;
    m_lodCache.clear();
    m_lodBytes = 0;
}
