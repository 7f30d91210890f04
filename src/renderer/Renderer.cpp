// Settings, lifecycle, the bounds of the detail cache and the light of a shadow pass.
// Knows nothing of what is drawn.
#include "renderer/Renderer.h"

#include "renderer/RendererSettings.h"
#include "drivers/Driver.h"
#include "scene/Light.h"
#include "scene/Room.h"

#include <cassert>
#include <cmath>
#include <numbers>

using namespace renderer_settings;

namespace {

struct Declaration {
    const char* name;
    float min;
    float max;
    float step;
    float initial;
    const char* description;
};

constexpr Declaration kSettings[] = {
    {kFeatures, 0, 0, 0, 0, "Rendering features"},
    {kBlend, 0, 1, 1, 1, "Enable blended effect passes"},
    {kFunctors, 0, 1, 1, 1, "Enable mesh functors (reflections and other effects)"},
    {kShadows, 0, 1, 1, 0, "Enable shadows"},
    {kTweaks, 0, 0, 0, 0, "Performance/quality tweaks"},
    {kMaxDetail, 0, 20, 0.1F, 1, "Maximum mesh detail (>1 = add more detail!)"},
    {kMaxSamples, -1, 10, 0.1F, -1, "Maximum polys allowed in a mesh (10^; -1 = Inf)"},
    {kDetailScale, 0, 1000, 0.1F, 1, "Global mesh detail scale"},
    {kCacheEntries, 0, 16, 1, 12, "Number of entries in the LOD cache (exponential)"},
    {kCacheKilobytes, 0, 1048576, 1024, 32768, "Size of LOD cache (in kilobytes)"},
    {kCacheDrain, 0, 1, 0.01F, 0.1F, "Ratio of extra to drain from LOD cache on full"},
    {kDetailSteps, 1, 64, 1, 8, "Granularity of LOD cache (higher = finer)"},
    {kShaderBudget, 0, 1000, 1, 4, "Maximum number of detail levels per object pass"},
    {kShadowDetail, 0, 2, 0.1F, 1, "Shadow detail (relative to global detail)"},
    {kMaxShadowDetail, 0, 20, 0.1F, 1, "Maximum shadow detail"},
    {kMaxShadowSamples, -1, 10, 0.1F, -1, "Maximum polys allowed in a shadow (10^; -1 = Inf)"},
    {kMipmesh, 0, 1, 1, 1, "Whether to mipmap mesh LOD decimation"},
    {kOcclusion, 0, 1, 1, 1, "Whether to use the occlusion buffer (if available)"},
    {kVirtualLights, 0, 1, 1, 1, "Virtualize lights instead of doing multipass"},
    {kDebugging, 0, 0, 0, 0, "Renderer debugging settings"},
    {kRecordVisibility, 0, 1, 1, 0, "Record the visibility stream"},
};

constexpr std::size_t kUsualTreeDepth = 32;  // deeper trees let the matrix stack grow once
constexpr float kHemisphereAngle = 90;       // degrees; a spot this wide lights a half-space

}  // namespace

Renderer::Renderer() {
    for (const Declaration& setting : kSettings) {
        Declare(setting.name, setting.min, setting.max, setting.step, setting.description) =
            setting.initial;
    }
    m_matrixStack.reserve(kUsualTreeDepth);
}

Renderer::~Renderer() = default;

void Renderer::ForgetMesh(GeoImage* mesh) {
    m_details.Forget(mesh);
}

void Renderer::ForgetObject(Object* object) {
    // A room is looked up by its address alone: it may be half destroyed already.
    for (auto entry = m_visCache.begin(); entry != m_visCache.end();) {
        if (static_cast<Object*>(entry->first) == object) {
            entry = m_visCache.erase(entry);
        } else {
            entry->second.Remove(object);
            ++entry;
        }
    }
    m_lists.Forget(object);
}

// Brings the cache below its bounds, both of which it may have outgrown in the frame before. The
// frame reports the entries before and the bytes after the first trim.
void Renderer::CleanGeoImageCache() {
    const auto purge = [this](GeoImage* level) { m_driver->Purge(level); };
    const float kept = m_settings.keptShare;
    const auto mostLevels = m_settings.mostLevels;
    m_counters.cacheEntries = std::ssize(m_details.Entries());
    m_details.TrimEntries(mostLevels, static_cast<int>(kept * static_cast<float>(mostLevels)),
                          purge);
    if (!m_details.IsEven()) {
        for (const auto& [key, mesh] : m_details.Entries())
            assert(mesh != __null);
    }
    m_counters.cacheSize = m_details.Settle();
    m_details.TrimBytes(m_counters.cacheSize, m_settings.mostBytes,
                        double{kept} * static_cast<double>(m_settings.mostBytes), purge);
}

// Loads one light alone and leaves in m_lightCuller the space in which casters matter: what lies
// beyond a view plane that faces away from the light cannot throw a shadow into the view, nor can
// what lies outside a spot.
vec3 Renderer::SetupLight(const Light* light) {
    assert(m_matrixStack.size() == 1);
    const Matrix& view = ViewMatrix();
    m_lightCuller.Begin(static_cast<float>(m_view.height), m_view.camera.fov, false);
    const vec3 position = view.Transform(light->pos);
    m_driver->LoadMatrix(view);
    m_driver->ClearLights();
    m_driver->AddLight(light);
    AddFacingPlanes(position);
    AddSpotPlanes(*light, position);
    return position;
}

// Planes that the light lies outside of are left out: shadows fall into the view from there.
void Renderer::AddFacingPlanes(const vec3& lightPosition) {
    for (const Plane& plane : m_viewCuller.Planes()) {
        if (Dot(lightPosition - plane.Point(), plane.Normal()) >= 0) {
            m_lightCuller.AddPlane(plane.Point(), plane.Normal());
        }
    }
}

// A narrow spot is bounded by the half-space before it and a square pyramid around its cone.
void Renderer::AddSpotPlanes(const Light& light, const vec3& lightPosition) {
    const Matrix& view = ViewMatrix();
    const vec3 direction = light.pointat - light.pos;
    if (light.angle == kHemisphereAngle) {
        m_lightCuller.AddPlane(lightPosition, view.Rotate(direction));
    } else if (light.angle < kHemisphereAngle) {
        const Matrix frame = view * Matrix::Frame(light.pos, direction, {0, 1, 0});
        const double angle = std::numbers::pi * light.angle / 180;
        const float side = static_cast<float>(std::cos(angle));
        const float ahead = static_cast<float>(std::sin(angle));
        const vec3 normals[] = {
            {0, 0, 1}, {0, side, ahead}, {0, -side, ahead}, {side, 0, ahead}, {-side, 0, ahead}};
        for (const vec3& normal : normals) {
            m_lightCuller.AddPlane(lightPosition, frame.Rotate(normal));
        }
    }
}
