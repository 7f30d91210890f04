// How badly a flat triangle stands for one of the surface, and how that changes as one corner
// moves. Pure formulas.
//
// The map takes the plane to the surface; J is its derivative in a triangle, M the surface's metric
// there. T = tr(J^T M J) is the mean squared distance, in the measure of M, that one step in the
// plane covers on the surface: where T is large the grid samples sparsely. The energy is
// area * T^2: the square punishes the worst places, which the grid cannot show, beyond the mean.
// To it comes a weight times the ratio of the two ways' stretches, N / (A D) below: cells that are
// long and thin fold over.
#pragma once

#include <Eigen/Core>
#include <array>
#include <vector>

// Of a triangle of the surface.
struct TriangleMetric {
    double area = 0;
    std::array<double, 3> squares = {};  // squared length in M of the edge opposite each corner
    double doubled = 0;                  // twice the area in M, not below a share of the squares
};

// A moving corner's view of one triangle: the two other corners counter-clockwise behind it.
struct StretchTriangle {
    Eigen::Vector2d next, last;
    double nextSquare, lastSquare;  // squared metric lengths from the corner to them
    double product;                 // inner product of these two edges
    double area;
    double shape;  // weight of N / A, where T = N / A^2 and A is twice the area in the plane
    double OppositeSquare() const { return nextSquare + lastSquare - 2 * product; }
};

constexpr double kNoMap = 1e300;  // energy of a flipped triangle
// Twice the area in the plane below which rounding decides which way a triangle faces.
constexpr double kLeastDoubledArea = 1e-20;

inline double Cross2(double ax, double ay, double bx, double by) {
    return ax * by - ay * bx;
}

// With the corner at x; kNoMap when the triangle is flipped there. barrier: weight of 1 / (twice
// the triangle's area in the plane).
inline double StretchAt(const StretchTriangle& t, double x, double y, double barrier) {
    const double ex = t.next[0] - x, ey = t.next[1] - y, gx = t.last[0] - x, gy = t.last[1] - y;
    const double doubled = Cross2(ex, ey, gx, gy);
    if (doubled <= kLeastDoubledArea) return kNoMap;
    const double n = t.nextSquare * (gx * gx + gy * gy) - 2 * t.product * (ex * gx + ey * gy) +
                     t.lastSquare * (ex * ex + ey * ey);
    const double inverse = 1 / doubled, stretch = n * inverse * inverse;
    return t.area * stretch * stretch + (t.shape * n + barrier) * inverse;
}

// Value, gradient and Hessian as a function of the corner's place.
struct Quadratic {
    double value = 0;
    double gx = 0, gy = 0;
    double hxx = 0, hxy = 0, hyy = 0;
};
void AddStretch(const StretchTriangle& t, double x, double y, double barrier, Quadratic& sum);

// A triangle with a corner at a pole, whose point is the whole first or last row. Between the
// opposite edge from a to b and the row, the surface point moves straight towards the pole as the
// row does; T is its mean over the edge.
struct PoleTriangle {
    double width;             // of the edge in u, positive
    double heightA, heightB;  // of its ends over the pole's row, positive
    double squareA, squareB;  // squared metric lengths from the pole to them
    double opposite;          // of the edge
    double area;
};
double PoleStretch(const PoleTriangle& t, double barrier);
