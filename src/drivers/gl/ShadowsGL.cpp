// Stencil shadows of the OpenGL driver. A volume's back faces count up and its front faces count
// down wherever they lie behind the visible surface; a surface inside a volume is left with 1.
#include "drivers/DriverSettings.h"
#include "drivers/gl/DriverGL.h"
#include "drivers/gl/GLError.h"
#include "drivers/gl/SettingsGL.h"
#include "geometry/GeoImage.h"

namespace {

// Contribution of one face layer to the picture while volumes are shown.
constexpr float kFaceShade = 0.1F;

}  // namespace

void DriverGL::StartShadows() {
    m_shadowsOn = GetBool(gl_settings::kShadows);
    if (!m_shadowsOn) return;
    SetLighting(false);
    // What the last pass left behind must not thin out the volumes.
    SetupTexture(nullptr);
    m_state.Switch(Feature::AlphaTest, false);
    m_state.Switch(Feature::CullFace, true);
    m_state.DepthMask(false);
    const bool shown =
        GetBool(gl_settings::kShadowsVisible) || GetBool(driver_settings::kWireframe);
    m_state.Switch(Feature::Blend, shown);
    if (shown) {
        m_state.BlendFunc(GL_ONE, GL_ONE);
    } else {
        glColorMask(GL_FALSE, GL_FALSE, GL_FALSE, GL_FALSE);
    }
    m_state.Switch(Feature::Lighting, false);
    m_state.Switch(Feature::StencilTest, true);
    glStencilFunc(GL_ALWAYS, 0, 0);
    glClear(GL_STENCIL_BUFFER_BIT);
    glDepthFunc(GL_LESS);
    m_state.PolygonMode(GL_FILL);
    ReportGLError("StartShadows");
}

// The volume is recorded once and played twice, for its back and its front faces.
void DriverGL::AddShadow(GeoImage* mesh, const vec3* lightPosition, float extrusion) {
    if (!m_shadowsOn || mesh == nullptr || lightPosition == nullptr) return;
    const CacheKey key{mesh, PrimitiveShadowVolume, *lightPosition, 0, {extrusion, m_shadowOffset}};
    const DisplayList* cached = ShadowList(key, extrusion);
    if (cached == nullptr) {
        glNewList(m_scratchList, GL_COMPILE);
        SendShadow(key, false, extrusion);
        glEndList();
    }
    // Either pass: the faces left out, what hidden faces do to the count, the colour when shown.
    const auto play = [&](GLenum culled, GLenum whereHidden, const vec3& color) {
        m_state.CullFace(culled);
        glStencilOp(GL_KEEP, whereHidden, GL_KEEP);
        glColor3fv(&color.x);
        if (cached != nullptr) {
            m_lists.PlayDList(*cached);
        } else {
            glCallList(m_scratchList);
        }
    };
    play(GL_FRONT, GL_INCR, {kFaceShade, 0, 0});
    play(GL_BACK, GL_DECR, {0, 0, kFaceShade});
    ReportGLError("AddShadow");
}

// Lights move more often than not: new lists come from shadow passes of shaders alone, and here
// only a list that has become stale is recorded again.
DisplayList* DriverGL::ShadowList(const CacheKey& key, float extrusion) {
    if (!m_cacheShadows || !key.HasOrder()) return nullptr;
    const DisplayListCache::Found found = m_lists.Find(key);
    DisplayList* list =
        found.stale ? m_lists.RecDList(GetInt(gl_settings::kMostLists)) : found.list;
    if (!found.stale || list == nullptr) return list;
    CacheKey sent = key;
    sent.size = SendShadow(key, true, extrusion);
    m_lists.EndDList(sent, *list);
    return list;
}

std::int64_t DriverGL::SendShadow(const CacheKey& key, bool texcoords, float extrusion) {
    key.mesh->ExtractSilhouette(key.point, m_silhouette, true, true);
    return intRenderShadowvol(m_silhouette, key.point, texcoords, extrusion);
}

void DriverGL::FinishShadows() {
    if (!m_shadowsOn) return;
    m_state.DepthMask(true);
    ApplyColorMask();
    m_state.Switch(Feature::Blend, true);
    glDepthFunc(GL_LEQUAL);
    m_state.Switch(Feature::Lighting, true);
    ReportGLError("FinishShadows");
}

void DriverGL::SetShadowTest(bool on) {
    m_state.Switch(Feature::StencilTest, on && m_shadowsOn);
    if (on && m_shadowsOn) {
        glStencilFunc(GL_EQUAL, 0, ~0U);
        glStencilOp(GL_KEEP, GL_KEEP, GL_KEEP);
    }
    ReportGLError("SetShadowTest");
}
