// First a triangulation of least area by dynamic programming over the stretches of the line; then
// points in the middle of triangles that are large for the spacing of their corners, and edges
// turned until opposite angles are small (Liepa, Filling Holes in Meshes, 2003).
#include "import/repair/Patch.h"

#include "import/repair/HalfEdges.h"

#include <Eigen/Geometry>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>

namespace {

// Points of a line that are triangulated at once, at the cost of their cube; longer lines are
// spanned by so many, and the stretches between them filled in turn.
constexpr int kLargestPolygon = 150;
// Spacing from the line inwards: without growth a long fine line would ask for its square of
// points.
constexpr double kGrowth = 1.2;
constexpr std::size_t kInnerPerPoint = 20;
constexpr int kSweeps = 20;
// Height of a triangle over its longest edge below which another triangle is preferred at the cost
// of this multiple of that edge's square.
constexpr double kFlat = 1e-3;
constexpr double kFlatCost = 10;
constexpr double kNever = std::numeric_limits<double>::infinity();

double TriangleArea(const std::vector<Eigen::Vector3d>& points, int a, int b, int c) {
    return 0.5 * (points[b] - points[a]).cross(points[c] - points[a]).norm();
}

class LeastArea {
public:
    explicit LeastArea(const PatchLine& line) : m_line(line) {}

    // False where every triangulation would join what is joined already.
    bool Fill(const std::vector<int>& polygon, std::vector<Triangle>& triangles) const {
        if (polygon.size() <= kLargestPolygon) return FillAtOnce(polygon, triangles);
        const std::size_t count = polygon.size();
        std::vector<int> coarse;
        std::vector<std::size_t> places;
        for (int i = 0; i < kLargestPolygon; ++i) {
            places.push_back(count * i / kLargestPolygon);
            coarse.push_back(polygon[places.back()]);
        }
        places.push_back(count);
        if (!FillAtOnce(coarse, triangles)) return false;
        for (int i = 0; i < kLargestPolygon; ++i) {
            std::vector<int> stretch(polygon.begin() + static_cast<std::ptrdiff_t>(places[i]),
                                     polygon.begin() + static_cast<std::ptrdiff_t>(places[i + 1]));
            stretch.push_back(polygon[places[i + 1] % count]);
            if (stretch.size() > 2 && !Fill(stretch, triangles)) return false;
        }
        return true;
    }

private:
    bool MayJoin(int a, int b) const {
        const int gap = std::abs(a - b);
        if (gap == 1 || gap == static_cast<int>(m_line.points.size()) - 1) return true;
        const std::pair<int, int> edge = std::minmax(a, b);
        return !std::binary_search(m_line.joined.begin(), m_line.joined.end(), edge);
    }

    double Cost(int a, int b, int c) const {
        const auto& p = m_line.points;
        const double area = TriangleArea(p, a, b, c);
        const double longest2 = std::max({(p[a] - p[b]).squaredNorm(), (p[b] - p[c]).squaredNorm(),
                                          (p[c] - p[a]).squaredNorm()});
        return 2 * area > kFlat * longest2 ? area : area + kFlatCost * longest2;
    }

    bool FillAtOnce(const std::vector<int>& polygon, std::vector<Triangle>& triangles) const {
        const int n = static_cast<int>(polygon.size());
        std::vector<double> costs(static_cast<std::size_t>(n) * n, 0);
        std::vector<int> middles(costs.size(), -1);
        for (int span = 1; span < n; ++span)
            for (int i = 0; i + span < n; ++i) {
                const int k = i + span;
                double& best = costs[i * n + k];
                if (!MayJoin(polygon[i], polygon[k])) {
                    best = kNever;
                    continue;
                }
                if (span == 1) continue;
                best = kNever;
                for (int j = i + 1; j < k; ++j) {
                    const double parts = costs[i * n + j] + costs[j * n + k];
                    if (parts >= best) continue;
                    const double cost = parts + Cost(polygon[i], polygon[j], polygon[k]);
                    if (cost >= best) continue;
                    best = cost;
                    middles[i * n + k] = j;
                }
            }
        if (costs[n - 1] == kNever) return false;
        std::vector<std::pair<int, int>> open = {{0, n - 1}};
        while (!open.empty()) {
            const auto [i, k] = open.back();
            open.pop_back();
            if (k - i < 2) continue;
            const int j = middles[i * n + k];
            triangles.push_back({polygon[i], polygon[j], polygon[k]});
            open.emplace_back(i, j);
            open.emplace_back(j, k);
        }
        return true;
    }

