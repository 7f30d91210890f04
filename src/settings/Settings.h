// Named, numeric, range-limited, self-describing tunables plus read-only capabilities.
// Base of the renderer and of every driver; has no virtual functions and knows no owner.
#pragma once

#include <map>
#include <string>
#include <string_view>

class Registry;

struct SettingRecord {
    float min = 0;
    float max = 0;
    float step = 0;  // granularity as declared; never used to change a value
    float value = 0;
};

class Settings {
public:
    using SettingMap = std::map<std::string, SettingRecord, std::less<>>;
    using CapabilityMap = std::map<std::string, float, std::less<>>;

    // Inserts or re-declares the setting and returns its value field, which the caller assigns.
    // A group header is declared with min = max = step = 0.
    float& Declare(std::string_view name, float min, float max, float step,
                   std::string_view description);

    bool Declares(std::string_view name) const { return m_settings.contains(name); }
    // The value; an undeclared name prints one line on standard error and yields 0.
    float Get(std::string_view name) const;
    bool GetBool(std::string_view name) const;  // Get > 0.5
    int GetInt(std::string_view name) const;    // Get + 0.5, truncated toward zero
    // Clamps to [min, max] and stores; returns what was stored (0 for an undeclared name, which
    // stores and prints nothing). NaN passes the clamp.
    float Set(std::string_view name, float value);
    // 0 when GetBool, else 1, through Set; returns whether the stored value exceeds 0.5.
    bool Toggle(std::string_view name);
    SettingRecord GetRecord(std::string_view name) const;     // all 0 when undeclared
    std::string GetDescription(std::string_view name) const;  // "(unknown)" when undeclared
    SettingMap ListSettings() const { return m_settings; }

    void SetCapability(std::string_view name, float value);
    bool HasCapability(std::string_view name) const;
    float GetCapability(std::string_view name) const;  // 0 when absent, silently
    CapabilityMap ListCapabilities() const { return m_capabilities; }

    // Stores every setting, group headers included, under "setting/" + name.
    void SaveTo(Registry& registry) const;
    // Sets every declared setting that the registry has, clamped into its range.
    void LoadFrom(const Registry& registry);

private:
    SettingMap m_settings;
    std::map<std::string, std::string, std::less<>> m_descriptions;
    CapabilityMap m_capabilities;
};
