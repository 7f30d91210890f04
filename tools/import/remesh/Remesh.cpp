#include "import/remesh/Remesh.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <optional>

namespace {

using Eigen::Vector3d;

constexpr int kCarried = 4;           // maps that are carried to the end
constexpr int kCarriedOfLarge = 2;    // of parts that take seconds each
constexpr std::size_t kLarge = 5000;  // vertices
constexpr int kSmallGrid = 97;        // samples a side below which Auto holds back
constexpr double kSmallGain = 1;      // decibels that Auto gains there
constexpr int kHalvings = 6;
constexpr int kTrialSamples = 15000;  // a direction, between halvings

class Remesher {
public:
    Remesher(std::shared_ptr<const MapSurface> shape, GridKind kind, const RemeshOptions& options)
        : m_shape(std::move(shape)),
          m_tree(std::make_shared<SurfaceTree>(m_shape->positions, m_shape->triangles)),
          m_kind(kind),
          m_options(options) {}

    std::optional<Remeshed> Run(int columns, int rows) const {
        const double aspect = static_cast<double>(rows - 1) / (columns - 1);
        const int carried = m_shape->positions.size() < kLarge ? kCarried : kCarriedOfLarge;
        const std::vector<SurfaceMap> maps =
            Spread(m_shape, m_kind, {aspect, carried, m_options.threads});
        if (maps.empty()) return std::nullopt;
        // Energy only hints at which map samples best.
        std::optional<Remeshed> best;
        const SurfaceMap* map = nullptr;
        for (const SurfaceMap& tried : maps) {
            Remeshed made{m_shape, m_tree, {}, {}, 0, 0};
            made.grid = SampleMap(Locator(tried), tried, rows, columns, m_options.threads);
            made.fidelity = FidelityOf(made.grid);
            made.folded = FoldedShare(made.grid);
            if (best && made.Score() <= best->Score()) continue;
            best = std::move(made);
            map = &tried;
        }
        if (m_options.fit != FitEffort::Off) Fit(*best, *map);
        map->Energy(&best->flips);
        best->folded = FoldedShare(best->grid);
        return best;
    }

private:
    std::shared_ptr<const MapSurface> m_shape;
    std::shared_ptr<const SurfaceTree> m_tree;
    GridKind m_kind;
    RemeshOptions m_options;

    Fidelity FidelityOf(const SampleGrid& grid, int samples = kMeasureSamples) const {
        return Compare(m_shape->positions, m_shape->triangles, *m_tree, grid.positions,
                       grid.Triangles(false), samples, m_options.threads);
    }
    void Fit(Remeshed& made, const SurfaceMap& map) const {
        SampleGrid fitted = FitGrid(made.grid, Locator(map), *m_shape, *m_tree, m_options.threads);
        Fidelity fidelity = FidelityOf(fitted);
        const bool small = std::min(fitted.rows, fitted.columns) < kSmallGrid;
        if (small && m_options.fit == FitEffort::Auto &&
            fidelity.Worse() > made.fidelity.Worse() + kSmallGain)
            HoldBack(made, fitted, fidelity);
        if (fidelity.toGrid <= made.fidelity.toGrid ||
            fidelity.toSurface <= made.fidelity.toSurface)
            return;
        made.grid = std::move(fitted);
        made.fidelity = fidelity;
    }
    // Back towards the samples until the gain is what Auto allows.
    void HoldBack(const Remeshed& made, SampleGrid& fitted, Fidelity& fidelity) const {
        const SampleGrid full = fitted;
        double low = 0, high = 1;
        for (int i = 0; i < kHalvings; ++i) {
            const double share = (low + high) / 2;
            for (std::size_t k = 0; k < full.positions.size(); ++k) {
                fitted.positions[k] =
                    made.grid.positions[k] * (1 - share) + full.positions[k] * share;
            }
            fidelity = FidelityOf(fitted, kTrialSamples);
            (fidelity.Worse() > made.fidelity.Worse() + kSmallGain ? high : low) = share;
        }
        fidelity = FidelityOf(fitted);
    }
    double FoldedShare(const SampleGrid& grid) const {
        double folded = 0, whole = 0;
        for (const Triangle& t : grid.Triangles(false)) {
            const Vector3d& a = grid.positions[t[0]];
            const Vector3d normal = (grid.positions[t[1]] - a).cross(grid.positions[t[2]] - a);
            Vector3d wanted = Vector3d::Zero();
            for (const int corner : t) {
                const Place& place = grid.places[corner];
                wanted += PointAt(m_shape->normals, m_shape->triangles, place);
            }
            whole += normal.norm();
            if (normal.dot(wanted) < 0) folded += normal.norm();
        }
        return whole > 0 ? folded / whole : 0;
    }
};

}  // namespace

Result<Remeshed> Remesh(Surface& surface, GridKind kind, const RemeshOptions& options) {
    RefineForMap(surface);
    const Remesher remesher(MakeMapSurface(surface), kind, options);
    std::optional<Remeshed> best = remesher.Run(options.columns, options.rows);
    if (options.eitherShape) {
        const int columns = static_cast<int>(std::lround((options.columns - 1) / std::sqrt(2))) + 1;
        std::optional<Remeshed> tall = remesher.Run(columns, 2 * columns - 1);
        if (tall && (!best || tall->Score() > best->Score())) best = std::move(tall);
    }
    if (!best) return Failure{"no way was found to spread it on a grid"};
    return std::move(*best);
}
