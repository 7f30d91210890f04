// The per-frame address set against the standard one.
#include "renderer/PointerSet.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <vector>

TEST(PointerSet, AgreesWithAnOrdinarySetThroughGrowthAndReuse) {
    const std::vector<int> things(3000);
    std::mt19937 random(3);
    PointerSet<int> set;
    for (const std::size_t range : {40U, 3000U, 40U, 40U, 300U}) {
        std::set<const int*> expected;
        for (int step = 0; step < 6000; ++step) {
            const int* thing = &things[random() % range];
            ASSERT_EQ(set.Insert(thing), expected.insert(thing).second);
            const int* other = &things[random() % range];
            ASSERT_EQ(set.Contains(other), expected.contains(other));
        }
        set.Clear();
        for (const int* thing : expected)
            ASSERT_FALSE(set.Contains(thing));
    }
    EXPECT_FALSE(set.Insert(nullptr) || set.Contains(nullptr));
}
