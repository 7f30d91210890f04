// The renderer once more, as plain and slow as its rules can be put: it makes the calls of a frame
// on a driver of its own, to compare whole frames with. Uses nothing of src/renderer.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <map>
#include <numbers>
#include <set>
#include <utility>
#include <vector>

#include "drivers/Driver.h"
#include "geometry/GeoImage.h"
#include "scene/Camera.h"
#include "scene/Room.h"
#include "settings/Settings.h"
#include "settings/Statistics.h"
#include "spatial/Matrix.h"
#include "spatial/Occlusion.h"
#include "spatial/Plane.h"

class PlainRenderer {
public:
    Statistics stats;

    // settings: of the renderer that is compared with.
    explicit PlainRenderer(const Settings& settings) : m_settings(settings) {}
    void BeginFrame(Driver* driver) {
        m_driver = driver;
        if (m_settings.GetInt("P_LODstep") != m_step) m_levels.clear();
        m_step = m_settings.GetInt("P_LODstep");
        m_blend = m_settings.GetBool("F_blend");
        stats.clear();
        for (const char* name : {"NumPasses", "NumDrawn", "NumPolys", "traversed objects",
                                 "rendered objects", "cached visibility", "cache accesses",
                                 "cache hits"})
            stats[name] = 0;
        m_drawn.clear();
        TrimLevels();
    }
    void Render(Room* room, const Camera& camera) {
        m_camera = camera;
        int x = 0;
        int width = 0;
        m_driver->GetViewport(x, x, width, m_height);
        m_view = Matrix::Frame(camera.pos, camera.pos - camera.lookat, camera.up).RigidInverse();
        m_driver->SetupProjection(camera);
        const auto tall = static_cast<float>(std::tan(std::numbers::pi * camera.fov / 360));
        const float wide =
            tall * camera.aspect * static_cast<float>(width) / static_cast<float>(m_height);
        m_eye = {0.5 * m_height / tall, {}, nullptr, {}};
        m_eye.sides = {{{0, 0, camera.hith}, {0, 0, -1}},
                       {{}, {tall, 0, -tall * wide}},
                       {{}, {-tall, 0, -tall * wide}},
                       {{}, {0, wide, -tall * wide}},
                       {{}, {0, -wide, -tall * wide}}};
        m_driver->ClearLights();
        SortLights(*room);

        auto next = m_plain.begin();
        for (bool first = true; first || (next != m_plain.end() && !m_lit.empty()); first = false) {
            m_driver->ClearLights();
            m_driver->LoadMatrix(m_view);
            const auto before = next;
            if (m_virtual) next = m_plain.end();
            while (next != m_plain.end() && m_driver->AddLight(*next))
                ++next;
            m_more = !m_shadow.empty() || next != m_plain.end();
            if (first) {
                FirstPass(room);
            } else if (next != before) {
                DrawLit(false);
            } else {
                break;
            }
        }
        if (!m_lit.empty()) {
            for (const Light* light : m_shadow)
                DrawShadows(room, *light);
        }
        stats["NumPasses"] = m_passes;
    }
    void FinishFrame() {
        if (m_settings.GetBool("F_blend") && !m_blended.empty()) {
            for (const auto& [key, entry] : m_blended) {
                const auto& [m, object] = entry;
                const Shaders& shaders = object->ShaderList(PassBlend);
                Select(m.Translation(), m_blendLights[object], shaders);
                m_driver->LoadMatrix(m);
                DrawList(object, shaders, m, false, false);
            }
            stats["NumPasses"] += 1;
        }
        m_blended.clear();
        m_blendLights.clear();
    }
    void ForgetMesh(GeoImage* mesh) { m_levels.erase(mesh); }
    void ForgetObject(Object* object) {
        std::erase_if(m_blended, [&](auto& entry) { return entry.second.second == object; });
        std::erase_if(m_seen, [&](auto& entry) { return entry.first == object; });
        for (auto& [room, seen] : m_seen)
            seen.erase(object);
    }

private:
    static constexpr std::uint32_t kToken = 1;  // in meshes with levels of their present samples
    using Shaders = std::vector<Shader>;
    using Lights = std::vector<Light*>;
    using Queue = std::multimap<double, std::pair<Matrix, Object*>>;  // by the z of the far side
    // Point and inward normal.
    struct Side {
        vec3 point;
        vec3 normal;
        double Distance(const vec3& p) const { return Dot(p - point, normal) / Length(normal); }
    };
    // What is tested against.
    struct Eye {
        double pixels = 0;  // per unit, one unit ahead
        std::vector<Side> sides;
        Occlusion* occlusion = nullptr;
        std::set<Object*> rejected;

