// A geometry image as other programs want it: indexed triangles, counter-clockwise as seen from
// the front.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "geometry/GeoImage.h"

struct TriangleMesh {
    std::string name;                      // letters, digits, points and dashes
    std::vector<GeoImageSample> vertices;  // each is used; its normal has unit length
    std::vector<std::array<std::uint32_t, 3>> triangles;
};

// The triangles that the program draws, row by row, but for those with two corners in one place, as
// in a row that is one point. The two sides of a seam share the vertices that are equal in all
// their parts; a sample without a normal gets that of its first triangle.
TriangleMesh TrianglesOf(const GeoImage& mesh, std::string name);

// The unit normal of the front; zero where the corners lie on a line.
vec3 FaceNormal(const vec3& a, const vec3& b, const vec3& c);
