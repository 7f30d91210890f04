// Reading and storing of the shell's registry keys. Must not know who uses the values.
#include "app/ShellSettings.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>
#include <variant>

#include "app/Application.h"
#include "settings/Registry.h"
#include "settings/ShellKeys.h"

namespace {
// Largest side of a window in pixels; X would answer a larger or empty one with a fatal error.
constexpr long kMaxWindowSize = 16384;

using EyeMask = bool[3];

// A switch that is on for any text that begins with a whole number other than 0.
struct WholeNumberSwitch {
    bool ShellValues::*value;
};

struct ShellKey {
    const char* key;
    std::variant<float ShellValues::*, bool ShellValues::*, EyeMask ShellValues::*,
                 WholeNumberSwitch>
        value;
    const char* echo = nullptr;  // what standard output calls a value that was read; null: nothing
};

constexpr ShellKey kShellKeys[] = {
    {shell_keys::kCaptureRate, &ShellValues::caprate, "caprate"},
    {shell_keys::kBaseDetail, &ShellValues::baseLOD, "baseLOD"},
    {shell_keys::kRateCap, &ShellValues::ratecap, "ratecap"},
    {shell_keys::kEyeMask, &ShellValues::emask, "emask"},
    {shell_keys::kEyeDivergence, &ShellValues::ediverg},
    {shell_keys::kEyeDistance, &ShellValues::edist},
    {shell_keys::kAnaglyph, &ShellValues::anaglyph},
    {shell_keys::kShowStats, WholeNumberSwitch{&ShellValues::showStats}},
};

long GetInteger(const Registry& registry, const char* key) {
    return std::strtol(registry.GetString(key).c_str(), nullptr, 10);
}

// Takes over one value that the registry has, by its type.
struct Reader {
    const Registry& registry;
    const ShellKey& entry;
    ShellValues& values;

    void operator()(float ShellValues::*value) const {
        values.*value = registry.GetFloat(entry.key);
        Echo(values.*value);
    }
    void operator()(bool ShellValues::*value) const {
        values.*value = registry.GetBool(entry.key);
        Echo(values.*value);
    }
    void operator()(EyeMask ShellValues::*value) const {
        const std::string text = registry.GetString(entry.key);
        for (std::size_t i = 0; i < std::size(values.*value); ++i) {
            (values.*value)[i] = i < text.size() && text[i] == '1';
            Echo((values.*value)[i], std::to_string(i));
        }
    }
    void operator()(WholeNumberSwitch whole) const {
        values.*whole.value = GetInteger(registry, entry.key) != 0;
    }

private:
    template <class T>
    void Echo(T value, const std::string& index = "") const {
        if (entry.echo != nullptr) std::cout << entry.echo << index << " = " << value << '\n';
    }
};

struct Writer {
    Registry& registry;
    const char* key;
    const ShellValues& values;

    void operator()(float ShellValues::*value) const { registry.SetFloat(key, values.*value); }
    void operator()(bool ShellValues::*value) const { registry.SetBool(key, values.*value); }
    void operator()(EyeMask ShellValues::*value) const {
        std::string text;
        for (const bool on : values.*value)
            text += on ? '1' : '0';
        registry.SetString(key, text);
    }
    void operator()(WholeNumberSwitch whole) const { (*this)(whole.value); }
};
}  // namespace

int ClampWindowSize(long size) {
    return static_cast<int>(std::clamp(size, 1L, kMaxWindowSize));
}

void StoreShellDefaults(Registry& registry) {
    if (!registry.Has(shell_keys::kCaptureDirectory)) {
        registry.SetString(shell_keys::kCaptureDirectory, "/tmp");
    }
    if (!registry.Has(shell_keys::kVelocityScale)) {
        registry.SetFloat(shell_keys::kVelocityScale, 0.01F);
    }
}

void ReadShellValues(const Registry& registry, ShellValues& values) {
    for (const ShellKey& entry : kShellKeys) {
        if (registry.Has(entry.key)) std::visit(Reader{registry, entry, values}, entry.value);
    }
}

void ReadWindowSize(const Registry& registry, int& width, int& height) {
    for (const auto& [key, side] :
         {std::pair{shell_keys::kWidth, &width}, {shell_keys::kHeight, &height}}) {
        if (registry.Has(key)) *side = ClampWindowSize(GetInteger(registry, key));
    }
}

void StoreShellValues(Registry& registry, const ShellValues& values) {
    for (const ShellKey& entry : kShellKeys)
        std::visit(Writer{registry, entry.key, values}, entry.value);
}

void StoreWindowSize(Registry& registry, int width, int height) {
    registry.SetInt(shell_keys::kWidth, width);
    registry.SetInt(shell_keys::kHeight, height);
}
