#include "texture/Patterns.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

double SmoothStep(double t) {
    t = std::clamp(t, 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

double FromMiddle(double u, double v) {
    return 2 * std::hypot(u - 0.5, v - 0.5);
}

std::uint8_t Byte(double value) {
    return static_cast<std::uint8_t>(std::lround(255 * std::clamp(value, 0.0, 1.0)));
}

// Drops the colour channels of a grey picture and the alpha of an opaque one.
std::optional<Texture> Packed(const Texture& full) {
    const std::size_t pixels =
        static_cast<std::size_t>(full.width) * static_cast<std::size_t>(full.height);
    bool grey = true;
    bool opaque = true;
    for (std::size_t i = 0; i < pixels; ++i) {
        const std::uint8_t* p = full.pixels + 4 * i;
        grey = grey && p[0] == p[1] && p[1] == p[2];
        opaque = opaque && p[3] == 255;
    }
    const int colors = grey ? 1 : 3;
    Texture packed;
    if (!packed.SetSize(full.width, full.height, colors + (opaque ? 0 : 1))) return std::nullopt;
    std::uint8_t* out = packed.pixels;
    for (std::size_t i = 0; i < pixels; ++i) {
        const std::uint8_t* p = full.pixels + 4 * i;
        out = std::copy_n(p, colors, out);
        if (!opaque) *out++ = p[3];
    }
    return packed;
}

}  // namespace

std::optional<Color> ParseColor(const std::string& text) {
    const std::size_t start = text.starts_with('#') ? 1 : 0;
    const std::size_t digits = text.size() - start;
    if (digits != 6 && digits != 8) return std::nullopt;
    if (text.find_first_not_of("0123456789abcdefABCDEF", start) != std::string::npos) {
        return std::nullopt;
    }
    const auto channel = [&](std::size_t at) {
        return static_cast<double>(std::stoi(text.substr(start + at, 2), nullptr, 16)) / 255;
    };
    return Color{channel(0), channel(2), channel(4), digits == 8 ? channel(6) : 1};
}

Color Mix(const Color& from, const Color& to, double t) {
    return {std::lerp(from.r, to.r, t), std::lerp(from.g, to.g, t), std::lerp(from.b, to.b, t),
            std::lerp(from.a, to.a, t)};
}

std::optional<Texture> Draw(int width, int height, const Pattern& pattern) {
    Texture full;
    if (!full.SetSize(width, height, 4)) return std::nullopt;
    std::uint8_t* out = full.pixels;
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column, out += 4) {
            const Color color = pattern((column + 0.5) / width, (row + 0.5) / height);
            out[0] = Byte(color.r);
            out[1] = Byte(color.g);
            out[2] = Byte(color.b);
            out[3] = Byte(color.a);
        }
    }
    return Packed(full);
}

Pattern Checker(const CheckerStyle& style) {
    const Noise noise(style.seed, 5, style.cells);
    return [style, noise](double u, double v) {
        const int column = static_cast<int>(u * style.cells);
        const int row = static_cast<int>(v * style.cells);
        Color color = (column + row) % 2 == 0 ? style.first : style.second;
        const double shade = style.grain > 0 ? 1 - style.grain * noise.At(u, v) : 1;
        color.r *= shade;
        color.g *= shade;
        color.b *= shade;
        return color;
    };
}

Pattern Gradient(std::vector<GradientStop> stops, bool horizontal) {
    std::stable_sort(stops.begin(), stops.end(),
                     [](const auto& a, const auto& b) { return a.at < b.at; });
    return [stops = std::move(stops), horizontal](double u, double v) {
        const double at = horizontal ? u : v;
        const auto above = std::find_if(stops.begin(), stops.end(),
                                        [at](const GradientStop& stop) { return stop.at > at; });
        if (above == stops.begin()) return stops.front().color;
        if (above == stops.end()) return stops.back().color;
        const auto below = above - 1;
        return Mix(below->color, above->color, (at - below->at) / (above->at - below->at));
    };
}

Pattern Glow(const GlowStyle& style) {
    return [style](double u, double v) {
        const double outside =
            SmoothStep((FromMiddle(u, v) - style.from) / (style.to - style.from));
        return Mix(style.outer, style.inner, std::pow(1 - outside, style.power));
    };
}

Pattern NoisePattern(const NoiseStyle& style, const Noise& noise) {
    return [style, noise](double u, double v) {
        const double value = style.veins ? noise.Veins(u, v) : noise.At(u, v);
        Color color =
            Mix(style.low, style.high, std::clamp(0.5 + style.contrast * (value - 0.5), 0.0, 1.0));
        if (style.fade) color.a *= 1 - SmoothStep(FromMiddle(u, v));
        return color;
    };
}
