// Lines along the edges of a surface, and the patches that fill them.
#pragma once

#include "import/repair/HalfEdges.h"
#include "import/repair/Patch.h"

// Along half-edges one behind the other, no vertex twice.
PatchLine LineAlong(const std::vector<int>& halfEdges, const Surface& surface,
                    const HalfEdges& mesh);

// Where a patch is sewn to: of each point of its line the vertex and the corner beside it, whose
// colours the patch takes over.
struct Seam {
    std::vector<int> vertices;
    std::vector<Corner> corners;
};

// Adds a patch with inner vertices of its own. backward: the line runs as the surface's triangles
// at the seam do, so that the patch must face the other way.
void SewIn(const Patch& patch, const Seam& seam, bool backward, int material, Surface& surface);

// Fills a border, as HalfEdges gives it. Gives the area of the patch. `mesh` knows nothing of the
// patch, and need not, as no vertex lies at two borders.
double FillBorder(const std::vector<int>& border, const HalfEdges& mesh, Surface& surface);
