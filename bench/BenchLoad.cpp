// Loading a mesh against merely inflating its stream, the lower bound of any loader.
// Knows the mesh file only by the length of its header.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "FastestTimes.h"
#include "app/HeapPolicy.h"
#include "geometry/Codec.h"
#include "geometry/GeoImage.h"

namespace {

constexpr int kSide = 257;
constexpr off_t kHeaderBytes = 17;

// A torus with a fine relief, so that its stream is neither trivial nor noise.
void WriteMesh(const std::string& path, int codec) {
    constexpr double kTurn = 2 * 3.14159265358979323846;
    GeoImage mesh(kSide, kSide);
    for (int r = 0; r < kSide; ++r) {
        for (int c = 0; c < kSide; ++c) {
            const double a = kTurn * c / (kSide - 1);
            const double b = kTurn * r / (kSide - 1);
            const double tube = 0.4 + 0.02 * std::sin(17 * a) * std::cos(23 * b);
            const double ring = 1 + tube * std::cos(b);
            GeoImageSample& s = mesh.At(r, c);
            s.position = {static_cast<float>(ring * std::cos(a)),
                          static_cast<float>(ring * std::sin(a)),
                          static_cast<float>(tube * std::sin(b))};
            s.u = static_cast<float>(c) / (kSide - 1);
            s.v = static_cast<float>(r) / (kSide - 1);
        }
    }
    mesh.Finish(true);
    mesh.Save(path, codec);
}

std::size_t Inflate(const std::string& path) {
    static std::vector<char> buffer(std::size_t{64} << 10);
    const int fd = open(path.c_str(), O_RDONLY);
    lseek(fd, kHeaderBytes, SEEK_SET);
    const gzFile stream = gzdopen(fd, "r");
    std::size_t total = 0;
    for (int got = 1; got > 0; total += static_cast<std::size_t>(got)) {
        got = gzread(stream, buffer.data(), static_cast<unsigned>(buffer.size()));
        benchmark::DoNotOptimize(buffer.data());
    }
    gzclose(stream);
    return total;
}

void LoadAgainstInflate(benchmark::State& state) {
    const std::string path =
        (std::filesystem::temp_directory_path() / ("bench-load-" + std::to_string(getpid())))
            .string();
    KeepHeap();  // as the program does: otherwise every other load pays for the same pages
    WriteMesh(path, static_cast<int>(state.range(0)));
    FastestTimes<2> times;
    double checksum = 0;
    for (auto _ : state) {
        times.Run(0, 1, [&] { Inflate(path); });
        times.Run(1, 1, [&] {
            GeoImage mesh;
            mesh.Load(path);
            checksum = double{mesh.radius} + double{mesh.samples[kSide].normal.x};
        });
    }
    std::filesystem::remove(path);
    state.counters["inflate_ms"] = times[0] / 1e6;
    state.counters["load_ms"] = times[1] / 1e6;
    state.counters["ratio"] = times[1] / times[0];
    state.counters["checksum"] = checksum;
}
BENCHMARK(LoadAgainstInflate)
    ->ArgName("codec")
    ->Arg(CODEC_FLAT)
    ->Arg(CODEC_PYRAMID)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(3);

}  // namespace
