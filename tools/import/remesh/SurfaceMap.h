// A surface spread on a Domain without folds: a place in the plane for every vertex, improved by
// moving one vertex at a time, first on a coarse base, then while collapsed vertices come back.
#pragma once

#include <Eigen/Core>
#include <memory>
#include <vector>

#include "import/remesh/Domain.h"
#include "import/remesh/MeshState.h"
#include "import/remesh/StretchEnergy.h"

// Whole periods of the domain that a triangle's corner lies away from its vertex's place.
struct Winding {
    signed char turns = 0;   // in u
    signed char rounds = 0;  // in v, of a torus
    bool operator==(const Winding&) const = default;
};
using Windings = std::array<Winding, 3>;

// What a vertex may do.
enum class Slide : char { Free, AlongRow, AlongSide, Fixed };

class SurfaceMap {
public:
    // shift: of a torus, whole turns that its rows are sheared by beyond the grid's own slant.
    SurfaceMap(std::shared_ptr<const MapSurface> surface, MeshState state, const Domain& domain,
               int shift = 0);

    const MapSurface& Shape() const { return *m_surface; }
    const MeshState& State() const { return m_state; }
    const Domain& Plane() const { return m_domain; }
    // The vertices that are the first and the last row, or -1.
    int TopPole() const { return m_top; }
    int BottomPole() const { return m_bottom; }
    void SetPoles(int top, int bottom);
    bool IsPole(int vertex) const { return vertex == m_top || vertex == m_bottom; }
    // Index of a triangle's corner that is a pole, or -1.
    int PoleCorner(int triangle) const;

    std::vector<Eigen::Vector2d> places;  // of the vertices that are there
    std::vector<Windings> windings;       // of the triangles that are there
    std::vector<Slide> slides;            // of all vertices

    // Where the corner of a triangle lies, on the sheet of the triangle.
    Eigen::Vector2d CornerPlace(int triangle, int corner) const;
    Eigen::Vector2d OffsetOf(const Winding& winding) const {
        return {winding.turns + winding.rounds * m_twist, winding.rounds * m_domain.Rise()};
    }

    // Sum over all triangles that are not flipped; flips, if given, gets the number of the others.
    double Energy(int* flips = nullptr) const;
    // Sets the barrier for the number of triangles that are there now.
    void ScaleBarrier();
    // Moves every vertex in turn, forth and back, `most` times at most, until the mean relative
    // gain of a vertex is below tolerance. threads: the result does not depend on it.
    void Relax(int most, double tolerance);
    // Brings the vertex of a collapse back, at the best place in its wedge of the ring, and lets it
    // and its ring take a step.
    void Split(const Collapse& collapse);
    // The same without a place: for a base that turned out too coarse.
    void UndoOnly(const Collapse& collapse);

private:
    // One triangle around a vertex, by indices: what a sweep reads in order.
    struct RingTriangle {
        int next, last;
        Winding nextWinding, lastWinding;  // against the vertex's own corner
        double nextSquare, lastSquare, product, area, shape;
    };
    struct RingPole {
        int triangle;
        bool isNext;  // the pole follows the vertex in the triangle, or precedes it
    };
    // A vertex with its ring resolved to places.
    struct View {
        int vertex;
        std::vector<StretchTriangle> triangles;
        std::vector<RingPole> poles;
    };
    // The rings of a list of vertices behind each other.
    struct Rings {
        std::vector<int> vertices;
        std::vector<RingTriangle> triangles;
        std::vector<RingPole> poles;
        std::vector<std::array<int, 2>> ends;  // of each vertex: in triangles, in poles
    };

    std::shared_ptr<const MapSurface> m_surface;
    MeshState m_state;
    Domain m_domain;
    double m_twist;
    int m_top = -1;
    int m_bottom = -1;
    double m_barrier = 0;
    double m_shape = 0;  // weight of a triangle's shape against its stretch
    std::vector<TriangleMetric> m_metrics;
    Rings m_single;  // scratch of steps outside of sweeps
    View m_view;

    double ShapeOf(const TriangleMetric& metric) const {
        return m_shape * metric.area / metric.doubled;
    }
    TriangleMetric MetricOf(const Triangle& triangle) const;
    void AppendRing(int vertex, Rings& rings) const;
    void Resolve(const Rings& rings, std::size_t index, View& view) const;
    PoleTriangle PoleAt(const RingPole& pole, int vertex, const Eigen::Vector2d& at) const;
    PoleTriangle PoleOf(int triangle, int corner, const Eigen::Vector2d& a,
                        const Eigen::Vector2d& b) const;
    double EnergyAt(const View& view, double x, double y) const;
    Quadratic DerivativesAt(const View& view) const;
    double Step(const View& view);
    void StepAlone(int vertex);
    void ResolveAlone(int vertex);
    void PlaceInWedge(const Collapse& collapse);
    void PlaceOnBorder(const Collapse& collapse);
    Eigen::Vector2d DirectionTo(int from, int to, int triangle) const;
};
