// The whole program on X servers of its own: one without OpenGL, and one whose pointer and keyboard
// the test has for itself.
#include <algorithm>
#include <cstdio>
#include <set>

#include "ProgramRun.h"
#include "geometry/Codec.h"
#include "support/Capture.h"
#include "support/TestMeshes.h"

#include <X11/cursorfont.h>
#include <X11/extensions/Xfixes.h>

namespace {

using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;

// A server that no other test draws on, and the default display while it lives.
class OwnServer {
public:
    explicit OwnServer(const char* options) : m_default(std::getenv("DISPLAY")) {
        const std::string start =
            "echo $$; exec Xvfb -displayfd 1 -screen 0 800x600x24 -nolisten tcp ";
        m_output = popen((start + "-noreset " + options + " 2>/dev/null").c_str(), "r");
        if (m_output == nullptr || std::fscanf(m_output, "%d %d", &m_pid, &m_number) != 2) return;
        setenv("DISPLAY", std::string(":").append(std::to_string(m_number)).c_str(), 1);
    }
    testing::AssertionResult Started() const {
        if (m_number >= 0) return testing::AssertionSuccess();
        return testing::AssertionFailure() << "Xvfb does not start or tells no display number";
    }
    ~OwnServer() {
        if (m_pid > 0) kill(m_pid, SIGTERM);
        if (m_output != nullptr) pclose(m_output);
        setenv("DISPLAY", m_default.c_str(), 1);
    }
    OwnServer(const OwnServer&) = delete;
    OwnServer& operator=(const OwnServer&) = delete;

private:
    std::string m_default;
    std::FILE* m_output = nullptr;
    pid_t m_pid = -1;
    int m_number = -1;
};

// What the window shows, row by row.
std::vector<unsigned long> Pixels(const ProgramRun& run) {
    XImage* image =
        XGetImage(run.display, run.window, 0, 0, run.width, run.height, AllPlanes, ZPixmap);
    std::vector<unsigned long> pixels;
    for (int i = 0; image != nullptr && i < run.width * run.height; ++i)
        pixels.push_back(XGetPixel(image, i % run.width, i / run.width));
    if (image != nullptr) XDestroyImage(image);
    return pixels;
}

// A hand on the real pointer and keyboard of the default display: what to do in xdotool's words.
void Do(const std::string& actions) {
    EXPECT_EQ(0, std::system(("xdotool " + actions).c_str())) << actions;
}

class ServerProgram : public ProgramFixture {
protected:
    // Must outlive the program: closing a connection to a server that is gone ends the process.
    std::optional<OwnServer> server;
    ProgramRun* run = nullptr;

