// An interpreter with its database, run by lines of text, and resource files to name in them.
#pragma once

#include <gtest/gtest.h>

#include "geometry/Codec.h"
#include "geometry/Texture.h"
#include "scene/Command.h"
#include "scene/Room.h"
#include "scene/SceneDatabase.h"
#include "scene/ScenePath.h"
#include "support/Capture.h"
#include "support/TempFile.h"
#include "support/TestMeshes.h"

#include <memory>
#include <sstream>
#include <string>

inline Words Cut(const std::string& text, char separator) {
    std::istringstream stream(text);
    Words words;
    for (std::string word; std::getline(stream, word, separator);)
        if (!word.empty()) words.push_back(word);
    return words;
}

class SceneFixture : public ::testing::Test {
protected:
    TempDir dir;
    std::unique_ptr<SceneDatabase> database = std::make_unique<SceneDatabase>();
    std::unique_ptr<Command> command = std::make_unique<Command>(database.get());

    void Run(const std::string& lines) {
        std::istringstream input(lines);
        while (ExecuteLine(input, *command)) {
        }
    }
    std::string Errors(const std::string& lines) {
        return CaptureStderr([&] { Run(lines); });
    }
    std::string Emit(const std::string& name = "out") {
        const std::string path = dir.File(name);
        EXPECT_EQ(Errors("emit " + path), "Saving scene to file " + path + "...Done.\n");
        return dir.Read(name);
    }
    Object* At(const std::string& room, const std::string& path) {
        const ResolvedPath place = FindPath(*command->GetRoom(room), path);
        return place.parent ? place.parent->Child(place.leaf) : nullptr;
    }
    // Ends interpreter and database; what they print, the leak report included.
    std::string End() {
        return CaptureStderr([&] {
            command.reset();
            database.reset();
        });
    }
    std::string Mesh(const std::string& name, float size = 1) {
        EXPECT_TRUE(SquareMesh(size, 0).Save(dir.File(name), CODEC_FLAT));
        return dir.File(name);
    }
    std::string Image(const std::string& name) {
        Texture texture;
        EXPECT_TRUE(texture.SetSize(2, 2, 3) && texture.Save(dir.File(name), CODEC_FLAT));
        return dir.File(name);
    }
};
using Scene = SceneFixture;  // tests of the scene alone
