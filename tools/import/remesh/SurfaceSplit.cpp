// Bringing collapsed vertices back into a map without folding it.
#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "import/remesh/SurfaceMap.h"

using Eigen::Vector2d;

// From a vertex to another, which may be a pole: straight up or down then.
Vector2d SurfaceMap::DirectionTo(int from, int to, int triangle) const {
    if (to == m_bottom) return {0, -1};
    if (to == m_top) return {0, 1};
    return (CornerPlace(triangle, m_state.CornerOf(triangle, to)) -
            CornerPlace(triangle, m_state.CornerOf(triangle, from)))
        .normalized();
}

void SurfaceMap::Split(const Collapse& collapse) {
    UndoOnly(collapse);
    const int back = collapse.gone;
    places[back] = places[collapse.kept];
    for (const int triangle : collapse.lost) {
        if (triangle < 0) continue;
        const int third = m_state.ThirdOf(triangle, back, collapse.kept);
        Windings& own = windings[triangle];
        own = {};
        for (const int neighbour : collapse.moved) {
            const Triangle& t = m_state.triangles[neighbour];
            if (std::find(t.begin(), t.end(), third) == t.end()) continue;
            const Winding there = windings[neighbour][m_state.CornerOf(neighbour, third)];
            const Winding here = windings[neighbour][m_state.CornerOf(neighbour, back)];
            own[m_state.CornerOf(triangle, third)] = {
                static_cast<signed char>(there.turns - here.turns),
                static_cast<signed char>(there.rounds - here.rounds)};
            break;
        }
    }
    if (collapse.lost[1] < 0) {
        PlaceOnBorder(collapse);
    } else {
        PlaceInWedge(collapse);
    }
    StepAlone(back);
    StepAlone(back);
    std::vector<int> ring;
    for (const int triangle : m_state.around[back])
        ring.push_back(m_state.triangles[triangle][(m_state.CornerOf(triangle, back) + 1) % 3]);
    for (const int vertex : ring) {
        if (!IsPole(vertex)) StepAlone(vertex);
    }
    StepAlone(back);
}

// The two new triangles are thin at first: the vertex may lie where it sees both their third
// corners on the proper side and keeps the moved triangles unfolded. Rays from the old place into
// that wedge always reach such a place.
void SurfaceMap::PlaceInWedge(const Collapse& collapse) {
    const int back = collapse.gone;
    Vector2d left(-1, 0), right(1, 0);
    for (const int triangle : collapse.lost) {
        const int k = m_state.CornerOf(triangle, collapse.kept);
        const Triangle& t = m_state.triangles[triangle];
        const bool isLeft = t[(k + 1) % 3] == back;
        const int third = t[isLeft ? (k + 2) % 3 : (k + 1) % 3];
        (isLeft ? left : right) = DirectionTo(back, third, triangle);
    }
    constexpr double pi = std::numbers::pi;
    const double from = std::atan2(right[1], right[0]);
    double angle = std::atan2(left[1], left[0]) - from;
    while (angle <= 0)
        angle += 2 * pi;
    while (angle > 2 * pi)
        angle -= 2 * pi;
    const double low = std::max(0., angle - pi), high = std::min(angle, pi);
    ResolveAlone(back);
    const Vector2d start = places[back];
    double reach = 0;
    for (const StretchTriangle& triangle : m_view.triangles)
        reach = std::max(reach, (triangle.next - start).norm());
    for (const RingPole& pole : m_view.poles) {
        const PoleTriangle t = PoleAt(pole, back, start);
        reach = std::max({reach, std::fabs(t.width), t.heightA});
    }
    double best = kNoMap;
    Vector2d place = start;
    constexpr int rays = 8, steps = 30;
    for (int ray = 1; ray < rays; ++ray) {
        const double at = from + low + (high - low) * ray / rays;
        double length = reach;
        for (int i = 0; i < steps; ++i, length *= 0.6) {
            const Vector2d tried = start + length * Vector2d(std::cos(at), std::sin(at));
            const double energy = EnergyAt(m_view, tried[0], tried[1]);
            if (energy < best) {
                best = energy;
                place = tried;
            } else if (best < kNoMap && energy < kNoMap && energy > 4 * best) {
                break;
            }
        }
    }
    if (best >= kNoMap) {
        const double middle = from + (low + high) / 2;
        place = start + 1e-9 * Vector2d(std::cos(middle), std::sin(middle));
    }
    places[back] = place;
}

// Between the old place and the next border vertex on its side.
void SurfaceMap::PlaceOnBorder(const Collapse& collapse) {
    const int back = collapse.gone;
    const Vector2d start = places[back];
    // The vertex's other neighbour along the border is in only one of its triangles.
    Vector2d way = Vector2d::Zero();
    for (const int triangle : collapse.moved) {
        const Triangle& t = m_state.triangles[triangle];
        for (int k = 0; k < 3; ++k) {
            if (t[k] == back) continue;
            int shared = 0;
            for (const int other : m_state.around[back]) {
                const Triangle& o = m_state.triangles[other];
                shared += std::find(o.begin(), o.end(), t[k]) != o.end() ? 1 : 0;
            }
            if (shared == 1 && t[k] != collapse.kept) {
                way = CornerPlace(triangle, k) -
                      CornerPlace(triangle, m_state.CornerOf(triangle, back));
            }
        }
    }
    ResolveAlone(back);
    double best = kNoMap;
    for (double share = 0.5; share > 1e-6; share *= 0.75) {
        for (const double t : {share, 1 - share}) {
            const Vector2d tried = start + t * way;
            const double energy = EnergyAt(m_view, tried[0], tried[1]);
            if (energy >= best) continue;
            best = energy;
            places[back] = tried;
        }
    }
}
