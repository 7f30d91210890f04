#include "import/remesh/SurfaceMap.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

namespace {

using Eigen::Vector2d;
using Eigen::Vector3d;

// The metric is kEvenness I + |curvature|, on a surface of area 1, as one number scaled away: 1
// where nothing bends. Curvature is capped, for a crease has no end of it.

constexpr double kEvenness = 1;
constexpr double kMostCurvature = 100;
constexpr double kBarrier = 1e-4;  // share of the mean energy
// Weight of a triangle's shape, against the energy of an even map. Long thin cells fold over where
// the surface bends between their corners; with less weight the grid folds more, with more it
// samples less evenly.
constexpr double kRoundness = 4;
constexpr double kLeastCurvature = 1e-3;  // of the energy's Hessian, as a share of the largest
constexpr int kHalvings = 14;
constexpr double kLeastSliver = 0.05;  // area of a triangle's shape against its longest square

}  // namespace

SurfaceMap::SurfaceMap(std::shared_ptr<const MapSurface> surface, MeshState state,
                       const Domain& domain, int shift)
    : places(surface->positions.size(), Vector2d::Zero()),
      windings(surface->triangles.size()),
      slides(surface->positions.size(), Slide::Free),
      m_surface(std::move(surface)),
      m_state(std::move(state)),
      m_domain(domain),
      m_twist(shift - domain.Slant()),
      m_metrics(m_state.triangles.size()) {
    for (std::size_t i = 0; i < m_metrics.size(); ++i) {
        if (m_state.there[i] != 0) m_metrics[i] = MetricOf(m_state.triangles[i]);
    }
}

void SurfaceMap::SetPoles(int top, int bottom) {
    m_top = top;
    m_bottom = bottom;
}

int SurfaceMap::PoleCorner(int triangle) const {
    const Triangle& t = m_state.triangles[triangle];
    for (int k = 0; k < 3; ++k) {
        if (IsPole(t[k])) return k;
    }
    return -1;
}

Vector2d SurfaceMap::CornerPlace(int triangle, int corner) const {
    return places[m_state.triangles[triangle][corner]] + OffsetOf(windings[triangle][corner]);
}

namespace {

// A sliver of the surface may be one in the plane, too.
TriangleMetric WithLeastArea(TriangleMetric metric) {
    const double longest = std::max({metric.squares[0], metric.squares[1], metric.squares[2]});
    metric.doubled = std::max({metric.doubled, kLeastSliver * longest, 1e-300});
    return metric;
}

}  // namespace

TriangleMetric SurfaceMap::MetricOf(const Triangle& t) const {
    const std::vector<Vector3d>& p = m_surface->positions;
    const std::vector<Vector3d>& n = m_surface->normals;
    const Vector3d a = p[t[1]] - p[t[0]], b = p[t[2]] - p[t[0]], normal = a.cross(b);
    TriangleMetric metric;
    metric.area = normal.norm() / 2;
    if (normal.norm() <= 1e-14) {
        const double most = kEvenness + kMostCurvature;
        metric.squares = {(b - a).squaredNorm() * most, b.squaredNorm() * most,
                          a.squaredNorm() * most};
        return WithLeastArea(metric);
    }
    // Edges and the change of the normal along them in the triangle's own axes.
    const Vector3d x = a.normalized(), y = normal.cross(a).normalized();
    Eigen::Matrix2d edges;
    edges << a.dot(x), b.dot(x), a.dot(y), b.dot(y);
    Eigen::Matrix<double, 3, 2> turn;
    turn << n[t[1]] - n[t[0]], n[t[2]] - n[t[0]];
    const Eigen::Matrix<double, 3, 2> slope = turn * edges.inverse();
    const Eigen::Matrix2d g = slope.transpose() * slope;
    // The square root of a 2 x 2 matrix in closed form.
    const double root = std::sqrt(std::max(0., g.determinant()));
    const double trace = std::sqrt(std::max(1e-30, g.trace() + 2 * root));
    Eigen::Matrix2d m = (g + root * Eigen::Matrix2d::Identity()) / trace;
    const double curvature = std::sqrt(std::max(g.trace(), 1e-30));
    if (curvature > kMostCurvature) m *= kMostCurvature / curvature;
    m += kEvenness * Eigen::Matrix2d::Identity();
    const Vector2d ea = edges.col(0), eb = edges.col(1), ec = eb - ea;
    metric.squares = {ec.dot(m * ec), eb.dot(m * eb), ea.dot(m * ea)};
    metric.doubled = std::sqrt(m.determinant()) * std::fabs(edges.determinant());
    return WithLeastArea(metric);
}

