// What the frame loop keeps from frame to frame: times, and the rates that follow from them.
#pragma once

#include <array>
#include <cstdint>
#include <functional>

struct FrameState {
    static constexpr int kRingSize = 64;

    std::array<float, kRingSize> rates{};  // recent frame rates, frames per second
    int writeIndex = 0;                    // entry of the present frame, else the oldest one
    int smoothedFrameTime = 0;             // milliseconds
    std::int64_t recordedTime = 0;         // milliseconds of rendering while recording
    unsigned lastTime = 0;                 // milliseconds, end of the previous frame's bookkeeping
    bool firstFrame = true;

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
