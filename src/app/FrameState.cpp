// Frame times, frame rates and the detail that follows from them.
// Knows nothing of clocks or drawing.
#include "app/FrameState.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kMinDetail = 0.0001;
constexpr double kMaxDetail = 100;
// Share of the wanted scale taken over in one frame: detail is dropped faster than it is added.
constexpr double kDropShare = 0.3;
constexpr double kRaiseShare = 0.2;

}  // namespace

void FrameState::AddFrameTime(int milliseconds) {
    smoothedFrameTime = static_cast<int>((std::int64_t{milliseconds} + smoothedFrameTime) / 2);
    rates[static_cast<unsigned>(writeIndex)] = 1000.0F / static_cast<float>(smoothedFrameTime);
}

float SteeredDetailScale(float scale, float captureRate, int frameMilliseconds) {
    if (std::isnan(scale)) return 1;
    if (std::isnan(captureRate)) return scale;
    const double now = scale;
    const double wanted = now * (1000.0 / captureRate) / frameMilliseconds;
    // A scale of 0 against a frame without measurable time is no number: start from the bottom.
    const double target =
        std::isnan(wanted) ? kMinDetail : std::clamp(wanted, kMinDetail, kMaxDetail);
    const double share = now > target ? kDropShare : kRaiseShare;
    return static_cast<float>(share * target + (1 - share) * now);
}
