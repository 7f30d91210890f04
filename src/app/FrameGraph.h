// The graph of recent frame rates along the left edge of the picture.
// Knows nothing of the renderer: it draws with the driver's own operations.
#pragma once

#include <memory>

class Driver;
class GeoImage;
class Texture;
struct FrameState;

class FrameGraph {
public:
    FrameGraph();
    ~FrameGraph();

    // Draws the ring, oldest rate at the left, as bars between each rate and the reference (frames
    // per second), and lets the scale follow the rates. aspect: width / height of the window. Mesh
    // and texture are made at the first call and kept.
    void Draw(const FrameState& frame, Driver& driver, float reference, float aspect);
    // Mean of the rates as the graph shows them, frames per second; always finite.
    static float Reference(const FrameState& frame);
    // The frames per second that reach half way up the view.
    float Scale() const { return m_scale; }

private:
    float m_scale = 60;
    std::unique_ptr<GeoImage> m_mesh;
    std::unique_ptr<Texture> m_texture;

    void FollowRates(const FrameState& frame);
    void FillMesh(const FrameState& frame, float reference, float aspect);
};
