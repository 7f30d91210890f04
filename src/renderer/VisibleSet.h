// Objects seen in a frame with the matrices they were seen under. Keeps its memory from frame to
// frame; never dereferences an object.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "spatial/Matrix.h"

class Object;

class VisibleSet {
public:
    // An object that is not in the set yet: a walk meets each but once.
    void Add(Object* object, const Matrix& modelView) {
        m_sorted = false;
        m_entries.push_back({object, m_matrices.size()});
        m_matrices.push_back(modelView);
    }
    void Remove(Object* object) {
        Sort();
        const auto entry = std::lower_bound(m_entries.begin(), m_entries.end(), object, Before);
        if (entry != m_entries.end() && entry->object == object) m_entries.erase(entry);
    }
    void Clear() {
        m_entries.clear();
        m_matrices.clear();
    }
    void Swap(VisibleSet& other) { std::swap(*this, other); }
    // visit(object, matrix) for all in order of their addresses.
    template <class Visit>
    void ForEach(Visit visit) {
        Sort();
        for (const Entry& entry : m_entries)
            visit(entry.object, m_matrices[entry.matrix]);
    }

private:
    struct Entry {
        Object* object;
        std::size_t matrix;  // its place in m_matrices
    };

    // Sorted only when asked for: matrices stay where they are.
    std::vector<Entry> m_entries;
    std::vector<Matrix> m_matrices;
    bool m_sorted = true;

    static bool Before(const Entry& entry, const Object* object) {
        return std::less<const Object*>()(entry.object, object);
    }
    void Sort() {
        if (m_sorted) return;
        std::sort(m_entries.begin(), m_entries.end(),
                  [](const Entry& a, const Entry& b) { return Before(a, b.object); });
        m_sorted = true;
    }
};
