// Candidates are the loops of homology bases from a few vertices, the shortest first. Before one is
// used, bases from vertices of its own and from others all along its handle are asked for shorter
// ones.
#include "import/repair/Handles.h"

#include "import/repair/Loops.h"
#include "import/repair/Opening.h"
#include "import/repair/Repair.h"
#include "import/repair/Slivers.h"
#include "import/repair/Winding.h"

#include <Eigen/Geometry>

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>
#include <memory>
#include <queue>
#include <set>
#include <tuple>

namespace {

constexpr int kFirstBases = 8;
// Vertices of a candidate from which shorter ones are looked for, and vertices along its handle.
constexpr int kBasesOnLoop = 2;
constexpr int kBasesAlong = 6;
// Triangles that searches for shorter loops may look at, all together: some ten seconds. After
// that loops are used as they were found.
constexpr double kSearchBudget = 5e7;
constexpr int kCapSamples = 24;
// Share of the samples that must lie in the solid. Not all: a loop along the edges is not flat, and
// small ears of its cap may lie outside.
constexpr double kInsideShare = 0.8;

struct Candidate {
    Loop loop;
    bool searched = false;  // for shorter ones around
    double inside = 0;      // share of its cap, when that is known
};

class HandleCutter {
public:
    HandleCutter(Surface& surface, int handles)
        : m_surface(surface),
          m_left(handles),
          m_touched(surface.positions.size(), 0) {
        m_searches =
            static_cast<int>(kSearchBudget / static_cast<double>(surface.triangles.size()));
    }

    HandleCuts Run() {
        Rebuild();
        m_isCavity = m_mesh->Borders().empty() && Volume(m_surface) < 0;
        while (m_left > 0) {
            const int before = m_left;
            Collect();
            CutInside();
            if (m_left < before) continue;
            if (m_metBorder && !m_hasWayAlongBorders) {
                MakeWayAlongBorders();
                continue;
            }
            CutOutside();
            assert(m_left < before);
        }
        return m_cuts;
    }

private:
    struct Longer {
        const std::vector<Candidate>& all;
        bool operator()(int a, int b) const {
            return std::pair(all[a].loop.length, a) > std::pair(all[b].loop.length, b);
        }
    };
    using Queue = std::priority_queue<int, std::vector<int>, Longer>;

    void Rebuild() {
        m_mesh = std::make_unique<HalfEdges>(m_surface.triangles,
                                             static_cast<int>(m_surface.positions.size()));
        m_finder = std::make_unique<LoopFinder>(m_surface, *m_mesh);
    }

    void Collect() {
        m_candidates.clear();
        m_seen.clear();
        m_bases.clear();
        m_rejected.clear();
        m_metBorder = false;
        std::fill(m_touched.begin(), m_touched.end(), 0);
        Rebuild();
        for (const int base : m_finder->Spread(kFirstBases))
            AddBasis(base, std::numeric_limits<double>::infinity());
    }

    void AddBasis(int base, double shorterThan) {
        if (!m_bases.insert(base).second) return;
        for (Loop& loop : m_finder->Basis(base)) {
            if (!(loop.length < shorterThan)) continue;
            if (TouchesBorder(loop)) {
                m_metBorder = true;
                continue;
            }
            std::vector<int> edges;
            for (const int h : loop.halfEdges)
                edges.push_back(std::min(h, m_mesh->Opposite(h)));
            std::sort(edges.begin(), edges.end());
            if (!m_seen.insert(std::move(edges)).second) continue;
            m_candidates.push_back({std::move(loop)});
            m_queue.push(static_cast<int>(m_candidates.size()) - 1);
        }
    }

    bool TouchesBorder(const Loop& loop) const {
        return std::any_of(loop.halfEdges.begin(), loop.halfEdges.end(),
                           [&](int h) { return h < 0 || m_mesh->FromBorder(h); });
    }

