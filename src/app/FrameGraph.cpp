// The graph of recent frame rates along the left edge of the picture.
// Knows nothing of the renderer: it draws with the driver's own operations.
#include "app/FrameGraph.h"

#include <algorithm>
#include <cmath>
#include <iterator>

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

void MakeGraph(FrameState& frame) {
    frame.graphMesh = std::make_unique<GeoImage>(2, FrameState::kRingSize);
    frame.graphTexture = std::make_unique<Texture>();
    if (frame.graphTexture->SetSize(2, 2, 4)) {
        std::copy(std::begin(kTexels), std::end(kTexels), frame.graphTexture->pixels);
    }
}

void FollowRates(FrameState& frame) {
    float last = 0;
    for (int column = 0; column < FrameState::kRingSize; ++column) {
        const float rate = ColumnRate(frame, column);
        if (rate > frame.graphScale) last = rate;
    }
    const float followed = kScaleKept * frame.graphScale + (1 - kScaleKept) * last;
    frame.graphScale = std::max(followed, kMinScale);
}

void FillMesh(FrameState& frame, float reference, float aspect) {
    GeoImage& mesh = *frame.graphMesh;
    for (int column = 0; column < FrameState::kRingSize; ++column) {
        const float rate = ColumnRate(frame, column);
        const float x = (static_cast<float>(column) / 128 - aspect) * kNear;
        const bool above = rate > reference;
        for (const bool upper : {false, true}) {
            const float shown = upper ? std::max(rate, reference) : std::min(rate, reference);
            GeoImageSample& sample = mesh.At(upper ? 1 : 0, column);
            sample.position = {x, (shown * 0.5F / frame.graphScale - 1) * kNear, -kNear};
            sample.normal = {0, 0, 1};
            sample.u = static_cast<float>(column) / FrameState::kRingSize;
            sample.v = upper == above ? 1 : 0;
        }
    }
    mesh.Finish(false);
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

float GraphReference(const FrameState& frame) {
    return frame.AverageRate(Plotted);
}

void DrawFrameGraph(FrameState& frame, Driver& driver, float reference, float aspect) {
    if (!frame.graphMesh) MakeGraph(frame);
    FollowRates(frame);
    FillMesh(frame, Plotted(reference), aspect);
    Camera view;
    view.fov = kGraphFov;
    view.hith = kNear;
    driver.SetupProjection(view);
    driver.LoadMatrix(Matrix());
    const Shader shader = GraphShader(frame.graphTexture.get());
    const vec3 eye;
    // Not cacheable: what is recorded for this mesh would be stale in the next frame.
    driver.RunShader(frame.graphMesh.get(), &shader, &eye, false);
}
