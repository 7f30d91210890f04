// Scan conversion of triangles over an array of depths, to fill it and to test against it.
// Must not know cameras or meshes: everything here is in pixels.
#pragma once

#include <cstdint>
#include <span>

// x in 16.16 fixed point, y in whole rows. Both may lie far outside the image, by up to 2^30
// pixels; that takes more than 32 bits.
struct RasterPoint {
    std::int64_t x = 0;
    std::int64_t y = 0;
};

// Row-major unsigned depths, smaller is nearer. The view owns nothing; width and height may be 0.
struct DepthImage {
    std::span<std::uint32_t> depths;
    int width = 0;
    int height = 0;
};
struct ConstDepthImage {
    std::span<const std::uint32_t> depths;
    int width = 0;
    int height = 0;
};

// Brings every pixel of the triangle that holds something farther to the depth. Pixels are those
// between the edges on each row from the top vertex to the bottom one, both ends included.
void FillTriangle(const DepthImage& image, const RasterPoint& a, const RasterPoint& b,
                  const RasterPoint& c, std::uint32_t depth);
// Whether some pixel of the triangle holds the depth or something farther.
bool TriangleShows(const ConstDepthImage& image, const RasterPoint& a, const RasterPoint& b,
                   const RasterPoint& c, std::uint32_t depth);
// Shrinks the image by a whole factor: every pixel gets the farthest depth of its square block.
// Columns and rows that fill no block are left out. target: (width / factor) x (height / factor).
void ShrinkFarthest(const ConstDepthImage& image, int factor, std::span<std::uint32_t> target);
