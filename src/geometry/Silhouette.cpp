// Extraction of silhouette edges and facing triangles from the grid.
// Must not know what they are drawn for.
//
// The face normals here point the other way than the vertex normals of Finish: a facing triangle
// is one whose drawn front turns away from the point. Shadow volumes count on that.
#include "geometry/Silhouette.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <utility>

#include "geometry/Float4.h"
#include "geometry/GeoImage.h"
#include "geometry/WithinMemory.h"

namespace {

// One bit a quad: 64 quads of a row.
using Bits = std::uint64_t;
constexpr std::size_t kWordQuads = 64;

struct Viewpoint {
    vec3 point;
    bool positive;
};

// What the tests say about (P, Q, R) and (S, R, Q) of 64 quads. A triangle that is degenerate or
// seen edge-on faces neither way.
struct Sides {
    Bits facing[2] = {0, 0};
    Bits away[2] = {0, 0};
};

// Flags of the two triangles of all quads of a row.
struct FlagRow {
    Bits* t1;
    Bits* t2;
};

// A row of quads: its upper and lower samples, and the flags of itself, of the row above and of
// the grid's first row.
struct QuadRow {
    const GeoImageSample* upper;
    const GeoImageSample* lower;
    const GeoImageSample* firstUpper;
    FlagRow own;
    FlagRow above;
    const Bits* first1;
    std::size_t quads;
    bool isFirst;
    bool isLast;
};

std::size_t Words(std::size_t quads) {
    return (quads + kWordQuads - 1) / kWordQuads;
}

Bits Lowest(std::size_t count) {
    return count < kWordQuads ? (Bits{1} << count) - 1 : ~Bits{0};
}

bool Has(Bits bits, std::size_t index) {
    return (bits >> index & 1) != 0;
}

// Calls visit with the index of every bit that is set, ascending.
template <class Visit>
void ForEachBit(Bits bits, Visit visit) {
    for (; bits != 0; bits &= bits - 1)
        visit(static_cast<std::size_t>(std::countr_zero(bits)));
}

// Positions of four samples by axis.
struct Points {
    Float4 axis[3];
};

Points Transpose(Float4 a, Float4 b, Float4 c, Float4 d) {
    const Float4 xy1 = _mm_unpacklo_ps(a, b);
    const Float4 xy2 = _mm_unpacklo_ps(c, d);
    const Float4 z1 = _mm_unpackhi_ps(a, b);
    const Float4 z2 = _mm_unpackhi_ps(c, d);
    return {{_mm_movelh_ps(xy1, xy2), _mm_movehl_ps(xy2, xy1), _mm_movelh_ps(z1, z2)}};
}

Float4 DotFour(const Points& points, const Float4 (&normals)[3]) {
    return points.axis[0] * normals[0] + points.axis[1] * normals[1] + points.axis[2] * normals[2];
}

// Tests up to four quads, of which q is the first upper right corner.
template <class NormalBlock>
void TestBlock(const GeoImageSample* q, std::size_t quads, const NormalBlock& block,
               const vec3& point, std::size_t shift, Bits (&below)[2], Bits (&above)[2]) {
    const auto corner = [&](std::size_t i) {
        return LoadFloat4(&q[quads >= 4 ? i : std::min(i, quads - 1)]);
    };
    Points points = Transpose(corner(0), corner(1), corner(2), corner(3));
    points.axis[0] -= Broadcast(point.x);
    points.axis[1] -= Broadcast(point.y);
    points.axis[2] -= Broadcast(point.z);
    for (int triangle = 0; triangle < 2; ++triangle) {
        const Float4 d = DotFour(points, block.normals[triangle]);
        below[triangle] |= Bits{LessBits(d, Float4{})} << shift;
        above[triangle] |= Bits{LessBits(Float4{}, d)} << shift;
    }
}

template <class NormalBlock>
Sides TestWord(const GeoImageSample* upper, std::size_t quads, const NormalBlock* block,
               const Viewpoint& facing) {
    Bits below[2] = {0, 0};
    Bits above[2] = {0, 0};
    std::size_t quad = 0;
    for (; quad + 4 <= quads; quad += 4)
        TestBlock(upper + quad + 1, 4, *block++, facing.point, quad, below, above);
    if (quad < quads)
        TestBlock(upper + quad + 1, quads - quad, *block, facing.point, quad, below, above);
    if (facing.positive) return {{below[0], below[1]}, {above[0], above[1]}};
    return {{above[0], above[1]}, {below[0], below[1]}};
}

// A triangle without a side takes that of the one before it in the row.
void Inherit(const Sides& sides, Bits valid, bool last, Bits& t1, Bits& t2) {
    const Bits unsure1 = valid & ~(sides.facing[0] | sides.away[0]);
    const Bits unsure2 = valid & ~(sides.facing[1] | sides.away[1]);
    ForEachBit(unsure1 | unsure2, [&](std::size_t i) {
        const bool before = i > 0 ? Has(t2, i - 1) : last;
        if (Has(unsure1, i) && before) t1 |= Bits{1} << i;
        if (Has(unsure2, i) && Has(t1, i)) t2 |= Bits{1} << i;
    });
}

void AppendCaps(const Sides& sides, const GeoImageSample* upper, const GeoImageSample* lower,
                std::vector<SilhouetteCap>& caps) {
    ForEachBit(sides.facing[0] | sides.facing[1], [&](std::size_t i) {
        const vec3& q = upper[i + 1].position;
        const vec3& r = lower[i].position;
        if (Has(sides.facing[0], i)) caps.push_back({upper[i].position, q, r});
        if (Has(sides.facing[1], i)) caps.push_back({lower[i + 1].position, r, q});
    });
}

template <class NormalBlock>
void ClassifyRow(const QuadRow& row, const NormalBlock* blocks, const Viewpoint& facing,
                 std::vector<SilhouetteCap>* caps) {
    bool last = false;
    for (std::size_t word = 0; word < Words(row.quads); ++word) {
        const std::size_t first = word * kWordQuads;
        const std::size_t quads = std::min(kWordQuads, row.quads - first);
        const Sides sides = TestWord(row.upper + first, quads, blocks + first / 4, facing);
        row.own.t1[word] = sides.facing[0];
        row.own.t2[word] = sides.facing[1];
        Inherit(sides, Lowest(quads), last, row.own.t1[word], row.own.t2[word]);
        last = Has(row.own.t2[word], kWordQuads - 1);
        if (caps != nullptr) AppendCaps(sides, row.upper + first, row.lower + first, *caps);
    }
}

void EmitEdge(SilhouetteResult& result, const vec3& from, const vec3& to) {
    if (!(from == to)) result.edges.push_back({from, to});
}

// The edge a -> b of a triangle with flag f, shared with one of flag g; each in the reverse
// direction of the facing triangle's own edge.
void EmitShared(SilhouetteResult& result, const vec3& a, const vec3& b, bool f, bool g) {
    if (f && !g) EmitEdge(result, b, a);
    if (g && !f) EmitEdge(result, a, b);
}

// The flags of 64 quads and of the triangles across their four outer edges. A neighbour that
// yields no edge, as across a seam that is paired from its other side, is given the triangle's own
// flag.
struct Neighbours {
    Bits f1;
    Bits f2;
    Bits top;
    Bits left;
    Bits bottom;
    Bits right;
};

void EmitQuad(const QuadRow& row, std::size_t quad, const Neighbours& n, std::size_t bit,
              SilhouetteResult& result) {
    const vec3& p = row.upper[quad].position;
    const vec3& q = row.upper[quad + 1].position;
    const vec3& r = row.lower[quad].position;
    const vec3& s = row.lower[quad + 1].position;
    const bool f1 = Has(n.f1, bit);
    const bool f2 = Has(n.f2, bit);
    const bool bottom = Has(n.bottom, bit);
    const bool right = Has(n.right, bit);
    EmitShared(result, p, q, f1, Has(n.top, bit));
    if (f2 && !bottom) EmitEdge(result, r, s);
    if (bottom && !f2) {
        EmitEdge(result, row.firstUpper[quad + 1].position, row.firstUpper[quad].position);
    }
    EmitShared(result, r, p, f1, Has(n.left, bit));
    if (f2 && !right) EmitEdge(result, s, q);
    if (right && !f2) EmitEdge(result, row.upper[0].position, row.lower[0].position);
    EmitShared(result, q, r, f1, f2);
}

// Edges of one row whose flags are complete.
void EmitRow(const QuadRow& row, bool wrapColumns, bool wrapRows, SilhouetteResult& result) {
    const std::size_t words = Words(row.quads);
    const bool firstFlag = Has(row.own.t1[0], 0);
    Bits carry = wrapColumns && firstFlag ? 1 : 0;  // flag left of the word's first quad
    for (std::size_t word = 0; word < words; ++word) {
        const std::size_t start = word * kWordQuads;
        const Bits valid = Lowest(row.quads - start);
        Neighbours n{};
        n.f1 = row.own.t1[word];
        n.f2 = row.own.t2[word];
        n.top = row.isFirst && wrapRows ? n.f1 : row.above.t2[word];
        n.left = (n.f2 << 1 | carry) & valid;
        n.bottom = !row.isLast ? n.f2 : wrapRows ? row.first1[word] : 0;
        n.right = n.f2;
        if (word + 1 == words) {
            const Bits end = valid ^ valid >> 1;
            n.right = wrapColumns && firstFlag ? n.f2 | end : n.f2 & ~end;
        }
        carry = n.f2 >> (kWordQuads - 1);
        const Bits differing =
            (n.f1 ^ n.f2) | (n.f1 ^ n.top) | (n.f1 ^ n.left) | (n.f2 ^ n.bottom) | (n.f2 ^ n.right);
        ForEachBit(differing, [&](std::size_t bit) { EmitQuad(row, start + bit, n, bit, result); });
    }
}

}  // namespace

