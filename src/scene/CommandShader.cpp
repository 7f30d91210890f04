// The command "shader": the current shader, which "shade" copies into shader lists.
// Its mesh and texture are counted like those of every list entry.
#include "scene/Command.h"

#include "scene/CommandProperty.h"
#include "scene/CommandValues.h"
#include "scene/SceneDatabase.h"

#include <iostream>
#include <utility>

namespace {

constexpr Property<Material, Color> kColors[] = {{"ambient", &Material::ambient},
                                                 {"diffuse", &Material::diffuse},
                                                 {"specular", &Material::specular},
                                                 {"emission", &Material::emission}};
constexpr Property<Material, float> kMaterialNumbers[] = {{"shininess", &Material::shininess}};
constexpr Property<Shader, float> kNumbers[] = {{"athresh", &Shader::athresh},
                                                {"thick", &Shader::thick}};
constexpr Property<Shader, bool> kFlags[] = {
    {"lit", &Shader::lit}, {"smooth", &Shader::smooth}, {"depth", &Shader::depth}};

bool SetResource(SceneDatabase& database, Shader& shader, const std::string& property,
                 const std::string& name) {
    if (property == "mesh") {
        database.Replace(shader.mesh, name);
    } else if (property == "texture") {
        database.Replace(shader.texture, name);
    } else {
        return false;
    }
    return true;
}

bool SetMaterial(Material& material, const std::string& property, const std::string& value) {
    if (property == "color") {
        material.ambient = material.diffuse = ParseColor(value);
        return true;
    }
    return Assign(kColors, material, property, value, ParseColor) ||
           Assign(kMaterialNumbers, material, property, value, ParseScalar);
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
        !SetMaterial(shader.material, property, value) &&
        !Assign(kNumbers, shader, property, value, ParseScalar) &&
        !Assign(kFlags, shader, property, value, ParseBool) &&
        !SetKeyword(shader, property, value)) {
        std::cerr << "Command::SetProperty(shader): unknown property " + property + '\n';
    }
}
