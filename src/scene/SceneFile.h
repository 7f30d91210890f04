// Loading of scene files: what is drawn afterwards and under which name frames are captured.
#pragma once

#include <string>

struct Camera;
class Command;
class Registry;
class Room;

// What a scene file selects; fields of the application.
struct SceneSelection {
    Command& command;
    const Registry& registry;
    Camera& camera;        // the camera in use, reset by every load
    Room*& currentRoom;    // the room drawn: the first by name after a load
    std::string& recname;  // base name of captured frames
};

// Runs every line of the file, selects the first room by name and the capture name. False, with a
// line on standard error, when the file cannot be opened; false when no room exists afterwards.
bool LoadScene(const std::string& file, SceneSelection selection);
bool LoadRoom(const std::string& file, SceneSelection selection);