void GeoImage::FillFaceNormals() {
    const std::size_t blocksPerRow = BlocksPerRow();
    m_faceNormalCount = 0;
    m_faceNormals.assign(static_cast<std::size_t>(std::max(height - 1, 0)) * blocksPerRow, {});
    const auto enter = [&](NormalBlock& block, int triangle, std::int32_t lane, bool degenerate,
                           const vec3& a, const vec3& b) {
        if (degenerate) return;
        const vec3 normal = Cross(a, b);
        block.normals[triangle][0][lane] = normal.x;
        block.normals[triangle][1][lane] = normal.y;
        block.normals[triangle][2][lane] = normal.z;
        ++m_faceNormalCount;
    };
    for (std::int32_t row = 0; row + 1 < height; ++row) {
        const GeoImageSample* upper = samples + Index(row, 0);
        const GeoImageSample* lower = samples + Index(row + 1, 0);
        NormalBlock* blocks = m_faceNormals.data() + static_cast<std::size_t>(row) * blocksPerRow;
        for (std::int32_t c = 0; c + 1 < width; ++c) {
            const vec3& p = upper[c].position;
            const vec3& q = upper[c + 1].position;
            const vec3& r = lower[c].position;
            const vec3& s = lower[c + 1].position;
            NormalBlock& block = blocks[c / 4];
            enter(block, 0, c % 4, p == q || q == r || r == p, q - p, r - p);
            enter(block, 1, c % 4, s == r || r == q || q == s, r - s, q - s);
        }
    }
}

