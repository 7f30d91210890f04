// The octree against its slow twin: all objects in a list, bounds by union, search by looking at
// every one.
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

Box BoxOf(const Object& object) {
    const vec3 r{object.radius, object.radius, object.radius};
    return {object.pos - r, object.pos + r};
}

bool Overlap(const Box& a, const Box& b) {
    return a.min.x <= b.max.x && b.min.x <= a.max.x && a.min.y <= b.max.y && b.min.y <= a.max.y &&
           a.min.z <= b.max.z && b.min.z <= a.max.z;
}

Box Union(const Box& a, const Box& b) {
    return {{std::min(a.min.x, b.min.x), std::min(a.min.y, b.min.y), std::min(a.min.z, b.min.z)},
            {std::max(a.max.x, b.max.x), std::max(a.max.y, b.max.y), std::max(a.max.z, b.max.z)}};
}

// Walks as the renderer does, splitting on the way, and checks every node against its contents.
struct Walk {
    std::vector<Object*> found;  // objects in nodes that overlap the query
    int nodes = 0;
    int splitNodes = 0;

    // Returns the number of objects in and below the node.
    std::size_t Visit(Octree& node, const Box& query, Box& contents, bool root = true) {
        ++nodes;
        Box bounds;
        node.GetBounds(bounds.min, bounds.max, true);
        splitNodes += node.IsSplit() ? 1 : 0;
        std::vector<Object*> own;
        EXPECT_EQ(node.Objects(own), node.ObjectCount());
        std::size_t count = own.size();
        bool first = true;
        const auto add = [&](const Box& box) {
            contents = first ? box : Union(contents, box);
            first = false;
        };
        for (Object* object : own) {
            EXPECT_EQ(object->octreeLink, &node);
            EXPECT_EQ(node.FindNode(object), &node);
            add(BoxOf(*object));
            if (Overlap(bounds, query) && Overlap(BoxOf(*object), query)) found.push_back(object);
        }
        for (int i = 0; i < 8; ++i) {
            Octree* child = node.Child(i);
            if (child == nullptr) continue;
            Box below;
            count += Visit(*child, query, below, false);
            add(below);
        }
        EXPECT_TRUE(root || count > 0) << "an empty node was kept";
        EXPECT_EQ(bounds.min, contents.min);
        EXPECT_EQ(bounds.max, contents.max);
        return count;
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
    Object* Any() { return objects[m_engine() % objects.size()].get(); }
    void MoveAny() {
        Object* object = Any();
        const vec3 oldPosition = object->pos;
        const float oldRadius = object->radius;
        object->pos = Place();
        object->radius = Uniform(0, 4);
        EXPECT_TRUE(object->octreeLink->RemoveAt(object, oldPosition, oldRadius));
        tree.Insert(object);
    }
    void RemoveAny() {
        std::swap(objects[m_engine() % objects.size()], objects.back());
        Object* object = objects.back().get();
        EXPECT_TRUE(object->octreeLink->Remove(object));
        EXPECT_EQ(object->octreeLink, nullptr);
        objects.pop_back();
    }
    Walk Check(const Box& query) {
        Walk walk;
        Box contents;
        EXPECT_EQ(walk.Visit(tree, query, contents), objects.size());
        std::vector<Object*> expected;
        for (const auto& object : objects) {
            if (Overlap(BoxOf(*object), query)) expected.push_back(object.get());
        }
        std::sort(expected.begin(), expected.end());
        std::sort(walk.found.begin(), walk.found.end());
        EXPECT_EQ(walk.found, expected);
        return walk;
    }

private:
    std::mt19937 m_engine{7};
};

constexpr Box kAnywhere{{-1e9F, -1e9F, -1e9F}, {1e9F, 1e9F, 1e9F}};

}  // namespace

