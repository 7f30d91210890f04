// The cache of mesh levels: lookup, making, trimming. Odd settings may ask for any number of levels
// of any size between two trims; the memory they take is bounded here.
#include "renderer/DetailCache.h"

#include "geometry/GeoImage.h"

#include <cstdlib>
#include <set>

namespace {

constexpr int kBilinear = 1;
// The cache is trimmed between frames only. Odd settings could fill the memory within one: from
// here on, twice the largest budget, meshes are drawn as they are.
constexpr std::int64_t kMostBytes = std::int64_t{2} << 30;

// Tokens of the caches that live now.
std::set<std::uint32_t>& TokensInUse() {
    static std::set<std::uint32_t> tokens;
    return tokens;
}

// The highest one that is free: however many caches come and go, tokens stay far above the list
// names that share the meshes' sets. Meshes may still hold the token of a cache that is gone; the
// next cache to take it holds no level yet that the token could wrongly vouch for.
std::uint32_t TakeToken() {
    std::uint32_t token = GeoImage::kHighestDetailToken;
    while (!TokensInUse().insert(token).second)
        --token;
    return token;
}

bool IsFullDetail(const GeoImage& mesh, float detail) {
    const auto width = static_cast<float>(mesh.width);
    const auto height = static_cast<float>(mesh.height);
    return detail * height == height && detail * width == width;
}

// A level holds no samples when a trim had to make it up for an entry without one.
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

DetailCache::DetailCache() : m_token(TakeToken()) {}

DetailCache::~DetailCache() {
    TokensInUse().erase(m_token);
}

DetailCache::Found DetailCache::Find(GeoImage* mesh, int key, float detail) {
    if (!mesh->HasToken(m_token)) {
        Forget(mesh);  // made from earlier samples, or from a mesh that lived here before
        mesh->AddToken(m_token);
    }
    LevelMap& levels = m_levels[mesh];
    auto found = levels.lower_bound(key);
    const bool listed = found != levels.end() && found->first == key;
    if (listed && IsMade(found->second)) return {&found->second, true};
    if (IsFullDetail(*mesh, detail)) return {mesh, true};
    if (m_bytes >= kMostBytes) return {mesh, false};
    if (listed) {
        m_bytes -= found->second.ByteSize();
    } else {
        found = levels.try_emplace(found, key);
        m_entries.push_back({key, mesh});
    }
    const bool made = MakeLevel(*mesh, detail, found->second);
    m_bytes += found->second.ByteSize();
    return {made ? &found->second : mesh, false};
}

void DetailCache::Forget(const GeoImage* mesh) {
    const auto levels = m_levels.find(mesh);
    if (levels == m_levels.end()) return;
    for (const auto& [key, level] : levels->second)
        m_bytes -= level.ByteSize();
    if (!levels->second.empty()) m_even = false;
    m_levels.erase(levels);
}

void DetailCache::Clear() {
    if (!m_entries.empty()) m_even = false;
    m_levels.clear();
    m_bytes = 0;
}

void DetailCache::TrimEntries(std::int64_t most, std::int64_t keep, const DropNotice& dropped) {
    if (std::ssize(m_entries) <= most) return;
    while (std::ssize(m_entries) > keep)
        Evict(dropped);
}

std::int64_t DetailCache::Settle() {
    if (m_even) return m_bytes;
    std::int64_t total = 0;
    for (std::size_t i = 0; i < m_entries.size();) {
        const auto [key, mesh] = m_entries[i];
        const auto levels = m_levels.find(mesh);
        if (levels == m_levels.end()) {
            m_entries[i] = m_entries.back();
            m_entries.pop_back();
            continue;
        }
        const auto [level, added] = levels->second.try_emplace(key);
        if (added) m_bytes += level->second.ByteSize();
        total += level->second.ByteSize();
        ++i;
    }
    // A level made anew after its mesh was forgotten is entered twice, until one entry goes.
    std::size_t levelCount = 0;
    for (const auto& [mesh, levels] : m_levels)
        levelCount += levels.size();
    m_even = levelCount == m_entries.size();
    return total;
}

void DetailCache::TrimBytes(std::int64_t bytes, std::int64_t most, double keep,
                            const DropNotice& dropped) {
    if (bytes <= most) return;
    const std::int64_t average = bytes / std::ssize(m_entries);
    const double excess = static_cast<double>(bytes) - keep;
    auto count = static_cast<std::int64_t>(excess / static_cast<double>(average));
    for (; count > 0 && !m_entries.empty(); --count)
        Evict(dropped);
}

void DetailCache::Evict(const DropNotice& dropped) {
    const std::size_t pick = static_cast<std::size_t>(std::rand()) % m_entries.size();
    const auto [key, mesh] = m_entries[pick];
    const auto levels = m_levels.find(mesh);
    if (levels != m_levels.end()) {
        const auto level = levels->second.find(key);
        if (level != levels->second.end()) {
            dropped(&level->second);
            m_bytes -= level->second.ByteSize();
            levels->second.erase(level);
            if (levels->second.empty()) m_levels.erase(levels);
        }
    }
    m_entries[pick] = m_entries.back();
    m_entries.pop_back();
}
