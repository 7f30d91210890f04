// The interpreter of the scene language: state, dispatch, and the commands by topic in sources
// Command*.cpp. Every message goes to standard error; a failed command leaves the scene as it was.
#pragma once

#include <istream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "scene/Camera.h"
#include "scene/Shader.h"

class Object;
class Room;
class SceneDatabase;
class Settings;
struct Light;

using Words = std::vector<std::string>;

class Command {
public:
    explicit Command(SceneDatabase* database);  // not owned
    // Deletes every room and gives back the current shader's resources.
    ~Command();
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    // Runs one command: the first word names it, the rest are its parameters.
    void DoCommand(const Words& words);

    // Whether a camera command succeeded since the last call; clears the mark.
    bool TakeCameraChanged();
    Camera GetCamera() const { return m_camera; }

    // The room of that name, created with defaults when there is none.
    Room* GetRoom(const std::string& name);
    const std::map<std::string, Room*>& Rooms() const { return m_rooms; }
    // Registers a holder of a room pointer: when that room is deleted, the slot is pointed at the
    // first room by name, or null when none is left. One slot; null unregisters.
    void FollowRoom(Room** slot) { m_followedRoom = slot; }

    // What set, shader set and light set do; public for the tests of single properties.
    void SetProperty(Object* object, const std::string& property, const std::string& value);
    void SetProperty(Shader& shader, const std::string& property, const std::string& value);
    void SetLight(Light* light, const std::string& property, const std::string& value);
    const Shader& CurrentShader() const { return m_shader; }
    Object* CurrentObject() const { return m_currentObject; }
    Room* CurrentRoom() const { return m_currentRoom; }

private:
    std::map<std::string, Room*> m_rooms;  // owned
    SceneDatabase* m_database;
    Room* m_currentRoom = nullptr;
    Object* m_currentObject = nullptr;
    Shader m_shader;
    Camera m_camera;
    bool m_cameraChanged = false;
    Room** m_followedRoom = nullptr;

    // Parameters without the command word.
    void CmdRoom(const Words& params);
    void CmdObject(const Words& params);
    void CmdDelete(const Words& params);
    void MoveCmd(const Words& params);
    void CmdSet(const Words& params);
    void CmdShader(const Words& params);
    void CmdLight(const Words& params);
    void CmdReload(const Words& params);
    void CmdCamera(const Words& params);
    void CmdEmit(const Words& params);
    void CmdRendererSetting(const Words& params);
    void CmdDriverSetting(const Words& params);

    void DeleteRoom(const std::string& name);
    // Clears the current object (and room) when it lies in the subtree that is about to go.
    void ForgetSubtree(const Object* root);
};

// Lists, shows or changes one setting as r_set and d_set do.
void CmdSetting(Settings& settings, const Words& params);

// Longest command line in bytes; the rest of a longer line is dropped with one message.
inline constexpr std::size_t kMaxLineLength = std::size_t{1} << 20;

// Reads and runs one line under sceneLock and frameLock. False at the end of input (a last line
// without line end is still run) and for any stream that cannot be read.
bool ExecuteLine(std::istream& input, Command& command);
