// The octree against its slow twin: all objects in a list, bounds by union. Splits by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <random>

#include "scene/Object.h"
#include "spatial/Octree.h"
#include "spatial/Plane.h"
#include "support/Capture.h"

namespace {

using Slots = std::array<int, 9>;  // numbers of objects: the root's own, then each child's

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
    explicit World(unsigned seed = 7) : m_engine(seed) {}

    Octree tree;
    std::vector<std::unique_ptr<Object>> objects;
    int splitNodes = 0;  // that the last check met

    Object* Add(const vec3& pos, float radius) {
        objects.push_back(std::make_unique<Object>());
        objects.back()->pos = pos;
        objects.back()->radius = radius;
        tree.Insert(objects.back().get());
        return objects.back().get();
    }
    float Uniform(float low, float high) {
        return std::uniform_real_distribution(low, high)(m_engine);
    }
    vec3 Place() { return {Uniform(-50, 50), Uniform(-20, 20), Uniform(-5, 90)}; }
    void MoveAny() {
        Object* object = objects[m_engine() % objects.size()].get();
        const vec3 oldPosition = object->pos;
        const float oldRadius = object->radius;
        object->pos = Place();
        object->radius = Uniform(0, 4);
        EXPECT_TRUE(object->octreeLink->RemoveAt(object, oldPosition, oldRadius));
        tree.Insert(object);
    }
    void RemoveAny() {
        std::swap(objects[m_engine() % objects.size()], objects.back());
        EXPECT_TRUE(objects.back()->octreeLink->Remove(objects.back().get()));
        EXPECT_EQ(objects.back()->octreeLink, nullptr);
        objects.pop_back();
    }
    // After a walk has split what it may.
    Slots Counts() {
        Check();
        Slots counts{tree.ObjectCount()};
        for (int slot = 0; slot < 8; ++slot) {
            const Octree* child = tree.Child(slot);
            counts[static_cast<std::size_t>(slot) + 1] = child ? child->ObjectCount() : 0;
        }
        return counts;
    }
    // Walks as the renderer does, splitting on the way, and checks every node against its contents.
    // Returns the number of nodes.
    int Check() {
        m_nodes = splitNodes = 0;
        std::vector<Object*> found = Visit(tree);
        std::sort(found.begin(), found.end());
        EXPECT_EQ(std::unique(found.begin(), found.end()), found.end());
        EXPECT_EQ(found.size(), objects.size());
        return m_nodes;
    }

private:
    std::mt19937 m_engine;
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
    World world;
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
    EXPECT_GT(mostSplit, 20);
    while (!world.objects.empty())
        world.RemoveAny();
    EXPECT_EQ(world.Check(), 1);
    EXPECT_FALSE(world.tree.IsSplit());
}

TEST(Octree, SplitsAtTheMeanUpperExtentAlongTheCheapestAxes) {
    // Along x two groups, along y half of the objects in the way, along z one.
    World world;
    for (int i = 0; i < 23; ++i) {
        world.Add({i % 2 == 0 ? 0.0F : 10.0F, static_cast<float>(i) / 100, i == 0 ? 0.5F : 0}, 1);
    }
    EXPECT_EQ(world.Counts(), Slots{23});
    Object* right = world.Add({10, 0, 0}, 1);
    EXPECT_EQ(world.Counts(), (Slots{0, 12, 12}));
    EXPECT_EQ(right->octreeLink, world.tree.Child(0));
    // The split is at 6, the mean upper extent, not at 5.
    EXPECT_EQ(world.Add({5.5F, 0, 0}, 0.25F)->octreeLink, world.tree.Child(1));
    EXPECT_EQ(world.Add({6.25F, 0, 0}, 0.25F)->octreeLink, &world.tree) << "it touches";
    // y cuts as few as z: it is divided beside x, though x alone cuts none. With the axes the
    // other way round, z alone is divided: x cuts no more than y, but more than z.
    // Axes that cut equally few are all divided.
    World tie;
    World flat;
    World upright;  // y alone
    World cube;
    for (int i = 0; i < 24; ++i) {
        const float far = i % 2 == 0 ? 0 : 10;
        const float step = i < 12 ? 0 : 0.5F;
        tie.Add({far, step, step}, 1);
        flat.Add({step, step, far}, 1);
        upright.Add({step, far, step}, 1);
        cube.Add({far, i % 4 < 2 ? 0.0F : 10.0F, i % 8 < 4 ? 0.0F : 10.0F}, 1);
    }
    EXPECT_EQ(tie.Counts(), (Slots{12, 0, 0, 6, 6}));
    EXPECT_EQ(flat.Counts(), (Slots{0, 12, 0, 0, 0, 12}));
    EXPECT_EQ(upright.Counts(), (Slots{0, 12, 0, 12}));
    EXPECT_EQ(cube.Counts(), (Slots{0, 3, 3, 3, 3, 3, 3, 3, 3}));
    EXPECT_DEATH(world.tree.DoSplit(), "Octree\\.cpp.*void Octree::DoSplit\\(\\).*!m_issplit");
}

TEST(Octree, ObjectsAtOnePlaceStayInTheirNode) {
    for (int trial = 0; trial < 300; ++trial) {
        World world(static_cast<unsigned>(trial));
        const vec3 place = world.Place();
        const float radius = world.Uniform(0, 1);
        for (int i = 0; i < 24 + trial % 40; ++i)
            world.Add(place, radius);
        for (int walk = 0; walk < 3; ++walk)
            EXPECT_EQ(world.Check(), 1);
        EXPECT_TRUE(world.tree.IsSplit());
    }
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

TEST(Octree, SurvivesHugeValues) {
    World world;
    constexpr float kHuge = std::numeric_limits<float>::max();
    for (int i = 0; i < 200; ++i) {
        const vec3 place{i % 3 == 0 ? kHuge : -kHuge, i % 5 == 0 ? kHuge : 1,
                         kHuge * world.Uniform(-1, 1)};
        world.Add(place, i % 7 == 0 ? 2 * kHuge : i % 2 == 0 ? kHuge : 1);
    }
    for (int walk = 0; walk < 20; ++walk)
        world.Check();
    while (!world.objects.empty())
        world.RemoveAny();
}
