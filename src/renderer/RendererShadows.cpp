// Shadow volumes: which objects cast one into the view, and what is drawn under the stencil test.
#include "renderer/Renderer.h"

#include "drivers/Driver.h"
#include "scene/Light.h"
#include "scene/Object.h"
#include "scene/Room.h"

void Renderer::RenderShadows(Room* room) {
    std::int64_t& volumes = m_counters.shadowVolumes.emplace(m_counters.shadowVolumes.value_or(0));
    for (const Light* light : m_lists.shadowLights) {
        const vec3 position = SetupLight(light);
        if (light->shadowlen > 0) {
            m_driver->StartShadows();
            volumes += DrawShadowCasters(room, position, light->shadowlen, !light->shaders.empty());
            m_driver->FinishShadows();
        }
        m_driver->SetShadowTest(true);
        DrawLightPass(true);
        m_driver->SetShadowTest(false);
        DrawCasterShaders(light->shaders);
    }
}

std::int64_t Renderer::DrawShadowCasters(Object* object, const vec3& lightPosition, float shadowlen,
                                         bool hasShade) {
    if (!object || !object->active) return 0;
    const bool hasShaders = !object->ShaderList(PassShadow).empty();
    const bool mayCast =
        (object->shadow || hasShaders) && m_lightCuller.TestSphere(object, OriginOf(object));
    if (!mayCast && object->children.empty()) return 0;

    PushObjectMatrix(object);
    const Matrix modelView = m_matrixStack.back();
    m_lightCuller.SetMatrix(modelView);
    std::int64_t volumes = 0;
    if (mayCast && m_lightCuller.TestMesh(object)) {
        if ((hasShade && object->shadow) || hasShaders) m_lists.casters.Add(modelView, object);
        if (object->shadow && CastShadow(object, modelView, lightPosition, shadowlen)) ++volumes;
    }
    VisitVisibleChildren(m_lightCuller, object, [&](Object* child) {
        volumes += DrawShadowCasters(child, lightPosition, shadowlen, hasShade);
    });
    PopObjectMatrix();
    return volumes;
}

// The mesh is chosen as for a plain shader: the object's own shaders do not shape its shadow.
bool Renderer::CastShadow(Object* object, const Matrix& modelView, const vec3& lightPosition,
                          float shadowlen) {
    GeoImage* mesh = GetGeoImage(object->mesh, modelView, m_settings.shadow);
    if (!mesh) return false;
    const vec3 light = ToMeshSpace(modelView, lightPosition);
    m_viewCuller.SetMatrix(modelView);
    if (!m_viewCuller.ShadowVolumeVisible(object->mesh, light, shadowlen)) return false;
    m_driver->LoadMatrix(modelView);
    m_driver->AddShadow(mesh, &light, shadowlen);
    return true;
}

void Renderer::DrawCasterShaders(const ShaderList& shade) {
    const PassMode mode{.first = false, .spreadEmission = false, .occlusion = nullptr};
    m_lists.casters.ForEach([&](const DepthKey& caster) {
        m_driver->LoadMatrix(caster.matrix);
        DrawShaderList(caster.object, shade, caster.matrix, mode);
        DrawShaderList(caster.object, caster.object->ShaderList(PassShadow), caster.matrix, mode);
    });
    m_lists.casters.Clear();
}
