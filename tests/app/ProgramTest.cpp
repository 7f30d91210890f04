// The whole program, run as a user runs it: texts, exit status, registry file, console and window.
#include <sstream>

#include "ProgramRun.h"
#include "geometry/Codec.h"
#include "support/Capture.h"
#include "support/TestMeshes.h"

namespace {
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class Program : public ProgramFixture {
protected:
    // The registry without the settings of renderer and driver.
    std::string ShellKeys() const {
        std::istringstream lines(ReadRegistry());
        std::string result;
        for (std::string line; std::getline(lines, line);) {
            if (!line.starts_with("setting/")) result += line + "\n";
        }
        return result;
    }
};
using ProgramConsole = Program;

TEST_F(Program, FirstRunSaysWhatItDoesAndLeavesThirteenKeys) {
    ProgramRun& run = Start({scene});
    Quit(XK_Escape);
    EXPECT_THAT(run.Out(), MatchesRegex("Creating registry in " + home.Path() +
                                        "/.Pallix\n"
                                        "DriverGL: got 8 stencil bits\nUsing room r 0x[0-9a-f]+\n"
                                        "recname = /tmp/one\nstarting eventloop\n"
                                        "(f[^\n]* {4}\r)+shutting down\n"));
    EXPECT_EQ("Renderer = * Driver = *\n", WithoutAddresses(run.Err()));
    EXPECT_EQ(
        "driver GL\ntestRender/anaglyph 0\ntestRender/baseLOD 1\ntestRender/caprate 30\n"
        "testRender/capt /tmp\ntestRender/edist 20\ntestRender/ediverg 0\n"
        "testRender/emask 011\ntestRender/ratecap 0\ntestRender/showfps 1\n"
        "testRender/veloscale 0.00999999977648\ntestRender/wH " +
            std::to_string(run.height) + "\ntestRender/wW " + std::to_string(run.width) + "\n",
        ShellKeys());
    EXPECT_THAT(ReadRegistry(), HasSubstr("\nsetting/D_wireframe 0\n"));
}

TEST_F(Program, RegistryArgumentsAndKeysAreKeptForTheNextRun) {
    WriteRegistry(
        "testRender/anaglyph 0.6\ntestRender/baseLOD 0.1\ntestRender/caprate 25\n"
        "testRender/capt /var/tmp\ntestRender/ediverg 1\ntestRender/edist 7\n"
        "testRender/emask 1x\ntestRender/ratecap 2\ntestRender/showfps 0.9\n"
        "testRender/veloscale 3\n");
    ProgramRun& first = Start({"-testRender/ediverg", "-0.1", scene, "-own", "word",
                               "-setting/P_mipmesh", "0", "-ignored"});
    EXPECT_THAT(first.Out(), HasSubstr("\ncaprate = 25\nbaseLOD = 0.1\nratecap = 1\n"
                                       "emask0 = 1\nemask1 = 0\nemask2 = 0\n"));
    first.Resize(321, 123);
    first.Press({XK_2, XK_f, XK_w, XK_parenright, XK_parenright});
    XEvent close{};
    close.type = ClientMessage;
    close.xclient.format = 32;
    close.xclient.message_type = XInternAtom(first.display, "WM_PROTOCOLS", False);
    close.xclient.data.l[0] =
        static_cast<long>(XInternAtom(first.display, "WM_DELETE_WINDOW", False));
    first.Send(close, NoEventMask);
    EXPECT_EQ(0, first.Wait()) << first.Err();
    const std::string keys =
        "driver GL\nown word\ntestRender/anaglyph 1\ntestRender/baseLOD 0.10000000149\n"
        "testRender/caprate 25\ntestRender/capt /var/tmp\ntestRender/edist 7\n"
        "testRender/ediverg -0.0800000056624\ntestRender/emask 110\ntestRender/ratecap 1\n"
        "testRender/showfps 1\ntestRender/veloscale 3\n";
    EXPECT_EQ(keys + "testRender/wH 123\ntestRender/wW 321\n", ShellKeys());

    EXPECT_TRUE(Start({scene}).Err().starts_with("Creating registry: File exists\n"));
    Quit();
    EXPECT_EQ(keys, ShellKeys().substr(0, keys.size()));
    for (const char* setting : {"setting/D_wireframe 1\n", "setting/P_mipmesh 0\n"})
        EXPECT_THAT(ReadRegistry(), HasSubstr(setting));
}

TEST_F(Program, AbortsLeaveTheRegistryAsItWas) {
    WriteRegistry("untouched  as it is");
    // What a run says that ends by itself.
    const auto failed = [](const std::string& path, const std::vector<std::string>& arguments) {
        ProgramRun run(path, arguments);
        EXPECT_EQ(1, run.Wait());
        return WithoutAddresses(run.Err());
    };
    std::vector<std::string> arguments = {"-key", "value", home.Write("empty", "# nothing\n")};
    std::string said = "Creating registry: File exists\nRenderer = * Driver = *\n";
    for (const std::string& file : {home.File("missing"), home.Path(), std::string("/dev/zero")}) {
        arguments.push_back(file);
        said += "Could not open scene " + file + "\n";
    }
    EXPECT_EQ(said + "Could not load any rooms. Aborting.\n", failed(home.Path(), arguments));
    EXPECT_EQ("HOME is not set\n", failed("", {scene}));
    const std::string display = getenv("DISPLAY");
    setenv("DISPLAY", ":nowhere", 1);
    EXPECT_EQ("Creating registry: File exists\nCould not open display\n",
              failed(home.Path(), {scene}));
    setenv("DISPLAY", display.c_str(), 1);
    EXPECT_EQ("untouched  as it is", ReadRegistry());
}

TEST_F(Program, EventsWithoutSenseAreSurvived) {
    ProgramRun& run = Start({scene});
    const auto send = [&run](int type, long mask, auto&& fill) {
        XEvent event{};
        event.type = type;
        fill(event);
        run.Send(event, mask);
    };
    for (const int size : {0, 32767}) {
        send(ConfigureNotify, StructureNotifyMask, [&](XEvent& event) {
            event.xconfigure.event = run.window;
            event.xconfigure.width = event.xconfigure.height = size;
        });
    }
    for (const unsigned button : {0U, 6U, 40U, 255U})
        send(ButtonPress, ButtonPressMask, [&](XEvent& event) { event.xbutton.button = button; });
    send(MotionNotify, ButtonMotionMask,
         [](XEvent& event) { event.xmotion.x = event.xmotion.y = -32768; });
    send(ClientMessage, NoEventMask, [](XEvent& event) { event.xclient.format = 8; });
    run.Resize(222, 111);
    // What follows the quit key in the same burst still counts.
    run.Press({XK_q, XK_r, XK_x});
    EXPECT_EQ(0, run.Wait()) << run.Err();
    EXPECT_THAT(ReadRegistry(), HasSubstr("testRender/ratecap 1\n"));
}

TEST_F(ProgramConsole, InputThatCannotBeReadEndsItOnce) {
    for (const char* input : {"<&-", "</"}) {
        EXPECT_TRUE(Start({scene}, input).WaitForErr("\nConsole terminating\n"));
        EXPECT_THAT(WithoutAddresses(Quit()), EndsWith("Driver = *\n\nConsole terminating\n"));
    }
}

// Commands that build and delete what is being drawn, while keys ask for frames and move the
// camera. Under ThreadSanitizer a race ends the program with a status of its own.
TEST_F(ProgramConsole, CommandsAndFramesShareTheScene) {
    const std::string mesh = home.File("sphere");
    ASSERT_TRUE(SphereMesh(1, 33, 33).Save(mesh, CODEC_FLAT));
    const std::string shade =
        "shader new\nset shade base\nset shade light\nset shade blend\nset shade shadow\n";
    ProgramRun& run = Start({"-setting/F_shadows", "1", scene});
    for (int i = 0; i < 60; ++i) {
        const std::string name = std::to_string(i % 7);
        run.Type("object r a/" + name + "\nset mesh " + mesh + "\n" + shade + "set pos " + name +
                 ",0,-9\nlight set lamp" + name + " pos 1,2,3\nr_set P_LODmax 2\nreload " + mesh +
                 "\nd_set D_wireframe " + std::to_string(i % 2) + "\ncamera fov " +
                 std::to_string(40 + i) + "\n" + (i % 3 == 2 ? "delete r a/" + name + "\n" : "") +
                 (i % 10 == 9 ? "delete r\nroom r\nobject a\n" : ""));
        run.Press({XK_a, XK_P, XK_m, XK_s, XK_o});
        if (i % 20 == 10) run.Press({XK_D});
    }
    EXPECT_TRUE(run.WaitDrawing([&] { return run.Out().find("fov=99.0") != std::string::npos; }));
    EXPECT_THAT(Quit(), Not(HasSubstr("Command::")));
}

// Quitting in the middle of typed commands must neither hang nor crash nor lose the registry.
TEST_F(ProgramConsole, QuittingWhileCommandsRunIsOrderly) {
    std::string commands;
    for (int i = 0; i < 2000; ++i)
        commands += "object r a/b" + std::to_string(i) + "\n";
    for (int round = 0; round < 5; ++round) {
        std::filesystem::remove_all(home.File(".Pallix"));
        Start({scene}).Type(commands);
        Quit();
        EXPECT_NE("", ShellKeys());
    }
}
}  // namespace
