// Every OpenGL function that a steady frame calls, under its own name: the dynamic linker finds
// these before the library's, which are called in turn. Only glGetError counts as outside: it takes
// less time than the clock.
#include "GLClock.h"

#include <GL/glu.h>
#include <GL/glx.h>
#include <dlfcn.h>

#include <chrono>
#include <cstdlib>
#include <new>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kCalibrations = 100000;

struct State {
    bool running = false;
    int depth = 0;  // nested calls: the utility library uses the main one
    Clock::time_point start;
    Clock::duration inside{};
    std::int64_t calls = 0;
    std::int64_t allocations = 0;
};

thread_local State state;

class Timed {
public:
    Timed() : m_timed(state.running && state.depth++ == 0) {
        if (!m_timed) return;
        ++state.calls;
        m_start = Clock::now();
    }
    ~Timed() {
        if (m_timed) state.inside += Clock::now() - m_start;
        if (state.running) --state.depth;
    }
    Timed(const Timed&) = delete;
    Timed& operator=(const Timed&) = delete;

private:
    bool m_timed;
    Clock::time_point m_start;
};

template <class Function>
Function* Real(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

double Seconds(Clock::duration duration) {
    return std::chrono::duration<double>(duration).count();
}

GLShare Read() {
    return {Seconds(Clock::now() - state.start), Seconds(state.inside), state.calls,
            state.allocations};
}

// What an empty call adds, inside and in all.
GLShare ClockCost() {
    StartGLClock();
    for (int i = 0; i < kCalibrations; ++i)
        const Timed timed;
    const GLShare cost = Read();
    return {cost.seconds / kCalibrations, cost.inside / kCalibrations};
}

}  // namespace

void StartGLClock() {
    state = {.running = true, .start = Clock::now()};
}

GLShare StopGLClock() {
    GLShare share = Read();
    static const GLShare cost = ClockCost();
    state = {};
    share.seconds -= cost.seconds * static_cast<double>(share.calls);
    share.inside -= cost.inside * static_cast<double>(share.calls);
    return share;
}

void* operator new(std::size_t size) {
    if (state.running && state.depth == 0) ++state.allocations;
    if (void* memory = std::malloc(size > 0 ? size : 1)) return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

// NOLINTBEGIN
#define TIMED(type, name, parameters, arguments)     \
    extern "C" type name parameters {                \
        static const auto real = Real(&name, #name); \
        const Timed timed;                           \
        return real arguments;                       \
    }
TIMED(void, glAccum, (GLenum op, GLfloat value), (op, value))
TIMED(void, glAlphaFunc, (GLenum function, GLclampf reference), (function, reference))
TIMED(void, glBindTexture, (GLenum target, GLuint name), (target, name))
TIMED(void, glBlendFunc, (GLenum source, GLenum destination), (source, destination))
TIMED(void, glCallList, (GLuint name), (name))
TIMED(void, glClear, (GLbitfield buffers), (buffers))
TIMED(void, glClearColor, (GLclampf r, GLclampf g, GLclampf b, GLclampf a), (r, g, b, a))
TIMED(void, glColor3fv, (const GLfloat* value), (value))
TIMED(void, glColorMask, (GLboolean r, GLboolean g, GLboolean b, GLboolean a), (r, g, b, a))
TIMED(void, glCullFace, (GLenum face), (face))
TIMED(void, glDepthFunc, (GLenum function), (function))
TIMED(void, glDepthMask, (GLboolean on), (on))
TIMED(void, glDisable, (GLenum name), (name))
TIMED(void, glEnable, (GLenum name), (name))
TIMED(void, glEndList, (), ())
TIMED(void, glFrontFace, (GLenum order), (order))
TIMED(void, glGetFloatv, (GLenum name, GLfloat* value), (name, value))
TIMED(void, glGetIntegerv, (GLenum name, GLint* value), (name, value))
TIMED(void, glLightModelfv, (GLenum name, const GLfloat* value), (name, value))
TIMED(void, glLightModeli, (GLenum name, GLint value), (name, value))
TIMED(void, glLightf, (GLenum light, GLenum name, GLfloat value), (light, name, value))
TIMED(void, glLightfv, (GLenum light, GLenum name, const GLfloat* value), (light, name, value))
TIMED(void, glLineWidth, (GLfloat width), (width))
TIMED(void, glLoadIdentity, (), ())
TIMED(void, glLoadMatrixd, (const GLdouble* matrix), (matrix))
TIMED(void, glMaterialf, (GLenum face, GLenum name, GLfloat value), (face, name, value))
TIMED(void, glMaterialfv, (GLenum face, GLenum name, const GLfloat* value), (face, name, value))
TIMED(void, glMatrixMode, (GLenum mode), (mode))
TIMED(void, glNewList, (GLuint name, GLenum mode), (name, mode))
TIMED(void, glPixelStorei, (GLenum name, GLint value), (name, value))
TIMED(void, glPolygonMode, (GLenum face, GLenum mode), (face, mode))
TIMED(void, glReadPixels,
      (GLint x, GLint y, GLsizei width, GLsizei height, GLenum format, GLenum type, void* data),
      (x, y, width, height, format, type, data))
TIMED(void, glShadeModel, (GLenum mode), (mode))
TIMED(void, glStencilFunc, (GLenum function, GLint reference, GLuint mask),
      (function, reference, mask))
TIMED(void, glStencilOp, (GLenum fail, GLenum hidden, GLenum pass), (fail, hidden, pass))
TIMED(void, glViewport, (GLint x, GLint y, GLsizei width, GLsizei height), (x, y, width, height))
TIMED(void, gluPerspective, (GLdouble fov, GLdouble aspect, GLdouble near, GLdouble far),
      (fov, aspect, near, far))
TIMED(Bool, glXMakeCurrent, (Display * display, GLXDrawable drawable, GLXContext context),
      (display, drawable, context))
TIMED(void, glXSwapBuffers, (Display * display, GLXDrawable drawable), (display, drawable))
// NOLINTEND
