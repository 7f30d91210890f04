#include "import/remesh/Fit.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

#include "import/remesh/GridSystem.h"
#include "import/remesh/Measure.h"
#include "import/remesh/Parallel.h"

namespace {

using Eigen::Vector3d;

constexpr int kSamplesPerPoint = 6;
constexpr int kRounds = 3;           // of pulling along distances
constexpr double kMapSprings = 0.3;  // stiffness of the grid's edges while it follows the map
constexpr double kSprings = 0.05;    // and while it follows distances
constexpr double kSlip = 0.02;  // weight of sliding along the surface, against that of distance
constexpr int kSteps = 60;
constexpr double kTolerance = 1e-3;
constexpr int kBlock = 1024;  // samples that a thread takes at once

// A point of a grid's triangle and where it should be.
struct Pull {
    Place place;
    Vector3d target;
    Vector3d along;  // unit vector of the distance between them
    double squaredDistance;
};

class Fitter {
public:
    Fitter(const SampleGrid& grid, const Locator& locator, const MapSurface& shape,
           const SurfaceTree& tree, int threads)
        : m_grid(grid),
          m_locator(locator),
          m_shape(shape),
          m_tree(tree),
          m_threads(threads),
          m_system(grid),
          m_triangles(grid.Triangles(false)),
          m_samples(SpreadPlaces(shape.positions, shape.triangles,
                                 kSamplesPerPoint * m_system.Points())) {}

    SampleGrid Run() {
        Settle(kMapSprings, [&] { FollowMap(); });
        for (int i = 0; i < kRounds; ++i)
            Settle(kSprings, [&] { FollowDistances(); });
        return m_grid;
    }

private:
    SampleGrid m_grid;
    const Locator& m_locator;
    const MapSurface& m_shape;
    const SurfaceTree& m_tree;
    int m_threads;
    GridSystem m_system;
    std::vector<Triangle> m_triangles;
    std::vector<Place> m_samples;  // of the surface

    // Solves for what addPulls adds; springs along the grid's edges keep its layout.
    template <class AddPulls>
    void Settle(double springs, const AddPulls& addPulls) {
        m_system.Clear();
        addPulls();
        std::vector<Vector3d>& positions = m_grid.positions;
        for (const Triangle& t : m_triangles) {
            for (int k = 0; k < 3; ++k) {
                const int a = t[k], b = t[(k + 1) % 3];
                m_system.AddSpring(a, b, positions[a] - positions[b], springs);
            }
        }
        std::vector<Vector3d> points(m_system.Points());
        for (std::size_t i = 0; i < positions.size(); ++i)
            points[m_system.PointOf(static_cast<int>(i))] = positions[i];
        m_system.Solve(points, kSteps, kTolerance, m_threads);
        for (std::size_t i = 0; i < positions.size(); ++i)
            positions[i] = points[m_system.PointOf(static_cast<int>(i))];
    }
    void FollowMap() {
        for (const Place& place : m_samples) {
            GridShare share = m_locator.ShareOf(place);
            if (m_grid.WrapsColumns()) share.across -= std::floor(share.across);
            if (m_grid.WrapsRows()) share.down -= std::floor(share.down);
            const double x = share.across * (m_grid.columns - 1);
            const double y = share.down * (m_grid.rows - 1);
            const int column = std::clamp(static_cast<int>(x), 0, m_grid.columns - 2);
            const int row = std::clamp(static_cast<int>(y), 0, m_grid.rows - 2);
            const double fx = x - column, fy = y - row;
            const bool upper = fx + fy <= 1;
            // What a pole row leaves of its cells is bent, not flat.
            if (m_grid.IsPoleRow(upper ? row : row + 1)) continue;
            const int p = m_grid.At(row, column), r = m_grid.At(row + 1, column);
            const Vector3d target = PointAt(m_shape.positions, m_shape.triangles, place);
            if (upper) {
                m_system.AddPull({p, p + 1, r}, {1 - fx - fy, fx, fy}, target, target, 0, 1);
            } else {
                m_system.AddPull({r + 1, r, p + 1}, {fx + fy - 1, 1 - fx, 1 - fy}, target, target,
                                 0, 1);
            }
        }
    }
    Vector3d NormalOf(int triangle) const {
        const Triangle& t = m_shape.triangles[triangle];
        const Vector3d& a = m_shape.positions[t[0]];
        return (m_shape.positions[t[1]] - a).cross(m_shape.positions[t[2]] - a).normalized();
    }
    Vector3d Along(const Vector3d& gap, int triangle) const {
        const double length = gap.norm();
        return length > 1e-9 ? Vector3d(gap / length) : NormalOf(triangle);
    }
    // Calls work(i, near) for all i below count; near is what the call before it gave.
    template <class Work>
    void ForNeighbours(std::size_t count, const Work& work) const {
        const int blocks = static_cast<int>((count + kBlock - 1) / kBlock);
        ParallelFor(blocks, m_threads, [&](int block) {
            int near = 0;
            const std::size_t first = static_cast<std::size_t>(block) * kBlock;
            for (std::size_t i = first; i < std::min(count, first + kBlock); ++i)
                near = work(i, near);
        });
    }
    std::vector<Pull> PullsOfSurface() const {
        const SurfaceTree gridTree(m_grid.positions, m_triangles);
        std::vector<Pull> pulls(m_samples.size());
        ForNeighbours(pulls.size(), [&](std::size_t i, int near) {
            const Vector3d target = PointAt(m_shape.positions, m_shape.triangles, m_samples[i]);
            const NearestPoint nearest = gridTree.Nearest(target, near);
            pulls[i] = {nearest.place, target, Along(nearest.point - target, m_samples[i].triangle),
                        nearest.squaredDistance};
            return nearest.place.triangle;
        });
        return pulls;
    }
    std::vector<Pull> PullsOfGrid() const {
        const std::vector<Place> samples =
            SpreadPlaces(m_grid.positions, m_triangles, static_cast<int>(m_samples.size()));
        std::vector<Pull> pulls(samples.size());
        ForNeighbours(pulls.size(), [&](std::size_t i, int near) {
            const Vector3d point = PointAt(m_grid.positions, m_triangles, samples[i]);
            const NearestPoint nearest = m_tree.Nearest(point, near);
            pulls[i] = {samples[i], nearest.point,
                        Along(point - nearest.point, nearest.place.triangle),
                        nearest.squaredDistance};
            return nearest.place.triangle;
        });
        return pulls;
    }
    // The direction that is worse off pulls harder.
    void FollowDistances() {
        const std::vector<Pull> sides[] = {PullsOfSurface(), PullsOfGrid()};
        double squares[2] = {};
        for (int side = 0; side < 2; ++side) {
            for (const Pull& pull : sides[side])
                squares[side] += pull.squaredDistance;
        }
        const double whole = squares[0] + squares[1];
        for (int side = 0; side < 2; ++side) {
            const double weight = whole > 0 ? 2 * squares[side] / whole : 1;
            for (const Pull& pull : sides[side]) {
                m_system.AddPull(m_triangles[pull.place.triangle], pull.place.weights, pull.target,
                                 pull.along, weight, weight * kSlip);
            }
        }
    }
};

}  // namespace

SampleGrid FitGrid(const SampleGrid& grid, const Locator& locator, const MapSurface& shape,
                   const SurfaceTree& tree, int threads) {
    return Fitter(grid, locator, shape, tree, threads).Run();
}
