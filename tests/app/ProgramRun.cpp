// Starting, steering and watching the program. Must not know what a test expects of it.
#include "ProgramRun.h"

#include <X11/Xutil.h>
#include <X11/keysym.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace {
constexpr const char* kTitle = "PALLIX rendering test";
// Sanitizers and software OpenGL on a busy machine take their time.
constexpr std::chrono::seconds kPatience{60};
constexpr std::chrono::milliseconds kPoll{5};

// Redirects the descriptor to the file, in the child.
void Redirect(int descriptor, const std::string& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(file, descriptor);
    close(file);
}

void SetUpInput(ProgramRun::Input input, int pipeEnd) {
    if (input == ProgramRun::Input::Pipe) {
        dup2(pipeEnd, STDIN_FILENO);
    } else if (input == ProgramRun::Input::Directory) {
        dup2(open("/", O_RDONLY | O_DIRECTORY), STDIN_FILENO);
    } else {
        close(STDIN_FILENO);
    }
}
}  // namespace

ProgramRun::ProgramRun(const std::string& home, std::vector<std::string> arguments, Input input)
    : m_width(200 + getpid() % 97), m_height(150 + getpid() / 97 % 89), m_display(nullptr) {
    const std::vector<std::string> size = {PALLIX_PROGRAM, "-testRender/wW",
                                           std::to_string(m_width), "-testRender/wH",
                                           std::to_string(m_height)};
    arguments.insert(arguments.begin(), size.begin(), size.end());
    std::vector<char*> argv;
    for (std::string& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    signal(SIGPIPE, SIG_IGN);  // the program may end while a test is still typing
    int pipe[2];
    if (pipe2(pipe, O_CLOEXEC) != 0) return;
    const std::string out = m_files.File("out");
    const std::string err = m_files.File("err");
    m_pid = fork();
    if (m_pid == 0) {
        SetUpInput(input, pipe[0]);
        Redirect(STDOUT_FILENO, out);
        Redirect(STDERR_FILENO, err);
        home.empty() ? unsetenv("HOME") : setenv("HOME", home.c_str(), 1);
        execv(PALLIX_PROGRAM, argv.data());
        _exit(127);
    }
    close(pipe[0]);
    m_input = pipe[1];
    m_display = XOpenDisplay(nullptr);
}

ProgramRun::~ProgramRun() {
    CloseInput();
    if (!Ended()) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    if (m_display != nullptr) XCloseDisplay(m_display);
}

void ProgramRun::Type(const std::string& text) {
    for (std::size_t at = 0; at < text.size();) {
        const ssize_t count = write(m_input, text.data() + at, text.size() - at);
        if (count <= 0) return;
        at += static_cast<std::size_t>(count);
    }
}

void ProgramRun::CloseInput() {
    if (m_input >= 0) close(m_input);
    m_input = -1;
}

bool ProgramRun::Ended() {
    if (m_pid <= 0) return true;
    if (waitpid(m_pid, &m_status, WNOHANG) != m_pid) return false;
    m_pid = -1;
    return true;
}

template <class Condition>
bool ProgramRun::WaitUntil(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
        const bool last = Ended() || std::chrono::steady_clock::now() > end;
        if (condition()) return true;
        if (last) return false;
        std::this_thread::sleep_for(kPoll);
    }
}

Window ProgramRun::FindWindow() {
    Window root = 0;
    Window parent = 0;
    Window* children = nullptr;
    unsigned count = 0;
    XQueryTree(m_display, DefaultRootWindow(m_display), &root, &parent, &children, &count);
    Window found = 0;
    for (unsigned i = 0; i < count && found == 0; ++i) {
        char* name = nullptr;
        XWindowAttributes attributes{};
        if (!XFetchName(m_display, children[i], &name) || name == nullptr) continue;
        XGetWindowAttributes(m_display, children[i], &attributes);
        if (std::strcmp(name, kTitle) == 0 && attributes.width == m_width &&
            attributes.height == m_height) {
            found = children[i];
        }
        XFree(name);
    }
    if (children != nullptr) XFree(children);
    return found;
}

bool ProgramRun::WaitForWindow() {
    // Another program's window may vanish between being listed and being asked for its size.
    XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
    return WaitForOut("starting eventloop\n") && WaitUntil([&] {
               m_window = FindWindow();
               return m_window != 0;
           }) &&
           WaitForOut("\r");
}

void ProgramRun::Send(XEvent& event, long mask) {
    event.xany.display = m_display;
    event.xany.window = m_window;
    XSendEvent(m_display, m_window, False, mask, &event);
    XFlush(m_display);
}

void ProgramRun::Press(KeySym symbol, int times) {
    XEvent event{};
    event.xkey.type = KeyPress;
    event.xkey.root = DefaultRootWindow(m_display);
    event.xkey.same_screen = True;
    event.xkey.display = m_display;
    event.xkey.keycode = XKeysymToKeycode(m_display, symbol);
    if (XLookupKeysym(&event.xkey, 0) != symbol) event.xkey.state = ShiftMask;
    while (times-- > 0)
        Send(event);
}

void ProgramRun::Close() {
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.message_type = XInternAtom(m_display, "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(XInternAtom(m_display, "WM_DELETE_WINDOW", False));
    Send(event, NoEventMask);
}

void ProgramRun::Resize(int width, int height) {
    XResizeWindow(m_display, m_window, static_cast<unsigned>(width), static_cast<unsigned>(height));
    XFlush(m_display);
}

bool ProgramRun::WaitForOut(const std::string& text) {
    return WaitUntil([&] { return Out().find(text) != std::string::npos; });
}

bool ProgramRun::WaitForErr(const std::string& text) {
    return WaitUntil([&] { return Err().find(text) != std::string::npos; });
}

bool ProgramRun::WaitForFrame(const std::string& text) {
    return WaitUntil([&] {
        Press(XK_x);
        return Out().find(text) != std::string::npos;
    });
}

int ProgramRun::Wait() {
    if (!WaitUntil([&] { return Ended(); })) return -SIGKILL;
    return WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -WTERMSIG(m_status);
}
