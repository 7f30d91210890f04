// The registry's text file: cutting it into entries, and replacing it in one step.
// Must not know which keys exist.
#include "settings/Registry.h"

#include "files/FileAccess.h"
#include "files/FileReplacement.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

// A line is read in pieces of this many characters: a carriage return in a piece's last place ends
// the line, and only the last piece's trailing blanks are dropped.
constexpr std::size_t kPieceLength = 1023;
// More than any set of settings needs; what follows is not read.
constexpr std::size_t kMaxFileBytes = std::size_t{16} << 20;

bool IsSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

std::string ReadText(const std::string& path) {
    std::string text;
    const int fd = OpenForReading(path);
    if (fd < 0) return text;
    char block[16384];
    while (text.size() < kMaxFileBytes) {
        const std::size_t wanted = std::min(sizeof block, kMaxFileBytes - text.size());
        const std::ptrdiff_t got = ReadBytes(fd, block, wanted);
        if (got <= 0) break;
        text.append(block, static_cast<std::size_t>(got));
    }
    CloseFile(fd);
    return text;
}

// Takes the next line off the text. It is joined from pieces; what a piece holds behind a NUL is
// dropped.
std::string TakeLine(std::string_view& text) {
    std::string line;
    while (!text.empty()) {
        std::string_view piece = text.substr(0, kPieceLength);
        piece = piece.substr(0, std::min(piece.find('\n'), piece.size() - 1) + 1);
        text.remove_prefix(piece.size());
        const char last = piece.back();
        const bool ends = piece.size() == 1 || last == '\n' || last == '\r';
        piece = piece.substr(0, piece.find('\0'));
        if (ends) {
            while (!piece.empty() && IsSpace(piece.back()))
                piece.remove_suffix(1);
        }
        line += piece;
        if (ends) break;
    }
    return line;
}

}  // namespace

Registry::Registry(std::string path) : m_path(std::move(path)) {
    Read();
}

Registry::~Registry() {
    Write();
}

void Registry::Read() {
    const std::string contents = ReadText(m_path);
    std::string_view rest = contents;
    while (!rest.empty()) {
        const std::string line = TakeLine(rest);
        const auto separator = std::find_if(line.begin(), line.end(), IsSpace);
        const std::string_view value = separator == line.end()
                                           ? std::string_view{}
                                           : std::string_view{separator + 1, line.end()};
        SetString({line.begin(), separator}, value);
    }
}

// A full disk or a kill leaves the old file whole.
void Registry::Write() const {
    std::string text;
    for (const auto& [key, value] : m_entries)
        text += key + ' ' + value + '\n';
    FileReplacement file;
    if (file.Open(m_path)) file.Finish(text);
}

bool Registry::Has(std::string_view key) const {
    return m_entries.contains(key);
}

std::string Registry::GetString(std::string_view key) const {
    const auto found = m_entries.find(key);
    return found == m_entries.end() ? std::string{} : found->second;
}

float Registry::GetFloat(std::string_view key) const {
    const auto found = m_entries.find(key);
    return found == m_entries.end()
               ? 0.0F
               : static_cast<float>(std::strtod(found->second.c_str(), nullptr));
}

bool Registry::GetBool(std::string_view key) const {
    return GetFloat(key) > 0.5F;
}

void Registry::SetString(std::string_view key, std::string_view value) {
    if (key.empty() || std::any_of(key.begin(), key.end(), IsSpace)) return;
    value = value.substr(0, value.find('\n'));
    m_entries[std::string(key)] = value;
}

void Registry::SetFloat(std::string_view key, float value) {
    const double wide = value;
    const bool integral = wide == std::floor(wide) && wide >= INT_MIN && wide <= INT_MAX;
    char text[64];
    if (integral) {
        std::snprintf(text, sizeof text, "%d", static_cast<int>(wide));
    } else {
        std::snprintf(text, sizeof text, "%.12g", wide);
    }
    SetString(key, text);
}

void Registry::SetInt(std::string_view key, int value) {
    SetString(key, std::to_string(value));
}

void Registry::SetBool(std::string_view key, bool value) {
    SetString(key, value ? "1" : "0");
}
