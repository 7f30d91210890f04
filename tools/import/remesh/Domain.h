// The plane that a surface is spread on, and how the grid lies in it.
//
// Columns run along u, one row is 1 long; rows run down v. Every row is shifted by half a cell
// against the one above and rows lie closer than columns, so that the two triangles of a cell are
// equilateral: the grid's diagonals run all the same way, and a square cell would prefer the
// surface's creases along that way.
//
//   P---Q            P---Q
//   |  /|   lies as   \ / \     .
//   R---S              R---S
#pragma once

#include <Eigen/Core>
#include <cmath>

#include "import/GridKind.h"

// Where in a grid: 0 to 1 along the row (column 0 to the last), 0 to 1 down the rows.
struct GridShare {
    double across;
    double down;
};

class Domain {
public:
    // aspect: cells along a column for each cell along a row.
    Domain(GridKind kind, double aspect)
        : m_kind(kind), m_rise(std::sqrt(0.75) * aspect), m_slant(0.5 * aspect) {}

    GridKind Kind() const { return m_kind; }
    bool WrapsColumns() const { return m_kind != GridKind::Square; }
    bool WrapsRows() const { return m_kind == GridKind::Torus; }
    // v of the first row; the last one has 0.
    double Rise() const { return m_rise; }
    // u from the first row to the last in one column.
    double Slant() const { return m_slant; }

    Eigen::Vector2d PlaneOf(const GridShare& at) const {
        return {at.across + m_slant * at.down, m_rise * (1 - at.down)};
    }
    GridShare ShareOf(const Eigen::Vector2d& plane) const {
        const double down = 1 - plane[1] / m_rise;
        return {plane[0] - m_slant * down, down};
    }

private:
    GridKind m_kind;
    double m_rise;
    double m_slant;
};