        bool Outside(const vec3& centre, double radius) const {
            return std::any_of(sides.begin(), sides.end(),
                               [&](const Side& side) { return side.Distance(centre) < -radius; });
        }
        bool Outside(const Box& box, const Matrix& m) const {
            return std::any_of(sides.begin(), sides.end(), [&](const Side& side) {
                int outside = 0;
                for (int i = 0; i < 8; ++i)
                    outside += side.Distance(m.Transform(box.Corner(i))) < 0 ? 1 : 0;
                return outside == 8;
            });
        }
        bool BoxShows(const Box& box, const Matrix& m) const {
            if (occlusion == nullptr) return true;
            vec3 p[8];
            bool behind = false;
            for (int i = 0; i < 8; ++i) {
                p[i] = m.Transform(box.Corner(i));
                behind = behind || p[i].z > 0;
            }
            if (behind) return true;
            const int triangles[][3] = {{2, 0, 1}, {3, 2, 1}, {4, 0, 2}, {4, 1, 0},
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
            vec3 u = Normalise(Cross({1, 0, 0}, centre));
            if (u == vec3{}) u = {0, 1, 0};
            const vec3 v = Normalise(Cross(u, centre));
            const vec3 front = centre - Normalise(centre) * radius;
            const auto rim = [&](int i) {
                const float angle = static_cast<float>(i) * std::numbers::pi_v<float> / 4;
                return front + u * (radius * std::cos(angle)) + v * (radius * std::sin(angle));
            };
            for (int i = 1; i <= 8; ++i) {
                if (occlusion->TestTriangle(front, rim(i - 1), rim(i))) return true;
            }
            return false;
        }
        bool Sees(Object* object, const Matrix& m) {
            const auto passes = [&] {
                const GeoImage* mesh = object->mesh;
                if (mesh == nullptr || rejected.contains(object)) return false;
                const vec3 centre = m.Translation();
                if (mesh->radius * pixels / std::max(-centre.z, 1e-4F) < 0.5) return false;
                const Box box{mesh->boundsMin, mesh->boundsMax};
                return !Outside(centre, mesh->radius) && !Outside(box, m) && BoxShows(box, m) &&
                       SphereShows(centre, mesh->radius);
            };
            if (passes()) return true;
            rejected.insert(object);
            return false;
        }
        void Walk(Octree& node, const Matrix& m, std::vector<Object*>& found) const {
            Box box;
            node.GetBounds(box.min, box.max, true);
            const double half = Length(box.max - box.min) / 2;
            const bool accepted = pixels * half / std::max(-m.Translation().z, 1.0F) > 1 &&
                                  !Outside(m.Transform((box.min + box.max) * 0.5F), half) &&
                                  !Outside(box, m) && (node.ObjectCount() <= 1 || BoxShows(box, m));
            if (accepted) node.Objects(found);
            for (int i = 0; i < 8; ++i) {
                Octree* child = node.Child(i);
                if (child == nullptr) continue;
                if (accepted) {
                    Walk(*child, m, found);
                } else {
                    child->GetBounds(box.min, box.max, true);
                }
            }
        }
        std::vector<Object*> Children(Object* object, const Matrix& m) const {
            std::vector<Object*> found;
            if (!object->children.empty() && !Outside(m.Translation(), object->radius)) {
                Walk(object->ChildOctree(), m, found);
            }
            return found;
        }
    };

    const Settings& m_settings;
    Driver* m_driver = nullptr;
    Camera m_camera;
    Matrix m_view;
    Matrix m_lastEye;
    int m_height = 0, m_step = 0;
    Eye m_eye, m_lightEye;
    float m_passes = 1;
    std::ptrdiff_t m_maxLights = 0;
    bool m_virtual = false, m_more = false, m_blend = false;
    Lights m_enabled, m_plain, m_shadow;
    Queue m_lit, m_blended;
    std::map<Object*, Lights> m_blendLights;
    std::set<Object*> m_drawn;
    std::map<Room*, std::map<Object*, Matrix>> m_seen;
    std::map<GeoImage*, std::map<int, GeoImage>> m_levels;
    std::vector<std::pair<GeoImage*, int>> m_entries;  // levels by mesh and key