TEST(Octree, AgreesWithALinearSearchUnderRandomChanges) {
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
        const vec3 corner = world.Place();
        const Walk walk = world.Check({corner, corner + vec3{30, 30, 30}});
        splitNodes = std::max(splitNodes, walk.splitNodes);
    }
    EXPECT_GT(splitNodes, 20);
    while (!world.objects.empty())
        world.RemoveAny();
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(world.tree.Child(i), nullptr);
    EXPECT_FALSE(world.tree.IsSplit());
}

TEST(Octree, SplitsAtTheMeanUpperExtentAlongTheCheapestAxes) {
    World world;
    vec3 min;
    vec3 max{1, 1, 1};
    world.tree.GetBounds(min, max, true);
    EXPECT_EQ(max, vec3());
    // Along x two groups, along y half of the objects in the way, along z one.
    for (int i = 0; i < 23; ++i) {
        world.Add({i % 2 == 0 ? 0.0F : 10.0F, static_cast<float>(i) / 100, i == 0 ? 0.5F : 0}, 1);
    }
    EXPECT_EQ(world.Check(kAnywhere).nodes, 1);
    Object* right = world.Add({10, 0, 0}, 1);
    EXPECT_EQ(world.Check(kAnywhere).nodes, 3);
    EXPECT_EQ(world.tree.ObjectCount(), 0);
    EXPECT_EQ(right->octreeLink, world.tree.Child(0));
    EXPECT_EQ(world.tree.Child(1)->ObjectCount(), 12);
    // The split is at 6, the mean upper extent, not at 5.
    EXPECT_EQ(world.Add({5.5F, 0, 0}, 0.25F)->octreeLink, world.tree.Child(1));
    EXPECT_EQ(world.Add({6, 0, 0}, 0.25F)->octreeLink, &world.tree);
    // y cuts as few as z: it is divided beside x, though x alone cuts none.
    World tie;
    for (int i = 0; i < 24; ++i) {
        const float step = i < 12 ? 0 : 0.5F;
        tie.Add({i % 2 == 0 ? 0.0F : 10.0F, step, step}, 1);
    }
    EXPECT_EQ(tie.Check(kAnywhere).nodes, 3);
    EXPECT_EQ(tie.tree.ObjectCount(), 12);
    EXPECT_EQ(tie.tree.Child(2)->ObjectCount(), 6);
    EXPECT_EQ(tie.tree.Child(3)->ObjectCount(), 6);
    // z alone cuts none: x is not divided, though it cuts no more than y.
    World flat;
    for (int i = 0; i < 24; ++i) {
        const float step = i < 12 ? 0 : 0.5F;
        flat.Add({step, step, i % 2 == 0 ? 0.0F : 10.0F}, 1);
    }
    flat.Check(kAnywhere);
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
        const int count = 24 + trial % 40;
        for (int i = 0; i < count; ++i)
            world.Add(place, radius);
        for (int walk = 0; walk < 3; ++walk)
            EXPECT_EQ(world.Check(kAnywhere).nodes, 1);
        EXPECT_TRUE(world.tree.IsSplit());
        EXPECT_EQ(world.tree.ObjectCount(), count);
    }
}

TEST(Octree, RemovingTheLastObjectPrunesUpToTheRoot) {
    World world;
    for (int i = 0; i < 24; ++i)
        world.Add({}, 1);
    world.Check(kAnywhere);  // split, nobody moves down
    std::vector<Object*> deep;
    for (int i = 0; i < 24; ++i)
        deep.push_back(world.Add({50, 50, 50}, 1));
    world.Check(kAnywhere);
    deep.push_back(world.Add({60, 60, 60}, 1));
    ASSERT_EQ(world.Check(kAnywhere).nodes, 3);
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
    world.Check(kAnywhere);
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
    vec3 min;
    vec3 max;
    for (int walk = 0; walk < 20; ++walk) {
        Walk visitor;
        Box contents;
        EXPECT_EQ(visitor.Visit(world.tree, kAnywhere, contents), 200U);
    }
    while (!world.objects.empty())
        world.RemoveAny();
    world.tree.GetBounds(min, max, true);
}
