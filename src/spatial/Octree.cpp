// Descent, lazy splitting and lazy bounds of the octree. Knows of an object only its position,
// its radius with children and its link to the node that holds it.
#include "spatial/Octree.h"

#include <algorithm>
#include <cassert>
#include <iostream>

#include "scene/Object.h"
#include "spatial/Plane.h"

namespace {

// A node that holds more objects is split the next time the renderer looks into it.
constexpr std::size_t kMaxUnsplit = 23;
constexpr std::size_t kSlots = 8;
constexpr int kStraddles = -1;

Box SphereBox(const vec3& centre, float radius) {
    const vec3 r{radius, radius, radius};
    return {centre - r, centre + r};
}

Box ObjectBox(const Object* object) {
    return SphereBox(object->pos, object->Radius(true));
}

void Widen(vec3& min, vec3& max, const Box& box) {
    min = {std::min(min.x, box.min.x), std::min(min.y, box.min.y), std::min(min.z, box.min.z)};
    max = {std::max(max.x, box.max.x), std::max(max.y, box.max.y), std::max(max.z, box.max.z)};
}

bool StrictlyInside(const Box& box, const vec3& min, const vec3& max) {
    return box.min.x > min.x && box.min.y > min.y && box.min.z > min.z && box.max.x < max.x &&
           box.max.y < max.y && box.max.z < max.z;
}

// Adds the axis bit to the index for a sphere below the split; false when it touches the plane.
bool ChooseSide(float split, float low, float high, int axisBit, int& index) {
    if (split > high) {
        index |= axisBit;
        return true;
    }
    return low > split;
}

}  // namespace

Octree::Octree(Octree* parent) : m_parent(parent) {}

Octree::~Octree() {
    for (const Octree* child : m_children)
        delete child;
}

Octree* Octree::Child(int i) const {
    return m_children.empty() ? nullptr : m_children[static_cast<std::size_t>(i)];
}

int Octree::ChildIndex(const Object* object) const {
    if (!m_issplit) return kStraddles;
    const Box box = ObjectBox(object);
    int index = 0;
    if (m_splitX && !ChooseSide(m_split.x, box.min.x, box.max.x, 1, index)) return kStraddles;
    if (m_splitY && !ChooseSide(m_split.y, box.min.y, box.max.y, 2, index)) return kStraddles;
    if (m_splitZ && !ChooseSide(m_split.z, box.min.z, box.max.z, 4, index)) return kStraddles;
    return index;
}

Octree* Octree::ChildAt(int index) {
    Octree*& slot = m_children[static_cast<std::size_t>(index)];
    if (slot == nullptr) slot = new Octree(this);
    return slot;
}

void Octree::Hold(Object* object) {
    m_objects.insert(object);
    m_list.clear();
    object->octreeLink = this;
}

Octree* Octree::FindNode(Object* object) {
    Octree* node = this;
    for (int index = node->ChildIndex(object); index != kStraddles;
         index = node->ChildIndex(object)) {
        node = node->ChildAt(index);
    }
    return node;
}

Octree* Octree::Insert(Object* object) {
    if (object == nullptr) return nullptr;
    Octree* target = FindNode(object);
    target->Hold(object);
    const Box box = ObjectBox(object);
    for (Octree* node = target; node != nullptr; node = node->m_parent) {
        if (node->m_boundsValid) Widen(node->m_min, node->m_max, box);
    }
    return target;
}

bool Octree::Remove(Object* object) {
    return RemoveAt(object, object->pos, object->Radius(true));
}

bool Octree::RemoveAt(Object* object, const vec3& oldPosition, float oldRadius) {
    const Box box = SphereBox(oldPosition, oldRadius);
    for (Octree* node = this; node != nullptr; node = node->m_parent) {
        if (!StrictlyInside(box, node->m_min, node->m_max)) node->m_boundsValid = false;
    }
    if (m_objects.erase(object) > 0) {
        m_list.clear();
        object->octreeLink = nullptr;
        Prune();  // may delete this node
        return true;
    }
    std::cerr << "Warning: octree " << static_cast<const void*>(this) << " tried to remove node "
              << static_cast<const void*>(object) << " which it doesn't contain\n";
    if (m_parent == nullptr) return false;
    std::cerr << "Parent says it should be in "
              << static_cast<const void*>(m_parent->FindNode(object)) << "\nTrying parent\n";
    return m_parent->Remove(object);
}

