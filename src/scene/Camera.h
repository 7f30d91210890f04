// Where the scene is looked at from.
#pragma once

#include "spatial/Vec3.h"

struct Camera {
    vec3 pos{0, 0, 0};
    vec3 lookat{0, 0, -1};
    vec3 up{0, 1, 0};
    float fov = 60;       // vertical field of view, degrees
    float aspect = 1;     // extra horizontal scale; 1 is none
    float hith = 0.1F;    // near distance
    float yon = 1000000;  // far distance
};
