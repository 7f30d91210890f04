// Fractal gradient noise over the unit square, the same for the same seed on every machine.
// Knows nothing of what is made from it.
#pragma once

#include <cstdint>

class Noise {
public:
    static constexpr int kMaxOctaves = 12;

    // frequency: lattice cells across the square in the first octave, doubled in each further one.
    Noise(std::uint32_t seed, int octaves, int frequency);

    // A value in [0, 1] around 0.5. Tiles without a seam: u and v repeat at whole numbers.
    double At(double u, double v) const;
    // Sharp light veins in [0, 1] where the noise crosses its mean.
    double Veins(double u, double v) const;

private:
    std::uint32_t m_seed;
    int m_octaves;
    int m_frequency;

    double Sum(double u, double v, bool ridged) const;
};
