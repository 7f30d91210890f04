// The program. Knows the order of its four phases and nothing else.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "app/Application.h"
#include "app/EventLoop.h"
#include "app/HeapPolicy.h"

namespace {
// A program may be started with standard descriptors closed. The next file or socket to be opened
// would take their numbers, and the console would read the X connection or a message damage it.
void OccupyStandardDescriptors() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) < 0) open("/dev/null", O_RDWR);
    }
}
}  // namespace

int main(int argc, char** argv) {
    KeepHeap();
    OccupyStandardDescriptors();
    // Static, because the console thread is not joined and may use it until the process is gone.
    static Application app;
    if (!StartUp(app, argc, argv)) return 1;
    EventLoop(app);
    if (!ShutDown(app)) {
        // A command is still running: end the process under it without taking anything apart.
        std::fflush(stdout);
        _exit(0);
    }
    return 0;
}
