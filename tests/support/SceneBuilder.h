// Makes meshes, objects and lights of a test scene in one line each, and frees them.
#pragma once

#include <deque>
#include <string>

#include "scene/Room.h"
#include "support/TestMeshes.h"

class TestScene {
public:
    Room room;

    ~TestScene() { DestroyChildren(room); }

    // A square sheet in the plane z = 0, front towards +z, of the given half width.
    GeoImage* Quad(float half, int size = 2) {
        return &m_meshes.emplace_back(SquareMesh(half, 0, size));
    }
    // A sphere with its seam on the first and last column.
    GeoImage* Sphere(float radius, int size = 9) {
        return &m_meshes.emplace_back(SphereMesh(radius, size, size));
    }
    Object* Add(Object& parent, const std::string& name, GeoImage* mesh, const vec3& pos) {
        auto* object = new Object;
        object->pos = pos;
        object->SetMesh(mesh);
        parent.AddChild(name, object);
        return object;
    }
    // With one unlit white shader in its base list.
    Object* AddPlain(Object& parent, const std::string& name, GeoImage* mesh, const vec3& pos) {
        Object* object = Add(parent, name, mesh, pos);
        object->shaders[PassBase].emplace_back().lit = false;
        return object;
    }
    // With one lit white shader in its light list.
    Object* AddLit(Object& parent, const std::string& name, GeoImage* mesh, const vec3& pos) {
        Object* object = Add(parent, name, mesh, pos);
        object->shaders[PassLight].emplace_back();
        return object;
    }
    Light* AddLight(const std::string& name, const vec3& pos) {
        Light* light = room.GetLight(name);
        light->pos = pos;
        return light;
    }
    // Takes the child and everything below it away, as the database does.
    void Remove(Object& parent, const std::string& name) {
        Object* child = parent.Child(name);
        DestroyChildren(*child);
        parent.RemoveChild(name);
        parent.children.erase(name);
        delete child;
    }

private:
    std::deque<GeoImage> m_meshes;

    static void DestroyChildren(Object& object) {
        for (const auto& [name, child] : object.children) {
            DestroyChildren(*child);
            delete child;
        }
        object.children.clear();
    }
};
