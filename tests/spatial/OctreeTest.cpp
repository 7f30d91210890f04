// The octree against its slow twin: all objects in a list, bounds by union. Splits by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <random>

#include "scene/Object.h"
#include "spatial/Octree.h"
#include "spatial/Plane.h"
#include "support/Capture.h"

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

// Walks as the renderer does, splitting on the way, and checks every node against its contents.
struct Walk {
    int nodes = 0;
    int splitNodes = 0;

    // Returns the objects in and below the node.
    std::vector<Object*> Visit(Octree& node) {
        ++nodes;
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

class World {
public:
    Octree tree;
    std::vector<std::unique_ptr<Object>> objects;

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
    Walk Check() {
        Walk walk;
        std::vector<Object*> found = walk.Visit(tree);
        std::sort(found.begin(), found.end());
        EXPECT_EQ(std::unique(found.begin(), found.end()), found.end());
        EXPECT_EQ(found.size(), objects.size());
        return walk;
    }

private:
    std::mt19937 m_engine{7};
};

}  // namespace

TEST(Octree, HoldsEveryObjectInTightBoundsUnderRandomChanges) {
    World world;
    for (int i = 0; i < 600; ++i)
        world.Add(world.Place(), world.Uniform(0, 3));
    int splitNodes = 0;
    for (int round = 0; round < 60; ++round) {
        for (int i = 0; i < 15; ++i)
            world.MoveAny();
        for (int i = 0; i < 8; ++i)
            world.RemoveAny();
        if (round < 30) world.Add(world.Place(), world.Uniform(0, 3));
        splitNodes = std::max(splitNodes, world.Check().splitNodes);
    }
    EXPECT_GT(splitNodes, 20);
    while (!world.objects.empty())
        world.RemoveAny();
    EXPECT_EQ(world.Check().nodes, 1);
    EXPECT_FALSE(world.tree.IsSplit());
}

TEST(Octree, SplitsAtTheMeanUpperExtentAlongTheCheapestAxes) {
    // Along x two groups, along y half of the objects in the way, along z one.
    World world;
    for (int i = 0; i < 23; ++i) {
        world.Add({i % 2 == 0 ? 0.0F : 10.0F, static_cast<float>(i) / 100, i == 0 ? 0.5F : 0}, 1);
    }
    EXPECT_EQ(world.Check().nodes, 1);
    Object* right = world.Add({10, 0, 0}, 1);
    EXPECT_EQ(world.Check().nodes, 3);
    EXPECT_EQ(world.tree.ObjectCount(), 0);
    EXPECT_EQ(right->octreeLink, world.tree.Child(0));
    EXPECT_EQ(world.tree.Child(1)->ObjectCount(), 12);
    // The split is at 6, the mean upper extent, not at 5.
    EXPECT_EQ(world.Add({5.5F, 0, 0}, 0.25F)->octreeLink, world.tree.Child(1));
    EXPECT_EQ(world.Add({6.25F, 0, 0}, 0.25F)->octreeLink, &world.tree) << "it touches";
    // y cuts as few as z: it is divided beside x, though x alone cuts none. With the axes the
    // other way round, z alone is divided: x cuts no more than y, but more than z.
    // Axes that cut equally few are all divided.
    World tie;
    World flat;
    World cube;
    for (int i = 0; i < 24; ++i) {
        const float far = i % 2 == 0 ? 0 : 10;
        const float step = i < 12 ? 0 : 0.5F;
        tie.Add({far, step, step}, 1);
        flat.Add({step, step, far}, 1);
        cube.Add({far, i % 4 < 2 ? 0.0F : 10.0F, i % 8 < 4 ? 0.0F : 10.0F}, 1);
    }
    EXPECT_EQ(tie.Check().nodes, 3);
    EXPECT_EQ(tie.tree.ObjectCount(), 12);
    EXPECT_EQ(tie.tree.Child(2)->ObjectCount(), 6);
    EXPECT_EQ(tie.tree.Child(3)->ObjectCount(), 6);
    EXPECT_EQ(cube.Check().nodes, 9);
    flat.Check();
    EXPECT_EQ(flat.tree.Child(0)->ObjectCount(), 12);
    EXPECT_EQ(flat.tree.Child(4)->ObjectCount(), 12);
    EXPECT_DEATH(world.tree.DoSplit(), "Octree\\.cpp.*void Octree::DoSplit\\(\\).*!m_issplit");
#ifdef NDEBUG
    ADD_FAILURE() << "assertions are part of the program";
#endif
}

TEST(Octree, ObjectsAtOnePlaceStayInTheirNode) {
    World numbers;
    for (int trial = 0; trial < 300; ++trial) {
        World world;
        const vec3 place = numbers.Place();
        const float radius = numbers.Uniform(0, 1);
        for (int i = 0; i < 24 + trial % 40; ++i)
            world.Add(place, radius);
        for (int walk = 0; walk < 3; ++walk)
            EXPECT_EQ(world.Check().nodes, 1);
        EXPECT_TRUE(world.tree.IsSplit());
    }
}

TEST(Octree, RemovingTheLastObjectPrunesUpToTheRoot) {
    World world;
    for (int i = 0; i < 24; ++i)
        world.Add({}, 1);
    world.Check();  // split, nobody moves down
    std::vector<Object*> deep;
    for (int i = 0; i < 25; ++i)
        deep.push_back(world.Add(i < 24 ? vec3{50, 50, 50} : vec3{60, 60, 60}, 1));
    ASSERT_EQ(world.Check().nodes, 4);
    for (Object* object : deep)
        EXPECT_TRUE(object->octreeLink->Remove(object));
    EXPECT_EQ(world.tree.Child(0), nullptr);
    EXPECT_FALSE(world.tree.IsSplit());
    EXPECT_EQ(world.tree.ObjectCount(), 24);
}

TEST(Octree, ReportsObjectsThatAreNotWhereTheyShouldBe) {
    World world;
    for (int i = 0; i < 24; ++i)
        world.Add(i % 2 == 0 ? vec3{} : vec3{10, 10, 10}, 1);
    world.Check();
    Object* strayed = world.objects[0].get();
    Octree* home = strayed->octreeLink;
    Octree* other = world.objects[1]->octreeLink;
    ASSERT_NE(home, other);
    const std::string warning =
        " tried to remove node " + Address(strayed) + " which it doesn't contain\n";
    EXPECT_EQ(CaptureStderr([&] { EXPECT_FALSE(other->Remove(strayed)); }),
              "Warning: octree " + Address(other) + warning + "Parent says it should be in " +
                  Address(home) + "\nTrying parent\nWarning: octree " + Address(&world.tree) +
                  warning);
    EXPECT_TRUE(home->Remove(strayed));
}

TEST(Octree, SurvivesHugeValues) {
    World world;
    const float inf = std::numeric_limits<float>::infinity();
    const float big = std::numeric_limits<float>::max();
    for (int i = 0; i < 200; ++i) {
        world.Add({i % 3 == 0 ? big : -big, i % 5 == 0 ? big : 1, big * world.Uniform(-1, 1)},
                  i % 7 == 0 ? inf : (i % 2 == 0 ? big : 1));
    }
    for (int walk = 0; walk < 20; ++walk)
        world.Check();
    while (!world.objects.empty())
        world.RemoveAny();
}
