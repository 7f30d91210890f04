// The main thread's loop over X events, camera steps and frames.
#pragma once

#include <X11/Xlib.h>

struct Application;

// Returns when a quit key (or the window manager's close request) has been seen and the queue has
// been drained.
void EventLoop(Application& app);
// Acts on one key press; true for a quit key. Takes the frame lock, but for a quit key.
bool HandleKey(Application& app, XKeyEvent& event);
// button 0 stands for pointer motion; x, y in window pixels.
void HandleMouse(Application& app, unsigned button, bool pressed, int x, int y);
// Replaces the driver with the next one that can be created and has a visual. False when no
// driver is left to draw with: the loop then ends.
bool SwitchDriver(Application& app);
