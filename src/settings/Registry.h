// The per-user persistent store: an ordered map of key and value texts, read from one file at
// construction and written back whole at destruction. Knows nothing of who stores what.
#pragma once

#include <map>
#include <string>
#include <string_view>

// Keys hold no white space and are not empty; values hold no line feed (see SetString).
// Main thread only.
class Registry {
public:
    // Reads the file at path; a missing or unreadable file gives an empty registry, silently.
    explicit Registry(std::string path);
    // Writes the whole file; on failure the old file stays as it was, silently.
    ~Registry();
    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;

    bool Has(std::string_view key) const;
    // The stored text; "" when the key is absent.
    std::string GetString(std::string_view key) const;
    // The text as strtod reads it, narrowed to float; 0 when absent or no number.
    float GetFloat(std::string_view key) const;
    // True when GetFloat exceeds 0.5.
    bool GetBool(std::string_view key) const;

    // Inserts or replaces. A key that is empty or holds white space is dropped; a value is cut at
    // its first line feed, since the file could not hold either.
    void SetString(std::string_view key, std::string_view value);
    // Integral values within int32 are stored with "%d", all others with "%.12g".
    void SetFloat(std::string_view key, float value);
    void SetInt(std::string_view key, int value);
    void SetBool(std::string_view key, bool value);

private:
    std::string m_path;
    std::map<std::string, std::string, std::less<>> m_entries;

    void Read();
    void Write() const;
};
