// The octree against its slow twin: all objects in a list, bounds by union, splits by definition.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>

#include "scene/Object.h"
#include "spatial/Octree.h"
#include "spatial/Plane.h"
#include "support/Capture.h"
#include "support/Random.h"

namespace {

Box BoundsOf(const std::vector<Object*>& objects) {
    constexpr float kFar = std::numeric_limits<float>::infinity();
    Box all{{kFar, kFar, kFar}, {-kFar, -kFar, -kFar}};
    for (const Object* object : objects) {
        for (float vec3::*axis : {&vec3::x, &vec3::y, &vec3::z}) {
            all.min.*axis = std::min(all.min.*axis, object->pos.*axis - object->radius);
            all.max.*axis = std::max(all.max.*axis, object->pos.*axis + object->radius);
        }
    }
    return all;
}

class World {
public:
    explicit World(unsigned seed = 7) : m_random(seed) {}

    Octree tree;
    std::vector<std::unique_ptr<Object>> objects;
    int splitNodes = 0;  // that the last check met
    float unit = 1;

    Object* Add(const vec3& pos, float radius) {
        objects.push_back(std::make_unique<Object>());
        objects.back()->pos = pos;
        objects.back()->radius = radius;
        tree.Insert(objects.back().get());
        return objects.back().get();
    }
    float Uniform(float low, float high) { return unit * m_random.Real(low, high); }
    vec3 Place() { return {Uniform(-50, 50), Uniform(-20, 20), Uniform(-5, 90)}; }
    std::unique_ptr<Object>& Any() {
        return objects[static_cast<std::size_t>(m_random.Index(objects.size()))];
    }
    void MoveAny() {
        Object* object = Any().get();
        const vec3 oldPosition = object->pos;
        const float oldRadius = object->radius;
        object->pos = Place();
        object->radius = Uniform(0, 4);
        EXPECT_TRUE(object->octreeLink->RemoveAt(object, oldPosition, oldRadius));
        tree.Insert(object);
    }
    void RemoveAny() {
        std::swap(Any(), objects.back());
        EXPECT_TRUE(objects.back()->octreeLink->Remove(objects.back().get()));
        EXPECT_EQ(objects.back()->octreeLink, nullptr);
        objects.pop_back();
    }
    bool RemoveBelowRoot() {
        return std::erase_if(objects, [&](const auto& object) {
                   Octree* node = object->octreeLink;
                   return node != &tree && node->Remove(object.get());
               }) > 0;
    }
    // Walks as the renderer does, splitting on the way, and checks every node against its
    // contents. Returns the number of nodes.
    int Check() {
        m_nodes = splitNodes = 0;
        std::vector<Object*> found = Visit(tree);
        std::sort(found.begin(), found.end());
        EXPECT_EQ(std::unique(found.begin(), found.end()), found.end());
        EXPECT_EQ(found.size(), objects.size());
        return m_nodes;
    }

private:
    Random m_random;
    int m_nodes = 0;

    // Returns the objects in and below the node.
    std::vector<Object*> Visit(Octree& node) {
        ++m_nodes;
        Box bounds;
        node.GetBounds(bounds.min, bounds.max, true);
        splitNodes += node.IsSplit() ? 1 : 0;
        std::vector<Object*> contents;
        EXPECT_EQ(node.Objects(contents), node.ObjectCount());
        for (Object* object : contents) {
            EXPECT_EQ(object->octreeLink, &node);
            EXPECT_EQ(node.FindNode(object), &node);
        }
        for (int i = 0; i < 8; ++i) {
            if (node.Child(i) == nullptr) continue;
            EXPECT_TRUE(node.IsSplit());
            const std::vector<Object*> below = Visit(*node.Child(i));
            EXPECT_FALSE(below.empty()) << "an empty node was kept";
            contents.insert(contents.end(), below.begin(), below.end());
        }
        if (contents.empty()) return contents;
        EXPECT_EQ(bounds.min, BoundsOf(contents).min);
        EXPECT_EQ(bounds.max, BoundsOf(contents).max);
        return contents;
    }
};

}  // namespace

TEST(Octree, HoldsEveryObjectInTightBoundsUnderRandomChanges) {
    constexpr float kHuge = std::numeric_limits<float>::max();
    for (const float unit : {1.0F, kHuge / 91}) {  // the far sides of some are infinitely far
        World world;
        world.unit = unit;
        for (int i = 0; i < 600; ++i)
            world.Add(world.Place(), world.Uniform(0, 3));
        int mostSplit = 0;
        for (int round = 0; round < 60; ++round) {
            for (int i = 0; i < 15; ++i)
                world.MoveAny();
            for (int i = 0; i < 8; ++i)
                world.RemoveAny();
            if (round < 30) world.Add(world.Place(), world.Uniform(0, 3));
            world.Check();
            mostSplit = std::max(mostSplit, world.splitNodes);
        }
        EXPECT_GT(mostSplit, unit == 1 ? 20 : 0);
        while (!world.objects.empty())
            world.RemoveAny();
        EXPECT_EQ(world.Check(), 1);
        EXPECT_FALSE(world.tree.IsSplit());
    }
}

