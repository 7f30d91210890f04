// A remeshed part as a geometry image, and how faithful its coarser levels are.
#pragma once

#include <vector>

#include "geometry/GeoImage.h"
#include "import/Model.h"
#include "import/remesh/Remesh.h"

// surface: what was remeshed, in the measures that the mesh shall have. Seams and pole rows are
// equal to the last bit; normals are the surface's; texture coordinates run from (0, 1) in the
// first sample to (1, 0) in the last. error: as the mesh shall carry it.
Result<GeoImage> MakePartMesh(const Remeshed& made, const Surface& surface, double error);

// The error with which a mesh of this area and size shows about one sample a pixel.
double ErrorForPixels(double area, int rows, int columns);

struct LevelFidelity {
    double detail;  // share of the mesh's samples along a side
    int columns, rows;
    Fidelity fidelity;
};

// The mesh as the renderer resamples it, for details from 0.05 to 1 in steps of 0.05.
Result<std::vector<LevelFidelity>> MeasureLevels(const GeoImage& mesh, const Surface& surface,
                                                 GridKind kind, int threads);
