// The renderer once more, as plain and slow as its rules can be put: it makes the calls of a frame
// on a driver of its own, to compare whole frames with. Uses nothing of src/renderer.
#pragma once

#include <cstdlib>
#include <map>
#include <utility>

#include "PlainEye.h"

#include "drivers/Driver.h"
#include "scene/Room.h"
#include "settings/Settings.h"
#include "settings/Statistics.h"

class PlainRenderer {
public:
    Statistics stats;

    // settings: of the renderer compared with. record: the path of a record like its own.
    PlainRenderer(const Settings& settings, const std::string& record)
        : m_settings(settings), m_record(record) {}
    void BeginFrame(Driver* driver) {
        m_driver = driver;
        if (m_settings.GetInt("P_LODstep") != m_step) m_levels.clear();
        m_step = m_settings.GetInt("P_LODstep");
        m_blend = m_settings.GetBool("F_blend");
        stats = {{"NumPasses", 0},         {"NumDrawn", 0},         {"NumPolys", 0},
                 {"traversed objects", 0}, {"rendered objects", 0}, {"cached visibility", 0},
                 {"cache accesses", 0},    {"cache hits", 0}};
        m_drawn.clear();
        TrimLevels();
    }
    void Render(Room* room, const Camera& camera) {
        m_camera = camera;
        int x = 0, width = 0;
        m_driver->GetViewport(x, x, width, m_height);
        m_view = Matrix::Frame(camera.pos, camera.pos - camera.lookat, camera.up).RigidInverse();
        m_driver->SetupProjection(camera);
        m_eye = PlainEye(camera, width, m_height);
        m_eye.record = m_settings.GetBool("R_recordvis") ? &m_record : nullptr;
        if (m_eye.record != nullptr) m_record.Open();
        m_driver->ClearLights();
        SortLights(*room);
        std::size_t next = LoadLights(0);
        m_more = !m_shadow.empty() || next < m_plain.size();
        FirstPass(room);
        while (next < m_plain.size() && !m_lit.empty()) {
            const std::size_t loaded = std::exchange(next, LoadLights(next));
            if (next == loaded) break;
            DrawLit(nullptr);
        }
        for (const Light* light : m_shadow)
            DrawShadows(room, *light);
        stats["NumPasses"] = m_passes;
    }
    void FinishFrame() {
        if (!m_settings.GetBool("F_blend")) m_blended.clear();
        stats["NumPasses"] += m_blended.empty() ? 0 : 1;
        for (const auto& [key, entry] : m_blended) {
            const auto& [m, object] = entry;
            const Shaders& shaders = object->ShaderList(PassBlend);
            Select(m.Translation(), m_blendLights[object], shaders);
            m_driver->LoadMatrix(m);
            DrawList(object, shaders, m, false, false);
        }
        m_blended.clear();
    }
    void ForgetMesh(GeoImage* mesh) { m_levels.erase(mesh); }
    void ForgetObject(Object* object) {
        std::erase_if(m_blended, [&](auto& entry) { return entry.second.second == object; });
        m_seen.erase(object);
        if (object->parent == nullptr) m_seen.clear();  // a room
    }

private:
    static constexpr std::uint32_t kToken = 1;  // in meshes with levels of their present samples
    using Shaders = std::vector<Shader>;
    using Lights = std::vector<Light*>;
    using Queue = std::multimap<double, std::pair<Matrix, Object*>>;  // by the z of the far side

