// Colours of a surface under light.
#pragma once

struct Color {
    float r = 0;
    float g = 0;
    float b = 0;
    float a = 1;
    bool operator==(const Color&) const = default;
};

struct Material {
    Color ambient{1, 1, 1, 1};
    Color diffuse{1, 1, 1, 1};
    Color specular{1, 1, 1, 1};
    float shininess = 20;
    Color emission{0, 0, 0, 1};
    bool operator==(const Material&) const = default;
};
