// A model from its triangles to the meshes, textures and figures of its parts.
#pragma once

#include <Eigen/Geometry>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "geometry/GeoImage.h"
#include "import/paint/BakeTexture.h"
#include "import/PartMesh.h"
#include "import/remesh/Remesh.h"
#include "import/repair/Repair.h"
#include "import/repair/Topology.h"

struct ImportOptions {
    RemeshOptions remesh;
    RepairOptions repair;
    int textureSize = 512;
    std::optional<double> error;  // else one sample a pixel
    std::optional<double> scale;  // else the largest extent becomes kModelExtent
    bool zUp = false;             // z becomes y
    bool levels = false;          // measure them
};

constexpr double kModelExtent = 2;

struct PartFigures {
    int triangles = 0;
    int genus = 0;
    int borders = 0;
    GridKind kind = GridKind::Sphere;
    int columns = 0, rows = 0;
    Fidelity fidelity;
    int flips = 0;      // triangles turned over by the map
    double folded = 0;  // share of the grid's area that faces against the surface
    int holes = 0;      // filled
    int cuts = 0;       // through handles
    double added = 0;   // share of the area that fills holes and closes cuts
    int capsOutside = 0;
    double seconds = 0;
    std::vector<LevelFidelity> levels;  // when asked for
};

struct ImportedPart {
    GeoImage mesh;
    std::unique_ptr<Texture> texture;  // none where the colour is enough
    Rgba colour = {1, 1, 1, 1};
    Alpha alpha = Alpha::Opaque;
    bool closed = true;  // no inside is seen: backs need not be drawn
    PartFigures figures;
};

struct ImportedModel {
    ImportedModel() = default;
    ImportedModel(ImportedModel&&) = default;  // textures have one owner
    ImportedModel& operator=(ImportedModel&&) = default;

    std::vector<ImportedPart> parts;
    Eigen::AlignedBox3d bounds;  // of the parts as they are written
    std::vector<std::string>
        notes;  // what the repair dropped, turned, filled and cut, line by line
};

// Turns, scales and centres the model, repairs it and remeshes each part; the box of the model is
// centred on the origin. progress is told of parts done. A part that finds no grid is left out, and
// a note says so. Fails where no part is left or there are too many.
Result<ImportedModel> ImportModel(Model& model, const ImportOptions& options,
                                  const std::function<void(int done, int all)>& progress);

// "sphere", "annulus", "square", "torus".
const char* NameOf(GridKind kind);
