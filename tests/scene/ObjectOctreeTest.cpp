// Radii of objects, their place in the parent's octree, and what a change does not reach.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "geometry/GeoImage.h"
#include "scene/Object.h"
#include "support/Capture.h"

namespace {

// room / a / b, each a direct child, with a mesh of radius 2 to hand.
struct Family {
    GeoImage mesh;
    Object room;
    Object a;
    Object b;

    Family() {
        mesh.radius = 2;
        room.AddChild("a", &a);
        a.AddChild("b", &b);
    }
    void Mark() {
        for (Object* object : {&room, &a, &b})
            object->derivedCache = {this};
    }
    std::string Emptied() const {
        return std::string(room.derivedCache.empty() ? "r" : "") +
               (a.derivedCache.empty() ? "a" : "") + (b.derivedCache.empty() ? "b" : "");
    }
};

}  // namespace

TEST(ObjectOctree, ChildrenSetTheRadiusAndMissingOnesAreReported) {
    Family family;
    Object& parent = family.a;
    Object& child = family.b;
    const std::string warning = "Warning: node " + Address(&parent);
    const auto reportOf = [&](const char* name, bool expected) {
        return CaptureStderr([&] { EXPECT_EQ(parent.RemoveChild(name), expected); });
    };
    parent.SetMesh(&family.mesh);
    child.radius = 1;
    child.SetPosition({3, 4, 0});
    EXPECT_EQ(parent.radius, 6);
    EXPECT_EQ(parent.Radius(false), 2);
    EXPECT_EQ(reportOf("b", true), "");
    EXPECT_EQ(parent.radius, 6) << "the map entry is still there, and counts";
    EXPECT_EQ(child.octreeLink, nullptr);
    EXPECT_EQ(reportOf("b", true),
              warning + " couldn't find child b(" + Address(&child) + ") in octree map\n");
    EXPECT_EQ(CaptureStderr([&] {
                  child.SetPosition({0, 1, 0});
              }),
              warning + " couldn't find child " + Address(&child) + " in octree map\n");
    EXPECT_EQ(child.octreeLink, &parent.ChildOctree()) << "a move inserts what is missing";
    parent.children.erase("b");
    EXPECT_EQ(reportOf("b", false), warning + " requested to remove non-child b\n");
    EXPECT_EQ(parent.radius, 6);
    parent.AddChild("nobody", nullptr);
    reportOf("nobody", true);
    EXPECT_EQ(parent.radius, 2);
}

TEST(ObjectOctree, ChangesReachOneLevelUp) {
    Family family;
    const auto emptiedBy = [&](auto&& change) {
        family.Mark();
        change();
        return family.Emptied();
    };
    EXPECT_EQ(emptiedBy([&] { family.b.SetMesh(&family.mesh); }), "ab");
    EXPECT_EQ(family.a.radius, 2);
    EXPECT_EQ(family.room.radius, 0);
    EXPECT_EQ(emptiedBy([&] { family.b.SetPosition({10, 0, 0}); }), "ab");
    family.b.SetPosition({1, 0, 0});
    EXPECT_EQ(family.a.radius, 12) << "never shrinks on a move";
    family.a.SetPosition({0, 1, 0});
    EXPECT_EQ(family.room.radius, 13);

    // A smaller mesh does not shrink, a negative radius recomputes.
    GeoImage odd;
    for (const auto& [mesh, wanted] : {std::pair{0.0F, 12.0F}, {-1, 3}}) {
        odd.radius = mesh;
        family.a.SetMesh(&odd);
        EXPECT_EQ(family.a.radius, wanted);
    }

    // A new grandchild widens the grandparent too: the child counts as changed.
    Object c;
    c.radius = 20;
    EXPECT_EQ(emptiedBy([&] { family.a.AddChild("c", &c); }), "ra");
    EXPECT_EQ(family.room.radius, 21);
    vec3 min;
    vec3 max;
    family.room.ChildOctree().GetBounds(min, max, false);
    EXPECT_EQ(max, vec3(20, 21, 20));
}

TEST(ObjectOctree, FindsChildrenBelowSplitNodesAndThoseThatHaveShrunkUnseen) {
    Family family;
    std::vector<Object> crowd(24);
    for (int i = 0; i < 24; ++i) {
        if (i % 2 == 0) crowd[i].pos = {10, 10, 10};
        family.room.AddChild(std::to_string(i), &crowd[i]);
    }
    family.a.SetPosition({5, 5, 5});
    vec3 min;
    vec3 max;
    family.room.ChildOctree().GetBounds(min, max, true);
    ASSERT_NE(crowd[3].octreeLink, &family.room.ChildOctree());
    EXPECT_EQ(CaptureStderr([&] { family.room.RemoveChild("3"); }), "");
    EXPECT_EQ(crowd[3].octreeLink, nullptr);

    family.a.radius = 20;
    family.a.SetPosition({1, 1, 1});
    ASSERT_EQ(family.a.octreeLink, &family.room.ChildOctree());
    family.a.radius = 0;  // belongs further down now, where it is looked for first
    const std::string report = CaptureStderr([&] { family.room.RemoveChild("a"); });
    EXPECT_NE(report.find(" which it doesn't contain\nParent says"), std::string::npos) << report;
    EXPECT_EQ(family.a.octreeLink, nullptr);
}

TEST(ObjectOctree, FarPositionsMakeNoNaN) {
    Family family;
    family.a.SetPosition({0, 3e30F, 4e30F});
    EXPECT_FLOAT_EQ(family.room.radius, 5e30F);
    family.a.SetPosition({3.4e38F, 3.4e38F, -3.4e38F});
    EXPECT_FALSE(std::isnan(family.room.radius));
    family.a.SetPosition({});
    EXPECT_TRUE(family.room.RemoveChild("a"));
}
