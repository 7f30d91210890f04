// Display lists by what was drawn into them, under a budget of approximate bytes. Knows meshes by
// address and validity tokens; nothing of passes, lights or the scene. Needs a current context
// wherever a list is made, played or deleted.
#pragma once

#include <GL/gl.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <vector>

#include "drivers/gl/CacheKey.h"
#include "settings/Statistics.h"

// A list's name and what it was recorded for.
struct DisplayList {
    static constexpr std::int64_t kDeleted = -1;

    GLuint name = 0;
    CacheKey key;  // its size is kDeleted while nothing is recorded under the name
};

// A mesh carries the names of its lists as validity tokens and drops them when its geometry
// changes: a list whose name the mesh no longer carries is stale. Names are never given back to
// OpenGL, but used again.
class DisplayListCache {
public:
    // Budget in approximate bytes; 0 switches trimming off and lets one list in at a time.
    void SetLimit(std::int64_t bytes) { m_limit = bytes; }
    // The list that holds the key's shape of its mesh's present geometry. The mesh must be alive.
    // Null for none, where stale says that one was found but had to be removed. Counts an access. A
    // list recorded for another mesh than the key's means that memory is corrupt: ends the program.
    struct Found {
        DisplayList* list = nullptr;
        bool stale = false;
    };
    Found Find(const CacheKey& key);
    // Starts recording, without drawing, into a list that is not kept yet. Evicts at most one
    // other list to make room, and keeps to maxLists names; null, without recording, when that is
    // not enough.
    DisplayList* RecDList(int maxLists);
    // Ends recording and keeps the list.
    void EndDList(const CacheKey& key, DisplayList& list);
    // Keeps the recorded list under the key, its size included, and as valid for the key's mesh.
    void Insert(const CacheKey& key, DisplayList& list);
    void PlayDList(const DisplayList& list) const;
    // Finds and plays; false when there is none that is valid.
    bool Play(const CacheKey& key);
    // Evicts at random until the budget holds.
    void Trim();
    // Deletes every list of the mesh, which is not dereferenced.
    void Purge(GeoImage* mesh);
    // Forgets all names: their context is gone.
    void Forget();

    // Statistics since the last reset.
    void ResetCounts() { m_counts = {}; }
    void Publish(Statistics& statistics) const;

private:
    struct Counts {
        std::int64_t accesses = 0;
        std::int64_t hits = 0;
        std::int64_t purges = 0;
    };

    // Lists found lately, by a hash of their keys. Spares most frames the walk through the map,
    // whose nodes lie scattered over memory. Entries may have been removed or recorded anew since.
    static constexpr std::size_t kRecent = 4096;

    std::map<CacheKey, DisplayList*> m_cache;
    std::array<DisplayList*, kRecent> m_recent{};
    std::deque<DisplayList> m_lists;   // every name ever made, oldest first; elements never move
    std::vector<DisplayList*> m_free;  // without a recording; last in, first out
    std::int64_t m_size = 0;           // sum over m_cache
    std::int64_t m_limit = 0;
    Counts m_counts;

    DisplayList* Lookup(const CacheKey& key);
    DisplayList* Allocate(int maxLists);
    void RemoveDList(const CacheKey& key, DisplayList& list);
    void EvictOne();
};
