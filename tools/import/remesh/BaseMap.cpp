#include "import/remesh/BaseMap.h"

#include <Eigen/Dense>
#include <Eigen/Sparse>
#include <algorithm>
#include <cmath>
#include <limits>
#include <queue>
#include <unordered_map>

namespace {

using Eigen::Vector2d;

constexpr double kRing = 0.15;  // share of the rise at which the ring around a pole starts

// Triangles by their directed edges.
class EdgeTable {
public:
    explicit EdgeTable(const MeshState& state) : m_state(state) {
        for (std::size_t i = 0; i < state.triangles.size(); ++i) {
            if (state.there[i] == 0) continue;
            const Triangle& t = state.triangles[i];
            for (int k = 0; k < 3; ++k)
                m_triangles[Key(t[k], t[(k + 1) % 3])] = static_cast<int>(i);
        }
    }
    // The triangle left of an edge, or -1.
    int LeftOf(int from, int to) const {
        const auto found = m_triangles.find(Key(from, to));
        return found == m_triangles.end() ? -1 : found->second;
    }
    // Visits the triangles left of the way before -> at -> after; before or after may be -1, where
    // the way ends at a border.
    template <class Visit>
    void ForLeft(int before, int at, int after, const Visit& visit) const {
        if (after >= 0) {
            for (int to = after; to != before;) {
                const int triangle = LeftOf(at, to);
                if (triangle < 0) return;
                visit(triangle);
                to = m_state.ThirdOf(triangle, at, to);
            }
            return;
        }
        for (int from = before;;) {
            const int triangle = LeftOf(from, at);
            if (triangle < 0) return;
            visit(triangle);
            from = m_state.ThirdOf(triangle, at, from);
        }
    }

private:
    static std::uint64_t Key(int from, int to) {
        return static_cast<std::uint64_t>(from) << 32 | static_cast<std::uint32_t>(to);
    }
    const MeshState& m_state;
    std::unordered_map<std::uint64_t, int> m_triangles;
};

class BaseMaker {
public:
    BaseMaker(SurfaceMap& map, const BaseChoice& choice)
        : m_map(map), m_choice(choice), m_edges(map.State()), m_fixed(map.places.size(), 0) {
        for (Windings& windings : m_map.windings)
            windings = {};
    }

    bool Run() {
        switch (m_map.Plane().Kind()) {
            case GridKind::Sphere:
                return PrepareSphere() && Solve();
            case GridKind::Annulus:
                return PrepareAnnulus() && Solve();
            case GridKind::Square:
                return PrepareSquare() && Solve();
            case GridKind::Torus:
                return PrepareTorus() && SolveEitherWay();
        }
        return false;
    }

private:
    SurfaceMap& m_map;
    const BaseChoice& m_choice;
    EdgeTable m_edges;
    std::vector<char> m_fixed;  // of each vertex: its place is given

