#include "import/ImportModel.h"

#include <chrono>
#include <cstdio>
#include <numbers>

#include "import/remesh/MeshState.h"

namespace {

using Eigen::Vector3d;

Eigen::AlignedBox3d BoundsOf(const std::vector<Vector3d>& positions) {
    Eigen::AlignedBox3d bounds;
    for (const Vector3d& position : positions)
        bounds.extend(position);
    return bounds;
}

Outcome Arrange(Surface& surface, const ImportOptions& options) {
    if (options.zUp) {
        for (Vector3d& p : surface.positions)
            p = {p[0], p[2], -p[1]};
    }
    const Eigen::AlignedBox3d bounds = BoundsOf(surface.positions);
    const double extent = bounds.sizes().maxCoeff();
    // Doubles hold more than the floats of a mesh; the scale brings everything into their middle.
    if (!(extent > 0) || !std::isfinite(extent)) return Failure{"all its triangles are degenerate"};
    const double scale = options.scale.value_or(kModelExtent / extent);
    const Vector3d centre = bounds.center();
    for (Vector3d& p : surface.positions)
        p = (p - centre) * scale;
    return Success();
}

// A border that is short for the area around it is a hole in something round rather than the rim
// of a sheet: L^2 / (4 pi A) is 1 for a flat disc, 1/2 for a bowl.
constexpr double kRim = 0.02;
constexpr int kMostBorders = 2;  // that a grid can have
constexpr double kFar = 0.01;    // share of the diagonal that no grid should be away from its part
constexpr double kPinholes = 0.005;       // share of the area through which no inside is seen
constexpr double kManyFolds = 0.05;       // share of the area
constexpr double kDecibelsOfOpening = 1;  // that filling such a hole must gain

// Borders of a component that are rims.
int Rims(const Surface& surface) {
    const std::vector<int> next = NextOnBorder(surface.triangles, surface.positions.size());
    std::vector<char> seen(next.size(), 0);
    const double least = kRim * 4 * std::numbers::pi * Area(surface);  // square of a rim's length
    int rims = 0;
    for (std::size_t start = 0; start < next.size(); ++start) {
        double length = 0;
        for (int at = static_cast<int>(start); next[at] >= 0 && seen[at] == 0; at = next[at]) {
            seen[at] = 1;
            length += (surface.positions[next[at]] - surface.positions[at]).norm();
        }
        if (length * length >= least) ++rims;
    }
    return rims;
}

// A part that has found its grid.
struct Gridded {
    Part part;
    Remeshed remeshed;
};

class PartImport {
public:
    PartImport(const Model& model, const ImportOptions& options)
        : m_model(model), m_options(options) {}

    Result<ImportedPart> Run(const Surface& component) const {
        const auto start = std::chrono::steady_clock::now();
        ImportedPart made;
        PartFigures& figures = made.figures;
        figures.triangles = static_cast<int>(component.triangles.size());
        Result<Gridded> gridded = FindGrid(component);
        if (!gridded) return gridded.Why();
        const Part* part = &gridded->part;
        const Remeshed* remeshed = &gridded->remeshed;
        const SampleGrid& grid = remeshed->grid;
        const double error =
            m_options.error.value_or(ErrorForPixels(Area(part->surface), grid.rows, grid.columns));
        Result<GeoImage> mesh = MakePartMesh(*remeshed, part->surface, error);
        if (!mesh) return mesh.Why();
        made.mesh = std::move(*mesh);
        const Outcome painted = PaintPart(made, *part, *remeshed);
        if (!painted) return painted.Why();
        figures.genus = part->genus;
        figures.borders = part->borders;
        figures.kind = part->kind;
        figures.columns = grid.columns;
        figures.rows = grid.rows;
        figures.fidelity = remeshed->fidelity;
        figures.flips = remeshed->flips;
        figures.folded = remeshed->folded;
        figures.holes = part->holes;
        figures.cuts = part->cuts;
        figures.added = (part->holeArea + part->capArea) / part->area;
        figures.capsOutside = part->capsOutside;
        const bool wraps = part->kind == GridKind::Sphere || part->kind == GridKind::Torus;
        // What a picture leaves out opens a part, too.
        const bool cut = made.alpha == Alpha::Holes && part->holes == 0;
        made.closed = wraps && !cut && part->holeArea < kPinholes * part->area;
        const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
        figures.seconds = passed.count();
        if (m_options.levels) {
            auto levels =
                MeasureLevels(made.mesh, part->surface, part->kind, m_options.remesh.threads);
            if (!levels) return levels.Why();
            figures.levels = std::move(*levels);
        }
        return made;
    }

private:
    const Model& m_model;
    const ImportOptions& m_options;

