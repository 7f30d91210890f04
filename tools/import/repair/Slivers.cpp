#include "import/repair/Slivers.h"

#include <Eigen/Geometry>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

namespace {

// Turns per sliver that may be spent: enough for fans and strips of them, while a file of nothing
// but points on a line comes to an end.
constexpr std::size_t kTurnsPerSliver = 20;

float Mix(float a, float b, double share) {
    return static_cast<float>(a + (b - a) * share);
}

Corner Mix(const Corner& a, const Corner& b, double share) {
    Corner corner{Mix(a.u, b.u, share), Mix(a.v, b.v, share), a.colour};
    for (int i = 0; i < 4; ++i)
        corner.colour[i] = Mix(a.colour[i], b.colour[i], share);
    return corner;
}

// The attributes of what SplitEdge appended for the triangle of h.
void AppendSideOf(int h, Surface& surface) {
    Corners& corners = surface.corners[h / 3];
    const Corner middle = Mix(corners[h % 3], corners[Next(h) % 3], 0.5);
    const Corners added = {middle, corners[Next(h) % 3], corners[Previous(h) % 3]};
    corners[Next(h) % 3] = middle;
    surface.corners.push_back(added);
    surface.materials.push_back(surface.materials[h / 3]);
}

void SplitInMiddle(int h, Surface& surface, HalfEdges& mesh) {
    const int opposite = mesh.Opposite(h);
    const Eigen::Vector3d middle =
        0.5 * (surface.positions[mesh.From(h)] + surface.positions[mesh.To(h)]);
    mesh.SplitEdge(h, static_cast<int>(surface.positions.size()));
    surface.positions.push_back(middle);
    AppendSideOf(h, surface);
    if (opposite >= 0) AppendSideOf(opposite, surface);
}

// Vertices in the order of their first triangles, others left out.
void Renumber(Surface& surface) {
    std::vector<int> numbers(surface.positions.size(), -1);
    std::vector<Eigen::Vector3d> positions;
    for (Triangle& triangle : surface.triangles)
        for (int& v : triangle) {
            if (numbers[v] < 0) {
                numbers[v] = static_cast<int>(positions.size());
                positions.push_back(surface.positions[v]);
            }
            v = numbers[v];
        }
    surface.positions = std::move(positions);
}

class SliverTurner {
public:
    SliverTurner(Surface& surface, HalfEdges& mesh)
        : m_surface(surface), m_mesh(mesh), m_gone(surface.triangles.size(), 0) {}

    int Run() {
        std::vector<int> slivers;
        for (std::size_t t = 0; t < m_gone.size(); ++t)
            if (LongestIfSliver(static_cast<int>(t)) >= 0) slivers.push_back(static_cast<int>(t));
        std::size_t turnsLeft = kTurnsPerSliver * (slivers.size() + 10);
        // One that was stuck may be free after its neighbours have turned.
        for (bool changed = true; changed && !slivers.empty();) {
            changed = false;
            std::vector<int> stuck;
            while (!slivers.empty() && turnsLeft > 0) {
                --turnsLeft;
                const int t = slivers.back();
                slivers.pop_back();
                const int h = m_gone[t] ? -1 : LongestIfSliver(t);
                if (h < 0) continue;
                if (m_mesh.Opposite(h) < 0 ? Drop(h) : Turn(h, slivers))
                    changed = true;
                else
                    stuck.push_back(t);
            }
            slivers.insert(slivers.end(), stuck.begin(), stuck.end());
            changed = changed && turnsLeft > 0;
        }
        LeaveOutGone();
        return static_cast<int>(slivers.size());
    }

private:
    const Eigen::Vector3d& At(int vertex) const { return m_surface.positions[vertex]; }
    double Length2(int h) const { return (At(m_mesh.To(h)) - At(m_mesh.From(h))).squaredNorm(); }

    bool IsSliver(int a, int b, int c) const { return ::IsSliver(At(a), At(b), At(c)); }

    int LongestIfSliver(int t) const {
        const auto& [a, b, c] = m_surface.triangles[t];
        if (!IsSliver(a, b, c)) return -1;
        int longest = 3 * t;
        for (int h = 3 * t + 1; h < 3 * t + 3; ++h)
            if (Length2(h) > Length2(longest)) longest = h;
        return longest;
    }

    // A triangle whose longest edge is a border may go where its third corner becomes a plain
    // corner of the border: it was inside, or a second edge was a border too.
    bool Drop(int h) {
        const int borders = (m_mesh.Opposite(Next(h)) < 0) + (m_mesh.Opposite(Previous(h)) < 0);
        const bool plain = borders == 1 || (borders == 0 && !m_mesh.FromBorder(Previous(h)));
        if (!plain) return false;
        m_mesh.Detach(h / 3);
        m_gone[h / 3] = 1;
        return true;
    }