void GeoImage::ExtractSilhouette(const vec3& point, SilhouetteResult& result, bool caps,
                                 bool positiveSign) {
    const bool done = WithinMemory("GeoImage::ExtractSilhouette", [&] {
        FillSilhouette(point, result, caps, positiveSign);
        return true;
    });
    if (!done) result = {};
}

void GeoImage::FillSilhouette(const vec3& point, SilhouetteResult& result, bool caps,
                              bool positiveSign) {
    result.edges.clear();
    result.caps.clear();
    if (!HasToken(kFaceNormalToken)) {
        FillFaceNormals();
        AddToken(kFaceNormalToken);
    }
    if (width < 2 || height < 2) return;

    const std::size_t quads = static_cast<std::size_t>(width) - 1;
    const std::size_t words = Words(quads);
    result.scratch.assign(5 * words, 0);
    Bits* const scratch = result.scratch.data();
    FlagRow above{scratch, scratch + words};
    FlagRow own{scratch + 2 * words, scratch + 3 * words};
    Bits* const first1 = scratch + 4 * words;
    const NormalBlock* blocks = m_faceNormals.data();
    for (std::int32_t r = 0; r + 1 < height; ++r, blocks += BlocksPerRow()) {
        const QuadRow row{samples + Index(r, 0),
                          samples + Index(r + 1, 0),
                          samples,
                          own,
                          above,
                          first1,
                          quads,
                          r == 0,
                          r + 2 == height};
        ClassifyRow(row, blocks, {point, positiveSign}, caps ? &result.caps : nullptr);
        if (r == 0) std::copy_n(own.t1, words, first1);
        EmitRow(row, wrapColumns, wrapRows, result);
        std::swap(above, own);
    }
}
