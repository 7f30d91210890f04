// Pictures computed from a few numbers: checker, gradient, glow and noise. Knows nothing of files.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "geometry/Texture.h"
#include "shared/Noise.h"

// Red, green, blue, alpha from 0 to 1.
struct Color {
    double r = 0;
    double g = 0;
    double b = 0;
    double a = 1;
};

// rrggbb or rrggbbaa, also after a #; nothing for any other text.
std::optional<Color> ParseColor(const std::string& text);
Color Mix(const Color& from, const Color& to, double t);

// The colour at u to the right and v upwards, both in (0, 1).
using Pattern = std::function<Color(double u, double v)>;

// The pattern at every pixel's middle, with as few channels as the picture needs: grey, grey and
// alpha, colour, or colour and alpha. Nothing when there is no memory for it.
std::optional<Texture> Draw(int width, int height, const Pattern& pattern);

struct CheckerStyle {
    Color first;  // of the lower left cell
    Color second;
    int cells = 8;     // along each side
    double grain = 0;  // how much noise darkens the cells, 0 to 1
    std::uint32_t seed = 1;
};
Pattern Checker(const CheckerStyle& style);

struct GradientStop {
    double at;  // 0 below (or left), 1 above (or right)
    Color color;
};
// At least one stop; between two stops the colours blend, outside them they stay.
Pattern Gradient(std::vector<GradientStop> stops, bool horizontal);

struct GlowStyle {
    Color inner;
    Color outer;
    double from = 0;   // distances from the middle where the change begins and ends;
    double to = 1;     // 1 is the nearest border
    double power = 1;  // above 1: the inner colour shrinks to a core
};
Pattern Glow(const GlowStyle& style);

struct NoiseStyle {
    Color low;
    Color high;
    double contrast = 1;
    bool veins = false;
    bool fade = false;  // alpha sinks to 0 from the middle to the nearest border
};
Pattern NoisePattern(const NoiseStyle& style, const Noise& noise);
