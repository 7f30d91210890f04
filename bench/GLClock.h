// Tells the time that the main thread spends inside OpenGL from the rest, and counts what the rest
// takes from the heap. Works by standing between this executable and the OpenGL library; costs next
// to nothing while it does not run.
#pragma once

#include <cstdint>

struct GLShare {
    double seconds = 0;            // from StartGLClock to StopGLClock
    double inside = 0;             // of them in OpenGL, GLX and GLU
    std::int64_t calls = 0;        // of OpenGL, GLX and GLU
    std::int64_t allocations = 0;  // by operator new, outside of those calls
};

void StartGLClock();
// Cost of the clock itself taken off.
GLShare StopGLClock();
