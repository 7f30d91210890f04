// Visibility tests of one view: frustum, size in pixels, occlusion buffer. Knows objects, their
// meshes and octrees; nothing of drawing.
#pragma once

#include <vector>

#include "renderer/PointerSet.h"
#include "spatial/Matrix.h"
#include "spatial/Plane.h"
#include "spatial/VisibilityStream.h"

class GeoImage;
class Object;
class Occlusion;
class Octree;

class Culler {
public:
    static constexpr int kMaxPlanes = 32;

    // Starts a view: identity matrix, no planes, nothing rejected, no occlusion buffer. height in
    // pixels, fov vertical in degrees. record: every decision goes to the visibility stream.
    void Begin(float height, float fov, bool record);
    void End();
    // A plane in camera space, normal inward. False when kMaxPlanes are held already.
    bool AddPlane(const vec3& point, const vec3& normal);
    // Model-view matrix of the object under test.
    void SetMatrix(const Matrix& modelView) { m_matrix = modelView; }
    // Not owned; null for no occlusion tests.
    void SetOcclusion(Occlusion* occlusion) { m_occlusion = occlusion; }
    // Whether the object's own mesh may be seen. An object found invisible stays so for the view.
    bool TestObject(Object* object);
    // The same in two steps, for walks that meet many objects out of view: the first needs only
    // the object's origin in camera space, the second, after it, the matrix.
    bool TestSphere(Object* object, const VisibilityStream::Origin& origin);
    bool TestMesh(Object* object);
    // Appends the children found by walking the object's octree under the current matrix.
    void VisibleChildren(Object* object, std::vector<Object*>& out);
    // Whether the volume that the mesh's box sweeps when pushed away from a light (object
    // coordinates) by length may reach into the view. A null mesh has none.
    bool ShadowVolumeVisible(const GeoImage* mesh, const vec3& light, float length) const;

    const std::vector<Plane>& Planes() const { return m_planes; }

private:
    float m_scale = 0;  // pixels per unit of size at distance 1
    bool m_recording = false;
    PointerSet<Object> m_rejected;
    std::vector<Plane> m_planes;
    Matrix m_matrix;
    Occlusion* m_occlusion = nullptr;

    VisibilityStream::Origin Origin() const { return {m_matrix[12], m_matrix[13], m_matrix[14]}; }
    bool RejectTiny(Object* object, const VisibilityStream::Origin& origin);
    bool Reject(Object* object, const VisibilityStream::Origin& origin);
    bool BoxUnoccluded(const Box& box) const;
    bool SphereUnoccluded(const vec3& centre, float radius) const;
    bool AcceptNode(const Octree& node, const Box& bounds) const;
    void RecordNode(bool accepted, const Box& bounds) const;
    void WalkNode(Octree& node, std::vector<Object*>& out);
};
