// Mouse control of the camera: turning, sliding and flying while a button is held, and the wheel.
#pragma once

struct Application;

// Acts on a press or release of a button, or, with button 0, on pointer motion, and asks for a
// frame. x, y in window pixels. A drag ends with the pointer put back where the button was pressed.
// Main thread, frame lock held.
void HandleMouse(Application& app, unsigned button, bool pressed, int x, int y);