    // A vertex in the middle of every edge that runs into a border: whatever loop there is can then
    // be pulled off the borders.
    void MakeWayAlongBorders() {
        std::vector<char> inwards(m_mesh->Count(), 0);
        for (int h = 0; h < m_mesh->Count(); ++h)
            inwards[h] =
                m_mesh->Opposite(h) > h && (m_mesh->FromBorder(h) || m_mesh->FromBorder(Next(h)));
        SplitMarked(std::move(inwards), m_surface, *m_mesh);
        m_hasWayAlongBorders = true;
        m_touched.resize(m_surface.positions.size(), 0);
    }

    void CutInside() {
        while (m_left > 0 && !m_queue.empty()) {
            const int at = m_queue.top();
            m_queue.pop();
            const std::vector<int> along = AlongHandle(m_candidates[at].loop);
            if (along.empty()) continue;
            const PatchLine line = LineAlong(m_candidates[at].loop.halfEdges, m_surface, *m_mesh);
            const Patch cap = FillLine(line);
            m_candidates[at].inside = InsideShare(cap);
            if (m_candidates[at].inside < kInsideShare) {
                m_rejected.push_back(at);
            } else if (!m_candidates[at].searched && m_searches > 0) {
                m_candidates[at].searched = true;
                m_queue.push(at);
                SearchAround(at, along);
            } else {
                Cut(m_candidates[at].loop, cap);
            }
        }
    }

    // With what there is, the caps that lie inside most first.
    void CutOutside() {
        std::sort(m_rejected.begin(), m_rejected.end(), [&](int a, int b) {
            const Candidate& one = m_candidates[a];
            const Candidate& other = m_candidates[b];
            return std::tuple(-one.inside, one.loop.length, a) <
                   std::tuple(-other.inside, other.loop.length, b);
        });
        for (const int at : m_rejected) {
            const Loop& loop = m_candidates[at].loop;
            if (m_left == 0 || AlongHandle(loop).empty()) continue;
            Cut(loop, FillLine(LineAlong(loop.halfEdges, m_surface, *m_mesh)));
            ++m_cuts.capsOutside;
        }
    }

    void SearchAround(int at, const std::vector<int>& along) {
        // Copied: candidates move as others are added.
        const std::vector<int> halfEdges = m_candidates[at].loop.halfEdges;
        const double length = m_candidates[at].loop.length;
        const auto searchFrom = [&](int h) {
            --m_searches;
            AddBasis(m_mesh->From(h), length);
        };
        for (int i = 0; i < kBasesOnLoop; ++i)
            searchFrom(halfEdges[i * halfEdges.size() / kBasesOnLoop]);
        for (int i = 0; i < kBasesAlong; ++i)
            searchFrom(3 * along[(2 * i + 1) * along.size() / (2 * kBasesAlong)]);
    }

    // The triangles of a way from one side of the loop to the other that does not cross it. None
    // where the loop would divide the surface or is touched by a cut since it was found.
    std::vector<int> AlongHandle(const Loop& loop) const {
        std::vector<char> onLoop(m_mesh->Count(), 0);
        for (const int h : loop.halfEdges) {
            if (m_touched[m_mesh->From(h)]) return {};
            onLoop[h] = onLoop[m_mesh->Opposite(h)] = 1;
        }
        const int start = loop.halfEdges[0] / 3;
        const int goal = m_mesh->Opposite(loop.halfEdges[0]) / 3;
        std::vector<int> reachedFrom(m_surface.triangles.size(), -1);
        std::vector<int> queue = {goal};
        reachedFrom[goal] = goal;
        for (std::size_t next = 0; next < queue.size() && reachedFrom[start] < 0; ++next)
            for (int h = 3 * queue[next]; h < 3 * queue[next] + 3; ++h) {
                const int g = m_mesh->Opposite(h);
                if (g < 0 || onLoop[h] || reachedFrom[g / 3] >= 0) continue;
                reachedFrom[g / 3] = queue[next];
                queue.push_back(g / 3);
            }
        std::vector<int> along;
        for (int t = start; reachedFrom[t] >= 0; t = reachedFrom[t]) {
            along.push_back(t);
            if (t == goal) break;
        }
        return along;
    }

