// Adaptive octree over the children of one scene object, split lazily when asked for bounds.
// Never owns or dereferences objects in its destructor: they may be gone before it.
#pragma once

#include <set>
#include <vector>

#include "spatial/Vec3.h"

class Object;

class Octree {
public:
    // parent: the enclosing node, null for a root. The node starts empty, unsplit, bounds stale.
    explicit Octree(Octree* parent = nullptr);
    ~Octree();
    Octree(const Octree&) = delete;
    Octree& operator=(const Octree&) = delete;

    // Puts the object where it belongs, sets its octree link, widens valid bounds up to the root.
    // Returns the node that now holds it; null for a null object.
    Octree* Insert(Object* object);
    // The node where the object belongs; creates empty nodes on the way.
    Octree* FindNode(Object* object);
    // Takes out an object whose position and radius have not changed since insertion and clears
    // its octree link. May delete this node. Warns on standard error at each node that does not
    // hold it and tries the parent; false when none up to the root does.
    bool Remove(Object* object);
    // The same for an object that has moved or grown: its old sphere is given.
    bool RemoveAt(Object* object, const vec3& oldPosition, float oldRadius);
    // Bounds of everything in and below this node, recomputed when stale. With allowSplit a node
    // of more than 23 objects is split first.
    void GetBounds(vec3& min, vec3& max, bool allowSplit);
    // Appends this node's own objects, by address, and returns their number.
    int Objects(std::vector<Object*>& list) const;
    int ObjectCount() const { return static_cast<int>(m_objects.size()); }
    // Child slot i (0 to 7): null when empty or before the first split.
    Octree* Child(int i) const;
    bool IsSplit() const { return m_issplit; }
    // Fatal when the node is split already.
    void DoSplit();

private:
    Octree* m_parent;
    bool m_issplit = false;
    bool m_splitX = false;
    bool m_splitY = false;
    bool m_splitZ = false;
    vec3 m_split;
    vec3 m_min;
    vec3 m_max;
    bool m_boundsValid = false;
    std::set<Object*> m_objects;
    // m_objects as a list, for walks that would miss the cache at every tree node; empty until
    // it is asked for.
    mutable std::vector<Object*> m_list;
    std::vector<Octree*> m_children;  // empty, or 8 owned slots

    // Slot of the object's sphere; -1 in an unsplit node and for one that touches a split plane.
    int ChildIndex(const Object* object) const;
    // The node in that slot, created when absent.
    Octree* ChildAt(int index);
    bool HasChildren() const;
    void Hold(Object* object);
    void RecomputeBounds();
    // Sets the split point and the divided axes: those that cut the fewest objects.
    void ChooseSplit();
    void Redistribute();
    // Deletes this node if it is empty, then every ancestor that this leaves empty.
    void Prune();
};
