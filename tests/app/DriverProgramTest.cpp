// The whole program on X servers of its own: one without OpenGL, and one on which drivers are
// switched again and again.
#include <algorithm>
#include <cstdio>
#include <fstream>

#include "ProgramRun.h"
#include "support/Capture.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kKeepsFreedMemory = true;
#else
constexpr bool kKeepsFreedMemory = false;
#endif

const std::string kServer =
    "echo $$; exec Xvfb -displayfd 1 -screen 0 800x600x24 -nolisten tcp -noreset ";

// A server that no other test draws on, and the default display while it lives.
class OwnServer {
public:
    explicit OwnServer(const char* options) : m_default(std::getenv("DISPLAY")) {
        m_output = popen((kServer + options + " 2>/dev/null").c_str(), "r");
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

std::vector<unsigned long> Picture(ProgramRun& run) {
    EXPECT_TRUE(run.WaitForMoreFrames());
    XImage* image =
        XGetImage(run.display, run.window, 0, 0, run.width, run.height, AllPlanes, ZPixmap);
    std::vector<unsigned long> pixels;
    for (int i = 0; image != nullptr && i < run.width * run.height; ++i)
        pixels.push_back(XGetPixel(image, i % run.width, i / run.width));
    if (image != nullptr) XDestroyImage(image);
    return pixels;
}

// Memory that a process holds, in KiB.
long ResidentSize(pid_t pid) {
    long total = 0;
    long resident = 0;
    std::string path("/proc/");
    std::ifstream(path.append(std::to_string(pid)).append("/statm")) >> total >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

class DriverProgram : public ProgramFixture {
protected:
    // Must outlive the program: closing a connection to a server that is gone ends the process.
    std::optional<OwnServer> server;
};

TEST_F(DriverProgram, DrawsLinesWhereThereIsNoOpenGL) {
    server.emplace("-extension GLX");
    ASSERT_TRUE(server->Started());
    ProgramRun& run = Start({"-driver", "gl", "-testRender/showfps", "0",
                             home.Write("broken", "room z\nroom c\nnonsense"), "scenes/billboards",
                             home.File("missing")});
    EXPECT_THAT(run.Err(), StartsWith("Error: Requested driver 'gl' does not exist.\n"
                                      "Available drivers:\n  GL - OpenGL backend\n"));
    EXPECT_THAT(run.Err(), HasSubstr("Driver gl creation failed\n"));
    EXPECT_THAT(run.Err(), HasSubstr("Driver GL creation failed\nRenderer = "));
    EXPECT_THAT(run.Err(), HasSubstr("unknown command nonsense\nCould not open scene "));
    EXPECT_THAT(WithoutAddresses(run.Out()),
                HasSubstr("Using room c *\nrecname = /tmp/broken\nUsing room billboards *\n"
                          "recname = /tmp/billboards\n"));
    const auto picture = Picture(run);
    ASSERT_FALSE(picture.empty());
    EXPECT_LT(std::count(picture.begin(), picture.end(), picture.front()), std::ssize(picture));
    run.Press({XK_D});
    EXPECT_TRUE(run.WaitForErr("Switching to driver GL\nSwitching to driver X\nNew driver = "));
    EXPECT_EQ(picture, Picture(run));
    Quit();
    EXPECT_THAT(ReadRegistry(), HasSubstr("driver X\n"));
}

TEST_F(DriverProgram, SwitchingAHundredTimesKeepsThePicturesAndTheMemory) {
    server.emplace("+extension GLX");
    ASSERT_TRUE(server->Started());
    ProgramRun& run = Start({"-driver", "GL", "-testRender/showfps", "0", "scenes/billboards"});
    std::vector<unsigned long> pictures[2] = {Picture(run), {}};
    long early = 0;
    for (int i = 1; i <= 100; ++i) {
        run.Press({XK_D});
        EXPECT_TRUE(run.WaitForMoreFrames());
        if (i == 1) pictures[1] = Picture(run);
        if (i % 33 == 0 || i == 100) {
            EXPECT_EQ(pictures[i % 2], Picture(run)) << i;
        }
        if (i == 40) early = ResidentSize(run.pid);
    }
    EXPECT_NE(pictures[0], pictures[1]) << "solids and lines";
    if (!kKeepsFreedMemory) {
        EXPECT_LT(ResidentSize(run.pid), early + 4096);
    }
    Quit();
}

}  // namespace
