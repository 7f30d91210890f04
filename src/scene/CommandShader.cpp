// The command "shader": the current shader, which "shade" copies into shader lists.
// Its mesh and texture are counted like those of every list entry.
#include "scene/Command.h"

#include "scene/CommandValues.h"
#include "scene/SceneDatabase.h"

#include <iostream>
#include <string_view>
#include <utility>

namespace {

struct ColorProperty {
    std::string_view name;
    Color Material::*field;
};
constexpr ColorProperty kColors[] = {{"ambient", &Material::ambient},
                                     {"diffuse", &Material::diffuse},
                                     {"specular", &Material::specular},
                                     {"emission", &Material::emission}};

struct FlagProperty {
    std::string_view name;
    bool Shader::*field;
};
constexpr FlagProperty kFlags[] = {
    {"lit", &Shader::lit}, {"smooth", &Shader::smooth}, {"depth", &Shader::depth}};

// The new resource is counted before the old one is given back: both may be the same.
bool SetResource(SceneDatabase& database, Shader& shader, const std::string& property,
                 const std::string& name) {
    const bool none = name == "-";
    if (property == "mesh") {
        GeoImage* mesh = none ? nullptr : database.GetMesh(name, false);
        if (!mesh && !none) return true;
        database.AddRefMesh(mesh);
        database.ReleaseMesh(std::exchange(shader.mesh, mesh));
    } else if (property == "texture") {
        Texture* texture = none ? nullptr : database.GetTexture(name, false);
        if (!texture && !none) return true;
        database.AddRefTexture(texture);
        database.ReleaseTexture(std::exchange(shader.texture, texture));
    } else {
        return false;
    }
    return true;
}

bool SetColor(Material& material, const std::string& property, const std::string& value) {
    if (property == "color") {
        material.ambient = material.diffuse = ParseColor(value);
        return true;
    }
    for (const ColorProperty& color : kColors) {
        if (color.name != property) continue;
        material.*color.field = ParseColor(value);
        return true;
    }
    return false;
}

bool SetNumber(Shader& shader, const std::string& property, const std::string& value) {
    if (property == "shininess") {
        shader.material.shininess = ParseScalar(value);
    } else if (property == "athresh") {
        shader.athresh = ParseScalar(value);
    } else if (property == "thick") {
        shader.thick = ParseScalar(value);
    } else {
        return false;
    }
    return true;
}

bool SetFlag(Shader& shader, const std::string& property, const std::string& value) {
    for (const FlagProperty& flag : kFlags) {
        if (flag.name != property) continue;
        shader.*flag.field = ParseBool(value);
        return true;
    }
    return false;
}

bool SetKeyword(Shader& shader, const std::string& property, const std::string& value) {
    if (property == "blend") {
        shader.blend = ParseBlendFunc(value);
    } else if (property == "rmode") {
        shader.rmode = ParseRenderFunc(value);
    } else if (property == "atest") {
        shader.atest = ParseTestFunc(value);
    } else if (property == "faces") {
        shader.faces = ParseFaces(value);
    } else {
        return false;
    }
    return true;
}

}  // namespace

void Command::CmdShader(Params params) {
    if (params.empty()) {
        std::cerr << "Usage: shader <new|set param value>\n";
    } else if (params[0] == "new") {
        if (params.size() != 1) {
            std::cerr << "shader new: wrong number of parameters\n";
            return;
        }
        m_database->ReleaseShader(std::exchange(m_shader, Shader{}));
    } else if (params[0] == "set") {
        if (params.size() != 3) {
            std::cerr << "shader set: wrong number of parameters\n";
            return;
        }
        SetProperty(m_shader, params[1], params[2]);
    } else {
        std::cerr << "shader: unknown command " + JoinWords(params) + '\n';
    }
}

void Command::SetProperty(Shader& shader, const std::string& property, const std::string& value) {
    if (!SetResource(*m_database, shader, property, value) &&
        !SetColor(shader.material, property, value) && !SetNumber(shader, property, value) &&
        !SetFlag(shader, property, value) && !SetKeyword(shader, property, value)) {
        std::cerr << "Command::SetProperty(shader): unknown property " + property + '\n';
    }
}
