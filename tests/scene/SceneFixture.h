// An interpreter with its database, run by lines of text, and resource files to name in them.
#pragma once

#include <gtest/gtest.h>

#include "geometry/Codec.h"
#include "geometry/GeoImage.h"
#include "geometry/Texture.h"
#include "scene/Command.h"
#include "scene/Room.h"
#include "scene/SceneDatabase.h"
#include "scene/ScenePath.h"
#include "support/Capture.h"
#include "support/TempFile.h"

#include <memory>
#include <sstream>
#include <string>

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
        GeoImage mesh(2, 2);
        for (int i = 0; i < 4; ++i) {
            mesh.samples[i] = {};
            mesh.samples[i].position = {size * float(i % 2), size * float(i / 2), 0};
        }
        mesh.Finish(true);
        EXPECT_TRUE(mesh.Save(dir.File(name), CODEC_FLAT));
        return dir.File(name);
    }
    std::string Image(const std::string& name) {
        Texture texture;
        EXPECT_TRUE(texture.SetSize(2, 2, 3));
        EXPECT_TRUE(texture.Save(dir.File(name), CODEC_FLAT));
        return dir.File(name);
    }
};
