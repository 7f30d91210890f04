// States, projection and sampling of the occlusion buffer. Knows nothing of who is drawn.
#include "spatial/Occlusion.h"

#include "geometry/GeoImage.h"
#include "spatial/CameraSpace.h"
#include "spatial/Truncate.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

namespace {

// Size of the buffer: at most these, and no finer than one pixel for six of the window.
constexpr std::int64_t kMostColumns = 160;
constexpr std::int64_t kMostRows = 120;
constexpr std::int64_t kWindowPixels = 6;
// Rows around the view, half above and half below, so that what is cut by the edge of the picture
// still covers whole blocks.
constexpr int kMargin = 10;
// Sync keeps at least this many columns and rows.
constexpr int kCoarseSize = 32;

constexpr std::uint32_t kFarthest = std::numeric_limits<std::uint32_t>::max();
constexpr std::int64_t kFixedOne = 65536;      // 16.16 fixed point
constexpr std::int64_t kMostPixels = 1 << 30;  // from the buffer's corner, of any point

// A mesh is drawn with one grid line for so many pixels of its radius and for so many samples.
constexpr double kPixelsPerLine = 2;
constexpr int kSamplesPerLine = 2;
constexpr int kFewestLines = 4;

enum Outside : unsigned { Left = 1, Right = 2, Above = 4, Below = 8, Near = 16 };

int LinesAcross(double projectedRadius, int samples) {
    const double lines =
        std::min(projectedRadius / kPixelsPerLine, static_cast<double>(samples / kSamplesPerLine));
    return std::max(kFewestLines, static_cast<int>(lines));
}

// Fills lines with the sample rows or columns that a grid is made of: even steps in 16.16 from the
// first to before the last, and the last. Count + 1 steps end two samples behind the last: it is
// the last step that is shorter, by up to two samples, and at most count lines lie between the
// borders.
void ChooseLines(std::vector<int>& lines, int count, int samples) {
    const std::int64_t step = (std::int64_t{samples} + 1) * 65536 / (count + 1) + 1;
    const std::int64_t last = samples - 1;
    lines.clear();
    for (std::int64_t at = 0; at < last << 16; at += step)
        lines.push_back(static_cast<int>(at >> 16));
    lines.push_back(static_cast<int>(last));
}

}  // namespace

void Occlusion::Resize(int viewportWidth, int viewportHeight) {
    const std::int64_t width = std::max(viewportWidth, 0);
    const std::int64_t height = std::max(viewportHeight, 0);
    m_width = 0;
    m_height = 0;
    if (width > 0 && height > 0) {
        m_width = static_cast<int>(
            std::min({kMostColumns, width * kMostRows / height, width / kWindowPixels + kMargin}));
        m_height = static_cast<int>(
            std::min({kMostRows, height * kMostColumns / width, height / kWindowPixels + kMargin}));
    }
    m_fine.resize(static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height));
    m_state = New;
}

void Occlusion::Clear() {
    std::fill(m_fine.begin(), m_fine.end(), kFarthest);
}

void Occlusion::SetDepthRange(const Camera& camera) {
    m_camera = camera;
    m_inverseNear = 1 / double{camera.hith};
    m_depthScale = kFarthest / (1 / double{camera.yon} - m_inverseNear);
}

void Occlusion::SetProjection(const Camera& camera) {
    SetDepthRange(camera);
    const double tangent = HalfViewTangent(camera.fov);
    m_scaleX = (m_height - kMargin) * double{camera.aspect} * 0.5 / tangent;
    m_scaleY = (m_height - kMargin) * 0.5 / tangent;
    m_centreX = m_width / 2;
    m_centreY = m_height / 2;
    m_state = Setting;
}

void Occlusion::SetMatrix(const Matrix& modelView) {
    m_matrix = modelView;
    m_origin = modelView.Translation();
    m_matrixChanged = true;
}

std::uint32_t Occlusion::DepthAt(double distance) const {
    if (!(distance < m_camera.yon)) return kFarthest;  // whatever the rounding below
    const double depth = (1 / distance - m_inverseNear) * m_depthScale;
    return depth > 0 ? static_cast<std::uint32_t>(std::min(depth, double{kFarthest})) : 0;
}

// Occluders and what is tested go through these same operations: a surface must never hide itself.
Occlusion::Vertex Occlusion::Project(const vec3& p) const {
    const double distance = std::min(std::max(-p.z, m_camera.hith), m_camera.yon);
    Vertex vertex;
    vertex.position = p;
    const double x = (m_centreX + m_scaleX * p.x / distance) * kFixedOne;
    const double y = m_centreY - m_scaleY * p.y / distance;
    vertex.pixel.x = Truncated(x, -kMostPixels * kFixedOne, kMostPixels * kFixedOne);
    vertex.pixel.y = Truncated(y, -kMostPixels, kMostPixels);
    vertex.depth = DepthAt(distance);
    if (vertex.pixel.x < 0) vertex.outside |= Left;
    if (vertex.pixel.x > m_width * kFixedOne) vertex.outside |= Right;
    if (vertex.pixel.y < 0 || p.z > 0) vertex.outside |= Above;
    if (vertex.pixel.y > m_height || p.z > 0) vertex.outside |= Below;
    if (-p.z < m_camera.hith) vertex.outside |= Near;
    return vertex;
}

