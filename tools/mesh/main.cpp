// pallix-mesh: makes mesh files. Reads the command line, chooses the shape and writes the file.

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "geometry/Codec.h"
#include "geometry/FileHeader.h"
#include "geometry/Texture.h"
#include "mesh/HeightField.h"
#include "mesh/Shapes.h"
#include "mesh/Teapot.h"
#include "shared/Cli.h"
#include "shared/Noise.h"
#include "shared/PngFile.h"
#include "shared/WrittenFile.h"

namespace {

// Lengths in scene units; the file format's fixed point and float normals hold far more.
constexpr double kSmallest = 1e-4;
constexpr double kLargest = 1e6;
constexpr int kMaxRows = 4097;
// The error is stored as 16.16 fixed point.
constexpr double kMaxError = 32767;

// Samples of a closed line, its first one twice, that still enclose something.
constexpr int kFewestAround = 4;

enum class Flag { OfShape, Off, On };

struct Options {
    std::string file;
    int rows = 33;
    int columns = 33;
    double error = 0;
    int codec = CODEC_PYRAMID;
    int precision = 16;
    Axis axis = Axis::Y;
    Flag wrapColumns = Flag::OfShape;
    Flag wrapRows = Flag::OfShape;

    double width = 2;
    double depth = 2;
    double radius = 1;
    double tube = 0.3;
    CylinderSizes cylinder;
    SuperquadricSizes superquadric;
    HeightFieldSizes field;
    std::string picture;
    std::uint32_t seed = 1;
    int octaves = 6;
    int frequency = 3;
    double teapotHeight = 1.5;
};

// Commands of the command line, for asking which one was given.
struct Commands {
    CLI::App* plane;
    CLI::App* sphere;
    CLI::App* torus;
    CLI::App* cylinder;
    CLI::App* superquadric;
    CLI::App* heightField;
    CLI::App* teapot;
};

void AddLength(CLI::App& command, const std::string& name, double& value, const std::string& text,
               double smallest = kSmallest) {
    command.add_option(name, value, text)
        ->check(Between(smallest, kLargest))
        ->capture_default_str();
}

void AddFlag(CLI::App& command, const std::string& name, Flag& value, const std::string& text) {
    AddWordOption<Flag>(command, name, value, {{"yes", Flag::On}, {"no", Flag::Off}},
                        text + " [as the shape has it]");
}

void AddCommonOptions(CLI::App& command, Options& options) {
    command.add_option("file", options.file, "file to write; - for standard output")->required();
    command.add_option("--rows", options.rows, "rows of samples, from top to bottom")
        ->check(Between(2, kMaxRows))
        ->capture_default_str();
    command.add_option("--columns", options.columns, "samples in a row")
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

void AddSheetCommands(CLI::App& app, Options& options, Commands& commands) {
    CLI::App& plane =
        *(commands.plane = app.add_subcommand("plane", "flat sheet, facing the axis"));
    AddLength(plane, "--width", options.width, "along x");
    AddLength(plane, "--depth", options.depth, "along z");

    CLI::App& field = *(commands.heightField = app.add_subcommand(
                            "heightfield", "landscape from a grey PNG file or fractal noise"));
    AddLength(field, "--width", options.field.width, "along x");
    AddLength(field, "--depth", options.field.depth, "along z");
    AddLength(field, "--height", options.field.height, "of white; black lies at 0");
    field.add_flag("--island", options.field.island, "let the heights sink to 0 at the border");
    field.add_option("--image", options.picture, "PNG file whose grey values are the heights");
    field.add_option("--seed", options.seed, "of the noise")->capture_default_str();
    field.add_option("--octaves", options.octaves, "of the noise")
        ->check(Between(1, Noise::kMaxOctaves))
        ->capture_default_str();
    field.add_option("--frequency", options.frequency, "hills across the sheet")
        ->check(Between(1, 256))
        ->capture_default_str();
}

void AddSolidCommands(CLI::App& app, Options& options, Commands& commands) {
    CLI::App& sphere = *(commands.sphere = app.add_subcommand("sphere", "sphere"));
    AddLength(sphere, "--radius", options.radius, "radius");

    CLI::App& torus = *(commands.torus = app.add_subcommand("torus", "ring"));
    AddLength(torus, "--radius", options.radius, "of the circle that the tube follows");
    AddLength(torus, "--tube", options.tube, "radius of the tube");

    CLI::App& cylinder =
        *(commands.cylinder = app.add_subcommand("cylinder", "cylinder, cone or truncated cone"));
    AddLength(cylinder, "--bottom", options.cylinder.bottom, "radius below, 0 for a point", 0);
    AddLength(cylinder, "--top", options.cylinder.top, "radius above, 0 for a point", 0);
    AddLength(cylinder, "--height", options.cylinder.height, "height");
    cylinder.add_flag("--open", options.cylinder.open, "without end caps");

    CLI::App& quadric = *(commands.superquadric = app.add_subcommand(
                              "superquadric", "between box, ellipsoid and double pyramid"));
    AddLength(quadric, "--x", options.superquadric.x, "half width");
    AddLength(quadric, "--y", options.superquadric.y, "half height");
    AddLength(quadric, "--z", options.superquadric.z, "half depth");
    const std::string squareness = ": 0.1 nearly square, 1 round, 2 flat bevels";
    quadric
        .add_option("--meridian", options.superquadric.meridian, "from pole to pole" + squareness)
        ->check(Between(0.1, 2))
        ->capture_default_str();
    quadric.add_option("--equator", options.superquadric.equator, "around the axis" + squareness)
        ->check(Between(0.1, 2))
        ->capture_default_str();
}

void AddTeapotCommand(CLI::App& app, Options& options, Commands& commands) {
    CLI::App& teapot = *(commands.teapot = app.add_subcommand(
                             "teapot",
                             "the Utah teapot, one file for each of its 32 patches: "
                             "FILE-00 to FILE-31"));
    AddLength(teapot, "--height", options.teapotHeight, "of the whole pot");
}

bool CheckShape(const Options& options, const Commands& commands) {
    const bool flat = commands.plane->parsed() || commands.heightField->parsed();
    if (!flat && options.columns < kFewestAround) {
        return Fail("--columns must be at least 4 for a shape that closes");
    }
    const bool roundRows = !flat && !commands.cylinder->parsed();
    if (roundRows && options.rows < kFewestAround) {
        return Fail("--rows must be at least 4 for this shape");
    }
    if (commands.torus->parsed() && options.tube >= options.radius) {
        return Fail("--tube must be smaller than --radius");
    }
    if (!commands.cylinder->parsed()) return true;
    if (options.cylinder.bottom <= 0 && options.cylinder.top <= 0) {
        return Fail("--bottom and --top must not both be 0");
    }
    const int fewest = CylinderMinRows(options.cylinder);
    if (options.rows >= fewest) return true;
    return Fail("--rows must be at least " + std::to_string(fewest) + " for this shape");
}

bool MakeField(GeoImage& mesh, const Options& options, Progress& progress) {
    if (options.picture.empty()) {
        const Noise noise(options.seed, options.octaves, options.frequency);
        MakeHeightField(
            mesh, options.field, [&noise](double u, double v) { return noise.At(u, v); }, progress);
        return true;
    }
    Texture picture;
    if (!ReadPng(options.picture, picture, true)) return false;
    MakeHeightField(mesh, options.field, HeightsOf(picture), progress);
    return true;
}

bool MakeShape(GeoImage& mesh, const Options& options, const Commands& commands) {
    Progress progress("making " + options.file);
    if (commands.plane->parsed()) {
        MakePlane(mesh, options.width, options.depth, progress);
    } else if (commands.sphere->parsed()) {
        MakeSphere(mesh, options.radius, progress);
    } else if (commands.torus->parsed()) {
        MakeTorus(mesh, options.radius, options.tube, progress);
    } else if (commands.cylinder->parsed()) {
        MakeCylinder(mesh, options.cylinder, progress);
    } else if (commands.superquadric->parsed()) {
        MakeSuperquadric(mesh, options.superquadric, progress);
    } else {
        return MakeField(mesh, options, progress);
    }
    return true;
}

void ApplyFlag(bool& wraps, Flag flag) {
    if (flag != Flag::OfShape) wraps = flag == Flag::On;
}

bool Write(GeoImage& mesh, const Options& options, const std::string& file, double extent) {
    TurnTo(mesh, options.axis);
    RoundCoordinates(mesh, options.precision, extent);
    mesh.Finish(false);
    ApplyFlag(mesh.wrapColumns, options.wrapColumns);
    ApplyFlag(mesh.wrapRows, options.wrapRows);
    mesh.error = static_cast<float>(options.error);
    return WriteWhole(file, MeshHeader::kWrittenLength,
                      [&](const std::string& path) { return mesh.Save(path, options.codec); });
}

bool MakeTeapot(const Options& options) {
    if (options.file == "-") return Fail("a teapot is 32 files; it needs a file name");
    for (int patch = 0; patch < kTeapotPatches; ++patch) {
        char number[16];
        std::snprintf(number, sizeof number, "-%02d", patch);
        GeoImage mesh;
        if (!mesh.SetSize(options.rows, options.columns)) return Fail("out of memory");
        {
            Progress progress("making " + options.file + number);
            MakeTeapotPatch(mesh, patch, options.teapotHeight, progress);
        }
        // The pot is a little longer than it is high; patches that meet must be rounded alike.
        if (!Write(mesh, options, options.file + number, 1.5 * options.teapotHeight)) return false;
    }
    return true;
}

bool Work(const Options& options, const Commands& commands) {
    if (commands.teapot->parsed()) return MakeTeapot(options);
    GeoImage mesh;
    if (!CheckShape(options, commands)) return false;
    if (!mesh.SetSize(options.rows, options.columns)) return Fail("the mesh is too large");
    if (!MakeShape(mesh, options, commands)) return false;
    return Write(mesh, options, options.file, Extent(mesh));
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Makes mesh files.\npallix-mesh SHAPE --help shows the options of a shape.",
                 "pallix-mesh");
    app.require_subcommand(1);
    Options options;
    Commands commands{};
    AddSheetCommands(app, options, commands);
    AddSolidCommands(app, options, commands);
    AddTeapotCommand(app, options, commands);
    for (CLI::App* command : app.get_subcommands({}))
        AddCommonOptions(*command, options);
    return RunTool(app, argc, argv, [&] { return Work(options, commands); });
}
