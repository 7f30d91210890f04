// Sets that grow together.
#pragma once

#include <numeric>
#include <utility>
#include <vector>

class UnionFind {
public:
    explicit UnionFind(int count) : m_parents(count) {
        std::iota(m_parents.begin(), m_parents.end(), 0);
    }
    // The lowest member stands for its set.
    int Find(int member) {
        while (m_parents[member] != member) {
            m_parents[member] = m_parents[m_parents[member]];
            member = m_parents[member];
        }
        return member;
    }
    // False where both are in one set already.
    bool Join(int a, int b) {
        a = Find(a);
        b = Find(b);
        if (a == b) return false;
        if (a > b) std::swap(a, b);
        m_parents[b] = a;
        return true;
    }

private:
    std::vector<int> m_parents;
};
