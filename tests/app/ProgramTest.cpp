// The whole program, run as a user runs it: texts, exit status, registry file, console and window.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <sstream>

#include "ProgramRun.h"
#include "geometry/Codec.h"
#include "support/Capture.h"
#include "support/TestMeshes.h"

#include <X11/keysym.h>

namespace {
// A home with a scene, and the registry the program leaves there.
class Home {
public:
    Home() : m_scene(m_dir.Write("one", "room r\nobject a\n")) {}
    const std::string& Path() const { return m_dir.Path(); }
    const std::string& Scene() const { return m_scene; }
    std::string Write(const std::string& name, const std::string& text) const {
        return m_dir.Write(name, text);
    }
    std::string Registry() const { return m_dir.Read(".Pallix/registry"); }
    void WriteRegistry(const std::string& text) const {
        mkdir(m_dir.File(".Pallix").c_str(), 0777);
        m_dir.Write(".Pallix/registry", text);
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

private:
    TempDir m_dir;
    std::string m_scene;
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

void ExpectNoReports(const ProgramRun& run) {
    EXPECT_EQ(std::string::npos, run.Err().find("GLError")) << run.Err();
    EXPECT_EQ(std::string::npos, run.Err().find("Sanitizer")) << run.Err();
}

TEST(Program, FirstRunSaysWhatItDoesAndLeavesThirteenKeys) {
    const Home home;
    ProgramRun run(home.Path(), {home.Scene()});
    ASSERT_TRUE(run.WaitForWindow()) << run.Err();
    run.Press(XK_Escape);
    EXPECT_EQ(0, run.Wait());
    EXPECT_EQ("Creating registry in " + home.Path() + "/.Pallix\n" +
                  "DriverGL: got 8 stencil bits\nUsing room r *\nrecname = /tmp/one\n"
                  "starting eventloop\nshutting down\n",
              WithoutAddresses(WithoutFrames(run.Out())));
    EXPECT_EQ("Renderer = * Driver = *\n", WithoutAddresses(run.Err()));
    EXPECT_EQ(
        "driver GL\n"
        "testRender/anaglyph 0\n"
        "testRender/baseLOD 1\n"
        "testRender/caprate 30\n"
        "testRender/capt /tmp\n"
        "testRender/edist 20\n"
        "testRender/ediverg 0\n"
        "testRender/emask 011\n"
        "testRender/ratecap 0\n"
        "testRender/showfps 1\n"
        "testRender/veloscale 0.00999999977648\n"
        "testRender/wH " +
            std::to_string(run.Height()) + "\ntestRender/wW " + std::to_string(run.Width()) + "\n",
        home.ShellKeys());
    EXPECT_NE(std::string::npos, home.Registry().find("\nsetting/P_mipmesh "));
    EXPECT_NE(std::string::npos, home.Registry().find("\nsetting/D_wireframe 0\n"));
}

TEST(Program, ArgumentsAndKeysAreKeptForTheNextRun) {
    const Home home;
    {
        ProgramRun run(home.Path(), {"-testRender/ediverg", "-0.1", home.Scene(), "-own", "word",
                                     "-setting/P_mipmesh", "0", "-ignored"});
        ASSERT_TRUE(run.WaitForWindow()) << run.Err();
        for (const KeySym key : {XK_1, XK_grave, XK_f, XK_w, XK_r})
            run.Press(key);
        run.Resize(321, 123);
        run.Press(XK_parenright, 2);
        run.Close();
        EXPECT_EQ(0, run.Wait()) << run.Err();
        ExpectNoReports(run);
    }
    for (const char* line :
         {"own word\n", "testRender/anaglyph 1\n", "testRender/emask 111\n",
          "testRender/ratecap 1\n", "testRender/showfps 0\n", "testRender/ediverg -0.0800000",
          "testRender/wW 321\n", "testRender/wH 123\n", "setting/D_wireframe 1\n",
          "setting/P_mipmesh 0\n"}) {
        EXPECT_NE(std::string::npos, home.Registry().find(line)) << line << home.Registry();
    }
    EXPECT_EQ(std::string::npos, home.Registry().find("ignored"));

    ProgramRun run(home.Path(), {home.Scene()});
    ASSERT_TRUE(run.WaitForWindow()) << run.Err();
    EXPECT_TRUE(run.Err().starts_with("Creating registry: File exists\n"));
    EXPECT_NE(std::string::npos, run.Out().find("\ncaprate = 30\nbaseLOD = 1\nratecap = 1\n"
                                                "emask0 = 1\nemask1 = 1\nemask2 = 1\n"));
    run.Press(XK_q);
    EXPECT_EQ(0, run.Wait());
    EXPECT_NE(std::string::npos, home.Registry().find("setting/D_wireframe 1\n"));
}

TEST(Program, AbortsLeaveTheRegistryAsItWas) {
    const Home home;
    home.WriteRegistry("untouched  as it is");
    const std::string missing = home.Path() + "/missing";
    {
        ProgramRun run(home.Path(), {"-key", "value", missing});
        EXPECT_EQ(1, run.Wait());
        EXPECT_TRUE(run.Err().ends_with("Could not open scene " + missing +
                                        "\nCould not load any rooms. Aborting.\n"))
            << run.Err();
    }
    {
        ProgramRun run(home.Path(), {home.Write("empty", "# nothing\n")});
        EXPECT_EQ(1, run.Wait());
        EXPECT_TRUE(run.Err().ends_with("Could not load any rooms. Aborting.\n")) << run.Err();
    }
    {
        const std::string display = getenv("DISPLAY");
        setenv("DISPLAY", ":nowhere", 1);
        ProgramRun run(home.Path(), {home.Scene()});
        setenv("DISPLAY", display.c_str(), 1);
        EXPECT_EQ(1, run.Wait());
        EXPECT_EQ("Creating registry: File exists\nCould not open display\n", run.Err());
    }
    {
        ProgramRun run("", {home.Scene()});
        EXPECT_EQ(1, run.Wait());
        EXPECT_EQ("HOME is not set\n", run.Err());
        EXPECT_EQ("", run.Out());
    }
    EXPECT_EQ("untouched  as it is", home.Registry());
}

TEST(Program, AnUnknownDriverFallsBackToTheFirst) {
    const Home home;
    ProgramRun run(home.Path(), {"-driver", "gl", home.Write("broken", "room b\nroom a\nnonsense"),
                                 home.Path() + "/missing", home.Scene()});
    ASSERT_TRUE(run.WaitForWindow()) << run.Err();
    EXPECT_TRUE(
        run.Err().starts_with("Error: Requested driver 'gl' does not exist.\n"
                              "Available drivers:\n  GL - OpenGL backend\n"))
        << run.Err();
    EXPECT_NE(std::string::npos, run.Err().find("Driver gl creation failed\nRenderer = "));
    EXPECT_NE(std::string::npos,
              run.Err().find("unknown command nonsense\nCould not open scene " + home.Path()));
    EXPECT_NE(std::string::npos,
              WithoutAddresses(run.Out()).find("Using room a *\nrecname = /tmp/broken\n"
                                               "Using room a *\nrecname = /tmp/one\n"));
    run.Press(XK_D);
    EXPECT_TRUE(run.WaitForErr("New driver = "));
    EXPECT_NE(std::string::npos, run.Err().find("\nSwitching to driver ")) << run.Err();
    run.Press(XK_q);
    EXPECT_EQ(0, run.Wait());
    ExpectNoReports(run);
    EXPECT_EQ(std::string::npos, home.Registry().find("driver gl\n"));
}

TEST(Program, WindowSizesThatXWouldRefuseAreClamped) {
    const Home home;
    ProgramRun run(home.Path(), {"-testRender/wW", "0", "-testRender/wH", "-99", home.Scene()});
    ASSERT_TRUE(run.WaitForOut("\r")) << run.Err();
    run.Type("nonsense\n");
    EXPECT_TRUE(run.WaitForErr("nonsense\n"));
    EXPECT_EQ(std::string::npos, run.Err().find("BadValue"));
}

TEST(Program, ResizeStormsAndSenselessEventsEndWithTheLastSize) {
    const Home home;
    ProgramRun run(home.Path(), {home.Scene()});
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
    EXPECT_EQ(222, attributes.width);
    EXPECT_EQ(111, attributes.height);
    run.Press(XK_q);
    EXPECT_EQ(0, run.Wait()) << run.Err();
    EXPECT_NE(std::string::npos, home.Registry().find("testRender/wH 111\ntestRender/wW 222\n"));
}

TEST(Program, KeysAfterAQuitKeyAreStillHandled) {
    const Home home;
    ProgramRun run(home.Path(), {home.Scene()});
    ASSERT_TRUE(run.WaitForWindow()) << run.Err();
    XGrabServer(run.XDisplay());
    run.Press(XK_q);
    run.Press(XK_r);
    run.Press(XK_x);
    XUngrabServer(run.XDisplay());
    XFlush(run.XDisplay());
    EXPECT_EQ(0, run.Wait());
    EXPECT_NE(std::string::npos, home.Registry().find("testRender/ratecap 1\n"));
}

TEST(ProgramConsole, RunsLinesAndEndsWithTheInput) {
    const Home home;
    ProgramRun run(home.Path(), {home.Scene()});
    ASSERT_TRUE(run.WaitForWindow()) << run.Err();
    run.Type("walk home\n\ncamera fov 30\n");
    EXPECT_TRUE(run.WaitForFrame("fov=30.0"));
    EXPECT_TRUE(run.WaitForErr("Command::DoCommand: unknown command walk home\n"));
    run.Type("r_set P_mipmesh 0");
    run.CloseInput();
    EXPECT_TRUE(run.WaitForErr("\nConsole terminating\n"));
    const std::string::size_type frames = run.Out().size();
    run.Press(XK_bracketleft);
    EXPECT_TRUE(run.WaitForOut("fov=35.0")) << "the window works on without a console";
    EXPECT_LT(frames, run.Out().size());
    run.Press(XK_q);
    EXPECT_EQ(0, run.Wait());
    EXPECT_NE(std::string::npos, home.Registry().find("setting/P_mipmesh 0\n"));
}

TEST(ProgramConsole, InputThatCannotBeReadEndsItOnce) {
    const Home home;
    for (const auto input : {ProgramRun::Input::Closed, ProgramRun::Input::Directory}) {
        ProgramRun run(home.Path(), {home.Scene()}, input);
        ASSERT_TRUE(run.WaitForWindow()) << run.Err();
        EXPECT_TRUE(run.WaitForErr("\nConsole terminating\n")) << run.Err();
        run.Press(XK_q);
        EXPECT_EQ(0, run.Wait()) << run.Err();
        EXPECT_TRUE(WithoutAddresses(run.Err()).ends_with(
            "Renderer = * Driver = *\n\nConsole terminating\n"))
            << run.Err();
    }
}

// Commands that build and delete what is being drawn, while keys ask for frames and move the
// camera. Under ThreadSanitizer a race ends the program with a status of its own.
TEST(ProgramConsole, CommandsAndFramesShareTheScene) {
    const Home home;
    const std::string mesh = home.Path() + "/sphere";
    ASSERT_TRUE(SphereMesh(1, 33, 33).Save(mesh, CODEC_FLAT));
    const std::string shade =
        "shader new\nset shade base\nset shade light\nset shade blend\nset shade shadow\n";
    ProgramRun run(home.Path(), {"-setting/F_shadows", "1", home.Scene()});
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
    run.Press(XK_q);
    EXPECT_EQ(0, run.Wait()) << run.Err();
    ExpectNoReports(run);
    EXPECT_EQ(std::string::npos, run.Err().find("Command::")) << run.Err();
}

// Quitting in the middle of typed commands must neither hang nor crash nor lose the registry.
TEST(ProgramConsole, QuittingWhileCommandsRunIsOrderly) {
    std::string commands;
    for (int i = 0; i < 2000; ++i)
        commands += "object r a/b" + std::to_string(i) + "\n";
    for (int round = 0; round < 5; ++round) {
        const Home home;
        ProgramRun run(home.Path(), {home.Scene()});
        ASSERT_TRUE(run.WaitForWindow()) << run.Err();
        run.Type(commands);
        run.Press(XK_q);
        EXPECT_EQ(0, run.Wait()) << run.Err();
        EXPECT_NE("", home.ShellKeys());
        ExpectNoReports(run);
    }
}
}  // namespace
