#include "import/repair/Duplicates.h"

#include "import/repair/HalfEdges.h"
#include "import/repair/UnionFind.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

// The lowest vertex first, then the others in ascending order; whether that turned the triangle.
std::pair<Triangle, bool> Canonical(Triangle triangle) {
    std::rotate(triangle.begin(), std::min_element(triangle.begin(), triangle.end()),
                triangle.end());
    const bool turned = triangle[1] > triangle[2];
    if (turned) std::swap(triangle[1], triangle[2]);
    return {triangle, turned};
}

class Duplicates {
public:
    Duplicates(const std::vector<Triangle>& triangles, int vertexCount)
        : m_triangles(triangles),
          m_byEdge(SortedByEdge(triangles, vertexCount)),
          m_gone(triangles.size(), 0) {}

    // Marks what is to be left out.
    std::vector<char> Find() {
        std::vector<std::pair<Triangle, int>> suspects = Suspects();
        if (suspects.empty()) return m_gone;
        m_partner.assign(m_triangles.size(), -1);
        std::sort(suspects.begin(), suspects.end());
        for (std::size_t i = 0, end = 0; i < suspects.size(); i = end) {
            end = i;
            while (end < suspects.size() && suspects[end].first == suspects[i].first)
                ++end;
            Match(suspects.data() + i, suspects.data() + end);
        }
        LeaveOutBacks();
        return m_gone;
    }

private:
    // Two triangles over the same vertices meet in an edge and have the same third vertex.
    std::vector<std::pair<Triangle, int>> Suspects() const {
        std::vector<std::pair<Triangle, int>> suspects;
        std::vector<int> apexes;
        for (std::size_t i = 0, end = 0; i < m_byEdge.size(); i = end) {
            end = EndOfEdge(m_triangles, m_byEdge, i);
            apexes.clear();
            for (std::size_t k = i; k < end; ++k)
                apexes.push_back(m_triangles[m_byEdge[k] / 3][Previous(m_byEdge[k]) % 3]);
            std::sort(apexes.begin(), apexes.end());
            if (std::adjacent_find(apexes.begin(), apexes.end()) == apexes.end()) continue;
            for (std::size_t k = i; k < end; ++k) {
                const int t = m_byEdge[k] / 3;
                // Once a triangle: from its edge with the lowest vertices, which all have alike.
                const auto [low, turned] = Canonical(m_triangles[t]);
                const int h = m_byEdge[k];
                const auto [from, to] =
                    std::minmax(m_triangles[t][h % 3], m_triangles[t][Next(h) % 3]);
                if (from == low[0] && to == low[1]) suspects.emplace_back(low, t);
            }
        }
        return suspects;
    }

    void Match(const std::pair<Triangle, int>* begin, const std::pair<Triangle, int>* end) {
        std::array<int, 2> first = {-1, -1};
        for (const auto* suspect = begin; suspect != end; ++suspect) {
            const int t = suspect->second;
            int& kept = first[Canonical(m_triangles[t]).second];
            if (kept < 0)
                kept = t;
            else
                m_gone[t] = 1;
        }
        if (first[0] < 0 || first[1] < 0) return;
        m_partner[first[0]] = first[1];
        m_partner[first[1]] = first[0];
    }

    void LeaveOutBacks() {
        UnionFind regions(static_cast<int>(m_triangles.size()));
        std::vector<char> free(m_triangles.size(), 0), touches(m_triangles.size(), 0);
        std::vector<int> pairs;
        for (const bool joining : {true, false})
            for (std::size_t i = 0, end = 0; i < m_byEdge.size(); i = end) {
                end = EndOfEdge(m_triangles, m_byEdge, i);
                pairs.clear();
                int others = 0;
                for (std::size_t k = i; k < end; ++k) {
                    const int t = m_byEdge[k] / 3;
                    if (m_gone[t]) continue;
                    if (m_partner[t] >= 0)
                        pairs.push_back(t);
                    else
                        ++others;
                }
                if (pairs.empty()) continue;
                for (const int t : pairs)
                    if (joining) regions.Join(t, pairs[0]);
                if (joining) continue;
                if (others > 0) touches[regions.Find(pairs[0])] = 1;
                if (others == 0 && pairs.size() == 2) free[regions.Find(pairs[0])] = 1;
            }
        for (std::size_t t = 0; t < m_triangles.size(); ++t) {
            const int region = regions.Find(static_cast<int>(t));
            const bool back = m_partner[t] >= 0 && m_partner[t] < static_cast<int>(t);
            if (back && (free[region] || !touches[region])) m_gone[t] = 1;
        }
    }

    const std::vector<Triangle>& m_triangles;
    std::vector<int> m_byEdge;
    std::vector<int> m_partner;  // over the same vertices, facing the other way
    std::vector<char> m_gone;
};

}  // namespace

std::vector<char> FindDuplicates(const std::vector<Triangle>& triangles, int vertexCount) {
    return Duplicates(triangles, vertexCount).Find();
}