    static Matrix ModelView(const Object& object, const Matrix& parent) {
        const vec3 eye = parent.RigidInverse().Translation();
        const vec3 point = object.billboard ? eye - object.pos : object.point;
        return parent * Matrix::Frame(object.pos, point, object.up);
    }
    static void Put(Queue& queue, const Matrix& m, Object* object) {
        queue.insert({m[14] - object->Radius(false), {m, object}});
    }
    void SortLights(const Room& room) {
        m_lit.clear();
        m_plain.clear();
        m_shadow.clear();
        m_enabled.clear();
        Color sum = room.ambient;
        const bool shadows = m_settings.GetBool("F_shadows") && m_driver->HasCapability("shadows");
        for (const auto& [name, light] : room.lights) {
            if (!light->active) continue;
            m_enabled.push_back(light);
            (shadows && light->shadows ? m_shadow : m_plain).push_back(light);
            const Color& add = light->global;
            sum = {sum.r + add.r, sum.g + add.g, sum.b + add.b, sum.a + add.a};
        }
        m_driver->SetAmbient(sum.r, sum.g, sum.b, sum.a);
        m_maxLights = static_cast<int>(m_driver->GetCapability("maxlights"));
        m_virtual = m_settings.GetBool("P_virtlights") && std::ssize(m_plain) > m_maxLights;
        m_passes = 1;
        if (m_maxLights <= 0) return;
        std::ptrdiff_t left = m_virtual ? 0 : std::ssize(m_plain);
        for (m_passes += static_cast<float>(m_shadow.size()); left > m_maxLights;
             left -= m_maxLights)
            m_passes += 1;
    }
    void FirstPass(Room* room) {
        const std::map<Object*, Matrix> seen = std::exchange(m_seen[room], {});
        Occlusion* occlusion =
            m_settings.GetBool("P_occlusion") ? m_driver->GetOcclusion() : nullptr;
        if (occlusion != nullptr) {
            for (const auto& [object, matrix] : seen) {
                const Matrix m = m_view * m_lastEye * matrix;
                if (!object->visible || !object->derivedCache.contains(this)) continue;
                if (!m_eye.Sees(object, m)) continue;
                DrawObject(object, m, occlusion);
                stats["cached visibility"] += 1;
            }
            occlusion->Sync();
            m_eye.occlusion = occlusion;
        }
        m_lastEye = m_view.RigidInverse();
        Visit(room, room, m_view, true);
        m_driver->SetAmbient(0, 0, 0, 1);
    }
    void Visit(Room* room, Object* object, const Matrix& parent, bool record) {
        if (!object->active) return;
        const Matrix m = ModelView(*object, parent);
        record = record && !object->billboard;
        stats["traversed objects"] += 1;
        if (object->visible && m_eye.Sees(object, m)) {
            if (record) {
                m_seen[room][object] = m;
                object->derivedCache.insert(this);
            }
            bool drawn = DrawObject(object, m, nullptr);
            if (m_blend && !object->ShaderList(PassBlend).empty()) {
                drawn = true;
                Put(m_blended, m, object);
                m_blendLights[object] = m_enabled;
            }
            stats["rendered objects"] += drawn ? 1 : 0;
        }
        for (Object* child : m_eye.Children(object, m))
            Visit(room, child, m, record);
    }
    bool DrawObject(Object* object, const Matrix& m, Occlusion* occlusion) {
        if (!m_drawn.insert(object).second) return true;
        const Shaders& base = object->ShaderList(PassBase);
        const Shaders& lit = object->ShaderList(PassLight);
        if (base.empty() && lit.empty()) return false;
        if (m_virtual) Select(m.Translation(), m_plain, lit);
        m_driver->LoadMatrix(m);
        if (occlusion != nullptr) occlusion->SetMatrix(m);
        DrawList(object, base, m, true, true, occlusion);
        DrawList(object, lit, m, base.empty(), true, occlusion);
        if (m_more && !lit.empty()) Put(m_lit, m, object);
        return true;
    }
    void DrawList(Object* object, const Shaders& list, const Matrix& m, bool first, bool spread,
                  Occlusion* occlusion = nullptr) {
        int left = m_settings.GetInt("P_shaderDetail");
        for (Shader shader : list) {
            GeoImage* mesh = shader.mesh != nullptr ? shader.mesh : object->mesh;
            if (left < 1 || mesh == nullptr) continue;
            mesh = Level(mesh, m, false);
            const vec3 eye = m.RigidInverse().Translation();
            Color& glow = shader.material.emission;
            const float share = spread ? 1 / m_passes : 1;
            glow = {glow.r * share, glow.g * share, glow.b * share, glow.a * share};
            if (shader.blend == BlendOpaque) shader.blend = first ? BlendReplace : BlendAdd;
            if (!m_driver->RunShader(mesh, &shader, &eye, true)) continue;
            if (occlusion != nullptr) occlusion->AddGeoImage(mesh, shader, eye);
            first = false;
            --left;
            stats["NumDrawn"] += 1;
            stats["NumPolys"] += static_cast<float>((2 * mesh->width - 2) * (mesh->height - 1));
        }
    }
    void DrawLit(bool test) {
        for (const auto& [key, entry] : m_lit) {
            const auto& [m, object] = entry;
            if (test && !m_lightEye.Sees(object, m)) continue;
            m_driver->LoadMatrix(m);
            DrawList(object, object->ShaderList(PassLight), m, false, true);
        }
    }
    GeoImage* Level(GeoImage* mesh, const Matrix& m, bool shadow) {
        if (mesh->error < 0) return mesh;
        stats["cache accesses"] += 1;
        const auto rows = static_cast<float>(mesh->height);
        const auto columns = static_cast<float>(mesh->width);
        float most = m_settings.Get(shadow ? "P_LODmaxShadow" : "P_LODmax");
        const float power = m_settings.Get(shadow ? "P_LODmaxShadowPolys" : "P_LODmaxPolys");
        if (power >= 0) most = std::min(most, std::pow(10.0F, power) / (rows * columns));
        const float scale = shadow ? m_settings.Get("P_shadowLOD") : 1;
        const float distance = Length(m.Translation());
        const float detail = std::min(std::sqrt(m_settings.Get("P_LODscale")) * scale *
                                          mesh->ProjectedError(distance, m_height, m_camera.fov),
                                      most);
        const int key =
            static_cast<int>(static_cast<float>(m_step) * std::max(rows, columns) * detail);
        if (!mesh->HasToken(kToken)) m_levels.erase(mesh);
        mesh->AddToken(kToken);
        GeoImage* level = m_levels[mesh].contains(key) ? &m_levels[mesh][key] : nullptr;
        const bool kept = level != nullptr && level->samples != nullptr;
        if (kept || detail == 1) stats["cache hits"] += 1;
        if (kept || detail == 1) return kept ? level : mesh;
        if (level == nullptr) m_entries.push_back({mesh, key});
        level = &m_levels[mesh][key];
        GeoImage::Resize(*mesh, *level, detail * rows, detail * columns, 1);
        level->Finish(false);
        return level;
    }
    void TrimLevels() {
        const float drain = m_settings.Get("P_LODdrain");
        const int most = 1 << m_settings.GetInt("P_LODcache");
        const int keep = static_cast<int>((1 - drain) * static_cast<float>(most));
        const int listed = static_cast<int>(m_entries.size());
        for (int i = listed; listed > most && i > keep; --i)
            EvictLevel();
        std::int64_t bytes = 0;
        for (std::size_t i = 0; i < m_entries.size();) {
            const auto [mesh, key] = m_entries[i];
            const bool known = m_levels.contains(mesh);
            if (known) bytes += m_levels[mesh][key].ByteSize();
            known ? ++i : DropEntry(i);
        }
        stats["cache entries"] = static_cast<float>(listed);
        stats["cache size"] = static_cast<float>(bytes);
        const std::int64_t mostBytes = std::int64_t{m_settings.GetInt("P_LODcachesize")} * 1024;
        if (bytes <= mostBytes) return;
        const std::int64_t average = bytes / std::ssize(m_entries);
        const double excess = double(bytes) - double{1 - drain} * double(mostBytes);
        for (int i = static_cast<int>(excess / double(average)); i > 0 && !m_entries.empty(); --i)
            EvictLevel();
    }
    void EvictLevel() {
        const std::size_t i = static_cast<std::size_t>(std::rand()) % m_entries.size();
        const auto [mesh, key] = m_entries[i];
        if (m_levels.contains(mesh) && m_levels[mesh].contains(key)) {
            m_driver->Purge(&m_levels[mesh][key]);
            m_levels[mesh].erase(key);
            if (m_levels[mesh].empty()) m_levels.erase(mesh);
        }
        DropEntry(i);
    }
    // Returns the index, for the one that took its place.
    std::size_t DropEntry(std::size_t i) {
        m_entries[i] = m_entries.back();
        m_entries.pop_back();
        return i;
    }
    void Select(const vec3& position, const Lights& lights, const Shaders& shaders) {
        m_driver->LoadMatrix(m_view);
        m_driver->ClearLights();
        vec3 response;
        bool lit = false;
        for (const Shader& shader : shaders) {
            const Material& material = shader.material;
            if (!shader.lit) continue;
            lit = true;
            response +=
                {material.diffuse.r + material.specular.r, material.diffuse.g + material.specular.g,
                 material.diffuse.b + material.specular.b};
        }
        if (!lit) return;
        std::multimap<double, Light*> ranked;
        for (Light* light : lights) {
            const vec3 way = m_view.Transform(light->pos) - position;
            const double far = Length(way);
            double value =
                (0.299 * response.x * light->color.r + 0.587 * response.y * light->color.g +
                 0.114 * response.z * light->color.b) /
                (light->falloff.x + light->falloff.y * far + light->falloff.z * far * far);
            if (light->angle < 180) {
                const vec3 axis = m_view.Rotate(light->pos - light->pointat);
                const double cosine = Dot(Normalise(way), Normalise(axis));
                value *= std::pow(std::max(cosine, 0.1), light->focus);
            }
            if (std::isnan(value)) value = -std::numeric_limits<double>::infinity();
            ranked.insert({std::ssize(lights) <= m_maxLights ? 0 : -value, light});
        }
        for (const auto& [key, light] : ranked) {
            if (!m_driver->AddLight(light) && std::ssize(lights) > m_maxLights) return;
        }
    }
    vec3 BeginLight(const Light& light) {
        m_lightEye = {m_eye.pixels, {}, nullptr, {}};
        const vec3 position = m_view.Transform(light.pos);
        m_driver->LoadMatrix(m_view);
        m_driver->ClearLights();
        m_driver->AddLight(&light);
        auto& sides = m_lightEye.sides;
        for (const Side& side : m_eye.sides) {
            if (side.Distance(position) >= 0) sides.push_back(side);
        }
        const vec3 towards = light.pointat - light.pos;
        if (light.angle == 90) sides.push_back({position, m_view.Rotate(towards)});
        if (light.angle < 90) {
            const Matrix frame = m_view * Matrix::Frame(light.pos, towards, {0, 1, 0});
            const float angle = light.angle * std::numbers::pi_v<float> / 180;
            const float c = std::cos(angle);
            const float s = std::sin(angle);
            for (const vec3& normal :
                 {vec3{0, 0, 1}, vec3{0, c, s}, vec3{0, -c, s}, vec3{c, 0, s}, vec3{-c, 0, s}}) {
                sides.push_back({position, frame.Rotate(normal)});
            }
        }
        return position;
    }
    void DrawShadows(Room* room, const Light& light) {
        stats["numShadowVolumes"] += 0;
        const vec3 position = BeginLight(light);
        Queue casters;
        if (light.shadowlen > 0) {
            m_driver->StartShadows();
            Cast(room, m_view, light, position, casters);
            m_driver->FinishShadows();
        }
        m_driver->SetShadowTest(true);
        DrawLit(true);
        m_driver->SetShadowTest(false);
        for (const auto& [key, caster] : casters) {
            const auto& [m, object] = caster;
            m_driver->LoadMatrix(m);
            DrawList(object, light.shaders, m, false, false);
            DrawList(object, object->ShaderList(PassShadow), m, false, false);
        }
    }
    void Cast(Object* object, const Matrix& parent, const Light& light, const vec3& position,
              Queue& casters) {
        if (!object->active) return;
        const Matrix m = ModelView(*object, parent);
        const bool shaded = !object->ShaderList(PassShadow).empty();
        if ((object->shadow || shaded) && m_lightEye.Sees(object, m)) {
            if (shaded || (object->shadow && !light.shaders.empty())) Put(casters, m, object);
            if (object->shadow) {
                GeoImage* mesh = Level(object->mesh, m, true);
                const vec3 source = m.RigidInverse().Transform(position);
                if (VolumeShows(*object->mesh, m, m.Transform(source), light.shadowlen)) {
                    m_driver->LoadMatrix(m);
                    m_driver->AddShadow(mesh, &source, light.shadowlen);
                    stats["numShadowVolumes"] += 1;
                }
            }
        }
        for (Object* child : m_lightEye.Children(object, m))
            Cast(child, m, light, position, casters);
    }
    bool VolumeShows(const GeoImage& mesh, const Matrix& m, const vec3& light, float length) const {
        const vec3 centre = m.Translation();
        const vec3 away = centre - light;
        const float stretch = length / Length(away);
        return std::none_of(m_eye.sides.begin(), m_eye.sides.end(), [&](const Side& side) {
            if (side.Distance(centre) < -mesh.radius &&
                side.Distance(centre + away * stretch) < -mesh.radius * stretch) {
                return true;
            }
            int outside = 0;
            for (int i = 0; i < 8; ++i) {
                const vec3 corner = m.Transform(Box{mesh.boundsMin, mesh.boundsMax}.Corner(i));
                const vec3 ray = Normalise(corner - light) * length;
                outside += side.Distance(corner) < 0 && side.Distance(corner + ray) < 0 ? 1 : 0;
            }
            return outside == 8;
        });
    }
};
