// What is pushed stays as it is until it is popped, and memory serves again.

#include <lintrix/systems/multifrontal/cell_stack.h>

#include <lintrix/foundation/failures.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using detail::multifrontal::CellStack;

TEST(CellStack, KeepsWhatWasPushedInAnyOrderOfSizes)
{
    std::mt19937 random(3);
    std::uniform_int_distribution<std::int64_t> size(1, 90000);
    CellStack<double> stack;
    stack.reserve(100000);
    std::vector<std::pair<double*, std::int64_t>> held;
    std::int64_t cells = 0, most = 0;
    for (int step = 0; step < 400; ++step) {
        if (held.empty() || random() % 2 == 0) {
            const std::int64_t count = size(random);
            held.emplace_back(stack.push(count), count);
            std::fill_n(held.back().first, count, static_cast<double>(held.size()));
            cells += count;
        } else {
            const auto [begin, count] = held.back();
            ASSERT_TRUE(std::all_of(begin, begin + count,
                                    [&](double x) { return x == static_cast<double>(held.size()); }));
            held.pop_back();
            stack.pop(count);
            cells -= count;
        }
        most = std::max(most, cells);
        ASSERT_EQ(stack.held(), cells);
        ASSERT_EQ(stack.most(), most);
    }
}

TEST(CellStack, MemoryServesAgain)
{
    CellStack<double> stack;
    stack.reserve(5000000);
    const double* const first = stack.push(1000000);
    stack.push(3000000);
    stack.pop(4000000);
    EXPECT_EQ(stack.push(4000000), first);
}

TEST(CellStack, WhatHasNoRoomLeavesTheRest)
{
    CellStack<double> stack;
    double* const first = stack.push(10);
    first[9] = 7.0;
    EXPECT_THROW(stack.push(std::int64_t{1} << 58), NotEnoughMemoryException);
    EXPECT_EQ(stack.held(), 10);
    EXPECT_EQ(stack.push(10), first + 10);
    EXPECT_EQ(first[9], 7.0);
}

} // namespace
} // namespace Velmar::Lintrix::testing
