// The command "set": properties of one object.
// Counts every mesh and shader it stores in the database; knows no octree.
#include "scene/Command.h"

#include "scene/CommandValues.h"
#include "scene/Object.h"
#include "scene/Room.h"
#include "scene/SceneDatabase.h"
#include "scene/ScenePath.h"

#include <iostream>
#include <string_view>

namespace {

struct FlagProperty {
    std::string_view name;
    bool Object::*field;
    bool wholeTree;  // what is cached of the descendants depends on it, too
};
constexpr FlagProperty kFlags[] = {{"visible", &Object::visible, false},
                                   {"shadow", &Object::shadow, false},
                                   {"active", &Object::active, true},
                                   {"billboard", &Object::billboard, true}};

bool SetFlag(Object* object, const std::string& property, const std::string& value) {
    for (const FlagProperty& flag : kFlags) {
        if (flag.name != property) continue;
        flag.wholeTree ? object->InvalidateTree() : object->Invalidate();
        object->*flag.field = ParseBool(value);
        return true;
    }
    return false;
}

bool SetPlace(Object* object, const std::string& property, const std::string& value) {
    if (property == "pos") {
        object->SetPosition(ParseVector(value));
    } else if (property == "up" || property == "point") {
        object->InvalidateTree();
        (property == "up" ? object->up : object->point) = ParseVector(value);
    } else {
        return false;
    }
    return true;
}

bool EditShaders(SceneDatabase& database, Object* object, const std::string& property,
                 const std::string& value, const Shader& current) {
    if (property == "shade") {
        object->AddShader(ParseShaderPass(value), current);
        database.AddRefShader(current);
        return true;
    }
    if (property != "clear" && property != "pop") return false;
    std::vector<Shader>& list = object->shaders[ParseShaderPass(value)];
    if (property == "clear") {
        database.ReleaseShaderList(list);
        list.clear();
    } else if (!list.empty()) {
        database.ReleaseShader(list.back());
        list.pop_back();
    }
    object->Invalidate();
    return true;
}

}  // namespace

void Command::CmdSet(Params params) {
    switch (params.size()) {
        case 2:
            SetProperty(m_currentObject, params[0], params[1]);
            break;
        case 3:
            SetProperty(ObjectAt(m_currentRoom, params[0]), params[1], params[2]);
            break;
        case 4:
            SetProperty(ObjectAt(GetRoom(params[0]), params[1]), params[2], params[3]);
            break;
        default:
            std::cerr << "Command::CmdSet: Invalid number of parameters" + JoinWords(params) + '\n';
    }
}

void Command::SetProperty(Object* object, const std::string& property, const std::string& value) {
    if (!object) return;
    if (property == "mesh") {
        if (GeoImage* mesh = object->mesh; m_database->Replace(mesh, value)) object->SetMesh(mesh);
    } else if (!SetFlag(object, property, value) && !SetPlace(object, property, value) &&
               !EditShaders(*m_database, object, property, value, m_shader)) {
        std::cerr << "Command::SetProperty: unknown property " + property + '\n';
    }
}
