// A node of a room's object tree, kept in step with its parent's octree.
// Structural upkeep (octree, radii) is in ObjectOctree.cpp, the record itself in Object.cpp.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "scene/Shader.h"
#include "spatial/Octree.h"
#include "spatial/Vec3.h"

class GeoImage;

// Fields may be read freely; mesh, pos, children and radius change only through the operations
// below, which keep the octrees right. Whoever writes another field calls Invalidate or
// InvalidateTree first. Resources are not counted here: SceneDatabase does.
class Object {
public:
    Object* parent = nullptr;      // null for a room
    float radius = 0;              // of this object and all descendants, around its own origin
    Octree* octreeLink = nullptr;  // node of the parent's octree that holds this object
    GeoImage* mesh = nullptr;      // counted reference
    vec3 pos;                      // in the parent's frame
    vec3 point{0, 0, 1};           // direction pointed to
    vec3 up{0, 1, 0};
    bool shadow = true;      // casts shadows
    bool visible = true;     // drawn
    bool active = true;      // takes part in traversal
    bool billboard = false;  // turned to face the viewer
    std::map<ShaderPass, std::vector<Shader>> shaders;
    std::map<std::string, Object*, std::less<>> children;  // owned
    std::set<const void*> derivedCache;  // markers of the caches that hold this object

    Object();
    virtual ~Object();  // frees its octree only; see SceneDatabase::DestroyObject for the tree
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    Octree& ChildOctree() { return *m_octree; }
    // The shader list of a pass; an empty list when there is none.
    const std::vector<Shader>& ShaderList(ShaderPass pass) const;
    // Child of that name or null.
    Object* Child(std::string_view name) const;

    // Enters the child under the name (replacing the entry), inserts it into the octree and
    // widens the radius.
    void AddChild(const std::string& name, Object* child);
    // Takes the child out of the octree and recomputes the radius; the caller erases the map
    // entry. False, with a warning on standard error, when there is no such child.
    bool RemoveChild(const std::string& name);
    void SetMesh(GeoImage* newMesh);
    // Also empties the caches of all descendants: where they were seen is kept by place.
    void SetPosition(const vec3& position);
    // Appends a copy of the shader to the pass list; the caller counts its resources.
    void AddShader(ShaderPass pass, const Shader& shader);
    // With children the radius field, without the mesh's radius (0 without mesh).
    float Radius(bool withChildren) const;
    // Takes this object out of all caches; InvalidateTree everything below it, too.
    void Invalidate() { derivedCache.clear(); }
    void InvalidateTree();

private:
    std::unique_ptr<Octree> m_octree;

    static float Extent(const Object* child);
    void RecomputeRadius();
    void WidenRadius(float extent);
    void UpdateInParent(const vec3& oldPosition, float oldRadius);
};
