#pragma once
/// @file
/// What holds of every order with its ranges.

#include <lintrix/engine/analysis/ordering/nested_dissection.h>

#include "tests/engine/analysis/symbolic/symbolic_reference.h"

#include <gtest/gtest.h>

namespace Velmar::Lintrix::testing {

using detail::engine::Failure;
using detail::engine::SubgraphList;

/// An order, its list and the room of the list.
struct Dissection {
    OwnedOrdering ordering;
    std::vector<PositionRange> room;
    SubgraphList list;
    Failure failure;
};

inline Dissection dissected(const Graph& graph, int parts, std::size_t ranges = 512)
{
    const auto n = static_cast<std::size_t>(graph.vertices());
    Dissection result{{std::vector<int>(n, -7), std::vector<int>(n, -7)}, {}, {}, {}};
    result.room.assign(ranges, {-7, -7});
    result.list.room = result.room;
    result.failure = nestedDissection(graph, parts, result.ordering.view(), result.list);
    return result;
}

inline void expectPermutation(const OwnedOrdering& ordering)
{
    std::vector<int> seen(ordering.vertexAt.size(), 0);
    for (std::size_t v = 0; v < seen.size(); ++v) {
        const auto position = static_cast<std::size_t>(ordering.positionOf[v]);
        ASSERT_LT(position, seen.size());
        ASSERT_EQ(ordering.vertexAt[position], static_cast<int>(v));
    }
}

/// The range of each position; every position must lie in exactly one.
inline std::vector<int> rangeOfEachPosition(const SubgraphList& list, int n)
{
    std::vector<int> rangeOf(static_cast<std::size_t>(n), -1);
    int next = 0;
    for (int r = 0; r < list.count; ++r) {
        const auto [first, last] = list.ranges()[static_cast<std::size_t>(r)];
        EXPECT_EQ(first, next);
        if (last == detail::engine::kEmptyEnd) continue;
        for (int k = first; k <= last; ++k) rangeOf[static_cast<std::size_t>(k)] = r;
        next = last + 1;
    }
    EXPECT_EQ(next, n);
    return rangeOf;
}

/// Place c of the heap of cuts is range count - 1 - c; an edge joins a range with itself and with those
/// above.
inline bool mayBeJoined(int a, int b, int count)
{
    int low = count - 1 - std::min(a, b);
    const int high = count - 1 - std::max(a, b);
    while (low > high) low = (low - 1) / 2;
    return low == high;
}

inline void expectIndependentParts(const Graph& graph, const Dissection& result)
{
    const auto rangeOf = rangeOfEachPosition(result.list, graph.vertices());
    const auto rangeOfVertex = [&](int v) {
        return rangeOf[static_cast<std::size_t>(result.ordering.positionOf[static_cast<std::size_t>(v)])];
    };
    for (int v = 0; v < graph.vertices(); ++v) {
        for (const int u : graph.of(v)) {
            const int a = rangeOfVertex(v), b = rangeOfVertex(u);
            if (a != b) {
                ASSERT_FALSE(a < result.list.independent && b < result.list.independent);
            }
            ASSERT_TRUE(mayBeJoined(a, b, result.list.count)) << "ranges " << a << " and " << b;
        }
    }
}

inline void expectSound(const Graph& graph, const Dissection& result)
{
    ASSERT_FALSE(result.failure);
    ASSERT_NO_FATAL_FAILURE(expectPermutation(result.ordering));
    expectIndependentParts(graph, result);
}

} // namespace Velmar::Lintrix::testing
