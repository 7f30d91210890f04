// The commands that make, select, delete, move and reload rooms and objects.
// Keeps the interpreter's own pointers off everything that goes away; knows no property.
#include "scene/Command.h"

#include "scene/Room.h"
#include "scene/SceneDatabase.h"
#include "scene/ScenePath.h"

#include <iostream>

Room* Command::GetRoom(const std::string& name) {
    Room*& room = m_rooms[name];
    if (!room) room = new Room;
    if (m_followedRoom && !*m_followedRoom) *m_followedRoom = room;
    return room;
}

Object* Command::ObjectAt(Room* room, const std::string& path) {
    if (!room) return nullptr;
    const ResolvedPath place = ResolvePath(*room, path);
    return place.parent ? GetOrCreateChild(*place.parent, place.leaf) : nullptr;
}

void Command::CmdRoom(Params params) {
    if (params.size() != 1) {
        std::cerr << "Command::CmdRoom: invalid number of parameters\n";
        return;
    }
    m_currentRoom = GetRoom(params[0]);
    m_currentObject = m_currentRoom;
}

void Command::CmdObject(Params params) {
    if (params.size() != 1 && params.size() != 2) {
        std::cerr << "Command::CmdObject: invalid number of parameters\n";
        return;
    }
    Room* room = params.size() == 1 ? m_currentRoom : GetRoom(params[0]);
    if (Object* object = ObjectAt(room, params.back())) m_currentObject = object;
}

void Command::CmdDelete(Params params) {
    if (params.size() == 1) {
        DeleteRoom(params[0]);
    } else if (params.size() == 2) {
        const ResolvedPath place = ResolvePath(*GetRoom(params[0]), params[1]);
        if (!place.parent) return;
        GetOrCreateChild(*place.parent, place.leaf);
        DeleteChild(*place.parent, place.leaf);
    } else {
        std::cerr << "Command::CmdDelete: Invalid number of parameters " + JoinWords(params) + '\n';
    }
}

// The moved object leaves its old parent before it enters the new one: entering re-links it to the
// new parent's octree, from which the old parent could no longer take it out.
void Command::MoveCmd(Params params) {
    if (params.size() != 3) {
        std::cerr << "Command::MoveCmd: invalid number of parameters\n";
        return;
    }
    Room* source = GetRoom(params[1]);
    Room* destination = GetRoom(params[2]);
    const ResolvedPath from = FindPath(*source, params[0]);
    Object* object = from.parent ? from.parent->Child(from.leaf) : nullptr;
    if (!object || source == destination) return;

    const ResolvedPath to = ResolvePath(*destination, params[0]);
    DeleteChild(*to.parent, to.leaf);
    from.parent->RemoveChild(from.leaf);
    from.parent->children.erase(from.leaf);
    to.parent->AddChild(to.leaf, object);
    object->InvalidateTree();
}

void Command::CmdReload(Params params) {
    if (params.empty()) std::cerr << "Command::CmdReload: missing parameters\n";
    for (const std::string& name : params) {
        m_database->Reload(name);
    }
}

void Command::DeleteChild(Object& parent, const std::string& name) {
    Object* child = parent.Child(name);
    if (!child) return;
    ForgetSubtree(child);
    parent.RemoveChild(name);
    parent.children.erase(name);
    m_database->DestroyObject(child);
}

void Command::DeleteRoom(const std::string& name) {
    const auto found = m_rooms.find(name);
    if (found == m_rooms.end()) return;
    Room* room = found->second;
    m_rooms.erase(found);
    ForgetSubtree(room);
    if (m_followedRoom && *m_followedRoom == room) {
        *m_followedRoom = m_rooms.empty() ? nullptr : m_rooms.begin()->second;
    }
    for (const auto& [lightName, light] : room->lights) {
        m_database->ReleaseShaderList(light->shaders);
        delete light;
    }
    room->lights.clear();
    m_database->DestroyObject(room);
}

void Command::ForgetSubtree(const Object* root) {
    if (m_currentRoom == root) m_currentRoom = nullptr;
    for (const Object* above = m_currentObject; above; above = above->parent) {
        if (above == root) {
            m_currentObject = nullptr;
            return;
        }
    }
}
