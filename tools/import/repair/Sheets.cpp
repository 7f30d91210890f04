#include "import/repair/Sheets.h"

#include "import/repair/HalfEdges.h"

#include <Eigen/Geometry>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <tuple>
#include <utility>

namespace {

int From(const Sheets& sheets, int h) {
    return sheets.triangles[h / 3][h % 3];
}

// Two half-edges of one edge in one direction: their triangles face opposite ways.
bool Disagree(const Sheets& sheets, int h, int g) {
    return From(sheets, h) == From(sheets, g);
}

void Pair(Sheets& sheets, int h, int g) {
    sheets.opposite[h] = g;
    sheets.opposite[g] = h;
}

// Spreads the direction of the first triangle of each component to all of it; says in `flipped`
// what must be turned, without turning it.
void Spread(Sheets& sheets) {
    const int count = static_cast<int>(sheets.triangles.size());
    sheets.flipped.assign(count, 0);
    sheets.components.assign(count, -1);
    sheets.componentCount = 0;
    std::vector<int> queue;
    for (int start = 0; start < count; ++start) {
        if (sheets.components[start] >= 0) continue;
        sheets.components[start] = sheets.componentCount;
        queue.assign(1, start);
        for (std::size_t next = 0; next < queue.size(); ++next) {
            const int t = queue[next];
            for (int h = 3 * t; h < 3 * t + 3; ++h) {
                const int g = sheets.opposite[h];
                if (g < 0 || sheets.components[g / 3] >= 0) continue;
                sheets.components[g / 3] = sheets.componentCount;
                const bool turn = Disagree(sheets, h, g);
                sheets.flipped[g / 3] = static_cast<char>(sheets.flipped[t] != turn);
                queue.push_back(g / 3);
            }
        }
        ++sheets.componentCount;
    }
}

// Where the spread met itself the wrong way round there is no surface to continue. What it spread
// along is never cut, so components stay whole.
void CutWhereTwisted(Sheets& sheets) {
    for (int h = 0; h < static_cast<int>(sheets.opposite.size()); ++h) {
        const int g = sheets.opposite[h];
        if (g < 0) continue;
        const bool turned = sheets.flipped[h / 3] != sheets.flipped[g / 3];
        if (turned != Disagree(sheets, h, g)) sheets.opposite[h] = sheets.opposite[g] = -1;
    }
}

// (a, b, c) becomes (a, c, b): its half-edges ab, bc, ca are the new ba, cb, ac.
void TurnFlipped(Sheets& sheets) {
    const auto moved = [&](int h) { return sheets.flipped[h / 3] ? h - h % 3 + 2 - h % 3 : h; };
    std::vector<int> opposite(sheets.opposite.size());
    for (int h = 0; h < static_cast<int>(opposite.size()); ++h) {
        const int g = sheets.opposite[h];
        opposite[moved(h)] = g < 0 ? -1 : moved(g);
    }
    sheets.opposite = std::move(opposite);
    for (std::size_t t = 0; t < sheets.triangles.size(); ++t)
        if (sheets.flipped[t]) std::swap(sheets.triangles[t][1], sheets.triangles[t][2]);
}

// A triangle at an edge of many, as seen along the edge from its lower vertex: the angle of its
// third corner, and whether a solid behind its face lies at smaller angles (the triangle ends the
// solid) or at larger ones (it begins it).
//
//             begins
//               |  solid        angles grow clockwise here
//        -------+-------  ends
struct Leaf {
    int h;
    double angle;
    bool ends;
};

class CrowdedEdge {
public:
    CrowdedEdge(Sheets& sheets, const std::vector<Eigen::Vector3d>& positions,
                const std::vector<char>& facesAway)
        : m_sheets(sheets), m_positions(positions), m_facesAway(facesAway) {}

    void Pair(const int* begin, const int* end) {
        Sort(begin, end);
        PairSolids();
        PairRest();
    }

private:
    void Sort(const int* begin, const int* end) {
        const auto [low, high] =
            std::minmax({From(m_sheets, *begin), From(m_sheets, Next(*begin))});
        const Eigen::Vector3d axis = (m_positions[high] - m_positions[low]).normalized();
        const Eigen::Vector3d side = axis.unitOrthogonal();
        const Eigen::Vector3d up = axis.cross(side);
        m_leaves.clear();
        for (const int* h = begin; h != end; ++h) {
            const Eigen::Vector3d arm =
                m_positions[From(m_sheets, Previous(*h))] - m_positions[low];
            const bool forward = From(m_sheets, *h) == low;
            m_leaves.push_back({*h, std::atan2(arm.dot(up), arm.dot(side)),
                                forward != static_cast<bool>(m_facesAway[*h / 3])});
        }
        // Of two in one place the one ends a solid before the other begins the next.
        std::sort(m_leaves.begin(), m_leaves.end(), [](const Leaf& a, const Leaf& b) {
            return std::tuple(a.angle, !a.ends, a.h) < std::tuple(b.angle, !b.ends, b.h);
        });
    }

