// The parts of a remeshing against plain second versions of them.
#include <gtest/gtest.h>

#include <Eigen/Dense>

#include "MadeSurfaces.h"
#include "import/remesh/GridSystem.h"
#include "import/remesh/Measure.h"
#include "import/remesh/Spread.h"
#include "import/repair/Repair.h"
#include "import/repair/Topology.h"
#include "support/Random.h"

namespace {

using Eigen::Matrix3d;
using Eigen::Vector2d;
using Eigen::Vector3d;

Vector3d RandomPoint(Random& random, float reach) {
    return {random.Real(-reach, reach), random.Real(-reach, reach), random.Real(-reach, reach)};
}

std::array<double, 3> RandomWeights(Random& random) {
    const double a = random.Real(0, 1), b = random.Real(0, 1);
    return {std::min(a, b), std::abs(a - b), 1 - std::max(a, b)};
}

// To the triangle's inside, if the point lies over it, or to the nearest of its edges.
double DistanceTo(const Vector3d& point, const std::array<Vector3d, 3>& corners) {
    const Vector3d normal = (corners[1] - corners[0]).cross(corners[2] - corners[0]);
    bool over = normal.norm() > 1e-9;
    double least = 1e300;
    for (std::size_t k = 0; k < 3; ++k) {
        const Vector3d a = corners[k], edge = corners[(k + 1) % 3] - a, to = point - a;
        const double t = edge.norm() > 0 ? to.dot(edge) / edge.squaredNorm() : 0;
        least = std::min(least, (to - std::clamp(t, 0., 1.) * edge).norm());
        over = over && normal.dot(edge.cross(to)) >= 0;
    }
    return over ? std::abs(normal.normalized().dot(point - corners[0])) : least;
}

TEST(Remesh, TreeFindsTheNearestOfAllTriangles) {
    Random random(1);
    for (int round = 0; round < 100; ++round) {
        std::vector<Vector3d> positions;
        std::vector<Triangle> triangles;
        for (int i = 0; i < 4 + round; ++i)
            positions.push_back(RandomPoint(random, 1));
        const auto any = [&] { return random.Index(positions.size()); };
        for (int i = 0; i < 3; ++i)  // in one line with others, and one as another
            positions.push_back(0.25 * positions[any()] + 0.75 * positions[i % 2] +
                                RandomPoint(random, i == 2 ? 1e-8F : 0));
        positions.push_back(positions[0]);
        for (int i = 0; i < 1 + round; ++i)
            triangles.push_back({any(), any(), any()});  // some have less than three corners
        const SurfaceTree tree(positions, triangles);
        for (int question = 0; question < 200; ++question) {
            const Vector3d point = RandomPoint(random, 1.5F);
            double least = 1e300;
            for (const auto& [a, b, c] : triangles)
                least =
                    std::min(least, DistanceTo(point, {positions[a], positions[b], positions[c]}));
            const NearestPoint found = tree.Nearest(point, random.Index(triangles.size()));
            ASSERT_NEAR(std::sqrt(found.squaredDistance), least, 2e-8);
            ASSERT_NEAR((found.point - point).norm(), least, 2e-8);
            ASSERT_LT((PointAt(positions, triangles, found.place) - found.point).norm(), 1e-9);
        }
    }
}

TEST(Remesh, GridAndSurfaceFindEachOther) {
    const auto around = [](int i, int j) {
        const double turn = Angle(i, 30), tube = Angle(j, 16), out = 2 + std::cos(tube);
        return Vector3d(out * std::sin(turn), std::sin(tube), out * std::cos(turn));
    };
    const Surface soups[] = {SphereSoup(20, 10, 1, {0, 0, 0}), Lattice(30, 10, around),
                             Lattice(20, 10, around), Lattice(30, 16, around)};
    Random random(4);
    for (int kind = 0; kind < 4; ++kind) {
        const auto repaired = Repair(soups[kind], {});
        ASSERT_TRUE(repaired);
        auto part = MakePart(repaired->components[0], 2);
        ASSERT_TRUE(part && static_cast<int>(part->kind) == kind);
        RefineForMap(part->surface);
        const auto shape = MakeMapSurface(part->surface);
        EXPECT_NEAR(shape->scale * shape->scale, Area(part->surface), 1e-9);
        const auto maps = Spread(shape, part->kind, {1.5, 1, 2});
        ASSERT_FALSE(maps.empty());
        const Locator locator(maps[0]);
        const auto apart = [](double a, double b, bool wraps) {
            return std::abs(a - b - (wraps ? std::round(a - b) : 0));
        };
        for (int i = 0; i < 5000; ++i) {
            const GridShare at{random.Real(0, 1), random.Real(0, 1)};
            const GridShare back = locator.ShareOf(locator.PlaceOf(at));
            ASSERT_LT(apart(at.across, back.across, kind != 2), 1e-6) << kind << ' ' << at.down;
            ASSERT_LT(apart(at.down, back.down, kind == 3), 1e-6) << kind;
            const Place place{random.Index(shape->triangles.size()), RandomWeights(random)};
            GridShare share = locator.ShareOf(place);
            if (kind != 2) share.across -= std::floor(share.across);
            if (kind == 3) share.down -= std::floor(share.down);
            const auto point = [&](const Place& p) {
                return PointAt(shape->positions, shape->triangles, p);
            };
            ASSERT_LT((point(locator.PlaceOf(share)) - point(place)).norm(), 1e-6) << kind;
        }
    }
}

TEST(Remesh, EnergyHasItsDerivatives) {
    Random random(2);
    for (int round = 0; round < 1000; ++round) {
        const Vector3d next = RandomPoint(random, 1), last = RandomPoint(random, 1);
        const auto far = [&](float turn) -> Vector2d {
            return Vector2d(std::cos(turn), std::sin(turn)) * random.Real(0.5F, 2);
        };
        const float turn = random.Real(0, 6);
        const StretchTriangle t{far(turn),          far(turn + random.Real(0.5F, 2.5F)),
                                next.squaredNorm(), last.squaredNorm(),
                                next.dot(last),     random.Real(0.1F, 2),
                                random.Real(0, 2)};
        const double barrier = random.Real(0, 1), h = 1e-4;
        const auto at = [&](double x, double y) { return StretchAt(t, x, y, barrier); };
        Quadratic sum{1, 2, 3, 4, 5, 6};
        AddStretch(t, 0, 0, barrier, sum);
        const double scale = 1e-4 * (1 + std::abs(sum.hxx) + std::abs(sum.hyy));
        EXPECT_NEAR(sum.value - 1, at(0, 0), 1e-9 * at(0, 0));
        EXPECT_NEAR(sum.gx - 2, (at(h, 0) - at(-h, 0)) / (2 * h), scale);
        EXPECT_NEAR(sum.gy - 3, (at(0, h) - at(0, -h)) / (2 * h), scale);
        EXPECT_NEAR(sum.hxx - 4, (at(h, 0) - 2 * at(0, 0) + at(-h, 0)) / (h * h), scale);
        EXPECT_NEAR(sum.hyy - 6, (at(0, h) - 2 * at(0, 0) + at(0, -h)) / (h * h), scale);
        EXPECT_NEAR(sum.hxy - 5, (at(h, h) - at(h, -h) - at(-h, h) + at(-h, -h)) / (4 * h * h),
                    scale);
        ASSERT_EQ(StretchAt(t, 9 * (t.next[0] + t.last[0]), 9 * (t.next[1] + t.last[1]), barrier),
                  kNoMap);
    }
}

// Towards a pole a surface point is (row / height of the edge there) * point of the edge.
TEST(Remesh, PolesHaveTheMeanStretchOfTheirTriangle) {
    Random random(6);
    for (int round = 0; round < 50; ++round) {
        const Vector3d a = RandomPoint(random, 1), b = RandomPoint(random, 1);
        const double width = random.Real(0.3F, 1), low = random.Real(0.3F, 1);
        const double high = low * random.Real(0.9F, 1.1F);
        const auto at = [&](double s, double v) -> Vector3d {
            return v / (low + s * (high - low)) * ((1 - s) * a + s * b);
        };
        const double h = 1e-5;
        double sum = 0;
        for (int i = 0; i < 1600; ++i) {  // evenly over the triangle
            const double s = (i % 40 + 0.5) / 40, t = std::sqrt((i / 40 + 0.5) / 40);
            const double v = t * (low + s * (high - low));
            sum += ((at(s + h, v) - at(s - h, v)) / (2 * h * width)).squaredNorm() +
                   ((at(s, v + h) - at(s, v - h)) / (2 * h)).squaredNorm();
        }
        const double mean = sum / 1600;
        const double found = PoleStretch(
            {width, low, high, a.squaredNorm(), b.squaredNorm(), (b - a).squaredNorm(), 3}, 0.5);
        EXPECT_NEAR((found - 0.5 / (width * (low + high))) / (3 * mean * mean), 1, 0.01);
    }
}

// The same sums with a dense matrix of all coordinates; every sample finds its point by place.
TEST(Remesh, LeastSquaresAreLeast) {
    Random random(3);
    for (int round = 0; round < 40; ++round) {
        SampleGrid grid{static_cast<GridKind>(round % 4), 4 + round % 3, 4 + round % 5, {}, {}};
        for (int i = 0; i < grid.rows * grid.columns; ++i) {
            const int row = i / grid.columns, column = i % grid.columns;
            const int wraps = grid.WrapsColumns() ? grid.columns - 1 : grid.columns;
            const int rounds = grid.WrapsRows() ? grid.rows - 1 : grid.rows;
            grid.positions.emplace_back(grid.IsPoleRow(row) ? 0 : column % wraps, row % rounds, 0);
        }
        GridSystem system(grid);
        const int size = 3 * system.Points();
        std::vector<Vector3d> seen(static_cast<std::size_t>(system.Points()), {-1, -1, -1});
        for (int i = 0; i < grid.rows * grid.columns; ++i) {
            Vector3d& place = seen.at(static_cast<std::size_t>(system.PointOf(i)));
            if (place[0] < 0) place = grid.positions[static_cast<std::size_t>(i)];
            ASSERT_EQ(place, grid.positions[static_cast<std::size_t>(i)]);
        }
        Eigen::MatrixXd matrix = Eigen::MatrixXd::Zero(size, size);
        Eigen::VectorXd right = Eigen::VectorXd::Zero(size);
        // (form * (sum of weights * points - target))^2
        const auto add = [&](const std::vector<std::pair<int, double>>& terms,
                             const Vector3d& target, const Matrix3d& form) {
            Eigen::MatrixXd part = Eigen::MatrixXd::Zero(3, size);
            for (const auto& [sample, weight] : terms)
                part.middleCols<3>(3 * system.PointOf(sample)) += weight * Matrix3d::Identity();
            matrix += part.transpose() * form * part;
            right += part.transpose() * form * target;
        };
        for (const Triangle& t : grid.Triangles(false)) {
            const int points[] = {system.PointOf(t[0]), system.PointOf(t[1]), system.PointOf(t[2])};
            ASSERT_TRUE(points[0] != points[1] && points[1] != points[2] && points[2] != points[0]);
            const auto w = RandomWeights(random);
            const Vector3d target = RandomPoint(random, 1), along = RandomPoint(random, 1);
            const double weight = random.Real(0.1F, 2), loose = random.Real(0.01F, 1);
            system.AddPull(t, w, target, along, weight, loose);
            add({{t[0], w[0]}, {t[1], w[1]}, {t[2], w[2]}}, target,
                weight * along * along.transpose() + loose * Matrix3d::Identity());
            system.AddSpring(t[0], t[1], along, weight);
            add({{t[0], 1}, {t[1], -1}}, along, weight * Matrix3d::Identity());
        }
        const Eigen::VectorXd exact = matrix.ldlt().solve(right);
        std::vector<Vector3d> points(seen.size(), Vector3d::Zero());
        system.Solve(points, 1000, 1e-12, 1 + round % 3);
        for (std::size_t i = 0; i < points.size(); ++i)
            ASSERT_LT((points[i] - exact.segment<3>(3 * static_cast<int>(i))).norm(), 1e-7);
    }
}

// Distances between equal spheres that are apart by d have the mean square d^2 / 3.
TEST(Remesh, FidelityIsThatOfTheFormula) {
    const Surface ball = SphereSoup(200, 100, 1, {0, 0, 0});
    const Surface moved = SphereSoup(150, 90, 1, {0, 0.2, 0});
    const SurfaceTree tree(ball.positions, ball.triangles);
    const Fidelity found =
        Compare(ball.positions, ball.triangles, tree, moved.positions, moved.triangles, 60000, 2);
    const double diagonal = std::sqrt(12);
    EXPECT_NEAR(found.toGrid, 20 * std::log10(diagonal / (0.2 / std::sqrt(3))), 0.03);
    EXPECT_NEAR(found.toSurface, found.toGrid, 0.03);
    EXPECT_NEAR(found.largest, 0.2 / diagonal, 1e-3);
    // One corner lifted: its share has the mean square 1/6.
    const std::vector<Vector3d> flat{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}},
        lifted{{0, 0, 1e-3}, flat[1], flat[2]};
    const Fidelity lift =
        Compare(flat, {{0, 1, 2}}, SurfaceTree(flat, {{0, 1, 2}}), lifted, {{0, 1, 2}}, 60000, 1);
    EXPECT_NEAR(lift.Worse(), 20 * std::log10(std::sqrt(2) / (1e-3 / std::sqrt(6))), 0.03);
    EXPECT_EQ(Compare(ball.positions, ball.triangles, tree, ball.positions, ball.triangles, 999, 1)
                  .Worse(),
              200);
}

}  // namespace
