// Visibility tests of one view. They err on the visible side, but for the size threshold and the
// rim of spheres, whose front is tested as an inscribed polygon.
#include "renderer/Culler.h"

#include "geometry/GeoImage.h"
#include "scene/Object.h"
#include "spatial/CameraSpace.h"
#include "spatial/Occlusion.h"
#include "spatial/Octree.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace {

constexpr float kMinPixels = 0.5F;       // smaller meshes are not worth a pass
constexpr float kNearestMesh = 0.0001F;  // distance guard of a mesh's size in pixels
constexpr float kNearestNode = 1.0F;     // the same for octree nodes: near ones open readily
constexpr float kMinNodePixels = 1.0F;
constexpr int kSphereSides = 8;  // of the polygon that stands for a sphere's front

// Corners of the twelve triangles of a box, outward faces, in the numbering of Box::Corner.
constexpr std::array<std::array<unsigned char, 3>, 12> kBoxTriangles{{
    {2, 0, 1},
    {3, 2, 1},
    {4, 0, 2},
    {4, 1, 0},
    {5, 1, 4},
    {5, 3, 1},
    {6, 4, 2},
    {6, 2, 3},
    {6, 5, 4},
    {7, 6, 3},
    {7, 3, 5},
    {7, 5, 6},
}};

struct Turn {
    float cosine;
    float sine;
};

// Where the corners of a sphere's polygon lie that follow the first.
const std::array<Turn, kSphereSides> kSphereTurns = [] {
    std::array<Turn, kSphereSides> turns;
    for (int i = 0; i < kSphereSides; ++i) {
        const double angle = (i + 1) * 2 * std::numbers::pi / kSphereSides;
        turns[static_cast<unsigned>(i)] = {static_cast<float>(std::cos(angle)),
                                           static_cast<float>(std::sin(angle))};
    }
    return turns;
}();

using Corners = std::array<vec3, 8>;

Corners TransformedCorners(const Box& box, const Matrix& matrix) {
    Corners corners;
    for (int i = 0; i < 8; ++i)
        corners[static_cast<unsigned>(i)] = matrix.Transform(box.Corner(i));
    return corners;
}

float OwnRadius(const GeoImage* mesh) {
    return mesh ? mesh->radius : 0.0F;
}

}  // namespace

void Culler::Begin(float height, float fov, bool record) {
    m_matrix = Matrix();
    m_rejected.Clear();
    m_planes.clear();
    m_occlusion = nullptr;
    m_scale = height / static_cast<float>(HalfViewTangent(fov)) * 0.5F;
    m_recording = record;
    if (m_recording) VisibilityStream::Shared().Open();
}

void Culler::End() {
    if (m_recording) VisibilityStream::Shared().Close();
    m_recording = false;
}

bool Culler::AddPlane(const vec3& point, const vec3& normal) {
    if (m_planes.size() >= kMaxPlanes) return false;
    m_planes.push_back(Plane::Through(point, normal));
    return true;
}

bool Culler::TestObject(Object* object) {
    return TestSphere(object, Origin()) && TestMesh(object);
}

bool Culler::TestSphere(Object* object, const VisibilityStream::Origin& origin) {
    if (!object || m_rejected.Contains(object)) return false;
    const vec3 centre{static_cast<float>(origin[0]), static_cast<float>(origin[1]),
                      static_cast<float>(origin[2])};
    const float radius = OwnRadius(object->mesh);
    const float pixels = radius * m_scale / std::max(-centre.z, kNearestMesh);
    if (!(pixels >= kMinPixels)) return RejectTiny(object, origin);  // nor is what is no number
    if (SphereOutside(m_planes, centre, radius, kAllPlanes) != 0) return Reject(object, origin);
    return true;
}

bool Culler::TestMesh(Object* object) {
    const Box box{object->mesh->boundsMin, object->mesh->boundsMax};
    if (BoxTouchesInside(m_planes, box, m_matrix) && BoxUnoccluded(box) &&
        SphereUnoccluded(m_matrix.Translation(), object->mesh->radius)) {
        if (m_recording) VisibilityStream::Shared().Seen(Origin(), object->mesh->radius);
        return true;
    }
    return Reject(object, Origin());
}

bool Culler::RejectTiny(Object* object, const VisibilityStream::Origin& origin) {
    m_rejected.Insert(object);
    if (m_recording && object->mesh) VisibilityStream::Shared().Tiny(origin, object->mesh->radius);
    return false;
}

bool Culler::Reject(Object* object, const VisibilityStream::Origin& origin) {
    m_rejected.Insert(object);
    if (m_recording) VisibilityStream::Shared().Rejected(origin, object->mesh->radius);
    return false;
}

