// Bilinear resampling against the four-sample formula written out, sample by sample.
// Knows no more of the resampler than its results, which must be the same bits.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "FastestTimes.h"
#include "geometry/GeoImage.h"

namespace {

constexpr int kBilinear = 1;

struct Position {
    int index;
    float fraction;
};

Position At(int output, int outputs, int step, int last) {
    if (output == 0) return {0, 0};
    if (output == outputs - 1) return {last, 0};
    const int position = output * step;
    return {position >> 12, static_cast<float>(position & 4095) / 4096};
}

// The formula for every field of every sample. A neighbour without weight is the sample itself.
// kApart: the fields are gathered in a place of their own, so that the compiler, sure that nothing
// overlaps, turns the inner loop into vector arithmetic.
template <bool kApart>
[[gnu::noinline]] void FourSamples(const GeoImage& source, GeoImage& result, float rows,
                                   float columns) {
    result.SetSize(static_cast<int>(std::ceil(rows)), static_cast<int>(std::ceil(columns)));
    const auto rowSpan = static_cast<float>((source.height - 1) * 4096);
    const auto columnSpan = static_cast<float>((source.width - 1) * 4096);
    const int rowStep = static_cast<int>(rowSpan / (rows - 1));
    const int columnStep = static_cast<int>(columnSpan / (columns - 1));
    for (int r = 0; r < result.height; ++r) {
        const auto [y, fy] = At(r, result.height, rowStep, source.height - 1);
        for (int c = 0; c < result.width; ++c) {
            const auto [x, fx] = At(c, result.width, columnStep, source.width - 1);
            const auto* s00 = reinterpret_cast<const float*>(&source.At(y, x));
            const auto* s10 = s00 + (fx != 0 ? 8 : 0);
            const auto* s01 = s00 + (fy != 0 ? 8 * source.width : 0);
            const auto* s11 = s01 + (fx != 0 ? 8 : 0);
            auto* out = reinterpret_cast<float*>(&result.At(r, c));
            float apart[8];
            float* target = kApart ? apart : out;
            for (int f = 0; f < 8; ++f) {
                const float a = s00[f] * (1 - fy) + s01[f] * fy;
                const float b = s10[f] * (1 - fy) + s11[f] * fy;
                target[f] = a * (1 - fx) + b * fx;
            }
            if (kApart) std::copy_n(apart, 8, out);
        }
    }
}

GeoImage RandomMesh(int side) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> value(-1, 1);
    GeoImage mesh(side, side);
    for (int i = 0; i < side * side; ++i) {
        mesh.samples[i] = {{value(random), value(random), value(random)},
                           {value(random), value(random), value(random)},
                           value(random),
                           value(random)};
    }
    return mesh;
}

bool SameSamples(const GeoImage& a, const GeoImage& b) {
    const auto count = static_cast<std::size_t>(a.width * a.height);
    return a.width == b.width && a.height == b.height &&
           std::memcmp(a.samples, b.samples, count * sizeof(GeoImageSample)) == 0;
}

// Arguments: side of the source, wanted side in tenths of a sample.
void ResampleAgainstFourSamples(benchmark::State& state) {
    const GeoImage source = RandomMesh(static_cast<int>(state.range(0)));
    const float side = static_cast<float>(state.range(1)) / 10;
    const int repeats = 1 + static_cast<int>(20000 / (side * side));
    GeoImage plain;
    GeoImage vectorised;
    GeoImage resized;
    FastestTimes<3> times;
    for (auto _ : state) {
        times.Run(0, repeats, [&] { FourSamples<false>(source, plain, side, side); });
        times.Run(1, repeats, [&] { FourSamples<true>(source, vectorised, side, side); });
        times.Run(2, repeats, [&] { GeoImage::Resize(source, resized, side, side, kBilinear); });
    }
    if (!SameSamples(plain, resized) || !SameSamples(vectorised, resized)) {
        state.SkipWithError("the results differ");
    }
    const double samples = static_cast<double>(resized.width * resized.height);
    state.counters["literal_ns"] = times[0] / samples;
    state.counters["vectorised_ns"] = times[1] / samples;
    state.counters["resize_ns"] = times[2] / samples;
    state.counters["speedup"] = times[0] / times[2];
}
BENCHMARK(ResampleAgainstFourSamples)
    ->ArgNames({"source", "tenths"})
    ->Args({65, 563})
    ->Args({65, 325})
    ->Args({65, 112})
    ->Args({65, 1300})
    ->Args({129, 773})
    ->Args({257, 1998})
    ->Unit(benchmark::kMicrosecond)
    ->MinTime(0.5);

}  // namespace
