// Which lights matter most at one place, when there are more than a driver holds. Knows neither
// driver nor objects.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "scene/Light.h"
#include "spatial/Matrix.h"

using LightList = std::vector<Light*>;

// What the lit shaders of a list give back of each colour: sums of diffuse and specular, not
// limited to 1. None when no shader is lit.
std::optional<Color> LightResponse(const std::vector<Shader>& shaders);

// A light and its rank at one place: the smaller key matters more, then the smaller index.
struct RankedLight {
    float key;
    std::size_t index;  // in the list that was ranked
};

// Fills ranking, whatever it held, with all lights as a heap with the most important one in front:
// the one of the greatest attenuated intensity at a camera-space position, each colour weighed by
// the response and as the eye does. Intensities that are no number come last.
void RankLights(const LightList& lights, const Matrix& view, const vec3& position,
                const Color& response, std::vector<RankedLight>& ranking);

// Takes the front away, so that the next one comes there. The ranking must not be empty.
void DropFront(std::vector<RankedLight>& ranking);
