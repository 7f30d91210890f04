// Perspective lines of meshes and edges into a drawable. Knows nothing of passes and colours: the
// graphics context carries them.
#include "drivers/xlib/XLines.h"

#include <algorithm>

#include "geometry/GeoImage.h"
#include "geometry/Silhouette.h"

namespace {

// Points of one request. Every server takes requests of 16 KiB; a point has four bytes.
constexpr std::size_t kMostPoints = 4000;

// Range of an X coordinate.
constexpr float kLowest = -32768;
constexpr float kHighest = 32767;

// Truncates and saturates; what is no number lands at 0.
short ToCoordinate(float value) {
    if (!(value == value)) return 0;
    return static_cast<short>(std::clamp(value, kLowest, kHighest));
}

}  // namespace

bool LineProjection::Project(const vec3& eyePoint, XPoint& out) const {
    if (!(eyePoint.z < 0)) return false;
    const auto x = static_cast<float>(centreX) - eyePoint.x * scaleX / eyePoint.z;
    const auto y = eyePoint.y * scaleY / eyePoint.z + static_cast<float>(centreY);
    out = {ToCoordinate(x), ToCoordinate(y)};
    return true;
}

void XLines::ProjectMesh(const GeoImage& mesh, const Matrix& modelView,
                         const LineProjection& projection, int sign) {
    const auto width = static_cast<std::size_t>(mesh.width);
    const std::size_t count = width * static_cast<std::size_t>(mesh.height);
    m_eyePoints.resize(count);
    m_screenPoints.resize(count);
    m_visible.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        const vec3 eye = modelView.Transform(mesh.samples[i].position);
        m_eyePoints[i] = eye;
        m_visible[i] = projection.Project(eye, m_screenPoints[i]);
        if (sign == 0 || i < width || i % width == 0) continue;
        const vec3 normal = Cross(m_eyePoints[i - width] - eye, m_eyePoints[i - 1] - eye);
        if (static_cast<float>(sign) * Dot(normal, eye) > 0) m_visible[i] = false;
    }
}

void XLines::DrawMesh(const Target& target, const GeoImage& mesh, const Matrix& modelView,
                      const LineProjection& projection, int sign) {
    if (mesh.samples == nullptr) return;
    ProjectMesh(mesh, modelView, projection, sign);
    const auto width = static_cast<std::size_t>(mesh.width);
    const auto height = static_cast<std::size_t>(mesh.height);
    for (std::size_t row = 0; row < height; ++row)
        DrawLine(target, row * width, 1, width);
    for (std::size_t column = 0; column < width; ++column)
        DrawLine(target, column, width, height);
}

void XLines::DrawLine(const Target& target, std::size_t first, std::size_t step,
                      std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t sample = first + i * step;
        if (m_visible[sample]) {
            m_line.push_back(m_screenPoints[sample]);
        } else {
            EndLine(target);
        }
    }
    EndLine(target);
}

// Long lines go in several requests that share the point where they meet.
void XLines::EndLine(const Target& target) {
    for (std::size_t begin = 0; begin + 1 < m_line.size(); begin += kMostPoints - 1) {
        const std::size_t count = std::min(kMostPoints, m_line.size() - begin);
        XDrawLines(target.display, target.drawable, target.context, &m_line[begin],
                   static_cast<int>(count), CoordModeOrigin);
    }
    m_line.clear();
}

void XLines::DrawEdges(const Target& target, const SilhouetteResult& silhouette,
                       const Matrix& modelView, const LineProjection& projection) {
    for (const SilhouetteEdge& edge : silhouette.edges) {
        XPoint from;
        XPoint to;
        if (!projection.Project(modelView.Transform(edge.from), from) ||
            !projection.Project(modelView.Transform(edge.to), to)) {
            EndSegments(target);
            continue;
        }
        m_segments.push_back({from.x, from.y, to.x, to.y});
    }
    EndSegments(target);
}

void XLines::EndSegments(const Target& target) {
    if (!m_segments.empty()) {
        XDrawSegments(target.display, target.drawable, target.context, m_segments.data(),
                      static_cast<int>(m_segments.size()));
    }
    m_segments.clear();
}
