// Reading and storing of the shell's registry keys. Must not know who uses the values.
#include "app/ShellSettings.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>

#include "app/Application.h"
#include "settings/Registry.h"

namespace {
// Largest side of a window in pixels; X would answer a larger or empty one with a fatal error.
constexpr long kMaxWindowSize = 16384;

constexpr const char* kWidth = "testRender/wW";
constexpr const char* kHeight = "testRender/wH";
constexpr const char* kCaptureDirectory = "testRender/capt";
constexpr const char* kVelocityScale = "testRender/veloscale";
constexpr const char* kCaptureRate = "testRender/caprate";
constexpr const char* kBaseDetail = "testRender/baseLOD";
constexpr const char* kRateCap = "testRender/ratecap";
constexpr const char* kEyeMask = "testRender/emask";
constexpr const char* kEyeDivergence = "testRender/ediverg";
constexpr const char* kEyeDistance = "testRender/edist";
constexpr const char* kAnaglyph = "testRender/anaglyph";
constexpr const char* kShowStats = "testRender/showfps";

long GetInteger(const Registry& registry, const char* key) {
    return std::strtol(registry.GetString(key).c_str(), nullptr, 10);
}

void ReadFloat(const Registry& registry, const char* key, float& value) {
    if (registry.Has(key)) value = registry.GetFloat(key);
}

void ReadBool(const Registry& registry, const char* key, bool& value) {
    if (registry.Has(key)) value = registry.GetBool(key);
}

template <class T>
void Echo(const Registry& registry, const char* key, const char* name, T value) {
    if (registry.Has(key)) std::cout << name << " = " << value << '\n';
}

void ReadEyeMask(const Registry& registry, bool (&mask)[3]) {
    if (!registry.Has(kEyeMask)) return;
    const std::string text = registry.GetString(kEyeMask);
    for (std::size_t i = 0; i < 3; ++i) {
        mask[i] = i < text.size() && text[i] == '1';
        std::cout << "emask" << i << " = " << mask[i] << '\n';
    }
}
}  // namespace

int ClampWindowSize(long size) {
    return static_cast<int>(std::clamp(size, 1L, kMaxWindowSize));
}

void StoreShellDefaults(Registry& registry) {
    if (!registry.Has(kCaptureDirectory)) registry.SetString(kCaptureDirectory, "/tmp");
    if (!registry.Has(kVelocityScale)) registry.SetFloat(kVelocityScale, 0.01F);
}

void ReadShellValues(const Registry& registry, ShellValues& values) {
    ReadFloat(registry, kCaptureRate, values.caprate);
    Echo(registry, kCaptureRate, "caprate", values.caprate);
    ReadFloat(registry, kBaseDetail, values.baseLOD);
    Echo(registry, kBaseDetail, "baseLOD", values.baseLOD);
    ReadBool(registry, kRateCap, values.ratecap);
    Echo(registry, kRateCap, "ratecap", values.ratecap);
    ReadEyeMask(registry, values.emask);
    ReadFloat(registry, kEyeDivergence, values.ediverg);
    ReadFloat(registry, kEyeDistance, values.edist);
    ReadBool(registry, kAnaglyph, values.anaglyph);
    if (registry.Has(kShowStats)) values.showStats = GetInteger(registry, kShowStats) != 0;
}

void ReadWindowSize(const Registry& registry, int& width, int& height) {
    if (registry.Has(kWidth)) width = ClampWindowSize(GetInteger(registry, kWidth));
    if (registry.Has(kHeight)) height = ClampWindowSize(GetInteger(registry, kHeight));
}

void StoreShellValues(Registry& registry, const ShellValues& values) {
    registry.SetBool(kRateCap, values.ratecap);
    registry.SetFloat(kCaptureRate, values.caprate);
    registry.SetFloat(kBaseDetail, values.baseLOD);
    std::string mask;
    for (const bool on : values.emask)
        mask += on ? '1' : '0';
    registry.SetString(kEyeMask, mask);
    registry.SetFloat(kEyeDivergence, values.ediverg);
    registry.SetFloat(kEyeDistance, values.edist);
    registry.SetBool(kAnaglyph, values.anaglyph);
    registry.SetBool(kShowStats, values.showStats);
}

void StoreWindowSize(Registry& registry, int width, int height) {
    registry.SetInt(kWidth, width);
    registry.SetInt(kHeight, height);
}
