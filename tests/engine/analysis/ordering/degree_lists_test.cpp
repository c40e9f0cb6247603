#include <lintrix/engine/analysis/ordering/degree_lists.h>

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

TEST(DegreeLists, WhatCameLastStandsFirstOfTheLowestDegree)
{
    DegreeLists lists;
    ASSERT_FALSE(lists.allocate(5));
    EXPECT_EQ(lists.firstUpTo(4), DegreeLists::kNone);
    lists.insert(3, 2);
    lists.insert(1, 2);
    lists.insert(0, 4);
    EXPECT_EQ(lists.firstUpTo(1), DegreeLists::kNone);
    EXPECT_EQ(lists.firstUpTo(4), 1);
    EXPECT_EQ(lists.lowest(), 2);
    lists.remove(1);
    EXPECT_EQ(lists.firstUpTo(4), 3);
    lists.remove(3);
    EXPECT_EQ(lists.firstUpTo(4), 0);
    EXPECT_EQ(lists.lowest(), 4);
}

TEST(DegreeLists, WhatIsOutsideStaysThereWhenItIsRemoved)
{
    DegreeLists lists;
    ASSERT_FALSE(lists.allocate(3));
    lists.insert(0, 1);
    lists.insert(1, 1);
    lists.remove(2);
    lists.remove(1);
    lists.remove(1);
    EXPECT_FALSE(lists.contains(1));
    EXPECT_FALSE(lists.contains(2));
    EXPECT_TRUE(lists.contains(0));
    EXPECT_EQ(lists.firstUpTo(2), 0);
}

TEST(DegreeLists, AgreeWithStacks)
{
    constexpr int n = 20;
    DegreeLists lists;
    ASSERT_FALSE(lists.allocate(n));
    std::map<int, std::vector<int>> stacks; // by degree, the first at the back
    std::mt19937 random(1);
    for (int step = 0; step < 5000; ++step) {
        const int v = static_cast<int>(random() % n), degree = static_cast<int>(random() % n);
        if (lists.contains(v)) {
            lists.remove(v);
            for (auto& [key, stack] : stacks) std::erase(stack, v);
        } else {
            lists.insert(v, degree);
            stacks[degree].push_back(v);
        }
        std::erase_if(stacks, [](const auto& entry) { return entry.second.empty(); });
        const int expected = stacks.empty() ? DegreeLists::kNone : stacks.begin()->second.back();
        ASSERT_EQ(lists.firstUpTo(n - 1), expected);
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
