// The graph of recent frame rates along the left edge of the picture.
// Knows nothing of the renderer: it draws with the driver's own operations.
#pragma once

#include "app/FrameState.h"

class Driver;

// Draws the ring, oldest rate at the left, as bars between each rate and the reference (frames per
// second), and lets the scale follow the rates. aspect: width / height of the window. Mesh and
// texture are made at the first call and kept in the state.
void DrawFrameGraph(FrameState& frame, Driver& driver, float reference, float aspect);
// Mean of the rates as the graph shows them, frames per second; always finite.
float GraphReference(const FrameState& frame);
