// Creation of the windows. Must not know what is drawn in them.
#include "app/Windows.h"

#include <iostream>

#include "app/Application.h"
#include "drivers/Driver.h"

namespace {
constexpr const char* kTitle = "PALLIX rendering test";
constexpr long kEventMask = KeyPressMask | ButtonPressMask | ButtonReleaseMask | ButtonMotionMask |
                            ExposureMask | StructureNotifyMask;

// X has no call that hides the pointer: give it a cursor with an empty mask.
void HidePointer(Display* display, Window window) {
    const char empty[1] = {0};
    const Pixmap bitmap = XCreateBitmapFromData(display, window, empty, 1, 1);
    XColor black{};
    const Cursor cursor = XCreatePixmapCursor(display, bitmap, bitmap, &black, &black, 0, 0);
    XDefineCursor(display, window, cursor);
    XFreeCursor(display, cursor);
    XFreePixmap(display, bitmap);
}
}  // namespace

void CreateTopWindow(Application& app) {
    const int screen = DefaultScreen(app.display);
    XSetWindowAttributes attributes{};
    attributes.event_mask = kEventMask;
    app.topWindow = XCreateWindow(
        app.display, RootWindow(app.display, screen), 0, 0, static_cast<unsigned>(app.windowWidth),
        static_cast<unsigned>(app.windowHeight), 0, CopyFromParent, InputOutput,
        DefaultVisual(app.display, screen), CWEventMask, &attributes);
    HidePointer(app.display, app.topWindow);
    XStoreName(app.display, app.topWindow, kTitle);
    // Without this protocol a window manager closes the connection, and no setting is saved.
    app.windowProtocols = XInternAtom(app.display, "WM_PROTOCOLS", False);
    app.deleteWindow = XInternAtom(app.display, "WM_DELETE_WINDOW", False);
    XSetWMProtocols(app.display, app.topWindow, &app.deleteWindow, 1);
    XMapWindow(app.display, app.topWindow);
}

bool CreateRenderWindow(Application& app) {
    XVisualInfo* const visual = app.driver->GetVisual();
    if (visual == nullptr) {
        std::cerr << "could not obtain appropriate visual\n";
        return false;
    }
    app.renderColormap = XCreateColormap(app.display, app.topWindow, visual->visual, AllocNone);
    XSetWindowAttributes attributes{};
    attributes.background_pixel = 0;
    attributes.border_pixel = 0;
    attributes.event_mask = kEventMask;
    attributes.colormap = app.renderColormap;
    app.renderWindow = XCreateWindow(
        app.display, app.topWindow, 0, 0, static_cast<unsigned>(app.windowWidth),
        static_cast<unsigned>(app.windowHeight), 0, visual->depth, InputOutput, visual->visual,
        CWBackPixel | CWBorderPixel | CWEventMask | CWColormap, &attributes);
    XFree(visual);
    return true;
}
