// One part from its surface to its grid: map, samples, fit and how faithful the grid is.
#pragma once

#include <memory>

#include "import/remesh/Fit.h"
#include "import/remesh/Measure.h"
#include "import/remesh/SampleGrid.h"
#include "import/remesh/Spread.h"
#include "shared/Result.h"

enum class FitEffort {
    Off,   // samples lie on the surface
    Auto,  // fitted; small grids only so far that they stay comparable with levels of larger ones
    Full,  // as close as possible at any size
};

struct RemeshOptions {
    int columns = 129;
    int rows = 129;
    bool eitherShape = false;  // also try twice as many rows as columns, in about as many samples
    FitEffort fit = FitEffort::Auto;
    int threads = 1;
};

// Half a decibel for a hundredth of the area: folds show as specks.
constexpr double kDecibelsOfFolds = 50;

struct Remeshed {
    std::shared_ptr<const MapSurface> shape;
    std::shared_ptr<const SurfaceTree> tree;  // over the shape
    SampleGrid grid;                          // in the shape's measures
    Fidelity fidelity;
    int flips = 0;      // triangles that the map turns over
    double folded = 0;  // share of the grid's area that faces against the surface
    // For choosing among grids: decibels, less what folds.
    double Score() const { return fidelity.Worse() - kDecibelsOfFolds * folded; }
    // Back to the surface's own measures.
    Eigen::Vector3d ToSurface(const Eigen::Vector3d& position) const {
        return position * shape->scale + shape->centre;
    }
};

// surface: manifold, oriented, with the borders that the kind asks for; is refined where the map
// needs it. Fails where no map was found.
Result<Remeshed> Remesh(Surface& surface, GridKind kind, const RemeshOptions& options);
