// Frames, products and inverses. Planes and the order of depth are tested in whole frames.
#include <gtest/gtest.h>

#include "spatial/Matrix.h"
#include "support/Random.h"

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
    const auto any = [&] {
        return Matrix::Frame(random.Point(9), random.Point(1), random.Point(1));
    };
    for (int i = 0; i < 200; ++i) {
        const Matrix a = any();
        const Matrix b = any();
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
