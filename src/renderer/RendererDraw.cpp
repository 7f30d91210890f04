// How an object's shader lists become driver calls, and which level of a mesh they draw. Knows
// nothing of what is visible.
#include "renderer/Renderer.h"

#include "drivers/Driver.h"
#include "geometry/GeoImage.h"
#include "scene/Object.h"
#include "spatial/Occlusion.h"
#include "spatial/Truncate.h"

#include <algorithm>

namespace {

float SampleCount(const GeoImage& mesh) {
    return static_cast<float>(std::int64_t{mesh.width} * mesh.height);
}

}  // namespace

bool Renderer::DrawObject(Object* object, const Matrix& modelView, bool moreFollow,
                          Occlusion* occlusion) {
    if (!m_lists.drawn.Insert(object)) return true;
    const ShaderList& base = object->ShaderList(PassBase);
    const ShaderList& lit = object->ShaderList(PassLight);
    if (base.empty() && lit.empty()) return false;

    if (m_view.virtualLights) SelectLights(modelView.Translation(), m_lists.plainLights, lit);
    m_driver->LoadMatrix(modelView);
    if (occlusion) occlusion->SetMatrix(modelView);
    if (!base.empty()) {
        DrawShaderList(object, base, modelView,
                       {.first = true, .spreadEmission = true, .occlusion = occlusion});
    }
    if (lit.empty()) return true;
    DrawShaderList(object, lit, modelView,
                   {.first = base.empty(), .spreadEmission = true, .occlusion = occlusion});
    if (moreFollow) m_lists.lit.Add(modelView, object);
    return true;
}

void Renderer::DrawLightPass(bool testEach) {
    m_lists.lit.ForEach([this, testEach](const DepthKey& entry) {
        if (testEach) {
            m_lightCuller.SetMatrix(entry.matrix);
            if (!m_lightCuller.TestObject(entry.object)) return;
        }
        m_driver->LoadMatrix(entry.matrix);
        DrawShaderList(entry.object, entry.object->ShaderList(PassLight), entry.matrix,
                       {.first = false, .spreadEmission = true, .occlusion = nullptr});
    });
}

// Shaders that draw nothing cost nothing of the budget.
void Renderer::DrawShaderList(Object* object, const ShaderList& list, const Matrix& modelView,
                              PassMode mode) {
    int budget = m_settings.shaderBudget;
    for (const Shader& shader : list) {
        if (budget < 1) return;
        if (DrawShader(object, shader, modelView, mode)) {
            mode.first = false;
            --budget;
        }
    }
}

bool Renderer::DrawShader(Object* object, const Shader& shader, const Matrix& modelView,
                          PassMode mode) {
    Shader pass = shader;
    GeoImage* mesh = GetGeoImage(pass.mesh ? pass.mesh : object->mesh, modelView, m_settings.drawn);
    if (!mesh) return false;
    const vec3 eye = modelView.RigidInverse().Translation();
    if (mode.spreadEmission) {
        const float share = 1.0F / static_cast<float>(m_view.passes);
        Color& emission = pass.material.emission;
        emission = {emission.r * share, emission.g * share, emission.b * share, emission.a * share};
    }
    if (pass.blend == BlendOpaque) pass.blend = mode.first ? BlendReplace : BlendAdd;
    if (!m_driver->RunShader(mesh, &pass, &eye, true)) return false;
    if (mode.occlusion) mode.occlusion->AddGeoImage(mesh, pass, eye);
    m_counters.drawn += 1;
    m_counters.polys += (std::int64_t{2} * mesh->width - 2) * (std::int64_t{mesh->height} - 1);
    return true;
}

GeoImage* Renderer::GetGeoImage(GeoImage* mesh, const Matrix& modelView,
                                const DetailLimits& limits) {
    if (!mesh || mesh->error < 0) return mesh;
    const float detail = ChooseDetail(*mesh, modelView.Translation(), limits);
    const auto finest =
        static_cast<float>(m_settings.detailSteps * std::max(mesh->width, mesh->height));
    const auto [level, hit] = m_details.Find(mesh, Truncated(finest * detail), detail);
    m_counters.cacheAccesses += 1;
    m_counters.cacheHits += hit ? 1 : 0;
    return level;
}

// The factor on the samples along each side. An object at the eye wants infinite detail, and an
// odd view no number at all: both get the bound.
float Renderer::ChooseDetail(const GeoImage& mesh, const vec3& position,
                             const DetailLimits& limits) const {
    float most = limits.most;
    if (limits.samples > 0) most = std::min(most, limits.samples / SampleCount(mesh));
    const float distance = Length(position);
    const float detail =
        limits.scale * mesh.ProjectedError(distance, m_view.height, m_view.camera.fov);
    return detail < most ? detail : most;
}