    bool Turn(int h, std::vector<int>& slivers) {
        const int g = m_mesh.Opposite(h);
        const int c = m_mesh.Apex(h), d = m_mesh.Apex(g);
        if (c == d || m_mesh.Joins(Previous(h), d)) return false;
        // Of two slivers on one line each turn must make the edge shorter, so that there is an end.
        const int a = m_mesh.From(h), b = m_mesh.To(h);
        const bool frees = !IsSliver(d, b, c) && !IsSliver(c, a, d);
        if (!frees && !((At(d) - At(c)).squaredNorm() < Length2(h))) return false;
        // Everything is seen on the neighbour, which has the area.
        const Corners& flat = m_surface.corners[g / 3];
        const Corner ofB = flat[g % 3], ofA = flat[Next(g) % 3], ofD = flat[Previous(g) % 3];
        const Eigen::Vector3d along = At(b) - At(a);
        const double share = (At(c) - At(a)).dot(along) / along.squaredNorm();
        const Corner ofC = Mix(ofA, ofB, std::clamp(share, 0.0, 1.0));
        m_mesh.Flip(h);
        m_surface.corners[h / 3] = {ofD, ofB, ofC};
        m_surface.corners[g / 3] = {ofC, ofA, ofD};
        m_surface.materials[h / 3] = m_surface.materials[g / 3];
        for (const int t : {h / 3, g / 3})
            slivers.push_back(t);
        return true;
    }

    void LeaveOutGone() {
        std::size_t kept = 0;
        for (std::size_t t = 0; t < m_gone.size(); ++t) {
            if (m_gone[t]) continue;
            m_surface.triangles[kept] = m_surface.triangles[t];
            m_surface.corners[kept] = m_surface.corners[t];
            m_surface.materials[kept++] = m_surface.materials[t];
        }
        m_surface.triangles.resize(kept);
        m_surface.corners.resize(kept);
        m_surface.materials.resize(kept);
        if (kept < m_gone.size()) Renumber(m_surface);
    }

    Surface& m_surface;
    HalfEdges& m_mesh;
    std::vector<char> m_gone;
};

// All but one of each edge.
int SplitDoublesOnce(Surface& surface, HalfEdges& mesh) {
    const std::vector<int> byEdge =
        SortedByEdge(surface.triangles, static_cast<int>(surface.positions.size()));
    std::vector<char> doubles(mesh.Count(), 0);
    int count = 0;
    for (std::size_t i = 0, end = 0; i < byEdge.size(); i = end) {
        end = EndOfEdge(surface.triangles, byEdge, i);
        const int kept = byEdge[i];
        for (std::size_t k = i + 1; k < end; ++k) {
            const int h = byEdge[k];
            if (h == mesh.Opposite(kept) || mesh.Opposite(h) > h) continue;
            doubles[h] = 1;
            ++count;
        }
    }
    if (count > 0) SplitMarked(std::move(doubles), surface, mesh);
    return count;
}

}  // namespace

bool IsSliver(const Eigen::Vector3d& a, const Eigen::Vector3d& b, const Eigen::Vector3d& c) {
    const Eigen::Vector3d one = b - a, other = c - a;
    const double longest2 =
        std::max({one.squaredNorm(), other.squaredNorm(), (c - b).squaredNorm()});
    return one.cross(other).norm() <= kSliverShare * longest2;
}

void SplitMarked(std::vector<char> marked, Surface& surface, HalfEdges& mesh) {
    const auto move = [&](int from, int to) {
        marked[to] = marked[from];
        marked[from] = 0;
    };
    for (int h = 0; h < mesh.Count(); ++h) {
        if (!marked[h]) continue;
        marked[h] = 0;
        const int added = mesh.Count(), g = mesh.Opposite(h);
        SplitInMiddle(h, surface, mesh);
        marked.resize(mesh.Count(), 0);
        // The edges after the split ones lie in the new triangles now.
        move(Next(h), added + 1);
        if (g >= 0) move(Next(g), added + 4);
    }
}

int SplitDoubleEdges(Surface& surface, HalfEdges& mesh) {
    // Where two triangles have all three vertices in common, the new vertex is joined to the third
    // one twice.
    int count = 0;
    for (int more = 1; more > 0; count += more)
        more = SplitDoublesOnce(surface, mesh);
    return count;
}

int TurnSlivers(Surface& surface, HalfEdges& mesh) {
    return SliverTurner(surface, mesh).Run();
}
