// Equal positions come together in a sort; near ones through grids of small cells: two positions
// in one cell are one. A pair near a wall lies in one cell of a grid that is shifted by half a
// cell, so all eight grids with and without shift along each axis are asked.
#include "import/repair/Weld.h"

#include "import/repair/UnionFind.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <tuple>
#include <utility>

namespace {

std::vector<int> UsedPositions(const Surface& soup) {
    std::vector<char> used(soup.positions.size(), 0);
    for (const Triangle& triangle : soup.triangles)
        for (const int v : triangle)
            used[v] = 1;
    std::vector<int> order;
    for (std::size_t i = 0; i < used.size(); ++i)
        if (used[i]) order.push_back(static_cast<int>(i));
    return order;
}

class CellGrids {
public:
    CellGrids(const Surface& soup, const std::vector<int>& distinct)
        : m_positions(soup.positions), m_distinct(distinct), m_low(soup.positions[distinct[0]]) {
        Eigen::Vector3d high = m_low;
        for (const int i : distinct) {
            m_low = m_low.cwiseMin(m_positions[i]);
            high = high.cwiseMax(m_positions[i]);
        }
        m_cell = kWeldShare * (high - m_low).norm();
    }
    bool HasExtent() const { return m_cell > 0 && std::isfinite(m_cell); }

    // Joins the indices into `distinct` of the positions of each cell.
    void Join(int shifts, UnionFind& sets) {
        m_keys.clear();
        for (std::size_t i = 0; i < m_distinct.size(); ++i)
            m_keys.emplace_back(Key(m_positions[m_distinct[i]], shifts), static_cast<int>(i));
        std::sort(m_keys.begin(), m_keys.end());
        for (std::size_t i = 1; i < m_keys.size(); ++i)
            if (m_keys[i].first == m_keys[i - 1].first)
                sets.Join(m_keys[i].second, m_keys[i - 1].second);
    }

private:
    using Cell = std::tuple<std::int32_t, std::int32_t, std::int32_t>;
    Cell Key(const Eigen::Vector3d& p, int shifts) const {
        const Eigen::Vector3d at = (p - m_low) / m_cell;
        const auto along = [&](int axis) {
            return static_cast<std::int32_t>(at[axis] + 0.5 * (shifts >> axis & 1));
        };
        return {along(0), along(1), along(2)};
    }

    const std::vector<Eigen::Vector3d>& m_positions;
    const std::vector<int>& m_distinct;
    Eigen::Vector3d m_low;
    double m_cell = 0;
    std::vector<std::pair<Cell, int>> m_keys;
};

}  // namespace

std::vector<int> Weld(const Surface& soup) {
    const auto& positions = soup.positions;
    std::vector<int> weld(positions.size());
    for (std::size_t i = 0; i < weld.size(); ++i)
        weld[i] = static_cast<int>(i);
    std::vector<int> order = UsedPositions(soup);
    if (order.empty()) return weld;
    const auto key = [&](int i) {
        const Eigen::Vector3d& p = positions[i];
        return std::tuple(p.x(), p.y(), p.z());
    };
    std::sort(order.begin(), order.end(),
              [&](int a, int b) { return std::pair(key(a), a) < std::pair(key(b), b); });
    std::vector<int> distinct;
    for (const int i : order) {
        if (distinct.empty() || key(distinct.back()) != key(i)) distinct.push_back(i);
        weld[i] = static_cast<int>(distinct.size()) - 1;
    }

    UnionFind sets(static_cast<int>(distinct.size()));
    CellGrids grids(soup, distinct);
    for (int shifts = 0; shifts < 8 && grids.HasExtent(); ++shifts)
        grids.Join(shifts, sets);
    for (const int i : order)
        weld[i] = distinct[sets.Find(weld[i])];
    return weld;
}
