// Paths through the object tree of a room. Knows nothing of what the objects show.
#include "scene/ScenePath.h"

#include <algorithm>
#include <iostream>
#include <vector>

#include "scene/Object.h"
#include "scene/Room.h"

namespace {

// Names between runs of '/'. A leading run makes an empty first name, a trailing one none. Stops
// one past the bound, so that a hostile line costs no memory.
std::vector<std::string_view> Components(std::string_view path) {
    std::vector<std::string_view> names;
    while (path.ends_with('/'))
        path.remove_suffix(1);
    while (!path.empty() && names.size() <= kMaxPathDepth) {
        const std::size_t end = std::min(path.find('/'), path.size());
        names.push_back(path.substr(0, end));
        path.remove_prefix(std::min(path.find_first_not_of('/', end), path.size()));
    }
    return names;
}

// step(parent, name): the next object on the way to the leaf, or null to stop there.
template <class Step>
ResolvedPath Walk(Room& room, std::string_view path, Step step) {
    const std::vector<std::string_view> names = Components(path);
    if (names.empty()) return {&room, ""};
    if (names.size() > kMaxPathDepth) {
        std::cerr << "ResolvePath: path has more than " << kMaxPathDepth << " components\n";
        return {};
    }
    ResolvedPath result{&room, std::string(names.back())};
    for (std::size_t i = 0; i + 1 < names.size() && result.parent != nullptr; ++i) {
        result.parent = step(*result.parent, names[i]);
    }
    return result;
}

}  // namespace

ResolvedPath ResolvePath(Room& room, std::string_view path) {
    return Walk(room, path, [](Object& parent, std::string_view name) {
        return GetOrCreateChild(parent, std::string(name));
    });
}

ResolvedPath FindPath(Room& room, std::string_view path) {
    return Walk(room, path,
                [](const Object& parent, std::string_view name) { return parent.Child(name); });
}

Object* GetOrCreateChild(Object& parent, const std::string& name) {
    if (Object* child = parent.Child(name)) return child;
    auto* child = new Object;
    parent.AddChild(name, child);
    return child;
}
