// Finds the place on the surface that a point of a map's domain stands for.
#pragma once

#include <Eigen/Core>
#include <vector>

#include "import/remesh/Domain.h"
#include "import/remesh/SurfaceMap.h"
#include "import/remesh/SurfaceTree.h"

class Locator {
public:
    // map: finished, all vertices there, no triangle flipped; must live as long as the locator.
    explicit Locator(const SurfaceMap& map);

    // at: from 0 to 1 both ways. Exact but for rounding; a point that rounding leaves between two
    // triangles is given to the closer one.
    Place PlaceOf(const GridShare& at) const;
    // The other way; across and down may lie outside of 0 to 1 by whole periods.
    GridShare ShareOf(const Place& place) const;

private:
    // Corners as shares, where periods are whole numbers.
    struct Flat {
        int triangle;
        std::array<Eigen::Vector2d, 3> corners;
        Eigen::Vector2d low, high;
    };
    const SurfaceMap& m_map;
    int m_bins;  // a side
    std::vector<Flat> m_flat;
    std::vector<int> m_binStart, m_binned;  // indices into m_flat, bin after bin
    std::vector<int> m_polar;               // triangles at poles

    template <class Visit>
    void ForBins(const Flat& flat, const Visit& visit) const;
    bool PlaceAtPole(const GridShare& at, Place& place) const;
};
