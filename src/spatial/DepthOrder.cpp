// The sort key of deferred drawing. Looks at an object once, at construction.
#include "spatial/DepthOrder.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "geometry/GeoImage.h"
#include "scene/Object.h"

DepthKey::DepthKey(const Matrix& m, Object* o) : matrix(m), object(o) {
    const double depth = m[14];
    farSide = depth - (o != nullptr ? o->Radius(false) : 0);
    // A NaN among the keys would leave the whole list without an order.
    if (std::isnan(farSide)) farSide = -std::numeric_limits<double>::infinity();
}

void DepthList::Remove(const Object* object) {
    std::erase_if(m_entries, [object](const DepthKey& entry) { return entry.object == object; });
    m_order.clear();
}

void DepthList::Sort() {
    if (m_order.size() == m_entries.size()) return;
    m_order.resize(m_entries.size());
    std::iota(m_order.begin(), m_order.end(), std::size_t{0});
    std::sort(m_order.begin(), m_order.end(), [this](std::size_t a, std::size_t b) {
        const DepthOrder before;
        if (before(m_entries[a], m_entries[b])) return true;
        return !before(m_entries[b], m_entries[a]) && a < b;
    });
}
