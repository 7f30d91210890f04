// Loads, shares by name and counts the users of meshes or textures. One template serves both; a
// resource type supplies bool Load(name), which prints its own line on failure, and
// ReplaceContents.
#pragma once

#include <iostream>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "geometry/GeoImage.h"
#include "geometry/Texture.h"

// New contents, of a resource that is destroyed next, behind the old pointer. A mesh takes all of
// them; a texture keeps the flags of its first load.
inline void ReplaceContents(GeoImage& existing, GeoImage& fresh) {
    existing = std::move(fresh);
}
inline void ReplaceContents(Texture& existing, Texture& fresh) {
    existing.TakeContents(fresh);
}

// Owns every resource that it loaded. Holders keep plain pointers and register with AddRef.
template <class T>
class ResourceManager {
public:
    // kind: "mesh" or "texture", the word of the leak report.
    explicit ResourceManager(std::string kind);
    // Reports every resource that still has a count on standard error and destroys all.
    ~ResourceManager();
    ResourceManager(const ResourceManager&) = delete;
    ResourceManager& operator=(const ResourceManager&) = delete;

    // The resource of that name, loaded on first use; with reload its contents are read again
    // behind the same pointer. Null when it was never loaded and cannot be. Counts no user.
    T* Acquire(const std::string& name, bool reload);
    void AddRef(T* resource);  // null: nothing
    // True when the last user is gone and the resource was destroyed. Null: false.
    bool Release(T* resource);
    bool Knows(const std::string& name) const { return m_byName.contains(name); }

private:
    std::string m_kind;
    std::map<std::string, T*> m_byName;
    std::map<T*, std::string> m_nameOf;
    std::map<T*, std::int32_t> m_useCounts;
};

#include "geometry/ResourceManager.inl"
