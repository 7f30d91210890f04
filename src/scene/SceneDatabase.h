// Shared resources of all rooms, and who must hear when an object or a resource goes away.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "geometry/ResourceManager.h"
#include "scene/Shader.h"

class Driver;
class Object;
class Renderer;
class Settings;

// Used under the scene lock (commands) and under the frame lock (everything). Deletions reach the
// renderers at once; drivers, whose graphics context belongs to the main thread, through a queue.
class SceneDatabase {
public:
    void AddRenderer(Renderer* renderer);
    void AddDriver(Driver* driver);
    void RemoveDriver(Driver* driver);
    const std::set<Renderer*>& Renderers() const { return m_renderers; }
    const std::set<Driver*>& Drivers() const { return m_drivers; }

    // The renderer or driver that declares the setting; null for a name that none knows.
    Settings* SettingOwner(std::string_view name) const;

    // The shared resource of that name, or null (its loader has printed why). force reloads.
    // Counts no user; records the name, under the null pointer too.
    GeoImage* GetMesh(const std::string& name, bool force);
    Texture* GetTexture(const std::string& name, bool force);
    // Where the relative names of Get and Replace are looked for that lead nowhere from the working
    // folder: a folder's name with a slash at its end, or empty for nowhere.
    void LookBeside(const std::string& folder) { m_folder = folder; }
    void AddRefMesh(GeoImage* mesh) { m_meshes.manager.AddRef(mesh); }
    void AddRefTexture(Texture* texture) { m_textures.manager.AddRef(texture); }
    void ReleaseMesh(GeoImage* mesh);
    void ReleaseTexture(Texture* texture);
    // A counted reference that a holder has becomes one to the resource of that name, or null for
    // "-". False, and nothing is changed, when there is no such resource.
    bool Replace(GeoImage*& held, const std::string& name);
    bool Replace(Texture*& held, const std::string& name);
    void AddRefShader(const Shader& shader);
    void ReleaseShader(const Shader& shader);
    void ReleaseShaderList(const std::vector<Shader>& list);
    // The name a resource was asked for under; "null://" when unknown.
    std::string ResourceName(const void* resource) const;
    // Reads again every resource known under the name, each from where it was found.
    void Reload(const std::string& name);
    // Tells every renderer to forget the object.
    void ObjectDeleted(Object* object);
    // Frees the tree below and including the object, giving back all its resources. The entry in
    // the parent's children map and octree is the caller's. Null: nothing.
    void DestroyObject(Object* object);

    // Lets the drivers drop what they hold for released resources. Main thread, with the driver's
    // window set, before anything is drawn.
    void DrainPurges();

private:
    std::set<Renderer*> m_renderers;  // not owned
    std::set<Driver*> m_drivers;      // not owned
    std::map<const void*, std::string> m_names;
    std::string m_folder;

    template <class Resource>
    struct Kind {
        ResourceManager<Resource> manager;
        // Addresses of resources that are gone: keys of driver maps, never dereferenced.
        std::vector<Resource*> released{};
    };
    Kind<Texture> m_textures{ResourceManager<Texture>("texture")};
    Kind<GeoImage> m_meshes{ResourceManager<GeoImage>("mesh")};

    template <class Resource>
    Resource* Get(Kind<Resource>& kind, const std::string& name, bool force);
    template <class Resource>
    void Release(Kind<Resource>& kind, Resource* resource);
    template <class Resource>
    bool Replace(Kind<Resource>& kind, Resource*& held, const std::string& name);
    template <class Resource>
    void Drain(Kind<Resource>& kind);
};
