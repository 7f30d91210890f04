// The frame: one call draws the current room once and accounts for it.
#pragma once

struct Application;

// Draws one or two eye images and the graph, finishes, steers the detail, prints the statistics
// line and captures while recording. Main thread, frame lock held. Does nothing in a window without
// area.
void RenderFrame(Application& app);
