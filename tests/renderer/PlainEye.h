// What shows before an eye and how bright a light is there, as plain and slow as the rules can be
// put. Uses nothing of src/renderer.
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>
#include <set>
#include <vector>

#include "geometry/GeoImage.h"
#include "scene/Camera.h"
#include "scene/Light.h"
#include "scene/Object.h"
#include "spatial/Matrix.h"
#include "spatial/Occlusion.h"
#include "spatial/Plane.h"
#include "spatial/VisibilityStream.h"

struct PlainEye {
    using Points = std::vector<vec3>;

    struct Side {
        vec3 point;
        vec3 normal;  // inward

        // Whether the spheres round all of the points lie outside.
        bool Excludes(const Points& points, double radius = 0) const {
            return std::ranges::all_of(points, [&](const vec3& p) {
                return Dot(p - point, normal) < -radius * Length(normal);
            });
        }
    };

    double pixels = 0;  // per unit, one unit ahead
    std::vector<Side> sides;
    Occlusion* occlusion = nullptr;
    VisibilityStream* record = nullptr;
    std::set<Object*> rejected;

    PlainEye() = default;
    PlainEye(const Camera& camera, int width, int height) {
        const auto tall = static_cast<float>(std::tan(std::numbers::pi * camera.fov / 360));
        const float wide = tall * camera.aspect * float(width) / float(height);
        pixels = 0.5 * height / tall;
        sides = {{{0, 0, camera.hith}, {0, 0, -1}},
                 {{}, {tall, 0, -tall * wide}},
                 {{}, {-tall, 0, -tall * wide}},
                 {{}, {0, wide, -tall * wide}},
                 {{}, {0, -wide, -tall * wide}}};
    }
    // Of a light: sees what may throw a shadow into the view of the camera's eye.
    PlainEye(const PlainEye& eye, const Light& light, const Matrix& view) : pixels(eye.pixels) {
        const vec3 position = view.Transform(light.pos);
        std::ranges::copy_if(eye.sides, std::back_inserter(sides),
                             [&](auto& side) { return !side.Excludes({position}); });
        const vec3 towards = light.pointat - light.pos;
        if (light.angle == 90) sides.push_back({position, view.Rotate(towards)});
        if (light.angle >= 90) return;
        const Matrix frame = view * Matrix::Frame(light.pos, towards, {0, 1, 0});
        const float angle = light.angle * std::numbers::pi_v<float> / 180;
        const float c = std::cos(angle);
        const float s = std::sin(angle);
        for (const vec3& normal :
             {vec3{0, 0, 1}, vec3{0, c, s}, vec3{0, -c, s}, vec3{c, 0, s}, vec3{-c, 0, s}})
            sides.push_back({position, frame.Rotate(normal)});
    }
    bool Sees(Object* object, const Matrix& m) {
        if (object->mesh == nullptr || rejected.contains(object)) return false;
        const GeoImage& mesh = *object->mesh;
        const vec3 centre = m.Translation();
        const Points box = Corners(mesh.boundsMin, mesh.boundsMax, m);
        const bool tiny = mesh.radius * pixels / std::max(-centre.z, 1e-4F) < 0.5;
        const bool seen = !tiny && !Outside({centre}, mesh.radius) && !Outside(box) &&
                          BoxShows(box) && SphereShows(centre, mesh.radius);
        if (!seen) rejected.insert(object);
        auto note = seen ? &VisibilityStream::Seen : &VisibilityStream::Rejected;
        if (tiny) note = &VisibilityStream::Tiny;
        if (record != nullptr) (record->*note)({m[12], m[13], m[14]}, mesh.radius);
        return seen;
    }
    std::vector<Object*> Children(Object* object, const Matrix& m) const {
        std::vector<Object*> found;
        const bool in = !object->children.empty() && !Outside({m.Translation()}, object->radius);
        if (in) Walk(object->ChildOctree(), m, found);
        return found;
    }
    // Whether the volume shows that a mesh throws away from a light.
    bool VolumeShows(const GeoImage& mesh, const Matrix& m, const vec3& light, float length) const {
        const vec3 centre = m.Translation();
        const vec3 away = centre - light;
        const float stretch = length / Length(away);
        Points points = Corners(mesh.boundsMin, mesh.boundsMax, m);
        for (std::size_t i = 0; i < 8; ++i)
            points.push_back(points[i] + Normalise(points[i] - light) * length);
        return std::ranges::none_of(sides, [&](const Side& side) {
            return side.Excludes(points) ||
                   (side.Excludes({centre}, mesh.radius) &&
                    side.Excludes({centre + away * stretch}, mesh.radius * stretch));
        });
    }
    // Of what lit shaders at a place in camera space reflect, each colour as the eye weighs it.
    static double Intensity(const Light& light, const Matrix& view, const vec3& place,
                            const std::vector<Shader>& shaders) {
        const vec3 way = view.Transform(light.pos) - place;
        const double far = Length(way);
        double value = 0;
        for (const Shader& shader : shaders) {
            const auto& [ambient, diffuse, specular, shininess, emission] = shader.material;
            if (!shader.lit) continue;
            value += 0.299 * (diffuse.r + specular.r) * light.color.r +
                     0.587 * (diffuse.g + specular.g) * light.color.g +
                     0.114 * (diffuse.b + specular.b) * light.color.b;
        }
        value /= light.falloff.x + light.falloff.y * far + light.falloff.z * far * far;
        if (light.angle < 180) {
            const vec3 axis = view.Rotate(light.pos - light.pointat);
            const double cosine = Dot(Normalise(way), Normalise(axis));
            value *= std::pow(std::max(cosine, 0.1), light.focus);
        }
        return std::isnan(value) ? -INFINITY : value;
    }

private:
    static Points Corners(const vec3& min, const vec3& max, const Matrix& m) {
        Points corners;
        for (const float z : {min.z, max.z}) {
            for (const float y : {min.y, max.y}) {
                for (const float x : {min.x, max.x})
                    corners.push_back(m.Transform({x, y, z}));
            }
        }
        return corners;
    }
    bool Outside(const Points& points, double radius = 0) const {
        return std::ranges::any_of(sides, [&](auto& s) { return s.Excludes(points, radius); });
    }
    bool BoxShows(const Points& p) const {
        if (occlusion == nullptr) return true;
        if (std::ranges::any_of(p, [](const vec3& corner) { return corner.z > 0; })) return true;
        const std::size_t triangles[][3] = {{2, 0, 1}, {3, 2, 1}, {4, 0, 2}, {4, 1, 0},
                                            {5, 1, 4}, {5, 3, 1}, {6, 4, 2}, {6, 2, 3},
                                            {6, 5, 4}, {7, 6, 3}, {7, 3, 5}, {7, 5, 6}};
        for (const auto& [i, j, k] : triangles) {
            const vec3 normal = Cross(p[j] - p[i], p[k] - p[i]);
            if (Dot(normal, p[i]) > 0 && occlusion->TestTriangle(p[i], p[j], p[k])) return true;
        }
        return false;
    }
    bool SphereShows(const vec3& centre, float radius) const {
        if (occlusion == nullptr) return true;
        vec3 u = Cross({1, 0, 0}, centre);
        if (u == vec3()) u = {0, 1, 0};
        const vec3 v = Normalise(Cross(u, centre)) * radius;
        u = Normalise(u) * radius;
        const vec3 front = centre - Normalise(centre) * radius;
        const auto rim = [&](int i) {
            const double angle = i * std::numbers::pi / 4;
            return front + u * float(std::cos(angle)) + v * float(std::sin(angle));
        };
        int side = 0;
        while (side < 8 && !occlusion->TestTriangle(front, rim(side), rim(side + 1)))
            ++side;
        return side < 8;
    }
    void Walk(Octree& node, const Matrix& m, std::vector<Object*>& found) const {
        vec3 min, max;
        node.GetBounds(min, max, true);
        const double half = Length(max - min) / 2;
        const Points box = Corners(min, max, m);
        const bool open = pixels * half / std::max(-m.Translation().z, 1.0F) > 1 &&
                          !Outside({m.Transform((min + max) * 0.5F)}, half) && !Outside(box) &&
                          (node.ObjectCount() <= 1 || BoxShows(box));
        const auto note = open ? &VisibilityStream::NodeAccepted : &VisibilityStream::NodeRejected;
        if (record != nullptr) (record->*note)(m, {min, max});
        if (!open) return;
        node.Objects(found);
        for (int i = 0; i < 8; ++i) {
            if (Octree* child = node.Child(i)) Walk(*child, m, found);
        }
    }
};
