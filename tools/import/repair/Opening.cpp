#include "import/repair/Opening.h"

#include <Eigen/Geometry>

#include <algorithm>
#include <unordered_map>

namespace {

Corner Middle(const Corner& a, const Corner& b, const Corner& c) {
    Corner middle{(a.u + b.u + c.u) / 3, (a.v + b.v + c.v) / 3, {}};
    for (int i = 0; i < 4; ++i)
        middle.colour[i] = (a.colour[i] + b.colour[i] + c.colour[i]) / 3;
    return middle;
}

}  // namespace

PatchLine LineAlong(const std::vector<int>& halfEdges, const Surface& surface,
                    const HalfEdges& mesh) {
    PatchLine line;
    std::unordered_map<int, int> places;  // of vertices on the line
    for (const int h : halfEdges) {
        places.emplace(mesh.From(h), static_cast<int>(line.points.size()));
        line.points.push_back(surface.positions[mesh.From(h)]);
    }
    for (std::size_t i = 0; i < halfEdges.size(); ++i) {
        double sum = 0;
        int edges = 0;
        const auto visit = [&](int to) {
            sum += (surface.positions[to] - line.points[i]).norm();
            ++edges;
            const auto place = places.find(to);
            if (place != places.end() && place->second > static_cast<int>(i))
                line.joined.emplace_back(static_cast<int>(i), place->second);
        };
        const int first = mesh.FirstOfFan(halfEdges[i]);
        for (int turn = first; turn >= 0;) {
            visit(mesh.To(turn));
            const int next = mesh.Turn(turn);
            if (next < 0) visit(mesh.Apex(turn));
            turn = next == first ? -1 : next;
        }
        line.spacing.push_back(sum / edges);
    }
    std::sort(line.joined.begin(), line.joined.end());
    line.onlyTriangle = surface.triangles.size() == 1;
    return line;
}

void SewIn(const Patch& patch, const Seam& seam, bool backward, int material, Surface& surface) {
    std::vector<int> vertices = seam.vertices;
    std::vector<Corner> corners = seam.corners;
    for (const auto& [a, b, c] : patch.parents) {
        const Eigen::Vector3d& point = patch.points[vertices.size()];
        vertices.push_back(static_cast<int>(surface.positions.size()));
        surface.positions.push_back(point);
        corners.push_back(Middle(corners[a], corners[b], corners[c]));
    }
    for (Triangle points : patch.triangles) {
        if (backward) std::swap(points[1], points[2]);
        const auto& [a, b, c] = points;
        surface.triangles.push_back({vertices[a], vertices[b], vertices[c]});
        surface.corners.push_back({corners[a], corners[b], corners[c]});
        surface.materials.push_back(material);
    }
}

double FillBorder(const std::vector<int>& border, const HalfEdges& mesh, Surface& surface) {
    const Patch patch = FillLine(LineAlong(border, surface, mesh));
    Seam seam;
    for (const int h : border) {
        seam.vertices.push_back(mesh.From(h));
        seam.corners.push_back(surface.corners[h / 3][h % 3]);
    }
    SewIn(patch, seam, true, kHoleMaterial, surface);
    return Area(patch);
}
