// Loads, shares by name and counts the users of meshes or textures. One template serves both; a
// resource type supplies bool Load(path, name), which prints its own line on failure, and
// ReplaceContents.
#pragma once

#include <compare>
#include <cstdint>
#include <iostream>
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
    // folder: where a relative name is looked for that leads nowhere from the working folder; ends
    // with a slash, or is empty for nowhere. One name is another resource in each folder that it is
    // found in.
    T* Acquire(const std::string& name, bool reload, const std::string& folder = "");
    // Reads every resource of that name again, each from where it was found.
    void Reload(const std::string& name);
    void AddRef(T* resource);  // null: nothing
    // True when the last user is gone and the resource was destroyed. Null: false.
    bool Release(T* resource);

private:
    struct Source {
        std::string name;
        std::string folder;  // empty: the working folder

        auto operator<=>(const Source&) const = default;
        std::string Path() const { return folder + name; }
    };

    std::string m_kind;
    std::map<Source, T*> m_bySource;
    std::map<T*, Source> m_sourceOf;
    std::map<T*, std::int32_t> m_useCounts;

    Source Locate(const std::string& name, const std::string& folder) const;
    bool IsThere(const Source& source) const;
    T* Get(const Source& source, bool reload);
};

#include "geometry/ResourceManager.inl"
