// The program. Knows the order of its four phases and nothing else.
#include <unistd.h>

#include <cstdio>

#include "app/Application.h"
#include "app/EventLoop.h"
#include "app/HeapPolicy.h"
#include "files/StandardDescriptors.h"

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
