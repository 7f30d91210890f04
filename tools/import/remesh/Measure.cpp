#include "import/remesh/Measure.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <random>

#include "import/remesh/Parallel.h"

namespace {

using Eigen::Vector3d;

constexpr double kMostDecibels = 200;
constexpr int kBlock = 1024;  // samples that are summed by one worker, in order

struct Distances {
    double squares = 0;
    double largest = 0;
};

Distances DistancesTo(const SurfaceTree& tree, const std::vector<Vector3d>& positions,
                      const std::vector<Triangle>& triangles, const std::vector<Place>& places,
                      int threads) {
    const int count = static_cast<int>(places.size());
    const int blocks = (count + kBlock - 1) / kBlock;
    std::vector<Distances> sums(blocks);
    ParallelFor(blocks, threads, [&](int block) {
        int near = 0;
        for (int i = block * kBlock; i < std::min(count, (block + 1) * kBlock); ++i) {
            const NearestPoint nearest =
                tree.Nearest(PointAt(positions, triangles, places[i]), near);
            near = nearest.place.triangle;
            sums[block].squares += nearest.squaredDistance;
            sums[block].largest = std::max(sums[block].largest, nearest.squaredDistance);
        }
    });
    Distances all;
    for (const Distances& sum : sums) {
        all.squares += sum.squares;
        all.largest = std::max(all.largest, sum.largest);
    }
    return {all.squares / count, std::sqrt(all.largest)};
}

double Decibels(double diagonal, double meanSquare) {
    const double least = diagonal * std::pow(10, -kMostDecibels / 20);
    return 20 * std::log10(diagonal / std::max(std::sqrt(meanSquare), least));
}

}  // namespace

std::vector<Place> SpreadPlaces(const std::vector<Vector3d>& positions,
                                const std::vector<Triangle>& triangles, int n) {
    std::vector<double> areas(triangles.size());
    double whole = 0;
    for (std::size_t i = 0; i < triangles.size(); ++i) {
        const Triangle& t = triangles[i];
        const Vector3d a = positions[t[1]] - positions[t[0]], b = positions[t[2]] - positions[t[0]];
        whole += areas[i] = a.cross(b).norm() / 2;
    }
    std::vector<Place> places;
    places.reserve(n);
    std::mt19937 random(7);
    const auto next = [&random] { return random() / 4294967296.0; };
    double passed = 0;
    std::size_t triangle = 0;
    for (int i = 0; i < n; ++i) {
        const double at = (i + next()) / n * whole;
        while (triangle + 1 < triangles.size() && passed + areas[triangle] < at)
            passed += areas[triangle++];
        const double root = std::sqrt(next()), share = next();
        places.push_back(
            {static_cast<int>(triangle), {1 - root, root * (1 - share), root * share}});
    }
    return places;
}

Vector3d PointAt(const std::vector<Vector3d>& positions, const std::vector<Triangle>& triangles,
                 const Place& place) {
    const Triangle& t = triangles[place.triangle];
    return positions[t[0]] * place.weights[0] + positions[t[1]] * place.weights[1] +
           positions[t[2]] * place.weights[2];
}

double Diagonal(const std::vector<Vector3d>& positions) {
    Vector3d low = positions.front(), high = low;
    for (const Vector3d& position : positions) {
        low = low.cwiseMin(position);
        high = high.cwiseMax(position);
    }
    return (high - low).norm();
}

Fidelity Compare(const std::vector<Vector3d>& positions, const std::vector<Triangle>& triangles,
                 const SurfaceTree& tree, const std::vector<Vector3d>& gridPositions,
                 const std::vector<Triangle>& gridTriangles, int samples, int threads) {
    const SurfaceTree grid(gridPositions, gridTriangles);
    const Distances there = DistancesTo(grid, positions, triangles,
                                        SpreadPlaces(positions, triangles, samples), threads);
    const Distances back =
        DistancesTo(tree, gridPositions, gridTriangles,
                    SpreadPlaces(gridPositions, gridTriangles, samples), threads);
    const double diagonal = Diagonal(positions);
    return {Decibels(diagonal, there.squares), Decibels(diagonal, back.squares),
            std::max(there.largest, back.largest) / diagonal};
}
