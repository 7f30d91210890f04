// The sort key of deferred drawing. Looks at an object once, at construction.
#include "spatial/DepthOrder.h"

#include <cmath>
#include <limits>

#include "geometry/GeoImage.h"
#include "scene/Object.h"

DepthKey::DepthKey(const Matrix& m, Object* o) : matrix(m), object(o) {
    const double depth = m[14];
    farSide = depth - (o != nullptr ? o->Radius(false) : 0);
    // A NaN among the keys would leave the whole list without an order.
    if (std::isnan(farSide)) farSide = -std::numeric_limits<double>::infinity();
}
