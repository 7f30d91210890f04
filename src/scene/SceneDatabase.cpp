// Sharing of resources between rooms and the notices that go out when one is gone. Draws nothing:
// what needs a graphics context waits in a queue for the main thread.
#include "scene/SceneDatabase.h"

#include "renderer/Renderer.h"
#include "drivers/Driver.h"
#include "scene/Object.h"

#include <type_traits>
#include <utility>

void SceneDatabase::AddRenderer(Renderer* renderer) {
    m_renderers.insert(renderer);
}

void SceneDatabase::AddDriver(Driver* driver) {
    m_drivers.insert(driver);
}

void SceneDatabase::RemoveDriver(Driver* driver) {
    m_drivers.erase(driver);
}

Settings* SceneDatabase::SettingOwner(std::string_view name) const {
    for (Renderer* renderer : m_renderers)
        if (renderer->Declares(name)) return renderer;
    for (Driver* driver : m_drivers)
        if (driver->Declares(name)) return driver;
    return nullptr;
}

template <class Resource>
Resource* SceneDatabase::Get(Kind<Resource>& kind, const std::string& name, bool force) {
    Resource* resource = kind.manager.Acquire(name, force, m_folder);
    m_names[resource] = name;
    return resource;
}

GeoImage* SceneDatabase::GetMesh(const std::string& name, bool force) {
    return Get(m_meshes, name, force);
}

Texture* SceneDatabase::GetTexture(const std::string& name, bool force) {
    return Get(m_textures, name, force);
}

// From here on the address is only a key: the next resource may be loaded at the same place, so
// nobody may still hold anything under it when that one is drawn.
template <class Resource>
void SceneDatabase::Release(Kind<Resource>& kind, Resource* resource) {
    if (!kind.manager.Release(resource)) return;
    m_names.erase(resource);
    kind.released.push_back(resource);
    if constexpr (std::is_same_v<Resource, GeoImage>) {
        for (Renderer* renderer : m_renderers)
            renderer->ForgetMesh(resource);
    }
}

void SceneDatabase::ReleaseMesh(GeoImage* mesh) {
    Release(m_meshes, mesh);
}

void SceneDatabase::ReleaseTexture(Texture* texture) {
    Release(m_textures, texture);
}

// Counts the new resource before it gives the old one back: both may be the same.
template <class Resource>
bool SceneDatabase::Replace(Kind<Resource>& kind, Resource*& held, const std::string& name) {
    Resource* named = name == "-" ? nullptr : Get(kind, name, false);
    if (!named && name != "-") return false;
    kind.manager.AddRef(named);
    Release(kind, std::exchange(held, named));
    return true;
}

bool SceneDatabase::Replace(GeoImage*& held, const std::string& name) {
    return Replace(m_meshes, held, name);
}

bool SceneDatabase::Replace(Texture*& held, const std::string& name) {
    return Replace(m_textures, held, name);
}

void SceneDatabase::AddRefShader(const Shader& shader) {
    AddRefMesh(shader.mesh);
    AddRefTexture(shader.texture);
}

void SceneDatabase::ReleaseShader(const Shader& shader) {
    ReleaseMesh(shader.mesh);
    ReleaseTexture(shader.texture);
}

void SceneDatabase::ReleaseShaderList(const std::vector<Shader>& list) {
    for (const Shader& shader : list)
        ReleaseShader(shader);
}

std::string SceneDatabase::ResourceName(const void* resource) const {
    const auto found = m_names.find(resource);
    return found != m_names.end() ? found->second : "null://";
}

void SceneDatabase::Reload(const std::string& name) {
    m_textures.manager.Reload(name);
    m_meshes.manager.Reload(name);
}

void SceneDatabase::ObjectDeleted(Object* object) {
    for (Renderer* renderer : m_renderers)
        renderer->ForgetObject(object);
}

void SceneDatabase::DestroyObject(Object* object) {
    if (object == nullptr) return;
    for (const auto& [name, child] : object->children)
        DestroyObject(child);
    ReleaseMesh(object->mesh);
    for (const auto& [pass, list] : object->shaders)
        ReleaseShaderList(list);
    ObjectDeleted(object);
    delete object;
}

template <class Resource>
void SceneDatabase::Drain(Kind<Resource>& kind) {
    for (Driver* driver : m_drivers)
        for (Resource* resource : kind.released)
            driver->Purge(resource);
    kind.released.clear();
}

void SceneDatabase::DrainPurges() {
    Drain(m_meshes);
    Drain(m_textures);
}
