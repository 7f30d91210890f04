// Lights and materials of the OpenGL driver. Lights are counted in by AddLight; SetLighting
// switches the counted ones, so that an unlit pass shows its emission alone.
#include "drivers/gl/DriverGL.h"
#include "drivers/gl/GLError.h"
#include "scene/Light.h"
#include "scene/Material.h"

namespace {

constexpr float kMostFocus = 128;
constexpr float kWidestCone = 90;  // degrees
constexpr float kNoCone = 180;

GLenum LightName(int number) {
    return GL_LIGHT0 + static_cast<GLenum>(number);
}

// OpenGL refuses some values, with an error, and keeps what the number's last light had: the
// fallback then stands instead.
void SetNumber(GLenum light, GLenum name, float value, bool legal, float fallback) {
    if (!legal) glLightf(light, name, fallback);
    glLightf(light, name, value);
}

// OpenGL's four floats of a colour.
static_assert(sizeof(Color) == 4 * sizeof(float));

}  // namespace

void DriverGL::SetAmbient(float red, float green, float blue, float alpha) {
    const float ambient[] = {red, green, blue, alpha};
    glLightModelfv(GL_LIGHT_MODEL_AMBIENT, ambient);
    ReportGLError("SetAmbient");
}

void DriverGL::ClearLights() {
    for (int i = 0; i < m_activeLights; ++i)
        glDisable(LightName(i));
    m_activeLights = 0;
    ReportGLError("ClearLights");
}

bool DriverGL::AddLight(const Light* light) {
    if (light == nullptr || m_activeLights >= m_maxLights) return false;
    SetupLight(LightName(m_activeLights), *light);
    ++m_activeLights;
    m_lightPosition = m_modelView.Transform(light->pos);
    m_lightExtrusion = light->shadowlen;
    ReportGLError("AddLight");
    return true;
}

void DriverGL::SetupLight(GLenum number, const Light& light) const {
    const float position[] = {light.pos.x, light.pos.y, light.pos.z, 1};
    const vec3 aim = light.pointat - light.pos;
    const float direction[] = {aim.x, aim.y, aim.z};
    glLightfv(number, GL_POSITION, position);
    glLightfv(number, GL_AMBIENT, &light.ambient.r);
    glLightfv(number, GL_DIFFUSE, &light.color.r);
    glLightfv(number, GL_SPECULAR, &light.color.r);
    const auto [constant, linear, quadratic] = light.falloff;
    SetNumber(number, GL_CONSTANT_ATTENUATION, constant, constant >= 0, 1);
    SetNumber(number, GL_LINEAR_ATTENUATION, linear, linear >= 0, 0);
    SetNumber(number, GL_QUADRATIC_ATTENUATION, quadratic, quadratic >= 0, 0);
    glLightfv(number, GL_SPOT_DIRECTION, direction);
    SetNumber(number, GL_SPOT_EXPONENT, light.focus, light.focus >= 0 && light.focus <= kMostFocus,
              0);
    const bool cone = light.angle >= 0 && light.angle <= kWidestCone;
    SetNumber(number, GL_SPOT_CUTOFF, light.angle, cone || light.angle == kNoCone, kNoCone);
    ReportGLError("SetupLight");
}

void DriverGL::SetLighting(bool on) {
    for (int i = 0; i < m_activeLights; ++i) {
        if (on) {
            glEnable(LightName(i));
        } else {
            glDisable(LightName(i));
        }
    }
    ReportGLError("SetLighting");
}

void DriverGL::SetMaterial(const Material* material) {
    glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, &material->ambient.r);
    glMaterialfv(GL_FRONT_AND_BACK, GL_DIFFUSE, &material->diffuse.r);
    glMaterialfv(GL_FRONT_AND_BACK, GL_SPECULAR, &material->specular.r);
    glMaterialfv(GL_FRONT_AND_BACK, GL_EMISSION, &material->emission.r);
    glMaterialf(GL_FRONT_AND_BACK, GL_SHININESS, material->shininess);
    ReportGLError("SetMaterial");
}
