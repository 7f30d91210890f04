// The walk over a room's object tree: which objects are drawn in the first pass, in which order.
#include "renderer/Renderer.h"

#include "scene/Object.h"
#include "scene/Room.h"
#include "spatial/Occlusion.h"

// A billboard points at the eye, taken in its parent's coordinates.
void Renderer::PushObjectMatrix(const Object* object) {
    const Matrix& parent = m_matrixStack.back();
    const vec3 point =
        object->billboard ? parent.RigidInverse().Translation() - object->pos : object->point;
    m_matrixStack.push_back(parent * Matrix::Frame(object->pos, point, object->up));
}

// Where the object's matrix would put its origin, in the very arithmetic of the matrix product.
VisibilityStream::Origin Renderer::OriginOf(const Object* object) const {
    const Matrix& parent = m_matrixStack.back();
    const vec3& pos = object->pos;
    const auto along = [&](int row) {
        return 0.0 + parent[row] * pos.x + parent[4 + row] * pos.y + parent[8 + row] * pos.z +
               parent[12 + row];
    };
    return {along(0), along(1), along(2)};
}

// Objects on the edges of the octree's nodes are met in every frame, in view or not: those without
// children are dropped before their matrix is made.
void Renderer::Traverse(Object* object, bool moreFollow, VisibleSet& cacheEntry, bool record) {
    if (!object || !object->active) return;
    m_counters.traversed += 1;
    const bool mayShow = object->visible && m_viewCuller.TestSphere(object, OriginOf(object));
    if (!mayShow && object->children.empty()) return;

    PushObjectMatrix(object);
    m_viewCuller.SetMatrix(m_matrixStack.back());
    if (object->billboard) record = false;  // turns with the eye: last frame's matrix is wrong
    if (mayShow && m_viewCuller.TestMesh(object)) {
        DrawVisible(object, moreFollow, cacheEntry, record);
    }
    VisitVisibleChildren(m_viewCuller, object,
                         [&](Object* child) { Traverse(child, moreFollow, cacheEntry, record); });
    PopObjectMatrix();
}

void Renderer::DrawVisible(Object* object, bool moreFollow, VisibleSet& cacheEntry, bool record) {
    const Matrix& modelView = m_matrixStack.back();
    if (record) {
        cacheEntry.Add(object, modelView);
        object->derivedCache.insert(&m_visCache);
    }
    bool drawn = DrawObject(object, modelView, moreFollow, nullptr);
    if (m_settings.blend && !object->ShaderList(PassBlend).empty()) {
        drawn = true;
        m_lists.AddBlended(modelView, object);
    }
    if (drawn) m_counters.rendered += 1;
}

// Fills the occlusion buffer with what was seen a frame ago and has not changed since; the walk
// that follows is tested against it.
void Renderer::DrawCachedVisible(VisibleSet& cached, Occlusion* occlusion, bool moreFollow) {
    const Matrix moved = ViewMatrix() * m_inverseView;
    cached.ForEach([&](Object* object, const Matrix& before) {
        if (!object->visible || !object->derivedCache.contains(&m_visCache)) return;
        const Matrix modelView = moved * before;
        m_viewCuller.SetMatrix(modelView);
        if (!m_viewCuller.TestObject(object)) return;
        DrawObject(object, modelView, moreFollow, occlusion);
        m_counters.cachedVisibility += 1;
    });
    occlusion->Sync();
    m_viewCuller.SetOcclusion(occlusion);
}
