// Turns one room and one camera into driver calls, once per image. Owns settings, per-frame state
// and caches; never the scene, its meshes or the driver. Sources by topic: Renderer.cpp (settings,
// lifecycle, trimming of the detail cache, lights of a shadow pass), RendererFrame, RendererDraw,
// RendererDetail, RendererTraversal, RendererLights, RendererShadows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <unordered_map>
#include <vector>

#include "geometry/GeoImage.h"
#include "renderer/Culler.h"
#include "renderer/PointerSet.h"
#include "renderer/VisibleSet.h"
#include "scene/Camera.h"
#include "scene/Material.h"
#include "scene/Object.h"
#include "scene/Shader.h"
#include "settings/Settings.h"
#include "settings/Statistics.h"
#include "spatial/DepthOrder.h"
#include "spatial/Matrix.h"

class Driver;
class Occlusion;
class Room;
class Texture;
struct Light;

// Per image: BeginFrame, Render, FinishFrame, always all three, in this order. Main thread.
class Renderer : public Settings {
public:
    // Declares the settings with their initial values; draws nothing before BeginFrame.
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

    // Statistics of the last image; empty from BeginFrame to FinishFrame.
    const Statistics& Stats() const { return m_stats; }

    // Drops everything kept for a mesh (which is not dereferenced: it may be gone already), an
    // object or room that is about to go. Nothing is kept for a texture between frames.
    void ForgetMesh(GeoImage* mesh);
    void ForgetObject(Object* object);
    void ForgetTexture(Texture*) {}

private:
    using LightList = std::vector<Light*>;
    using ShaderList = std::vector<Shader>;

    // Counted during the frame, published by name at its end.
    struct Counters {
        std::int64_t passes = 0;
        std::int64_t drawn = 0;
        std::int64_t polys = 0;
        std::int64_t traversed = 0;
        std::int64_t rendered = 0;
        std::int64_t cachedVisibility = 0;
        std::int64_t cacheAccesses = 0;
        std::int64_t cacheHits = 0;
        std::int64_t cacheEntries = 0;              // as the frame began
        std::int64_t cacheSize = 0;                 // bytes, likewise
        std::optional<std::int64_t> shadowVolumes;  // set once shadow lights met lit objects
    };

    // What DrawShader needs to know beyond the object and its matrix.
    struct PassMode {
        bool first;            // nothing has been drawn at these pixels yet: opaque replaces
        bool spreadEmission;   // drawn once per lighting pass: emission is divided among them
        Occlusion* occlusion;  // also receives what is drawn; may be null
    };

    // Resampled levels of one mesh by their quantised detail.
    using LevelMap = std::map<int, GeoImage>;
    // A level that was made. Entries outlive levels that are forgotten with their mesh.
    struct LODEntry {
        int key;
        GeoImage* mesh;  // the source; never dereferenced
    };

    // A light and its rank for one object: the smaller key matters more, then the smaller index.
    struct RankedLight {
        float key;
        std::size_t index;
        bool operator<(const RankedLight& other) const {
            return key != other.key ? key < other.key : index < other.index;
        }
    };

    Statistics m_stats;
    Counters m_counters;
    Driver* m_driver = nullptr;
    Camera m_camera;
    int m_viewWidth = 0;
    int m_viewHeight = 0;
    std::vector<Matrix> m_matrixStack;  // model-view matrices; element 0 is the view matrix
    int m_numPasses = 1;                // lighting passes of the frame, without the blend pass
    DepthList m_litObjects;             // to be drawn again under further lights
    DepthList m_blendObjects;           // to be drawn after everything else
    DepthList m_casters;                // of the shadow light at hand
    std::deque<LightList> m_lightSets;  // light lists in force; elements never move
    std::unordered_map<Object*, const LightList*> m_objectLights;  // of m_blendObjects
    LightList m_plainLights;   // enabled lights without shadow volumes
    LightList m_shadowLights;  // enabled lights with shadow volumes
    std::vector<RankedLight> m_rankedLights;
    std::vector<Object*> m_walkList;  // visible children, one stretch per level of the walk
    std::unordered_map<GeoImage*, LevelMap> m_lodCache;  // by source mesh
    std::vector<LODEntry> m_lodEntries;
    std::int64_t m_lodBytes = 0;  // of all levels in m_lodCache
    bool m_lodUneven = false;     // entries and levels may not be one to one
    Culler m_viewCuller;
    Culler m_lightCuller;
    std::map<Room*, VisibleSet> m_visCache;  // seen in the previous frame, with their matrices
    VisibleSet m_lastVisible;                // the drawn room's entry while the next one is made
    Matrix m_inverseView;                    // camera to world, of the previous traversal
    PointerSet<Object> m_drawnObjects;

