// Which kind of grid a component can become, after what keeps it from being one was filled and cut.
#pragma once

#include "import/GridKind.h"
#include "import/Model.h"
#include "shared/Result.h"

struct Part {
    Surface surface;
    GridKind kind = GridKind::Sphere;
    // As found:
    int genus = 0;
    int borders = 0;
    double area = 0;
    // What was added, of kHoleMaterial and of kCapMaterial:
    int holes = 0;
    double holeArea = 0;
    int cuts = 0;
    int capsOutside = 0;  // cuts that close a hole that can be seen, as no other loop was found
    double capArea = 0;
};

// Of a component as Repair gives it. Of its borders the longest are kept, keepBorders (0, 1 or 2)
// at most; the others are filled. Handles are cut and capped, but for the one of a torus without
// borders. Fails where there are too many handles for a surface of that size.
Result<Part> MakePart(Surface component, int keepBorders);
