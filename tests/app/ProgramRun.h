// Runs the built program as a user would: a home of its own, a terminal that can be typed into, and
// a window that receives keys. Knows the program by its texts and its window title alone.
#pragma once

#include <string>
#include <vector>

#include "support/TempFile.h"

#include <X11/Xlib.h>

class ProgramRun {
public:
    enum class Input { Pipe, Closed, Directory };

    // home is used as HOME; "" runs without HOME. The arguments follow a window size that no other
    // run on the same display has, by which the window is found.
    ProgramRun(const std::string& home, std::vector<std::string> arguments,
               Input input = Input::Pipe);
    // Kills the program when it still runs.
    ~ProgramRun();
    ProgramRun(const ProgramRun&) = delete;
    ProgramRun& operator=(const ProgramRun&) = delete;

    // Types text into the program's standard input.
    void Type(const std::string& text);
    void CloseInput();
    // Waits until the window is up and frames can be drawn. False when the program ended.
    bool WaitForWindow();
    // Sends a key press with that symbol to the window.
    void Press(KeySym symbol, int times = 1);
    // Sends any event to the top-level window.
    void Send(XEvent& event, long mask = KeyPressMask);
    void Close();  // as a window manager does
    void Resize(int width, int height);
    // Waits until standard output or error holds the text.
    bool WaitForOut(const std::string& text);
    bool WaitForErr(const std::string& text);
    // Asks for frames until the statistics line holds the text: a frame shows the view of the one
    // before, since it takes over a typed camera after it has printed its own.
    bool WaitForFrame(const std::string& text);
    // Waits for the end: the exit status, or minus the signal.
    int Wait();

    std::string Out() const { return m_files.Read("out"); }
    std::string Err() const { return m_files.Read("err"); }
    pid_t Pid() const { return m_pid; }
    int Width() const { return m_width; }
    int Height() const { return m_height; }
    Display* XDisplay() const { return m_display; }
    Window TopWindow() const { return m_window; }

private:
    TempDir m_files;
    int m_width;
    int m_height;
    int m_input = -1;
    pid_t m_pid = -1;
    int m_status = 0;
    Display* m_display;
    Window m_window = 0;

    bool Ended();
    Window FindWindow();
    template <class Condition>
    bool WaitUntil(Condition condition);
};
