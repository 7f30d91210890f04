// Directions of a surface at any of its points, with creases kept sharp.
#pragma once

#include <Eigen/Core>
#include <array>
#include <vector>

#include "import/Model.h"

class CornerNormals {
public:
    // At a vertex the triangles whose planes differ by less than the crease angle share a normal.
    explicit CornerNormals(const Surface& surface);
    // Unit length; along the triangle's own normal where the corners' cancel out.
    Eigen::Vector3d At(const Place& place) const;

private:
    std::vector<std::array<Eigen::Vector3d, 3>> m_normals;  // of each triangle's corners
};
