// Values that look random and are the same in every run.
#pragma once

#include <random>

#include "spatial/Vec3.h"

class Random {
public:
    explicit Random(unsigned seed) : m_engine(seed) {}
    int Index(std::size_t count) { return static_cast<int>(m_engine() % count); }
    bool Coin() { return Index(2) == 0; }
    float Real(float low, float high) {
        return std::uniform_real_distribution(low, high)(m_engine);
    }
    vec3 Point(float reach) {
        return {Real(-reach, reach), Real(-reach, reach), Real(-reach, reach)};
    }

private:
    std::mt19937 m_engine;
};