    // Of samples that are spread evenly over the cap's area, at the middles of its triangles.
    double InsideShare(const Patch& cap) const {
        const double step = Area(cap) / kCapSamples;
        double next = 0.5 * step, area = 0;
        int inside = 0, samples = 0;
        for (const auto& [a, b, c] : cap.triangles) {
            const Eigen::Vector3d& p = cap.points[a];
            area += 0.5 * (cap.points[b] - p).cross(cap.points[c] - p).norm();
            if (area < next) continue;
            int weight = 0;
            for (; next <= area && samples + weight < kCapSamples; next += step)
                ++weight;
            const Eigen::Vector3d middle = (p + cap.points[b] + cap.points[c]) / 3;
            // The solid around a cavity is what it does not go round; how an open surface faces is
            // not known.
            const double winding = WindingNumber(m_surface, middle);
            inside += weight * ((std::abs(winding) > 0.5) != m_isCavity);
            samples += weight;
        }
        return samples > 0 ? static_cast<double>(inside) / samples : 0;
    }

    // The triangles left of the loop get copies of its vertices.
    void Cut(const Loop& loop, const Patch& cap) {
        const std::vector<int>& line = loop.halfEdges;
        Seam left, right;
        for (std::size_t i = 0; i < line.size(); ++i) {
            const int besideRight = Next(m_mesh->Opposite(line[i]));
            left.corners.push_back(m_surface.corners[line[i] / 3][line[i] % 3]);
            right.corners.push_back(m_surface.corners[besideRight / 3][besideRight % 3]);
            right.vertices.push_back(m_mesh->From(line[i]));
            left.vertices.push_back(static_cast<int>(m_surface.positions.size()));
            m_surface.positions.push_back(m_surface.positions[m_mesh->From(line[i])]);
        }
        MoveLeft(line, left.vertices);
        SewIn(cap, left, true, kCapMaterial, m_surface);
        SewIn(cap, right, false, kCapMaterial, m_surface);
        m_touched.resize(m_surface.positions.size(), 0);
        for (const Seam& seam : {left, right})
            for (const int v : seam.vertices)
                m_touched[v] = 1;
        --m_left;
        ++m_cuts.cuts;
        m_cuts.capArea += 2 * Area(cap);
        Rebuild();
    }

    void MoveLeft(const std::vector<int>& line, const std::vector<int>& copies) {
        std::vector<std::pair<int, int>> corners;  // and their new vertices
        for (std::size_t i = 0; i < line.size(); ++i) {
            const int last = line[(i + line.size() - 1) % line.size()];
            for (int h = line[i];; h = m_mesh->Turn(h)) {
                corners.emplace_back(h, copies[i]);
                if (Previous(h) == last) break;
            }
        }
        for (const auto& [h, vertex] : corners)
            m_surface.triangles[h / 3][h % 3] = vertex;
    }

    Surface& m_surface;
    int m_left;
    bool m_isCavity = false;
    int m_searches = 0;
    HandleCuts m_cuts;
    std::unique_ptr<HalfEdges> m_mesh;
    std::unique_ptr<LoopFinder> m_finder;
    bool m_hasWayAlongBorders = false;
    bool m_metBorder = false;  // whether loops were passed over because they touch one
    std::vector<char> m_touched;
    std::vector<Candidate> m_candidates;
    Queue m_queue{Longer{m_candidates}};
    std::set<std::vector<int>> m_seen;  // sorted edges of the candidates
    std::set<int> m_bases;
    std::vector<int> m_rejected;
};

}  // namespace

HandleCuts CutHandles(Surface& surface, int handles) {
    return HandleCutter(surface, handles).Run();
}
