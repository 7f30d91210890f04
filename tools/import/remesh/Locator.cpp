#include "import/remesh/Locator.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

namespace {

using Eigen::Vector2d;

double CrossOf(const Vector2d& a, const Vector2d& b) {
    return a[0] * b[1] - a[1] * b[0];
}

std::array<double, 3> WeightsOf(const std::array<Vector2d, 3>& corners, const Vector2d& at) {
    const Vector2d a = corners[1] - corners[0], b = corners[2] - corners[0], p = at - corners[0];
    const double whole = CrossOf(a, b);
    const double second = CrossOf(p, b) / whole, third = CrossOf(a, p) / whole;
    return {1 - second - third, second, third};
}

void Clamp(std::array<double, 3>& weights) {
    double sum = 0;
    for (double& weight : weights)
        sum += weight = std::max(weight, 0.);
    for (double& weight : weights)
        weight /= sum;
}

}  // namespace

Locator::Locator(const SurfaceMap& map)
    : m_map(map),
      m_bins(
          std::clamp(static_cast<int>(std::sqrt(static_cast<double>(map.State().triangles.size()))),
                     4, 1024)) {
    for (std::size_t i = 0; i < map.State().triangles.size(); ++i) {
        const int triangle = static_cast<int>(i);
        if (map.PoleCorner(triangle) >= 0) {
            m_polar.push_back(triangle);
            continue;
        }
        Flat flat{triangle, {}, Vector2d::Constant(1e9), Vector2d::Constant(-1e9)};
        for (int k = 0; k < 3; ++k) {
            const GridShare share = map.Plane().ShareOf(map.CornerPlace(triangle, k));
            flat.corners[k] = {share.across, share.down};
            flat.low = flat.low.cwiseMin(flat.corners[k]);
            flat.high = flat.high.cwiseMax(flat.corners[k]);
        }
        m_flat.push_back(flat);
    }
    m_binStart.assign(static_cast<std::size_t>(m_bins) * m_bins + 1, 0);
    for (const Flat& flat : m_flat)
        ForBins(flat, [&](int bin) { ++m_binStart[bin + 1]; });
    for (std::size_t i = 1; i < m_binStart.size(); ++i)
        m_binStart[i] += m_binStart[i - 1];
    m_binned.resize(m_binStart.back());
    std::vector<int> next(m_binStart.begin(), m_binStart.end() - 1);
    for (std::size_t i = 0; i < m_flat.size(); ++i)
        ForBins(m_flat[i], [&](int bin) { m_binned[next[bin]++] = static_cast<int>(i); });
}

template <class Visit>
void Locator::ForBins(const Flat& flat, const Visit& visit) const {
    const auto range = [&](int axis, bool wraps) {
        int first = static_cast<int>(std::floor(flat.low[axis] * m_bins - 1e-6));
        int last = static_cast<int>(std::floor(flat.high[axis] * m_bins + 1e-6));
        if (!wraps) {
            first = std::clamp(first, 0, m_bins - 1);
            last = std::clamp(last, 0, m_bins - 1);
        }
        return std::array<int, 2>{first, std::min(last, first + m_bins - 1)};
    };
    const auto across = range(0, m_map.Plane().WrapsColumns());
    const auto down = range(1, m_map.Plane().WrapsRows());
    const auto wrapped = [&](int i) { return ((i % m_bins) + m_bins) % m_bins; };
    for (int row = down[0]; row <= down[1]; ++row) {
        for (int column = across[0]; column <= across[1]; ++column)
            visit(wrapped(row) * m_bins + wrapped(column));
    }
}

// Along a line of constant u the surface point moves straight from the pole to the far edge.
bool Locator::PlaceAtPole(const GridShare& at, Place& place) const {
    const Vector2d plane = m_map.Plane().PlaneOf(at);
    const double top = m_map.Plane().Rise();
    for (const int triangle : m_polar) {
        const int pole = m_map.PoleCorner(triangle);
        const bool bottom = m_map.State().triangles[triangle][pole] == m_map.BottomPole();
        const Vector2d a = m_map.CornerPlace(triangle, (pole + 1) % 3);
        const Vector2d b = m_map.CornerPlace(triangle, (pole + 2) % 3);
        const double height = bottom ? plane[1] : top - plane[1];
        const double u = plane[0] + std::ceil(std::min(a[0], b[0]) - plane[0] - 1e-9);
        const double t = (u - a[0]) / (b[0] - a[0]);
        if (t < -1e-9 || t > 1 + 1e-9) continue;
        const double edge = a[1] + t * (b[1] - a[1]), far = bottom ? edge : top - edge;
        if (height > far) continue;
        const double share = height / far;
        place.triangle = triangle;
        place.weights[pole] = 1 - share;
        place.weights[(pole + 1) % 3] = share * (1 - t);
        place.weights[(pole + 2) % 3] = share * t;
        Clamp(place.weights);
        return true;
    }
    return false;
}

Place Locator::PlaceOf(const GridShare& at) const {
    Place place;
    if (!m_polar.empty() && PlaceAtPole(at, place)) return place;
    double across = at.across, down = at.down;
    if (m_map.Plane().WrapsColumns()) across -= std::floor(across);
    if (m_map.Plane().WrapsRows()) down -= std::floor(down);
    const auto binOf = [&](double share) {
        return std::clamp(static_cast<int>(share * m_bins), 0, m_bins - 1);
    };
    const int bin = binOf(down) * m_bins + binOf(across);
    double best = -1e300;
    const auto periods = [](bool wraps, double share, double low, double high) {
        if (!wraps) return std::array<int, 2>{0, 0};
        return std::array<int, 2>{static_cast<int>(std::ceil(low - share - 1e-6)),
                                  static_cast<int>(std::floor(high - share + 1e-6))};
    };
    for (int i = m_binStart[bin]; i < m_binStart[bin + 1]; ++i) {
        const Flat& flat = m_flat[m_binned[i]];
        const auto turns = periods(m_map.Plane().WrapsColumns(), across, flat.low[0], flat.high[0]);
        const auto rounds = periods(m_map.Plane().WrapsRows(), down, flat.low[1], flat.high[1]);
        for (int round = rounds[0]; round <= rounds[1]; ++round) {
            for (int turn = turns[0]; turn <= turns[1]; ++turn) {
                const auto weights = WeightsOf(flat.corners, {across + turn, down + round});
                const double inside = std::min({weights[0], weights[1], weights[2]});
                if (!(inside > best)) continue;
                best = inside;
                place = {flat.triangle, weights};
            }
        }
    }
    Clamp(place.weights);
    return place;
}

GridShare Locator::ShareOf(const Place& place) const {
    const int pole = m_map.PoleCorner(place.triangle);
    const auto corner = [&](int k) { return m_map.CornerPlace(place.triangle, k); };
    if (pole < 0) {
        return m_map.Plane().ShareOf(corner(0) * place.weights[0] + corner(1) * place.weights[1] +
                                     corner(2) * place.weights[2]);
    }
    const int a = (pole + 1) % 3, b = (pole + 2) % 3;
    const double share = place.weights[a] + place.weights[b];
    const double t = share > 0 ? place.weights[b] / share : 0.5;
    const Vector2d edge = corner(a) + t * (corner(b) - corner(a));
    const bool bottom = m_map.State().triangles[place.triangle][pole] == m_map.BottomPole();
    const double start = bottom ? 0 : m_map.Plane().Rise();
    return m_map.Plane().ShareOf({edge[0], start + share * (edge[1] - start)});
}
