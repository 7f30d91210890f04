// The whole program, run as a user runs it: texts, exit status, registry file, console and window.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "ProgramRun.h"
#include "geometry/Codec.h"
#include "support/Capture.h"
#include "support/TestMeshes.h"

namespace {
// A home with a scene, and the registry the program leaves there.
struct Home {
    TempDir dir;
    std::string scene = dir.Write("one", "room r\nobject a\n");

    std::string Registry() const { return dir.Read(".Pallix/registry"); }
    void WriteRegistry(const std::string& text) const {
        std::filesystem::create_directory(dir.File(".Pallix"));
        dir.Write(".Pallix/registry", text);
    }
    // The registry without the settings of renderer and driver.
    std::string ShellKeys() const {
        std::istringstream lines(Registry());
        std::string result;
        for (std::string line; std::getline(lines, line);) {
            if (!line.starts_with("setting/")) result += line + "\n";
        }
        return result;
    }
};

// Standard output up to the first frame, and what follows the last one.
std::string WithoutFrames(std::string text) {
    for (std::size_t fov = text.find(" fov="); fov != std::string::npos; fov = text.find(" fov=")) {
        const std::size_t begin = text.rfind('f', fov);
        const std::size_t end = std::min(text.find('\r', fov), text.size() - 1);
        text.erase(begin, end + 1 - begin);
    }
    return text;
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// Quits with that key; the end must be clean.
void Quit(ProgramRun& run, KeySym key = XK_q) {
    run.Press(key);
    EXPECT_EQ(0, run.Wait()) << run.Err();
    EXPECT_FALSE(Contains(run.Err(), "GLError") || Contains(run.Err(), "Sanitizer")) << run.Err();
}

TEST(Program, FirstRunSaysWhatItDoesAndLeavesThirteenKeys) {
    const Home home;
    ProgramRun run(home.dir.Path(), {home.scene});
    ASSERT_TRUE(run.WaitForWindow()) << run.Err();
    Quit(run, XK_Escape);
    EXPECT_EQ("Creating registry in " + home.dir.Path() + "/.Pallix\n" +
                  "DriverGL: got 8 stencil bits\nUsing room r *\nrecname = /tmp/one\n"
                  "starting eventloop\nshutting down\n",
              WithoutAddresses(WithoutFrames(run.Out())));
    EXPECT_EQ("Renderer = * Driver = *\n", WithoutAddresses(run.Err()));
    EXPECT_EQ(
        "driver GL\ntestRender/anaglyph 0\ntestRender/baseLOD 1\ntestRender/caprate 30\n"
        "testRender/capt /tmp\ntestRender/edist 20\ntestRender/ediverg 0\n"
        "testRender/emask 011\ntestRender/ratecap 0\ntestRender/showfps 1\n"
        "testRender/veloscale 0.00999999977648\ntestRender/wH " +
            std::to_string(run.Height()) + "\ntestRender/wW " + std::to_string(run.Width()) + "\n",
        home.ShellKeys());
    EXPECT_TRUE(Contains(home.Registry(), "\nsetting/P_mipmesh "));
    EXPECT_TRUE(Contains(home.Registry(), "\nsetting/D_wireframe 0\n"));
}

TEST(Program, RegistryArgumentsAndKeysAreKeptForTheNextRun) {
    const Home home;
    home.WriteRegistry(
        "testRender/anaglyph 0.6\ntestRender/baseLOD 0.1\ntestRender/caprate 25\n"
        "testRender/capt /var/tmp\ntestRender/ediverg 1\ntestRender/edist 7\n"
        "testRender/emask 1x\ntestRender/ratecap 2\ntestRender/showfps 0.9\n"
        "testRender/veloscale 3\n");
    {
        ProgramRun run(home.dir.Path(), {"-testRender/ediverg", "-0.1", home.scene, "-own", "word",
                                         "-setting/P_mipmesh", "0", "-ignored"});
        ASSERT_TRUE(run.WaitForWindow()) << run.Err();
        EXPECT_TRUE(Contains(run.Out(),
                             "\ncaprate = 25\nbaseLOD = 0.1\nratecap = 1\n"
                             "emask0 = 1\nemask1 = 0\nemask2 = 0\n"));
        run.Resize(321, 123);
        for (const KeySym key : {XK_2, XK_f, XK_w, XK_parenright, XK_parenright})
            run.Press(key);
        run.Close();
        EXPECT_EQ(0, run.Wait()) << run.Err();
    }
    const std::string keys =
        "driver GL\nown word\ntestRender/anaglyph 1\ntestRender/baseLOD 0.10000000149\n"
        "testRender/caprate 25\ntestRender/capt /var/tmp\ntestRender/edist 7\n"
        "testRender/ediverg -0.0800000056624\ntestRender/emask 110\ntestRender/ratecap 1\n"
        "testRender/showfps 1\ntestRender/veloscale 3\n";
    EXPECT_EQ(keys + "testRender/wH 123\ntestRender/wW 321\n", home.ShellKeys());

    ProgramRun run(home.dir.Path(), {home.scene});
    ASSERT_TRUE(run.WaitForWindow()) << run.Err();
    EXPECT_TRUE(run.Err().starts_with("Creating registry: File exists\n"));
    Quit(run);
    EXPECT_EQ(keys, home.ShellKeys().substr(0, keys.size()));
    for (const char* setting : {"setting/D_wireframe 1\n", "setting/P_mipmesh 0\n"})
        EXPECT_TRUE(Contains(home.Registry(), setting)) << setting;
}

TEST(Program, AbortsLeaveTheRegistryAsItWas) {
    const Home home;
    home.WriteRegistry("untouched  as it is");
    const std::string missing = home.dir.File("missing");
    const std::string empty = home.dir.Write("empty", "# nothing\n");
    // What a run says that ends by itself.
    const auto failed = [](const std::string& path, const std::vector<std::string>& arguments) {
        ProgramRun run(path, arguments);
        EXPECT_EQ(1, run.Wait());
        return WithoutAddresses(run.Err());
    };
    EXPECT_EQ("Creating registry: File exists\nRenderer = * Driver = *\nCould not open scene " +
                  missing + "\nCould not load any rooms. Aborting.\n",
              failed(home.dir.Path(), {"-key", "value", missing, empty}));
    EXPECT_EQ("HOME is not set\n", failed("", {home.scene}));
    const std::string display = getenv("DISPLAY");
    setenv("DISPLAY", ":nowhere", 1);
    EXPECT_EQ("Creating registry: File exists\nCould not open display\n",
              failed(home.dir.Path(), {home.scene}));
    setenv("DISPLAY", display.c_str(), 1);
    EXPECT_EQ("untouched  as it is", home.Registry());
}

TEST(Program, AnUnknownDriverFallsBackToTheFirst) {
    const Home home;
    ProgramRun run(home.dir.Path(),
                   {"-driver", "gl", home.dir.Write("broken", "room b\nroom a\nnonsense"),
                    home.dir.File("missing"), home.scene});
    ASSERT_TRUE(run.WaitForWindow()) << run.Err();
    EXPECT_TRUE(
        run.Err().starts_with("Error: Requested driver 'gl' does not exist.\n"
                              "Available drivers:\n  GL - OpenGL backend\n"))
        << run.Err();
    EXPECT_TRUE(Contains(run.Err(), "Driver gl creation failed\nRenderer = "));
    EXPECT_TRUE(Contains(run.Err(), "unknown command nonsense\nCould not open scene "));
    EXPECT_TRUE(Contains(WithoutAddresses(run.Out()),
                         "Using room a *\nrecname = /tmp/broken\nUsing room a *\n"
                         "recname = /tmp/one\n"));
    run.Press(XK_D);
    EXPECT_TRUE(run.WaitForErr("New driver = "));
    EXPECT_TRUE(Contains(run.Err(), "\nSwitching to driver ")) << run.Err();
    Quit(run);
    EXPECT_FALSE(Contains(home.Registry(), "driver gl\n"));
}

TEST(Program, StormsOfEventsEndWithTheLastSizeAndEveryKeyHandled) {
    const Home home;
    ProgramRun run(home.dir.Path(), {home.scene});
    ASSERT_TRUE(run.WaitForWindow()) << run.Err();
    for (int i = 0; i < 200; ++i)
        run.Resize(100 + i % 2 * 300, 100 + i % 3 * 100);
    XEvent event{};
    event.xconfigure.type = ConfigureNotify;
    event.xconfigure.event = run.TopWindow();
    for (const int size : {0, 32767}) {
        event.xconfigure.width = event.xconfigure.height = size;
        run.Send(event, StructureNotifyMask);
    }
    event = {};
    event.xbutton.type = ButtonPress;
    for (const unsigned button : {0U, 6U, 40U, 255U}) {
        event.xbutton.button = button;
        run.Send(event, ButtonPressMask);
    }
    event = {};
    event.xmotion.type = MotionNotify;
    event.xmotion.x = event.xmotion.y = -32768;
    run.Send(event, ButtonMotionMask);
    event = {};
    event.xclient.type = ClientMessage;
    event.xclient.format = 8;
    run.Send(event, NoEventMask);
    run.Resize(222, 111);
    run.Type("camera fov 33\n");
    EXPECT_TRUE(run.WaitForFrame("fov=33.0")) << run.Err();
    Window root = 0;
    Window parent = 0;
    Window* children = nullptr;
    unsigned count = 0;
    XQueryTree(run.XDisplay(), run.TopWindow(), &root, &parent, &children, &count);
    ASSERT_EQ(1U, count);
    XWindowAttributes attributes{};
    XGetWindowAttributes(run.XDisplay(), children[0], &attributes);
    XFree(children);
    EXPECT_TRUE(attributes.width == 222 && attributes.height == 111);
    // What follows the quit key in the same burst still counts.
    XGrabServer(run.XDisplay());
    for (const KeySym key : {XK_q, XK_r, XK_x})
        run.Press(key);
    XUngrabServer(run.XDisplay());
    XFlush(run.XDisplay());
    EXPECT_EQ(0, run.Wait()) << run.Err();
    EXPECT_TRUE(Contains(home.Registry(), "testRender/wH 111\ntestRender/wW 222\n"));
    EXPECT_TRUE(Contains(home.Registry(), "testRender/ratecap 1\n"));
}

TEST(ProgramConsole, RunsLinesAndEndsWithTheInput) {
    const Home home;
    ProgramRun run(home.dir.Path(), {home.scene});
    ASSERT_TRUE(run.WaitForWindow()) << run.Err();
    run.Type("walk home\n\ncamera fov 30\n");
    EXPECT_TRUE(run.WaitForFrame("fov=30.0"));
    EXPECT_TRUE(run.WaitForErr("Command::DoCommand: unknown command walk home\n"));
    run.Type("r_set P_mipmesh 0");
    run.CloseInput();
    EXPECT_TRUE(run.WaitForErr("\nConsole terminating\n"));
    run.Press(XK_bracketleft);
    EXPECT_TRUE(run.WaitForOut("fov=35.0")) << "the window works on without a console";
    Quit(run);
    EXPECT_TRUE(Contains(home.Registry(), "setting/P_mipmesh 0\n"));
}

TEST(ProgramConsole, InputThatCannotBeReadEndsItOnce) {
    const Home home;
    for (const auto input : {ProgramRun::Input::Closed, ProgramRun::Input::Directory}) {
        ProgramRun run(home.dir.Path(), {home.scene}, input);
        ASSERT_TRUE(run.WaitForWindow()) << run.Err();
        EXPECT_TRUE(run.WaitForErr("\nConsole terminating\n")) << run.Err();
        Quit(run);
        EXPECT_TRUE(WithoutAddresses(run.Err()).ends_with(
            "Renderer = * Driver = *\n\nConsole terminating\n"))
            << run.Err();
    }
}

// Commands that build and delete what is being drawn, while keys ask for frames and move the
// camera. Under ThreadSanitizer a race ends the program with a status of its own.
TEST(ProgramConsole, CommandsAndFramesShareTheScene) {
    const Home home;
    const std::string mesh = home.dir.File("sphere");
    ASSERT_TRUE(SphereMesh(1, 33, 33).Save(mesh, CODEC_FLAT));
    const std::string shade =
        "shader new\nset shade base\nset shade light\nset shade blend\nset shade shadow\n";
    ProgramRun run(home.dir.Path(), {"-setting/F_shadows", "1", home.scene});
    ASSERT_TRUE(run.WaitForWindow()) << run.Err();
    for (int i = 0; i < 60; ++i) {
        const std::string name = std::to_string(i % 7);
        run.Type("object r a/" + name + "\nset mesh " + mesh + "\n" + shade + "set pos " + name +
                 ",0,-9\nlight set lamp" + name + " pos 1,2,3\nr_set P_LODmax 2\nreload " + mesh +
                 "\nd_set D_wireframe " + std::to_string(i % 2) + "\ncamera fov " +
                 std::to_string(40 + i) + "\n" + (i % 3 == 2 ? "delete r a/" + name + "\n" : "") +
                 (i % 10 == 9 ? "delete r\nroom r\nobject a\n" : ""));
        for (const KeySym key : {XK_a, XK_P, XK_m, XK_s, XK_o})
            run.Press(key);
        if (i % 20 == 10) run.Press(XK_D);
    }
    EXPECT_TRUE(run.WaitForFrame("fov=99.0")) << run.Err();
    Quit(run);
    EXPECT_FALSE(Contains(run.Err(), "Command::")) << run.Err();
}

// Quitting in the middle of typed commands must neither hang nor crash nor lose the registry.
TEST(ProgramConsole, QuittingWhileCommandsRunIsOrderly) {
    std::string commands;
    for (int i = 0; i < 2000; ++i)
        commands += "object r a/b" + std::to_string(i) + "\n";
    for (int round = 0; round < 5; ++round) {
        const Home home;
        ProgramRun run(home.dir.Path(), {home.scene});
        ASSERT_TRUE(run.WaitForWindow()) << run.Err();
        run.Type(commands);
        Quit(run);
        EXPECT_NE("", home.ShellKeys());
    }
}
}  // namespace
