// Matrices, planes and depth order against slow twins and hand-made cases.
#include <gtest/gtest.h>

#include "geometry/GeoImage.h"
#include "scene/Object.h"
#include "spatial/DepthOrder.h"
#include "spatial/Matrix.h"
#include "spatial/Plane.h"
#include "support/Random.h"

namespace {

Matrix AnyFrame(Random& random) {
    return Matrix::Frame(random.Point(9), random.Point(1), random.Point(1));
}

}  // namespace

TEST(Matrix, FramesOfObjects) {
    const vec3 x{1, 0, 0};
    const vec3 y{0, 1, 0};
    const vec3 z{0, 0, 1};
    EXPECT_EQ(Matrix::Frame({}, z, y), Matrix());
    const Matrix parallel = Matrix::Frame({}, y, y);
    EXPECT_TRUE(parallel.Rotate(x) == z && parallel.Rotate(y) == x && parallel.Rotate(z) == y);
    for (const vec3& hopeless : {vec3{}, vec3{3e38F, 3e38F, 3e38F}}) {
        const Matrix frame = Matrix::Frame({1, 2, 3}, hopeless, y);
        EXPECT_EQ(frame.RigidInverse().Translation(), vec3(-1, -2, -3));
        EXPECT_EQ(frame.Rotate(x), x);
    }
    EXPECT_EQ(Matrix::Frame({}, 1e-12F * z, y).Rotate(z), 0.5F * z) << "short ones stay short";
    // Along the diagonal the spare axis is the diagonal itself.
    EXPECT_EQ(Matrix::Frame({}, {1, 1, 1}, {}).Rotate(z), z);
}

TEST(Matrix, ProductsAndInversesCarryPoints) {
    Random random(1);
    for (int i = 0; i < 200; ++i) {
        const Matrix a = AnyFrame(random);
        const Matrix b = AnyFrame(random);
        const vec3 p = random.Point(5);
        EXPECT_LT(Length((a * b).Transform(p) - a.Transform(b.Transform(p))), 1e-4F);
        EXPECT_LT(Length(a.Transform(p) - a.Translation() - a.Rotate(p)), 1e-4F);
        const Matrix there = a.RigidInverse() * a;
        for (int element = 0; element < 16; ++element)
            EXPECT_NEAR(there[element], Matrix()[element], 1e-13)
                << "far below a float's resolution";
    }
    Matrix far;  // large terms cancel before the result is rounded
    far[0] = 1 + 1.0 / (1 << 30);
    far[12] = -16777217;
    EXPECT_EQ(far.Transform({16777216, 0, 0}).x, -0.984375F);
}

TEST(Plane, MasksOfPointsAndSpheresAndTheTestOfBoxesFollowTheirDefinitions) {
    Random random(1);
    int rejected = 0;
    for (int i = 0; i < 1000; ++i) {
        const Matrix m = AnyFrame(random);
        const vec3 low = random.Point(1);
        const Box box{low, low + vec3{1, 0.7F, 2}};
        const vec3 centre = random.Point(2);
        const std::uint32_t mask = i % 2 == 0 ? kAllPlanes : 0xA0000005U;
        std::vector<Plane> planes;
        std::uint32_t point = 0;
        std::uint32_t sphere = 0;
        bool beyondOnePlane = false;
        for (int side = 0; side < (i % 9 == 0 ? 32 : 3); ++side) {
            const vec3 through = random.Point(2);
            const vec3 normal = random.Point(1);
            const Plane& plane = planes.emplace_back(Plane::Through(through, normal));
            const float value = plane.Value(centre);
            EXPECT_NEAR(value, Dot(centre - through, normal) / Length(normal), 1e-5);
            EXPECT_NEAR(plane.Value(plane.Point() + 3 * plane.Normal()), 3, 1e-5);
            point |= value < 0 ? mask & 1U << side : 0;
            sphere |= value < -0.5F ? mask & 1U << side : 0;
            int corners = 0;
            for (int c = 0; c < 8; ++c)
                corners += plane.Value(m.Transform(box.Corner(c))) < 0;
            beyondOnePlane |= corners == 8;
        }
        EXPECT_EQ(PointOutside(planes, centre, mask), point);
        EXPECT_EQ(SphereOutside(planes, centre, 0.5F, mask), sphere);
        EXPECT_EQ(BoxTouchesInside(planes, box, m), !beyondOnePlane);
        rejected += beyondOnePlane ? 1 : 0;
    }
    EXPECT_TRUE(rejected > 100 && rejected < 900) << rejected;
    const Plane touching[] = {Plane::Through({0, 0, -1}, {0, 0, -2})};
    EXPECT_EQ(PointOutside(touching, {5, 5, -1}, kAllPlanes), 0U);
    EXPECT_EQ(SphereOutside(touching, {}, 1, kAllPlanes), 0U);
}

TEST(DepthOrder, FarthestSideFirstAndStable) {
    GeoImage mesh;
    mesh.radius = 5;
    Object big;
    big.mesh = &mesh;
    Object first;
    Object second;
    const auto at = [](double z) {
        Matrix m;
        m[14] = z;
        return m;
    };
    DepthList list;
    const auto order = [&] {
        std::vector<Object*> objects;
        list.ForEach([&](const DepthKey& key) { objects.push_back(key.object); });
        return objects;
    };
    using Objects = std::vector<Object*>;
    list.Add(at(-10), &first);
    list.Add(at(-6), &big);  // its far side is at -11
    list.Add(at(-10), &second);
    list.Add(at(-20), nullptr);
    list.Add(at(std::nan("")), &big);
    list.Add(at(-10), nullptr);
    EXPECT_EQ(order(), (Objects{&big, nullptr, &big, &first, &second, nullptr}));
    list.Remove(&big);
    list.Add(at(-1), &first);
    list.Add(at(-30), &second);
    EXPECT_EQ(order(), (Objects{&second, nullptr, &first, &second, nullptr, &first}));
}
