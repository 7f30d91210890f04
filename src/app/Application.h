// The process-wide state of the shell, and start-up and shutdown in order.
#pragma once

#include <X11/Xlib.h>
#include <pthread.h>

#include <atomic>
#include <string>
#include <vector>

#include "app/FrameGraph.h"
#include "app/FrameState.h"
#include "scene/Camera.h"
#include "scene/SceneFile.h"
#include "spatial/Vec3.h"

class Command;
class Driver;
class Registry;
class Renderer;
class Room;
class SceneDatabase;

// Shell values that the registry overrides at start and receives back at exit.
struct ShellValues {
    float caprate = 30;                   // capture frame rate
    float baseLOD = 1;                    // base level-of-detail scale
    bool ratecap = false;                 // detail follows the capture rate
    bool emask[3] = {false, true, true};  // colour mask of the first stereo eye
    float ediverg = 0;                    // stereo eye divergence
    float edist = 20;                     // stereo eye distance, kept with the others
    bool anaglyph = false;
    bool showStats = true;  // frame-rate graph
};

// All objects are owned through plain pointers and deleted explicitly at shutdown: an abort during
// start-up must leave the registry file as it was, so nothing here deletes by itself.
struct Application {
    Registry* registry = nullptr;
    Display* display = nullptr;
    Window topWindow = 0;
    Window renderWindow = 0;
    Colormap renderColormap = 0;
    Atom windowProtocols = 0;
    Atom deleteWindow = 0;  // WM_DELETE_WINDOW, taken as the quit key
    int windowWidth = 640;
    int windowHeight = 480;
    std::string driverName;
    Renderer* renderer = nullptr;
    Driver* driver = nullptr;  // null only after a driver switch that left none to draw with
    SceneDatabase* database = nullptr;
    Command* command = nullptr;
    Room* currentRoom = nullptr;                // drawn by the frame loop; null draws nothing
    std::string recname;                        // base name of captured frames
    std::atomic<bool> redrawRequested = false;  // set by both threads, cleared by the main one
    std::vector<std::string> positional;        // scene files of the command line
    pthread_t consoleThread = 0;                // valid while hasConsole
    bool hasConsole = false;

    ShellValues shell;
    Camera camera;  // the camera in use
    vec3 velocity;
    int buttonMask = 0;  // bit (button - 1) while mouse button 1, 2 or 3 is held
    int anchorX = 0;
    int anchorY = 0;
    int frameNumber = 0;
    bool paused = true;
    bool jiggle = false;
    bool recording = false;
    bool drawLeftEye = true;
    bool drawRightEye = true;
    float pathTime = 0;
    float lightTime = 0;
    int shakeVisits = 0;  // children visited by the jiggler, modulo its interval
    FrameState frame;
    FrameGraph graph;

    // Wraps rather than overflows.
    void AdvanceFrameNumber(int steps) {
        frameNumber =
            static_cast<int>(static_cast<unsigned>(frameNumber) + static_cast<unsigned>(steps));
    }
    SceneSelection Selection() { return {*command, *registry, camera, currentRoom, recname}; }
};

// Builds the whole system in its fixed order, up to the mapped window. False when it cannot be
// run: the reason has been printed, nothing is saved and nothing is deleted.
bool StartUp(Application& app, int argc, char** argv);
// The longest that quitting waits for a running console command, in milliseconds: long enough for
// a big mesh, short enough for a user who wants to leave.
inline constexpr int kCommandPatience = 10000;
// Stops the console, saves all settings, deletes everything and writes the registry. False when a
// console command was still running after waiting: then settings and registry are written all the
// same, but everything that command may use is left as it is.
bool ShutDown(Application& app, int patience = kCommandPatience);
