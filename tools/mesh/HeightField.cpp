#include "mesh/HeightField.h"

#include <algorithm>
#include <cmath>

#include "geometry/Texture.h"

namespace {

double Grey(const Texture& picture, int column, int row) {
    column = std::clamp(column, 0, picture.width - 1);
    row = std::clamp(row, 0, picture.height - 1);
    const auto index = static_cast<std::size_t>(row) * static_cast<std::size_t>(picture.width) +
                       static_cast<std::size_t>(column);
    return picture.pixels[index] / 255.0;
}

// 1 in the middle, level and 0 along the border.
double IslandShape(double u, double v) {
    const double distance = std::min(1.0, 2 * std::hypot(u - 0.5, v - 0.5));
    const double rest = 1 - distance * distance;
    return rest * rest;
}

}  // namespace

Heights HeightsOf(const Texture& picture) {
    return [&picture](double u, double v) {
        const double x = u * (picture.width - 1);
        const double y = v * (picture.height - 1);
        const int column = static_cast<int>(std::floor(x));
        const int row = static_cast<int>(std::floor(y));
        const double low =
            std::lerp(Grey(picture, column, row), Grey(picture, column + 1, row), x - column);
        const double high = std::lerp(Grey(picture, column, row + 1),
                                      Grey(picture, column + 1, row + 1), x - column);
        return std::lerp(low, high, y - row);
    };
}

void MakeHeightField(GeoImage& mesh, const HeightFieldSizes& sizes, const Heights& heights,
                     Progress& progress) {
    const auto height = [&](double u, double v) {
        return sizes.height * heights(u, v) * (sizes.island ? IslandShape(u, v) : 1);
    };
    const double du = 1.0 / (mesh.width - 1);
    const double dv = 1.0 / (mesh.height - 1);
    // Slopes over the neighbouring samples, one-sided at the border.
    const auto slope = [](double below, double above, double distance) {
        return (above - below) / distance;
    };
    const auto surface = [&](const GridPlace& at) -> SurfacePoint {
        const double u = at.across;
        const double v = 1 - at.down;
        const double left = std::max(0.0, u - du);
        const double right = std::min(1.0, u + du);
        const double near = std::max(0.0, v - dv);
        const double far = std::min(1.0, v + dv);
        const double slopeX =
            slope(height(left, v), height(right, v), (right - left) * sizes.width);
        const double slopeZ = slope(height(u, far), height(u, near), (far - near) * sizes.depth);
        return {{static_cast<float>(sizes.width * (u - 0.5)), static_cast<float>(height(u, v)),
                 static_cast<float>(sizes.depth * (0.5 - v))},
                {static_cast<float>(-slopeX), 1, static_cast<float>(-slopeZ)}};
    };
    FillGrid(mesh, surface, progress);
}
