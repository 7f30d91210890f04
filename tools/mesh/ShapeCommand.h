// The shapes of pallix-mesh: each with its options, their check and the making of its meshes.
// Knows nothing of files.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "geometry/GeoImage.h"
#include "shared/Result.h"

namespace CLI {
class App;
}

// What all shapes take.
struct GridOptions {
    std::string file;  // "-": standard output
    int rows = 33;
    int columns = 33;
};

// Takes a mesh that was made. suffix: what its file's name has behind the one that was given;
// extent: the largest coordinate for rounding, the same for meshes that meet.
using MeshSink = std::function<Outcome(GeoImage& mesh, const std::string& suffix, double extent)>;

// The functions share the options' values: add binds them to a command line; until it is parsed
// they are the first values, which the help shows. check before make.
struct ShapeCommand {
    std::string name;
    std::string text;
    std::function<void(CLI::App& command)> add;
    std::function<Outcome(const GridOptions& grid)> check;
    // The sink's first failure ends it.
    std::function<Outcome(const GridOptions& grid, const MeshSink& sink)> make;
};

// All shapes in the order of the help, with options of their own in every result.
std::vector<ShapeCommand> ShapeCommands();
