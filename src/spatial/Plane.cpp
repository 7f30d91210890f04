// Tests of points, spheres and boxes against sets of planes. Knows nothing of cameras: a frustum
// is whatever planes the caller has collected.
#include "spatial/Plane.h"

#include <algorithm>

namespace {

// Bits of the mask's planes whose value at p is below the limit.
std::uint32_t ValueBelow(std::span<const Plane> planes, const vec3& p, float limit,
                         std::uint32_t mask) {
    std::uint32_t below = 0;
    const std::size_t count = std::min<std::size_t>(planes.size(), 32);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t bit = std::uint32_t{1} << i;
        if ((mask & bit) != 0 && planes[i].Value(p) < limit) below |= bit;
    }
    return below;
}

// Opposite corners first: together they decide most boxes that are not outside.
constexpr int kCornerOrder[8] = {0, 7, 1, 2, 3, 4, 5, 6};

}  // namespace

Plane Plane::Through(const vec3& point, const vec3& normal) {
    const vec3 n = Normalise(normal);
    return {n.x, n.y, n.z, -Dot(n, point)};
}

vec3 Box::Corner(int i) const {
    return {(i & 1) != 0 ? max.x : min.x, (i & 2) != 0 ? max.y : min.y,
            (i & 4) != 0 ? max.z : min.z};
}

std::uint32_t PointOutside(std::span<const Plane> planes, const vec3& point, std::uint32_t mask) {
    return ValueBelow(planes, point, 0, mask);
}

std::uint32_t SphereOutside(std::span<const Plane> planes, const vec3& centre, float radius,
                            std::uint32_t mask) {
    return ValueBelow(planes, centre, -radius, mask);
}

bool BoxTouchesInside(std::span<const Plane> planes, const Box& box, const Matrix& m) {
    std::uint32_t mask = kAllPlanes;
    for (const int corner : kCornerOrder) {
        mask = PointOutside(planes, m.Transform(box.Corner(corner)), mask);
        if (mask == 0) return true;
    }
    return false;
}
