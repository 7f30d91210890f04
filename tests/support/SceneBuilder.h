// Makes meshes, objects and lights of a test scene in one line each, and owns them.
#pragma once

#include <deque>
#include <string>

#include "scene/Room.h"
#include "support/TestMeshes.h"

class TestScene {
public:
    Room room;

    // A square sheet in the plane z = 0, front towards +z, of the given half width.
    GeoImage* Quad(float half, int size = 2) {
        return &m_meshes.emplace_back(SquareMesh(half, 0, size));
    }
    // A sphere with its seam on the first and last column.
    GeoImage* Sphere(float radius, int size = 9) {
        return &m_meshes.emplace_back(SphereMesh(radius, size, size));
    }
    Object* Add(Object& parent, const std::string& name, GeoImage* mesh, const vec3& pos) {
        Object& object = m_objects.emplace_back();
        object.pos = pos;
        object.SetMesh(mesh);
        parent.AddChild(name, &object);
        return &object;
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

private:
    std::deque<GeoImage> m_meshes;
    std::deque<Object> m_objects;
};
