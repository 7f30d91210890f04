// From a soup of triangles to the surfaces that it shows: welded, each edge of at most two
// triangles, facing outward, one by one. Knows nothing of grids.
#pragma once

#include <string>
#include <vector>

#include "import/Model.h"
#include "shared/Result.h"

struct RepairOptions {
    double minPart = 0.001;  // share of the whole area below which a component is dropped
    int maxParts = 64;       // most components that may be left
};

struct Repaired {
    // The largest first. Manifold with or without borders and oriented, no vertex without a
    // triangle. Closed ones face outward, except where the file has them as cavities of another;
    // open ones face as most of their area does in the file.
    std::vector<Surface> components;
    double area = 0;     // of the soup
    int degenerate = 0;  // triangles of less than three different places
    int duplicates = 0;  // triangles that stand there already, or the back of a two-sided sheet
    double duplicateArea = 0;
    int smallComponents = 0;
    double smallArea = 0;
    int turned = 0;   // triangles that face the other way than in the file
    int slivers = 0;  // triangles without area that had to stay
};

double Area(const Surface& surface);
// Of what a closed surface encloses; negative where it faces inward.
double Volume(const Surface& surface);

// The soup's indices must be valid. Fails where a position is no number, no triangle has an area,
// or more than options.maxParts components are left.
Result<Repaired> Repair(const Surface& soup, const RepairOptions& options);