    // Snapshot of the settings.
    float m_lodMax = 0;
    float m_lodScale = 0;
    int m_lodStep = 0;
    float m_shadowLOD = 0;
    float m_lodMaxShadow = 0;
    float m_maxPolys = 0;  // samples; negative is no limit
    float m_maxShadowPolys = 0;
    int m_shaderDetail = 0;
    bool m_blendEnabled = false;
    bool m_mipmesh = false;
    bool m_virtualLights = false;
    int m_maxLights = 0;

    // frame
    void DropFrameLists();
    void SetupView();
    void AddFrustumPlanes();
    void SortLights(const Room& room);
    int CountPasses() const;
    bool ShadowsOn() const;
    void RenderLightBatches(Room* room, const LightList& lights, bool shadowsFollow);
    void RenderFirstPass(Room* room, bool moreFollow);
    void DrawBlendObjects();
    void PublishStatistics();

    // drawing
    bool DrawObject(Object* object, const Matrix& modelView, bool moreFollow, Occlusion* occlusion);
    void DrawLightPass(bool testEach);
    void DrawShaderList(Object* object, const ShaderList& list, const Matrix& modelView,
                        PassMode mode);
    bool DrawShader(Object* object, const Shader& shader, const Matrix& modelView, PassMode mode);

    // detail
    GeoImage* GetGeoImage(Object* object, const Shader& shader, const Matrix& modelView,
                          float scale, float cap, float budget);
    float ChooseDetail(const GeoImage& mesh, const vec3& position, float wanted, float cap,
                       float budget) const;
    GeoImage* FindLevel(GeoImage* mesh, int key, float detail);
    void CleanGeoImageCache();
    void EvictLODEntry();
    void ForgetLevels();

    // traversal
    void PushObjectMatrix(const Object* object);
    void PopObjectMatrix() { m_matrixStack.pop_back(); }
    void Traverse(Object* object, bool moreFollow, VisibleSet& cacheEntry, bool record);
    VisibilityStream::Origin OriginOf(const Object* object) const;
    // Calls visit for every child that the culler finds under its current matrix.
    template <class Visit>
    void VisitVisibleChildren(Culler& culler, Object* object, Visit visit);
    void DrawVisible(Object* object, bool moreFollow, VisibleSet& cacheEntry, bool record);
    void RecordVisible(Object* object, VisibleSet& cacheEntry);
    void DrawCachedVisible(VisibleSet& cached, Occlusion* occlusion, bool moreFollow);

    // lights
    void SelectLights(const vec3& position, const LightList& lights, int max,
                      const ShaderList& shaders);
    void RankLights(const vec3& position, const LightList& lights, const Color& response);
    float Importance(const Light& light, const vec3& position, const Color& response) const;
    vec3 SetupLight(const Light* light);
    void AddFacingPlanes(const vec3& lightPosition);
    void AddSpotPlanes(const Light& light, const vec3& lightPosition);

    // shadows
    void RenderShadows(Room* room, const LightList& lights);
    std::int64_t DrawShadowCasters(Object* object, const vec3& lightPosition, float shadowlen,
                                   bool hasShade);
    bool CastShadow(Object* object, const Matrix& modelView, const vec3& lightPosition,
                    float shadowlen);
    void DrawCasterShaders(const ShaderList& shade);
};

// Children lie scattered over the heap: fetched this many visits ahead, they arrive in time.
inline constexpr std::size_t kFetchAhead = 6;

template <class Visit>
void Renderer::VisitVisibleChildren(Culler& culler, Object* object, Visit visit) {
    const std::size_t first = m_walkList.size();
    culler.VisibleChildren(object, m_walkList);
    const std::size_t last = m_walkList.size();
    for (std::size_t i = first; i < last; ++i) {
        if (i + kFetchAhead < last) {
            const Object* coming = m_walkList[i + kFetchAhead];
            __builtin_prefetch(&coming->mesh);
            __builtin_prefetch(&coming->active);
            __builtin_prefetch(&coming->children);
        }
        visit(m_walkList[i]);
    }
    m_walkList.resize(first);
}