    Result<Gridded> Grid(Surface component, int keptBorders) const {
        Result<Part> part = MakePart(std::move(component), keptBorders);
        if (!part) return part.Why();
        Result<Remeshed> remeshed = Remesh(part->surface, part->kind, m_options.remesh);
        if (!remeshed) return remeshed.Why();
        return Gridded{std::move(*part), std::move(*remeshed)};
    }
    // With as many borders as a grid can have, or without those that are no rims, whichever comes
    // closer; with fewer still where neither is possible.
    Result<Gridded> FindGrid(const Surface& component) const {
        const int rims = std::min(Rims(component), kMostBorders);
        Result<Gridded> best = Grid(component, kMostBorders);
        for (int kept = kMostBorders - 1; kept >= 0; --kept) {
            if (best && best->part.borders <= kept) continue;
            if (best && kept < rims && best->remeshed.fidelity.largest < kFar &&
                best->remeshed.folded < kManyFolds)
                continue;
            Result<Gridded> filled = Grid(component, kept);
            if (!filled) continue;
            if (!best || filled->remeshed.Score() > best->remeshed.Score() + kDecibelsOfOpening)
                best = std::move(filled);
        }
        return best;
    }
    Outcome PaintPart(ImportedPart& made, const Part& part, const Remeshed& remeshed) const {
        if (const std::optional<Rgba> plain = PlainColour(part.surface, m_model)) {
            made.colour = *plain;
            if (made.colour[3] < 1) made.alpha = Alpha::Translucent;
            return Success();
        }
        const Paint paint(part.surface, m_model, MeanColour(part.surface, m_model));
        // Where the grid's triangles lie, not where the map took their corners: fitting lets them
        // slide along the surface.
        const SampleGrid& grid = remeshed.grid;
        // Across a seam the first and the last texel are the same point, as drivers do not filter
        // from one side of a texture to the other.
        const auto seamless = [size = m_options.textureSize](double share, bool wraps) {
            if (!wraps) return share;
            const double whole = (share * size - 0.5) / (size - 1);
            return whole - std::floor(whole);
        };
        const auto locate = [&](double u, double v) {
            const double x = seamless(u, grid.WrapsColumns()) * (grid.columns - 1);
            const double y = seamless(1 - v, grid.WrapsRows()) * (grid.rows - 1);
            const int column = std::clamp(static_cast<int>(x), 0, grid.columns - 2);
            const int row = std::clamp(static_cast<int>(y), 0, grid.rows - 2);
            const double fx = x - column, fy = y - row;
            const bool upper = fx + fy <= 1;
            const int p = grid.At(row, column), r = grid.At(row + 1, column);
            const Vector3d& q = grid.positions[p + 1];
            const Vector3d point =
                upper
                    ? Vector3d(grid.positions[p] * (1 - fx - fy) + q * fx + grid.positions[r] * fy)
                    : Vector3d(grid.positions[r + 1] * (fx + fy - 1) +
                               grid.positions[r] * (1 - fx) + q * (1 - fy));
            return remeshed.tree->Nearest(point, grid.places[p].triangle).place;
        };
        Result<std::unique_ptr<Texture>> texture =
            BakeTexture({m_options.textureSize, grid.WrapsColumns(), grid.WrapsRows(),
                         m_options.remesh.threads},
                        paint, locate);
        if (!texture) return texture.Why();
        made.texture = std::move(*texture);
        made.alpha = AlphaOf(*made.texture);
        return Success();
    }
};

std::string Percent(double share) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g %%", 100 * share);
    return text;
}

std::string Count(int count, const char* one, const char* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::vector<std::string> NotesOf(const Repaired& repaired) {
    std::vector<std::string> notes;
    const auto add = [&](int count, const std::string& text) {
        if (count > 0) notes.push_back(text);
    };
    add(repaired.degenerate,
        Count(repaired.degenerate, "degenerate triangle", "degenerate triangles") + " dropped");
    add(repaired.duplicates,
        Count(repaired.duplicates, "duplicate triangle", "duplicate triangles") + " dropped, " +
            Percent(repaired.duplicateArea / repaired.area) + " of the area");
    add(repaired.smallComponents,
        Count(repaired.smallComponents, "small component", "small components") + " dropped, " +
            Percent(repaired.smallArea / repaired.area) + " of the area");
    add(repaired.turned, Count(repaired.turned, "triangle", "triangles") + " turned over");
    return notes;
}

}  // namespace

Result<ImportedModel> ImportModel(Model& model, const ImportOptions& options,
                                  const std::function<void(int, int)>& progress) {
    const Outcome arranged = Arrange(model.surface, options);
    if (!arranged) return arranged.Why();
    Result<Repaired> repaired = Repair(model.surface, options.repair);
    if (!repaired) return repaired.Why();
    model.surface = {};
    ImportedModel made;
    made.notes = NotesOf(*repaired);
    const PartImport import(model, options);
    const int all = static_cast<int>(repaired->components.size());
    int lost = 0, holes = 0, cuts = 0;
    double lostArea = 0;
    std::string why;
    for (int i = 0; i < all; ++i) {
        Surface component = std::move(repaired->components[i]);
        Result<ImportedPart> part = import.Run(component);
        progress(i + 1, all);
        if (!part) {
            ++lost;
            lostArea += Area(component);
            why = part.Why().line;
            continue;
        }
        const vec3 &low = part->mesh.boundsMin, &high = part->mesh.boundsMax;
        made.bounds.extend(Vector3d(low.x, low.y, low.z));
        made.bounds.extend(Vector3d(high.x, high.y, high.z));
        holes += part->figures.holes;
        cuts += part->figures.cuts;
        made.parts.push_back(std::move(*part));
    }
    if (made.parts.empty()) return Failure{why};
    if (holes > 0) made.notes.push_back(Count(holes, "hole", "holes") + " filled");
    if (cuts > 0) made.notes.push_back(Count(cuts, "handle", "handles") + " cut");
    if (lost > 0) {
        made.notes.push_back(Count(lost, "part", "parts") + " left out, " +
                             Percent(lostArea / repaired->area) + " of the area: " + why);
    }
    return made;
}

const char* NameOf(GridKind kind) {
    constexpr const char* names[] = {"sphere", "annulus", "square", "torus"};
    return names[static_cast<int>(kind)];
}
