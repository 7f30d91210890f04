// The one line that the terminal shows about the frame just drawn.
// Knows nothing of how the numbers came about.
#include "app/StatisticsLine.h"

#include <cstdio>

#include "settings/StatisticNames.h"
#include "spatial/Truncate.h"

namespace {

int Count(const Statistics& statistics, const char* name) {
    return Truncated(Statistic(statistics, name));
}

// Hits in per cent, entries and size of a cache. A cache that nobody asked shows the quotient 0/0.
void PrintCache(char letter, const Statistics& statistics) {
    constexpr double kMebibyte = 1048576;
    const double accesses = Statistic(statistics, stat_names::kCacheAccesses);
    std::printf("%c%.0f%%/%.0f/%.1fM ", letter,
                100.0 * Statistic(statistics, stat_names::kCacheHits) / accesses,
                double{Statistic(statistics, stat_names::kCacheEntries)},
                Statistic(statistics, stat_names::kCacheSize) / kMebibyte);
}

}  // namespace

void PrintStatisticsLine(const FrameSummary& frame, const Statistics& renderer,
                         const Statistics& driver) {
    std::printf("f%d fov=%.1f F%.1f", frame.frameNumber, double{frame.fov}, double{frame.rate});
    if (frame.rateCapped) std::printf("/%2.1f", double{frame.caprate});
    std::printf(" L%0.1f ", double{frame.lodScale});
    PrintCache('H', renderer);
    PrintCache('D', driver);
    std::printf("V%d(%d)/%d,%d,%d ", Count(renderer, stat_names::kRendered),
                Count(renderer, stat_names::kCachedVisibility),
                Count(renderer, stat_names::kTraversed), Count(renderer, stat_names::kDrawn),
                Count(renderer, stat_names::kPolys));
    std::printf("P%d ", Count(renderer, stat_names::kPasses));
    if (frame.shadows) std::printf("S%d ", Count(renderer, stat_names::kShadowVolumes));
    std::printf("   \r");
    std::fflush(stdout);
}
