// One struct a shape: its options and what they must fulfil; all are listed at the end.
#include <cstdint>
#include <cstdio>
#include <memory>

#include "geometry/Texture.h"
#include "mesh/HeightField.h"
#include "mesh/ShapeCommand.h"
#include "mesh/Shapes.h"
#include "mesh/Teapot.h"
#include "shared/Cli.h"
#include "shared/Noise.h"
#include "shared/PngFile.h"

namespace {

// Lengths in scene units; the file format's fixed point and float normals hold far more.
constexpr double kSmallest = 1e-4;
constexpr double kLargest = 1e6;

// Samples of a closed line, its first one twice, that still enclose something.
constexpr int kFewestAround = 4;

void AddLength(CLI::App& command, const std::string& name, double& value, const std::string& text,
               double smallest = kSmallest) {
    command.add_option(name, value, text)
        ->check(Between(smallest, kLargest))
        ->capture_default_str();
}

Outcome AtLeastRows(const GridOptions& grid, int fewest) {
    if (grid.rows >= fewest) return Success();
    return Failure{"--rows must be at least " + std::to_string(fewest) + " for this shape"};
}

Outcome ClosesAround(const GridOptions& grid) {
    if (grid.columns >= kFewestAround) return Success();
    return Failure{"--columns must be at least 4 for a shape that closes"};
}

Outcome ClosesBothWays(const GridOptions& grid) {
    Outcome around = ClosesAround(grid);
    return around ? AtLeastRows(grid, kFewestAround) : around;
}

struct Plane {
    double width = 2;
    double depth = 2;

    void Add(CLI::App& command) {
        AddLength(command, "--width", width, "along x");
        AddLength(command, "--depth", depth, "along z");
    }
    Outcome Check(const GridOptions&) const { return Success(); }
    Outcome Fill(GeoImage& mesh, Progress& progress) const {
        MakePlane(mesh, width, depth, progress);
        return Success();
    }
};

struct HeightField {
    HeightFieldSizes sizes;
    std::string picture;
    std::uint32_t seed = 1;
    int octaves = 6;
    int frequency = 3;

    void Add(CLI::App& command) {
        AddLength(command, "--width", sizes.width, "along x");
        AddLength(command, "--depth", sizes.depth, "along z");
        AddLength(command, "--height", sizes.height, "of white; black lies at 0");
        command.add_flag("--island", sizes.island, "let the heights sink to 0 at the border");
        command.add_option("--image", picture, "PNG file whose grey values are the heights");
        command.add_option("--seed", seed, "of the noise")->capture_default_str();
        command.add_option("--octaves", octaves, "of the noise")
            ->check(Between(1, Noise::kMaxOctaves))
            ->capture_default_str();
        command.add_option("--frequency", frequency, "hills across the sheet")
            ->check(Between(1, 256))
            ->capture_default_str();
    }
    Outcome Check(const GridOptions&) const { return Success(); }
    Outcome Fill(GeoImage& mesh, Progress& progress) const {
        if (picture.empty()) {
            const Noise noise(seed, octaves, frequency);
            const auto heights = [&noise](double u, double v) { return noise.At(u, v); };
            MakeHeightField(mesh, sizes, heights, progress);
            return Success();
        }
        const auto grey = ReadPng(picture, true);
        if (!grey) return grey.Why();
        MakeHeightField(mesh, sizes, HeightsOf(**grey), progress);
        return Success();
    }
};

struct Sphere {
    double radius = 1;

    void Add(CLI::App& command) { AddLength(command, "--radius", radius, "radius"); }
    Outcome Check(const GridOptions& grid) const { return ClosesBothWays(grid); }
    Outcome Fill(GeoImage& mesh, Progress& progress) const {
        MakeSphere(mesh, radius, progress);
        return Success();
    }
};

struct Torus {
    double radius = 1;
    double tube = 0.3;

    void Add(CLI::App& command) {
        AddLength(command, "--radius", radius, "of the circle that the tube follows");
        AddLength(command, "--tube", tube, "radius of the tube");
    }
    Outcome Check(const GridOptions& grid) const {
        Outcome closes = ClosesBothWays(grid);
        if (closes && tube >= radius) return Failure{"--tube must be smaller than --radius"};
        return closes;
    }
    Outcome Fill(GeoImage& mesh, Progress& progress) const {
        MakeTorus(mesh, radius, tube, progress);
        return Success();
    }
};

struct Cylinder {
    CylinderSizes sizes;

