#include "import/remesh/StretchEnergy.h"

// With N = nextSquare |g|^2 - 2 product e.g + lastSquare |e|^2 over the edges e, g of the plane's
// triangle and A their cross product, T = N / A^2. A is linear in the corner, N quadratic.
void AddStretch(const StretchTriangle& t, double x, double y, double barrier, Quadratic& sum) {
    const double ex = t.next[0] - x, ey = t.next[1] - y, gx = t.last[0] - x, gy = t.last[1] - y;
    const double inverse = 1 / Cross2(ex, ey, gx, gy);
    const double ax = t.next[1] - t.last[1], ay = t.last[0] - t.next[0];
    const double n = t.nextSquare * (gx * gx + gy * gy) - 2 * t.product * (ex * gx + ey * gy) +
                     t.lastSquare * (ex * ex + ey * ey);
    const double nx = -2 * (t.nextSquare * gx - t.product * (ex + gx) + t.lastSquare * ex);
    const double ny = -2 * (t.nextSquare * gy - t.product * (ey + gy) + t.lastSquare * ey);
    const double i2 = inverse * inverse, stretch = n * i2;
    const double tx = nx * i2 - 2 * stretch * inverse * ax;
    const double ty = ny * i2 - 2 * stretch * inverse * ay;
    const double c = t.OppositeSquare(), k3 = 2 * i2 * inverse, k4 = 6 * stretch * i2;
    const double txx = 2 * c * i2 - 2 * k3 * nx * ax + k4 * ax * ax;
    const double tyy = 2 * c * i2 - 2 * k3 * ny * ay + k4 * ay * ay;
    const double txy = -k3 * (nx * ay + ny * ax) + k4 * ax * ay;
    const double once = 2 * stretch * t.area, twice = 2 * t.area;  // derivatives of area * T^2
    const double first = barrier * i2, second = 2 * first * inverse;
    // barrier / A and shape * N / A share what comes of 1 / A.
    const double s1 = t.shape * inverse, s2 = t.shape * i2, drop = first + s2 * n;
    const double bend = second + 2 * s2 * n * inverse;
    sum.value += t.area * stretch * stretch + barrier * inverse + s1 * n;
    sum.gx += once * tx + s1 * nx - drop * ax;
    sum.gy += once * ty + s1 * ny - drop * ay;
    sum.hxx += once * txx + twice * tx * tx + bend * ax * ax + 2 * (s1 * c - s2 * nx * ax);
    sum.hxy += once * txy + twice * tx * ty + bend * ax * ay - s2 * (nx * ay + ny * ax);
    sum.hyy += once * tyy + twice * ty * ty + bend * ay * ay + 2 * (s1 * c - s2 * ny * ay);
}

double PoleStretch(const PoleTriangle& t, double barrier) {
    if (t.width <= 1e-9 || t.heightA <= 1e-9 || t.heightB <= 1e-9) return kNoMap;
    const double product = (t.squareA + t.squareB - t.opposite) / 2;
    const double slope = (t.heightB - t.heightA) / t.width;
    double mean = 0;
    for (int i = 0; i < 3; ++i) {  // Simpson's rule along the edge
        const double s = i * 0.5, weight = i == 1 ? 4. / 6 : 1. / 6;
        const double height = t.heightA + s * (t.heightB - t.heightA);
        const double square =
            (1 - s) * (1 - s) * t.squareA + 2 * s * (1 - s) * product + s * s * t.squareB;
        const double along = product - t.squareA + s * t.opposite;
        const double q = slope / height;
        mean += weight *
                (square / (height * height) + 0.5 * (t.opposite / (t.width * t.width) -
                                                     2 * q * along / t.width + q * q * square));
    }
    return t.area * mean * mean + barrier / (t.width * (t.heightA + t.heightB));
}
