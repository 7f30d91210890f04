// Upkeep of an object's radius and of its place in its parent's octree. A change reaches one level
// up and no further, so that its cost does not depend on the depth of the tree.
#include <algorithm>
#include <cmath>
#include <iostream>

#include "geometry/GeoImage.h"
#include "scene/Object.h"

float Object::Radius(bool withChildren) const {
    if (withChildren) return radius;
    return mesh != nullptr ? mesh->radius : 0;
}

// In doubles: the squares of far positions overflow a float.
float Object::Extent(const Object* child) {
    if (child == nullptr) return 0;
    const double x = child->pos.x;
    const double y = child->pos.y;
    const double z = child->pos.z;
    return static_cast<float>(std::sqrt(x * x + y * y + z * z) + child->radius);
}

void Object::RecomputeRadius() {
    radius = Radius(false);
    for (const auto& [name, child] : children)
        radius = std::max(radius, Extent(child));
}

void Object::WidenRadius(float extent) {
    if (extent >= 0) {
        radius = std::max(radius, extent);
    } else {
        RecomputeRadius();
    }
}

void Object::AddChild(const std::string& name, Object* child) {
    const float oldRadius = radius;
    children[name] = child;
    if (child != nullptr) child->parent = this;
    m_octree->Insert(child);
    WidenRadius(Extent(child));
    Invalidate();
    UpdateInParent(pos, oldRadius);
}

bool Object::RemoveChild(const std::string& name) {
    const auto found = children.find(name);
    if (found == children.end()) {
        std::cerr << "Warning: node " << static_cast<const void*>(this) << " requested to remove "
                  << "non-child " << name << "\n";
        return false;
    }
    Object* child = found->second;
    if (child != nullptr && child->octreeLink != nullptr) {
        child->octreeLink->FindNode(child)->Remove(child);
    } else {
        std::cerr << "Warning: node " << static_cast<const void*>(this) << " couldn't find child "
                  << name << "(" << static_cast<const void*>(child) << ") in octree map\n";
    }
    RecomputeRadius();
    Invalidate();
    return true;
}

void Object::SetMesh(GeoImage* newMesh) {
    const float oldRadius = radius;
    mesh = newMesh;
    if (mesh != nullptr) WidenRadius(mesh->radius);
    Invalidate();
    UpdateInParent(pos, oldRadius);
}

void Object::SetPosition(const vec3& position) {
    const vec3 oldPosition = pos;
    pos = position;
    InvalidateTree();
    UpdateInParent(oldPosition, radius);
}

void Object::UpdateInParent(const vec3& oldPosition, float oldRadius) {
    if (parent == nullptr) return;
    if (octreeLink == nullptr) {
        std::cerr << "Warning: node " << static_cast<const void*>(parent) << " couldn't find child "
                  << static_cast<const void*>(this) << " in octree map\n";
    } else {
        octreeLink->RemoveAt(this, oldPosition, oldRadius);
    }
    parent->m_octree->Insert(this);
    parent->WidenRadius(Extent(this));
    parent->Invalidate();
}