void SurfaceMap::AppendRing(int vertex, Rings& rings) const {
    for (const int triangle : m_state.around[vertex]) {
        const int k = m_state.CornerOf(triangle, vertex), k1 = (k + 1) % 3, k2 = (k + 2) % 3;
        const Triangle& t = m_state.triangles[triangle];
        if (IsPole(t[k1]) || IsPole(t[k2])) {
            rings.poles.push_back({triangle, IsPole(t[k1])});
            continue;
        }
        const Windings& w = windings[triangle];
        const auto against = [&](int corner) {
            return Winding{static_cast<signed char>(w[corner].turns - w[k].turns),
                           static_cast<signed char>(w[corner].rounds - w[k].rounds)};
        };
        const TriangleMetric& m = m_metrics[triangle];
        rings.triangles.push_back(
            {t[k1], t[k2], against(k1), against(k2), m.squares[k2], m.squares[k1],
             (m.squares[k2] + m.squares[k1] - m.squares[k]) / 2, m.area, ShapeOf(m)});
    }
    rings.vertices.push_back(vertex);
    rings.ends.push_back(
        {static_cast<int>(rings.triangles.size()), static_cast<int>(rings.poles.size())});
}

void SurfaceMap::Resolve(const Rings& rings, std::size_t index, View& view) const {
    const std::array<int, 2> first = index == 0 ? std::array<int, 2>{0, 0} : rings.ends[index - 1];
    const std::array<int, 2> last = rings.ends[index];
    view.vertex = rings.vertices[index];
    view.triangles.resize(last[0] - first[0]);
    for (int i = first[0]; i < last[0]; ++i) {
        const RingTriangle& r = rings.triangles[i];
        view.triangles[i - first[0]] = {places[r.next] + OffsetOf(r.nextWinding),
                                        places[r.last] + OffsetOf(r.lastWinding),
                                        r.nextSquare,
                                        r.lastSquare,
                                        r.product,
                                        r.area,
                                        r.shape};
    }
    view.poles.assign(rings.poles.begin() + first[1], rings.poles.begin() + last[1]);
}

// a and b: places of the corners behind the pole, on the triangle's sheet.
PoleTriangle SurfaceMap::PoleOf(int triangle, int corner, const Vector2d& a,
                                const Vector2d& b) const {
    const bool bottom = m_state.triangles[triangle][corner] == m_bottom;
    const TriangleMetric& m = m_metrics[triangle];
    const double top = m_domain.Rise();
    return {bottom ? a[0] - b[0] : b[0] - a[0],
            bottom ? a[1] : top - a[1],
            bottom ? b[1] : top - b[1],
            m.squares[(corner + 2) % 3],
            m.squares[(corner + 1) % 3],
            m.squares[corner],
            m.area};
}

PoleTriangle SurfaceMap::PoleAt(const RingPole& pole, int vertex, const Vector2d& at) const {
    const int k = m_state.CornerOf(pole.triangle, vertex);
    const Vector2d own = at + OffsetOf(windings[pole.triangle][k]);
    if (pole.isNext) {
        return PoleOf(pole.triangle, (k + 1) % 3, CornerPlace(pole.triangle, (k + 2) % 3), own);
    }
    return PoleOf(pole.triangle, (k + 2) % 3, own, CornerPlace(pole.triangle, (k + 1) % 3));
}

