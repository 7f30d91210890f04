// Turns one room and one camera into driver calls, once per image. Owns settings, per-image state
// and caches; never the scene, its meshes or the driver. Sources by topic: Renderer.cpp (settings,
// lifecycle, trimming of the detail cache, lights of a shadow pass), RendererFrame, RendererDraw,
// RendererTraversal, RendererShadows. What needs no driver stands beside it: FrameData (lists and
// settings of an image), DetailCache, LightRanking, Culler.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "renderer/Culler.h"
#include "renderer/DetailCache.h"
#include "renderer/FrameData.h"
#include "renderer/VisibleSet.h"
#include "scene/Object.h"
#include "scene/Shader.h"
#include "settings/Settings.h"
#include "settings/Statistics.h"
#include "spatial/Matrix.h"

class Driver;
class GeoImage;
class Occlusion;
class Room;

// Per image: BeginFrame, Render, FinishFrame, always all three, in this order. Main thread.
class Renderer : public Settings {
public:
    // Declares the settings with their initial values; draws nothing before BeginFrame.
    Renderer();
    ~Renderer();
    Renderer(const Renderer&) = delete;
    Renderer& operator=(const Renderer&) = delete;

    // Names the driver of the image, not owned, reads the settings of detail, budgets and the
    // detail cache for all of it and trims that cache. The five switches that choose what is drawn
    // at all count at the moment they are asked, once each, so that a caller may still set them
    // after this: F_shadows, P_virtlights, P_occlusion and R_recordvis in Render, F_blend in
    // FinishFrame (blended objects are only put by when it was on here, too).
    void BeginFrame(Driver* driver);
    // Draws the room: first pass, further light batches, shadow passes. A null room draws nothing.
    void Render(Room* room, Camera camera);
    // Draws the blended passes farthest first and publishes the statistics.
    void FinishFrame();

    // Statistics of the last finished image; empty from BeginFrame to FinishFrame. An image that
    // is never finished has none: they are counted as integers and published once.
    const Statistics& Stats() const { return m_stats; }

    // Drops everything kept for a mesh (which is not dereferenced: it may be gone already), an
    // object or room that is about to go. Nothing is kept for a texture between images.
    void ForgetMesh(GeoImage* mesh);
    void ForgetObject(Object* object);

private:
    using ShaderList = std::vector<Shader>;

    // What DrawShader needs to know beyond the object and its matrix.
    struct PassMode {
        bool first;            // nothing has been drawn at these pixels yet: opaque replaces
        bool spreadEmission;   // drawn once per lighting pass: emission is divided among them
        Occlusion* occlusion;  // also receives what is drawn; may be null
    };

    // One image.
    Statistics m_stats;
    Driver* m_driver = nullptr;
    FrameSettings m_settings;
    FrameCounters m_counters;
    FrameLists m_lists;
    // One Render.
    View m_view;
    std::vector<Matrix> m_matrixStack;  // model-view matrices; element 0 is the view matrix
    Culler m_viewCuller;
    Culler m_lightCuller;
    // Kept between images.
    DetailCache m_details;
    std::map<Room*, VisibleSet> m_visCache;  // seen in the previous image, with their matrices
    Matrix m_inverseView;                    // camera to world, of the previous traversal
    // Scratch that keeps its memory.
    VisibleSet m_lastVisible;  // the drawn room's entry while the next one is made
    std::vector<RankedLight> m_rankedLights;
    std::vector<Object*> m_walkList;  // visible children, one stretch per level of the walk

    const Matrix& ViewMatrix() const { return m_matrixStack.front(); }

    // The frame (RendererFrame.cpp).
    // Takes the viewport, sets view matrix and projection and begins the camera's culler.
    void SetupView();
    // Bounds the view by the near plane and the four sides of the camera's pyramid.
    void AddFrustumPlanes();
    // Sorts the enabled lights into the frame's lists, sets the ambient light and decides how the
    // lights are shared out among passes.
    void SortLights(const Room& room);
    // How often a lit surface is drawn: its emission is divided among the passes.
    int CountPasses() const;
    // First pass and light batches: as many plain lights at a time as the driver takes.
    void RenderLightBatches(Room* room);
    // Cached visible objects, then the walk. moreFollow: lit objects are put by for later passes.
    void RenderFirstPass(Room* room, bool moreFollow);
    // Draws the blend shaders of all that the walk put by, the farthest first.
    void DrawBlendObjects();
    // Writes the image's counters to the statistics.
    void PublishStatistics();

