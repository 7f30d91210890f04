#include "import/remesh/Decimate.h"

#include <Eigen/Dense>
#include <algorithm>
#include <queue>

namespace {

using Eigen::Vector3d;

constexpr int kMostNeighbours = 14;       // a vertex with more makes slivers
constexpr double kLengthWeight = 1e-3;    // short edges first where the surface is flat
constexpr double kBorderWeight = 1;       // of planes that stand on the border
constexpr double kLeastTurnCosine = 0.2;  // of a moved triangle's normal
constexpr double kLast = 1e20;            // cost of what turns a triangle over

struct Candidate {
    double cost;
    int gone, kept;
    int goneVersion, keptVersion;
    bool operator<(const Candidate& other) const {  // the cheapest is the queue's top
        if (cost != other.cost) return cost > other.cost;
        return gone != other.gone ? gone > other.gone : kept > other.kept;
    }
};

class Decimation {
public:
    Decimation(const MapSurface& surface, MeshState& state, const std::vector<int>& kept, int poles)
        : m_positions(surface.positions),
          m_state(state),
          m_protected(state.around.size(), 0),
          m_poles(kept.begin(), kept.begin() + poles),
          m_border(NextOnBorder(state.triangles, state.around.size())),
          m_quadrics(state.around.size(), Eigen::Matrix4d::Zero()),
          m_versions(state.around.size(), 0),
          m_marks(state.around.size(), 0) {
        for (const int vertex : kept)
            m_protected[vertex] = 1;
        for (const int vertex : m_poles)
            m_protected[vertex] = 2;
        AddQuadrics();
    }

    std::vector<Collapse> Run(int target) {
        for (std::size_t vertex = 0; vertex < m_state.around.size(); ++vertex)
            Push(static_cast<int>(vertex));
        std::vector<Collapse> collapses;
        while (m_state.vertices > target && !m_queue.empty()) {
            Candidate next = m_queue.top();
            m_queue.pop();
            if (!IsCurrent(next)) continue;
            Collapse collapse;
            collapse.gone = next.gone;
            collapse.kept = next.kept;
            if (!IsPossible(collapse)) continue;
            if (next.cost < kLast && TurnsOver(collapse)) {
                next.cost += kLast;
                m_queue.push(next);
                continue;
            }
            Apply(collapse);
            collapses.push_back(std::move(collapse));
        }
        return collapses;
    }

private:
    const std::vector<Vector3d>& m_positions;
    MeshState& m_state;
    std::vector<char> m_protected;  // 1: stays; 2: a pole, which nothing slides into either
    std::vector<int> m_poles;
    std::vector<int> m_border;  // the next along the border, or -1
    std::vector<Eigen::Matrix4d> m_quadrics;
    std::vector<int> m_versions;
    std::priority_queue<Candidate> m_queue;
    std::vector<int> m_marks;
    int m_mark = 0;

