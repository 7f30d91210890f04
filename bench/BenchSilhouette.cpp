// Extracting a silhouette against the bare face tests that it cannot do without.
// Knows nothing of what a silhouette is drawn for.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "FastestTimes.h"
#include "geometry/GeoImage.h"
#include "geometry/Silhouette.h"

namespace {

constexpr double kTurn = 2 * 3.14159265358979323846;
const vec3 kPoint(3, 4, 5);

// A closed torus, bumpy enough for a silhouette of several loops when relief is above 0.
GeoImage Torus(int side, double relief) {
    GeoImage mesh(side, side);
    for (int r = 0; r < side; ++r) {
        for (int c = 0; c < side; ++c) {
            const double a = kTurn * (c % (side - 1)) / (side - 1);
            const double b = kTurn * (r % (side - 1)) / (side - 1);
            const double tube = 0.4 + relief * std::sin(7 * a) * std::cos(5 * b);
            const double ring = 1 + tube * std::cos(b);
            mesh.At(r, c) = GeoImageSample();
            mesh.At(r, c).position = {static_cast<float>(ring * std::cos(a)),
                                      static_cast<float>(ring * std::sin(a)),
                                      static_cast<float>(tube * std::sin(b))};
        }
    }
    mesh.wrapColumns = mesh.wrapRows = true;
    mesh.Finish(true);
    return mesh;
}

// The normals in one array, as the extraction keeps them; no triangle of the torus is degenerate.
std::vector<vec3> FaceNormals(const GeoImage& mesh) {
    std::vector<vec3> normals;
    for (int r = 0; r + 1 < mesh.height; ++r) {
        for (int c = 0; c + 1 < mesh.width; ++c) {
            const vec3& p = mesh.At(r, c).position;
            const vec3& q = mesh.At(r, c + 1).position;
            const vec3& below = mesh.At(r + 1, c).position;
            const vec3& s = mesh.At(r + 1, c + 1).position;
            normals.push_back(Cross(q - p, below - p));
            normals.push_back(Cross(below - s, q - s));
        }
    }
    return normals;
}

[[gnu::noinline]] int CountFacing(const GeoImage& mesh, const std::vector<vec3>& normals,
                                  const vec3& point) {
    int facing = 0;
    const vec3* normal = normals.data();
    for (int r = 0; r + 1 < mesh.height; ++r) {
        for (int c = 0; c + 1 < mesh.width; ++c) {
            const vec3 toQ = mesh.At(r, c + 1).position - point;
            facing += Dot(toQ, *normal++) < 0;
            facing += Dot(toQ, *normal++) < 0;
        }
    }
    return facing;
}

// Arguments: side of the grid, relief in thousandths.
void SilhouetteAgainstFaceTests(benchmark::State& state) {
    const int side = static_cast<int>(state.range(0));
    GeoImage mesh = Torus(side, static_cast<double>(state.range(1)) / 1000);
    const std::vector<vec3> normals = FaceNormals(mesh);
    const int repeats = 1 + 40000 / (side * side);
    SilhouetteResult result;
    std::size_t edges = 0;
    int facing = 0;
    FastestTimes<3> times;
    for (auto _ : state) {
        times.Run(0, repeats,
                  [&] { benchmark::DoNotOptimize(facing = CountFacing(mesh, normals, kPoint)); });
        times.Run(1, repeats, [&] { mesh.ExtractSilhouette(kPoint, result, false, true); });
        edges = result.edges.size();
        times.Run(2, repeats, [&] { mesh.ExtractSilhouette(kPoint, result, true, true); });
    }
    if (result.caps.size() != static_cast<std::size_t>(facing)) {
        state.SkipWithError("the results differ");
    }
    const double triangles = static_cast<double>(normals.size());
    state.counters["edges"] = static_cast<double>(edges);
    state.counters["test_ns"] = times[0] / triangles;
    state.counters["silhouette_ns"] = times[1] / triangles;
    state.counters["with_caps_ns"] = times[2] / triangles;
    state.counters["ratio"] = times[1] / times[0];
    state.counters["ratio_caps"] = times[2] / times[0];
}
BENCHMARK(SilhouetteAgainstFaceTests)
    ->ArgNames({"side", "relief"})
    ->ArgsProduct({{17, 65, 257}, {0, 40}})
    ->Unit(benchmark::kMicrosecond)
    ->MinTime(0.5);

}  // namespace
