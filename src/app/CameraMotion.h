// What moves between frames: camera, animated lights, shaken objects.
#pragma once

struct Application;

// One camera step; asks for a redraw when something visible changed. Main thread, frame lock held.
void CameraStep(Application& app);
