#include "import/remesh/SampleGrid.h"

#include "import/remesh/Measure.h"
#include "import/remesh/Parallel.h"

int SampleGrid::Original(int row, int column) const {
    if (WrapsRows() && row == rows - 1) row = 0;
    if (IsPoleRow(row) || (WrapsColumns() && column == columns - 1)) column = 0;
    return At(row, column);
}

std::vector<Triangle> SampleGrid::Triangles(bool original) const {
    std::vector<Triangle> triangles;
    triangles.reserve(2 * static_cast<std::size_t>(rows - 1) * (columns - 1));
    const auto vertex = [&](int row, int column) {
        return original ? Original(row, column) : At(row, column);
    };
    for (int row = 0; row + 1 < rows; ++row) {
        for (int column = 0; column + 1 < columns; ++column) {
            const int p = vertex(row, column), q = vertex(row, column + 1);
            const int r = vertex(row + 1, column), s = vertex(row + 1, column + 1);
            if (!IsPoleRow(row)) triangles.push_back({p, r, q});
            if (!IsPoleRow(row + 1)) triangles.push_back({s, q, r});
        }
    }
    return triangles;
}

SampleGrid SampleMap(const Locator& locator, const SurfaceMap& map, int rows, int columns,
                     int threads) {
    SampleGrid grid{map.Plane().Kind(), rows, columns, {}, {}};
    grid.places.resize(static_cast<std::size_t>(rows) * columns);
    grid.positions.resize(grid.places.size());
    const auto share = [](int i, int n) { return static_cast<double>(i) / (n - 1); };
    ParallelFor(rows, threads, [&](int row) {
        for (int column = 0; column < columns; ++column)
            grid.places[grid.At(row, column)] =
                locator.PlaceOf({share(column, columns), share(row, rows)});
    });
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            const int at = grid.At(row, column);
            grid.places[at] = grid.places[grid.Original(row, column)];
            grid.positions[at] =
                PointAt(map.Shape().positions, map.Shape().triangles, grid.places[at]);
        }
    }
    return grid;
}
