// Ranking of lights by what reaches one place.
#include "renderer/LightRanking.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// Luminance of a colour as the eye weighs it.
constexpr float kRedWeight = 0.299F;
constexpr float kGreenWeight = 0.587F;
constexpr float kBlueWeight = 0.114F;

constexpr float kSpotFloor = 0.1F;   // least cosine that a spot's focus is applied to
constexpr float kNoSpotAngle = 180;  // degrees

// Attenuated intensity at a camera-space position, weighed by colour. A spot's cut-off does not
// count, only its focus.
float Importance(const Light& light, const Matrix& view, const vec3& position,
                 const Color& response) {
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

// Heaps have their greatest element in front. A type, so that it is inlined into them.
struct MattersLess {
    bool operator()(const RankedLight& a, const RankedLight& b) const {
        return a.key != b.key ? a.key > b.key : a.index > b.index;
    }
};

}  // namespace

std::optional<Color> LightResponse(const std::vector<Shader>& shaders) {
    Color response{0, 0, 0, 1};
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
    return anyLit ? std::optional(response) : std::nullopt;
}

void RankLights(const LightList& lights, const Matrix& view, const vec3& position,
                const Color& response, std::vector<RankedLight>& ranking) {
    ranking.clear();
    for (std::size_t i = 0; i < lights.size(); ++i) {
        const float key = -Importance(*lights[i], view, position, response);
        ranking.push_back({std::isnan(key) ? std::numeric_limits<float>::infinity() : key, i});
    }
    std::make_heap(ranking.begin(), ranking.end(), MattersLess());
}

void DropFront(std::vector<RankedLight>& ranking) {
    std::pop_heap(ranking.begin(), ranking.end(), MattersLess());
    ranking.pop_back();
}
