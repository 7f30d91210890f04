#include "mesh/Shapes.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

vec3 Point(double x, double y, double z) {
    return {static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)};
}

// One row of a surface of revolution: radius, height and the normal's two parts.
struct ProfilePoint {
    double radius;
    double y;
    double normalOut;
    double normalUp;
};

SurfacePoint Revolve(const ProfilePoint& profile, double turns) {
    const double x = SinTurn(turns);
    const double z = CosTurn(turns);
    return {Point(profile.radius * x, profile.y, profile.radius * z),
            Point(profile.normalOut * x, profile.normalUp, profile.normalOut * z)};
}

// |base|^exponent with the sign of base.
double SignedPower(double base, double exponent) {
    return base == 0 ? 0 : std::copysign(std::pow(std::abs(base), exponent), base);
}

void AppendLine(std::vector<ProfilePoint>& profile, const ProfilePoint& from, double toRadius,
                double toY, int rows) {
    for (int row = 0; row < rows; ++row) {
        const double t = static_cast<double>(row) / (rows - 1);
        profile.push_back({std::lerp(from.radius, toRadius, t), std::lerp(from.y, toY, t),
                           from.normalOut, from.normalUp});
    }
}

// Top cap from its centre out, side down, bottom cap in to its centre.
std::vector<ProfilePoint> CylinderProfile(const CylinderSizes& sizes, int rows) {
    const bool hasTop = !sizes.open && sizes.top > 0;
    const bool hasBottom = !sizes.open && sizes.bottom > 0;
    const int capRows = std::max(2, rows / 6);
    const int sideRows = rows - capRows * (int{hasTop} + int{hasBottom});
    const double top = sizes.height / 2;
    const double slope = sizes.bottom - sizes.top;
    const double length = std::hypot(slope, sizes.height);
    std::vector<ProfilePoint> profile;
    if (hasTop) AppendLine(profile, {0, top, 0, 1}, sizes.top, top, capRows);
    AppendLine(profile, {sizes.top, top, sizes.height / length, slope / length}, sizes.bottom, -top,
               sideRows);
    if (hasBottom) AppendLine(profile, {sizes.bottom, -top, 0, -1}, 0, -top, capRows);
    return profile;
}

}  // namespace

void MakePlane(GeoImage& mesh, double width, double depth, Progress& progress) {
    const auto surface = [=](const GridPlace& at) -> SurfacePoint {
        return {Point(width * (at.across - 0.5), 0, depth * (at.down - 0.5)), {0, 1, 0}};
    };
    FillGrid(mesh, surface, progress);
}

void MakeSphere(GeoImage& mesh, double radius, Progress& progress) {
    mesh.wrapColumns = true;
    const auto surface = [=](const GridPlace& at) {
        const double sine = SinTurn(at.down / 2);
        const double cosine = CosTurn(at.down / 2);
        return Revolve({radius * sine, radius * cosine, sine, cosine}, at.across);
    };
    FillGrid(mesh, surface, progress);
}

void MakeTorus(GeoImage& mesh, double radius, double tube, Progress& progress) {
    mesh.wrapColumns = true;
    mesh.wrapRows = true;
    // The seam of the rows lies on the inner equator, where it is seen least.
    const auto surface = [=](const GridPlace& at) {
        const double sine = SinTurn(0.5 - at.down);
        const double cosine = CosTurn(0.5 - at.down);
        return Revolve({radius + tube * cosine, tube * sine, cosine, sine}, at.across);
    };
    FillGrid(mesh, surface, progress);
}

int CylinderMinRows(const CylinderSizes& sizes) {
    if (sizes.open) return 2;
    return 2 + 2 * (int{sizes.top > 0} + int{sizes.bottom > 0});
}

void MakeCylinder(GeoImage& mesh, const CylinderSizes& sizes, Progress& progress) {
    mesh.wrapColumns = true;
    const std::vector<ProfilePoint> profile = CylinderProfile(sizes, mesh.height);
    const auto surface = [&](const GridPlace& at) {
        return Revolve(profile[static_cast<std::size_t>(at.row)], at.across);
    };
    FillGrid(mesh, surface, progress);
}

void MakeSuperquadric(GeoImage& mesh, const SuperquadricSizes& sizes, Progress& progress) {
    mesh.wrapColumns = true;
    const auto direction = [](const GridPlace& at, double meridian, double equator) {
        const double out = SignedPower(SinTurn(at.down / 2), meridian);
        return vec3{static_cast<float>(out * SignedPower(SinTurn(at.across), equator)),
                    static_cast<float>(SignedPower(CosTurn(at.down / 2), meridian)),
                    static_cast<float>(out * SignedPower(CosTurn(at.across), equator))};
    };
    const auto surface = [&](const GridPlace& at) -> SurfacePoint {
        const vec3 p = direction(at, sizes.meridian, sizes.equator);
        const vec3 n = direction(at, 2 - sizes.meridian, 2 - sizes.equator);
        return {Point(sizes.x * p.x, sizes.y * p.y, sizes.z * p.z),
                Point(n.x / sizes.x, n.y / sizes.y, n.z / sizes.z)};
    };
    FillGrid(mesh, surface, progress);
}
