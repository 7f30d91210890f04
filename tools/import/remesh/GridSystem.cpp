#include "import/remesh/GridSystem.h"

#include <Eigen/Dense>
#include <algorithm>

#include "import/remesh/Parallel.h"

namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;

constexpr int kPiece = 4096;  // points that a thread takes at once

double DotOf(const std::vector<Vector3d>& a, const std::vector<Vector3d>& b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        sum += a[i].dot(b[i]);
    return sum;
}

}  // namespace

GridSystem::GridSystem(const SampleGrid& grid) : m_points(grid.positions.size(), -1) {
    int count = 0;
    for (int row = 0; row < grid.rows; ++row) {
        for (int column = 0; column < grid.columns; ++column) {
            const int original = grid.Original(row, column);
            int& point = m_points[grid.At(row, column)];
            point = original == grid.At(row, column) ? count++ : m_points[original];
        }
    }
    // Every triangle's corners know each other; in sorted pairs each is met up to twice.
    std::vector<std::array<int, 2>> pairs;
    for (const Triangle& t : grid.Triangles(true)) {
        for (int k = 0; k < 3; ++k) {
            for (int l = 0; l < 3; ++l)
                pairs.push_back({m_points[t[k]], m_points[t[l]]});
        }
    }
    std::sort(pairs.begin(), pairs.end());
    pairs.erase(std::unique(pairs.begin(), pairs.end()), pairs.end());
    m_rowStart.assign(count + 1, 0);
    for (const auto& pair : pairs) {
        ++m_rowStart[pair[0] + 1];
        m_neighbours.push_back(pair[1]);
    }
    for (int i = 0; i < count; ++i)
        m_rowStart[i + 1] += m_rowStart[i];
    m_right.resize(count);
    m_blocks.resize(m_neighbours.size());
    Clear();
}

void GridSystem::Clear() {
    std::fill(m_right.begin(), m_right.end(), Vector3d::Zero());
    std::fill(m_blocks.begin(), m_blocks.end(), Matrix3d::Zero());
}

Matrix3d& GridSystem::Block(int row, int column) {
    const auto first = m_neighbours.begin() + m_rowStart[row];
    const auto last = m_neighbours.begin() + m_rowStart[row + 1];
    return m_blocks[std::lower_bound(first, last, column) - m_neighbours.begin()];
}

void GridSystem::AddPull(const Triangle& samples, const std::array<double, 3>& weights,
                         const Vector3d& target, const Vector3d& along, double weight,
                         double loose) {
    const Matrix3d form = weight * along * along.transpose() + loose * Matrix3d::Identity();
    const Vector3d pulled = form * target;
    for (int k = 0; k < 3; ++k) {
        const int own = m_points[samples[k]];
        m_right[own] += weights[k] * pulled;
        for (int l = 0; l < 3; ++l)
            Block(own, m_points[samples[l]]) += weights[k] * weights[l] * form;
    }
}

void GridSystem::AddSpring(int a, int b, const Vector3d& difference, double weight) {
    const int p = m_points[a], q = m_points[b];
    const Matrix3d form = weight * Matrix3d::Identity();
    Block(p, p) += form;
    Block(q, q) += form;
    Block(p, q) -= form;
    Block(q, p) -= form;
    m_right[p] += weight * difference;
    m_right[q] -= weight * difference;
}

void GridSystem::Multiply(const std::vector<Vector3d>& in, std::vector<Vector3d>& out,
                          int threads) const {
    const int count = Points();
    ParallelFor((count + kPiece - 1) / kPiece, threads, [&](int piece) {
        for (int i = piece * kPiece; i < std::min(count, (piece + 1) * kPiece); ++i) {
            Vector3d sum = Vector3d::Zero();
            for (int k = m_rowStart[i]; k < m_rowStart[i + 1]; ++k)
                sum += m_blocks[k] * in[m_neighbours[k]];
            out[i] = sum;
        }
    });
}

// Conjugate gradients, preconditioned by the inverse of each point's own block.
void GridSystem::Solve(std::vector<Vector3d>& points, int most, double tolerance,
                       int threads) const {
    const std::size_t count = points.size();
    std::vector<Matrix3d> inverse(count);
    for (std::size_t i = 0; i < count; ++i) {
        const auto first = m_neighbours.begin() + m_rowStart[i];
        const auto last = m_neighbours.begin() + m_rowStart[i + 1];
        const auto own = std::lower_bound(first, last, static_cast<int>(i));
        const Matrix3d block = m_blocks[own - m_neighbours.begin()] + 1e-12 * Matrix3d::Identity();
        inverse[i] = block.inverse();
    }
    std::vector<Vector3d> residual(count), eased(count), way(count), product(count);
    Multiply(points, product, threads);
    for (std::size_t i = 0; i < count; ++i) {
        residual[i] = m_right[i] - product[i];
        way[i] = eased[i] = inverse[i] * residual[i];
    }
    double size = DotOf(residual, eased);
    const double enough = size * tolerance * tolerance;
    for (int step = 0; step < most && size > enough && size > 0; ++step) {
        Multiply(way, product, threads);
        const double along = DotOf(way, product);
        if (!(along > 0)) return;
        const double length = size / along;
        for (std::size_t i = 0; i < count; ++i) {
            points[i] += length * way[i];
            residual[i] -= length * product[i];
            eased[i] = inverse[i] * residual[i];
        }
        const double next = DotOf(residual, eased);
        for (std::size_t i = 0; i < count; ++i)
            way[i] = eased[i] + next / size * way[i];
        size = next;
    }
}
