// How an object's shader lists become driver calls. Knows nothing of what is visible.
#include "renderer/Renderer.h"

#include "drivers/Driver.h"
#include "geometry/GeoImage.h"
#include "scene/Object.h"
#include "spatial/Occlusion.h"

bool Renderer::DrawObject(Object* object, const Matrix& modelView, bool moreFollow,
                          Occlusion* occlusion) {
    if (!m_drawnObjects.Insert(object)) return true;
    const ShaderList& base = object->ShaderList(PassBase);
    const ShaderList& lit = object->ShaderList(PassLight);
    if (base.empty() && lit.empty()) return false;

    if (m_virtualLights) {
        SelectLights(modelView.Translation(), m_plainLights, m_maxLights, lit);
    }
    m_driver->LoadMatrix(modelView);
    if (occlusion) occlusion->SetMatrix(modelView);
    if (!base.empty()) {
        DrawShaderList(object, base, modelView,
                       {.first = true, .spreadEmission = true, .occlusion = occlusion});
    }
    if (lit.empty()) return true;
    DrawShaderList(object, lit, modelView,
                   {.first = base.empty(), .spreadEmission = true, .occlusion = occlusion});
    if (moreFollow) m_litObjects.emplace(modelView, object);
    return true;
}

void Renderer::DrawLightPass(bool testEach) {
    for (const DepthKey& entry : m_litObjects) {
        if (!entry.object) continue;
        if (testEach) {
            m_lightCuller.SetMatrix(entry.matrix);
            if (!m_lightCuller.TestObject(entry.object)) continue;
        }
        m_driver->LoadMatrix(entry.matrix);
        DrawShaderList(entry.object, entry.object->ShaderList(PassLight), entry.matrix,
                       {.first = false, .spreadEmission = true, .occlusion = nullptr});
    }
}

// Shaders that draw nothing cost nothing of the budget.
void Renderer::DrawShaderList(Object* object, const ShaderList& list, const Matrix& modelView,
                              PassMode mode) {
    int budget = m_shaderDetail;
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
    GeoImage* mesh = GetGeoImage(object, pass, modelView, 1, m_lodMax, m_maxPolys);
    if (!mesh) return false;
    const vec3 eye = modelView.RigidInverse().Translation();
    if (mode.spreadEmission) {
        const float share = 1.0F / static_cast<float>(m_numPasses);
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
