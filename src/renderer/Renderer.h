// Turns one room and one camera into driver calls, once per image. Owns settings, per-frame state
// and caches; never the scene, its meshes or the driver. Sources by topic: Renderer.cpp (settings,
// lifecycle, lights of a shadow pass), RendererFrame, RendererDraw, RendererTraversal,
// RendererDetail, RendererLights, RendererShadows.
#pragma once

#include <map>
#include <set>
#include <utility>
#include <vector>

#include "geometry/GeoImage.h"
#include "renderer/Culler.h"
#include "scene/Camera.h"
#include "scene/Shader.h"
#include "settings/Settings.h"
#include "settings/Statistics.h"
#include "spatial/DepthOrder.h"
#include "spatial/Matrix.h"

class Driver;
class Object;
class Occlusion;
class Room;
class Texture;
struct Light;

// Per image: BeginFrame, Render, FinishFrame, always all three, in this order. Main thread.
class Renderer : public Settings {
public:
    Renderer();
    ~Renderer();
    Renderer(const Renderer&) = delete;
    Renderer& operator=(const Renderer&) = delete;

    // Names the driver of the frame and takes a snapshot of the settings. Not owned.
    void BeginFrame(Driver* driver);
    // Draws the room: first pass, further light batches, shadow passes. A null room draws nothing.
    void Render(Room* room, Camera camera);
    // Draws the blended passes farthest first and publishes the statistics.
    void FinishFrame();

    // Statistics of the last image; complete after FinishFrame.
    const Statistics& Stats() const { return m_stats; }

    // Drops everything kept for a mesh, an object or room that is about to go. A texture leaves
    // nothing behind here.
    void ForgetMesh(GeoImage* mesh);
    void ForgetObject(Object* object);
    void ForgetTexture(Texture*) {}

private:
    using VisibleSet = std::map<Object*, Matrix>;
    using LightList = std::vector<Light*>;

    // to be completed by the renderer's author: fields and steps of a frame
};