double SurfaceMap::EnergyAt(const View& view, double x, double y) const {
    if (m_top >= 0 && (y <= 0 || y >= m_domain.Rise())) return kNoMap;
    double sum = 0;
    for (const StretchTriangle& triangle : view.triangles) {
        sum += StretchAt(triangle, x, y, m_barrier);
        if (sum >= kNoMap) return kNoMap;
    }
    for (const RingPole& pole : view.poles) {
        sum += PoleStretch(PoleAt(pole, view.vertex, {x, y}), m_barrier);
        if (sum >= kNoMap) return kNoMap;
    }
    return sum;
}

Quadratic SurfaceMap::DerivativesAt(const View& view) const {
    const Vector2d at = places[view.vertex];
    Quadratic sum;
    for (const StretchTriangle& triangle : view.triangles)
        AddStretch(triangle, at[0], at[1], m_barrier, sum);
    if (view.poles.empty()) return sum;
    // Differences for the few triangles at a pole.
    double room = 1e9;
    for (const RingPole& pole : view.poles) {
        const PoleTriangle t = PoleAt(pole, view.vertex, at);
        room = std::min({room, t.width, pole.isNext ? t.heightB : t.heightA});
    }
    const double d = room * 1e-3;
    if (!(d > 0)) return {};
    for (const RingPole& pole : view.poles) {
        const auto value = [&](double x, double y) {
            const Vector2d moved = at + Vector2d(x * d, y * d);
            return PoleStretch(PoleAt(pole, view.vertex, moved), m_barrier);
        };
        const double e = value(0, 0), right = value(1, 0), left = value(-1, 0);
        const double up = value(0, 1), down = value(0, -1), corner = value(1, 1);
        sum.value += e;
        sum.gx += (right - left) / (2 * d);
        sum.gy += (up - down) / (2 * d);
        sum.hxx += (right + left - 2 * e) / (d * d);
        sum.hyy += (up + down - 2 * e) / (d * d);
        sum.hxy += (corner - right - up + e) / (d * d);
    }
    return sum;
}

namespace {

// Lifts the smaller eigenvalue so that the quadratic has a minimum; false when it is no bowl.
bool MakeConvex(Quadratic& q) {
    const double mean = (q.hxx + q.hyy) / 2, half = (q.hxx - q.hyy) / 2;
    const double radius = std::sqrt(half * half + q.hxy * q.hxy);
    const double large = mean + radius, small = mean - radius;
    if (!(large > 0)) return false;
    const double least = kLeastCurvature * large;
    if (small >= least) return true;
    const double lift = std::max(std::fabs(small), least) - small;
    double x = q.hxx < q.hyy ? 1 : 0, y = 1 - x;  // the smaller one's direction
    if (std::fabs(q.hxy) > 1e-300) {
        x = small - q.hyy;
        y = q.hxy;
    }
    const double square = x * x + y * y;
    q.hxx += lift * x * x / square;
    q.hxy += lift * x * y / square;
    q.hyy += lift * y * y / square;
    return true;
}

Vector2d NewtonStep(Quadratic q, Slide slide, const Vector2d& side) {
    if (slide != Slide::Free) {
        const Vector2d d = slide == Slide::AlongRow ? Vector2d(1, 0) : side;
        const double slope = q.gx * d[0] + q.gy * d[1];
        const double bend =
            std::fabs(q.hxx * d[0] * d[0] + 2 * q.hxy * d[0] * d[1] + q.hyy * d[1] * d[1]);
        return bend > 0 ? Vector2d(d * (-slope / bend)) : Vector2d::Zero();
    }
    if (!MakeConvex(q)) return Vector2d::Zero();
    const double det = q.hxx * q.hyy - q.hxy * q.hxy;
    return {-(q.hyy * q.gx - q.hxy * q.gy) / det, -(q.hxx * q.gy - q.hxy * q.gx) / det};
}

}  // namespace

