#include "import/remesh/Spread.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>

#include "import/remesh/BaseMap.h"
#include "import/remesh/Decimate.h"
#include "import/remesh/Parallel.h"

namespace {

using Eigen::Vector3d;

constexpr int kBaseVertices = 200;
constexpr int kPoles = 6;
constexpr int kCorners = 8;
constexpr double kGrowth = 1.5;  // of the number of vertices between sweeps over all
constexpr double kSame = 1e-3;   // relative difference of energies of one map found twice
constexpr double kUndone = 1.4;  // growth of a base that had no embedding
constexpr int kUndoings = 8;
constexpr int kTrialSweeps = 300;  // of every way to lay out the base
constexpr double kTrialTolerance = 1e-5;
constexpr int kBaseSweeps = 1000;  // of those that are carried on
constexpr double kBaseTolerance = 1e-7;
constexpr int kSweeps = 60;
constexpr double kTolerance = 1e-5;
constexpr int kLastSweeps = 100;
constexpr double kLastTolerance = 1e-6;

// Far from each other along edges, the first one far from vertex 0.
std::vector<int> FarthestVertices(const MapSurface& surface, const MeshState& state, int count) {
    std::vector<int> found;
    std::vector<double> nearest(surface.positions.size(), std::numeric_limits<double>::max());
    const auto farthest = [](const std::vector<double>& lengths) {
        return static_cast<int>(std::max_element(lengths.begin(), lengths.end()) - lengths.begin());
    };
    int next = farthest(PathLengths(surface, state, 0));
    while (static_cast<int>(found.size()) < count) {
        found.push_back(next);
        const std::vector<double> lengths = PathLengths(surface, state, next);
        for (std::size_t i = 0; i < nearest.size(); ++i)
            nearest[i] = std::min(nearest[i], lengths[i]);
        next = farthest(nearest);
    }
    return found;
}

// Vertices at equal distances along a loop.
std::vector<int> SpacedVertices(const MapSurface& surface, const std::vector<int>& loop,
                                int count) {
    std::vector<double> lengths{0};
    for (std::size_t i = 0; i < loop.size(); ++i) {
        const Vector3d& to = surface.positions[loop[(i + 1) % loop.size()]];
        lengths.push_back(lengths.back() + (to - surface.positions[loop[i]]).norm());
    }
    std::vector<int> spaced;
    std::size_t at = 0;
    for (int i = 0; i < count; ++i) {
        // One loop vertex each, and enough left for those to come.
        const std::size_t most = loop.size() - static_cast<std::size_t>(count - i);
        const double wanted = lengths.back() * i / count;
        while (at < most && lengths[at + 1] <= wanted)
            ++at;
        spaced.push_back(loop[at++]);
    }
    return spaced;
}

class Spreader {
public:
    Spreader(const std::shared_ptr<const MapSurface>& surface, GridKind kind,
             const SpreadOptions& options)
        : m_surface(surface),
          m_domain(kind, options.aspect),
          m_options(options),
          m_state(*surface),
          m_slides(surface->positions.size(), Slide::Free) {}

    std::vector<SurfaceMap> Run() {
        std::vector<int> kept = ProtectedVertices();
        m_collapses =
            Decimate(*m_surface, m_state, kBaseVertices, kept,
                     m_domain.Kind() == GridKind::Sphere ? static_cast<int>(kept.size()) : 0);
        std::vector<SurfaceMap> maps;
        for (int i = 0; i < kUndoings && maps.empty(); ++i) {
            if (i > 0) GrowBase();
            maps = BaseMaps(Choices(kept));
        }
        Sort(maps);
        const auto same = [](const SurfaceMap& a, const SurfaceMap& b) {
            return b.Energy() < a.Energy() * (1 + kSame);
        };
        maps.erase(std::unique(maps.begin(), maps.end(), same), maps.end());
        if (static_cast<int>(maps.size()) > m_options.carried)
            maps.erase(maps.begin() + m_options.carried, maps.end());
        ParallelFor(static_cast<int>(maps.size()), m_options.threads,
                    [&](int i) { Carry(maps[i]); });
        std::erase_if(maps, [](const SurfaceMap& map) {
            int flips = 0;
            map.Energy(&flips);
            return flips > 0;
        });
        Sort(maps);
        return maps;
    }

private:
    std::shared_ptr<const MapSurface> m_surface;
    Domain m_domain;
    SpreadOptions m_options;
    MeshState m_state;  // coarser and coarser, down to the base
    std::vector<Slide> m_slides;
    std::vector<Collapse> m_collapses;  // that lead from the surface to the base

