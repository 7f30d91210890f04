// Runs the built program as a user would: a home of its own, a terminal that can be typed into, and
// a window that receives keys. Knows the program by its texts and its window title alone.
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
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/TempFile.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

class ProgramRun {
public:
    // A size that no other run on the same display has: by it the window is found.
    const int width = 200 + getpid() % 97;
    const int height = 150 + getpid() / 97 % 89;
    Display* const display = XOpenDisplay(nullptr);
    Window window = 0;
    pid_t pid = -1;

    // home is used as HOME; "" runs without HOME. The arguments follow the window size. input:
    // where standard input comes from in the shell's words; it can be typed into where none is
    // given.
    ProgramRun(const std::string& home, std::vector<std::string> arguments,
               const std::string& input = "") {
        const std::string script = (home.empty() ? "unset HOME" : "export HOME='" + home + "'") +
                                   "; exec \"$@\" >" + m_files.File("out") + " 2>" +
                                   m_files.File("err") + " " + input;
        arguments.insert(arguments.begin(),
                         {"sh", "-c", script, "sh", PALLIX_PROGRAM, "-testRender/wW",
                          std::to_string(width), "-testRender/wH", std::to_string(height)});
        std::vector<char*> argv;
        for (std::string& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        signal(SIGPIPE, SIG_IGN);  // the program may end while a test is still typing
        int pipe[2];
        if (pipe2(pipe, O_CLOEXEC) != 0) return;
        fcntl(pipe[0], F_SETFL, O_NONBLOCK);  // as a terminal may be left by another program
        pid = fork();
        if (pid == 0) {
            dup2(pipe[0], STDIN_FILENO);
            execv("/bin/sh", argv.data());
            _exit(127);
        }
        close(pipe[0]);
        m_input = fdopen(pipe[1], "w");
    }
    // Kills the program when it still runs.
    ~ProgramRun() {
        CloseInput();
        if (!Ended()) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
        if (display != nullptr) XCloseDisplay(display);
    }
    ProgramRun(const ProgramRun&) = delete;
    ProgramRun& operator=(const ProgramRun&) = delete;

    std::string Out() const { return m_files.Read("out"); }
    std::string Err() const { return m_files.Read("err"); }
    // The number of frames shown so far, and the statistics line of the last one.
    std::ptrdiff_t Frames() const {
        const std::string out = Out();
        return std::count(out.begin(), out.end(), '\r');
    }
    std::string LastFrame() const {
        const std::string out = Out();
        const std::size_t end = out.rfind('\r');
        return out.substr(0, end).substr(out.find_last_of("\r\n", end - 1) + 1);
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
    // Waits until the window is up and frames can be drawn. False when the program ended.
    bool WaitForWindow() {
        // Another program's window may vanish between being listed and being asked for its size.
        XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
        return WaitForOut("starting eventloop\n") && WaitUntil([&] { return FindWindow(); }) &&
               WaitForOut("\r");
    }
    // Sends any event to the top-level window; what is not flushed arrives with the next that is.
    void Send(XEvent event, long mask, bool flush = true) {
        event.xany.display = display;
        event.xany.window = window;
        XSendEvent(display, window, False, mask, &event);
        if (flush) XFlush(display);
    }
    // Sends presses of the keys with these symbols, in one burst.
    void Press(std::initializer_list<KeySym> symbols) {
        for (const KeySym symbol : symbols) {
            XEvent event{};
            event.xkey.type = KeyPress;
            event.xkey.root = DefaultRootWindow(display);
            event.xkey.same_screen = True;
            event.xkey.display = display;
            event.xkey.keycode = XKeysymToKeycode(display, symbol);
            if (XLookupKeysym(&event.xkey, 0) != symbol) event.xkey.state = ShiftMask;
            Send(event, KeyPressMask, false);
        }
        XFlush(display);
    }
    void Resize(unsigned wide, unsigned high) {
        XResizeWindow(display, window, wide, high);
        XFlush(display);
    }
    // Waits until the condition holds; false when the program ends or much time passes without.
    template <class Condition>
    bool WaitUntil(Condition condition) {
        // Sanitizers and software OpenGL on a busy machine take their time.
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        for (;;) {
            const bool last = Ended() || std::chrono::steady_clock::now() > end;
            if (condition()) return true;
            if (last) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    // Waits until standard output or error holds the text.
    bool WaitForOut(const std::string& text) {
        return WaitUntil([&] { return Out().find(text) != std::string::npos; });
    }
    bool WaitForErr(const std::string& text) {
        return WaitUntil([&] { return Err().find(text) != std::string::npos; });
    }
    // Asks for frames until the condition holds.
    template <class Condition>
    bool WaitDrawing(Condition condition) {
        return WaitUntil([&] {
            Press({XK_x});
            return condition();
        });
    }
    // The windows in a window.
    std::vector<Window> Children(Window parent) {
        Window ignored = 0;
        Window* list = nullptr;
        unsigned count = 0;
        XQueryTree(display, parent, &ignored, &ignored, &list, &count);
        const std::vector<Window> children(list, list + count);
        if (list != nullptr) XFree(list);
        return children;
    }
    bool HasSize(Window of, int wide, int high) {
        XWindowAttributes is{};
        XGetWindowAttributes(display, of, &is);
        return is.width == wide && is.height == high;
    }
    // Waits for the end: the exit status, or minus the signal.
    int Wait() {
        if (!WaitUntil([&] { return Ended(); })) return -SIGKILL;
        return WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -WTERMSIG(m_status);
    }

private:
    TempDir m_files;
    FILE* m_input = nullptr;
    int m_status = 0;

    bool Ended() {
        if (pid > 0 && waitpid(pid, &m_status, WNOHANG) == pid) pid = -1;
        return pid <= 0;
    }
    bool FindWindow() {
        for (const Window found : Children(DefaultRootWindow(display))) {
            char* name = nullptr;
            if (!XFetchName(display, found, &name) || name == nullptr) continue;
            const bool titled = std::string_view(name) == "PALLIX rendering test";
            XFree(name);
            if (titled && HasSize(found, width, height)) window = found;
        }
        return window != 0;
    }
};

// A home with a scene, the registry that the program leaves there, and the program itself.
class ProgramFixture : public testing::Test {
protected:
    TempDir home;
    const std::string scene = home.Write("one", "room r\nobject a\n");

    std::string ReadRegistry() const { return home.Read(".Pallix/registry"); }
    void WriteRegistry(const std::string& text) const {
        std::filesystem::create_directory(home.File(".Pallix"));
        home.Write(".Pallix/registry", text);
    }
    void TearDown() override { m_run.reset(); }
    // Starts the program, after the end of the one before, and waits for its window.
    ProgramRun& Start(const std::vector<std::string>& arguments, const std::string& input = "") {
        m_run.emplace(home.Path(), arguments, input);
        EXPECT_TRUE(m_run->WaitForWindow()) << m_run->Err();
        return *m_run;
    }
    // Ends it with that key; the end must be clean. What it said on standard error.
    std::string Quit(KeySym key = XK_q) {
        m_run->Press({key});
        EXPECT_EQ(0, m_run->Wait()) << m_run->Err();
        EXPECT_THAT(m_run->Err(), testing::Not(testing::ContainsRegex("GLError|Sanitizer")));
        return m_run->Err();
    }

private:
    std::optional<ProgramRun> m_run;
};
