// The console thread's body and its end. It touches the interpreter only inside a command.
#include "app/ConsoleThread.h"

#include <pthread.h>
#include <unistd.h>

#include <cstring>
#include <iostream>
#include <istream>

#include "app/Application.h"
#include "app/DescriptorBuffer.h"
#include "scene/Command.h"
#include "scene/SceneLock.h"

namespace {
void* ConsoleThread(void* argument) {
    Application& app = *static_cast<Application*>(argument);
    Command& command = *app.command;
    DescriptorBuffer buffer(STDIN_FILENO);
    std::istream input(&buffer);
    while (ExecuteLine(input, command))
        app.redrawRequested = true;
    // The farewell is printed whole or not at all, also when the program is quitting.
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    std::cerr << "\nConsole terminating\n";
    return nullptr;
}
}  // namespace

// A std::thread would end the program when it is left behind unjoined, and could not be cancelled.
void StartConsole(Application& app) {
    const int error = pthread_create(&app.consoleThread, nullptr, ConsoleThread, &app);
    app.hasConsole = error == 0;
    if (!app.hasConsole) std::cerr << "Could not start the console: " << strerror(error) << '\n';
}

bool StopConsole(Application& app, int milliseconds) {
    if (app.hasConsole) {
        pthread_cancel(app.consoleThread);
        pthread_detach(app.consoleThread);
        app.hasConsole = false;
    }
    return frameLock.TryLockFor(milliseconds);
}
