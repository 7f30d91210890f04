// The two X windows: the top-level one with title and hidden pointer, and the child that the driver
// draws in, which has the driver's visual. Main thread only.
#pragma once

struct Application;

// Creates and maps the top-level window in the application's size.
void CreateTopWindow(Application& app);
// Asks the driver for its visual and creates the render window with it, unmapped. False, with a
// line on standard error and nothing changed, when the driver has no visual. An earlier render
// window is replaced without being destroyed.
bool CreateRenderWindow(Application& app);
