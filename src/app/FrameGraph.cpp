// The graph of recent frame rates along the left edge of the picture.
// Knows nothing of the renderer: it draws with the driver's own operations.
#include "app/FrameGraph.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "app/FrameState.h"
#include "drivers/Driver.h"
#include "geometry/GeoImage.h"
#include "scene/Camera.h"
#include "scene/Shader.h"

namespace {

constexpr float kNear = 0.1F;        // the graph lies on the near plane, in front of everything
constexpr float kGraphFov = 90;      // degrees: the view is 2 * kNear high at kNear
constexpr float kScaleKept = 0.95F;  // share of the scale that stays from frame to frame
constexpr float kMinScale = 1e-6F;   // keeps the heights finite while no frame has a rate
constexpr float kMaxRate = 1e6F;     // keeps the heights finite whatever the capture rate says
// Shown for frames without measurable time: the rate of the shortest measurable one.
constexpr float kUnmeasuredRate = 1000;

constexpr std::uint8_t kTexels[] = {
    75,  75, 127, 64, 75,  127, 75, 192,   // at the reference; older half, newer half
    127, 75, 75,  64, 127, 75,  75, 192};  // at the rate

float Plotted(float rate) {
    if (std::isfinite(rate)) return std::clamp(rate, -kMaxRate, kMaxRate);
    return rate > 0 ? kUnmeasuredRate : 0;
}

// Column 0 is the oldest rate.
float ColumnRate(const FrameState& frame, int column) {
    const int entry = (frame.writeIndex + column) % FrameState::kRingSize;
    return Plotted(frame.rates[static_cast<unsigned>(entry)]);
}

std::unique_ptr<Texture> MakeTexture() {
    auto texture = std::make_unique<Texture>();
    if (texture->SetSize(2, 2, 4)) {
        std::copy(std::begin(kTexels), std::end(kTexels), texture->pixels);
    }
    return texture;
}

Shader GraphShader(Texture* texture) {
    Shader shader;
    shader.texture = texture;
    shader.blend = BlendBlend;
    shader.faces = FacesAll;
    shader.lit = false;
    shader.depth = false;
    return shader;
}

}  // namespace

FrameGraph::FrameGraph() = default;
FrameGraph::~FrameGraph() = default;

void FrameGraph::FollowRates(const FrameState& frame) {
    float last = 0;
    for (int column = 0; column < FrameState::kRingSize; ++column) {
        const float rate = ColumnRate(frame, column);
        if (rate > m_scale) last = rate;
    }
    m_scale = std::max(kScaleKept * m_scale + (1 - kScaleKept) * last, kMinScale);
}

void FrameGraph::FillMesh(const FrameState& frame, float reference, float aspect) {
    for (int column = 0; column < FrameState::kRingSize; ++column) {
        const float rate = ColumnRate(frame, column);
        const float x = (static_cast<float>(column) / 128 - aspect) * kNear;
        const bool above = rate > reference;
        for (const bool upper : {false, true}) {
            const float shown = upper ? std::max(rate, reference) : std::min(rate, reference);
            GeoImageSample& sample = m_mesh->At(upper ? 1 : 0, column);
            sample.position = {x, (shown * 0.5F / m_scale - 1) * kNear, -kNear};
            sample.normal = {0, 0, 1};
            sample.u = static_cast<float>(column) / FrameState::kRingSize;
            sample.v = upper == above ? 1 : 0;
        }
    }
    m_mesh->Finish(false);
}

float FrameGraph::Reference(const FrameState& frame) {
    return frame.AverageRate(Plotted);
}

void FrameGraph::Draw(const FrameState& frame, Driver& driver, float reference, float aspect) {
    if (!m_mesh) {
        m_mesh = std::make_unique<GeoImage>(2, FrameState::kRingSize);
        m_texture = MakeTexture();
    }
    FollowRates(frame);
    FillMesh(frame, Plotted(reference), aspect);
    Camera view;
    view.fov = kGraphFov;
    view.hith = kNear;
    driver.SetupProjection(view);
    driver.LoadMatrix(Matrix());
    const Shader shader = GraphShader(m_texture.get());
    const vec3 eye;
    // Not cacheable: what is recorded for this mesh would be stale in the next frame.
    driver.RunShader(m_mesh.get(), &shader, &eye, false);
}