bool Occlusion::IsRepeated(const GeoImage* mesh, const Shader& shader) const {
    return !m_matrixChanged && mesh == m_lastMesh && shader.faces == m_lastShader.faces;
}

void Occlusion::AddGeoImage(GeoImage* mesh, const Shader& shader, vec3) {
    assert(m_state == Setting);
    if (IsRepeated(mesh, shader)) return;
    m_matrixChanged = false;
    m_lastMesh = mesh;
    m_lastShader = shader;
    if (!mesh || !mesh->samples || shader.rmode != RenderSolid || !shader.depth) return;
    const double radius = ProjectedRadius(*mesh);
    if (!(radius >= 1)) return;
    ChooseLines(m_gridColumns, LinesAcross(radius, mesh->width), mesh->width);
    ChooseLines(m_gridRows, LinesAcross(radius, mesh->height), mesh->height);
    AddGrid(*mesh, FacingSign(shader.faces));
}

// In pixels, at the distance of the mesh's origin.
double Occlusion::ProjectedRadius(const GeoImage& mesh) const {
    return m_scaleY * mesh.radius / std::max(-m_origin.z, m_camera.hith);
}

void Occlusion::AddGrid(const GeoImage& mesh, int facing) {
    bool first = true;
    for (const int row : m_gridRows) {
        std::swap(m_upper, m_lower);
        ProjectRow(mesh, row, m_lower);
        if (!first) AddCells(facing);
        first = false;
    }
}

void Occlusion::ProjectRow(const GeoImage& mesh, int row, std::vector<Vertex>& vertices) const {
    vertices.clear();
    for (const int column : m_gridColumns)
        vertices.push_back(Project(m_matrix.Transform(mesh.At(row, column).position)));
}

//      P[i]---P[i+1]
//      |     /  |       upper row P, lower row C
//      C[i]---C[i+1]
void Occlusion::AddCells(int facing) {
    for (std::size_t i = 0; i + 1 < m_upper.size(); ++i) {
        AddFace(m_upper[i], m_upper[i + 1], m_lower[i], facing);
        AddFace(m_upper[i + 1], m_lower[i + 1], m_lower[i], facing);
    }
}

void Occlusion::AddFace(const Vertex& a, const Vertex& b, const Vertex& c, int facing) {
    if ((a.outside & b.outside & c.outside) != 0) return;
    if (IsNear(a) || IsNear(b) || IsNear(c)) return;
    if (facing != 0 &&
        !(static_cast<float>(facing) * Facing(a.position, b.position, c.position) >= 0)) {
        return;
    }
    Fill(a, b, c);
}

bool Occlusion::IsNear(const Vertex& vertex) const {
    return !(-vertex.position.z > m_camera.hith);
}

// The whole triangle takes its farthest depth: it must not hide what lies before a part of it.
void Occlusion::Fill(const Vertex& a, const Vertex& b, const Vertex& c) {
    FillTriangle({m_fine, m_width, m_height}, a.pixel, b.pixel, c.pixel,
                 std::max({a.depth, b.depth, c.depth}));
}

void Occlusion::AddTriangle(const vec3& a, const vec3& b, const vec3& c) {
    assert(m_state == Setting);
    if (!(Facing(a, b, c) > 0)) return;
    if (-a.z < m_camera.hith || -b.z < m_camera.hith) return;
    const Vertex pa = Project(a);
    const Vertex pb = Project(b);
    const Vertex pc = Project(c);
    if ((pa.outside & pb.outside & pc.outside) == 0) Fill(pa, pb, pc);
}

void Occlusion::AddTriangle(int x0, int y0, int x1, int y1, int x2, int y2, unsigned depth) {
    assert(m_state == Setting);
    FillTriangle({m_fine, m_width, m_height}, {x0, y0}, {x1, y1}, {x2, y2}, depth);
}

void Occlusion::Sync() {
    assert(m_state == Setting);
    const int factor = std::max(1, std::min(m_width / kCoarseSize, m_height / kCoarseSize));
    const ConstDepthImage fine{m_fine, m_width, m_height};
    m_width /= factor;
    m_height /= factor;
    m_coarse.resize(static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height));
    ShrinkFarthest(fine, factor, m_coarse);
    m_centreX /= factor;
    m_centreY /= factor;
    m_scaleX /= factor;
    m_scaleY /= factor;
    m_state = Testing;
}

bool Occlusion::TestTriangle(const vec3& a, const vec3& b, const vec3& c) const {
    assert(m_state == Testing);
    if (-a.z < m_camera.hith || -b.z < m_camera.hith) return true;
    if (m_coarse.empty()) return true;  // nothing is hidden by a buffer without pixels
    const Vertex pa = Project(a);
    const Vertex pb = Project(b);
    const Vertex pc = Project(c);
    if ((pa.outside & pb.outside & pc.outside) != 0) return false;
    return TriangleShows({m_coarse, m_width, m_height}, pa.pixel, pb.pixel, pc.pixel,
                         std::min({pa.depth, pb.depth, pc.depth}));
}