    // As brackets are matched, going round twice to close those around the angle's jump.
    void PairSolids() {
        const std::size_t count = m_leaves.size();
        std::vector<std::size_t> open;
        std::vector<char> paired(count, 0);
        for (std::size_t i = 0; i < 2 * count; ++i) {
            const std::size_t at = i % count;
            if (paired[at]) continue;
            if (!m_leaves[at].ends) {
                if (i < count) open.push_back(at);
            } else if (!open.empty()) {
                ::Pair(m_sheets, m_leaves[open.back()].h, m_leaves[at].h);
                paired[at] = paired[open.back()] = 1;
                open.pop_back();
            }
        }
        std::vector<Leaf> rest;
        for (std::size_t i = 0; i < count; ++i)
            if (!paired[i]) rest.push_back(m_leaves[i]);
        m_leaves = std::move(rest);
    }

    double Gap(std::size_t from, std::size_t to) const {
        const double gap = m_leaves[to].angle - m_leaves[from].angle;
        return gap < 0 ? gap + 2 * std::numbers::pi : gap;
    }

    // What is left faces the same way all round, so no solid tells what belongs together: of three
    // the two that are nearest to a plane, of an even number the closest neighbours.
    void PairRest() {
        const std::size_t count = m_leaves.size();
        if (count < 2) return;
        std::size_t first = 0;
        if (count == 3) {
            double best = 10;
            for (std::size_t i = 0; i < 3; ++i) {
                const double bend = std::abs(Gap(i, (i + 1) % 3) - std::numbers::pi);
                if (bend < best) first = i;
                best = std::min(best, bend);
            }
        } else if (count % 2 == 0) {
            double inside = 0;
            for (std::size_t i = 0; i < count; i += 2)
                inside += Gap(i, i + 1);
            first = inside > std::numbers::pi ? 1 : 0;
        }
        for (std::size_t i = 0; i + 1 < count; i += 2)
            ::Pair(m_sheets, m_leaves[(first + i) % count].h, m_leaves[(first + i + 1) % count].h);
    }

    Sheets& m_sheets;
    const std::vector<Eigen::Vector3d>& m_positions;
    const std::vector<char>& m_facesAway;
    std::vector<Leaf> m_leaves;
};

// Triangles of plain edges hang together in patches; whatever faces against the larger part of its
// patch is told to, so that the solids at the crowded edges are read from whole patches.
std::vector<char> AgainstMajority(const Sheets& sheets,
                                  const std::vector<Eigen::Vector3d>& positions) {
    std::vector<double> balance(sheets.componentCount, 0);
    for (std::size_t t = 0; t < sheets.triangles.size(); ++t) {
        const auto& [a, b, c] = sheets.triangles[t];
        const double area = (positions[b] - positions[a]).cross(positions[c] - positions[a]).norm();
        balance[sheets.components[t]] += sheets.flipped[t] ? -area : area;
    }
    std::vector<char> against = sheets.flipped;
    for (std::size_t t = 0; t < against.size(); ++t)
        if (balance[sheets.components[t]] < 0) against[t] = !against[t];
    return against;
}

void PairPlainEdges(Sheets& sheets, const std::vector<int>& byEdge) {
    for (std::size_t i = 0, end = 0; i < byEdge.size(); i = end) {
        end = EndOfEdge(sheets.triangles, byEdge, i);
        if (end - i == 2) Pair(sheets, byEdge[i], byEdge[i + 1]);
    }
}

void PairCrowdedEdges(Sheets& sheets, const std::vector<int>& byEdge,
                      const std::vector<Eigen::Vector3d>& positions) {
    const std::vector<char> facesAway = AgainstMajority(sheets, positions);
    CrowdedEdge edge(sheets, positions, facesAway);
    for (std::size_t i = 0, end = 0; i < byEdge.size(); i = end) {
        end = EndOfEdge(sheets.triangles, byEdge, i);
        if (end - i > 2) edge.Pair(byEdge.data() + i, byEdge.data() + end);
    }
}

}  // namespace

Sheets FindSheets(const std::vector<Eigen::Vector3d>& positions, std::vector<Triangle> triangles) {
    Sheets sheets;
    sheets.triangles = std::move(triangles);
    sheets.opposite.assign(3 * sheets.triangles.size(), -1);
    const std::vector<int> byEdge =
        SortedByEdge(sheets.triangles, static_cast<int>(positions.size()));
    PairPlainEdges(sheets, byEdge);
    Spread(sheets);
    PairCrowdedEdges(sheets, byEdge, positions);
    Spread(sheets);
    CutWhereTwisted(sheets);
    TurnFlipped(sheets);
    return sheets;
}