    void Add(CLI::App& command) {
        AddLength(command, "--bottom", sizes.bottom, "radius below, 0 for a point", 0);
        AddLength(command, "--top", sizes.top, "radius above, 0 for a point", 0);
        AddLength(command, "--height", sizes.height, "height");
        command.add_flag("--open", sizes.open, "without end caps");
    }
    Outcome Check(const GridOptions& grid) const {
        Outcome closes = ClosesAround(grid);
        if (!closes) return closes;
        if (sizes.bottom <= 0 && sizes.top <= 0)
            return Failure{"--bottom and --top must not both be 0"};
        return AtLeastRows(grid, CylinderMinRows(sizes));
    }
    Outcome Fill(GeoImage& mesh, Progress& progress) const {
        MakeCylinder(mesh, sizes, progress);
        return Success();
    }
};

struct Superquadric {
    SuperquadricSizes sizes;

    void Add(CLI::App& command) {
        AddLength(command, "--x", sizes.x, "half width");
        AddLength(command, "--y", sizes.y, "half height");
        AddLength(command, "--z", sizes.z, "half depth");
        const std::string squareness = ": 0.1 nearly square, 1 round, 2 flat bevels";
        command.add_option("--meridian", sizes.meridian, "from pole to pole" + squareness)
            ->check(Between(0.1, 2))
            ->capture_default_str();
        command.add_option("--equator", sizes.equator, "around the axis" + squareness)
            ->check(Between(0.1, 2))
            ->capture_default_str();
    }
    Outcome Check(const GridOptions& grid) const { return ClosesBothWays(grid); }
    Outcome Fill(GeoImage& mesh, Progress& progress) const {
        MakeSuperquadric(mesh, sizes, progress);
        return Success();
    }
};

struct Teapot {
    double height = 1.5;

    void Add(CLI::App& command) { AddLength(command, "--height", height, "of the whole pot"); }
    Outcome Check(const GridOptions& grid) const {
        if (grid.file != "-") return Success();
        return Failure{"a teapot is 32 files; it needs a file name"};
    }
};

template <class Shape>
Outcome Make(const Shape& shape, const GridOptions& grid, const MeshSink& sink) {
    GeoImage mesh;
    if (!mesh.SetSize(grid.rows, grid.columns)) return Failure{"the mesh is too large"};
    {
        Progress progress("making " + grid.file);
        Outcome filled = shape.Fill(mesh, progress);
        if (!filled) return filled;
    }
    return sink(mesh, "", Extent(mesh));
}

Outcome Make(const Teapot& teapot, const GridOptions& grid, const MeshSink& sink) {
    for (int patch = 0; patch < kTeapotPatches; ++patch) {
        char number[16];
        std::snprintf(number, sizeof number, "-%02d", patch);
        GeoImage mesh;
        if (!mesh.SetSize(grid.rows, grid.columns)) return Failure{"out of memory"};
        {
            Progress progress("making " + grid.file + number);
            MakeTeapotPatch(mesh, patch, teapot.height, progress);
        }
        // The pot is a little longer than it is high; patches that meet must be rounded alike.
        Outcome taken = sink(mesh, number, 1.5 * teapot.height);
        if (!taken) return taken;
    }
    return Success();
}

template <class Shape>
ShapeCommand CommandOf(const std::string& name, const std::string& text) {
    const auto shape = std::make_shared<Shape>();
    return {name, text, [shape](CLI::App& command) { shape->Add(command); },
            [shape](const GridOptions& grid) { return shape->Check(grid); },
            [shape](const GridOptions& grid, const MeshSink& sink) {
                return Make(*shape, grid, sink);
            }};
}

}  // namespace

std::vector<ShapeCommand> ShapeCommands() {
    return {
        CommandOf<Plane>("plane", "flat sheet, facing the axis"),
        CommandOf<HeightField>("heightfield", "landscape from a grey PNG file or fractal noise"),
        CommandOf<Sphere>("sphere", "sphere"),
        CommandOf<Torus>("torus", "ring"),
        CommandOf<Cylinder>("cylinder", "cylinder, cone or truncated cone"),
        CommandOf<Superquadric>("superquadric", "between box, ellipsoid and double pyramid"),
        CommandOf<Teapot>("teapot",
                          "the Utah teapot, one file for each of its 32 patches: "
                          "FILE-00 to FILE-31"),
    };
}
