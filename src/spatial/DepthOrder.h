// Orders (model-view matrix, object) entries farthest first, for deferred drawing.
#pragma once

#include <set>

#include "spatial/Matrix.h"

class Object;

// An entry of a depth-ordered list. The far side is taken at construction, so that ordering never
// touches an object that has since been deleted.
struct DepthKey {
    Matrix matrix;
    Object* object = nullptr;
    double farSide = 0;  // camera z of the origin less the mesh radius: most negative is farthest

    DepthKey(const Matrix& m, Object* o);
};

struct DepthOrder {
    bool operator()(const DepthKey& a, const DepthKey& b) const { return a.farSide < b.farSide; }
};

// Entries with equal keys keep their insertion order.
using DepthList = std::multiset<DepthKey, DepthOrder>;