    void Fix(int vertex, const Vector2d& place) {
        m_map.places[vertex] = place;
        m_fixed[vertex] = 1;
    }
    // Adds a period to the triangles' corners left of the way.
    void Wind(const std::vector<int>& way, bool closed, signed char Winding::*period) {
        const std::size_t n = way.size();
        for (std::size_t i = 0; i < n; ++i) {
            const int before = i > 0 ? way[i - 1] : closed ? way.back() : -1;
            const int after = i + 1 < n ? way[i + 1] : closed ? way.front() : -1;
            if (m_map.IsPole(way[i])) continue;
            m_edges.ForLeft(before, way[i], after, [&](int triangle) {
                m_map.windings[triangle][m_map.State().CornerOf(triangle, way[i])].*period = 1;
            });
        }
    }
    std::vector<int> RingOf(int pole, int start) const {
        std::vector<int> ring{start};
        for (int at = start;;) {
            at = m_map.State().ThirdOf(m_edges.LeftOf(pole, at), pole, at);
            if (at == start) return ring;
            ring.push_back(at);
        }
    }
    std::vector<int> WayBetween(int from, int to) const {
        std::vector<int> before, way;
        PathLengths(m_map.Shape(), m_map.State(), from, &before);
        for (int vertex = to; vertex >= 0; vertex = before[vertex])
            way.push_back(vertex);
        return way;
    }
    bool PrepareSphere() {
        const int top = m_choice.vertices[0], bottom = m_choice.vertices[1];
        m_map.SetPoles(top, bottom);
        // Upwards: what lies left of the way is where the row ends.
        const std::vector<int> way = WayBetween(top, bottom);
        if (way.size() < 4) return false;
        Wind(way, false, &Winding::turns);
        const double rise = m_map.Plane().Rise();
        const auto fixRing = [&](int pole, int start, double height, bool back) {
            const std::vector<int> ring = RingOf(pole, start);
            const double count = static_cast<double>(ring.size());
            for (std::size_t i = 0; i < ring.size(); ++i) {
                if (m_fixed[ring[i]] != 0) return false;
                const double turn = static_cast<double>(i) / count;
                Fix(ring[i], {!back ? turn : i > 0 ? 1 - turn : 0, height * rise});
            }
            return true;
        };
        m_fixed[top] = m_fixed[bottom] = 1;
        return fixRing(bottom, way[1], kRing, true) &&
               fixRing(top, way[way.size() - 2], 1 - kRing, false);
    }
    // Spreads a stretch of vertices, the ends included, by their distances.
    template <class Place>
    void FixStretch(const std::vector<int>& stretch, const Place& place) {
        std::vector<double> lengths(stretch.size(), 0);
        for (std::size_t i = 1; i < stretch.size(); ++i) {
            const auto& positions = m_map.Shape().positions;
            lengths[i] = lengths[i - 1] +
                         std::max(1e-9, (positions[stretch[i]] - positions[stretch[i - 1]]).norm());
        }
        for (std::size_t i = 0; i < stretch.size(); ++i)
            Fix(stretch[i], place(lengths[i] / lengths.back()));
    }
    std::vector<std::vector<int>> Loops() const {
        std::vector<Triangle> triangles;
        for (std::size_t i = 0; i < m_map.State().triangles.size(); ++i) {
            if (m_map.State().there[i] != 0) triangles.push_back(m_map.State().triangles[i]);
        }
        return BorderLoops(m_map.Shape(), triangles);
    }
    bool PrepareAnnulus() {
        std::vector<std::vector<int>> loops = Loops();
        if (loops.size() != 2) return false;
        // The shortest way from one border to the other.
        std::vector<int> before;
        const std::vector<double> lengths =
            PathLengths(m_map.Shape(), m_map.State(), loops[0][0], &before);
        const int target = *std::min_element(loops[1].begin(), loops[1].end(),
                                             [&](int a, int b) { return lengths[a] < lengths[b]; });
        std::vector<int> way;
        for (int vertex = target; vertex >= 0; vertex = before[vertex]) {
            way.push_back(vertex);
            if (std::find(loops[0].begin(), loops[0].end(), vertex) != loops[0].end()) break;
        }
        std::reverse(way.begin(), way.end());  // upwards: the row ends left of it
        Wind(way, false, &Winding::turns);
        // With the surface to its left the lower border runs along u, the upper one against it.
        const double rise = m_map.Plane().Rise();
        const auto fixLoop = [&](std::vector<int>& loop, int start, bool lower) {
            std::rotate(loop.begin(), std::find(loop.begin(), loop.end(), start), loop.end());
            std::vector<int> stretch = loop;
            stretch.push_back(start);
            FixStretch(stretch, [&](double share) {
                return Vector2d(lower ? share : 1 - share, lower ? 0 : rise);
            });
            m_map.places[start][0] = 0;
        };
        fixLoop(loops[0], way.front(), true);
        fixLoop(loops[1], way.back(), false);
        return true;
    }
    bool PrepareSquare() {
        std::vector<std::vector<int>> loops = Loops();
        if (loops.size() != 1) return false;
        std::vector<int>& loop = loops[0];
        const Domain& plane = m_map.Plane();
        // Counter-clockwise in the plane: down the first column, along the last row, and back.
        const GridShare corners[] = {{0, 0}, {0, 1}, {1, 1}, {1, 0}};
        for (int side = 0; side < 4; ++side) {
            const int first = m_choice.vertices[side], last = m_choice.vertices[(side + 1) % 4];
            std::rotate(loop.begin(), std::find(loop.begin(), loop.end(), first), loop.end());
            const std::vector<int> stretch(loop.begin(),
                                           std::next(std::find(loop.begin(), loop.end(), last)));
            const Vector2d a = plane.PlaneOf(corners[side]);
            const Vector2d b = plane.PlaneOf(corners[(side + 1) % 4]);
            FixStretch(stretch, [&](double share) { return Vector2d(a + share * (b - a)); });
        }
        return true;
    }
    bool PrepareTorus() {
        const auto split = m_choice.vertices.begin() + m_choice.split;
        Wind({m_choice.vertices.begin(), split}, true, &Winding::turns);
        Wind({split, m_choice.vertices.end()}, true, &Winding::rounds);
        Fix(m_choice.vertices.front(), {0.5, 0.5 * m_map.Plane().Rise()});
        return true;
    }
    // In which directions the loops run is not known beforehand.
    bool SolveEitherWay() {
        for (int sign = 0; sign < 2; ++sign) {
            if (Solve()) return true;
            for (Windings& windings : m_map.windings) {
                for (Winding& winding : windings)
                    winding.turns = static_cast<signed char>(-winding.turns);
            }
        }
        return false;
    }
    // Every other vertex in the middle of its neighbours.
    bool Solve() {
        const MeshState& state = m_map.State();
        std::vector<int> index(m_fixed.size(), -1);
        int unknown = 0;
        for (std::size_t v = 0; v < m_fixed.size(); ++v) {
            if (m_fixed[v] == 0 && state.Has(static_cast<int>(v))) index[v] = unknown++;
        }
        if (unknown > 0) {
            std::vector<Eigen::Triplet<double>> entries;
            Eigen::MatrixX2d right = Eigen::MatrixX2d::Zero(unknown, 2);
            for (std::size_t i = 0; i < state.triangles.size(); ++i) {
                if (state.there[i] == 0) continue;
                const Triangle& t = state.triangles[i];
                for (int k = 0; k < 3; ++k) {
                    for (const int l : {(k + 1) % 3, (k + 2) % 3}) {
                        const int own = index[t[k]], other = index[t[l]];
                        if (own < 0 || m_map.IsPole(t[l])) continue;
                        const Windings& w = m_map.windings[i];
                        right.row(own) += m_map.OffsetOf(w[l]) - m_map.OffsetOf(w[k]);
                        entries.emplace_back(own, own, 1);
                        if (other >= 0) {
                            entries.emplace_back(own, other, -1);
                        } else {
                            right.row(own) += m_map.places[t[l]];
                        }
                    }
                }
            }
            Eigen::SparseMatrix<double> matrix(unknown, unknown);
            matrix.setFromTriplets(entries.begin(), entries.end());
            const Eigen::SimplicialLDLT<Eigen::SparseMatrix<double>> solver(matrix);
            if (solver.info() != Eigen::Success) return false;
            const Eigen::MatrixX2d solved = solver.solve(right);
            for (std::size_t v = 0; v < index.size(); ++v) {
                if (index[v] >= 0) m_map.places[v] = solved.row(index[v]);
            }
        }
        int flips = 0;
        m_map.Energy(&flips);
        return flips == 0;
    }
};

std::vector<int> SimpleLoop(const std::vector<int>& before, int a, int b) {
    std::vector<int> fromA, fromB;
    for (int v = a; v >= 0; v = before[v])
        fromA.push_back(v);
    for (int v = b; v >= 0; v = before[v])
        fromB.push_back(v);
    // Both end at the root: what they share is a stem, but for its last vertex.
    while (fromA.size() > 1 && fromB.size() > 1 &&
           fromA[fromA.size() - 2] == fromB[fromB.size() - 2]) {
        fromA.pop_back();
        fromB.pop_back();
    }
    fromB.pop_back();
    fromA.insert(fromA.end(), fromB.rbegin(), fromB.rend());
    return fromA;
}

double LoopLength(const MapSurface& surface, const std::vector<int>& loop) {
    double length = 0;
    for (std::size_t i = 0; i < loop.size(); ++i)
        length +=
            (surface.positions[loop[i]] - surface.positions[loop[(i + 1) % loop.size()]]).norm();
    return length;
}

}  // namespace