    const Settings& m_settings;
    VisibilityStream m_record;
    Driver* m_driver = nullptr;
    Camera m_camera;
    Matrix m_view, m_lastEye;
    PlainEye m_eye;
    int m_height = 0, m_step = 0, m_maxLights = 0;
    float m_passes = 1;
    bool m_virtual = false, m_more = false, m_blend = false;
    Lights m_enabled, m_plain, m_shadow;
    Queue m_lit, m_blended, m_casters;
    std::map<Object*, Lights> m_blendLights;
    std::set<Object*> m_drawn;
    std::map<Object*, Matrix> m_seen;
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
        m_enabled = m_plain = m_shadow = {};
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
        m_passes += float(m_shadow.size());
        if (!m_virtual && !m_plain.empty()) m_passes += float((m_plain.size() - 1) / m_maxLights);
    }
    // As many plain lights as the driver takes from there on. Returns the first one left.
    std::size_t LoadLights(std::size_t next) {
        m_driver->ClearLights();
        m_driver->LoadMatrix(m_view);
        if (m_virtual) return m_plain.size();
        while (next < m_plain.size() && m_driver->AddLight(m_plain[next]))
            ++next;
        return next;
    }
    void FirstPass(Room* room) {
        const std::map<Object*, Matrix> seen = std::exchange(m_seen, {});
        Occlusion* occlusion = m_driver->GetOcclusion();
        if (occlusion != nullptr && m_settings.GetBool("P_occlusion")) {
            for (const auto& [object, matrix] : seen) {
                const Matrix m = m_view * m_lastEye * matrix;
                const bool known = object->derivedCache.contains(this);
                if (!object->visible || !known || !m_eye.Sees(object, m)) continue;
                DrawObject(object, m, occlusion);
                stats["cached visibility"] += 1;
            }
            occlusion->Sync();
            m_eye.occlusion = occlusion;
        }
        m_lastEye = m_view.RigidInverse();
        Visit(room, m_view, true);
        m_driver->SetAmbient(0, 0, 0, 1);
    }
    void Visit(Object* object, const Matrix& parent, bool record) {
        if (!object->active) return;
        const Matrix m = ModelView(*object, parent);
        record = record && !object->billboard;
        stats["traversed objects"] += 1;
        if (object->visible && m_eye.Sees(object, m)) {
            if (record) m_seen[object] = m;
            if (record) object->derivedCache.insert(this);
            const bool blended = m_blend && !object->ShaderList(PassBlend).empty();
            stats["rendered objects"] += DrawObject(object, m, nullptr) || blended ? 1 : 0;
            if (blended) Put(m_blended, m, object);
            if (blended) m_blendLights[object] = m_enabled;
        }
        for (Object* child : m_eye.Children(object, m))
            Visit(child, m, record);
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
            mesh = Level(mesh, m, "");
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
    // What was put by, under one batch of lights. eye: of the light, tests each; or null.
    void DrawLit(PlainEye* eye) {
        for (const auto& [key, entry] : m_lit) {
            const auto& [m, object] = entry;
            if (eye != nullptr && !eye->Sees(object, m)) continue;
            m_driver->LoadMatrix(m);
            DrawList(object, object->ShaderList(PassLight), m, false, true);
        }
    }
    // kind: "Shadow" for what volumes are made of, which has limits of its own.
    GeoImage* Level(GeoImage* mesh, const Matrix& m, const std::string& kind) {
        if (mesh->error < 0) return mesh;
        stats["cache accesses"] += 1;
        const auto rows = float(mesh->height);
        const auto columns = float(mesh->width);
        float most = m_settings.Get("P_LODmax" + kind);
        const float power = m_settings.Get("P_LODmax" + kind + "Polys");
        if (power >= 0) most = std::min(most, std::pow(10.0F, power) / (rows * columns));
        const float scale = kind.empty() ? 1 : m_settings.Get("P_shadowLOD");
        const float wanted = std::sqrt(m_settings.Get("P_LODscale")) * scale *
                             mesh->ProjectedError(Length(m.Translation()), m_height, m_camera.fov);
        const float detail = std::min(wanted, most);
        const int key = static_cast<int>(float(m_step) * std::max(rows, columns) * detail);
        if (!mesh->HasToken(kToken)) m_levels.erase(mesh);
        mesh->AddToken(kToken);
        std::map<int, GeoImage>& levels = m_levels[mesh];
        const bool kept = levels.contains(key) && levels[key].samples != nullptr;
        stats["cache hits"] += kept || detail == 1 ? 1 : 0;
        if (!kept && detail == 1) return mesh;
        if (!levels.contains(key)) m_entries.push_back({mesh, key});
        GeoImage& level = levels[key];
        if (!kept) GeoImage::Resize(*mesh, level, detail * rows, detail * columns, 1);
        if (!kept) level.Finish(false);
        return &level;
    }
    void TrimLevels() {
        const float kept = 1 - m_settings.Get("P_LODdrain");
        const int most = 1 << m_settings.GetInt("P_LODcache");
        const auto listed = int(m_entries.size());
        stats["cache entries"] = float(listed);
        if (listed > most) EvictLevels(listed - int(kept * float(most)));
        std::int64_t bytes = 0;
        for (std::size_t i = 0; i < m_entries.size();) {
            const auto [mesh, key] = m_entries[i];
            const bool known = m_levels.contains(mesh);
            if (known) bytes += m_levels[mesh][key].ByteSize();
            if (!known) DropEntry(i);
            i += known ? 1 : 0;
        }
        stats["cache size"] = float(bytes);
        const double mostBytes = 1024.0 * m_settings.GetInt("P_LODcachesize");
        if (double(bytes) <= mostBytes) return;
        const auto average = double(bytes / std::ssize(m_entries));
        EvictLevels(int((double(bytes) - kept * mostBytes) / average));
    }
    void EvictLevels(int count) {
        for (; count > 0 && !m_entries.empty(); --count) {
            const std::size_t i = static_cast<std::size_t>(std::rand()) % m_entries.size();
            const auto [mesh, key] = m_entries[i];
            if (m_levels.contains(mesh) && m_levels[mesh].contains(key)) {
                m_driver->Purge(&m_levels[mesh][key]);
                m_levels[mesh].erase(key);
                if (m_levels[mesh].empty()) m_levels.erase(mesh);
            }
            DropEntry(i);
        }
    }
    void DropEntry(std::size_t i) {
        m_entries[i] = m_entries.back();
        m_entries.pop_back();
    }
    void Select(const vec3& place, const Lights& lights, const Shaders& shaders) {
        m_driver->LoadMatrix(m_view);
        m_driver->ClearLights();
        if (std::ranges::none_of(shaders, &Shader::lit)) return;
        const bool few = std::ssize(lights) <= m_maxLights;
        std::multimap<double, Light*> ranked;
        for (Light* light : lights)
            ranked.insert({few ? 0 : -PlainEye::Intensity(*light, m_view, place, shaders), light});
        for (const auto& [key, light] : ranked) {
            if (!m_driver->AddLight(light) && !few) return;
        }
    }
    void DrawShadows(Room* room, const Light& light) {
        if (m_lit.empty()) return;
        stats["numShadowVolumes"] += 0;
        m_driver->LoadMatrix(m_view);
        m_driver->ClearLights();
        m_driver->AddLight(&light);
        PlainEye eye(m_eye, light, m_view);
        m_casters.clear();
        if (light.shadowlen > 0) {
            m_driver->StartShadows();
            Cast(room, m_view, light, eye);
            m_driver->FinishShadows();
        }
        m_driver->SetShadowTest(true);
        DrawLit(&eye);
        m_driver->SetShadowTest(false);
        for (const auto& [key, entry] : m_casters) {
            const auto& [m, object] = entry;
            m_driver->LoadMatrix(m);
            DrawList(object, light.shaders, m, false, false);
            DrawList(object, object->ShaderList(PassShadow), m, false, false);
        }
    }
    void Cast(Object* object, const Matrix& parent, const Light& light, PlainEye& eye) {
        if (!object->active) return;
        const Matrix m = ModelView(*object, parent);
        const bool shaded = !object->ShaderList(PassShadow).empty();
        const bool seen = (object->shadow || shaded) && eye.Sees(object, m);
        if (seen && (shaded || !light.shaders.empty())) Put(m_casters, m, object);
        if (seen && object->shadow) {
            GeoImage* mesh = Level(object->mesh, m, "Shadow");
            const vec3 source = m.RigidInverse().Transform(m_view.Transform(light.pos));
            if (m_eye.VolumeShows(*object->mesh, m, m.Transform(source), light.shadowlen)) {
                m_driver->LoadMatrix(m);
                m_driver->AddShadow(mesh, &source, light.shadowlen);
                stats["numShadowVolumes"] += 1;
            }
        }
        for (Object* child : eye.Children(object, m))
            Cast(child, m, light, eye);
    }
};
