#include "shared/Noise.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

// Gradient noise of unit gradients stays within 1 / sqrt(2); this brings a sum of octaves, which
// seldom comes near its bound, to about [-0.5, 0.5].
constexpr double kSpread = 0.75;

std::uint32_t Hash(std::uint32_t value) {
    value = (value ^ (value >> 16)) * 0x7feb352dU;
    value = (value ^ (value >> 15)) * 0x846ca68bU;
    return value ^ (value >> 16);
}

double CornerSlope(std::uint32_t seed, int x, int y, int period, double dx, double dy) {
    const auto column = static_cast<std::uint32_t>(x % period);
    const auto row = static_cast<std::uint32_t>(y % period);
    const double turns = Hash(seed ^ Hash(column ^ Hash(row))) / 4294967296.0;
    const double angle = 2 * std::numbers::pi * turns;
    return std::cos(angle) * dx + std::sin(angle) * dy;
}

double Fade(double t) {
    return t * t * t * (t * (t * 6 - 15) + 10);
}

double Gradient(std::uint32_t seed, int period, double x, double y) {
    const int left = static_cast<int>(x);
    const int low = static_cast<int>(y);
    const double dx = x - left;
    const double dy = y - low;
    const double a = CornerSlope(seed, left, low, period, dx, dy);
    const double b = CornerSlope(seed, left + 1, low, period, dx - 1, dy);
    const double c = CornerSlope(seed, left, low + 1, period, dx, dy - 1);
    const double d = CornerSlope(seed, left + 1, low + 1, period, dx - 1, dy - 1);
    return std::lerp(std::lerp(a, b, Fade(dx)), std::lerp(c, d, Fade(dx)), Fade(dy));
}

}  // namespace

Noise::Noise(std::uint32_t seed, int octaves, int frequency)
    : m_seed(Hash(seed + 1)), m_octaves(octaves), m_frequency(frequency) {}

double Noise::Sum(double u, double v, bool ridged) const {
    u -= std::floor(u);
    v -= std::floor(v);
    double sum = 0;
    double weight = 1;
    for (int octave = 0; octave < m_octaves; ++octave, weight /= 2) {
        const int period = m_frequency << octave;
        const auto seed = m_seed + static_cast<std::uint32_t>(octave);
        const double value = Gradient(seed, period, u * period, v * period);
        sum += weight * (ridged ? std::abs(value) : value);
    }
    return sum;
}

double Noise::At(double u, double v) const {
    return std::clamp(0.5 + kSpread * Sum(u, v, false), 0.0, 1.0);
}

double Noise::Veins(double u, double v) const {
    return std::clamp(1 - 2 * kSpread * Sum(u, v, true), 0.0, 1.0);
}