bool Culler::BoxUnoccluded(const Box& box) const {
    if (!m_occlusion) return true;
    const Corners corners = TransformedCorners(box, m_matrix);
    const auto behindEye = [](const vec3& corner) { return corner.z > 0; };
    if (std::any_of(corners.begin(), corners.end(), behindEye)) return true;
    return std::any_of(kBoxTriangles.begin(), kBoxTriangles.end(), [&](const auto& triangle) {
        const vec3& a = corners[triangle[0]];
        const vec3& b = corners[triangle[1]];
        const vec3& c = corners[triangle[2]];
        return Facing(a, b, c) > 0 && m_occlusion->TestTriangle(a, b, c);
    });
}

// The front of the sphere is a fan of triangles around its nearest point, square to the view ray.
bool Culler::SphereUnoccluded(const vec3& centre, float radius) const {
    if (!m_occlusion) return true;
    vec3 u = Cross({1, 0, 0}, centre);
    if (u == vec3{}) u = {0, 1, 0};
    const vec3 v = Normalise(Cross(u, centre)) * radius;
    u = Normalise(u) * radius;
    const vec3 front = centre - Normalise(centre) * radius;
    vec3 previous = front + u;
    for (const Turn& turn : kSphereTurns) {
        const vec3 next = front + u * turn.cosine + v * turn.sine;
        if (m_occlusion->TestTriangle(front, previous, next)) return true;
        previous = next;
    }
    return false;
}

void Culler::VisibleChildren(Object* object, std::vector<Object*>& out) {
    if (object->children.empty()) return;
    if (SphereOutside(m_planes, m_matrix.Translation(), object->Radius(true), kAllPlanes) != 0) {
        return;
    }
    WalkNode(object->ChildOctree(), out);
}

void Culler::WalkNode(Octree& node, std::vector<Object*>& out) {
    Box bounds;
    node.GetBounds(bounds.min, bounds.max, true);
    const bool accepted = AcceptNode(node, bounds);
    if (m_recording) RecordNode(accepted, bounds);
    if (accepted) node.Objects(out);
    for (int i = 0; i < 8; ++i) {
        Octree* child = node.Child(i);
        if (!child) continue;
        if (accepted) {
            WalkNode(*child, out);
        } else {
            // Nodes out of view split too, so that turning to them costs no more than one level.
            child->GetBounds(bounds.min, bounds.max, true);
        }
    }
}

void Culler::RecordNode(bool accepted, const Box& bounds) const {
    if (accepted) {
        VisibilityStream::Shared().NodeAccepted(m_matrix, bounds);
    } else {
        VisibilityStream::Shared().NodeRejected(m_matrix, bounds);
    }
}

// The distance is that of the object whose children these are, not of the node: one figure opens
// or closes all nodes of a size, near and far ones alike.
bool Culler::AcceptNode(const Octree& node, const Box& bounds) const {
    const vec3 centre = m_matrix.Transform((bounds.min + bounds.max) * 0.5F);
    const float half = Length(bounds.max - bounds.min) * 0.5F;
    const float distance = std::max(-m_matrix.Translation().z, kNearestNode);
    return m_scale * half / distance > kMinNodePixels &&
           SphereOutside(m_planes, centre, half, kAllPlanes) == 0 &&
           BoxTouchesInside(m_planes, bounds, m_matrix) &&
           (node.ObjectCount() <= 1 || BoxUnoccluded(bounds));
}

// The volume lies within the hull of the mesh and of its image pushed away from the light: first
// both bounding spheres, then the sixteen corners of both boxes against one common plane.
bool Culler::ShadowVolumeVisible(const GeoImage* mesh, const vec3& light, float length) const {
    if (!mesh) return false;
    const vec3 eyeLight = m_matrix.Transform(light);
    const vec3 centre = m_matrix.Translation();
    const vec3 away = centre - eyeLight;
    const float stretch = length / Length(away);
    const std::uint32_t nearOutside = SphereOutside(m_planes, centre, mesh->radius, kAllPlanes);
    if (SphereOutside(m_planes, centre + away * stretch, mesh->radius * stretch, nearOutside)) {
        return false;
    }
    std::uint32_t outside = kAllPlanes;
    for (const vec3& corner : TransformedCorners({mesh->boundsMin, mesh->boundsMax}, m_matrix)) {
        const vec3 ray = corner - eyeLight;
        outside = PointOutside(m_planes, corner, outside);
        outside = PointOutside(m_planes, corner + ray * (length / Length(ray)), outside);
        if (outside == 0) return true;
    }
    return false;
}
