// Imports of real models, from the file to the meshes in memory, each in a process of its own that
// tells how much memory it took: psnr in decibels (the worse of both directions, of the worst
// part), seconds, peak_mb. Takes seconds to minutes a model: each is run once.
// Usage: bench_import [--csv] [MODEL]...
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "import/ImportModel.h"
#include "import/read/ReadModel.h"

namespace {

struct Figures {
    double psnr = 0;
    double seconds = 0;
};

bool Import(const std::string& path, int size, Figures& figures) {
    const auto start = std::chrono::steady_clock::now();
    Result<Model> model = ReadModel(path);
    if (!model) return false;
    ImportOptions options;
    options.remesh.columns = options.remesh.rows = size;
    options.remesh.threads = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
    const Result<ImportedModel> made = ImportModel(*model, options, [](int, int) {});
    if (!made) return false;
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
    figures = {made->parts[0].figures.fidelity.Worse(), passed.count()};
    for (const ImportedPart& part : made->parts)
        figures.psnr = std::min(figures.psnr, part.figures.fidelity.Worse());
    return true;
}

// False when the import failed, or its process.
bool ImportApart(const std::string& path, int size, Figures& figures, double& megabytes) {
    int ends[2];
    if (pipe(ends) != 0) return false;
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        const bool good = Import(path, size, figures) &&
                          write(ends[1], &figures, sizeof figures) == sizeof figures;
        _exit(good ? 0 : 1);
    }
    close(ends[1]);
    const bool whole = read(ends[0], &figures, sizeof figures) == sizeof figures;
    close(ends[0]);
    int status = 1;
    rusage used{};
    if (child < 0 || wait4(child, &status, 0, &used) != child) return false;
    megabytes = static_cast<double>(used.ru_maxrss) / 1024;
    return whole && status == 0;
}

bool Run(const std::string& name) {
    const std::string path = PALLIX_MODELS "/" + name + ".off";
    if (!std::filesystem::exists(path)) {
        std::fprintf(stderr, "bench_import: there is no %s\n", path.c_str());
        return true;
    }
    for (const int size : {129, 257}) {
        const std::string label = "import/" + name + "/" + std::to_string(size);
        Figures figures;
        double megabytes = 0;
        if (!ImportApart(path, size, figures, megabytes)) {
            std::fprintf(stderr, "bench_import: %s failed\n", label.c_str());
            return false;
        }
        std::printf("%s,psnr,%.2f\n%s,seconds,%.2f\n%s,peak_mb,%.0f\n", label.c_str(), figures.psnr,
                    label.c_str(), figures.seconds, label.c_str(), megabytes);
        std::fflush(stdout);
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> names(argv + 1, argv + argc);
    std::erase(names, "--csv");
    if (names.empty()) {
        names = {"hand",         "cow",         "homer",    "fandisk", "camel", "man",
                 "armadillo",    "bunny00",     "knot1",    "femur",   "elk",   "elephant",
                 "couplingdown", "three_peaks", "mushroom", "holes"};
    }
    bool good = true;
    for (const std::string& name : names)
        good = Run(name) && good;
    return good ? 0 : 1;
}
