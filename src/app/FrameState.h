// What the frame loop keeps from frame to frame: rates, times and the graph's drawing data.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>

class GeoImage;
class Texture;

struct FrameState {
    static constexpr int kRingSize = 64;

    std::array<float, kRingSize> rates{};  // recent frame rates, frames per second
    int writeIndex = 0;                    // entry of the present frame, else the oldest one
    int smoothedFrameTime = 0;             // milliseconds
    std::int64_t recordedTime = 0;         // milliseconds of rendering while recording
    unsigned lastTime = 0;                 // milliseconds, end of the previous frame's bookkeeping
    bool firstFrame = true;
    float graphScale = 60;                // frames per second that reach half way up the view
    std::unique_ptr<GeoImage> graphMesh;  // created when the graph is first drawn
    std::unique_ptr<Texture> graphTexture;

    FrameState();
    ~FrameState();

    // Mixes a frame's time into the smoothed one and enters the rate that follows from it. A frame
    // shorter than a millisecond can make that rate infinite.
    void AddFrameTime(int milliseconds);
    // Mean of the ring, each rate taken as shown(rate).
    template <class Shown = std::identity>
    float AverageRate(Shown shown = {}) const {
        float sum = 0;
        for (const float rate : rates)
            sum += shown(rate);
        return sum * (1.0F / kRingSize);
    }
    // Makes the next entry of the ring the present one.
    void Advance() { writeIndex = (writeIndex + 1) % kRingSize; }
};

// The mesh detail scale that brings frames of the given time closer to capture rate; the scale
// itself for a capture rate that is no number, 1 for such a scale.
float SteeredDetailScale(float scale, float captureRate, int frameMilliseconds);
