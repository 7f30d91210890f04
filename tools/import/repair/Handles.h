// Takes the handles off a surface: cuts each along a short loop around it and closes both ends.
#pragma once

#include "import/Model.h"

struct HandleCuts {
    int cuts = 0;
    int capsOutside = 0;  // cuts whose caps lie outside of the solid for the most part
    double capArea = 0;   // both ends of all cuts
};

// Cuts as many loops that do not divide the surface, of which it must have so many handles, and
// closes both ends with caps of kCapMaterial. The caps lie inside the solid wherever a loop allows
// that: a loop around a tunnel, closed, would close a hole that can be seen through. Borders stay
// as they are, but edges that run into one may be split.
HandleCuts CutHandles(Surface& surface, int handles);
