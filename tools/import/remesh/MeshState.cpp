#include "import/remesh/MeshState.h"

#include <algorithm>

MeshState::MeshState(const MapSurface& surface)
    : triangles(surface.triangles),
      around(surface.positions.size()),
      there(surface.triangles.size(), 1),
      vertices(static_cast<int>(surface.positions.size())) {
    for (std::size_t i = 0; i < triangles.size(); ++i) {
        for (const int vertex : triangles[i])
            around[vertex].push_back(static_cast<int>(i));
    }
}

int MeshState::ThirdOf(int triangle, int a, int b) const {
    for (const int vertex : triangles[triangle]) {
        if (vertex != a && vertex != b) return vertex;
    }
    return -1;
}

void MeshState::Forget(int vertex, int triangle) {
    std::vector<int>& list = around[vertex];
    list.erase(std::find(list.begin(), list.end(), triangle));
}

void MeshState::Apply(const Collapse& collapse) {
    for (const int triangle : collapse.moved) {
        triangles[triangle][CornerOf(triangle, collapse.gone)] = collapse.kept;
        around[collapse.kept].push_back(triangle);
    }
    for (const int triangle : collapse.lost) {
        if (triangle < 0) continue;
        there[triangle] = 0;
        for (const int vertex : triangles[triangle]) {
            if (vertex != collapse.gone) Forget(vertex, triangle);
        }
    }
    around[collapse.gone].clear();
    --vertices;
}

void MeshState::Undo(const Collapse& collapse) {
    for (const int triangle : collapse.moved) {
        triangles[triangle][CornerOf(triangle, collapse.kept)] = collapse.gone;
        Forget(collapse.kept, triangle);
        around[collapse.gone].push_back(triangle);
    }
    for (int side = 0; side < 2; ++side) {
        const int triangle = collapse.lost[side];
        if (triangle < 0) continue;
        there[triangle] = 1;
        triangles[triangle] = collapse.lostCorners[side];
        for (const int vertex : triangles[triangle])
            around[vertex].push_back(triangle);
    }
    ++vertices;
}

std::vector<int> NextOnBorder(const std::vector<Triangle>& triangles, std::size_t vertices) {
    // An edge of the border has a triangle on one side only: its way back is nowhere.
    std::vector<std::vector<int>> targets(vertices);
    for (const Triangle& t : triangles) {
        for (int k = 0; k < 3; ++k)
            targets[t[k]].push_back(t[(k + 1) % 3]);
    }
    std::vector<int> next(vertices, -1);
    for (std::size_t from = 0; from < vertices; ++from) {
        for (const int to : targets[from]) {
            const std::vector<int>& back = targets[to];
            if (std::find(back.begin(), back.end(), static_cast<int>(from)) == back.end())
                next[from] = to;
        }
    }
    return next;
}