bool Octree::HasChildren() const {
    return std::any_of(m_children.begin(), m_children.end(),
                       [](const Octree* child) { return child != nullptr; });
}

void Octree::Prune() {
    Octree* node = this;
    while (node->m_parent != nullptr && node->m_objects.empty() && !node->HasChildren()) {
        Octree* parent = node->m_parent;
        std::replace(parent->m_children.begin(), parent->m_children.end(), node,
                     static_cast<Octree*>(nullptr));
        delete node;
        if (parent->HasChildren()) return;
        parent->m_issplit = false;
        node = parent;
    }
}

void Octree::GetBounds(vec3& min, vec3& max, bool allowSplit) {
    if (allowSplit && !m_issplit && m_objects.size() > kMaxUnsplit) DoSplit();
    if (!m_boundsValid) RecomputeBounds();
    min = m_min;
    max = m_max;
}

void Octree::RecomputeBounds() {
    bool first = true;
    const auto contribute = [&](const Box& box) {
        if (first) {
            m_min = box.min;
            m_max = box.max;
            first = false;
        } else {
            Widen(m_min, m_max, box);
        }
    };
    for (const Object* object : m_objects)
        contribute(ObjectBox(object));
    for (Octree* child : m_children) {
        if (child == nullptr) continue;
        Box box;
        child->GetBounds(box.min, box.max, false);
        contribute(box);
    }
    m_boundsValid = true;
}

int Octree::Objects(std::vector<Object*>& list) const {
    if (m_list.empty()) m_list.assign(m_objects.begin(), m_objects.end());
    list.insert(list.end(), m_list.begin(), m_list.end());
    return ObjectCount();
}

void Octree::DoSplit() {
    assert(!m_issplit);
    ChooseSplit();
    m_issplit = true;
    m_children.assign(kSlots, nullptr);
    Redistribute();
    for (Octree* child : m_children) {
        if (child != nullptr) child->RecomputeBounds();
    }
}

// The sums are doubles, so that the mean of equal extents is exactly that extent: objects at one
// place then touch the plane and stay, instead of wandering one level down with every split.
void Octree::ChooseSplit() {
    double sumX = 0;
    double sumY = 0;
    double sumZ = 0;
    for (const Object* object : m_objects) {
        const vec3 high = ObjectBox(object).max;
        sumX += high.x;
        sumY += high.y;
        sumZ += high.z;
    }
    const auto count = static_cast<double>(m_objects.size());
    m_split = {static_cast<float>(sumX / count), static_cast<float>(sumY / count),
               static_cast<float>(sumZ / count)};
    int cutX = 0;
    int cutY = 0;
    int cutZ = 0;
    for (const Object* object : m_objects) {
        const Box box = ObjectBox(object);
        cutX += box.max.x > m_split.x && m_split.x > box.min.x ? 1 : 0;
        cutY += box.max.y > m_split.y && m_split.y > box.min.y ? 1 : 0;
        cutZ += box.max.z > m_split.z && m_split.z > box.min.z ? 1 : 0;
    }
    m_splitX = cutX <= cutY && cutX <= cutZ;
    m_splitY = cutY <= cutZ;
    m_splitZ = cutZ <= cutX && cutZ <= cutY;
}

void Octree::Redistribute() {
    m_list.clear();
    for (auto it = m_objects.begin(); it != m_objects.end();) {
        const int index = ChildIndex(*it);
        if (index == kStraddles) {
            ++it;
            continue;
        }
        ChildAt(index)->Hold(*it);
        it = m_objects.erase(it);
    }
}
