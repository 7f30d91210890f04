// Compares alternatives that run in turn by the fastest run of each, since anything else on the
// machine only adds. Counts the processor time of the thread.
#pragma once

#include <time.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

template <std::size_t kAlternatives>
class FastestTimes {
public:
    FastestTimes() { m_nanoseconds.fill(std::numeric_limits<double>::infinity()); }

    // repeats: as often as it takes to make the reading of the clock cheap.
    template <class Work>
    void Run(std::size_t alternative, int repeats, Work work) {
        const double start = Now();
        for (int i = 0; i < repeats; ++i)
            work();
        double& fastest = m_nanoseconds[alternative];
        fastest = std::min(fastest, (Now() - start) / repeats);
    }
    // Nanoseconds of one repeat.
    double operator[](std::size_t alternative) const { return m_nanoseconds[alternative]; }

private:
    std::array<double, kAlternatives> m_nanoseconds;

    static double Now() {
        timespec time;
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return 1e9 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec);
    }
};
