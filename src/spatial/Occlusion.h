// A small depth buffer of occluders, against which boxes and spheres are tested. Owned by a
// driver; the renderer fills it and asks. Knows nothing of drawing.
#pragma once

#include <cstdint>
#include <vector>

#include "scene/Camera.h"
#include "scene/Shader.h"
#include "spatial/Matrix.h"
#include "spatial/OcclusionRaster.h"
#include "spatial/Vec3.h"

class GeoImage;

// Order of calls in a frame: Resize, Clear, SetProjection, any number of SetMatrix, AddGeoImage
// and AddTriangle, Sync, any number of TestTriangle. Adding after Sync and testing before it are
// fatal. A second image of the frame starts again at Clear and has the resolution of the tests.
//
// Depths are 32-bit and linear in 1 / distance: 0 at the near plane, all bits set at the far one,
// so smaller is nearer. Camera space looks along -z, y up; pixels count from the top left.
class Occlusion {
public:
    Occlusion() = default;
    virtual ~Occlusion() = default;
    Occlusion(const Occlusion&) = delete;
    Occlusion& operator=(const Occlusion&) = delete;

    // Chooses the buffer's size for a viewport in pixels; a viewport without area gives a buffer
    // without pixels. Keeps the depths at hand.
    virtual void Resize(int viewportWidth, int viewportHeight);
    // Empties the buffer: everything is infinitely far.
    virtual void Clear();
    // Takes the camera's lens (its place and direction are in the matrices) and begins adding.
    virtual void SetProjection(const Camera& camera);
    // Model-view matrix of the meshes that follow.
    virtual void SetMatrix(const Matrix& modelView);
    // Draws the mesh, sampled coarsely, where the shader would fill its faces and their depth.
    // The same mesh and faces again under the same matrix cost nothing. Null: nothing.
    virtual void AddGeoImage(GeoImage* mesh, const Shader& shader, vec3 eye);
    // Ends adding: the buffer becomes a coarser one of farthest depths. Begins testing.
    virtual void Sync();
    // Whether a camera-space triangle may show a pixel. One that has a or b before the near plane
    // always may; c alone before it is judged as if it lay on the plane.
    virtual bool TestTriangle(const vec3& a, const vec3& b, const vec3& c) const;

    // Draws a camera-space triangle that faces the eye, (b - a) x (c - a) pointing away from it,
    // unless a or b lies before the near plane.
    void AddTriangle(const vec3& a, const vec3& b, const vec3& c);
    // Draws a triangle in buffer coordinates, x in 16.16 fixed point, y in pixels.
    void AddTriangle(int x0, int y0, int x1, int y1, int x2, int y2, unsigned depth);

protected:
    enum State { New, Setting, Testing };

    State m_state = New;
    int m_width = 0;
    int m_height = 0;
    int m_centreX = 0;
    int m_centreY = 0;
    double m_scaleX = 0;  // pixels per unit at distance 1
    double m_scaleY = 0;
    double m_inverseNear = 0;
    double m_depthScale = 0;
    Camera m_camera;
    Matrix m_matrix;
    vec3 m_origin;  // translation of m_matrix
    bool m_matrixChanged = false;
    const GeoImage* m_lastMesh = nullptr;  // only ever compared
    Shader m_lastShader;
    std::vector<std::uint32_t> m_coarse;
    std::vector<std::uint32_t> m_fine;

    // Takes the camera with the depth mapping that follows from it.
    void SetDepthRange(const Camera& camera);

private:
    // A camera-space point with its place in the buffer.
    struct Vertex {
        vec3 position;
        RasterPoint pixel;
        std::uint32_t depth = 0;
        unsigned outside = 0;  // bits of the sides of the view that the point lies beyond
    };
    // Scratch of one mesh, kept for its capacity: the sample rows and columns that it is reduced
    // to, and two rows of its vertices.
    std::vector<int> m_gridRows;
    std::vector<int> m_gridColumns;
    std::vector<Vertex> m_upper;
    std::vector<Vertex> m_lower;

    Vertex Project(const vec3& point) const;
    std::uint32_t DepthAt(double distance) const;
    bool IsRepeated(const GeoImage* mesh, const Shader& shader) const;
    double ProjectedRadius(const GeoImage& mesh) const;
    void AddGrid(const GeoImage& mesh, int facing);
    void ProjectRow(const GeoImage& mesh, int row, std::vector<Vertex>& vertices) const;
    void AddCells(int facing);
    void AddFace(const Vertex& a, const Vertex& b, const Vertex& c, int facing);
    void Fill(const Vertex& a, const Vertex& b, const Vertex& c);
    bool IsNear(const Vertex& vertex) const;
};
