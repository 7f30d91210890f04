// Loading of scene files: runs their lines, then selects the room drawn and the capture name.
// Knows no command; pipes are fine, directories and devices are no scenes.
#include "scene/SceneFile.h"

#include "scene/Camera.h"
#include "scene/Command.h"
#include "scene/Room.h"
#include "settings/Registry.h"
#include "settings/ShellKeys.h"

#include <filesystem>
#include <fstream>
#include <iostream>

namespace {

void ResetCamera(Camera& camera) {
    camera.pos = {0, 0, 5};
    camera.lookat = {0, 0, 0};
    camera.up = {0, 1, 0};
    camera.fov = 60;
}

bool CanHoldScene(const std::string& file) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(file, error);
    return std::filesystem::is_regular_file(status) || std::filesystem::is_fifo(status);
}

// Empty where the name has none: then it is the working folder.
std::string FolderOf(const std::string& file) {
    const std::size_t slash = file.rfind('/');
    return slash == std::string::npos ? "" : file.substr(0, slash + 1);
}

}  // namespace

bool LoadRoom(const std::string& file, SceneSelection selection) {
    ResetCamera(selection.camera);
    std::ifstream input;
    if (CanHoldScene(file)) input.open(file);
    if (!input.is_open()) {
        std::cerr << "Could not open scene " + file + '\n';
        return false;
    }
    selection.command.SetSceneFolder(FolderOf(file));
    while (ExecuteLine(input, selection.command)) {
    }
    selection.command.SetSceneFolder("");
    const auto& rooms = selection.command.Rooms();
    if (rooms.empty()) return false;
    const auto& [name, room] = *rooms.begin();
    std::cout << "Using room " << name << ' ' << static_cast<const void*>(room) << std::endl;
    selection.currentRoom = room;
    return true;
}

bool LoadScene(const std::string& file, SceneSelection selection) {
    if (!LoadRoom(file, selection)) return false;
    selection.recname = selection.registry.GetString(shell_keys::kCaptureDirectory) + '/' +
                        file.substr(file.rfind('/') + 1);
    std::cout << "recname = " << selection.recname << std::endl;
    return true;
}