    const PatchLine& m_line;
};

class Refinement {
public:
    Refinement(const PatchLine& line, Patch& patch)
        : m_line(line),
          m_patch(patch),
          m_mesh(patch.triangles, static_cast<int>(patch.points.size())),
          m_spacing(line.spacing),
          m_lineCount(static_cast<int>(line.points.size())) {
        m_spacing.resize(patch.points.size(),
                         std::accumulate(m_spacing.begin(), m_spacing.end(), 0.0) / m_lineCount);
    }

    void Run() {
        TurnEdges();
        while (Divide())
            TurnEdges();
    }

private:
    bool Divide() {
        const std::size_t count = m_patch.triangles.size();
        const std::size_t most = m_line.points.size() * (1 + kInnerPerPoint);
        bool divided = false;
        for (std::size_t t = 0; t < count && m_patch.points.size() < most; ++t) {
            const Triangle corners = m_patch.triangles[t];
            const auto& [a, b, c] = corners;
            const Eigen::Vector3d middle =
                (m_patch.points[a] + m_patch.points[b] + m_patch.points[c]) / 3;
            const double spacing = kGrowth * (m_spacing[a] + m_spacing[b] + m_spacing[c]) / 3;
            const bool large = std::all_of(corners.begin(), corners.end(), [&](int v) {
                return std::numbers::sqrt2 * (middle - m_patch.points[v]).norm() >
                       std::max(spacing, m_spacing[v]);
            });
            if (!large) continue;
            m_mesh.SplitTriangle(static_cast<int>(t), static_cast<int>(m_patch.points.size()));
            m_patch.points.push_back(middle);
            m_patch.parents.push_back(corners);
            m_spacing.push_back(spacing);
            divided = true;
        }
        return divided;
    }

    void TurnEdges() {
        for (int sweep = 0; sweep < kSweeps; ++sweep) {
            bool turned = false;
            for (int h = 0; h < m_mesh.Count(); ++h) {
                if (m_mesh.Opposite(h) < h || !IsBetterTurned(h)) continue;
                m_mesh.Flip(h);
                turned = true;
            }
            if (!turned) break;
        }
    }

    double AngleAcross(int h) const {
        const Eigen::Vector3d& apex = m_patch.points[m_mesh.Apex(h)];
        const Eigen::Vector3d a = m_patch.points[m_mesh.From(h)] - apex;
        const Eigen::Vector3d b = m_patch.points[m_mesh.To(h)] - apex;
        return std::atan2(a.cross(b).norm(), a.dot(b));
    }

    bool IsBetterTurned(int h) const {
        const int g = m_mesh.Opposite(h);
        const double angles = AngleAcross(h) + AngleAcross(g);
        if (angles <= std::numbers::pi * (1 + 1e-9)) return false;
        const int c = m_mesh.Apex(h), d = m_mesh.Apex(g);
        if (c < m_lineCount && d < m_lineCount) {
            const std::pair<int, int> edge = std::minmax(c, d);
            if (std::binary_search(m_line.joined.begin(), m_line.joined.end(), edge)) return false;
        }
        return !m_mesh.Joins(Previous(h), d);
    }

    const PatchLine& m_line;
    Patch& m_patch;
    HalfEdges m_mesh;
    std::vector<double> m_spacing;
    int m_lineCount;
};

// Joins nothing but the line to a new point.
void FillFromCentre(const PatchLine& line, Patch& patch) {
    const int count = static_cast<int>(line.points.size());
    Eigen::Vector3d centre = Eigen::Vector3d::Zero();
    for (const Eigen::Vector3d& point : line.points)
        centre += point / count;
    patch.triangles.clear();
    for (int i = 0; i < count; ++i)
        patch.triangles.push_back({i, (i + 1) % count, count});
    patch.points.push_back(centre);
    patch.parents.push_back({0, count / 3, 2 * count / 3});
}

}  // namespace

Patch FillLine(const PatchLine& line) {
    Patch patch;
    patch.points = line.points;
    std::vector<int> polygon(line.points.size());
    std::iota(polygon.begin(), polygon.end(), 0);
    if (line.onlyTriangle || !LeastArea(line).Fill(polygon, patch.triangles))
        FillFromCentre(line, patch);
    Refinement(line, patch).Run();
    return patch;
}

double Area(const Patch& patch) {
    double area = 0;
    for (const auto& [a, b, c] : patch.triangles)
        area += TriangleArea(patch.points, a, b, c);
    return area;
}
