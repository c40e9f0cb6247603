#include <lintrix/engine/analysis/matching/distance_heap.h>

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using detail::engine::DistanceHeap;

struct Heap {
    explicit Heap(int n) : items(static_cast<std::size_t>(n)), placeOf(static_cast<std::size_t>(n)) {}

    std::vector<DistanceHeap::Item> items;
    std::vector<int> placeOf;
    DistanceHeap heap{items, placeOf};
};

// Beside a map that does the same: vertices come in, come nearer and leave, the nearest first.
TEST(DistanceHeap, GivesTheNearestVertexThroughManyChanges)
{
    const int n = 60;
    Heap own(n);
    std::map<int, double> reference;
    std::mt19937 random(3);
    std::uniform_real_distribution<double> distance(0.0, 1.0);
    for (int step = 0; step < 20000; ++step) {
        const int vertex = static_cast<int>(random() % n);
        ASSERT_EQ(own.heap.contains(vertex), reference.count(vertex) == 1);
        if (random() % 3 == 0 && !reference.empty()) {
            const int nearest = own.heap.nearest();
            for (const auto& [other, d] : reference) ASSERT_LE(reference.at(nearest), d) << other;
            own.heap.removeNearest();
            reference.erase(nearest);
        } else if (reference.count(vertex) == 0) {
            reference[vertex] = distance(random);
            own.heap.insert(vertex, reference[vertex]);
        } else {
            reference[vertex] *= distance(random);
            own.heap.raise(vertex, reference[vertex]);
        }
        ASSERT_EQ(own.heap.empty(), reference.empty());
    }
}

TEST(DistanceHeap, IsEmptyAfterClear)
{
    Heap own(5);
    for (int i = 0; i < 5; ++i) own.heap.insert(i, 5.0 - i);
    own.heap.clear();
    EXPECT_TRUE(own.heap.empty());
    for (int i = 0; i < 5; ++i) EXPECT_FALSE(own.heap.contains(i));
    own.heap.insert(3, 1.0);
    EXPECT_EQ(own.heap.nearest(), 3);
}

} // namespace
} // namespace Velmar::Lintrix::testing
