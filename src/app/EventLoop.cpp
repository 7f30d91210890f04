// Drains the X queue, then steps and draws. Must not know what keys, mouse or frames do.
#include "app/EventLoop.h"

#include <X11/Xutil.h>

#include <sched.h>

#include <mutex>

#include "app/Application.h"
#include "app/CameraMotion.h"
#include "app/FrameLoop.h"
#include "app/KeyBindings.h"
#include "app/MouseInput.h"
#include "app/ShellSettings.h"
#include "scene/SceneLock.h"

namespace {
constexpr long kAllEvents = 0x01FFFFFF;  // every event mask bit of the X protocol
// How long a frame waits for a console command before events are looked at again, in milliseconds.
constexpr int kFramePatience = 100;

// Both windows select structure events; the render window's own only echo our resizes, and
// following those too would make two quick resizes chase each other for ever.
void FollowResize(Application& app, const XConfigureEvent& event) {
    if (event.window != app.topWindow) return;
    app.windowWidth = ClampWindowSize(event.width);
    app.windowHeight = ClampWindowSize(event.height);
    XResizeWindow(app.display, app.renderWindow, static_cast<unsigned>(app.windowWidth),
                  static_cast<unsigned>(app.windowHeight));
}

// True when the event asks to quit.
bool HandleEvent(Application& app, XEvent& event) {
    if (event.type == KeyPress) return HandleKey(app, event.xkey);
    const std::lock_guard exclusive(frameLock);
    const XButtonEvent& button = event.xbutton;
    switch (event.type) {
        case ButtonPress:
        case ButtonRelease:
            HandleMouse(app, button.button, event.type == ButtonPress, button.x, button.y);
            break;
        case MotionNotify:
            HandleMouse(app, 0, false, event.xmotion.x, event.xmotion.y);
            break;
        case Expose:
            app.redrawRequested = true;
            break;
        case ConfigureNotify:
            FollowResize(app, event.xconfigure);
            break;
        default:
            break;
    }
    return false;
}

// Client messages and keyboard mapping changes have no mask bit and stay behind in the queue.
// True when the window manager asks to close the window.
bool DrainUnmaskedEvents(Application& app) {
    bool quit = false;
    // Only what is queued by now: refreshing the keyboard reads more, of any kind.
    for (int left = XEventsQueued(app.display, QueuedAlready); left > 0; --left) {
        XEvent event;
        XNextEvent(app.display, &event);
        if (event.type == MappingNotify) XRefreshKeyboardMapping(&event.xmapping);
        if (event.type != ClientMessage || event.xclient.format != 32) continue;
        if (event.xclient.message_type != app.windowProtocols) continue;
        if (static_cast<Atom>(event.xclient.data.l[0]) == app.deleteWindow) quit = true;
    }
    return quit;
}

void StepAndDraw(Application& app) {
    bool drawn = false;
    {
        if (!frameLock.TryLockFor(kFramePatience)) return;
        const std::lock_guard exclusive(frameLock, std::adopt_lock);
        CameraStep(app);
        drawn = app.redrawRequested.exchange(false);
        if (drawn) RenderFrame(app);
    }
    if (!drawn) sched_yield();
}
}  // namespace

bool HandleKey(Application& app, XKeyEvent& event) {
    char character = 0;
    const int count = XLookupString(&event, &character, 1, nullptr, nullptr);
    const KeyBinding* const binding = count > 0 ? FindKeyBinding(character) : nullptr;
    // Needs no lock, which a console command may hold for long.
    if (binding != nullptr && binding->action == nullptr) return true;
    const std::lock_guard exclusive(frameLock);
    app.redrawRequested = true;
    if (binding != nullptr) binding->action(app);
    return app.driver == nullptr;
}

void EventLoop(Application& app) {
    bool quit = false;
    for (;;) {
        XEvent event;
        if (XCheckMaskEvent(app.display, kAllEvents, &event)) {
            if (HandleEvent(app, event)) quit = true;
            if (app.driver == nullptr) return;
            continue;
        }
        if (DrainUnmaskedEvents(app)) quit = true;
        StepAndDraw(app);
        if (quit) return;
    }
}
