// The statistics line byte for byte, from given numbers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/StatisticsLine.h"

#include <limits>

#include "support/Capture.h"

TEST(StatisticsLineTest, SaysEveryFieldInItsPlace) {
    const auto line = [](const FrameSummary& frame, const Statistics& renderer,
                         const Statistics& driver) {
        return CaptureStdout([&] { PrintStatisticsLine(frame, renderer, driver); });
    };
    const Statistics renderer{
        {"cache accesses", 3},    {"cache hits", 2},        {"cache entries", 41},
        {"cache size", 1572864},  {"NumDrawn", 12},         {"rendered objects", 7.9F},
        {"cached visibility", 5}, {"traversed objects", 9}, {"NumPolys", 16384},
        {"NumPasses", 3},         {"numShadowVolumes", 4}};
    const Statistics driver{{"cache accesses", 8}, {"cache hits", 8}, {"cache entries", 2}};
    EXPECT_EQ(line({-3, 60, 29.96F, false, 30, 1, false}, renderer, driver),
              "f-3 fov=60.0 F30.0 L1.0 H67%/41/1.5M D100%/2/0.0M V7(5)/9,12,16384 P3    \r");
    EXPECT_EQ(line({120, 5, 7.25F, true, 5, 0.25F, true}, renderer, driver),
              "f120 fov=5.0 F7.2/5.0 L0.2 H67%/41/1.5M D100%/2/0.0M V7(5)/9,12,16384 P3 S4    \r");

    constexpr float kInfinite = std::numeric_limits<float>::infinity();
    const Statistics wild{{"NumPolys", 1e20F},
                          {"NumDrawn", -kInfinite},
                          {"NumPasses", std::numeric_limits<float>::quiet_NaN()}};
    // The sign of 0/0 is the processor's business.
    EXPECT_THAT(line({0, 0, kInfinite, false, 0, 0, true}, wild, {}),
                testing::MatchesRegex("f0 fov=0.0 Finf L0.0 H-?nan%/0/0.0M D-?nan%/0/0.0M "
                                      "V0\\(0\\)/0,-2147483648,2147483647 P0 S0    \r"));
}
