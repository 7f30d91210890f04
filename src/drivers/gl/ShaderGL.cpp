// One shader pass turned into OpenGL state, and the choice of what is sent under that state.
#include <cstdio>
#include <iostream>

#include "drivers/gl/BlendFactors.h"
#include "drivers/gl/DriverGL.h"
#include "drivers/gl/GLError.h"
#include "drivers/gl/SettingsGL.h"
#include "geometry/GeoImage.h"
#include "scene/Shader.h"

namespace {

// Shows its emission alone, whatever the ambient light is. One for the process.
Material& UnlitMaterial() {
    static Material material{.ambient = {0, 0, 0, 1},
                             .diffuse = {},
                             .specular = {0, 0, 0, 1},
                             .shininess = 0,
                             .emission = {}};
    return material;
}

bool IsLineMode(int mode) {
    return mode == RenderWire || mode == RenderOutline || mode == RenderWireShadow;
}

void ReportUnknownRenderFunc(int mode) {
    std::cerr << "DriverGL::RunShader: Unknown renderfunc " << mode << std::endl;
}

}  // namespace

bool DriverGL::RunShader(GeoImage* mesh, const Shader* pass, const vec3* point, bool cacheable) {
    if (pass == nullptr || mesh == nullptr) return false;
    SetupTexture(pass->texture);
    if (!SetBlend(pass->blend) || !SetAlphaTest(*pass)) return false;
    m_state.ShadeModel(pass->smooth ? GL_SMOOTH : GL_FLAT);
    if (!SetFaces(*pass)) return false;
    SetSurface(*pass);
    SetRasterMode(*pass);
    CacheKey key;
    if (!MakeKey(mesh, *pass, point, key, cacheable)) return false;
    m_state.DepthMask(pass->depth);
    cacheable = cacheable && key.HasOrder();
    if (cacheable && m_lists.Play(key)) return true;
    // All state of the pass is set by now: a list records geometry only.
    DisplayList* const list =
        cacheable ? m_lists.RecDList(GetInt(gl_settings::kMostLists)) : nullptr;
    const bool drawn = SendGeometry(key, *pass, list != nullptr);
    if (list != nullptr) {
        m_lists.EndDList(key, *list);
        m_lists.PlayDList(*list);
    }
    ReportGLError("RunShader");
    return drawn;
}

bool DriverGL::SetBlend(int blend) {
    m_state.Switch(Feature::Blend, true);
    if (blend <= BlendOpaque || blend >= BlendCount) {
        std::fprintf(stderr, "DriverGL: Unknown BlendFunc %d\n", blend);
        return false;
    }
    m_state.BlendFunc(kBlendFactors[blend].source, kBlendFactors[blend].destination);
    return true;
}

bool DriverGL::SetAlphaTest(const Shader& pass) {
    switch (static_cast<int>(pass.atest)) {
        case TestAlways:
            m_state.Switch(Feature::AlphaTest, false);
            return true;
        case TestNever:
            return false;
        case TestLess:
        case TestGreater:
            m_state.Switch(Feature::AlphaTest, true);
            m_state.AlphaFunc(pass.atest == TestLess ? GL_LESS : GL_GREATER, pass.athresh);
            return true;
        default:
            std::fprintf(stderr, "DriverGL: Unknown AlphaFunc %d\n", static_cast<int>(pass.atest));
            return false;
    }
}

bool DriverGL::SetFaces(const Shader& pass) {
    switch (static_cast<int>(pass.faces)) {
        case FacesFront:
            m_state.Switch(Feature::CullFace, true);
            m_state.CullFace(GL_BACK);
            m_state.TwoSidedLighting(false);
            return true;
        case FacesBack:
            m_state.Switch(Feature::CullFace, true);
            m_state.CullFace(GL_FRONT);
            break;
        case FacesAll:
            m_state.Switch(Feature::CullFace, false);
            break;
        default:
            std::cerr << "DriverGL::RunShader: Unknown face set " << static_cast<int>(pass.faces)
                      << std::endl;
            return false;
    }
    m_state.TwoSidedLighting(pass.lit);
    return true;
}

void DriverGL::SetSurface(const Shader& pass) {
    SetLighting(pass.lit);
    if (pass.lit) {
        SetMaterial(&pass.material);
        return;
    }
    Material& unlit = UnlitMaterial();
    unlit.diffuse = pass.material.diffuse;
    unlit.emission = pass.material.diffuse;
    SetMaterial(&unlit);
}

void DriverGL::SetRasterMode(const Shader& pass) {
    const int mode = pass.rmode;
    if (m_wireframe || IsLineMode(mode)) {
        m_state.PolygonMode(GL_LINE);
    } else if (mode == RenderSolid || mode == RenderShadow || mode == RenderShell) {
        m_state.PolygonMode(GL_FILL);
    } else {
        ReportUnknownRenderFunc(mode);
    }
    m_state.LineWidth(IsLineMode(mode) ? pass.thick : 1);
}

bool DriverGL::MakeKey(GeoImage* mesh, const Shader& pass, const vec3* point, CacheKey& key,
                       bool& cacheable) const {
    key.mesh = mesh;
    switch (static_cast<int>(pass.rmode)) {
        case RenderSolid:
        case RenderWire:
            key.primitive = PrimitiveMesh;
            return true;
        case RenderOutline:
            if (point == nullptr) return false;
            key.primitive = PrimitiveOutline;
            key.point = *point;
            key.shape = {pass.faces == FacesFront ? 1.0F : 0.0F, 0};
            cacheable = cacheable && m_cacheShadows;
            return true;
        case RenderShadow:
        case RenderWireShadow:
            if (m_activeLights != 1) return false;
            key.primitive = PrimitiveShadowVolume;
            // To the last bit what AddShadow is given, so that both meet in one list.
            key.point = ToMeshSpace(m_modelView, m_lightPosition);
            key.shape = {m_lightExtrusion, m_shadowOffset};
            cacheable = cacheable && m_cacheShadows;
            return true;
        case RenderShell:
            key.primitive = PrimitiveShell;
            key.point = {pass.thick, 0, 0};
            return true;
        default:
            ReportUnknownRenderFunc(pass.rmode);
            return false;
    }
}

// A list that is recorded carries normals and texture coordinates in any case, since later passes
// with the same key may need them.
bool DriverGL::SendGeometry(CacheKey& key, const Shader& pass, bool recording) {
    const bool texcoords = recording || pass.texture != nullptr;
    switch (static_cast<int>(key.primitive)) {
        case PrimitiveMesh:
            ReportGLError("RunShader", "RunShader - about to intRenderGeoImage");
            key.size = intRenderGeoImage(*key.mesh, recording || pass.lit, texcoords);
            return true;
        case PrimitiveOutline:
            key.mesh->ExtractSilhouette(key.point, m_silhouette, false, pass.faces == FacesFront);
            if (recording || pass.lit) {
                const vec3 normal = Normalise(key.point);
                glNormal3f(normal.x, normal.y, normal.z);
            }
            ReportGLError("RunShader", "RunShader - about to intRenderOutline");
            key.size = intRenderOutline(m_silhouette, texcoords);
            return true;
        case PrimitiveShadowVolume:
            key.size = SendShadow(key, texcoords, m_lightExtrusion);
            return true;
        case PrimitiveShell:
            key.size = intRenderShell(*key.mesh, pass.thick);
            return true;
        default:
            std::cerr << "DriverGL::RunShader: Unknown primitive class "
                      << static_cast<int>(key.primitive) << std::endl;
            return false;
    }
}
