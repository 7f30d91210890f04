// One underscore stands for every character that does not hold.
#include "import/paint/SceneName.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr std::size_t kLongest = 64;

bool Holds(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("_.+-").find(c) != std::string_view::npos;
}

// Bytes of a UTF-8 character behind its first.
bool Continues(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

std::string Held(const std::string& wanted) {
    std::string name;
    for (const char c : wanted)
        if (!Continues(c)) name += Holds(c) ? c : '_';
    // A leading '_' is kept for what the scene itself adds and for the camera's path.
    const std::size_t begin = name.find_first_not_of("_.-+");
    name = begin == std::string::npos ? "" : name.substr(begin, kLongest);
    if (name.empty() || name == "jiggler") name = "model" + name;
    return name;
}

}  // namespace

std::string SceneName(const std::string& wanted, const std::vector<std::string>& taken) {
    const std::string held = Held(wanted);
    std::string name = held;
    for (int number = 2; std::ranges::find(taken, name) != taken.end(); ++number) {
        const std::string suffix = '-' + std::to_string(number);
        name = held.substr(0, kLongest - suffix.size()) + suffix;
    }
    return name;
}
