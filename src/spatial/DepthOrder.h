// Orders (model-view matrix, object) entries farthest first, for deferred drawing.
#pragma once

#include <cstddef>
#include <vector>

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

// Filled during a walk, then visited in DepthOrder; equal entries keep their insertion order.
// Emptying keeps the memory for the next frame.
class DepthList {
public:
    void Add(const Matrix& matrix, Object* object) { m_entries.emplace_back(matrix, object); }
    bool IsEmpty() const { return m_entries.empty(); }
    void Clear() {
        m_entries.clear();
        m_order.clear();
    }
    // Takes out all entries of an object.
    void Remove(const Object* object);
    // visit(entry) for all; visits must leave the list as it is.
    template <class Visit>
    void ForEach(Visit visit) {
        Sort();
        for (const std::size_t place : m_order)
            visit(m_entries[place]);
    }

private:
    std::vector<DepthKey> m_entries;   // in order of insertion: they are too big to be moved about
    std::vector<std::size_t> m_order;  // places in m_entries; of another length when out of date

    void Sort();
};
