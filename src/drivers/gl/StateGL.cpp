// Sends what differs from what was sent before.
#include "drivers/gl/StateGL.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>

namespace {

// What OpenGL accepts.
constexpr float kMostShininess = 128;
constexpr float kMostFocus = 128;
constexpr float kWidestCone = 90;  // degrees
constexpr float kNoCone = 180;

struct FeatureName {
    Feature feature;
    GLenum name;
};

// By Feature.
constexpr std::array kFeatures = {
    FeatureName{Feature::Blend, GL_BLEND},
    FeatureName{Feature::AlphaTest, GL_ALPHA_TEST},
    FeatureName{Feature::CullFace, GL_CULL_FACE},
    FeatureName{Feature::Lighting, GL_LIGHTING},
    FeatureName{Feature::Texture, GL_TEXTURE_2D},
    FeatureName{Feature::StencilTest, GL_STENCIL_TEST},
};

// As many as there are, each after the one before: every feature is at its own index.
static_assert(kFeatures.size() == static_cast<std::size_t>(Feature::Count));
static_assert(std::ranges::adjacent_find(kFeatures, std::ranges::greater_equal(),
                                         &FeatureName::feature) == kFeatures.end());

// Colours are handed over as four floats.
static_assert(sizeof(Color) == 4 * sizeof(float));

// Takes the new value over; whether it differs. What is no number differs from itself.
template <class Value>
bool Change(std::optional<Value>& known, const Value& value) {
    if (known == value) return false;
    known = value;
    return true;
}

// What OpenGL makes of an illegal value is not relied on: the next legal one is sent in any case.
bool ChangeWithin(std::optional<float>& known, float value, bool legal) {
    if (legal) return Change(known, value);
    known.reset();
    return true;
}

GLenum LightName(int number) {
    return GL_LIGHT0 + static_cast<GLenum>(number);
}

// OpenGL keeps what the number's last light had where it refuses a value: a fallback then stands
// instead. Whether the value is legal.
bool SendNumber(GLenum light, GLenum name, float value, bool legal, float fallback) {
    if (!legal) glLightf(light, name, fallback);
    glLightf(light, name, value);
    return legal;
}

// Under the light's matrix. Whether OpenGL took it as it is.
bool SendLight(GLenum name, const PlacedLight& light) {
    const float position[] = {light.position.x, light.position.y, light.position.z, 1};
    const float direction[] = {light.direction.x, light.direction.y, light.direction.z};
    glLightfv(name, GL_POSITION, position);
    glLightfv(name, GL_SPOT_DIRECTION, direction);
    glLightfv(name, GL_AMBIENT, &light.ambient.r);
    glLightfv(name, GL_DIFFUSE, &light.color.r);
    glLightfv(name, GL_SPECULAR, &light.color.r);
    const auto [constant, linear, quadratic] = light.falloff;
    const float focus = light.focus;
    const float angle = light.angle;
    const bool cone = angle >= 0 && angle <= kWidestCone;
    bool taken = SendNumber(name, GL_CONSTANT_ATTENUATION, constant, constant >= 0, 1);
    taken &= SendNumber(name, GL_LINEAR_ATTENUATION, linear, linear >= 0, 0);
    taken &= SendNumber(name, GL_QUADRATIC_ATTENUATION, quadratic, quadratic >= 0, 0);
    taken &= SendNumber(name, GL_SPOT_EXPONENT, focus, focus >= 0 && focus <= kMostFocus, 0);
    taken &= SendNumber(name, GL_SPOT_CUTOFF, angle, cone || angle == kNoCone, kNoCone);
    return taken;
}

}  // namespace

void StateGL::Forget() {
    m_known = {};
    m_lights.clear();
}

void StateGL::Switch(Feature feature, bool on) {
    const auto index = static_cast<std::size_t>(feature);
    if (!Change(m_known.switches[index], on)) return;
    if (on) {
        glEnable(kFeatures[index].name);
    } else {
        glDisable(kFeatures[index].name);
    }
}

void StateGL::BlendFunc(GLenum source, GLenum destination) {
    if (Change(m_known.blend, {source, destination})) glBlendFunc(source, destination);
}

void StateGL::AlphaFunc(GLenum test, float threshold) {
    const bool newTest = Change(m_known.alphaTest, test);
    if (Change(m_known.alphaThreshold, threshold) || newTest) glAlphaFunc(test, threshold);
}

void StateGL::CullFace(GLenum face) {
    if (Change(m_known.culledFace, face)) glCullFace(face);
}

void StateGL::ShadeModel(GLenum model) {
    if (Change(m_known.shadeModel, model)) glShadeModel(model);
}

void StateGL::PolygonMode(GLenum mode) {
    if (Change(m_known.polygonMode, mode)) glPolygonMode(GL_FRONT_AND_BACK, mode);
}

void StateGL::LineWidth(float width) {
    if (ChangeWithin(m_known.lineWidth, width, width > 0)) glLineWidth(width);
}

void StateGL::DepthMask(bool on) {
    if (Change(m_known.depthMask, on)) glDepthMask(on);
}

void StateGL::TwoSidedLighting(bool on) {
    if (Change(m_known.twoSided, on)) glLightModeli(GL_LIGHT_MODEL_TWO_SIDE, on);
}

void StateGL::SetMaterial(const Material& material) {
    constexpr GLenum kNames[] = {GL_AMBIENT, GL_DIFFUSE, GL_SPECULAR, GL_EMISSION};
    const Color* const colors[] = {&material.ambient, &material.diffuse, &material.specular,
                                   &material.emission};
    for (std::size_t i = 0; i < m_known.colors.size(); ++i) {
        if (!Change(m_known.colors[i], *colors[i])) continue;
        glMaterialfv(GL_FRONT_AND_BACK, kNames[i], &colors[i]->r);
    }
    const float shininess = material.shininess;
    const bool legal = shininess >= 0 && shininess <= kMostShininess;
    if (ChangeWithin(m_known.shininess, shininess, legal)) {
        glMaterialf(GL_FRONT_AND_BACK, GL_SHININESS, shininess);
    }
}

bool StateGL::SetTexture(const Texture* texture) {
    return Change(m_known.texture, texture);
}

void StateGL::LoadMatrix(const Matrix& modelView) {
    if (Change(m_known.modelView, modelView)) glLoadMatrixd(modelView.Data());
}

void StateGL::SwitchLightsOff(int available) {
    for (int i = 0; i < available; ++i)
        glDisable(LightName(i));
    m_lightsOn = 0;
}

void StateGL::SwitchLights(int count) {
    for (; m_lightsOn < count; ++m_lightsOn)
        glEnable(LightName(m_lightsOn));
    for (; m_lightsOn > count; --m_lightsOn)
        glDisable(LightName(m_lightsOn - 1));
}

void StateGL::PlaceLight(int number, const PlacedLight& light) {
    const auto index = static_cast<std::size_t>(number);
    if (index >= m_lights.size()) m_lights.resize(index + 1);
    if (!Change(m_lights[index], light)) return;
    LoadMatrix(light.modelView);
    if (!SendLight(LightName(number), light)) m_lights[index].reset();
}
