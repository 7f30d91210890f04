// The order of work of one frame: snapshot, view, lights, passes, blended objects, statistics.
#include "renderer/Renderer.h"

#include "renderer/RendererSettings.h"
#include "drivers/Driver.h"
#include "scene/Light.h"
#include "scene/Object.h"
#include "scene/Room.h"
#include "settings/StatisticNames.h"

#include <algorithm>
#include <cmath>
#include <utility>

using namespace renderer_settings;

namespace {

constexpr float kMostLights = 1e6F;  // keeps the driver's figure within an int

// A budget is declared as a decimal logarithm; negative stays as it is, for no limit.
float SampleBudget(float setting) {
    return setting >= 0 ? std::pow(10.0F, setting) : setting;
}

int Truncated(float value, float limit) {
    return value > -limit ? static_cast<int>(std::min(value, limit)) : 0;
}

}  // namespace

void Renderer::BeginFrame(Driver* driver) {
    m_driver = driver;
    m_lodMax = Get(kMaxDetail);
    m_lodScale = Get(kDetailScale);
    const int lodStep = GetInt(kDetailSteps);
    if (lodStep != m_lodStep) ForgetLevels();  // their keys would mean another detail now
    m_lodStep = lodStep;
    m_shadowLOD = Get(kShadowDetail);
    m_lodMaxShadow = Get(kMaxShadowDetail);
    m_blendEnabled = GetBool(kBlend);
    m_shaderDetail = GetInt(kShaderBudget);
    m_mipmesh = GetBool(kMipmesh);
    m_maxPolys = SampleBudget(Get(kMaxSamples));
    m_maxShadowPolys = SampleBudget(Get(kMaxShadowSamples));
    m_stats.clear();
    m_counters = Counters();
    CleanGeoImageCache();
    m_drawnObjects.Clear();
    m_viewCuller.SetOcclusion(nullptr);
}

void Renderer::Render(Room* room, Camera camera) {
    if (!room) return;
    m_camera = camera;
    SetupView();
    m_driver->ClearLights();
    SortLights(*room);
    m_numPasses = CountPasses();
    RenderLightBatches(room, m_plainLights, !m_shadowLights.empty());
    if (!m_shadowLights.empty() && !m_litObjects.empty()) RenderShadows(room, m_shadowLights);
    m_counters.passes = m_numPasses;
}

void Renderer::FinishFrame() {
    if (GetBool(kBlend) && !m_blendObjects.empty()) {
        DrawBlendObjects();
        m_counters.passes += 1;
    }
    DropFrameLists();
    m_viewCuller.End();
    PublishStatistics();
}

// Lights and objects may be deleted between frames: nothing here may outlive the frame.
void Renderer::DropFrameLists() {
    m_litObjects.clear();
    m_blendObjects.clear();
    m_objectLights.clear();
    m_lightSets.clear();
    m_plainLights.clear();
    m_shadowLights.clear();
}

void Renderer::SetupView() {
    int x = 0;
    int y = 0;
    m_driver->GetViewport(x, y, m_viewWidth, m_viewHeight);
    const Matrix eye = Matrix::Frame(m_camera.pos, m_camera.pos - m_camera.lookat, m_camera.up);
    m_matrixStack.assign(1, eye.RigidInverse());
    m_driver->SetupProjection(m_camera);
    m_viewCuller.Begin(static_cast<float>(m_viewHeight), m_camera.fov, GetBool(kRecordVisibility));
    m_viewCuller.SetMatrix(m_matrixStack.front());
    AddFrustumPlanes();
}

// The camera looks along -z. The first plane lies hith BEHIND the eye, so that meshes around the
// eye are kept; nothing bounds the view in the distance.
void Renderer::AddFrustumPlanes() {
    const float tangent = HalfViewTangent(m_camera.fov);
    const float wide = tangent * m_camera.aspect * static_cast<float>(m_viewWidth) /
                       static_cast<float>(m_viewHeight);
    const float slant = -tangent * wide;
    const vec3 eye;
    m_viewCuller.AddPlane({0, 0, m_camera.hith}, {0, 0, -1});
    m_viewCuller.AddPlane(eye, {tangent, 0, slant});
    m_viewCuller.AddPlane(eye, {-tangent, 0, slant});
    m_viewCuller.AddPlane(eye, {0, wide, slant});
    m_viewCuller.AddPlane(eye, {0, -wide, slant});
}

