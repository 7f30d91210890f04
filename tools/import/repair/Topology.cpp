#include "import/repair/Topology.h"

#include "import/repair/HalfEdges.h"
#include "import/repair/Handles.h"
#include "import/repair/Opening.h"
#include "import/repair/Repair.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace {

// Each cut looks at the whole surface: some three minutes for a hundred million handles times
// triangles. What has more handles than this is a tangle rather than a solid.
constexpr double kMostWork = 1e8;
constexpr int kMostHandles = 1000;

// The longest first.
std::vector<std::vector<int>> BordersByLength(const Surface& surface, const HalfEdges& mesh) {
    std::vector<std::vector<int>> borders = mesh.Borders();
    std::vector<std::pair<double, std::size_t>> order;
    for (const std::vector<int>& border : borders) {
        double length = 0;
        for (const int h : border)
            length += (surface.positions[mesh.To(h)] - surface.positions[mesh.From(h)]).norm();
        order.emplace_back(-length, order.size());
    }
    std::sort(order.begin(), order.end());
    std::vector<std::vector<int>> sorted;
    for (const auto& [length, index] : order)
        sorted.push_back(std::move(borders[index]));
    return sorted;
}

HalfEdges MeshOf(Surface& surface) {
    return {surface.triangles, static_cast<int>(surface.positions.size())};
}

void FillAllBut(int kept, Part& part) {
    const HalfEdges mesh = MeshOf(part.surface);
    const std::vector<std::vector<int>> borders = BordersByLength(part.surface, mesh);
    for (std::size_t i = static_cast<std::size_t>(kept); i < borders.size(); ++i) {
        part.holeArea += FillBorder(borders[i], mesh, part.surface);
        ++part.holes;
    }
}

}  // namespace

Result<Part> MakePart(Surface component, int keepBorders) {
    Part part;
    part.surface = std::move(component);
    part.area = Area(part.surface);
    {
        const HalfEdges mesh = MeshOf(part.surface);
        part.borders = static_cast<int>(mesh.Borders().size());
        part.genus = Genus(part.surface.triangles, mesh);
    }
    const double work = part.genus * static_cast<double>(part.surface.triangles.size());
    if (part.genus > kMostHandles || work > kMostWork) {
        char line[100];
        std::snprintf(line, sizeof line, "a part of the model has %d handles, too many to cut",
                      part.genus);
        return Failure{line};
    }
    const int kept = std::min(part.borders, keepBorders);
    FillAllBut(kept, part);
    const bool torus = part.genus == 1 && kept == 0;
    if (part.genus > 0 && !torus) {
        const HandleCuts cuts = CutHandles(part.surface, part.genus);
        part.cuts = cuts.cuts;
        part.capsOutside = cuts.capsOutside;
        part.capArea = cuts.capArea;
    }
    constexpr GridKind ofBorders[] = {GridKind::Sphere, GridKind::Square, GridKind::Annulus};
    part.kind = torus ? GridKind::Torus : ofBorders[kept];
    return part;
}
