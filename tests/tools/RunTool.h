// Runs one of the command-line tools in a private folder and keeps what it said.
#pragma once

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "support/TempFile.h"

struct ToolRun {
    int status;
    std::string out;
    std::string err;

    bool OneErrorLine() const {
        return std::count(err.begin(), err.end(), '\n') == 1 && err.back() == '\n';
    }
};

inline ToolRun RunTool(const TempDir& folder, const std::string& tool, const std::string& words) {
    const std::string command =
        "cd '" + folder.Path() + "' && '" + tool + "' " + words + " >out.txt 2>err.txt </dev/null";
    const int result = std::system(command.c_str());
    return {WEXITSTATUS(result), folder.Read("out.txt"), folder.Read("err.txt")};
}
