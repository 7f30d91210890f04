// Extraction of silhouette edges and facing triangles from the grid.
// Must not know what they are drawn for.
//
// The face normals here point the other way than the vertex normals of Finish: a facing triangle
// is one whose drawn front turns away from the point. Shadow volumes count on that.
#include "geometry/Silhouette.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "geometry/GeoImage.h"

namespace {

// A row of quads: its upper and lower samples, and two facing flags (T1, T2) per quad of itself,
// of the row above and of the grid's first row.
struct QuadRow {
    const GeoImageSample* upper;
    const GeoImageSample* lower;
    const GeoImageSample* firstUpper;
    const std::uint8_t* above;
    const std::uint8_t* own;
    const std::uint8_t* first;
    std::size_t quads;
    bool isFirst;
    bool isLast;
};

// Cached normals and degeneracy of the triangles from the current one on.
struct FaceCursor {
    const vec3* normal;
    const std::uint8_t* flat;
};

struct Facing {
    vec3 point;
    float sign;
};

void EmitEdge(SilhouetteResult& result, const vec3& from, const vec3& to) {
    if (!(from == to)) result.edges.push_back({from, to});
}

// The edge a -> b of a triangle with flag f, shared with one of flag g; each in the reverse
// direction of the facing triangle's own edge.
void EmitShared(SilhouetteResult& result, const vec3& a, const vec3& b, int f, int g) {
    if (f > g) EmitEdge(result, b, a);
    if (g > f) EmitEdge(result, a, b);
}

// Flags of one row. A triangle without a side (degenerate, or seen edge-on) takes that of the one
// before it in the row.
void ClassifyRow(const QuadRow& row, const Facing& facing, FaceCursor& face, std::uint8_t* flags,
                 std::vector<SilhouetteCap>* caps) {
    std::uint8_t last = 0;
    for (std::size_t c = 0; c < row.quads; ++c) {
        const vec3& q = row.upper[c + 1].position;
        const vec3& r = row.lower[c].position;
        const vec3 toQ = q - facing.point;
        for (int triangle = 0; triangle < 2; ++triangle) {
            if (*face.flat++ == 0) {
                const float d = Dot(toQ, *face.normal++) * facing.sign;
                if (d < 0) {
                    last = 1;
                    if (caps != nullptr && triangle == 0) {
                        caps->push_back({row.upper[c].position, q, r});
                    } else if (caps != nullptr) {
                        caps->push_back({row.lower[c + 1].position, r, q});
                    }
                } else if (d > 0) {
                    last = 0;
                }
            }
            *flags++ = last;
        }
    }
}

// Edges of one row whose flags are complete. A neighbour that yields no edge, as across a seam
// that is paired from its other side, is given the triangle's own flag.
void EmitRow(const QuadRow& row, bool wrapColumns, bool wrapRows, SilhouetteResult& result) {
    for (std::size_t c = 0; c < row.quads; ++c) {
        const int f1 = row.own[2 * c];
        const int f2 = row.own[2 * c + 1];
        const bool rightmost = c + 1 == row.quads;
        const int top = row.isFirst && wrapRows ? f1 : row.above[2 * c + 1];
        const int left = c > 0 ? row.own[2 * c - 1] : wrapColumns ? f1 : 0;
        const int bottom = !row.isLast ? f2 : wrapRows ? row.first[2 * c] : 0;
        const int right = !rightmost ? f2 : wrapColumns ? row.own[0] : 0;
        if (((f1 ^ f2) | (f1 ^ top) | (f1 ^ left) | (f2 ^ bottom) | (f2 ^ right)) == 0) continue;

        const vec3& p = row.upper[c].position;
        const vec3& q = row.upper[c + 1].position;
        const vec3& r = row.lower[c].position;
        const vec3& s = row.lower[c + 1].position;
        EmitShared(result, p, q, f1, top);
        if (f2 > bottom) EmitEdge(result, r, s);
        if (bottom > f2) {
            EmitEdge(result, row.firstUpper[c + 1].position, row.firstUpper[c].position);
        }
        EmitShared(result, r, p, f1, left);
        if (f2 > right) EmitEdge(result, s, q);
        if (right > f2) EmitEdge(result, row.upper[0].position, row.lower[0].position);
        EmitShared(result, q, r, f1, f2);
    }
}

}  // namespace

void GeoImage::FillFaceNormals() {
    const std::size_t triangles = 2 * Index(height, 0);
    m_faceNormals.clear();
    m_faceNormals.reserve(triangles);
    m_flat.clear();
    m_flat.reserve(triangles);
    const auto add = [&](bool degenerate, const vec3& a, const vec3& b) {
        m_flat.push_back(degenerate ? 1 : 0);
        if (!degenerate) m_faceNormals.push_back(Cross(a, b));
    };
    for (std::int32_t row = 0; row + 1 < height; ++row) {
        const GeoImageSample* upper = samples + Index(row, 0);
        const GeoImageSample* lower = samples + Index(row + 1, 0);
        for (std::int32_t c = 0; c + 1 < width; ++c) {
            const vec3& p = upper[c].position;
            const vec3& q = upper[c + 1].position;
            const vec3& r = lower[c].position;
            const vec3& s = lower[c + 1].position;
            add(p == q || q == r || r == p, q - p, r - p);
            add(s == r || r == q || q == s, r - s, q - s);
        }
    }
}

void GeoImage::ExtractSilhouette(const vec3& point, SilhouetteResult& result, bool caps,
                                 bool positiveSign) {
    result.edges.clear();
    result.caps.clear();
    if (!HasToken(kFaceNormalToken)) FillFaceNormals();
    AddToken(kFaceNormalToken);
    if (width < 2 || height < 2) return;

    const std::size_t stride = 2 * static_cast<std::size_t>(width);
    result.scratch.assign(3 * stride, 0);
    std::uint8_t* above = result.scratch.data();
    std::uint8_t* own = above + stride;
    std::uint8_t* const first = own + stride;
    FaceCursor face{m_faceNormals.data(), m_flat.data()};
    const Facing facing{point, positiveSign ? 1.0F : -1.0F};
    for (std::int32_t r = 0; r + 1 < height; ++r) {
        const QuadRow row{samples + Index(r, 0),
                          samples + Index(r + 1, 0),
                          samples,
                          above,
                          own,
                          first,
                          static_cast<std::size_t>(width) - 1,
                          r == 0,
                          r + 2 == height};
        ClassifyRow(row, facing, face, own, caps ? &result.caps : nullptr);
        if (r == 0) std::copy_n(own, stride, first);
        EmitRow(row, wrapColumns, wrapRows, result);
        std::swap(above, own);
    }
}
