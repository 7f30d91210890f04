// Height fields: a sheet facing +y whose heights come from a picture or from fractal noise.
#pragma once

#include <functional>

#include "mesh/Grid.h"

class Texture;

struct HeightFieldSizes {
    double width = 2;     // along x
    double depth = 2;     // along z
    double height = 1;    // of the value 1; the value 0 lies at y = 0
    bool island = false;  // heights sink to 0 towards the border
};

// Height in [0, 1] at u to the right (+x) and v to the back (-z), both in [0, 1].
using Heights = std::function<double(double u, double v)>;

// Heights between the pixels' grey values; the texture (one channel) must outlive the result.
Heights HeightsOf(const Texture& picture);

void MakeHeightField(GeoImage& mesh, const HeightFieldSizes& sizes, const Heights& heights,
                     Progress& progress);
