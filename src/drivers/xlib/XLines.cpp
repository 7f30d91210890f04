// Projection, clipping to the protocol's range, and packing of lines into few requests.
#include "drivers/xlib/XLines.h"

#include <algorithm>
#include <cmath>

#include "geometry/GeoImage.h"
#include "geometry/Silhouette.h"

namespace {

// Largest coordinate that X points hold on either side of 0.
constexpr float kFarthest = 32767;

bool Fits(float value) {
    return value > -kFarthest - 1 && value < kFarthest + 1;
}

bool Fits(const ScreenPoint& point) {
    return Fits(point.x) && Fits(point.y);
}

// Narrows [begin, end] of start + t * length to where it lies within what X points hold.
bool ClipAxis(double start, double length, double& begin, double& end) {
    if (length == 0) return std::abs(start) <= kFarthest;
    const double a = (-kFarthest - start) / length;
    const double b = (kFarthest - start) / length;
    begin = std::max(begin, std::min(a, b));
    end = std::min(end, std::max(a, b));
    return begin <= end;
}

// Cuts a line down to what X points hold, keeping its direction. False when nothing is left.
bool Clip(ScreenPoint& from, ScreenPoint& to) {
    const double width = double{to.x} - from.x;
    const double height = double{to.y} - from.y;
    double begin = 0;
    double end = 1;
    if (!ClipAxis(from.x, width, begin, end) || !ClipAxis(from.y, height, begin, end)) return false;
    const ScreenPoint start = from;
    const auto at = [&](double t) {
        return ScreenPoint{static_cast<float>(start.x + t * width),
                           static_cast<float>(start.y + t * height)};
    };
    from = at(begin);
    to = at(end);
    return Fits(from) && Fits(to);
}

}  // namespace

bool LineProjection::Project(const vec3& eyePoint, ScreenPoint& out) const {
    if (!(eyePoint.z < 0)) return false;
    out.x = static_cast<float>(centreX) - eyePoint.x * scaleX / eyePoint.z;
    out.y = eyePoint.y * scaleY / eyePoint.z + static_cast<float>(centreY);
    return std::isfinite(out.x) && std::isfinite(out.y);
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

// All lines of a mesh go in one request of segments: a request for each row and column would cost
// the server and the connection more than the pixels.
void XLines::DrawMesh(const Target& target, const GeoImage& mesh, const Matrix& modelView,
                      const LineProjection& projection, int sign) {
    if (mesh.samples == nullptr) return;
    ProjectMesh(mesh, modelView, projection, sign);
    const auto width = static_cast<std::size_t>(mesh.width);
    const auto height = static_cast<std::size_t>(mesh.height);
    for (std::size_t row = 0; row < height; ++row)
        AddLine(row * width, 1, width);
    for (std::size_t column = 0; column < width; ++column)
        AddLine(column, width, height);
    SendSegments(target);
}

void XLines::AddLine(std::size_t first, std::size_t step, std::size_t count) {
    for (std::size_t i = 1; i < count; ++i) {
        const std::size_t to = first + i * step;
        const std::size_t from = to - step;
        if (m_visible[from] && m_visible[to]) AddSegment(m_screenPoints[from], m_screenPoints[to]);
    }
}

void XLines::AddSegment(ScreenPoint from, ScreenPoint to) {
    if (!(Fits(from) && Fits(to)) && !Clip(from, to)) return;
    m_segments.push_back({static_cast<short>(from.x), static_cast<short>(from.y),
                          static_cast<short>(to.x), static_cast<short>(to.y)});
}

void XLines::DrawEdges(const Target& target, const SilhouetteResult& silhouette,
                       const Matrix& modelView, const LineProjection& projection) {
    for (const SilhouetteEdge& edge : silhouette.edges) {
        ScreenPoint from;
        ScreenPoint to;
        if (projection.Project(modelView.Transform(edge.from), from) &&
            projection.Project(modelView.Transform(edge.to), to)) {
            AddSegment(from, to);
        }
    }
    SendSegments(target);
}

// Xlib splits long requests only for servers that know no extended lengths; the others refuse
// what is longer than theirs.
void XLines::SendSegments(const Target& target) {
    constexpr std::size_t kHeaderWords = 4;
    constexpr std::size_t kSegmentWords = 2;
    const auto words = static_cast<std::size_t>(XExtendedMaxRequestSize(target.display));
    const std::size_t most = words > kHeaderWords + kSegmentWords
                                 ? (words - kHeaderWords) / kSegmentWords
                                 : m_segments.size();
    for (std::size_t i = 0; i < m_segments.size(); i += most) {
        XDrawSegments(target.display, target.drawable, target.context, &m_segments[i],
                      static_cast<int>(std::min(most, m_segments.size() - i)));
    }
    m_segments.clear();
}