    // Drawing of one object (RendererDraw.cpp).
    // Draws base and light shaders, once an image. False when it has neither.
    bool DrawObject(Object* object, const Matrix& modelView, bool moreFollow, Occlusion* occlusion);
    // Draws the light shaders of all that was put by. testEach: only what the light's culler sees.
    void DrawLightPass(bool testEach);
    // Draws shaders in order until as many were drawn as the budget allows.
    void DrawShaderList(Object* object, const ShaderList& list, const Matrix& modelView,
                        PassMode mode);
    // False when there is no mesh or the driver drew nothing.
    bool DrawShader(Object* object, const Shader& shader, const Matrix& modelView, PassMode mode);
    // The level of a mesh for an object under that matrix; null for a null mesh.
    GeoImage* GetGeoImage(GeoImage* mesh, const Matrix& modelView, const DetailLimits& limits);
    // The scale of a mesh's grid at a camera-space position: what its error asks for, within the
    // limits.
    float ChooseDetail(const GeoImage& mesh, const vec3& position,
                       const DetailLimits& limits) const;
    // Brings the level cache down to its limits; the driver hears of every level that goes.
    void CleanGeoImageCache();

    // The walk (RendererTraversal.cpp).
    // Pushes the object's model-view matrix: that of its parent must be on top.
    void PushObjectMatrix(const Object* object);
    void PopObjectMatrix() { m_matrixStack.pop_back(); }
    // Where the object lies in camera space; its parent's matrix must be on top.
    VisibilityStream::Origin OriginOf(const Object* object) const;
    // Draws the object and what is visible below it. record: enters what it sees in cacheEntry.
    void Traverse(Object* object, bool moreFollow, VisibleSet& cacheEntry, bool record);
    // Calls visit for every child that the culler finds under its current matrix.
    template <class Visit>
    void VisitVisibleChildren(Culler& culler, Object* object, Visit visit);
    // Draws an object that is in view, under the matrix on top, and puts by what it blends.
    void DrawVisible(Object* object, bool moreFollow, VisibleSet& cacheEntry, bool record);
    // Draws what the room's last image saw, unless it has changed since, and begins the occlusion
    // test with it.
    void DrawCachedVisible(VisibleSet& cached, Occlusion* occlusion, bool moreFollow);

    // Lights and shadows (RendererFrame.cpp, Renderer.cpp, RendererShadows.cpp).
    // Loads the lights that matter most at a camera-space position to a list of shaders.
    void SelectLights(const vec3& position, const LightList& lights, const ShaderList& shaders);
    // Returns the light's position in camera space; the matrix stack must hold the view alone.
    vec3 SetupLight(const Light* light);
    // Bounds the light's culler by the sides of the view that face the light.
    void AddFacingPlanes(const vec3& lightPosition);
    // Bounds it by the spot's light, unless that reaches behind the light.
    void AddSpotPlanes(const Light& light, const vec3& lightPosition);
    // One pass for each light with shadows: its volumes, what it lights outside them, and the
    // shaders of those who cast them.
    void RenderShadows(Room* room);
    // Returns the number of volumes drawn for the object and everything below it. hasShade: the
    // light has shaders of its own for its casters.
    std::int64_t DrawShadowCasters(Object* object, const vec3& lightPosition, float shadowlen,
                                   bool hasShade);
    // Draws the object's volume where it may reach into the view; false when it does not.
    bool CastShadow(Object* object, const Matrix& modelView, const vec3& lightPosition,
                    float shadowlen);
    // Draws the light's shaders and their own on those who cast a shadow, and forgets them.
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
