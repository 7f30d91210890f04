#include <algorithm>
#include <array>
#include <map>

#include "import/remesh/MeshState.h"
#include "import/remesh/Spread.h"

namespace {

using Edge = std::array<int, 2>;

constexpr std::size_t kFewestVertices = 300;
constexpr std::size_t kFewestOnBorder = 16;  // of each loop: corners, and some between them

Edge EdgeOf(int a, int b) {
    return {std::min(a, b), std::max(a, b)};
}

Corner Between(const Corner& a, const Corner& b) {
    Corner middle{(a.u + b.u) / 2, (a.v + b.v) / 2, {}};
    for (int k = 0; k < 4; ++k)
        middle.colour[k] = (a.colour[k] + b.colour[k]) / 2;
    return middle;
}

// Cuts the triangles whose edges have a middle in the table; one to three of a triangle's edges.
void CutAt(Surface& surface, const std::map<Edge, int>& middles) {
    Surface cut;
    cut.positions = std::move(surface.positions);
    for (std::size_t i = 0; i < surface.triangles.size(); ++i) {
        // A polygon of the corners and the middles between them, in order.
        struct Point {
            int vertex;
            Corner corner;
            bool isMiddle;
        };
        std::vector<Point> points;
        for (int k = 0; k < 3; ++k) {
            const int a = surface.triangles[i][k], b = surface.triangles[i][(k + 1) % 3];
            const Corner& corner = surface.corners[i][k];
            points.push_back({a, corner, false});
            const auto found = middles.find(EdgeOf(a, b));
            if (found == middles.end()) continue;
            points.push_back(
                {found->second, Between(corner, surface.corners[i][(k + 1) % 3]), true});
        }
        const auto add = [&](std::size_t a, std::size_t b, std::size_t c) {
            const std::size_t n = points.size();
            const Point &p = points[a % n], &q = points[b % n], &r = points[c % n];
            cut.triangles.push_back({p.vertex, q.vertex, r.vertex});
            cut.corners.push_back({p.corner, q.corner, r.corner});
            cut.materials.push_back(surface.materials[i]);
        };
        // Ears between two middles, then a fan from a middle over what is left.
        std::size_t first = 0;
        while (points.size() > 3 && !points[first].isMiddle)
            ++first;
        switch (points.size()) {
            case 3:
                add(0, 1, 2);
                break;
            case 4:
                add(first, first + 1, first + 2), add(first, first + 2, first + 3);
                break;
            case 5:
                while (!(points[first % 5].isMiddle && points[(first + 2) % 5].isMiddle))
                    ++first;
                add(first, first + 1, first + 2), add(first, first + 2, first + 3);
                add(first, first + 3, first + 4);
                break;
            default:
                add(1, 2, 3), add(3, 4, 5), add(5, 0, 1), add(1, 3, 5);
        }
    }
    surface = std::move(cut);
}

// Whether anything was cut.
template <class Chosen>
bool CutEdges(Surface& surface, const Chosen& isChosen) {
    std::map<Edge, int> middles;
    for (const Triangle& t : surface.triangles) {
        for (int k = 0; k < 3; ++k) {
            const int a = t[k], b = t[(k + 1) % 3];
            if (!isChosen(a, b) || middles.count(EdgeOf(a, b)) > 0) continue;
            middles[EdgeOf(a, b)] = static_cast<int>(surface.positions.size());
            surface.positions.push_back((surface.positions[a] + surface.positions[b]) / 2);
        }
    }
    if (middles.empty()) return false;
    CutAt(surface, middles);
    return true;
}

std::vector<char> OnShortLoops(const std::vector<int>& next) {
    std::vector<char> isShort(next.size(), 0), seen(next.size(), 0);
    for (std::size_t start = 0; start < next.size(); ++start) {
        std::vector<int> loop;
        for (int at = static_cast<int>(start); next[at] >= 0 && seen[at] == 0; at = next[at]) {
            seen[at] = 1;
            loop.push_back(at);
        }
        for (const int vertex : loop)
            isShort[vertex] = loop.size() < kFewestOnBorder ? 1 : 0;
    }
    return isShort;
}

}  // namespace

void RefineForMap(Surface& surface) {
    while (surface.positions.size() < kFewestVertices)
        CutEdges(surface, [](int, int) { return true; });
    std::vector<int> next = NextOnBorder(surface.triangles, surface.positions.size());
    const auto isBorder = [&](int a, int b) { return next[a] == b || next[b] == a; };
    CutEdges(surface,
             [&](int a, int b) { return next[a] >= 0 && next[b] >= 0 && !isBorder(a, b); });
    for (bool cut = true; cut;) {
        next = NextOnBorder(surface.triangles, surface.positions.size());
        const std::vector<char> isShort = OnShortLoops(next);
        cut = CutEdges(surface, [&](int a, int b) { return isShort[a] != 0 && isBorder(a, b); });
    }
}
