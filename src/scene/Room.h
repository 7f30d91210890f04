// One scene: the root object of a tree, its lights and its ambient colour.
#pragma once

#include <map>
#include <string>

#include "scene/Light.h"
#include "scene/Object.h"

class Room : public Object {
public:
    std::map<std::string, Light*, std::less<>> lights;  // owned by the room
    Color ambient{0, 0, 0, 1};

    ~Room() override;  // frees the lights; their shaders' resources are the deleter's business
    // The light of that name, created with defaults when there is none.
    Light* GetLight(const std::string& name);
};
