#include <lintrix/engine/analysis/ordering/given_ordering.h>

#include "tests/engine/analysis/symbolic/symbolic_reference.h"

#include <gtest/gtest.h>

#include <climits>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

TEST(GivenOrdering, ElementKNamesTheEquationEliminatedInPlaceK)
{
    OwnedOrdering ordering{std::vector<int>(3), std::vector<int>(3)};
    ASSERT_FALSE(takeOrdering(std::vector<int>{3, 1, 2}, ordering.view()));
    EXPECT_EQ(ordering.vertexAt, (std::vector<int>{2, 0, 1}));
    EXPECT_EQ(ordering.positionOf, (std::vector<int>{1, 2, 0}));
}

TEST(GivenOrdering, WhatIsHandedOutCanBeTakenBack)
{
    for (const int n : {0, 1, 2, 50}) {
        auto ordering = randomOrdering(n, 5);
        std::vector<int> perm(static_cast<std::size_t>(n));
        copyOrdering(ordering.view(), perm);
        OwnedOrdering taken{std::vector<int>(perm.size()), std::vector<int>(perm.size())};
        ASSERT_FALSE(takeOrdering(perm, taken.view()));
        EXPECT_EQ(taken.vertexAt, ordering.vertexAt);
        EXPECT_EQ(taken.positionOf, ordering.positionOf);
    }
}

TEST(GivenOrdering, InconsistentPermutationIsAReorderingFailure)
{
    const std::vector<std::vector<int>> inconsistent{{0, 1, 2},       {1, 2, 4},       {1, 2, 2}, {-1, 1, 2},
                                                     {1, INT_MIN, 2}, {1, 2, INT_MAX}, {0, 0, 0}};
    for (const auto& perm : inconsistent) {
        // Guards around both arrays: nothing may be written beside them.
        std::vector<int> positionOf(5, -7), vertexAt(5, -7);
        const Ordering inner{std::span(positionOf).subspan(1, 3), std::span(vertexAt).subspan(1, 3)};
        const Failure failure = takeOrdering(perm, inner);
        EXPECT_EQ(failure.error, Error::Reordering);
        EXPECT_EQ(failure.internal, kInconsistentPermutation);
        for (const auto* array : {&positionOf, &vertexAt}) {
            EXPECT_EQ(array->front(), -7);
            EXPECT_EQ(array->back(), -7);
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
