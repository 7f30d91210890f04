// Runs one of the command-line tools in a private folder and keeps what it said.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <string>

#include "support/TempFile.h"

struct ToolRun {
    int status;
    std::string out;
    std::string err;

    bool OneErrorLine() const { return err.size() > 1 && err.find('\n') == err.size() - 1; }
};

inline ToolRun RunTool(const TempDir& folder, const std::string& tool, const std::string& words) {
    const std::string command =
        "cd '" + folder.Path() + "' && '" + tool + "' " + words + " >out.txt 2>err.txt </dev/null";
    const int result = std::system(command.c_str());
    return {WEXITSTATUS(result), folder.Read("out.txt"), folder.Read("err.txt")};
}

// What the tool makes as "m". The run must succeed in silence.
template <class Product>
Product Made(const TempDir& folder, const std::string& tool, const std::string& words) {
    const ToolRun run = RunTool(folder, tool, words);
    EXPECT_TRUE(run.status == 0 && run.err.empty()) << words << ": " << run.err;
    Product product;
    EXPECT_TRUE(product.Load(folder.File("m"))) << words;
    return product;
}

// Every run must fail with one line and leave no file "m". "text" is a file that is no picture.
inline void ExpectRefusals(const std::string& tool, std::initializer_list<const char*> cases) {
    const TempDir folder;
    folder.Write("text", "not a picture");
    for (const char* words : cases) {
        const ToolRun run = RunTool(folder, tool, words);
        EXPECT_TRUE(run.status == 1 && run.OneErrorLine()) << words << ": " << run.err;
        EXPECT_FALSE(std::filesystem::exists(folder.File("m"))) << words;
    }
    EXPECT_EQ(RunTool(folder, tool, "--help").status, 0);
}
