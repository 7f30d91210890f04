// Triangles by rows: the edge from top to bottom on one side, the two short ones on the other.
// Rows are clipped before anything is stepped, so that no triangle costs more than the image.
#include "spatial/OcclusionRaster.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int kFractionBits = 16;

// An edge at one row. A step is taken at most as often as the edge has rows, so x stays within
// the range of its ends.
struct Edge {
    std::int64_t x;
    std::int64_t step = 0;

    Edge(const RasterPoint& from, const RasterPoint& to, std::int64_t row) : x(from.x) {
        const std::int64_t rows = to.y - from.y;
        if (rows <= 0) return;
        step = Quotient(to.x - from.x, rows);
        x += step * (row - from.y);
    }
    // Rounds towards 0. Dividends have at most 48 bits: their quotients lie too far apart for a
    // double to round one up to the next integer, and doubles divide faster.
    static std::int64_t Quotient(std::int64_t dividend, std::int64_t divisor) {
        return static_cast<std::int64_t>(static_cast<double>(dividend) /
                                         static_cast<double>(divisor));
    }
};

// Calls visit(row, first pixel, last pixel) until it returns true; whether it did.
template <class Visit>
bool VisitSpan(int width, std::int64_t row, std::int64_t one, std::int64_t other, Visit visit) {
    const std::int64_t first = std::max<std::int64_t>(std::min(one, other) >> kFractionBits, 0);
    const std::int64_t last =
        std::min<std::int64_t>(std::max(one, other) >> kFractionBits, width - 1);
    return first <= last && visit(row, first, last);
}

template <class Visit>
bool VisitRows(int width, std::int64_t row, std::int64_t end, Edge one, Edge other, Visit visit) {
    for (; row < end; ++row) {
        if (VisitSpan(width, row, one.x, other.x, visit)) return true;
        one.x += one.step;
        other.x += other.step;
    }
    return false;
}

// The row of the middle vertex belongs to the lower part, which starts at that vertex. A triangle
// of one row reaches from its leftmost to its rightmost vertex.
template <class Visit>
bool VisitTriangle(int width, int height, RasterPoint a, RasterPoint b, RasterPoint c,
                   Visit visit) {
    if (b.y < a.y) std::swap(a, b);
    if (c.y < b.y) std::swap(b, c);
    if (b.y < a.y) std::swap(a, b);
    const std::int64_t top = std::max<std::int64_t>(a.y, 0);
    const std::int64_t end = std::min<std::int64_t>(c.y + 1, height);
    if (top >= end) return false;
    if (a.y == c.y) {
        return VisitSpan(width, a.y, std::min({a.x, b.x, c.x}), std::max({a.x, b.x, c.x}), visit);
    }
    const std::int64_t middle = std::clamp(b.y, top, end);
    return (top < middle && VisitRows(width, top, middle, {a, c, top}, {a, b, top}, visit)) ||
           (middle < end && VisitRows(width, middle, end, {a, c, middle}, {b, c, middle}, visit));
}

std::ptrdiff_t RowStart(std::ptrdiff_t row, int width) {
    return row * width;
}

}  // namespace

void FillTriangle(const DepthImage& image, const RasterPoint& a, const RasterPoint& b,
                  const RasterPoint& c, std::uint32_t depth) {
    VisitTriangle(image.width, image.height, a, b, c, [&](auto row, auto first, auto last) {
        std::uint32_t* pixels = image.depths.data() + RowStart(row, image.width);
        for (auto x = first; x <= last; ++x)
            pixels[x] = std::min(pixels[x], depth);
        return false;
    });
}

bool TriangleShows(const ConstDepthImage& image, const RasterPoint& a, const RasterPoint& b,
                   const RasterPoint& c, std::uint32_t depth) {
    return VisitTriangle(image.width, image.height, a, b, c, [&](auto row, auto first, auto last) {
        const std::uint32_t* pixels = image.depths.data() + RowStart(row, image.width);
        return std::any_of(pixels + first, pixels + last + 1,
                           [depth](std::uint32_t stored) { return depth <= stored; });
    });
}

// Whole rows first: their maxima go through the image in the order in which it lies in memory.
void ShrinkFarthest(const ConstDepthImage& image, int factor, std::span<std::uint32_t> target) {
    const int width = image.width / factor;
    const int height = image.height / factor;
    std::fill(target.begin(), target.end(), 0);
    for (int row = 0; row < height * factor; ++row) {
        const std::uint32_t* source = image.depths.data() + RowStart(row, image.width);
        std::uint32_t* pixels = target.data() + RowStart(row / factor, width);
        for (int x = 0; x < width; ++x, source += factor)
            pixels[x] = std::max(pixels[x], *std::max_element(source, source + factor));
    }
}
