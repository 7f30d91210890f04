// Makes meshes, objects and lights of a test scene in one line each, and frees them.
#pragma once

#include <cmath>
#include <deque>
#include <numbers>
#include <string>

#include "geometry/GeoImage.h"
#include "scene/Room.h"

class TestScene {
public:
    Room room;

    TestScene() = default;
    TestScene(const TestScene&) = delete;
    TestScene& operator=(const TestScene&) = delete;
    ~TestScene() { DestroyChildren(room); }

    // A square sheet in the plane z = 0, front towards +z, of the given half width.
    GeoImage* Quad(float half, int size = 2) {
        return Grid(size, size, [half](float u, float v) {
            return vec3{(2 * u - 1) * half, (1 - 2 * v) * half, 0};
        });
    }
    // A sphere with its seam on the first and last column.
    GeoImage* Sphere(float radius, int size = 9) {
        GeoImage* mesh = Grid(size, size, [radius](float u, float v) {
            const double around = u * 2 * std::numbers::pi;
            const double down = v * std::numbers::pi;
            return vec3{static_cast<float>(radius * std::sin(down) * std::sin(around)),
                        static_cast<float>(radius * std::cos(down)),
                        static_cast<float>(radius * std::sin(down) * std::cos(around))};
        });
        mesh->wrapColumns = true;
        return mesh;
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
        Shader shader;
        shader.lit = false;
        object->shaders[PassBase].push_back(shader);
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

    template <class Surface>
    GeoImage* Grid(int rows, int columns, Surface surface) {
        GeoImage& mesh = m_meshes.emplace_back(rows, columns);
        for (int r = 0; r < rows; ++r) {
            for (int c = 0; c < columns; ++c) {
                GeoImageSample& sample = mesh.At(r, c);
                sample = GeoImageSample();
                sample.u = static_cast<float>(c) / static_cast<float>(columns - 1);
                sample.v = static_cast<float>(r) / static_cast<float>(rows - 1);
                sample.position = surface(sample.u, sample.v);
            }
        }
        mesh.Finish(true);
        return &mesh;
    }
    static void DestroyChildren(Object& object) {
        for (const auto& [name, child] : object.children) {
            DestroyChildren(*child);
            delete child;
        }
        object.children.clear();
    }
};
