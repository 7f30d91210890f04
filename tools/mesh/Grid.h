// Fills a geometry image from a surface given as a function of the grid. Rows run down the surface
// and columns to the right as seen from outside, so that (next row) x (next column) points outward:
// that is the front of the drawn triangles.
#pragma once

#include <functional>

#include "geometry/GeoImage.h"
#include "shared/Progress.h"

struct GridPlace {
    int row;
    int column;
    double across;  // 0 in the first column, 1 in the last; the seam's second side repeats the 0
    double down;    // the same for rows
};

struct SurfacePoint {
    vec3 position;
    vec3 normal;
};

// Sets every sample of a mesh that has its size. Where a wrap flag of the mesh is set, both sides
// of that seam get the very same place, so that they are equal to the last bit. Texture
// coordinates run from (0, 1) in the first sample to (1, 0) in the last.
void FillGrid(GeoImage& mesh, const std::function<SurfacePoint(const GridPlace&)>& surface,
              Progress& progress);

// Sine and cosine of an angle in full turns, exact at every quarter turn: poles close to a point.
double SinTurn(double turns);
double CosTurn(double turns);

enum class Axis { X, Y, Z };
// Turns a mesh that was made around (or facing) +y to another axis.
void TurnTo(GeoImage& mesh, Axis axis);

// Largest absolute coordinate.
double Extent(const GeoImage& mesh);

// Rounds the coordinates to a grid of about 2^-bits of the extent. Equal points stay equal, also
// between meshes that are rounded to the same extent, and the low bytes become zeros, which halves
// the size of the packed file.
void RoundCoordinates(GeoImage& mesh, int bits, double extent);
