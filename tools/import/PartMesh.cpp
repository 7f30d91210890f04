#include "import/PartMesh.h"

#include <cmath>

#include "import/Normals.h"

namespace {

using Eigen::Vector3d;

constexpr int kLevels = 20;
// The detail factor is error * height / (tan(fov / 2) * 480 * distance); a length is
// length * height / (2 * tan(fov / 2) * distance) pixels high.
constexpr double kErrorOfSpacing = 240;
constexpr double kLargestError = 32767;  // the file's fixed point

vec3 ToFloats(const Vector3d& v) {
    return vec3(dvec3(v[0], v[1], v[2]));
}

}  // namespace

Result<GeoImage> MakePartMesh(const Remeshed& made, const Surface& surface, double error) {
    const SampleGrid& grid = made.grid;
    GeoImage mesh;
    if (!mesh.SetSize(grid.rows, grid.columns)) return Failure{"out of memory"};
    const CornerNormals normals(surface);
    for (int row = 0; row < grid.rows; ++row) {
        for (int column = 0; column < grid.columns; ++column) {
            GeoImageSample& sample = mesh.At(row, column);
            const int at = grid.At(row, column), original = grid.Original(row, column);
            if (original < at) {
                sample = mesh.samples[original];
            } else {
                // A fitted sample has moved away from where the map took it.
                const Vector3d& position = grid.positions[at];
                const Place place = made.tree->Nearest(position, grid.places[at].triangle).place;
                sample.position = ToFloats(made.ToSurface(position));
                sample.normal = ToFloats(normals.At(place));
            }
            sample.u = static_cast<float>(column) / static_cast<float>(grid.columns - 1);
            sample.v = 1 - static_cast<float>(row) / static_cast<float>(grid.rows - 1);
        }
    }
    mesh.wrapColumns = grid.WrapsColumns();
    mesh.wrapRows = grid.WrapsRows();
    mesh.Finish(false);
    mesh.error = static_cast<float>(error);
    return mesh;
}

double ErrorForPixels(double area, int rows, int columns) {
    const double samples = static_cast<double>(rows) * columns;
    return std::min(kErrorOfSpacing * std::sqrt(area / samples), kLargestError);
}

Result<std::vector<LevelFidelity>> MeasureLevels(const GeoImage& mesh, const Surface& surface,
                                                 GridKind kind, int threads) {
    const SurfaceTree tree(surface.positions, surface.triangles);
    std::vector<LevelFidelity> levels;
    for (int i = 1; i <= kLevels; ++i) {
        const double detail = static_cast<double>(i) / kLevels;
        GeoImage level;
        const auto along = [&](int samples) { return static_cast<float>(samples * detail); };
        if (!GeoImage::Resize(mesh, level, along(mesh.height), along(mesh.width), 1))
            return Failure{"out of memory"};
        SampleGrid grid{kind, level.height, level.width, {}, {}};
        for (int k = 0; k < level.width * level.height; ++k) {
            const vec3& p = level.samples[k].position;
            grid.positions.emplace_back(p.x, p.y, p.z);
        }
        levels.push_back({detail, level.width, level.height,
                          Compare(surface.positions, surface.triangles, tree, grid.positions,
                                  grid.Triangles(false), kMeasureSamples, threads)});
    }
    return levels;
}
