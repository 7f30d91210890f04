// The order of work of one frame: snapshot, view, lights, passes, blended objects, statistics.
#include "renderer/Renderer.h"

#include "renderer/RendererSettings.h"
#include "drivers/Driver.h"
#include "drivers/DriverSettings.h"
#include "scene/Light.h"
#include "scene/Object.h"
#include "scene/Room.h"
#include "settings/StatisticNames.h"
#include "spatial/CameraSpace.h"
#include "spatial/Truncate.h"

#include <algorithm>
#include <cstddef>
#include <optional>

using namespace renderer_settings;

namespace {

constexpr double kMostLights = 1e6;  // keeps the driver's figure within an int
constexpr Color kNoAmbient{0, 0, 0, 1};

}  // namespace

void Renderer::BeginFrame(Driver* driver) {
    m_driver = driver;
    const int lastSteps = m_settings.detailSteps;
    m_settings = FrameSettings(*this);
    if (m_settings.detailSteps != lastSteps) m_details.Clear();  // their keys had another meaning
    m_stats.clear();
    m_counters = FrameCounters();
    CleanGeoImageCache();
    m_lists.drawn.Clear();
}

void Renderer::Render(Room* room, Camera camera) {
    if (!room) return;
    m_view.camera = camera;
    SetupView();
    m_driver->ClearLights();
    SortLights(*room);
    RenderLightBatches(room);
    if (!m_lists.shadowLights.empty() && !m_lists.lit.IsEmpty()) RenderShadows(room);
    m_counters.passes = m_view.passes;
}

void Renderer::FinishFrame() {
    if (GetBool(kBlend) && !m_lists.blended.IsEmpty()) {
        DrawBlendObjects();
        m_counters.passes += 1;
    }
    m_lists.Clear();
    m_viewCuller.End();
    PublishStatistics();
}

void Renderer::SetupView() {
    int x = 0;
    int y = 0;
    m_driver->GetViewport(x, y, m_view.width, m_view.height);
    const Camera& camera = m_view.camera;
    const Matrix eye = Matrix::Frame(camera.pos, camera.pos - camera.lookat, camera.up);
    m_matrixStack.assign(1, eye.RigidInverse());
    m_driver->SetupProjection(camera);
    m_viewCuller.Begin(static_cast<float>(m_view.height), camera.fov, GetBool(kRecordVisibility));
    AddFrustumPlanes();
}

// The camera looks along -z. The first plane lies hith BEHIND the eye, so that meshes around the
// eye are kept; nothing bounds the view in the distance.
void Renderer::AddFrustumPlanes() {
    const auto tangent = static_cast<float>(HalfViewTangent(m_view.camera.fov));
    const float wide = tangent * m_view.camera.aspect * static_cast<float>(m_view.width) /
                       static_cast<float>(m_view.height);
    const float slant = -tangent * wide;
    const vec3 eye;
    m_viewCuller.AddPlane({0, 0, m_view.camera.hith}, {0, 0, -1});
    m_viewCuller.AddPlane(eye, {tangent, 0, slant});
    m_viewCuller.AddPlane(eye, {-tangent, 0, slant});
    m_viewCuller.AddPlane(eye, {0, wide, slant});
    m_viewCuller.AddPlane(eye, {0, -wide, slant});
}

void Renderer::SortLights(const Room& room) {
    m_lists.lit.Clear();
    Color ambient = room.ambient;
    LightList& enabled = m_lists.BeginLights();
    const bool shadows =
        GetBool(kShadows) && m_driver->HasCapability(driver_capabilities::kShadows);
    for (const auto& [name, light] : room.lights) {
        if (!light || !light->active) continue;
        enabled.push_back(light);
        (shadows && light->shadows ? m_lists.shadowLights : m_lists.plainLights).push_back(light);
        ambient.r += light->global.r;
        ambient.g += light->global.g;
        ambient.b += light->global.b;
        ambient.a += light->global.a;
    }
    m_driver->SetAmbient(ambient.r, ambient.g, ambient.b, ambient.a);
    const double most = m_driver->GetCapability(driver_capabilities::kMaxLights);
    m_view.maxLights = Truncated(std::min(most, kMostLights));
    m_view.virtualLights = GetBool(kVirtualLights) &&
                           std::ssize(m_lists.plainLights) > std::ptrdiff_t{m_view.maxLights};
    m_view.passes = CountPasses();
}

int Renderer::CountPasses() const {
    if (m_view.maxLights <= 0) return 1;
    const int shadowPasses = static_cast<int>(m_lists.shadowLights.size());
    const int plain = static_cast<int>(m_lists.plainLights.size());
    if (m_view.virtualLights || plain == 0) return shadowPasses + 1;
    return shadowPasses + (plain - 1) / m_view.maxLights + 1;
}

void Renderer::RenderLightBatches(Room* room) {
    const LightList& lights = m_lists.plainLights;
    auto next = lights.begin();
    for (bool firstPass = true; firstPass || (next != lights.end() && !m_lists.lit.IsEmpty());
         firstPass = false) {
        m_driver->ClearLights();
        m_driver->LoadMatrix(ViewMatrix());
        const auto batch = next;
        if (m_view.virtualLights) {
            next = lights.end();  // every object selects its own
        } else {
            while (next != lights.end() && m_driver->AddLight(*next))
                ++next;
        }
        if (firstPass) {
            RenderFirstPass(room, !m_lists.shadowLights.empty() || next != lights.end());
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
    m_inverseView = ViewMatrix().RigidInverse();
    Traverse(room, moreFollow, entry, true);
    m_lastVisible.Clear();
    // Later passes add light only.
    m_driver->SetAmbient(kNoAmbient.r, kNoAmbient.g, kNoAmbient.b, kNoAmbient.a);
}

void Renderer::SelectLights(const vec3& position, const LightList& lights,
                            const ShaderList& shaders) {
    m_driver->LoadMatrix(ViewMatrix());
    m_driver->ClearLights();
    const std::optional<Color> response = LightResponse(shaders);
    if (!response) return;
    if (std::ssize(lights) <= m_view.maxLights) {
        for (const Light* light : lights)
            m_driver->AddLight(light);
        return;
    }
    RankLights(lights, ViewMatrix(), position, *response, m_rankedLights);
    // Of thousands of lights only those that the driver takes are ever put in order.
    while (!m_rankedLights.empty() && m_driver->AddLight(lights[m_rankedLights.front().index]))
        DropFront(m_rankedLights);
}

// Blended surfaces get selected lights, never the batches of the passes before.
void Renderer::DrawBlendObjects() {
    m_lists.blended.ForEach([this](const DepthKey& entry) {
        const ShaderList& shaders = entry.object->ShaderList(PassBlend);
        SelectLights(entry.matrix.Translation(), m_lists.LightsOf(entry.object), shaders);
        m_driver->LoadMatrix(entry.matrix);
        DrawShaderList(entry.object, shaders, entry.matrix,
                       {.first = false, .spreadEmission = false, .occlusion = nullptr});
    });
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
