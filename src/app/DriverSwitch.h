// Replacing the driver and the render window while the program runs.
#pragma once

struct Application;

// Replaces the driver with the next one by name that can be created and has a visual. The present
// one stays when none can be created; app.driver is null afterwards when the present one is gone
// and none is left to draw with. Main thread, frame lock held.
void SwitchDriver(Application& app);
