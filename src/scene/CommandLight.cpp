// The commands "light" and "camera": lights and ambient colour of a room, and the camera that the
// next frame takes over as a whole.
#include "scene/Command.h"

#include "scene/CommandProperty.h"
#include "scene/CommandValues.h"
#include "scene/Room.h"
#include "scene/SceneDatabase.h"

#include <iostream>
#include <string_view>

namespace {

constexpr Property<Light, bool> kLightFlags[] = {{"active", &Light::active},
                                                 {"shadows", &Light::shadows}};
constexpr Property<Light, float> kLightNumbers[] = {
    {"shadowlen", &Light::shadowlen}, {"angle", &Light::angle}, {"focus", &Light::focus}};
constexpr Property<Light, vec3> kLightVectors[] = {
    {"pos", &Light::pos}, {"falloff", &Light::falloff}, {"pointat", &Light::pointat}};
constexpr Property<Light, Color> kLightColors[] = {
    {"color", &Light::color}, {"ambient", &Light::ambient}, {"global", &Light::global}};

constexpr Property<Camera, vec3> kCameraVectors[] = {
    {"pos", &Camera::pos}, {"lookat", &Camera::lookat}, {"up", &Camera::up}};
constexpr Property<Camera, float> kCameraNumbers[] = {
    {"fov", &Camera::fov}, {"hith", &Camera::hith}, {"yon", &Camera::yon}};

void EditShaders(SceneDatabase& database, Light& light, const std::string& action,
                 const Shader& current) {
    if (action == "add") {
        light.shaders.push_back(current);
        database.AddRefShader(current);
    } else if (action == "clear") {
        database.ReleaseShaderList(light.shaders);
        light.shaders.clear();
    } else if (action == "pop") {
        if (light.shaders.empty()) return;
        database.ReleaseShader(light.shaders.back());
        light.shaders.pop_back();
    } else {
        std::cerr << "light set shade: unknown command " + action + '\n';
    }
}

// The references of the light's shader list are not given back: the database reports them as
// leaks at the end, which is how scripts that drop decorated lights are found.
void DeleteLight(Room* room, const std::string& name) {
    if (!room) return;
    const auto found = room->lights.find(name);
    if (found == room->lights.end()) return;
    delete found->second;
    room->lights.erase(found);
}

}  // namespace

void Command::CmdLight(Params params) {
    if (params.empty()) {
        std::cerr << "Command::CmdLight: insufficient arguments\n";
        return;
    }
    const std::string& action = params[0];
    // Every form may name a room before its own words; without it the current room is meant.
    const auto forms = [&](std::size_t count) {
        return params.size() == count || params.size() == count + 1;
    };
    const auto room = [&](std::size_t count) {
        return params.size() == count ? m_currentRoom : GetRoom(params[1]);
    };
    if (action == "ambient") {
        if (!forms(2)) {
            std::cerr << "Command::CmdLight: invalid args for 'ambient'\n";
        } else if (Room* owner = room(2)) {
            owner->ambient = ParseColor(params.back());
        }
    } else if (action == "set") {
        if (!forms(4)) {
            std::cerr << "Command::CmdLight: invalid args for 'set'\n";
        } else if (Room* owner = room(4)) {
            const Params last = params.last(3);
            SetLight(owner->GetLight(last[0]), last[1], last[2]);
        }
    } else if (action == "delete") {
        if (forms(2)) DeleteLight(room(2), params.back());
    } else {
        std::cerr << "Command::CmdLight: unknown subcommand " + action + '\n';
    }
}

void Command::SetLight(Light* light, const std::string& property, const std::string& value) {
    if (property == "shade") {
        EditShaders(*m_database, *light, value, m_shader);
    } else if (!Assign(kLightFlags, *light, property, value, ParseBool) &&
               !Assign(kLightNumbers, *light, property, value, ParseScalar) &&
               !Assign(kLightVectors, *light, property, value, ParseVector) &&
               !Assign(kLightColors, *light, property, value, ParseColor)) {
        std::cerr << "Command::SetLight: unknown property " + property + '\n';
    }
}

void Command::CmdCamera(Params params) {
    if (params.size() != 2) {
        std::cerr << "Command::CmdCamera: invalid args\n";
    } else if (Assign(kCameraVectors, m_camera, params[0], params[1], ParseVector) ||
               Assign(kCameraNumbers, m_camera, params[0], params[1], ParseScalar)) {
        m_cameraChanged = true;
    } else {
        std::cerr << "Command::CmdCamera: Unknown property " + params[0] + '\n';
    }
}
