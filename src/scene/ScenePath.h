// Paths of objects: component names separated by runs of '/'.
#pragma once

#include <string>
#include <string_view>

class Object;
class Room;

// Deepest object tree: every walk over the tree recurses, so the depth has a bound.
inline constexpr int kMaxPathDepth = 256;

struct ResolvedPath {
    Object* parent = nullptr;  // null when the path is too deep
    std::string leaf;          // empty for "" and "/"
};

// Walks from the room, creating missing intermediate objects. A path of more than kMaxPathDepth
// components prints one line on standard error and creates nothing.
ResolvedPath ResolvePath(Room& room, std::string_view path);
// The same without creating anything: null parent when an intermediate object is missing.
ResolvedPath FindPath(Room& room, std::string_view path);
// The child of that name, created with defaults and added when there is none.
Object* GetOrCreateChild(Object& parent, const std::string& name);
