// Main program of every benchmark. With --csv each number is one row, so that the output of all
// benchmarks is one table; otherwise the library's own options hold.
#include <benchmark/benchmark.h>

#include <cstring>
#include <iostream>
#include <string>
#include <vector>

namespace {

// The library renamed these members; either version will do.
template <class Run>
bool Failed(const Run& run) {
    if constexpr (requires { run.error_occurred; }) {
        return run.error_occurred;
    } else {
        return run.skipped != 0;
    }
}

template <class Run>
std::string Reason(const Run& run) {
    if constexpr (requires { run.error_message; }) {
        return run.error_message;
    } else {
        return run.skip_message;
    }
}

class CsvReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const std::string name = run.benchmark_name();
            if (Failed(run)) {
                std::cerr << name << ": " << Reason(run) << '\n';
                failed = true;
                continue;
            }
            const std::string unit = benchmark::GetTimeUnitString(run.time_unit);
            Row(name, "time_" + unit, run.GetAdjustedRealTime());
            for (const auto& [counter, value] : run.counters)
                Row(name, counter, value);
        }
    }

    bool failed = false;

private:
    static void Row(const std::string& name, const std::string& metric, double value) {
        std::cout.precision(10);
        std::cout << name << ',' << metric << ',' << value << std::endl;
    }
};

}  // namespace

int main(int argc, char** argv) {
    bool csv = false;
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--csv") == 0) {
            csv = true;
        } else {
            argv[kept++] = argv[i];
        }
    }
    benchmark::Initialize(&kept, argv);
    if (benchmark::ReportUnrecognizedArguments(kept, argv)) return 1;
    if (!csv) {
        benchmark::RunSpecifiedBenchmarks();
        return 0;
    }
    CsvReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return reporter.failed ? 1 : 0;
}
