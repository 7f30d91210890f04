// The command "emit": the whole scene as commands that build it again, defaults left out.
// Only reads the scene; knows no file beyond handing over the text.
#include "scene/Command.h"

#include "scene/CommandValues.h"
#include "files/FileReplacement.h"
#include "scene/Room.h"
#include "scene/SceneDatabase.h"

#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <iostream>
#include <string_view>

namespace {

std::string Text(float value) {
    return NumberText(value);
}
std::string Text(const vec3& v) {
    return Text(v.x) + ',' + Text(v.y) + ',' + Text(v.z);
}
std::string Text(const Color& c) {
    return Text(c.r) + ',' + Text(c.g) + ',' + Text(c.b) + ',' + Text(c.a);
}

// Writes one scene into a text.
class SceneText {
public:
    explicit SceneText(const SceneDatabase& database) : m_database(database) {}

    void AddCamera(const Camera& camera);
    void AddRoom(const std::string& name, const Room& room);
    const std::string& Get() const { return m_text; }

private:
    const SceneDatabase& m_database;
    std::string m_text;

    void Line(std::initializer_list<std::string_view> parts) {
        for (const std::string_view part : parts) {
            m_text += part;
        }
        m_text += '\n';
    }
    // One line when the field differs from its default.
    template <class Field>
    void Changed(std::string_view head, const Field& field, const Field& normal) {
        if (field != normal) Line({head, Text(field)});
    }
    void Flag(std::string_view line, bool written) {
        if (written) Line({line});
    }

    void AddLight(const std::string& name, const Light& light);
    // The path names the object; it comes back as it was given.
    void AddObject(std::string& path, const Object& object);
    void AddShader(const Shader& shader);
    void AddMaterial(const Shader& shader);
};

void SceneText::AddCamera(const Camera& camera) {
    Line({"camera pos ", Text(camera.pos)});
    Line({"camera lookat ", Text(camera.lookat)});
    Line({"camera up ", Text(camera.up)});
    Line({"camera fov ", Text(camera.fov)});
    Line({"camera hith ", Text(camera.hith)});
    Line({"camera yon ", Text(camera.yon)});
}

void SceneText::AddRoom(const std::string& name, const Room& room) {
    Line({"room ", name});
    Line({"light ambient ", Text(room.ambient)});
    Line({});
    for (const auto& [lightName, light] : room.lights) {
        AddLight(lightName, *light);
    }
    for (const auto& [childName, child] : room.children) {
        std::string path = childName;
        AddObject(path, *child);
    }
}

void SceneText::AddLight(const std::string& name, const Light& light) {
    const Light normal;
    const std::string head = "light set " + name;
    Line({head, " pos ", Text(light.pos)});
    Changed(head + " pointat ", light.pointat, normal.pointat);
    Flag(head + " active 0", !light.active);
    Flag(head + " shadows 0", !light.shadows);
    Changed(head + " color ", light.color, normal.color);
    Changed(head + " falloff ", light.falloff, normal.falloff);
    Changed(head + " ambient ", light.ambient, normal.ambient);
    Changed(head + " angle ", light.angle, normal.angle);
    Changed(head + " focus ", light.focus, normal.focus);
    Changed(head + " shadowlen ", light.shadowlen, normal.shadowlen);
    Changed(head + " global ", light.global, normal.global);
    for (const Shader& shader : light.shaders) {
        AddShader(shader);
        Line({head, " shade add"});
    }
    Line({});
}

void SceneText::AddObject(std::string& path, const Object& object) {
    Line({"object ", path});
    if (object.mesh) Line({"set mesh ", m_database.ResourceName(object.mesh)});
    Line({"set pos ", Text(object.pos)});
    Line({"set up ", Text(object.up)});
    Line({"set point ", Text(object.point)});
    Flag("set visible 0", !object.visible);
    Flag("set active 0", !object.active);
    Flag("set shadow 0", !object.shadow);
    Flag("set billboard 1", object.billboard);
    for (const auto& [pass, list] : object.shaders) {
        for (const Shader& shader : list) {
            AddShader(shader);
            Line({"set shade ", WordOf(static_cast<ShaderPass>(pass))});
        }
    }
    Line({});
    const std::size_t length = path.size();
    for (const auto& [name, child] : object.children) {
        path.append("/").append(name);
        AddObject(path, *child);
        path.resize(length);
    }
}

void SceneText::AddShader(const Shader& shader) {
    const Shader normal;
    Line({"shader new"});
    if (shader.mesh) Line({"shader set mesh ", m_database.ResourceName(shader.mesh)});
    if (shader.texture) Line({"shader set texture ", m_database.ResourceName(shader.texture)});
    AddMaterial(shader);
    if (shader.blend != normal.blend) {
        Line({"shader set blend ", WordOf(shader.blend)});
    }
    if (shader.rmode != normal.rmode) {
        Line({"shader set rmode ", WordOf(shader.rmode)});
    }
    if (shader.atest != normal.atest) {
        Line({"shader set atest ", WordOf(shader.atest)});
    }
    Changed("shader set athresh ", shader.athresh, normal.athresh);
    Changed("shader set thick ", shader.thick, normal.thick);
    Flag("shader set smooth 0", !shader.smooth);
    Flag("shader set depth 0", !shader.depth);
}

void SceneText::AddMaterial(const Shader& shader) {
    const Material normal;
    const Material& material = shader.material;
    Changed("shader set color ", material.diffuse, normal.diffuse);
    if (!shader.lit) {
        Line({"shader set lit 0"});
        return;
    }
    if (material.ambient != material.diffuse) {
        Changed("shader set ambient ", material.ambient, normal.ambient);
    }
    Changed("shader set specular ", material.specular, normal.specular);
    Changed("shader set shininess ", material.shininess, normal.shininess);
    Changed("shader set emission ", material.emission, normal.emission);
}

}  // namespace

void Command::CmdEmit(Params params) {
    if (params.size() != 1) {
        std::cerr << "Usage: emit <filename>\n";
        return;
    }
    const std::string& name = params[0];
    FileReplacement file;
    if (!file.Open(name)) {
        std::cerr << "emit: Could not open file " + name + " for writing";
        return;
    }
    std::cerr << "Saving scene to file " + name + "...";
    SceneText scene(*m_database);
    scene.AddCamera(m_camera);
    for (const auto& [roomName, room] : m_rooms) {
        scene.AddRoom(roomName, *room);
    }
    if (file.Finish(scene.Get())) {
        std::cerr << "Done.\n";
    } else {
        std::cerr << "\nemit: Could not write file " + name + ": " + std::strerror(errno) + '\n';
    }
}
