// A plain background: it stays behind what is looked at.
#include "import/paint/SceneSky.h"

#include <Eigen/Core>
#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

GeoImage MakeSkyMesh(double radius) {
    constexpr int kRows = 17;
    constexpr int kColumns = 33;
    GeoImage sky(kRows, kColumns);
    for (int row = 0; row < kRows; ++row) {
        for (int column = 0; column < kColumns; ++column) {
            const double down = static_cast<double>(row) / (kRows - 1);
            const double across = static_cast<double>(column % (kColumns - 1)) / (kColumns - 1);
            const double turn = 2 * std::numbers::pi * across;
            const double ring = row % (kRows - 1) == 0 ? 0 : std::sin(std::numbers::pi * down);
            const Eigen::Vector3d normal(ring * std::sin(turn), std::cos(std::numbers::pi * down),
                                         ring * std::cos(turn));
            const auto single = [](double value) { return static_cast<float>(value); };
            GeoImageSample& sample = sky.At(row, column);
            sample.normal = {single(normal.x()), single(normal.y()), single(normal.z())};
            sample.position = sample.normal * single(radius);
            sample.u = single(static_cast<double>(column) / (kColumns - 1));
            sample.v = single(1 - down);
        }
    }
    sky.wrapColumns = true;
    sky.error = -1;  // full detail at any distance
    sky.Finish(false);
    return sky;
}

Texture MakeSkyTexture() {
    struct Stop {
        double height;  // 0 below, 1 above
        std::array<double, 3> colour;
    };
    constexpr std::array<Stop, 5> stops = {{{0, {0.26, 0.26, 0.28}},
                                            {0.45, {0.42, 0.43, 0.45}},
                                            {0.54, {0.74, 0.78, 0.82}},
                                            {0.7, {0.45, 0.58, 0.74}},
                                            {1, {0.26, 0.4, 0.6}}}};
    constexpr int kRows = 1024;  // finer than the steps of colour
    constexpr int kColumns = 4;
    Texture sky;
    if (!sky.SetSize(kColumns, kRows, 3)) return sky;
    std::uint8_t* next = sky.pixels;
    for (int row = 0; row < kRows; ++row) {
        const double height = static_cast<double>(row) / (kRows - 1);
        const auto above =
            std::ranges::find_if(stops.begin() + 1, stops.end() - 1,
                                 [&](const Stop& stop) { return height <= stop.height; });
        const Stop& below = *(above - 1);
        const double share = (height - below.height) / (above->height - below.height);
        for (int column = 0; column < kColumns; ++column)
            for (std::size_t c = 0; c < 3; ++c)
                *next++ = static_cast<std::uint8_t>(
                    std::lround(255 * std::lerp(below.colour[c], above->colour[c], share)));
    }
    return sky;
}
