// Matrices, planes and depth order against slow twins and hand-made cases.
#include <gtest/gtest.h>

#include <random>

#include "geometry/GeoImage.h"
#include "scene/Object.h"
#include "spatial/DepthOrder.h"
#include "spatial/Matrix.h"
#include "spatial/Plane.h"

namespace {

class Random {
public:
    float Within(float limit) { return std::uniform_real_distribution(-limit, limit)(m_engine); }
    vec3 Vector(float limit) { return {Within(limit), Within(limit), Within(limit)}; }

private:
    std::mt19937 m_engine{1};
};

vec3 Axis(const Matrix& m, int column) {
    return {static_cast<float>(m[4 * column]), static_cast<float>(m[4 * column + 1]),
            static_cast<float>(m[4 * column + 2])};
}

}  // namespace

TEST(Matrix, FramesOfObjects) {
    EXPECT_EQ(Matrix::Frame({}, {0, 0, 1}, {0, 1, 0}), Matrix());
    const Matrix parallel = Matrix::Frame({}, {0, 1, 0}, {0, 1, 0});
    EXPECT_EQ(Axis(parallel, 0), vec3(0, 0, 1));
    EXPECT_EQ(Axis(parallel, 1), vec3(1, 0, 0));
    EXPECT_EQ(Axis(parallel, 2), vec3(0, 1, 0));
    for (const vec3& hopeless : {vec3{}, vec3{3e38F, 3e38F, 3e38F}}) {
        const Matrix frame = Matrix::Frame({1, 2, 3}, hopeless, {0, 1, 0});
        EXPECT_EQ(frame.RigidInverse().Translation(), vec3(-1, -2, -3));
        EXPECT_EQ(Axis(frame, 0), vec3(1, 0, 0));
    }
    const Matrix tiny = Matrix::Frame({}, {0, 0, 1e-12F}, {0, 1, 0});
    EXPECT_EQ(Axis(tiny, 2), vec3(0, 0, 0.5F)) << "short directions leave short axes";
    // Along the diagonal the spare axis is the diagonal itself.
    EXPECT_EQ(Axis(Matrix::Frame({}, {1, 1, 1}, {}), 2), vec3(0, 0, 1));
}

TEST(Matrix, ProductsAndInversesCarryPoints) {
    Random random;
    for (int i = 0; i < 200; ++i) {
        const Matrix a = Matrix::Frame(random.Vector(9), random.Vector(1), random.Vector(1));
        const Matrix b = Matrix::Frame(random.Vector(9), random.Vector(1), random.Vector(1));
        const vec3 p = random.Vector(5);
        EXPECT_LT(Length((a * b).Transform(p) - a.Transform(b.Transform(p))), 1e-4F);
        EXPECT_LT(Length(a.RigidInverse().Transform(a.Transform(p)) - p), 1e-4F);
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

TEST(Plane, MasksTellWhichPlanesHaveAPointOrAWholeSphereOutside) {
    const std::vector<Plane> planes(32, Plane::Through({0, 0, -1}, {0, 0, -2}));
    EXPECT_EQ(PointOutside(planes, {5, 5, -1}, kAllPlanes), 0U);
    EXPECT_EQ(PointOutside(planes, {5, 5, -0.5F}, 0x80000001U), 0x80000001U);
    EXPECT_EQ(SphereOutside(planes, {}, 1, kAllPlanes), 0U);
    EXPECT_EQ(SphereOutside(planes, {}, 0.9F, kAllPlanes), kAllPlanes);
    EXPECT_EQ(SphereOutside(planes, {}, 0.9F, 0x80000001U), 0x80000001U);
    const Plane oblique = Plane::Through({1, 2, 3}, {4, -5, 6});
    EXPECT_NEAR(oblique.Value({1, 2, 3}), 0, 1e-6);
    EXPECT_NEAR(oblique.Value(oblique.Point()), 0, 1e-6);
    EXPECT_NEAR(oblique.Value(oblique.Point() + oblique.Normal() * 3), 3, 1e-6);
}

TEST(Plane, BoxIsOutsideOnlyBeyondOnePlane) {
    Random random;
    int rejected = 0;
    for (int i = 0; i < 1000; ++i) {
        const Matrix m = Matrix::Frame(random.Vector(3), random.Vector(1), random.Vector(1));
        const vec3 low = random.Vector(1);
        const Box box{low, low + vec3{1, 0.7F, 2}};
        std::vector<Plane> planes;
        bool beyondOnePlane = false;
        for (int side = 0; side < 3; ++side) {
            planes.push_back(Plane::Through(random.Vector(2), random.Vector(1)));
            int corners = 0;
            for (int c = 0; c < 8; ++c)
                corners += planes.back().Value(m.Transform(box.Corner(c))) < 0;
            beyondOnePlane |= corners == 8;
        }
        EXPECT_EQ(BoxTouchesInside(planes, box, m), !beyondOnePlane);
        rejected += beyondOnePlane ? 1 : 0;
    }
    EXPECT_TRUE(rejected > 100 && rejected < 900) << rejected;
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
    list.Add(at(-10), &first);
    list.Add(at(-6), &big);  // its far side is at -11
    list.Add(at(-10), &second);
    list.Add(at(-20), nullptr);
    list.Add(at(std::nan("")), &big);
    list.Add(at(-10), nullptr);
    std::vector<Object*> order;
    list.ForEach([&](const DepthKey& key) { order.push_back(key.object); });
    EXPECT_EQ(order, (std::vector<Object*>{&big, nullptr, &big, &first, &second, nullptr}));
    list.Remove(&big);
    list.Add(at(-1), &first);
    list.Add(at(-30), &second);
    order.clear();
    list.ForEach([&](const DepthKey& key) { order.push_back(key.object); });
    EXPECT_EQ(order, (std::vector<Object*>{&second, nullptr, &first, &second, nullptr, &first}));
}
