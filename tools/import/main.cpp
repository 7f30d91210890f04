// pallix-import: model files to a scene of geometry images. Reads the command line, lets the steps
// run and prints what they found.

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "files/FileReplacement.h"
#include "import/ImportFiles.h"
#include "import/ImportModel.h"
#include "import/read/ReadModel.h"
#include "import/ReportTable.h"
#include "import/paint/SceneName.h"
#include "shared/Cli.h"
#include "shared/Progress.h"

namespace {

constexpr int kFewestSamples = 9;
constexpr int kMostSamples = 2049;
constexpr int kMostTexels = 8192;
constexpr double kLargestScale = 1e9;

struct Options {
    std::vector<std::string> models;
    std::string folder = ".";
    std::string name;
    std::string size = "129";
    ImportOptions import;
    double error = 0;
    double scale = 1;
    std::string report;
    int threads = 0;  // as many as the machine runs
};

// N, WxH or auto.
std::string ReadSize(const std::string& text, RemeshOptions& remesh) {
    if (text == "auto") {
        remesh.eitherShape = true;
        return "";
    }
    int columns = 0, rows = 0, used = 0;
    const int found = std::sscanf(text.c_str(), "%5d%nx%5d%n", &columns, &used, &rows, &used);
    if (found == 1) rows = columns;
    const auto fits = [](int n) { return n >= kFewestSamples && n <= kMostSamples; };
    if (found < 1 || text[used] != '\0' || !fits(columns) || !fits(rows)) {
        return text + " is not auto, N or WxH with sides from " + std::to_string(kFewestSamples) +
               " to " + std::to_string(kMostSamples);
    }
    remesh.columns = columns;
    remesh.rows = rows;
    return "";
}

void AddOptions(CLI::App& app, Options& options) {
    app.add_option("model", options.models, "model files: OBJ, PLY, STL, OFF, glTF, GLB and more")
        ->required();
    app.add_option("-o,--output", options.folder, "folder for the scene and its files")
        ->capture_default_str();
    app.add_option("--name", options.name, "of the scene and its files [as the first model]");
    app.add_option("--size", options.size,
                   "samples along a side of each grid; WxH: W in a row, H rows; auto: 129, or "
                   "twice as many rows as columns where that is closer")
        ->check(CLI::Validator(
            [&options](std::string& text) { return ReadSize(text, options.import.remesh); },
            "N|WxH|auto"))
        ->capture_default_str();
    app.add_option("--texture", options.import.textureSize, "texels along a side of a texture")
        ->check(Between(4, kMostTexels))
        ->capture_default_str();
    app.add_option("--error", options.error,
                   "geometric error of the meshes; 0: always full detail, below 0: never resampled "
                   "[about one sample a pixel]")
        ->check(Between(-32767, 32767));
    AddWordOption<FitEffort>(
        app, "--fit", options.import.remesh.fit,
        {{"auto", FitEffort::Auto}, {"off", FitEffort::Off}, {"full", FitEffort::Full}},
        "move the samples to where the grid comes closest: auto holds back on grids of less than "
        "97 samples a side, which are then like the levels of larger ones [auto]");
    app.add_option("--max-parts", options.import.repair.maxParts, "most parts of a model")
        ->check(Between(1, 10000))
        ->capture_default_str();
    app.add_option("--min-part", options.import.repair.minPart,
                   "parts below this share of the model's area are dropped")
        ->check(Between(0, 1))
        ->capture_default_str();
    app.add_option("--scale", options.scale,
                   "factor of the coordinates [the largest extent becomes 2]")
        ->check(Between(1 / kLargestScale, kLargestScale));
    AddWordOption<bool>(app, "--up", options.import.zUp, {{"y", false}, {"z", true}},
                        "axis of the model that points up [y]");
    app.add_option("--report", options.report,
                   "CSV file for the figures, those of 20 levels of detail among them");
    app.add_option("--threads", options.threads, "that work [all of the machine]")
        ->check(Between(1, 256));
}

// What is told when all went well; a failure is one line alone.
using Notes = std::vector<std::string>;

// The name's base, changed where the scene language asks for it.
std::string NameFor(const std::string& wanted, const std::vector<std::string>& taken,
                    Notes& notes) {
    const std::string name = SceneName(wanted, taken);
    if (name != wanted) notes.push_back("\"" + wanted + "\" is called " + name);
    return name;
}

Result<NamedModel> Import(const std::string& path, const std::string& name, const Options& options,
                          Notes& notes) {
    Progress progress("importing " + path);
    Result<Model> model = ReadModel(path);
    if (!model) return model.Why();
    notes.insert(notes.end(), model->warnings.begin(), model->warnings.end());
    Result<ImportedModel> made =
        ImportModel(*model, options.import, [&](int done, int all) { progress.Done(done, all); });
    if (!made) return Failure{path + ": " + made.Why().line};
    for (const std::string& note : made->notes)
        notes.push_back(path + ": " + note);
    return NamedModel{name, std::move(*made)};
}

// Nothing that is read may be written over, nor a result twice.
Outcome CheckFiles(const Options& options, const std::string& name) {
    const auto isOutput = [&](const std::string& path) {
        return IsOfImport(path, options.folder, name);
    };
    const Outcome usable = CheckFolder(options.folder);
    if (!usable) return usable;
    std::error_code error;
    for (const std::string& path : options.models) {
        if (isOutput(path) || std::filesystem::equivalent(path, options.report, error))
            return Failure{path + " would be written over; give --name or another folder"};
    }
    if (!options.report.empty() && isOutput(options.report))
        return Failure{options.report + " is a file of the scene"};
    return Success();
}

Outcome Work(Options& options, const CLI::App& app) {
    ImportOptions& import = options.import;
    if (app.count("--error") > 0) import.error = options.error;
    if (app.count("--scale") > 0) import.scale = options.scale;
    import.levels = !options.report.empty();
    const int machine = static_cast<int>(std::thread::hardware_concurrency());
    import.remesh.threads = options.threads > 0 ? options.threads : std::max(machine, 1);
    const auto base = [](const std::string& path) {
        return std::filesystem::path(path).stem().string();
    };
    Notes notes;
    const std::string name =
        NameFor(options.name.empty() ? base(options.models.front()) : options.name, {}, notes);
    const Outcome possible = CheckFiles(options, name);
    if (!possible) return possible;
    FileReplacement report;
    if (!options.report.empty() && !report.Open(options.report))
        return Failure{"could not write " + options.report};
    std::vector<NamedModel> models;
    std::vector<std::string> taken;
    for (const std::string& path : options.models) {
        // The one parent object has the scene's name.
        taken.push_back(options.models.size() == 1 ? name : NameFor(base(path), taken, notes));
        Result<NamedModel> model = Import(path, taken.back(), options, notes);
        if (!model) return model.Why();
        models.push_back(std::move(*model));
    }
    const Outcome written = WriteImport(options.folder, name, models);
    if (!written) return written;
    for (const std::string& note : notes)
        Note(note);
    std::vector<ReportRow> rows;
    for (const NamedModel& model : models) {
        for (const ImportedPart& part : model.model.parts) {
            rows.push_back(
                {model.name, PartName(name, static_cast<int>(rows.size())), &part.figures});
        }
    }
    std::fputs(ReportAsText(rows).c_str(), stdout);
    if (!options.report.empty() && !report.Finish(ReportAsCsv(rows)))
        return Failure{"could not write " + options.report};
    return Success();
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app(
        "Makes a scene of geometry images from model files: every part of a model becomes a grid "
        "that can be drawn at any detail without cracks.\nThe scene's name is that of its file in "
        "the output folder; show it with the program.",
        "pallix-import");
    Options options;
    AddOptions(app, options);
    return RunTool(app, argc, argv, [&] { return Work(options, app); });
}
