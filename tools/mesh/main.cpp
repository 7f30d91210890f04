// pallix-mesh: makes mesh files. Reads the command line, lets the shape be made and writes the
// file.

#include <algorithm>
#include <string>
#include <vector>

#include "geometry/Codec.h"
#include "geometry/FileHeader.h"
#include "mesh/Grid.h"
#include "mesh/ShapeCommand.h"
#include "shared/Cli.h"
#include "shared/WrittenFile.h"

namespace {

constexpr int kMaxRows = 4097;
// The error is stored as 16.16 fixed point.
constexpr double kMaxError = 32767;

enum class Flag { OfShape, Off, On };

struct Options {
    GridOptions grid;
    double error = 0;
    int codec = CODEC_PYRAMID;
    int precision = 16;
    Axis axis = Axis::Y;
    Flag wrapColumns = Flag::OfShape;
    Flag wrapRows = Flag::OfShape;
};

void AddFlag(CLI::App& command, const std::string& name, Flag& value, const std::string& text) {
    AddWordOption<Flag>(command, name, value, {{"yes", Flag::On}, {"no", Flag::Off}},
                        text + " [as the shape has it]");
}

void AddCommonOptions(CLI::App& command, Options& options) {
    command.add_option("file", options.grid.file, "file to write; - for standard output")
        ->required();
    command.add_option("--rows", options.grid.rows, "rows of samples, from top to bottom")
        ->check(Between(2, kMaxRows))
        ->capture_default_str();
    command.add_option("--columns", options.grid.columns, "samples in a row")
        ->check(Between(2, kMaxRows))
        ->capture_default_str();
    command
        .add_option("--error", options.error,
                    "geometric error: the larger, the farther away the mesh keeps its full detail; "
                    "0 keeps it everywhere, below 0 the renderer never resamples it")
        ->check(Between(-kMaxError, kMaxError))
        ->capture_default_str();
    command.add_option("--precision", options.precision, "bits kept of the coordinates")
        ->check(Between(8, 24))
        ->capture_default_str();
    AddWordOption<Axis>(command, "--axis", options.axis,
                        {{"x", Axis::X}, {"y", Axis::Y}, {"z", Axis::Z}},
                        "axis that the shape is made around or faces [y]");
    AddFlag(command, "--wrap-columns", options.wrapColumns, "first and last column are one seam");
    AddFlag(command, "--wrap-rows", options.wrapRows, "first and last row are one seam");
    AddCodecOption(command, options.codec);
}

void ApplyFlag(bool& wraps, Flag flag) {
    if (flag != Flag::OfShape) wraps = flag == Flag::On;
}

Outcome Write(GeoImage& mesh, const Options& options, const std::string& file, double extent) {
    TurnTo(mesh, options.axis);
    RoundCoordinates(mesh, options.precision, extent);
    mesh.Finish(false);
    ApplyFlag(mesh.wrapColumns, options.wrapColumns);
    ApplyFlag(mesh.wrapRows, options.wrapRows);
    mesh.error = static_cast<float>(options.error);
    return WriteWhole(file, MeshHeader::kWrittenLength,
                      [&](const std::string& path) { return mesh.Save(path, options.codec); });
}

Outcome Work(const ShapeCommand& shape, const Options& options) {
    Outcome fits = shape.check(options.grid);
    if (!fits) return fits;
    return shape.make(options.grid,
                      [&options](GeoImage& mesh, const std::string& suffix, double extent) {
                          return Write(mesh, options, options.grid.file + suffix, extent);
                      });
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Makes mesh files.\npallix-mesh SHAPE --help shows the options of a shape.",
                 "pallix-mesh");
    app.require_subcommand(1);
    Options options;
    const std::vector<ShapeCommand> shapes = ShapeCommands();
    for (const ShapeCommand& shape : shapes) {
        CLI::App& command = *app.add_subcommand(shape.name, shape.text);
        shape.add(command);
        AddCommonOptions(command, options);
    }
    return RunTool(app, argc, argv, [&] {
        const auto given = [&app](const ShapeCommand& shape) {
            return app.got_subcommand(shape.name);
        };
        return Work(*std::find_if(shapes.begin(), shapes.end(), given), options);
    });
}
