// A room and its lights. Knows nothing of who draws or edits it.
#include "scene/Room.h"

Room::~Room() {
    for (const auto& [name, light] : lights)
        delete light;
}

Light* Room::GetLight(const std::string& name) {
    Light*& light = lights[name];
    if (light == nullptr) light = new Light;
    return light;
}
