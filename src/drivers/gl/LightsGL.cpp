// Lights and materials of the OpenGL driver. Lights are counted in by AddLight; SetLighting
// switches the counted ones, so that an unlit pass shows its emission alone.
#include "drivers/gl/DriverGL.h"
#include "drivers/gl/GLError.h"
#include "scene/Light.h"
#include "scene/Material.h"

void DriverGL::SetAmbient(float red, float green, float blue, float alpha) {
    const float ambient[] = {red, green, blue, alpha};
    glLightModelfv(GL_LIGHT_MODEL_AMBIENT, ambient);
    ReportGLError("SetAmbient");
}

// Lights that are on stay so until the next SetLighting, which every drawing begins with: those
// that come back at once need not be switched off and on again.
void DriverGL::ClearLights() {
    m_activeLights = 0;
    ReportGLError("ClearLights");
}

bool DriverGL::AddLight(const Light* light) {
    if (light == nullptr || m_activeLights >= m_maxLights) return false;
    SetupLight(m_activeLights, *light);
    ++m_activeLights;
    m_lightPosition = m_modelView.Transform(light->pos);
    m_lightExtrusion = light->shadowlen;
    ReportGLError("AddLight");
    return true;
}

void DriverGL::SetupLight(int number, const Light& light) {
    m_state.PlaceLight(number, {light.pos, light.pointat - light.pos, light.ambient, light.color,
                                light.falloff, light.focus, light.angle, m_modelView});
    ReportGLError("SetupLight");
}

void DriverGL::SetLighting(bool on) {
    m_state.SwitchLights(on ? m_activeLights : 0);
    ReportGLError("SetLighting");
}

void DriverGL::SetMaterial(const Material* material) {
    m_state.SetMaterial(*material);
    ReportGLError("SetMaterial");
}
