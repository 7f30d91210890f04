// Declared settings, their clamping and their way to and from the registry.
// Must not know which settings exist.
#include "settings/Settings.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "settings/Registry.h"

namespace {

constexpr char kRegistryPrefix[] = "setting/";

// The entry of a transparent map; null when absent.
template <class Map>
const typename Map::mapped_type* Find(const Map& map, std::string_view name) {
    const auto found = map.find(name);
    return found == map.end() ? nullptr : &found->second;
}

}  // namespace

float& Settings::Declare(std::string_view name, float min, float max, float step,
                         std::string_view description) {
    SettingRecord& record = m_settings[std::string(name)];
    record.min = min;
    record.max = max;
    record.step = step;
    m_descriptions[std::string(name)] = description;
    return record.value;
}

float Settings::Get(std::string_view name) const {
    if (const SettingRecord* record = Find(m_settings, name)) return record->value;
    std::fprintf(stderr, "*** Attempt to read nonexistent setting %.*s\n",
                 static_cast<int>(name.size()), name.data());
    return 0;
}

bool Settings::GetBool(std::string_view name) const {
    return Get(name) > 0.5F;
}

int Settings::GetInt(std::string_view name) const {
    const double rounded = double{Get(name)} + 0.5;
    if (std::isnan(rounded)) return 0;
    constexpr double kLeast = std::numeric_limits<int>::min();
    constexpr double kMost = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(rounded, kLeast, kMost));
}

float Settings::Set(std::string_view name, float value) {
    const auto found = m_settings.find(name);
    if (found == m_settings.end()) return 0;
    SettingRecord& record = found->second;
    const bool fixed = record.min == record.max;
    record.value = fixed ? record.min : std::clamp(value, record.min, record.max);
    return record.value;
}

bool Settings::Toggle(std::string_view name) {
    return Set(name, GetBool(name) ? 0.0F : 1.0F) > 0.5F;
}

SettingRecord Settings::GetRecord(std::string_view name) const {
    const SettingRecord* record = Find(m_settings, name);
    return record == nullptr ? SettingRecord{} : *record;
}

std::string Settings::GetDescription(std::string_view name) const {
    const std::string* description = Find(m_descriptions, name);
    return description == nullptr ? "(unknown)" : *description;
}

void Settings::SetCapability(std::string_view name, float value) {
    m_capabilities[std::string(name)] = value;
}

bool Settings::HasCapability(std::string_view name) const {
    return m_capabilities.contains(name);
}

float Settings::GetCapability(std::string_view name) const {
    const float* value = Find(m_capabilities, name);
    return value == nullptr ? 0.0F : *value;
}

void Settings::SaveTo(Registry& registry) const {
    for (const auto& [name, record] : m_settings) {
        registry.SetFloat(kRegistryPrefix + name, record.value);
    }
}

void Settings::LoadFrom(const Registry& registry) {
    for (const auto& [name, record] : m_settings) {
        const std::string key = kRegistryPrefix + name;
        if (registry.Has(key)) Set(name, registry.GetFloat(key));
    }
}
