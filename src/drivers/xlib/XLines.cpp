// Projection, clipping to the protocol's range, and packing of lines into few requests.
#include "drivers/xlib/XLines.h"

#include <algorithm>
#include <cmath>

#include "geometry/GeoImage.h"
#include "geometry/Silhouette.h"

namespace {

// Largest coordinate that X points hold on either side of 0.
constexpr float kFarthest = 32767;

// Of the requests that draw lines and segments; a point is one word.
constexpr std::size_t kHeaderWords = 3;
constexpr std::size_t kSegmentWords = 2;

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

// Cuts a line down to what X points hold, keeping its direction. An end that fits stays where it
// is. False when nothing is left.
bool Clip(ScreenPoint& from, ScreenPoint& to) {
    // Measured from an end that fits, if there is one: far beyond the range floats are too coarse.
    if (Fits(to) && !Fits(from)) return Clip(to, from);
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
    if (!Fits(from)) from = at(begin);
    if (!Fits(to)) to = at(end);
    return Fits(from) && Fits(to);
}

XPoint ToXPoint(const ScreenPoint& point) {
    return {static_cast<short>(point.x), static_cast<short>(point.y)};
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

// A row or column goes as one line: drawn in pieces, its joints would be drawn twice, which an
// exclusive or takes away again.
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
    for (std::size_t i = 1; i < count; ++i) {
        const std::size_t to = first + i * step;
        const std::size_t from = to - step;
        if (m_visible[from] && m_visible[to]) {
            AddPiece(target, m_screenPoints[from], m_screenPoints[to]);
        } else {
            SendLine(target);
        }
    }
    SendLine(target);
}

// A line that leaves what X points hold ends there, and another begins where it comes back.
void XLines::AddPiece(const Target& target, ScreenPoint from, ScreenPoint to) {
    const bool continues = Fits(from);
    const bool ends = !Fits(to);
    if ((!continues || ends) && !Clip(from, to)) {
        SendLine(target);
        return;
    }
    if (m_line.empty()) m_line.push_back(ToXPoint(from));
    m_line.push_back(ToXPoint(to));
    if (ends) SendLine(target);
}

// What is too long for one request goes in several, each from the last point of the one before.
// Thin lines leave that point to the next; thick ones lose the joint there and may draw it twice.
void XLines::SendLine(const Target& target) {
    const std::size_t most = std::max(target.requestWords, kHeaderWords + 2) - kHeaderWords;
    XPoint* first = m_line.data();
    std::size_t left = m_line.size();
    const auto send = [&](std::size_t count, int cap) {
        XGCValues values{};
        values.cap_style = cap;
        XChangeGC(target.display, target.context, GCCapStyle, &values);
        XDrawLines(target.display, target.drawable, target.context, first, static_cast<int>(count),
                   CoordModeOrigin);
    };
    for (; left > most; left -= most - 1, first += most - 1)
        send(most, CapNotLast);
    if (left > 0) send(left, CapButt);
    m_line.clear();
}

void XLines::DrawEdges(const Target& target, const SilhouetteResult& silhouette,
                       const Matrix& modelView, const LineProjection& projection) {
    for (const SilhouetteEdge& edge : silhouette.edges) {
        ScreenPoint from;
        ScreenPoint to;
        if (!projection.Project(modelView.Transform(edge.from), from) ||
            !projection.Project(modelView.Transform(edge.to), to)) {
            continue;
        }
        if (!(Fits(from) && Fits(to)) && !Clip(from, to)) continue;
        const XPoint a = ToXPoint(from);
        const XPoint b = ToXPoint(to);
        m_segments.push_back({a.x, a.y, b.x, b.y});
    }
    SendSegments(target);
}

void XLines::SendSegments(const Target& target) {
    const std::size_t most =
        (std::max(target.requestWords, kHeaderWords + kSegmentWords) - kHeaderWords) /
        kSegmentWords;
    for (std::size_t i = 0; i < m_segments.size(); i += most) {
        XDrawSegments(target.display, target.drawable, target.context, &m_segments[i],
                      static_cast<int>(std::min(most, m_segments.size() - i)));
    }
    m_segments.clear();
}
