// Lines that are wrong or hostile, what commands do beside the scene (caches, settings), and scene
// files: which room, camera and capture name they leave, and which cannot be read or written.
#include "SceneFixture.h"

#include "renderer/Renderer.h"
#include "scene/SceneFile.h"
#include "settings/Registry.h"
#include "support/RecordingDriver.h"

#include <fstream>

namespace {

TEST_F(Scene, WrongLinesPrintTheirMessageAndChangeNothing) {
    EXPECT_EQ(Errors("object a\nset pos 1,2,3\nset a pos 1,2,3\nlight ambient 1,1,1\n"
                     "light set l pos 1,2,3\nlight delete l"),
              "")
        << "without a room nothing happens, silently";
    EXPECT_TRUE(command->Rooms().empty());
    Run("room r");
    EXPECT_EQ(Errors("\n \t\v\f\r\n# room x\n#room x\n// room x\n//room x\nreload unknown names\n"
                     "light delete\nlight delete x y z\nr_set\nd_set x 1 2"),
              "");
    const std::pair<const char*, std::string> cases[] = {
        {"/room  x", "Command::DoCommand: unknown command /room x"},
        {"Room x", "Command::DoCommand: unknown command Room x"},
        {"room\nroom x y", "Command::CmdRoom: invalid number of parameters"},
        {"object\nobject x y z", "Command::CmdObject: invalid number of parameters"},
        {"delete", "Command::CmdDelete: Invalid number of parameters "},
        {"delete x y z", "Command::CmdDelete: Invalid number of parameters x y z"},
        {"move x y", "Command::MoveCmd: invalid number of parameters"},
        {"reload", "Command::CmdReload: missing parameters"},
        {"set", "Command::CmdSet: Invalid number of parameters"},
        {"set a  b c d e", "Command::CmdSet: Invalid number of parametersa b c d e"},
        {"shader", "Usage: shader <new|set param value>"},
        {"shader new x", "shader new: wrong number of parameters"},
        {"shader set lit\nshader set color 1, 0,0", "shader set: wrong number of parameters"},
        {"shader old x", "shader: unknown command old x"},
        {"emit\nemit x y", "Usage: emit <filename>"},
        {"light", "Command::CmdLight: insufficient arguments"},
        {"light dim", "Command::CmdLight: unknown subcommand dim"},
        {"light ambient\nlight ambient x 1 2", "Command::CmdLight: invalid args for 'ambient'"},
        {"light set l pos\nlight set x l pos 1 2", "Command::CmdLight: invalid args for 'set'"},
        {"camera pos", "Command::CmdCamera: invalid args"},
    };
    for (const auto& [lines, message] : cases)
        for (const std::string& line : Cut(lines, '\n'))
            EXPECT_EQ(Errors(line), message + '\n') << line;
    EXPECT_EQ(CaptureStderr([&] { command->DoCommand({}); }),
              "Command::DoCommand: empty command\n");
    EXPECT_EQ(command->Rooms().size(), 1U);
    EXPECT_TRUE(command->GetRoom("r")->children.empty() && command->GetRoom("r")->lights.empty());
    EXPECT_FALSE(command->TakeCameraChanged());
}

TEST_F(Scene, LinesAreReadOneByOneAndBounded) {
    std::istringstream lines("room a\r\n\nroom b");
    EXPECT_TRUE(ExecuteLine(lines, *command) && ExecuteLine(lines, *command));
    EXPECT_EQ(command->Rooms().size(), 1U);
    EXPECT_FALSE(ExecuteLine(lines, *command) || ExecuteLine(lines, *command));
    EXPECT_TRUE(command->Rooms().contains("a") && command->Rooms().contains("b"));

    const std::string cut = "ExecuteLine: line longer than 1048576 bytes, the rest is ignored\n";
    const std::string fits = "room " + std::string(kMaxLineLength - 6, ' ') + 'r';
    EXPECT_EQ(Errors(fits + "\nroom s"), "");
    EXPECT_EQ(Errors(fits + "2\nroom t"), cut);
    EXPECT_EQ(Errors(std::string(kEndlessLineLength + 1, 'x') + "\nroom u"), cut);
    std::ifstream directory(dir.Path());
    EXPECT_FALSE(ExecuteLine(directory, *command));
    EXPECT_EQ(command->Rooms().size(), 5U) << "a, b, r, s and t";
}

TEST_F(Scene, PathsMayHaveEmptyNamesAndOneMessageEachWhereTooDeep) {
    Run("room r\nset pos 9,9,9\nset //u up 1,0,0\nset r3 /// up 1,0,0\nobject /\nset pos 1,1,1");
    const Room& r = *command->GetRoom("r");
    EXPECT_EQ(r.Child("")->Child("u")->up, (vec3{1, 0, 0})) << "leading slashes name a child ''";
    EXPECT_TRUE(r.pos == vec3(9, 9, 9) && At("r3", "")->up == vec3(1, 0, 0));
    EXPECT_TRUE(r.children.size() == 1 && r.Child("")->pos.x == 1);

    std::string path = "/";
    for (int i = 1; i < kMaxPathDepth; ++i)
        path += "/a";
    const std::string longest(400000, '/');
    Run("delete r\nroom r\nobject " + longest + path);
    const std::string message = "ResolvePath: path has more than 256 components\n";
    Object* const deepest = command->CurrentObject();
    EXPECT_EQ(deepest, At("r", path));
    for (const std::string& deep : {path + "/a", path + path + longest + path})
        EXPECT_EQ(Errors("object " + deep + "\nset " + deep + " pos 1,1,1\ndelete r " + deep +
                         "\nmove " + deep + " r s"),
                  message + message + message + message);
    EXPECT_EQ(command->CurrentObject(), deepest);
    EXPECT_EQ(command->GetRoom("r")->children.size(), 1U);
    EXPECT_TRUE(deepest->children.empty() && command->GetRoom("s")->children.empty());
}

TEST_F(Scene, ObjectPropertiesEmptyTheCachesThatDependOnThem) {
    Run("room r\nobject a/b\nobject a");
    Object* parent = At("r", "a");
    Object* child = At("r", "a/b");
    const std::string one = "set visible 0|set shadow 0|set shade base|set clear base|set pop base";
    const std::string all =
        "set active False|set billboard y|set up 1,0|set point ,0,0,-1|set pos 1,2,3|move a r s";
    for (const std::string& line : Cut(one + '|' + all + "|delete s a/none", '|')) {
        parent->derivedCache = child->derivedCache = {this};
        Run(line);
        EXPECT_TRUE(parent->derivedCache.empty()) << line;
        EXPECT_EQ(child->derivedCache.empty(), all.find(line) != all.npos) << line;
    }
}

TEST_F(Scene, SettingsAreListedShownAndChanged) {
    Settings settings;
    settings.Declare("G_tilt", -1, 1, 0.01F, "Tilt") = 0.1F;
    settings.Declare("G_size", 0, 1048576, 128, "Size") = 1048576;
    settings.Declare("GL", 0, 1, 1, "Lists") = 1;
    settings.Declare("G", 0, 0, 0, "A group");  // the listing is in the order of bytes
    // What is printed, errors first.
    const auto said = [&](const Words& words) {
        std::string out;
        const std::string errors =
            CaptureStderr([&] { out = CaptureStdout([&] { CmdSetting(settings, words); }); });
        return errors + out;
    };
    std::cout << std::hex;
    const std::string listing =
        "\nAll available settings:\nG: A group\nGL: Lists = 1(0:1)\n"
        "G_size: Size = 1.04858e+06(0:1.04858e+06)\nG_tilt: Tilt = 0.1(-1:1)\n";
    EXPECT_EQ(said({}), listing);
    settings.SetCapability("shadows", 1);
    settings.SetCapability("maxlights", 8);
    EXPECT_EQ(said({}), listing + "Capabilities:\nmaxlights = 8\nshadows = 1\n");
    std::cout << std::dec;
    std::string text;
    for (const std::string& line : Cut("none 1|G_tilt 7|G_tilt|a 1 2|none", '|'))
        text += said(Cut(line, ' '));
    EXPECT_EQ(text,
              "\n\n\nValue of G_tilt: 1\nCmdSetting: invalid parameters\n\n"
              "*** Attempt to read nonexistent setting none\n\nValue of none: 0\n");

    Renderer renderers[2];
    for (Renderer& renderer : renderers)
        database->AddRenderer(&renderer);
    EXPECT_EQ(CaptureStdout([&] { Run("r_set P_LODscale 2\nr_set P_LODscale\nd_set P_LODscale"); }),
              "\n\n\nValue of P_LODscale: 2\n\nValue of P_LODscale: 2\n");
    RecordingDriver driver;
    driver.Declare("G", 0, 1, 1, "") = 0;
    database->AddDriver(&driver);
    EXPECT_EQ(CaptureStdout([&] { Run("d_set G 1"); }), "\n");
    EXPECT_TRUE(driver.Get("G") == 1 && database->SettingOwner("G") == &driver);
    EXPECT_TRUE(database->SettingOwner("P_LODscale") && !database->SettingOwner("P_LODscal"));
    command.reset();
}

TEST_F(Scene, SelectsTheFirstRoomOfAllFilesAndNamesTheCapture) {
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

TEST_F(Scene, WhatCannotBeWrittenIsToldAndLeftAlone) {
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
