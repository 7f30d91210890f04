// What the frame loop keeps from frame to frame: rates, times and the graph's drawing data.
#pragma once

#include <array>
#include <memory>

class GeoImage;
class Texture;

struct FrameState {
    static constexpr int kRingSize = 64;

    std::array<float, kRingSize> rates{};  // recent frame rates, frames per second
    int writeIndex = 0;
    int smoothedFrameTime = 0;  // milliseconds
    int recordedTime = 0;       // milliseconds of rendering while recording
    unsigned lastTime = 0;      // milliseconds, end of the previous frame's bookkeeping
    bool firstFrame = true;
    float graphScale = 60;
    std::unique_ptr<GeoImage> graphMesh;  // created at the first frame
    std::unique_ptr<Texture> graphTexture;

    FrameState();
    ~FrameState();
};
