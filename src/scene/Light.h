// A light of a room.
#pragma once

#include <vector>

#include "scene/Material.h"
#include "scene/Shader.h"
#include "spatial/Vec3.h"

struct Light {
    bool active = true;
    bool shadows = true;
    vec3 pos;
    Color color{1, 1, 1, 1};
    Color ambient{0, 0, 0, 0};    // the light's own ambient term, given to the driver
    Color global{0, 0, 0, 0};     // added to the room's ambient while active
    vec3 falloff{1, 0, 0.01F};    // constant, linear, quadratic attenuation
    float shadowlen = 100;        // length of shadow volumes, world units
    vec3 pointat;                 // world point that a spot aims at
    float angle = 180;            // spot cut-off in degrees; 180 is no spot
    float focus = 0;              // spot exponent
    std::vector<Shader> shaders;  // drawn on this light's shadow casters
};