void Renderer::SortLights(const Room& room) {
    m_litObjects.clear();
    m_plainLights.clear();
    m_shadowLights.clear();
    Color ambient = room.ambient;
    LightList& enabled = m_lightSets.emplace_back();
    const bool shadows = ShadowsOn();
    for (const auto& [name, light] : room.lights) {
        if (!light || !light->active) continue;
        enabled.push_back(light);
        (shadows && light->shadows ? m_shadowLights : m_plainLights).push_back(light);
        ambient.r += light->global.r;
        ambient.g += light->global.g;
        ambient.b += light->global.b;
        ambient.a += light->global.a;
    }
    m_driver->SetAmbient(ambient.r, ambient.g, ambient.b, ambient.a);
    m_maxLights = Truncated(m_driver->GetCapability("maxlights"), kMostLights);
    m_virtualLights = GetBool(kVirtualLights) &&
                      std::ssize(m_plainLights) > static_cast<std::ptrdiff_t>(m_maxLights);
}

bool Renderer::ShadowsOn() const {
    return GetBool(kShadows) && m_driver->HasCapability("shadows");
}

int Renderer::CountPasses() const {
    if (m_maxLights <= 0) return 1;
    const int shadowPasses = static_cast<int>(m_shadowLights.size());
    if (m_virtualLights || m_plainLights.empty()) return shadowPasses + 1;
    return shadowPasses + (static_cast<int>(m_plainLights.size()) - 1) / m_maxLights + 1;
}

void Renderer::RenderLightBatches(Room* room, const LightList& lights, bool shadowsFollow) {
    auto next = lights.begin();
    for (bool firstPass = true; firstPass || (next != lights.end() && !m_litObjects.empty());
         firstPass = false) {
        m_driver->ClearLights();
        m_driver->LoadMatrix(m_matrixStack.front());
        const auto batch = next;
        if (m_virtualLights) {
            next = lights.end();  // every object selects its own
        } else {
            while (next != lights.end() && m_driver->AddLight(*next))
                ++next;
        }
        if (firstPass) {
            RenderFirstPass(room, shadowsFollow || next != lights.end());
        } else if (next == batch) {
            return;  // the driver takes none of the rest
        } else {
            DrawLightPass(false);
        }
    }
}

void Renderer::RenderFirstPass(Room* room, bool moreFollow) {
    VisibleSet& entry = m_visCache[room];
    m_lastVisible.Swap(entry);
    Occlusion* occlusion = GetBool(kOcclusion) ? m_driver->GetOcclusion() : nullptr;
    if (occlusion) DrawCachedVisible(m_lastVisible, occlusion, moreFollow);
    m_inverseView = m_matrixStack.front().RigidInverse();
    Traverse(room, moreFollow, entry, true);
    m_lastVisible.Clear();
    m_driver->SetAmbient(0, 0, 0, 1);  // later passes add light only
}

// Blended surfaces get selected lights, never the batches of the passes before.
void Renderer::DrawBlendObjects() {
    for (const DepthKey& entry : m_blendObjects) {
        if (!entry.object) continue;
        const ShaderList& shaders = entry.object->ShaderList(PassBlend);
        SelectLights(entry.matrix.Translation(), *m_objectLights.at(entry.object), m_maxLights,
                     shaders);
        m_driver->LoadMatrix(entry.matrix);
        DrawShaderList(entry.object, shaders, entry.matrix,
                       {.first = false, .spreadEmission = false, .occlusion = nullptr});
    }
}

void Renderer::PublishStatistics() {
    const auto publish = [this](const char* name, std::int64_t value) {
        m_stats[name] = static_cast<float>(value);
    };
    publish(stat_names::kPasses, m_counters.passes);
    publish(stat_names::kDrawn, m_counters.drawn);
    publish(stat_names::kPolys, m_counters.polys);
    publish(stat_names::kTraversed, m_counters.traversed);
    publish(stat_names::kRendered, m_counters.rendered);
    publish(stat_names::kCachedVisibility, m_counters.cachedVisibility);
    publish(stat_names::kCacheAccesses, m_counters.cacheAccesses);
    publish(stat_names::kCacheHits, m_counters.cacheHits);
    publish(stat_names::kCacheEntries, m_counters.cacheEntries);
    publish(stat_names::kCacheSize, m_counters.cacheSize);
    if (m_counters.shadowVolumes) publish(stat_names::kShadowVolumes, *m_counters.shadowVolumes);
}
