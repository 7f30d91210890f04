// Radii of objects, their place in the parent's octree, and what a change does not reach.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "geometry/GeoImage.h"
#include "scene/Object.h"
#include "support/Capture.h"

namespace {

// A room with parts and parts of these. Radii a second time: they grow where a change is, and one
// level further up, and only removals recompute them.
TEST(ObjectOctree, RandomChangesReachOneLevelUp) {
    std::mt19937 random(1);
    Object room;
    std::vector<Object> objects(40);  // ten groups and the parts of each
    std::vector<GeoImage> meshes(6);
    for (int i = 0; i < 6; ++i)
        meshes[i].radius = static_cast<float>(i);
    std::map<const Object*, float> radii;
    const auto own = [](const Object& o) { return o.mesh != nullptr ? o.mesh->radius : 0; };
    const auto reach = [&](const Object& o) { return Length(o.pos) + radii[&o]; };
    const auto widen = [&](Object* parent, const Object& child) {
        if (parent) radii[parent] = std::max(radii[parent], reach(child));
    };
    for (int step = 0; step < 4000; ++step) {
        const std::size_t i = random() % objects.size();
        Object& object = objects[i];
        Object& above = i < 10 ? room : objects[i % 10];
        const bool inside = object.parent != nullptr;
        for (Object& each : objects)
            each.derivedCache = {&room};
        room.derivedCache = {&room};
        if (const auto action = random() % 8; action == 0 && inside) {
            EXPECT_TRUE(above.RemoveChild(std::to_string(i)));
            radii[&above] = own(above);
            for (const auto& [name, child] : above.children)
                widen(&above, *child);  // the one that goes among them
            above.children.erase(std::to_string(i));
            object.parent = nullptr;
            EXPECT_EQ(object.octreeLink, nullptr);
        } else if (!inside) {
            above.AddChild(std::to_string(i), &object);
            widen(&above, object);
            if (above.parent) widen(above.parent, above);
            EXPECT_EQ(room.derivedCache.empty(), &above == &room || above.parent);
        } else if (action < 4) {
            object.SetMesh(&meshes[random() % meshes.size()]);
            radii[&object] = std::max(radii[&object], own(object));
            widen(&above, object);
            EXPECT_TRUE(object.derivedCache.empty());
        } else {
            const auto far = [&] { return static_cast<float>(random() % 30); };
            object.SetPosition({far(), far(), far()});
            widen(&above, object);
            for (const auto& [name, child] : object.children)
                EXPECT_TRUE(child->derivedCache.empty()) << "parts move along";
        }
        EXPECT_TRUE(above.derivedCache.empty());
        EXPECT_TRUE(&above == &room || !inside || !room.derivedCache.empty());
        EXPECT_EQ(room.ChildOctree().ObjectCount(), std::ssize(room.children));
        for (const Object& each : objects) {
            EXPECT_FLOAT_EQ(each.Radius(true), radii[&each]);
            EXPECT_EQ(each.octreeLink != nullptr, each.parent != nullptr);
        }
        ASSERT_FLOAT_EQ(room.radius, radii[&room]) << "step " << step;
    }
}

TEST(ObjectOctree, WhatIsMissingIsReportedAndOddRadiiAreHeld) {
    Object parent;
    Object child;
    GeoImage odd;
    parent.AddChild("b", &child);
    EXPECT_TRUE(parent.RemoveChild("b"));
    const std::string warning = "Warning: node " + Address(&parent);
    EXPECT_EQ(CaptureStderr([&] {
                  EXPECT_TRUE(parent.RemoveChild("b"));
                  child.SetPosition({0, 3e30F, 4e30F});
              }),
              warning + " couldn't find child b(" + Address(&child) + ") in octree map\n" +
                  warning + " couldn't find child " + Address(&child) + " in octree map\n");
    EXPECT_EQ(child.octreeLink, &parent.ChildOctree()) << "a move inserts what is missing";
    EXPECT_FLOAT_EQ(parent.radius, 5e30F);
    child.SetPosition({3.4e38F, 3.4e38F, -3.4e38F});
    EXPECT_FALSE(std::isnan(parent.radius));
    child.SetPosition({0, 0, 7});
    EXPECT_TRUE(parent.RemoveChild("b"));
    parent.children.erase("b");
    EXPECT_EQ(CaptureStderr([&] { EXPECT_FALSE(parent.RemoveChild("b")); }),
              warning + " requested to remove non-child b\n");
    parent.AddChild("nobody", nullptr);
    odd.radius = -1;
    parent.SetMesh(&odd);
    EXPECT_TRUE(parent.radius == 0 && parent.Radius(false) == -1) << "negative ones recompute";
}

}  // namespace
