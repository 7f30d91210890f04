// A geometry image: the mesh as a regular grid of surface samples. Rows x columns everywhere in
// the interface. Knows nothing of who draws it; holders of derived data leave a token here.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "geometry/Float4.h"
#include "spatial/Vec3.h"

struct SilhouetteResult;

struct GeoImageSample {
    vec3 position;  // object space
    vec3 normal;    // unit length after Finish (zero where the surface has no direction)
    float u = 0;
    float v = 0;
};
static_assert(sizeof(GeoImageSample) == 32, "drivers pass samples as interleaved arrays");

// The quad with top-left sample (c, r) has corners P = (c, r), Q = (c+1, r), R = (c, r+1),
// S = (c+1, r+1) and is drawn as the triangles (P, Q, R) and (S, R, Q):
//
//      P---Q
//      |  /|      Front faces are counter-clockwise in the strips that alternate
//      | / |      rows r and r+1: outward normals are (R - P) x (Q - P).
//      R---S
class GeoImage {
public:
    // Largest number of samples of one mesh; a grid is 32 bytes a sample.
    static constexpr std::int64_t kMaxSamples = std::int64_t{1} << 24;
    // Tokens of derived data live in one set with OpenGL list names, which count up from 1: the
    // face normals have the highest value, and each renderer's detail cache one of its own from
    // the next one down, where no list name reaches.
    static constexpr std::uint32_t kFaceNormalToken = 0xFFFFFFFFU;
    static constexpr std::uint32_t kHighestDetailToken = 0xFFFFFFFEU;

    std::int32_t width = 0;             // samples per row
    std::int32_t height = 0;            // rows
    GeoImageSample* samples = nullptr;  // row-major, owned (realloc/free); null when empty
    float radius = 0;                   // largest distance of a sample from the origin
    vec3 boundsMin;
    vec3 boundsMax;
    float error = 0;           // geometric error; 0: always full detail, < 0: never resampled
    bool wrapColumns = false;  // first and last column are one seam
    bool wrapRows = false;     // first and last row are one seam

    GeoImage() = default;
    GeoImage(int rows, int columns);  // samples uninitialised
    ~GeoImage();
    // Copies and moves take everything but the tokens and the face-normal cache, which start empty.
    // A copy that memory does not hold is an empty grid.
    GeoImage(const GeoImage& other);
    GeoImage(GeoImage&& other) noexcept;
    GeoImage& operator=(GeoImage other) noexcept;

    GeoImageSample& At(int row, int column) { return samples[Index(row, column)]; }
    const GeoImageSample& At(int row, int column) const { return samples[Index(row, column)]; }

    // Reallocates the samples, contents undefined; 0 for either size releases them. False, with
    // the grid empty, when the size is negative, above kMaxSamples, or memory runs out.
    bool SetSize(int rows, int columns);
    // Reads a mesh file ("-": standard input). On failure one line on standard error and false;
    // samples, sizes and error stay (the wrap flags may change, the tokens are emptied).
    bool Load(const std::string& path) { return Load(path, path); }
    // name: what the line calls the file.
    bool Load(const std::string& path, const std::string& name);
    // Writes a mesh file ("-": standard output). False, with one line, on failure; a file that
    // could not be completed is removed. Refused, before the file is touched, is what Load would
    // refuse: an empty grid and positions so far out that their distance from the origin is no
    // float.
    bool Save(const std::string& path, int codec) const;
    // Resamples source into destination (which may be the source itself) with the sizes rounded
    // up, 4 at least. filter: 0 nearest, 1 bilinear, 2 bilinear blended with a box mean. Corners
    // and borders stay. Wrap flags follow the source; bounds, radius and unit normals need a
    // Finish. False: no source samples, above kMaxSamples or no memory (destination empty, but a
    // mesh that is resized into itself stays), or, with one line, an unknown filter (samples
    // undefined).
    static bool Resize(const GeoImage& source, GeoImage& destination, float rows, float columns,
                       int filter);
    // Call after samples changed: empties the tokens, recomputes normals if asked, makes every
    // normal unit length, sets bounds and radius. Needs at least one sample.
    void Finish(bool recomputeNormals);
    // Detail factor wanted at a distance: error in pixels of a view that is resolution pixels
    // high with a vertical field of view in degrees; 1 for a mesh with error <= 0.
    float ProjectedError(float distance, int resolution, float fov) const;
    // Size that the detail cache counts against its budget.
    std::int64_t ByteSize() const { return std::int64_t{32} * width * height + 72; }
    // Fills result with the edges between triangles facing and not facing the object-space point
    // (positiveSign false: facing reversed), and with the facing triangles when caps is set.
    // Without memory the result is empty, after one line on standard error.
    void ExtractSilhouette(const vec3& point, SilhouetteResult& result, bool caps,
                           bool positiveSign);

    bool HasToken(std::uint32_t token) const {
        return std::binary_search(m_tokens.begin(), m_tokens.end(), token);
    }
    void AddToken(std::uint32_t token);
    void ClearTokens() { m_tokens.clear(); }
    // Normals that the face-normal cache holds: one a triangle, none for degenerate ones.
    std::size_t FaceNormalCount() const { return m_faceNormalCount; }

private:
    // Normals of four neighbouring quads, (P, Q, R) before (S, R, Q), by axis and quad: four are
    // tested at once. Zero for degenerate triangles and beyond the end of the row.
    struct NormalBlock {
        Float4 normals[2][3];
    };
    // Blocks of a row of quads.
    std::size_t BlocksPerRow() const { return static_cast<std::size_t>(width + 2) / 4; }
    void FillFaceNormals();
    void FillSilhouette(const vec3& point, SilhouetteResult& result, bool caps, bool positiveSign);
    // Everything but the grid.
    void CopyAttributes(const GeoImage& other);

    std::vector<NormalBlock> m_faceNormals;  // row by row
    std::size_t m_faceNormalCount = 0;
    // Derived data that is valid for the present samples, ascending: asked for with every draw.
    std::vector<std::uint32_t> m_tokens;

    std::size_t Index(int row, int column) const {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(width) +
               static_cast<std::size_t>(column);
    }
};
