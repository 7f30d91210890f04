// The main thread's loop over X events, camera steps and frames.
#pragma once

#include <X11/Xlib.h>

struct Application;

// Returns when a quit key (or the window manager's close request) has been seen and the queue has
// been drained, and at once when a driver switch has left no driver.
void EventLoop(Application& app);
// Acts on one key press; true for a quit key. Takes the frame lock, but for a quit key.
bool HandleKey(Application& app, XKeyEvent& event);
