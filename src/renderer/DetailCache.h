// Resampled levels of meshes by their quantised detail, bounded in number and bytes. Knows neither
// what a level is drawn for nor who keeps data for it: whoever trims is told which levels go.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <unordered_map>
#include <vector>

class GeoImage;

// Levels die without a word when their mesh is forgotten or all are cleared: what others hold for
// them is stale as soon as another mesh lives at the address. Main thread only.
class DetailCache {
public:
    // A level that was made. Entries outlive levels that are forgotten with their mesh.
    struct Entry {
        int key;
        GeoImage* mesh;  // the source; never dereferenced
    };
    struct Found {
        GeoImage* mesh;  // a level, valid until the next trim, or the source mesh itself
        bool hit;        // nothing had to be made
    };
    // Told of each level that a trim drops, just before it dies.
    using DropNotice = std::function<void(GeoImage*)>;

    DetailCache();
    ~DetailCache();
    DetailCache(const DetailCache&) = delete;
    DetailCache& operator=(const DetailCache&) = delete;

    // The level of a mesh under a key. The first request for a key makes it, detail times as many
    // samples along each side; a detail that leaves every sample needs no level, and what cannot
    // be made is the mesh itself. Levels of earlier samples of the mesh are dropped first.
    Found Find(GeoImage* mesh, int key, float detail);
    // Drops all levels of a mesh, which may be gone already. Null or unknown: nothing.
    void Forget(const GeoImage* mesh);
    // Drops all levels. Entries stay until the next trim, as with Forget.
    void Clear();

    // Levels made and not dropped by a trim since, forgotten ones included.
    const std::vector<Entry>& Entries() const { return m_entries; }
    // Whether each entry has a level of its own, so that their bytes are known.
    bool IsEven() const { return m_even; }

    // A trim is three steps. What goes is left to chance: std::rand picks the entries.
    // 1. With more entries than most, drops all but keep.
    void TrimEntries(std::int64_t most, std::int64_t keep, const DropNotice& dropped);
    // 2. Entries of meshes without levels go; one that lost its level alone is given an empty one.
    //    Returns the bytes of all entries.
    std::int64_t Settle();
    // 3. With more bytes (as settled) than most, drops as many entries of average size as lie
    //    above keep.
    void TrimBytes(std::int64_t bytes, std::int64_t most, double keep, const DropNotice& dropped);

private:
    // Levels of one mesh by key.
    using LevelMap = std::map<int, GeoImage>;

    const std::uint32_t m_token;  // in the meshes that have levels here of their present samples
    std::unordered_map<const GeoImage*, LevelMap> m_levels;  // by source mesh
    std::vector<Entry> m_entries;
    std::int64_t m_bytes = 0;  // of all levels
    bool m_even = true;

    void Evict(const DropNotice& dropped);
};