// Many stay at the root when it splits, so that it splits again once nothing is left below.
TEST(Octree, SplitsAgainWhatLargeObjectsKeepAtTheRoot) {
    int resplit = 0;
    for (unsigned seed = 0; seed < 40; ++seed) {
        World world(seed);
        for (unsigned i = 0; i < 60 + seed % 60; ++i)
            world.Add(world.Place(), world.Uniform(5, 40));
        for (bool changed = true; changed;) {
            world.Check();
            changed = world.RemoveBelowRoot() && world.tree.ObjectCount() > 23;
            EXPECT_FALSE(world.tree.IsSplit() && changed);
            resplit += changed ? 1 : 0;
        }
        world.Check();
    }
    EXPECT_GT(resplit, 40);
}

// Along the axes that cut the fewest, where y is not compared with x. Coarse places make the axes
// cut equally few often, and objects touch the planes.
TEST(Octree, SplitsAtTheMeanUpperExtentAlongTheCheapestAxes) {
    std::array<int, 8> divisions{};  // how often each choice of axes was met
    for (unsigned seed = 0; seed < 500; ++seed) {
        World world(seed);
        const vec3 steps{world.Uniform(0, 4), world.Uniform(0, 4), world.Uniform(0, 4)};
        const auto place = [&](float limit) { return std::floor(world.Uniform(0, limit)) * 2; };
        for (int i = 0; i < 24; ++i) {
            if (i == 23) {
                EXPECT_EQ(world.Check(), 1) << "23 are not worth a split";
            }
            world.Add({place(steps.x), place(steps.y), place(steps.z)},
                      seed % 3 == 0 ? 1.0F : 0.5F);
        }
        constexpr float vec3::*kAxes[] = {&vec3::x, &vec3::y, &vec3::z};
        std::array<float, 3> split{};
        std::array<int, 3> cuts{};
        for (unsigned axis = 0; axis < 3; ++axis) {
            double sum = 0;
            for (const auto& object : world.objects)
                sum += object->pos.*kAxes[axis] + object->radius;
            split[axis] = static_cast<float>(sum / 24);
            for (const auto& object : world.objects)
                cuts[axis] += std::abs(object->pos.*kAxes[axis] - split[axis]) < object->radius;
        }
        const std::array<bool, 3> divided{cuts[0] <= cuts[1] && cuts[0] <= cuts[2],
                                          cuts[1] <= cuts[2],
                                          cuts[2] <= cuts[0] && cuts[2] <= cuts[1]};
        ++divisions[divided[0] * 1U + divided[1] * 2U + divided[2] * 4U];
        world.Check();
        EXPECT_TRUE(world.tree.IsSplit());
        for (const auto& object : world.objects) {
            int slot = 0;
            bool touches = false;
            for (unsigned axis = 0; axis < 3; ++axis) {
                if (!divided[axis]) continue;
                const float offset = object->pos.*kAxes[axis] - split[axis];
                touches |= std::abs(offset) <= object->radius;
                slot |= offset < 0 ? 1 << axis : 0;
            }
            EXPECT_EQ(object->octreeLink, touches ? &world.tree : world.tree.Child(slot)) << seed;
        }
    }
    for (unsigned axes = 1; axes < 8; ++axes)
        EXPECT_GT(divisions[axes], 4) << axes;
    World full;
    full.tree.DoSplit();
    EXPECT_DEATH(full.tree.DoSplit(), "Octree\\.cpp.*void Octree::DoSplit\\(\\).*!m_issplit");
}

TEST(Octree, ReportsObjectsThatAreNotWhereTheyShouldBe) {
    World world;
    for (int i = 0; i < 24; ++i)
        world.Add(i % 2 == 0 ? vec3{} : vec3{10, 10, 10}, 1);
    world.Check();
    Object* strayed = world.objects[0].get();
    Octree* home = strayed->octreeLink;
    Octree* other = world.objects[1]->octreeLink;
    const auto warning = [&](const Octree* node) {
        return "Warning: octree " + Address(node) + " tried to remove node " + Address(strayed) +
               " which it doesn't contain\n";
    };
    EXPECT_EQ(CaptureStderr([&] { EXPECT_FALSE(other->Remove(strayed)); }),
              warning(other) + "Parent says it should be in " + Address(home) +
                  "\nTrying parent\n" + warning(&world.tree));
    EXPECT_TRUE(home->Remove(strayed));
}
