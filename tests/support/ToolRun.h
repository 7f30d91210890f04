// Runs a tool of the build in a folder and keeps what it prints.
#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/TempFile.h"

struct ToolRun {
    int status;
    std::string out, err;
    bool IsRefusal() const { return status == 1 && err.find('\n') == err.size() - 1; }
};

// The words may redirect: what comes last holds. tool: its name, or a path.
inline ToolRun RunTool(const TempDir& folder, const std::string& tool, const std::string& words) {
    const std::string path = std::filesystem::path(PALLIX_TOOLS) / tool;
    const std::string command =
        "cd '" + folder.Path() + "' && '" + path + "' </dev/null >out.txt 2>err.txt " + words;
    return {WEXITSTATUS(std::system(command.c_str())), folder.Read("out.txt"),
            folder.Read("err.txt")};
}
