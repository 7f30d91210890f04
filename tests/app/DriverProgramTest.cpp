// The whole program on X servers of its own: one without OpenGL, and one on which drivers are
// switched again and again.
#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <numeric>

#include "ProgramRun.h"

#include <X11/Xutil.h>
#include <X11/keysym.h>

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kKeepsFreedMemory = true;
#else
constexpr bool kKeepsFreedMemory = false;
#endif

// A server that no other test draws on, and the default display while it lives.
class OwnServer {
public:
    explicit OwnServer(const char* options) : m_default(std::getenv("DISPLAY")) {
        const std::string command = std::string(
                                        "echo $$; exec Xvfb -displayfd 1 -screen 0 "
                                        "800x600x24 -nolisten tcp -noreset ") +
                                    options + " 2>/dev/null";
        m_output = popen(command.c_str(), "r");
        int number = -1;
        if (m_output == nullptr || std::fscanf(m_output, "%d %d", &m_pid, &number) != 2) return;
        std::string display(":");
        setenv("DISPLAY", display.append(std::to_string(number)).c_str(), 1);
    }
    bool Started() const { return m_pid > 0; }
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
};

// Draws frames until two more have been shown.
void WaitForFrames(ProgramRun& run) {
    const auto frames = [&] {
        const std::string out = run.Out();
        return std::count(out.begin(), out.end(), '\r');
    };
    const auto before = frames();
    for (int i = 0; i < 6000 && frames() < before + 2; ++i) {
        run.Press(XK_x);
        usleep(10000);
    }
    EXPECT_GE(frames(), before + 2);
}

std::vector<unsigned long> Picture(ProgramRun& run) {
    WaitForFrames(run);
    XImage* image = XGetImage(run.XDisplay(), run.TopWindow(), 0, 0, run.Width(), run.Height(),
                              AllPlanes, ZPixmap);
    std::vector<unsigned long> pixels;
    for (int i = 0; image != nullptr && i < run.Width() * run.Height(); ++i)
        pixels.push_back(XGetPixel(image, i % run.Width(), i / run.Width()));
    if (image != nullptr) XDestroyImage(image);
    return pixels;
}

// How many pixels differ; -1 for pictures of different sizes.
std::ptrdiff_t Differences(const std::vector<unsigned long>& a,
                           const std::vector<unsigned long>& b) {
    if (a.size() != b.size() || a.empty()) return -1;
    return std::inner_product(a.begin(), a.end(), b.begin(), std::ptrdiff_t{0}, std::plus<>(),
                              std::not_equal_to<>());
}

// Memory that a process holds, in KiB.
long ResidentSize(pid_t pid) {
    long total = 0;
    long resident = 0;
    std::string path("/proc/");
    std::ifstream(path.append(std::to_string(pid)).append("/statm")) >> total >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

TEST(DriverProgram, DrawsLinesWhereThereIsNoOpenGL) {
    OwnServer server("-extension GLX");
    ASSERT_TRUE(server.Started());
    TempDir home;
    ProgramRun run(home.Path(), {"-testRender/showfps", "0", "scenes/billboards"});
    ASSERT_TRUE(run.WaitForWindow()) << run.Err();
    const auto picture = Picture(run);
    ASSERT_FALSE(picture.empty());
    EXPECT_LT(std::count(picture.begin(), picture.end(), picture.front()), std::ssize(picture));
    run.Press(XK_D);
    EXPECT_TRUE(run.WaitForErr("Switching to driver GL\nSwitching to driver X\nNew driver = "));
    EXPECT_EQ(0, Differences(picture, Picture(run)));
    run.Press(XK_q);
    EXPECT_EQ(0, run.Wait());
    EXPECT_TRUE(run.Err().find("Driver GL creation failed\nRenderer = ") != std::string::npos);
    EXPECT_TRUE(home.Read(".Pallix/registry").find("driver X\n") != std::string::npos);
}

TEST(DriverProgram, SwitchingAHundredTimesKeepsThePicturesAndTheMemory) {
    OwnServer server("+extension GLX");
    ASSERT_TRUE(server.Started());
    TempDir home;
    ProgramRun run(home.Path(), {"-driver", "GL", "-testRender/showfps", "0", "scenes/billboards"});
    ASSERT_TRUE(run.WaitForWindow()) << run.Err();
    std::vector<unsigned long> pictures[2] = {Picture(run), {}};
    long early = 0;
    for (int i = 1; i <= 100; ++i) {
        run.Press(XK_D);
        WaitForFrames(run);
        if (i == 1) pictures[1] = Picture(run);
        if (i % 33 == 0 || i == 100) {
            EXPECT_EQ(0, Differences(pictures[i % 2], Picture(run))) << i;
        }
        if (i == 40) early = ResidentSize(run.Pid());
    }
    EXPECT_GT(Differences(pictures[0], pictures[1]), 1000);
    if (!kKeepsFreedMemory) {
        EXPECT_LT(ResidentSize(run.Pid()), early + 4096);
    }
    run.Press(XK_q);
    EXPECT_EQ(0, run.Wait()) << run.Err();
    EXPECT_EQ(std::string::npos, run.Err().find("GLError")) << run.Err();
}

}  // namespace
