// The interpreter of the scene language: state, dispatch, and the commands by topic in sources
// Command*.cpp. Every complaint goes to standard error and changes nothing, except that rooms,
// objects and lights are made as they are named and that unknown keywords are stored as such.
#pragma once

#include <cstddef>
#include <istream>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "scene/Camera.h"
#include "scene/Shader.h"

class Object;
class Room;
class SceneDatabase;
class Settings;
struct Light;

using Words = std::vector<std::string>;
using Params = std::span<const std::string>;  // the words after the command

// The words separated by single blanks, as messages echo them.
std::string JoinWords(Params words);

class Command {
public:
    explicit Command(SceneDatabase* database);  // not owned
    // Deletes every room and gives back the current shader's resources.
    ~Command();
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    // Runs one command: the first word names it, the rest are its parameters.
    void DoCommand(const Words& words);

    // The folder of the scene file that the next commands come from, with a slash at its end, or
    // empty: meshes and textures are looked for there, too.
    void SetSceneFolder(const std::string& folder);

    // Whether a camera command succeeded since the last call; clears the mark.
    bool TakeCameraChanged();
    Camera GetCamera() const { return m_camera; }

    // The room of that name, created with defaults when there is none.
    Room* GetRoom(const std::string& name);
    const std::map<std::string, Room*>& Rooms() const { return m_rooms; }
    // Registers a holder of a room pointer: when that room is deleted, the slot is pointed at the
    // first room by name, or null when none is left; an empty slot gets the next room that is
    // named. One slot, which outlives the interpreter or is unregistered with null.
    void FollowRoom(Room** slot) { m_followedRoom = slot; }

    const Shader& CurrentShader() const { return m_shader; }
    Object* CurrentObject() const { return m_currentObject; }
    Room* CurrentRoom() const { return m_currentRoom; }

private:
    void SetProperty(Object* object, const std::string& property, const std::string& value);
    void SetProperty(Shader& shader, const std::string& property, const std::string& value);
    void SetLight(Light* light, const std::string& property, const std::string& value);

    std::map<std::string, Room*> m_rooms;  // owned
    SceneDatabase* m_database;
    Room* m_currentRoom = nullptr;
    Object* m_currentObject = nullptr;
    Shader m_shader;
    Camera m_camera;
    bool m_cameraChanged = false;
    Room** m_followedRoom = nullptr;

    // The commands by name: Command.cpp.
    struct Entry;
    static const Entry kTable[];

    void CmdRoom(Params params);
    void CmdObject(Params params);
    void CmdDelete(Params params);
    void MoveCmd(Params params);
    void CmdReload(Params params);
    void CmdSet(Params params);
    void CmdShader(Params params);
    void CmdLight(Params params);
    void CmdCamera(Params params);
    void CmdEmit(Params params);
    void CmdRendererSetting(Params params);
    void CmdDriverSetting(Params params);

    // The object at the path, created on the way; null without a room and for a path too deep.
    static Object* ObjectAt(Room* room, const std::string& path);
    // Takes the child, if there is one, out of its parent and frees its tree.
    void DeleteChild(Object& parent, const std::string& name);
    void DeleteRoom(const std::string& name);
    // Clears the current object (and room) when it lies in the subtree that is about to go.
    void ForgetSubtree(const Object* root);
};

// Lists, shows or changes one setting as r_set and d_set do.
void CmdSetting(Settings& settings, Params params);

// Longest command line in bytes; the rest of a longer line is dropped with one message.
inline constexpr std::size_t kMaxLineLength = std::size_t{1} << 20;
// An input whose line does not end within this many bytes is given up: it is no script.
inline constexpr std::size_t kEndlessLineLength = std::size_t{1} << 24;

// Reads one line and runs it under sceneLock and frameLock. False at the end of input (a last line
// without line end is still run) and for any stream that cannot be read. The reading thread may be
// cancelled while it waits for input, never while a command runs or a lock is held.
bool ExecuteLine(std::istream& input, Command& command);