    void AddPlane(const Vector3d& normal, const Vector3d& through, double weight,
                  std::initializer_list<int> vertices) {
        Eigen::Vector4d plane;
        plane << normal, -normal.dot(through);
        for (const int vertex : vertices)
            m_quadrics[vertex] += weight * plane * plane.transpose();
    }
    void AddQuadrics() {
        for (const Triangle& t : m_state.triangles) {
            const Vector3d& a = m_positions[t[0]];
            Vector3d normal = (m_positions[t[1]] - a).cross(m_positions[t[2]] - a);
            const double area = normal.norm() / 2;
            if (area < 1e-20) continue;
            normal.normalize();
            AddPlane(normal, a, area / 3, {t[0], t[1], t[2]});
            for (int k = 0; k < 3; ++k) {
                const int from = t[k], to = t[(k + 1) % 3];
                if (m_border[from] != to) continue;
                const Vector3d edge = m_positions[to] - m_positions[from];
                const Vector3d across = edge.cross(normal).normalized();
                AddPlane(across, m_positions[from], kBorderWeight * edge.squaredNorm(), {from, to});
            }
        }
    }
    double AreaAround(int vertex) const {
        double area = 0;
        for (const int triangle : m_state.around[vertex]) {
            const Triangle& t = m_state.triangles[triangle];
            const Vector3d& a = m_positions[t[0]];
            area += (m_positions[t[1]] - a).cross(m_positions[t[2]] - a).norm() / 2;
        }
        return area;
    }
    void Push(int gone, int kept, double area) {
        if (m_protected[gone] != 0 || m_protected[kept] == 2) return;
        // A border vertex slides along its border only.
        if (m_border[gone] >= 0 && m_border[gone] != kept && m_border[kept] != gone) return;
        Eigen::Vector4d at;
        at << m_positions[kept], 1;
        const double error = at.dot((m_quadrics[gone] + m_quadrics[kept]) * at);
        const double length = (m_positions[kept] - m_positions[gone]).squaredNorm();
        m_queue.push({error + kLengthWeight * length * area, gone, kept, m_versions[gone],
                      m_versions[kept]});
    }
    void Push(int gone) {
        if (m_protected[gone] != 0) return;
        const double area = AreaAround(gone);
        for (const int triangle : m_state.around[gone]) {
            const int corner = m_state.CornerOf(triangle, gone);
            const Triangle& t = m_state.triangles[triangle];
            Push(gone, t[(corner + 1) % 3], area);
            // Only at a border an edge is the way out of one triangle and none's way in.
            const int before = t[(corner + 2) % 3];
            if (m_border[before] == gone) Push(gone, before, area);
        }
    }
    bool IsCurrent(const Candidate& c) const {
        return m_state.Has(c.gone) && m_state.Has(c.kept) && m_versions[c.gone] == c.goneVersion &&
               m_versions[c.kept] == c.keptVersion;
    }
    template <class Visit>
    void ForRing(int vertex, const Visit& visit) const {
        for (const int triangle : m_state.around[vertex]) {
            for (const int corner : m_state.triangles[triangle]) {
                if (corner != vertex) visit(corner);
            }
        }
    }
    // Sorts the triangles around `gone` into those that fall away and those that move.
    bool Sort(Collapse& collapse) const {
        int lost = 0;
        for (const int triangle : m_state.around[collapse.gone]) {
            const Triangle& t = m_state.triangles[triangle];
            if (std::find(t.begin(), t.end(), collapse.kept) == t.end()) {
                collapse.moved.push_back(triangle);
            } else {
                if (lost == 2) return false;
                collapse.lostCorners[lost] = t;
                collapse.lost[lost++] = triangle;
            }
        }
        return lost == (m_border[collapse.gone] >= 0 ? 1 : 2);
    }
    bool IsPossible(Collapse& collapse) {
        if (!Sort(collapse)) return false;
        // The link condition: what both know is joined to both by a triangle that falls away.
        ++m_mark;
        ForRing(collapse.gone, [&](int v) { m_marks[v] = m_mark; });
        int common = 0;
        const int counted = ++m_mark;
        ForRing(collapse.kept, [&](int v) {
            if (m_marks[v] == counted - 1) {
                ++common;
                m_marks[v] = counted;
            }
        });
        if (common != (collapse.lost[1] < 0 ? 1 : 2)) return false;
        for (const int triangle : collapse.lost) {
            if (triangle < 0) continue;
            const int third = m_state.ThirdOf(triangle, collapse.gone, collapse.kept);
            const std::size_t least = m_border[third] >= 0 ? 2 : m_protected[third] != 0 ? 5 : 4;
            if (m_state.around[third].size() < least) return false;
        }
        const std::size_t after =
            m_state.around[collapse.gone].size() + m_state.around[collapse.kept].size() - 4;
        return after <= kMostNeighbours && !JoinsBorders(collapse) && KeepsRings(collapse);
    }
    // Whether an inner edge between two border vertices would come to be.
    bool JoinsBorders(const Collapse& collapse) {
        if (m_border[collapse.gone] >= 0 || m_border[collapse.kept] < 0) return false;
        bool joins = false;
        ++m_mark;
        ForRing(collapse.kept, [&](int v) { m_marks[v] = m_mark; });
        ForRing(collapse.gone, [&](int v) {
            joins |= m_border[v] >= 0 && v != collapse.kept && m_marks[v] != m_mark;
        });
        return joins;
    }
    bool KeepsRings(const Collapse& collapse) {
        ++m_mark;
        ForRing(collapse.kept, [&](int v) { m_marks[v] = m_mark; });
        ForRing(collapse.gone, [&](int v) { m_marks[v] = m_mark; });
        int rings = 0;
        for (const int pole : m_poles) {
            bool inRing = false;
            int neighbours = 0;
            for (const int triangle : m_state.around[pole]) {
                const int corner = m_state.CornerOf(triangle, pole);
                const int v = m_state.triangles[triangle][(corner + 1) % 3];
                if (v == collapse.kept || v == collapse.gone) {
                    inRing = true;
                } else if (m_marks[v] == m_mark) {
                    ++neighbours;
                }
            }
            if (!inRing) continue;
            if (++rings > 1 || neighbours > 2) return false;
        }
        return true;
    }
    bool TurnsOver(const Collapse& collapse) const {
        for (const int triangle : collapse.moved) {
            Triangle t = m_state.triangles[triangle];
            const auto normal = [&] {
                const Vector3d& a = m_positions[t[0]];
                return Vector3d((m_positions[t[1]] - a).cross(m_positions[t[2]] - a));
            };
            const Vector3d before = normal();
            std::replace(t.begin(), t.end(), collapse.gone, collapse.kept);
            const Vector3d after = normal();
            if (before.dot(after) < kLeastTurnCosine * before.norm() * after.norm()) return true;
        }
        return false;
    }
    void Apply(const Collapse& collapse) {
        const int gone = collapse.gone, kept = collapse.kept;
        if (m_border[gone] >= 0) {
            if (m_border[gone] == kept) {
                // Whoever leads to `gone` leads to `kept` now.
                ForRing(gone, [&](int v) {
                    if (m_border[v] == gone) m_border[v] = kept;
                });
            } else {
                m_border[kept] = m_border[gone];
            }
        }
        m_state.Apply(collapse);
        m_quadrics[kept] += m_quadrics[gone];
        ++m_versions[kept];
        std::vector<int> ring;
        ForRing(kept, [&](int v) { ring.push_back(v); });
        std::sort(ring.begin(), ring.end());
        ring.erase(std::unique(ring.begin(), ring.end()), ring.end());
        for (const int v : ring)
            ++m_versions[v];
        Push(kept);
        for (const int v : ring)
            Push(v);
    }
};

}  // namespace

std::vector<Collapse> Decimate(const MapSurface& surface, MeshState& state, int target,
                               const std::vector<int>& kept, int poles) {
    return Decimation(surface, state, kept, poles).Run(target);
}
