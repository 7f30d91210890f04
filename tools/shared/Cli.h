// What the command-line tools share in reading their options and in failing: one line on standard
// error and exit status 1. Knows nothing of meshes or textures.
#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "shared/Result.h"

// Parses the command line and runs the work; gives the process's exit status. Help goes to
// standard output with status 0; a wrong command line and work that fails give a line on standard
// error and 1.
int RunTool(CLI::App& app, int argc, char** argv, const std::function<Outcome()>& work);

// One line on standard error, headed by the tool's name; control characters become blanks.
void Note(const std::string& line);

// Whether the step went well; if not, its line goes to standard error, headed by the tool's name.
bool Report(const Outcome& step);

// Accepts finite numbers from low to high; unlike CLI::Range it refuses nan.
CLI::Validator Between(double low, double high);

// Adds an option whose value is one of a few words.
template <class T>
CLI::Option* AddWordOption(CLI::App& command, const std::string& name, T& value,
                           const std::vector<std::pair<std::string, T>>& words,
                           const std::string& text) {
    std::string list;
    for (const auto& entry : words)
        list += (list.empty() ? "" : "|") + entry.first;
    const auto translate = [words, list](std::string& word) -> std::string {
        for (const auto& entry : words) {
            if (word != entry.first) continue;
            word = std::to_string(static_cast<int>(entry.second));
            return "";
        }
        return word + " is not one of " + list;
    };
    return command.add_option(name, value, text)->transform(CLI::Validator(translate, list));
}

// Adds --codec flat|pyramid to a command.
void AddCodecOption(CLI::App& command, int& codec);
