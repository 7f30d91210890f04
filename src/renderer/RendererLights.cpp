// Which lights matter most to one object, when there are more than the driver holds.
#include "renderer/Renderer.h"

#include "drivers/Driver.h"
#include "scene/Light.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

namespace {

// Luminance of a colour as the eye weighs it.
constexpr float kRedWeight = 0.299F;
constexpr float kGreenWeight = 0.587F;
constexpr float kBlueWeight = 0.114F;

constexpr float kSpotFloor = 0.1F;   // least cosine that a spot's focus is applied to
constexpr float kNoSpotAngle = 180;  // degrees

// What the lit shaders of a list give back of each colour.
bool LightResponse(const std::vector<Shader>& shaders, Color& response) {
    response = {0, 0, 0, 1};
    bool anyLit = false;
    for (const Shader& shader : shaders) {
        if (!shader.lit) continue;
        const Color& diffuse = shader.material.diffuse;
        const Color& specular = shader.material.specular;
        response.r += diffuse.r + specular.r;
        response.g += diffuse.g + specular.g;
        response.b += diffuse.b + specular.b;
        anyLit = true;
    }
    return anyLit;
}

}  // namespace

void Renderer::SelectLights(const vec3& position, const LightList& lights, int max,
                            const ShaderList& shaders) {
    m_driver->LoadMatrix(m_matrixStack.front());
    m_driver->ClearLights();
    Color response;
    if (!LightResponse(shaders, response)) return;
    if (std::ssize(lights) <= max) {
        for (const Light* light : lights)
            m_driver->AddLight(light);
        return;
    }
    RankLights(position, lights, response);
    // A heap: of thousands of lights only those that the driver takes are ever ordered.
    while (!m_rankedLights.empty()) {
        if (!m_driver->AddLight(lights[m_rankedLights.front().index])) return;
        std::pop_heap(m_rankedLights.begin(), m_rankedLights.end(),
                      [](const RankedLight& a, const RankedLight& b) { return b < a; });
        m_rankedLights.pop_back();
    }
}

// Leaves m_rankedLights as a heap with the most important light in front.
void Renderer::RankLights(const vec3& position, const LightList& lights, const Color& response) {
    m_rankedLights.clear();
    for (std::size_t i = 0; i < lights.size(); ++i) {
        const float key = -Importance(*lights[i], position, response);
        m_rankedLights.push_back(
            {std::isnan(key) ? std::numeric_limits<float>::infinity() : key, i});
    }
    std::make_heap(m_rankedLights.begin(), m_rankedLights.end(),
                   [](const RankedLight& a, const RankedLight& b) { return b < a; });
}

// Attenuated intensity at a camera-space position, weighed by colour. A spot's cut-off does not
// count, only its focus.
float Renderer::Importance(const Light& light, const vec3& position, const Color& response) const {
    const Matrix& view = m_matrixStack.front();
    const vec3 source = view.Transform(light.pos);
    const vec3 toLight = source - position;
    const float distance = Length(toLight);
    const vec3& falloff = light.falloff;
    float importance =
        (kRedWeight * response.r * light.color.r + kGreenWeight * response.g * light.color.g +
         kBlueWeight * response.b * light.color.b) /
        (falloff.x + falloff.y * distance + falloff.z * distance * distance);
    if (light.angle < kNoSpotAngle) {
        const vec3 axis = Direction(source - view.Transform(light.pointat));
        const float cosine = Dot(Direction(toLight), axis);
        importance *= std::pow(cosine > kSpotFloor ? cosine : kSpotFloor, light.focus);
    }
    return importance;
}
