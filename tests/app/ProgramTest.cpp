// The whole program, run as a user runs it: texts, exit status, registry file, console, pointer,
// keyboard and window.
#include <set>
#include <sstream>

#include "ProgramFixture.h"
#include "geometry/Codec.h"
#include "support/Capture.h"
#include "support/TestMeshes.h"

#include <X11/Xutil.h>
#include <X11/cursorfont.h>
#include <X11/extensions/Xfixes.h>

namespace {
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class Program : public ProgramFixture {
protected:
    using ProgramFixture::ProgramFixture;

    // The registry without the settings of renderer and driver.
    std::string ShellKeys() const {
        std::istringstream registry(ReadRegistry());
        std::string keys;
        for (std::string line; std::getline(registry, line);)
            if (!line.starts_with("setting/")) keys += line + '\n';
        return keys;
    }
    // What a run says that ends by itself.
    std::string Failed(const std::string& environment, const std::string& words) {
        Launch(environment, words);
        EXPECT_EQ(1, Wait());
        return WithoutAddresses(Err());
    }
    // What the window shows, row by row.
    std::vector<unsigned long> Pixels() const {
        XImage* image = XGetImage(display, window, 0, 0, kWidth, kHeight, AllPlanes, ZPixmap);
        if (image == nullptr) throw std::runtime_error("no picture");
        std::vector<unsigned long> pixels;
        for (int i = 0; i < kWidth * kHeight; ++i)
            pixels.push_back(XGetPixel(image, i % kWidth, i / kWidth));
        XDestroyImage(image);
        return pixels;
    }
    // Waits until the program has drawn everything that was asked for before.
    void Settle() {
        EXPECT_TRUE(WaitUntil([&] {
            const std::ptrdiff_t before = Frames();
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            Do("key space");  // raises the number that the statistics line begins with
            EXPECT_TRUE(WaitFor("f" + std::to_string(++m_spaces) + " fov"));
            return Frames() == before + 1;
        }));
    }
    // What the action asks for: exactly so many frames, and then no more.
    template <class Action>
    void ExpectFrames(std::ptrdiff_t count, Action action) {
        Settle();
        const std::ptrdiff_t before = Frames();
        action();
        EXPECT_TRUE(WaitUntil([&] { return Frames() >= before + count; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        EXPECT_EQ(Frames() - before, count);
    }
    void ExpectFrames(std::ptrdiff_t count, const char* actions) {
        SCOPED_TRACE(actions);
        ExpectFrames(count, [&] { Do(actions); });
    }
    bool PointerComesTo(const std::string& place) {
        const std::string ask = "xdotool getmouselocation | grep -q '" + place + " '";
        return WaitUntil([&] { return std::system(ask.c_str()) == 0; });
    }
    bool PointerIsVisible() {
        XFixesCursorImage* const image = XFixesGetCursorImage(display);
        const bool visible =
            std::any_of(image->pixels, image->pixels + image->width * image->height,
                        [](unsigned long pixel) { return pixel != 0; });
        XFree(image);
        return visible;
    }

private:
    int m_spaces = 0;
};

struct ProgramWithoutOpenGL : Program {
    ProgramWithoutOpenGL() : Program("-extension GLX") {}
};

TEST_F(Program, FirstRunSaysWhatItDoesAndLeavesThirteenKeys) {
    Start(scene);
    Quit("Escape");
    EXPECT_THAT(Out(), MatchesRegex("Creating registry in " + home.Path() +
                                    "/.Pallix\n"
                                    "DriverGL: got 8 stencil bits\nUsing room r 0x[0-9a-f]+\n"
                                    "recname = /tmp/one\nstarting eventloop\n"
                                    "(f[^\n]* {4}\r)+shutting down\n"));
    EXPECT_EQ("Renderer = * Driver = *\n", WithoutAddresses(Err()));
    EXPECT_EQ(
        "driver GL\ntestRender/anaglyph 0\ntestRender/baseLOD 1\ntestRender/caprate 30\n"
        "testRender/capt /tmp\ntestRender/edist 20\ntestRender/ediverg 0\n"
        "testRender/emask 011\ntestRender/ratecap 0\ntestRender/showfps 1\n"
        "testRender/veloscale 0.00999999977648\ntestRender/wH 180\ntestRender/wW 240\n",
        ShellKeys());
    EXPECT_THAT(ReadRegistry(), HasSubstr("\nsetting/D_wireframe 0\n"));
}

TEST_F(Program, RegistryArgumentsAndKeysAreKeptForTheNextRun) {
    WriteRegistry(
        "testRender/anaglyph 0.6\ntestRender/baseLOD 0.1\ntestRender/caprate 25\n"
        "testRender/capt /var/tmp\ntestRender/ediverg 1\ntestRender/edist 7\n"
        "testRender/emask 1x\ntestRender/ratecap 2\ntestRender/showfps 0.9\n"
        "testRender/veloscale 3\n");
    Start("-testRender/ediverg -0.1 " + scene + " -own word -setting/P_mipmesh 0 -ignored");
    EXPECT_THAT(Out(), HasSubstr("\ncaprate = 25\nbaseLOD = 0.1\nratecap = 1\n"
                                 "emask0 = 1\nemask1 = 0\nemask2 = 0\n"));
    const auto sendClose = [&](int format) {
        Send(ClientMessage, NoEventMask, [&](XEvent& event) {
            event.xclient.format = format;
            event.xclient.message_type = XInternAtom(display, "WM_PROTOCOLS", False);
            event.xclient.data.l[0] =
                static_cast<long>(XInternAtom(display, "WM_DELETE_WINDOW", False));
        });
    };
    // Sizes and words that make no sense change nothing.
    Send(ConfigureNotify, StructureNotifyMask, [&](XEvent& event) {
        event.xconfigure.window = window;
        event.xconfigure.width = event.xconfigure.height = 0;
    });
    sendClose(8);
    Resize(321, 123);
    Settle();
    // What has come when the quit key is looked at still counts.
    AtOnce([] { Do("key q 2 f w parenright parenright"); });
    EXPECT_EQ(0, Wait()) << Err();
    const std::string keys =
        "driver GL\nown word\ntestRender/anaglyph 1\ntestRender/baseLOD 0.10000000149\n"
        "testRender/caprate 25\ntestRender/capt /var/tmp\ntestRender/edist 7\n"
        "testRender/ediverg -0.0800000056624\ntestRender/emask 110\ntestRender/ratecap 1\n"
        "testRender/showfps 1\ntestRender/veloscale 3\n";
    EXPECT_EQ(keys + "testRender/wH 123\ntestRender/wW 321\n", ShellKeys());

    Start(scene);
    sendClose(32);
    EXPECT_EQ(0, Wait());
    EXPECT_TRUE(Err().starts_with("Creating registry: File exists\n")) << Err();
    EXPECT_EQ(keys, ShellKeys().substr(0, keys.size()));
    for (const char* setting : {"setting/D_wireframe 1\n", "setting/P_mipmesh 0\n"})
        EXPECT_THAT(ReadRegistry(), HasSubstr(setting));
}

TEST_F(Program, AbortsLeaveTheRegistryAsItWas) {
    WriteRegistry("untouched  as it is");
    const std::string itsHome = "HOME=" + home.Path();
    std::string arguments = "-key value " + home.Write("empty", "# nothing\n");
    std::string said = "Creating registry: File exists\nRenderer = * Driver = *\n";
    for (const std::string& file : {home.File("missing"), home.Path(), std::string("/dev/zero")}) {
        arguments += " " + file;
        said += "Could not open scene " + file + "\n";
    }
    EXPECT_EQ(said + "Could not load any rooms. Aborting.\n", Failed(itsHome, arguments));
    EXPECT_EQ("HOME is not set\n", Failed("-u HOME", scene));
    EXPECT_EQ("Creating registry: File exists\nCould not open display\n",
              Failed(itsHome + " DISPLAY=:nowhere", scene));
    EXPECT_EQ("untouched  as it is", ReadRegistry());
}

TEST_F(ProgramWithoutOpenGL, EndsUnlessItIsToDrawLines) {
    WriteRegistry("kept 1\n");
    EXPECT_THAT(Failed("HOME=" + home.Path(), "-driver gl"),
                EndsWith("Error: Requested driver 'gl' does not exist.\nAvailable drivers:\n"
                         "  GL - OpenGL backend\n  X - Simple Xlib driver\n"
                         "Driver gl creation failed\nRenderer = * Driver = *\n"
                         "DriverGL: Couldn't get an appropriate visual\n"
                         "could not obtain appropriate visual\n"));
    EXPECT_EQ("kept 1\n", ReadRegistry());
    Start("-driver X -testRender/showfps 0 " + home.Write("broken", "room z\nroom c\nnonsense") +
          " scenes/billboards " + home.File("missing"));
    EXPECT_THAT(Err(), HasSubstr("unknown command nonsense\nCould not open scene "));
    EXPECT_THAT(WithoutAddresses(Out()),
                HasSubstr("Using room c *\nrecname = /tmp/broken\nUsing room billboards *\n"
                          "recname = /tmp/billboards\n"));
    // The first frame still shows the scene's own up vector: the next steps straighten it.
    EXPECT_TRUE(WaitDrawing([&] { return Frames() > 3; }));
    const auto picture = Pixels();
    EXPECT_GT(std::set(picture.begin(), picture.end()).size(), 1U);
    Do("key D");
    EXPECT_TRUE(
        WaitFor("DriverGL: Couldn't get an appropriate visual\n"
                "could not obtain appropriate visual\n"
                "Switching to driver X\nNew driver = "));
    EXPECT_TRUE(WaitDrawing([&] { return Pixels() == picture; }));
    Quit();
    EXPECT_THAT(ReadRegistry(), HasSubstr("driver X\n"));
}

TEST_F(Program, ObeysPointerAndKeyboardFrameByFrame) {
    const std::string mesh = home.File("square");
    ASSERT_TRUE(SquareMesh(0.1F, 0).Save(mesh, CODEC_FLAT));
    const std::string square = "\nset mesh " + mesh + "\nset shade base\nset pos ";
    const std::string rooms =
        home.Write("rooms", "room one\nobject near" + square + "0,0,3.6\nobject far" + square +
                                "0.5,0,2\nroom two\nobject a" + square + "-1,0,-3\nobject b" +
                                square + "0,0,-3\nobject c" + square + "1,0,-3\n");
    Start(
        "-driver X -testRender/veloscale 0.4 -testRender/caprate 1000000 -setting/D_wireframe 1 " +
        rooms);
    EXPECT_FALSE(PointerIsVisible()) << "in the window";
    XDefineCursor(display, DefaultRootWindow(display), XCreateFontCursor(display, XC_crosshair));
    Do("mousemove 500 500");
    EXPECT_TRUE(PointerIsVisible()) << "beside the window";
    Do("mousemove 60 70");

    // Keys: any asks for one frame; flying asks for more while it coasts, two units far.
    ExpectFrames(1, "key x");
    ExpectFrames(1, "key Shift_L");
    EXPECT_THAT(Out(), ContainsRegex("/[0-9]+,2,[^\r]*\r$"));
    ExpectFrames(31, "key a");
    EXPECT_THAT(Out(), ContainsRegex("/[0-9]+,1,[^\r]*\r$"));

    // Drags: the pointer is put back to where the button was pressed.
    const auto straight = Pixels();
    ExpectFrames(1, "mousedown 1");
    Do("mousemove 90 40");
    EXPECT_TRUE(PointerComesTo("x:60 y:70"));
    ExpectFrames(1, "mouseup 1");
    EXPECT_NE(straight, Pixels()) << "turned";
    ExpectFrames(0, "mousemove 90 40");
    EXPECT_TRUE(PointerComesTo("x:90 y:40")) << "no button is held";

    // Sizes: the last of several in quick succession is kept.
    for (const int more : {70, 30, 90, 50, 20})
        Resize(kWidth + more, kHeight + more);
    const auto resized = [&] {
        XWindowAttributes is{};
        XGetWindowAttributes(display, OnlyChild(window), &is);
        return is.width == kWidth + 20 && is.height == kHeight + 20;
    };
    EXPECT_TRUE(WaitUntil(resized));
    ExpectFrames(0, "mousemove 100 100");
    EXPECT_TRUE(WaitUntil(resized));

    // Drivers: each has a window of its own, in the place of the one before.
    const Window lines = OnlyChild(window);
    Do("key D");
    EXPECT_TRUE(WaitFor("Switching to driver GL\nNew driver = "));
    Settle();
    EXPECT_TRUE(lines != OnlyChild(window) && resized());

    // The graph shows the rates against the rate aimed at: far up, and so with bars to the top.
    const auto reachesTop = [&] {
        const auto picture = Pixels();
        const unsigned long background = picture[kWidth - 1];
        return std::any_of(picture.begin(), picture.begin() + 20,
                           [=](unsigned long pixel) { return pixel != background; });
    };
    EXPECT_FALSE(reachesTop());
    Do("key r");
    EXPECT_TRUE(WaitFor("/1000000.0 "));
    EXPECT_TRUE(WaitUntil(reachesTop));
    Do("key r");

    // The console: every whole line asks for a frame, and the first room follows a deleted one.
    ExpectFrames(1, [&] { Type("walk home\n"); });
    EXPECT_TRUE(WaitFor("Command::DoCommand: unknown command walk home\n"));
    ExpectFrames(1, [&] { Type("delete one\n"); });
    ExpectFrames(1, [&] { Type("camera fov 33\n"); });
    ExpectFrames(1, "key x");
    EXPECT_THAT(Out(), ContainsRegex("fov=33.0 [^\r]*/[0-9]+,3,[^\r]*\r$"));
    ExpectFrames(0, [&] {
        Type("camera fov 44");
        CloseInput();
        EXPECT_TRUE(WaitFor("\nConsole terminating\n"));
    });
    ExpectFrames(1, "key x");
    EXPECT_THAT(Out(), ContainsRegex("fov=44.0 [^\r]*\r$"));
    Quit();
}

TEST_F(Program, InputThatCannotBeReadEndsTheConsoleOnce) {
    for (const char* input : {" <&-", " </"}) {
        Start(scene + input);
        EXPECT_TRUE(WaitFor("\nConsole terminating\n"));
        EXPECT_THAT(WithoutAddresses(Quit()), EndsWith("Driver = *\n\nConsole terminating\n"));
    }
}

// Commands that build and delete what is being drawn, while keys ask for frames, move the camera
// and in the end quit: that must neither hang nor crash nor lose the registry. Under
// ThreadSanitizer a race ends the program with a status of its own.
TEST_F(Program, CommandsAndFramesShareTheScene) {
    const std::string mesh = home.File("sphere");
    ASSERT_TRUE(SphereMesh(1, 33, 33).Save(mesh, CODEC_FLAT));
    const auto typeCommands = [&](int i) {
        const std::string name = std::to_string(i % 7);
        Type("object r a/" + name + "\nset mesh " + mesh +
             "\nshader new\nset shade base\nset shade light\nset shade blend\nset shade shadow\n" +
             "set pos " + name + ",0,-9\nlight set lamp" + name +
             " pos 1,2,3\nr_set P_LODmax 2\nreload " + mesh + "\nd_set D_wireframe " +
             std::to_string(i % 2) + "\ncamera fov " + std::to_string(40 + i) + "\n" +
             (i % 3 == 2 ? "delete r a/" + name + "\n" : "") +
             (i % 10 == 9 ? "delete r\nroom r\nobject a\n" : ""));
    };
    for (int round = 0; round < 5; ++round) {
        std::filesystem::remove_all(home.File(".Pallix"));
        Start("-setting/F_shadows 1 " + scene);
        for (int i = 0; i < 15; ++i) {
            typeCommands(i);
            Do(i == 10 ? "key --delay 0 a P m s o D" : "key --delay 0 a P m s o");
        }
        EXPECT_TRUE(WaitDrawing([&] { return Out().find("fov=54.0") != std::string::npos; }));
        AtOnce([&] {
            for (int i = 0; i < 100; ++i)
                typeCommands(i);
            Do("key q");
        });
        EXPECT_EQ(0, Wait());
        EXPECT_THAT(Err(), Not(ContainsRegex("Command::|GLError|Sanitizer")));
        EXPECT_NE("", ShellKeys());
    }
}
}  // namespace
