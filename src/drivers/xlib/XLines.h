// Perspective lines of meshes and edges into a drawable. Knows nothing of passes and colours: the
// graphics context carries them.
#pragma once

#include <X11/Xlib.h>

#include <cstddef>
#include <vector>

#include "spatial/Matrix.h"
#include "spatial/Vec3.h"

class GeoImage;
struct SilhouetteResult;

// A place in the drawable, in pixels; y grows downward.
struct ScreenPoint {
    float x = 0;
    float y = 0;
};

// From eye space to pixels; what lies at or behind the eye has no place.
struct LineProjection {
    int centreX = 0;
    int centreY = 0;
    float scaleX = 0;
    float scaleY = 0;

    // False behind the eye, and where the place is no number.
    bool Project(const vec3& eyePoint, ScreenPoint& out) const;
};

class XLines {
public:
    struct Target {
        Display* display;
        Drawable drawable;
        GC context;                // with butt caps
        std::size_t requestWords;  // longest request that the server takes
    };

    // Grid lines along rows and columns, each in one request where it is not interrupted. sign: +1
    // leaves out samples whose surface shows its back, -1 those that show their front, 0 none.
    void DrawMesh(const Target& target, const GeoImage& mesh, const Matrix& modelView,
                  const LineProjection& projection, int sign);
    void DrawEdges(const Target& target, const SilhouetteResult& silhouette,
                   const Matrix& modelView, const LineProjection& projection);

private:
    // Of the mesh in work, kept for their capacity.
    std::vector<vec3> m_eyePoints;
    std::vector<ScreenPoint> m_screenPoints;
    std::vector<char> m_visible;
    std::vector<XPoint> m_line;
    std::vector<XSegment> m_segments;

    void ProjectMesh(const GeoImage& mesh, const Matrix& modelView,
                     const LineProjection& projection, int sign);
    void DrawLine(const Target& target, std::size_t first, std::size_t step, std::size_t count);
    void AddPiece(const Target& target, ScreenPoint from, ScreenPoint to);
    void SendLine(const Target& target);
    void SendSegments(const Target& target);
};
