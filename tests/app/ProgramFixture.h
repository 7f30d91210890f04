// Runs the built program as a user would, on a display of its own with a real pointer and keyboard,
// with a home of its own and a terminal that can be typed into. Knows the program by its texts and
// its window title alone.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/TempFile.h"

#include <X11/Xlib.h>

// A server that no other test draws on, from now on the default display.
class OwnServer {
public:
    explicit OwnServer(const std::string& options) {
        const std::string start =
            "echo $$; exec Xvfb -displayfd 1 -screen 0 800x600x24 -nolisten tcp -noreset ";
        m_output = popen((start + options + " 2>/dev/null").c_str(), "re");
        int number = 0;
        const bool started =
            m_output != nullptr && std::fscanf(m_output, "%d %d", &m_pid, &number) == 2;
        setenv("DISPLAY", started ? (":" + std::to_string(number)).c_str() : "none", 1);
    }
    ~OwnServer() {
        if (m_pid > 0) kill(m_pid, SIGTERM);
        if (m_output != nullptr) pclose(m_output);
    }
    OwnServer(const OwnServer&) = delete;
    OwnServer& operator=(const OwnServer&) = delete;

private:
    std::FILE* m_output = nullptr;
    pid_t m_pid = -1;
};

// A hand on the pointer and the keyboard: what to do in xdotool's words.
inline void Do(const std::string& actions) {
    EXPECT_EQ(0, std::system(("xdotool " + actions).c_str())) << actions;
}

class ProgramFixture : public testing::Test {
protected:
    static constexpr int kWidth = 240;
    static constexpr int kHeight = 180;

    const TempDir home;
    const std::string scene = home.Write("one", "room r\nobject a\n");
    // Outlives program and display: a connection to a server that is gone ends the process.
    const OwnServer server;
    Display* const display = XOpenDisplay(nullptr);
    Window window = 0;

    // A key that is held for long does not repeat.
    explicit ProgramFixture(const char* options = "+extension GLX -r") : server(options) {}
    void SetUp() override {
        ASSERT_NE(nullptr, display) << "Xvfb does not start";
        // By default a failed request ends the process, and leaves server and program behind.
        XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
    }
    ~ProgramFixture() override {
        End();
        if (display != nullptr) XCloseDisplay(display);
    }

    std::string ReadRegistry() const { return home.Read(".Pallix/registry"); }
    void WriteRegistry(const std::string& text) const {
        std::filesystem::create_directory(home.File(".Pallix"));
        home.Write(".Pallix/registry", text);
    }

    // Starts the program after the end of the one before. environment: what HOME and the like are;
    // words: arguments, and where standard input comes from unless it is typed. Both are shell's.
    void Launch(const std::string& environment, const std::string& words) {
        End();
        for (const char* stream : {"out", "err"})
            home.Write(stream, "");
        const std::string command = "exec env " + environment + " " PALLIX_PROGRAM +
                                    " -testRender/wW 240 -testRender/wH 180 " + words + " >" +
                                    home.File("out") + " 2>" + home.File("err");
        signal(SIGPIPE, SIG_IGN);  // the program may end while a test is still typing
        int pipe[2];
        ASSERT_EQ(0, pipe2(pipe, O_CLOEXEC));
        fcntl(pipe[0], F_SETFL, O_NONBLOCK);  // as a terminal may be left by another program
        m_pid = fork();
        if (m_pid == 0) {
            dup2(pipe[0], STDIN_FILENO);
            execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
            _exit(127);
        }
        close(pipe[0]);
        m_input = fdopen(pipe[1], "w");
    }
    // Starts it in its home, waits until frames can be drawn and puts the pointer into its window.
    void Start(const std::string& words) {
        Launch("HOME=" + home.Path(), words);
        if (!WaitFor("\r")) throw std::runtime_error("no frame: " + Err());
        Do("search --onlyvisible --name '^PALLIX rendering test$' mousemove --window %1 60 70");
        window = OnlyChild(DefaultRootWindow(display));
    }
    // Waits for the end: the exit status, or minus the signal.
    int Wait() {
        if (!WaitUntil([&] { return Ended(); })) return -SIGKILL;
        return WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -WTERMSIG(m_status);
    }
    // Ends it with that key; the end must be clean. What it said on standard error.
    std::string Quit(const std::string& key = "q") {
        Do("key " + key);
        EXPECT_EQ(0, Wait()) << Err();
        EXPECT_THAT(Err(), testing::Not(testing::ContainsRegex("GLError|Sanitizer")));
        return Err();
    }

    std::string Out() const { return home.Read("out"); }
    std::string Err() const { return home.Read("err"); }
    // The number of frames shown so far.
    std::ptrdiff_t Frames() const {
        const std::string out = Out();
        return std::count(out.begin(), out.end(), '\r');
    }

    // Types text into the program's standard input.
    void Type(const std::string& text) {
        fputs(text.c_str(), m_input);
        fflush(m_input);
    }
    void CloseInput() {
        if (m_input != nullptr) fclose(m_input);
        m_input = nullptr;
    }
    // The program finds everything that the action does at once.
    template <class Action>
    void AtOnce(Action action) {
        ASSERT_FALSE(Ended());  // -1 would be all processes
        const pid_t running = m_pid;
        kill(running, SIGSTOP);
        action();
        kill(running, SIGCONT);
    }
    void Resize(int wide, int high) {
        XResizeWindow(display, window, static_cast<unsigned>(wide), static_cast<unsigned>(high));
        XFlush(display);
    }
    // Sends the window an event that fill describes.
    template <class Fill>
    void Send(int type, long mask, Fill fill) {
        XEvent event{};
        event.type = type;
        event.xany.window = window;
        fill(event);
        XSendEvent(display, window, False, mask, &event);
        XFlush(display);
    }

    // Waits until the condition holds; false when the program ends or much time passes without.
    template <class Condition>
    bool WaitUntil(Condition condition) {
        // Sanitizers and software OpenGL on a busy machine take their time.
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        for (;;) {
            // What follows a failure tells nothing more, and is not waited for.
            const bool last = Ended() || HasFailure() || std::chrono::steady_clock::now() > end;
            if (condition()) return true;
            if (last) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    // Asks for frames until the condition holds.
    template <class Condition>
    bool WaitDrawing(Condition condition) {
        return WaitUntil([&] {
            Do("key x");
            return condition();
        });
    }
    // Waits until standard output or error holds the text.
    bool WaitFor(const std::string& text) {
        return WaitUntil([&] { return (Out() + Err()).find(text) != std::string::npos; });
    }
    Window OnlyChild(Window parent) {
        Window ignored = 0;
        Window* list = nullptr;
        unsigned count = 0;
        XQueryTree(display, parent, &ignored, &ignored, &list, &count);
        EXPECT_EQ(1U, count);
        const Window child = count > 0 ? list[0] : 0;
        if (list != nullptr) XFree(list);
        return child;
    }

private:
    pid_t m_pid = -1;
    int m_status = 0;
    FILE* m_input = nullptr;

    bool Ended() {
        if (m_pid > 0 && waitpid(m_pid, &m_status, WNOHANG) == m_pid) m_pid = -1;
        return m_pid <= 0;
    }
    // Kills the program when it still runs.
    void End() {
        CloseInput();
        if (Ended()) return;
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
        m_pid = -1;
    }
};
