// Sharing of resources between rooms and the notices that go out when one is gone. Draws nothing:
// what needs a graphics context waits in a queue for the main thread.
#include "scene/SceneDatabase.h"

#include "renderer/Renderer.h"
#include "drivers/Driver.h"
#include "scene/Object.h"

SceneDatabase::SceneDatabase() : m_textures("texture"), m_meshes("mesh") {}

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

GeoImage* SceneDatabase::GetMesh(const std::string& name, bool force) {
    GeoImage* mesh = m_meshes.Acquire(name, force);
    m_names[mesh] = name;
    return mesh;
}

Texture* SceneDatabase::GetTexture(const std::string& name, bool force) {
    Texture* texture = m_textures.Acquire(name, force);
    m_names[texture] = name;
    return texture;
}

// From here on the address is only a key: the next resource may be loaded at the same place, so
// nobody may still hold anything under it when that one is drawn.
void SceneDatabase::ReleaseMesh(GeoImage* mesh) {
    if (!m_meshes.Release(mesh)) return;
    m_names.erase(mesh);
    for (Renderer* renderer : m_renderers)
        renderer->ForgetMesh(mesh);
    m_releasedMeshes.push_back(mesh);
}

void SceneDatabase::ReleaseTexture(Texture* texture) {
    if (!m_textures.Release(texture)) return;
    m_names.erase(texture);
    m_releasedTextures.push_back(texture);
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
    if (m_textures.Knows(name)) GetTexture(name, true);
    if (m_meshes.Knows(name)) GetMesh(name, true);
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

void SceneDatabase::DrainPurges() {
    for (Driver* driver : m_drivers) {
        for (GeoImage* mesh : m_releasedMeshes)
            driver->Purge(mesh);
        for (Texture* texture : m_releasedTextures)
            driver->Purge(texture);
    }
    m_releasedMeshes.clear();
    m_releasedTextures.clear();
}