bool MakeBaseMap(SurfaceMap& map, const BaseChoice& choice) {
    map.SetPoles(-1, -1);
    return BaseMaker(map, choice).Run();
}

std::vector<double> PathLengths(const MapSurface& surface, const MeshState& state, int from,
                                std::vector<int>* before) {
    std::vector<double> lengths(surface.positions.size(), std::numeric_limits<double>::max());
    if (before != nullptr) before->assign(lengths.size(), -1);
    using Entry = std::pair<double, int>;
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> queue;
    lengths[from] = 0;
    queue.push({0, from});
    while (!queue.empty()) {
        const auto [length, at] = queue.top();
        queue.pop();
        if (length > lengths[at]) continue;
        for (const int triangle : state.around[at]) {
            for (const int to : state.triangles[triangle]) {
                const double there =
                    length + (surface.positions[to] - surface.positions[at]).norm();
                if (there >= lengths[to]) continue;
                lengths[to] = there;
                if (before != nullptr) (*before)[to] = at;
                queue.push({there, to});
            }
        }
    }
    return lengths;
}

// A tree of shortest paths and a tree over the triangles that crosses none of its edges leave two
// edges over; each closes a loop through the first tree.
TorusLoops FindTorusLoops(const MapSurface& surface, const MeshState& state) {
    const EdgeTable edges(state);
    TorusLoops best;
    double least = std::numeric_limits<double>::max();
    for (std::size_t root = 0; root < state.around.size(); ++root) {
        if (!state.Has(static_cast<int>(root))) continue;
        std::vector<int> before;
        PathLengths(surface, state, static_cast<int>(root), &before);
        std::vector<char> reached(state.triangles.size(), 0);
        std::vector<int> waiting{state.around[root].front()};
        reached[waiting.front()] = 1;
        std::vector<std::array<int, 2>> crossed;
        while (!waiting.empty()) {
            const Triangle t = state.triangles[waiting.back()];
            waiting.pop_back();
            for (int k = 0; k < 3; ++k) {
                const int a = t[k], b = t[(k + 1) % 3];
                if (before[a] == b || before[b] == a) continue;
                const int other = edges.LeftOf(b, a);
                if (reached[other] != 0) continue;
                reached[other] = 1;
                crossed.push_back({std::min(a, b), std::max(a, b)});
                waiting.push_back(other);
            }
        }
        std::sort(crossed.begin(), crossed.end());
        std::vector<std::vector<int>> loops;
        for (std::size_t i = 0; i < state.triangles.size(); ++i) {
            if (state.there[i] == 0) continue;
            for (int k = 0; k < 3; ++k) {
                const int a = state.triangles[i][k], b = state.triangles[i][(k + 1) % 3];
                if (a > b || before[a] == b || before[b] == a ||
                    std::binary_search(crossed.begin(), crossed.end(), std::array<int, 2>{a, b}))
                    continue;
                loops.push_back(SimpleLoop(before, a, b));
            }
        }
        if (loops.size() != 2) continue;
        const double length = LoopLength(surface, loops[0]) + LoopLength(surface, loops[1]);
        if (length >= least) continue;
        least = length;
        best = {loops[0], loops[1]};
    }
    return best;
}

std::vector<std::vector<int>> BorderLoops(const MapSurface& surface,
                                          const std::vector<Triangle>& triangles) {
    std::vector<int> next = NextOnBorder(triangles, surface.positions.size());
    std::vector<std::vector<int>> loops;
    for (std::size_t start = 0; start < next.size(); ++start) {
        if (next[start] < 0) continue;
        std::vector<int> loop;
        for (int at = static_cast<int>(start); next[at] >= 0;) {
            loop.push_back(at);
            const int to = next[at];
            next[at] = -1;
            at = to;
        }
        loops.push_back(std::move(loop));
    }
    std::stable_sort(loops.begin(), loops.end(), [&](const auto& a, const auto& b) {
        return LoopLength(surface, a) > LoopLength(surface, b);
    });
    return loops;
}
