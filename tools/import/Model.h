// Triangles with the colours of their corners, as they come from a model file, and the pictures
// that belong to them. Knows nothing of grids.
#pragma once

#include <Eigen/Core>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "geometry/Texture.h"

using Triangle = std::array<int, 3>;  // positions, counter-clockwise as seen from the front

// What a triangle's corner carries beside its place.
struct Corner {
    float u = 0;  // texture coordinate; v grows upward, as the rows of a Texture do
    float v = 0;
    std::array<float, 4> colour = {1, 1, 1, 1};  // red, green, blue, alpha from 0 to 1
};
using Corners = std::array<Corner, 3>;

// Materials below 0 are given by the repair, not by the file.
constexpr int kHoleMaterial = -1;  // fills an opening: not to be seen
constexpr int kCapMaterial = -2;   // closes a cut handle, inside the solid

struct ModelMaterial {
    std::string name;
    std::array<float, 4> colour = {1, 1, 1, 1};  // multiplies the corners' colour and the picture
    int picture = -1;                            // index, or none
};

// Triangles over shared positions; the vectors of triangles, corners and materials are of one
// length. Corner k of a triangle lies at its position k.
struct Surface {
    std::vector<Eigen::Vector3d> positions;
    std::vector<Triangle> triangles;
    std::vector<Corners> corners;
    std::vector<int> materials;
};

// A point of a surface: a triangle and the weights of its corners, not negative, which add up to 1.
struct Place {
    int triangle = 0;
    std::array<double, 3> weights = {1, 0, 0};
};

struct Model {
    Surface surface;  // positions as in the file: not welded
    std::vector<ModelMaterial> materials;
    std::vector<std::unique_ptr<Texture>> pictures;  // 1 to 4 channels
    std::vector<std::string> warnings;               // one line each, such as a picture not found
};
