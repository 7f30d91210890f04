// The one line that the terminal shows about the frame just drawn.
// Knows nothing of how the numbers came about.
#pragma once

#include "settings/Statistics.h"

// What the line says beside the renderer's and the driver's statistics.
struct FrameSummary {
    int frameNumber = 0;
    float fov = 0;   // degrees
    float rate = 0;  // frames per second
    bool rateCapped = false;
    float caprate = 0;  // frames per second, shown when rateCapped
    float lodScale = 0;
    bool shadows = false;  // show the shadow volumes
};

// Prints the line on standard output, ended by a carriage return so that the next one replaces it,
// and flushes.
void PrintStatisticsLine(const FrameSummary& frame, const Statistics& renderer,
                         const Statistics& driver);
