// The program. Knows the order of its four phases and nothing else.
#include <unistd.h>

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
    // A command may still be running: the process ends under it, with nothing taken apart.
    if (!ShutDown(app)) _exit(0);
    return 0;
}
