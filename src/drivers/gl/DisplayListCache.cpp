// Recording, replaying and evicting display lists. Must not follow the mesh of a key but of the
// one just asked for: others may be gone.
#include "drivers/gl/DisplayListCache.h"

#include <bit>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <limits>

#include "drivers/gl/GLError.h"
#include "geometry/GeoImage.h"
#include "settings/StatisticNames.h"

namespace {

// Carries what differs between addresses, in the middle bits, to the top ones.
constexpr std::uint64_t kHashFactor = 0x9E3779B97F4A7C15U;
constexpr int kHashShift = 40;

[[noreturn]] void FailCorrupt(const GeoImage* cached, const GeoImage* requested) {
    std::cerr << "\n***ERROR***: cached mesh " << static_cast<const void*>(cached)
              << " does not match cache request " << static_cast<const void*>(requested)
              << std::endl;
    std::abort();
}

// Equal keys have equal slots, but for a zero that lost its sign.
std::size_t Slot(const CacheKey& key) {
    std::uint64_t hash = reinterpret_cast<std::uintptr_t>(key.mesh);
    for (const float part : {key.point.x, key.point.y, key.point.z}) {
        hash = (hash ^ std::bit_cast<std::uint32_t>(part)) * kHashFactor;
    }
    return static_cast<std::size_t>((hash + static_cast<unsigned>(key.primitive)) * kHashFactor >>
                                    kHashShift);
}

}  // namespace

DisplayList* DisplayListCache::Lookup(const CacheKey& key) {
    DisplayList*& recent = m_recent[Slot(key) % kRecent];
    const bool same = recent != nullptr && recent->key.size != DisplayList::kDeleted &&
                      !(recent->key < key) && !(key < recent->key);
    if (same) return recent;
    const auto found = m_cache.find(key);
    if (found == m_cache.end()) return nullptr;
    recent = found->second;
    return recent;
}

DisplayListCache::Found DisplayListCache::Find(const CacheKey& key) {
    ++m_counts.accesses;
    DisplayList* const found = Lookup(key);
    if (found == nullptr) return {};
    ++m_counts.hits;
    DisplayList& list = *found;
    if (!key.mesh->HasToken(list.name) || list.key.shape != key.shape) {
        RemoveDList(key, list);
        return {.stale = true};
    }
    if (list.key.mesh != key.mesh) FailCorrupt(list.key.mesh, key.mesh);
    return {.list = &list};
}

DisplayList* DisplayListCache::Allocate(int maxLists) {
    if (m_size > m_limit) return nullptr;
    if (!m_free.empty()) {
        DisplayList* list = m_free.back();
        m_free.pop_back();
        return list;
    }
    if (std::ssize(m_lists) >= maxLists) return nullptr;
    const GLuint name = glGenLists(1);
    if (name == 0) return nullptr;
    DisplayList& list = m_lists.emplace_back();
    list.name = name;
    list.key.size = DisplayList::kDeleted;
    return &list;
}

// Software OpenGL, told to compile and execute at once, draws a long strip in pieces while it
// records: that takes longer than compiling alone and playing the list, and an error check that
// falls between two pieces counts as one inside glBegin and glEnd.
DisplayList* DisplayListCache::RecDList(int maxLists) {
    DisplayList* list = Allocate(maxLists);
    if (list == nullptr) {
        EvictOne();
        list = Allocate(maxLists);
    }
    if (list == nullptr) return nullptr;
    glNewList(list->name, GL_COMPILE);
    ReportGLError("RecDList");
    return list;
}

void DisplayListCache::EndDList(const CacheKey& key, DisplayList& list) {
    glEndList();
    ReportGLError("EndDList");
    Insert(key, list);
}

void DisplayListCache::Insert(const CacheKey& key, DisplayList& list) {
    if (const auto old = m_cache.find(key); old != m_cache.end()) RemoveDList(key, *old->second);
    m_cache.emplace(key, &list);
    list.key = key;
    m_size += key.size;
    key.mesh->AddToken(list.name);
}

void DisplayListCache::PlayDList(const DisplayList& list) const {
    glCallList(list.name);
    ReportGLError("PlayDList");
}

bool DisplayListCache::Play(const CacheKey& key) {
    const DisplayList* list = Find(key).list;
    if (list != nullptr) PlayDList(*list);
    return list != nullptr;
}

void DisplayListCache::RemoveDList(const CacheKey& key, DisplayList& list) {
    glDeleteLists(list.name, 1);
    m_free.push_back(&list);
    ReportGLError("RemoveDList");
    m_size -= list.key.size;
    m_cache.erase(key);
    list.key.size = DisplayList::kDeleted;
}

// Any name may be picked, also one without a recording: then nothing goes.
void DisplayListCache::EvictOne() {
    if (m_lists.empty()) return;
    DisplayList& list = m_lists[static_cast<std::size_t>(std::rand()) % m_lists.size()];
    if (list.key.size == DisplayList::kDeleted) return;
    RemoveDList(list.key, list);
    ++m_counts.purges;
}

void DisplayListCache::Trim() {
    if (m_limit == 0) return;
    while (!m_cache.empty() && m_size > m_limit)
        EvictOne();
}

void DisplayListCache::Purge(GeoImage* mesh) {
    constexpr float kLeast = -std::numeric_limits<float>::infinity();
    const CacheKey first{mesh, PrimitiveOutline, {kLeast, kLeast, kLeast}};
    for (auto entry = m_cache.lower_bound(first);
         entry != m_cache.end() && entry->first.mesh == mesh;) {
        DisplayList& list = *entry->second;
        ++entry;
        RemoveDList(list.key, list);
    }
}

void DisplayListCache::Forget() {
    m_cache.clear();
    m_free.clear();
    m_lists.clear();
    m_recent.fill(nullptr);
    m_size = 0;
}

void DisplayListCache::Publish(Statistics& statistics) const {
    statistics[stat_names::kCacheAccesses] = static_cast<float>(m_counts.accesses);
    statistics[stat_names::kCacheHits] = static_cast<float>(m_counts.hits);
    statistics[stat_names::kCachePurges] = static_cast<float>(m_counts.purges);
    statistics[stat_names::kCacheEntries] = static_cast<float>(m_lists.size() - m_free.size());
    statistics[stat_names::kCacheSize] = static_cast<float>(m_size);
}
