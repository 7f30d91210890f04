// Every scene that is delivered loads without a complaint, and no part of it can be culled by
// mistake.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "scene/Command.h"
#include "scene/Object.h"
#include "scene/Room.h"
#include "scene/SceneDatabase.h"
#include "support/Capture.h"

namespace {

// Radii are passed on to the next parent only, when a mesh is set. A scene must place its parents
// last, or the traversal leaves out what reaches beyond them.
void ExpectPartsInsideParent(const Object& parent, const std::string& path) {
    for (const auto& [name, child] : parent.children) {
        const std::string childPath = path + "/" + name;
        EXPECT_GE(parent.Radius(true) * 1.0001F, Length(child->pos) + child->Radius(true))
            << childPath;
        ExpectPartsInsideParent(*child, childPath);
    }
}

TEST(Scenes, LoadSilentlyWithEveryFilePresent) {
    int scenes = 0;
    for (const auto& entry : std::filesystem::directory_iterator("scenes")) {
        const std::string path = entry.path().string();
        SCOPED_TRACE(path);
        SceneDatabase database;
        Command command(&database);
        const std::string complaints = CaptureStderr([&] {
            std::ifstream file(path);
            while (ExecuteLine(file, command)) {
            }
        });
        EXPECT_EQ(complaints, "");
        ASSERT_EQ(command.Rooms().size(), 1U);
        const Room& room = *command.Rooms().begin()->second;
        EXPECT_GE(room.children.size(), 3U);
        EXPECT_FALSE(room.lights.empty());
        ExpectPartsInsideParent(room, "");
        ++scenes;
    }
    EXPECT_GE(scenes, 10);
}

}  // namespace
