// Registry keys of the program's shell: its window, its camera, its way of showing frames.
#pragma once

namespace shell_keys {
inline constexpr const char* kDriver = "driver";
inline constexpr const char* kWidth = "testRender/wW";
inline constexpr const char* kHeight = "testRender/wH";
inline constexpr const char* kCaptureDirectory = "testRender/capt";
inline constexpr const char* kVelocityScale = "testRender/veloscale";
inline constexpr const char* kCaptureRate = "testRender/caprate";
inline constexpr const char* kBaseDetail = "testRender/baseLOD";
inline constexpr const char* kRateCap = "testRender/ratecap";
inline constexpr const char* kEyeMask = "testRender/emask";
inline constexpr const char* kEyeDivergence = "testRender/ediverg";
inline constexpr const char* kEyeDistance = "testRender/edist";
inline constexpr const char* kAnaglyph = "testRender/anaglyph";
inline constexpr const char* kShowStats = "testRender/showfps";
}  // namespace shell_keys