    static void Sort(std::vector<SurfaceMap>& maps) {
        std::vector<std::pair<double, std::size_t>> order;
        for (std::size_t i = 0; i < maps.size(); ++i)
            order.emplace_back(maps[i].Energy(), i);
        std::sort(order.begin(), order.end());
        std::vector<SurfaceMap> sorted;
        for (const auto& entry : order)
            sorted.push_back(std::move(maps[entry.second]));
        maps = std::move(sorted);
    }
    std::vector<int> ProtectedVertices() {
        if (m_domain.Kind() == GridKind::Sphere)
            return FarthestVertices(*m_surface, m_state, kPoles);
        const std::vector<std::vector<int>> loops = BorderLoops(*m_surface, m_surface->triangles);
        if (m_domain.Kind() == GridKind::Square && loops.size() == 1)
            return SpacedVertices(*m_surface, loops[0], kCorners);
        for (const std::vector<int>& loop : loops) {
            for (const int vertex : loop)
                m_slides[vertex] = Slide::AlongRow;
        }
        return {};
    }
    std::vector<BaseChoice> Choices(const std::vector<int>& kept) const {
        std::vector<BaseChoice> choices;
        const int count = static_cast<int>(kept.size());
        switch (m_domain.Kind()) {
            case GridKind::Sphere:
                for (int i = 0; i < count; ++i) {
                    for (int j = i + 1; j < count; ++j)
                        choices.push_back({{kept[i], kept[j]}, 0, 0});
                }
                break;
            case GridKind::Square:
                // Half a turn of the grid is the same grid.
                for (int i = 0; i < kCorners / 2 && count == kCorners; ++i) {
                    choices.push_back(
                        {{kept[i], kept[(i + 2) % 8], kept[(i + 4) % 8], kept[(i + 6) % 8]}, 0, 0});
                }
                break;
            case GridKind::Annulus:
                choices.push_back({});
                break;
            case GridKind::Torus: {
                const TorusLoops loops = FindTorusLoops(*m_surface, m_state);
                for (const bool swapped : {false, true}) {
                    const auto& a = swapped ? loops.second : loops.first;
                    const auto& b = swapped ? loops.first : loops.second;
                    std::vector<int> both = a;
                    both.insert(both.end(), b.begin(), b.end());
                    for (int shift = -2; shift <= 2 && !a.empty(); ++shift)
                        choices.push_back({both, static_cast<int>(a.size()), shift});
                }
            }
        }
        return choices;
    }
    void GrowBase() {
        const int target = static_cast<int>(m_state.vertices * kUndone);
        while (m_state.vertices < target && !m_collapses.empty()) {
            m_state.Undo(m_collapses.back());
            m_collapses.pop_back();
        }
    }
    std::vector<Slide> SquareSlides(const BaseChoice& choice) const {
        std::vector<Slide> slides = m_slides;
        std::vector<int> loop = BorderLoops(*m_surface, m_surface->triangles)[0];
        std::rotate(loop.begin(), std::find(loop.begin(), loop.end(), choice.vertices[0]),
                    loop.end());
        int side = -1;
        for (const int vertex : loop) {
            const bool corner = std::find(choice.vertices.begin(), choice.vertices.end(), vertex) !=
                                choice.vertices.end();
            side += corner ? 1 : 0;
            slides[vertex] = corner          ? Slide::Fixed
                             : side % 2 == 0 ? Slide::AlongSide
                                             : Slide::AlongRow;
        }
        return slides;
    }
    std::vector<SurfaceMap> BaseMaps(const std::vector<BaseChoice>& choices) const {
        std::vector<std::unique_ptr<SurfaceMap>> tried(choices.size());
        ParallelFor(static_cast<int>(choices.size()), m_options.threads, [&](int i) {
            auto map = std::make_unique<SurfaceMap>(m_surface, m_state, m_domain, choices[i].shift);
            map->slides = m_domain.Kind() == GridKind::Square ? SquareSlides(choices[i]) : m_slides;
            if (!MakeBaseMap(*map, choices[i])) return;
            map->ScaleBarrier();
            map->Relax(kTrialSweeps, kTrialTolerance);
            tried[i] = std::move(map);
        });
        std::vector<SurfaceMap> maps;
        for (const auto& map : tried) {
            if (map) maps.push_back(std::move(*map));
        }
        return maps;
    }
    // Brings all vertices back.
    void Carry(SurfaceMap& map) const {
        map.Relax(kBaseSweeps, kBaseTolerance);
        double next = map.State().vertices * kGrowth;
        int count = 0;
        for (auto collapse = m_collapses.rbegin(); collapse != m_collapses.rend(); ++collapse) {
            map.Split(*collapse);
            if ((map.State().vertices < 4000 && count % 16 == 0) || count % 256 == 0)
                map.ScaleBarrier();
            ++count;
            if (map.State().vertices < next) continue;
            map.ScaleBarrier();
            map.Relax(kSweeps, kTolerance);
            next = map.State().vertices * kGrowth;
        }
        map.ScaleBarrier();
        map.Relax(kLastSweeps, kLastTolerance);
    }
};

}  // namespace

std::shared_ptr<const MapSurface> MakeMapSurface(const Surface& surface) {
    auto made = std::make_shared<MapSurface>();
    made->positions = surface.positions;
    made->triangles = surface.triangles;
    double area = 0;
    Vector3d centre = Vector3d::Zero();
    for (const Vector3d& position : made->positions)
        centre += position / static_cast<double>(made->positions.size());
    std::vector<Vector3d> normals(made->positions.size(), Vector3d::Zero());
    for (const Triangle& t : made->triangles) {
        const Vector3d& a = made->positions[t[0]];
        const Vector3d normal = (made->positions[t[1]] - a).cross(made->positions[t[2]] - a);
        area += normal.norm() / 2;
        for (const int vertex : t)
            normals[vertex] += normal;
    }
    made->scale = std::sqrt(area);
    made->centre = centre;
    for (Vector3d& position : made->positions)
        position = (position - centre) / made->scale;
    for (Vector3d& normal : normals) {
        const double length = normal.norm();
        if (length > 0) normal /= length;
    }
    made->normals = std::move(normals);
    return made;
}

std::vector<SurfaceMap> Spread(const std::shared_ptr<const MapSurface>& surface, GridKind kind,
                               const SpreadOptions& options) {
    return Spreader(surface, kind, options).Run();
}
