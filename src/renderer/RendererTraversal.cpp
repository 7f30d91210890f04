// The walk over a room's object tree: which objects are drawn in the first pass, in which order.
#include "renderer/Renderer.h"

#include "scene/Object.h"
#include "scene/Room.h"
#include "spatial/Occlusion.h"

#include <utility>

// A billboard points at the eye, taken in its parent's coordinates.
void Renderer::PushObjectMatrix(const Object* object) {
    const Matrix& parent = m_matrixStack.back();
    const vec3 point =
        object->billboard ? parent.RigidInverse().Translation() - object->pos : object->point;
    m_matrixStack.push_back(parent * Matrix::Frame(object->pos, point, object->up));
}

void Renderer::Traverse(Object* object, bool moreFollow, VisibleSet& cacheEntry, bool record) {
    if (!object || !object->active) return;
    PushObjectMatrix(object);
    m_viewCuller.SetMatrix(m_matrixStack.back());
    if (object->billboard) record = false;  // turns with the eye: last frame's matrix is wrong
    m_counters.traversed += 1;
    DrawIfVisible(object, moreFollow, cacheEntry, record);

    const std::size_t first = m_walkList.size();
    m_viewCuller.VisibleChildren(object, m_walkList);
    const std::size_t last = m_walkList.size();
    for (std::size_t i = first; i < last; ++i) {
        Traverse(m_walkList[i], moreFollow, cacheEntry, record);
    }
    m_walkList.resize(first);
    PopObjectMatrix();
}

void Renderer::DrawIfVisible(Object* object, bool moreFollow, VisibleSet& cacheEntry, bool record) {
    if (!object->visible || !m_viewCuller.TestObject(object)) return;
    const Matrix& modelView = m_matrixStack.back();
    if (record) RecordVisible(object, cacheEntry);
    bool drawn = DrawObject(object, modelView, moreFollow, nullptr);
    if (m_blendEnabled && !object->ShaderList(PassBlend).empty()) {
        drawn = true;
        m_blendObjects.emplace(modelView, object);
        m_objectLights[object] = &m_lightSets.back();
    }
    if (drawn) m_counters.rendered += 1;
}

// What is in view mostly was so a frame ago: its map node moves over instead of a new one.
void Renderer::RecordVisible(Object* object, VisibleSet& cacheEntry) {
    const Matrix& modelView = m_matrixStack.back();
    if (auto node = m_lastVisible.extract(object)) {
        node.mapped() = modelView;
        cacheEntry.insert(std::move(node));
    } else {
        cacheEntry.emplace(object, modelView);
    }
    object->derivedCache.insert(&m_visCache);
}

// Fills the occlusion buffer with what was seen a frame ago and has not changed since; the walk
// that follows is tested against it.
void Renderer::DrawCachedVisible(const VisibleSet& cached, Occlusion* occlusion, bool moreFollow) {
    const Matrix moved = m_matrixStack.front() * m_inverseView;
    for (const auto& [object, before] : cached) {
        if (!object->visible || !object->derivedCache.contains(&m_visCache)) continue;
        const Matrix modelView = moved * before;
        m_viewCuller.SetMatrix(modelView);
        if (!m_viewCuller.TestObject(object)) continue;
        DrawObject(object, modelView, moreFollow, occlusion);
        m_counters.cachedVisibility += 1;
    }
    occlusion->Sync();
    m_viewCuller.SetOcclusion(occlusion);
}
