// A bounding-volume tree over triangles that answers which point of them lies nearest. Knows
// nothing of where the triangles come from; keeps a copy of their corners.
#pragma once

#include <Eigen/Core>
#include <array>
#include <vector>

#include "import/Model.h"

struct NearestPoint {
    Eigen::Vector3d point;
    double squaredDistance;
    Place place;
};

class SurfaceTree {
public:
    // At least one triangle; degenerate ones count as the segment or point that they are.
    SurfaceTree(const std::vector<Eigen::Vector3d>& positions,
                const std::vector<Triangle>& triangles);

    // The exact nearest point. near: a triangle that is probably not far, the answer of a
    // neighbouring question for instance; it makes the search faster, never different (but for
    // which of several equally near points is found).
    NearestPoint Nearest(const Eigen::Vector3d& point, int near = 0) const;

private:
    struct Box {
        Eigen::Array3d low, high;
        double SquaredDistance(const Eigen::Array3d& point) const {
            const Eigen::Array3d gap = (low - point).max(point - high).max(0.0);
            return gap.square().sum();
        }
    };
    // Inner nodes have their first child behind them and name the second; leaves name triangles.
    struct Node {
        Box box;
        int second = 0;  // inner: index of the second child; leaf: first slot
        int count = 0;   // triangles of a leaf, 0 for inner nodes
    };
    struct Slot {
        Eigen::Vector3d corners[3];
        int triangle;
    };

    std::vector<Node> m_nodes;
    std::vector<Slot> m_slots;  // in the order of the leaves
    std::vector<int> m_slotOf;  // of each triangle

    void Build(int first, int last);
    static void Improve(const Slot& slot, const Eigen::Vector3d& point, NearestPoint& best);
};