    // Waits until the program has drawn everything that was asked for before.
    void Settle() {
        EXPECT_TRUE(run->WaitUntil([&] {
            const std::ptrdiff_t before = run->Frames();
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            Do("key space");  // raises the number that the statistics line begins with
            EXPECT_TRUE(run->WaitForOut("f" + std::to_string(++m_spaces) + " fov"));
            return run->Frames() == before + 1;
        }));
    }
    // What the action asks for: exactly so many frames, and then no more.
    template <class Action>
    void ExpectFrames(std::ptrdiff_t count, Action action) {
        Settle();
        const std::ptrdiff_t before = run->Frames();
        action();
        EXPECT_TRUE(run->WaitUntil([&] { return run->Frames() >= before + count; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        EXPECT_EQ(run->Frames() - before, count);
    }
    void ExpectFrames(std::ptrdiff_t count, const char* actions) {
        SCOPED_TRACE(actions);
        ExpectFrames(count, [&] { Do(actions); });
    }
    bool PointerComesTo(int x, int y) {
        return run->WaitUntil([&] {
            Window ignored = 0;
            unsigned mask = 0;
            int at[4] = {};
            XQueryPointer(run->display, run->window, &ignored, &ignored, &at[0], &at[1], &at[2],
                          &at[3], &mask);
            return at[2] == x && at[3] == y;
        });
    }
    bool PointerIsVisible() {
        XFixesCursorImage* const image = XFixesGetCursorImage(run->display);
        const bool visible =
            std::any_of(image->pixels, image->pixels + image->width * image->height,
                        [](unsigned long pixel) { return pixel != 0; });
        XFree(image);
        return visible;
    }
    // The window that the driver draws in; it must be the only one.
    Window RenderWindow() {
        const std::vector<Window> windows = run->Children(run->window);
        EXPECT_EQ(1U, windows.size());
        return windows.empty() ? 0 : windows[0];
    }

private:
    int m_spaces = 0;
};

TEST_F(ServerProgram, EndsWhereThereIsNoOpenGLUnlessItIsToDrawLines) {
    server.emplace("-extension GLX");
    ASSERT_TRUE(server->Started());
    WriteRegistry("kept 1\n");
    ProgramRun refused(home.Path(), {"-driver", "gl"});
    EXPECT_EQ(1, refused.Wait());
    EXPECT_THAT(WithoutAddresses(refused.Err()),
                EndsWith("Error: Requested driver 'gl' does not exist.\nAvailable drivers:\n"
                         "  GL - OpenGL backend\n  X - Simple Xlib driver\n"
                         "Driver gl creation failed\nRenderer = * Driver = *\n"
                         "DriverGL: Couldn't get an appropriate visual\n"
                         "could not obtain appropriate visual\n"));
    EXPECT_EQ("kept 1\n", ReadRegistry());
    run = &Start({"-driver", "X", "-testRender/showfps", "0",
                  home.Write("broken", "room z\nroom c\nnonsense"), "scenes/billboards",
                  home.File("missing")});
    EXPECT_THAT(run->Err(), HasSubstr("unknown command nonsense\nCould not open scene "));
    EXPECT_THAT(WithoutAddresses(run->Out()),
                HasSubstr("Using room c *\nrecname = /tmp/broken\nUsing room billboards *\n"
                          "recname = /tmp/billboards\n"));
    // The first frame still shows the scene's own up vector: the next steps straighten it.
    EXPECT_TRUE(run->WaitDrawing([&] { return run->Frames() > 3; }));
    const auto picture = Pixels(*run);
    EXPECT_GT(std::set(picture.begin(), picture.end()).size(), 1U);
    run->Press({XK_D});
    EXPECT_TRUE(
        run->WaitForErr("DriverGL: Couldn't get an appropriate visual\n"
                        "could not obtain appropriate visual\n"
                        "Switching to driver X\nNew driver = "));
    EXPECT_TRUE(run->WaitDrawing([&] { return Pixels(*run) == picture; }));
    Quit();
    EXPECT_THAT(ReadRegistry(), HasSubstr("driver X\n"));
}

TEST_F(ServerProgram, ObeysARealPointerAndKeyboardFrameByFrame) {
    server.emplace("+extension GLX -r");  // a key that is held for long does not repeat
    ASSERT_TRUE(server->Started());
    const std::string mesh = home.File("square");
    ASSERT_TRUE(SquareMesh(0.1F, 0).Save(mesh, CODEC_FLAT));
    const std::string square = "\nset mesh " + mesh + "\nset shade base\nset pos ";
    const std::string rooms =
        home.Write("rooms", "room one\nobject near" + square + "0,0,3.6\nobject far" + square +
                                "0.5,0,2\nroom two\nobject a" + square + "-1,0,-3\nobject b" +
                                square + "0,0,-3\nobject c" + square + "1,0,-3\n");
    run = &Start({"-driver", "X", "-testRender/veloscale", "0.4", "-testRender/caprate", "1000000",
                  "-setting/D_wireframe", "1", rooms});
    XDefineCursor(run->display, DefaultRootWindow(run->display),
                  XCreateFontCursor(run->display, XC_crosshair));
    Do("mousemove 500 500");
    EXPECT_TRUE(PointerIsVisible()) << "beside the window";
    Do("mousemove 60 70");
    EXPECT_FALSE(PointerIsVisible()) << "in the window";

    // Keys: any asks for one frame; flying asks for more while it coasts, two units far.
    ExpectFrames(1, "key x");
    EXPECT_THAT(run->LastFrame(), ContainsRegex("/[0-9]+,2,"));
    ExpectFrames(31, "key a");
    EXPECT_THAT(run->LastFrame(), ContainsRegex("/[0-9]+,1,"));

    // Drags: the pointer is put back to where the button was pressed.
    const auto straight = Pixels(*run);
    ExpectFrames(1, "mousedown 1");
    Do("mousemove 90 40");
    EXPECT_TRUE(PointerComesTo(60, 70));
    ExpectFrames(1, "mouseup 1");
    EXPECT_NE(straight, Pixels(*run)) << "turned";
    ExpectFrames(0, "mousemove 90 40");
    EXPECT_TRUE(PointerComesTo(90, 40)) << "no button is held";

    // Sizes: the last of several in quick succession is kept.
    for (const unsigned more : {70U, 30U, 90U, 50U, 20U})
        run->Resize(run->width + more, run->height + more);
    const auto resized = [&] {
        return run->HasSize(RenderWindow(), run->width + 20, run->height + 20);
    };
    EXPECT_TRUE(run->WaitUntil(resized));
    ExpectFrames(0, "mousemove 100 100");
    EXPECT_TRUE(run->WaitUntil(resized));

    // Drivers: each has a window of its own, in the place of the one before.
    const Window lines = RenderWindow();
    Do("key D");
    EXPECT_TRUE(run->WaitForErr("Switching to driver GL\nNew driver = "));
    Settle();
    EXPECT_NE(lines, RenderWindow());

    // The graph shows the rates against the rate aimed at: far up, and so with bars to the top.
    const auto reachesTop = [&] {
        const auto picture = Pixels(*run);
        const unsigned long background = picture[static_cast<unsigned>(run->width) - 1];
        return std::any_of(picture.begin(), picture.begin() + 20,
                           [=](unsigned long pixel) { return pixel != background; });
    };
    EXPECT_FALSE(reachesTop());
    Do("key r");
    EXPECT_TRUE(run->WaitForOut("/1000000.0 "));
    EXPECT_TRUE(run->WaitUntil(reachesTop));
    Do("key r");

    // The console: every whole line asks for a frame, and the first room follows a deleted one.
    ExpectFrames(1, [&] { run->Type("walk home\n"); });
    EXPECT_TRUE(run->WaitForErr("Command::DoCommand: unknown command walk home\n"));
    ExpectFrames(1, [&] { run->Type("delete one\n"); });
    ExpectFrames(1, [&] { run->Type("camera fov 33\n"); });
    ExpectFrames(1, "key x");
    EXPECT_THAT(run->LastFrame(), ContainsRegex("fov=33.0 .*/[0-9]+,3,"));
    ExpectFrames(0, [&] {
        run->Type("camera fov 44");
        run->CloseInput();
        EXPECT_TRUE(run->WaitForErr("\nConsole terminating\n"));
    });
    ExpectFrames(1, "key x");
    EXPECT_THAT(run->LastFrame(), HasSubstr("fov=44.0"));
    Quit();
}

}  // namespace
