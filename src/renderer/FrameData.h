// What the renderer keeps for one image, apart from what it keeps between images.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <unordered_map>
#include <vector>

#include "renderer/LightRanking.h"
#include "renderer/PointerSet.h"
#include "scene/Camera.h"
#include "scene/Object.h"
#include "spatial/DepthOrder.h"
#include "spatial/Matrix.h"

class Settings;

// How the detail of what is drawn follows from its error in pixels.
struct DetailLimits {
    float scale = 1;    // multiplies the detail that the error asks for
    float most = 1;     // upper bound of the detail
    float samples = 0;  // budget of one mesh, a further bound; 0 or less is none
};

// The settings that count for a whole image, read when it begins.
struct FrameSettings {
    DetailLimits drawn;
    DetailLimits shadow;
    int detailSteps = 0;  // keys of the detail cache to a full sample
    int shaderBudget = 0;
    bool blend = false;
    std::int64_t mostLevels = 0;  // bounds of the detail cache
    std::int64_t mostBytes = 0;
    float keptShare = 1;  // of a bound of the cache that was exceeded

    FrameSettings() = default;
    explicit FrameSettings(const Settings& settings);
};

// One Render: whose eye, and how its lights are shared out among passes.
struct View {
    Camera camera;
    int width = 0;  // pixels
    int height = 0;
    int passes = 1;  // lighting passes, without the blend pass
    int maxLights = 0;
    bool virtualLights = false;  // each object selects its lights: one pass for all of them
};

// Counted during an image, published by name at its end.
struct FrameCounters {
    std::int64_t passes = 0;
    std::int64_t drawn = 0;
    std::int64_t polys = 0;
    std::int64_t traversed = 0;
    std::int64_t rendered = 0;
    std::int64_t cachedVisibility = 0;
    std::int64_t cacheAccesses = 0;
    std::int64_t cacheHits = 0;
    std::int64_t cacheEntries = 0;              // as the image began
    std::int64_t cacheSize = 0;                 // bytes, likewise
    std::optional<std::int64_t> shadowVolumes;  // set once shadow lights met lit objects
};

// Lights and objects put by for later in the image. They may be deleted between images: nothing
// here outlives FinishFrame but the objects' addresses in drawn.
class FrameLists {
public:
    LightList plainLights;     // enabled lights without shadow volumes
    LightList shadowLights;    // enabled lights with shadow volumes
    DepthList lit;             // to be drawn again under further lights
    DepthList blended;         // to be drawn after everything else
    DepthList casters;         // of the shadow light at hand
    PointerSet<Object> drawn;  // base and light shaders; emptied when the next image begins

    // A new list of all enabled lights of a room, in force for what is put by from here on.
    LightList& BeginLights();
    // Puts a blended object by, under the lights in force.
    void AddBlended(const Matrix& modelView, Object* object);
    // The lights that were in force when the object was last put by.
    const LightList& LightsOf(Object* object) const { return *m_blendLights.at(object); }
    // Takes an object that is about to go out of all lists.
    void Forget(Object* object);
    // Empties all lists but drawn and keeps their memory.
    void Clear();

private:
    std::deque<LightList> m_lightSets;  // elements never move
    std::size_t m_lightSetCount = 0;    // of them in use
    std::unordered_map<Object*, const LightList*> m_blendLights;
};
