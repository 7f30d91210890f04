// Sums of squares over the corners of a grid's triangles, and their least sum: normal equations
// with a 3 x 3 block for every two samples that share a triangle.
#pragma once

#include <Eigen/Core>
#include <vector>

#include "import/remesh/SampleGrid.h"

class GridSystem {
public:
    // The unknowns are the grid's points; samples that repeat one share it.
    explicit GridSystem(const SampleGrid& grid);

    // Index of the point of a sample (as SampleGrid::At counts them).
    int PointOf(int sample) const { return m_points[sample]; }
    int Points() const { return static_cast<int>(m_right.size()); }

    void Clear();
    // Adds (along . (sum of weights * corners - target))^2 * weight + the same square of the whole
    // vector * loose, over the samples of a triangle.
    void AddPull(const Triangle& samples, const std::array<double, 3>& weights,
                 const Eigen::Vector3d& target, const Eigen::Vector3d& along, double weight,
                 double loose);
    // Adds weight * |a - b - difference|^2 for two neighbouring samples.
    void AddSpring(int a, int b, const Eigen::Vector3d& difference, double weight);
    // Moves the points to where the sum is least, by conjugate gradients from where they are;
    // stops after `most` steps or when the residual has fallen by `tolerance`.
    void Solve(std::vector<Eigen::Vector3d>& points, int most, double tolerance, int threads) const;

private:
    std::vector<int> m_points;
    std::vector<int> m_rowStart;    // of each point, into the two below
    std::vector<int> m_neighbours;  // ascending, the point itself among them
    std::vector<Eigen::Matrix3d> m_blocks;
    std::vector<Eigen::Vector3d> m_right;

    Eigen::Matrix3d& Block(int row, int column);
    void Multiply(const std::vector<Eigen::Vector3d>& in, std::vector<Eigen::Vector3d>& out,
                  int threads) const;
};
