// Scene files: which room, camera and capture name they leave, and files that cannot be scenes.
#include "SceneFixture.h"

#include "scene/SceneFile.h"
#include "settings/Registry.h"

namespace {

using SceneFileTest = SceneFixture;

TEST_F(SceneFileTest, SelectsTheFirstRoomOfAllFilesAndNamesTheCapture) {
    Registry registry{dir.File("registry")};
    registry.SetString("testRender/capt", "/tmp");
    const Camera odd = {{1, 1, 1}, {2, 2, 2}, {3, 3, 3}, 10, 2, 0.5F, 50};
    Camera camera = odd;
    Room* currentRoom = nullptr;
    std::string recname = "before";
    const auto load = [&](const std::string& path) {
        return LoadScene(path, {*command, registry, camera, currentRoom, recname});
    };
    // Without a room only the view changes.
    EXPECT_FALSE(load(dir.Write("empty", "# nothing\n")));
    camera = odd;
    CaptureStderr([&] { EXPECT_FALSE(load("")); });
    EXPECT_TRUE(currentRoom == nullptr && recname == "before");
    EXPECT_TRUE(camera.pos == vec3(0, 0, 5) && camera.lookat == vec3() &&
                camera.up == vec3(0, 1, 0) && camera.fov == 60);
    EXPECT_TRUE(camera.aspect == 2 && camera.hith == 0.5F && camera.yon == 50);

    const std::string first = dir.Write("first", "room b\nbad line\n// note\nroom a");
    std::string out;
    EXPECT_EQ(CaptureStderr([&] { out = CaptureStdout([&] { EXPECT_TRUE(load(first)); }); }),
              "Command::DoCommand: unknown command bad line\n");
    Room* a = command->GetRoom("a");
    EXPECT_EQ(out, "Using room a " + Address(a) + "\nrecname = /tmp/first\n");
    const std::string second =
        dir.Write("second", std::string("room c\n\0\x1b[2J\n\xff\xfe x\n\0", 19));
    CaptureStdout([&] { CaptureStderr([&] { EXPECT_TRUE(load(second)); }); });
    EXPECT_TRUE(currentRoom == a && recname == "/tmp/second" && command->Rooms().contains("c"));
}

TEST_F(SceneFileTest, WhatCannotBeWrittenIsToldAndLeftAlone) {
    Run("room r\nobject a\nobject b\nobject c");
    const std::string text = Emit();
    const std::string out = dir.File("out");
    EXPECT_EQ(Errors("emit " + dir.Path()),
              "emit: Could not open file " + dir.Path() + " for writing");
    // A limit that the messages fit in but the scene does not.
    EXPECT_EQ(
        CaptureStderr([&] { WithFileSizeLimit(text.size() - 1, [&] { Run("emit " + out); }); }),
        "Saving scene to file " + out + "...\nemit: Could not write file " + out +
            ": File too large\n");
    EXPECT_EQ(dir.Read("out"), text);
}

}  // namespace