// Gives the relative gain.
double SurfaceMap::Step(const View& view) {
    const Slide slide = slides[view.vertex];
    if (slide == Slide::Fixed) return 0;
    const Quadratic q = DerivativesAt(view);
    const Vector2d side = Vector2d(-m_domain.Slant(), m_domain.Rise()).normalized();
    const Vector2d step = NewtonStep(q, slide, side);
    const double expected = -(q.gx * step[0] + q.gy * step[1]);
    if (!(expected >= 1e-13 * q.value) || !(step.cwiseAbs().maxCoeff() < 1e9)) return 0;
    double share = 1;
    for (int i = 0; i < kHalvings; ++i, share /= 2) {
        const Vector2d moved = places[view.vertex] + share * step;
        const double energy = EnergyAt(view, moved[0], moved[1]);
        if (energy < q.value) {
            places[view.vertex] = moved;
            return (q.value - energy) / q.value;
        }
    }
    return 0;
}

void SurfaceMap::ResolveAlone(int vertex) {
    m_single.vertices.clear();
    m_single.triangles.clear();
    m_single.poles.clear();
    m_single.ends.clear();
    AppendRing(vertex, m_single);
    Resolve(m_single, 0, m_view);
}

void SurfaceMap::StepAlone(int vertex) {
    ResolveAlone(vertex);
    Step(m_view);
}

void SurfaceMap::Relax(int most, double tolerance) {
    Rings rings;
    for (std::size_t v = 0; v < places.size(); ++v) {
        const int vertex = static_cast<int>(v);
        if (m_state.Has(vertex) && !IsPole(vertex) && slides[v] != Slide::Fixed)
            AppendRing(vertex, rings);
    }
    const std::size_t count = rings.vertices.size();
    if (count == 0) return;
    for (int sweep = 0; sweep < most; ++sweep) {
        double gain = 0;
        for (std::size_t i = 0; i < count; ++i) {
            Resolve(rings, sweep % 2 == 0 ? i : count - 1 - i, m_view);
            gain += Step(m_view);
        }
        if (gain / static_cast<double>(count) < tolerance) return;
    }
}

double SurfaceMap::Energy(int* flips) const {
    double sum = 0;
    int flipped = 0;
    for (std::size_t i = 0; i < m_state.triangles.size(); ++i) {
        if (m_state.there[i] == 0) continue;
        const int triangle = static_cast<int>(i), pole = PoleCorner(triangle);
        double energy = 0;
        if (pole >= 0) {
            energy = PoleStretch(PoleOf(triangle, pole, CornerPlace(triangle, (pole + 1) % 3),
                                        CornerPlace(triangle, (pole + 2) % 3)),
                                 m_barrier);
        } else {
            const TriangleMetric& m = m_metrics[i];
            const Vector2d at = CornerPlace(triangle, 0);
            energy = StretchAt(
                {CornerPlace(triangle, 1), CornerPlace(triangle, 2), m.squares[2], m.squares[1],
                 (m.squares[2] + m.squares[1] - m.squares[0]) / 2, m.area, ShapeOf(m)},
                at[0], at[1], m_barrier);
        }
        if (energy >= kNoMap) {
            ++flipped;
        } else {
            sum += energy;
        }
    }
    if (flips != nullptr) *flips = flipped;
    return sum;
}

void SurfaceMap::ScaleBarrier() {
    double area = 0, doubled = 0;
    int count = 0;
    for (std::size_t i = 0; i < m_metrics.size(); ++i) {
        if (m_state.there[i] == 0) continue;
        area += m_metrics[i].area;
        doubled += m_metrics[i].doubled;
        ++count;
    }
    const double even = doubled / m_domain.Rise();  // T of a map that is the same everywhere
    m_shape = kRoundness * even * even;
    m_barrier = kBarrier * 64 * area / count * (2.0 / count);
}

void SurfaceMap::UndoOnly(const Collapse& collapse) {
    m_state.Undo(collapse);
    for (const int triangle : m_state.around[collapse.gone])
        m_metrics[triangle] = MetricOf(m_state.triangles[triangle]);
}
