#include "tests/engine/engine_call.h"
#include "tests/support/failing_allocator.h"

#include <lintrix/engine/solve_handle.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <random>
#include <thread>
#include <vector>

using namespace Velmar::Lintrix;
using Velmar::Lintrix::testing::diagonal;
using Velmar::Lintrix::testing::EngineCall;
using Velmar::Lintrix::testing::FailingAllocator;
using Velmar::Lintrix::testing::gridMatrix;
using Velmar::Lintrix::testing::tridiagonal;

namespace {

constexpr std::array kTypes{1, 2, -2, 3, 4, -4, 6, 11, 13};

/// One more solver of the system of a call, with right-hand sides of its own.
class Guest {
public:
    Guest(EngineCall& host, unsigned seed) : host_(host), handle_(host.pt.data()), b(host.b.size())
    {
        std::copy(host.allParameters().begin(), host.allParameters().end(), iparm_.begin());
        std::mt19937 random(seed);
        std::uniform_real_distribution<double> uniform(-1., 1.);
        for (double& value : b) value = uniform(random);
        x.assign(b.size(), 0.);
    }
    bool isReady() const { return handle_.IsReady(); }
    int run(int phase)
    {
        int error = 4711;
        const int unused = 0;
        pardiso(handle_.Slots(), host_.maxfct, host_.mnum, host_.mtype, phase, host_.n, host_.A.a.data(),
                host_.A.ia.data(), host_.A.ja.data(), host_.perm.data(), host_.nrhs, iparm_.data(), unused,
                b.data(), x.data(), error);
        return error;
    }
    void set(int k, int value) { iparm_[static_cast<std::size_t>(k) - 1] = value; }

private:
    EngineCall& host_;
    SolveHandle handle_;
    std::array<int, 64> iparm_{};

public:
    std::vector<double> b, x;
};

/// What the handle of the factors itself answers.
std::vector<double> solutionByHost(EngineCall& host, const std::vector<double>& b)
{
    host.b = b;
    EXPECT_EQ(host.run(33), 0);
    return host.x;
}

class SolveHandleOfTypes : public ::testing::TestWithParam<int> {};

TEST_P(SolveHandleOfTypes, SolvesToTheBitLikeItsHost)
{
    for (const int refinement : {0, 2, -2}) {
        EngineCall host(gridMatrix(GetParam(), 12, 7), GetParam());
        host.set(8, refinement);
        host.nrhs = 2;
        ASSERT_EQ(host.run(12), 0);
        Guest guest(host, 3);
        ASSERT_TRUE(guest.isReady());
        ASSERT_EQ(guest.run(33), 0);
        EXPECT_EQ(guest.x, solutionByHost(host, guest.b));
        ASSERT_EQ(guest.run(331), 0);
        ASSERT_EQ(host.run(331), 0);
        EXPECT_EQ(guest.x, host.x);
    }
}

TEST_P(SolveHandleOfTypes, ServesManyThreadsAtOnce)
{
    constexpr int kThreads = 4, kSolves = 40;
    EngineCall host(gridMatrix(GetParam(), 20, 5), GetParam());
    host.set(8, 1);
    ASSERT_EQ(host.run(12), 0);
    std::vector<std::vector<double>> b(kThreads), x(kThreads);
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&host, &b, &x, t] {
                Guest guest(host, 100 + static_cast<unsigned>(t));
                for (int k = 0; k < kSolves; ++k) EXPECT_EQ(guest.run(33), 0);
                b[static_cast<std::size_t>(t)] = guest.b;
                x[static_cast<std::size_t>(t)] = guest.x;
            });
    }
    for (std::size_t t = 0; t < kThreads; ++t) EXPECT_EQ(x[t], solutionByHost(host, b[t])) << t;
}

INSTANTIATE_TEST_SUITE_P(Types, SolveHandleOfTypes, ::testing::ValuesIn(kTypes));

TEST(SolveHandle, OfAnIterationLeavesItsHostAsItWas)
{
    EngineCall host(gridMatrix(11, 12, 7), 11);
    host.set(4, 61);
    ASSERT_EQ(host.run(12), 0);
    Guest guest(host, 3);
    ASSERT_EQ(guest.run(33), 0);
    EXPECT_EQ(guest.x, solutionByHost(host, guest.b));
}

TEST(SolveHandle, RefusesWhatIsNotASolveWithAFactor)
{
    EngineCall host(gridMatrix(11, 6, 7), 11);
    host.maxfct = 2;
    ASSERT_EQ(host.run(12), 0);
    Guest guest(host, 3);
    for (const int phase : {11, 12, 13, 22, 23, 0, -1}) EXPECT_EQ(guest.run(phase), -1) << phase;
    host.mnum = 2; // a solve would make this factor
    EXPECT_EQ(guest.run(33), -1);
    host.mnum = 1;
    ASSERT_EQ(guest.run(33), 0);
    EXPECT_EQ(guest.x, solutionByHost(host, guest.b));
}

TEST(SolveHandle, OfAHandleThatCannotBeSharedIsNotReady)
{
    EngineCall host(tridiagonal(4));
    EXPECT_FALSE(Guest(host, 1).isReady());
    EXPECT_EQ(Guest(host, 1).run(33), -1);
    EXPECT_EQ(host.run(33), -1); // leaves the basic blocks
    EXPECT_FALSE(Guest(host, 1).isReady());
    ASSERT_EQ(host.run(11), 0);
    EXPECT_TRUE(Guest(host, 1).isReady());
    EXPECT_EQ(Guest(host, 1).run(33), -1);
}

TEST(SolveHandle, ADiagonalMatrixIsSolvedWithoutOne)
{
    EngineCall host(diagonal({2., 4.}));
    ASSERT_EQ(host.run(12), 0);
    Guest guest(host, 1);
    EXPECT_FALSE(guest.isReady());
    ASSERT_EQ(guest.run(33), 0);
    EXPECT_EQ(guest.x, solutionByHost(host, guest.b));
}

TEST(SolveHandle, WithoutMemoryIsNotReadyOrTellsItAndCanGoOn)
{
    EngineCall host(gridMatrix(2, 12, 7), 2);
    host.set(8, 2);
    ASSERT_EQ(host.run(12), 0);
    bool refused = true;
    for (int k = 0; refused; ++k) {
        std::optional<Guest> guest;
        int error = 0;
        {
            const FailingAllocator memory(k);
            guest.emplace(host, 3);
            if (guest->isReady()) error = guest->run(33);
            refused = memory.hasFailed();
        }
        if (!guest->isReady()) continue;
        EXPECT_EQ(error, refused ? -2 : 0);
        ASSERT_EQ(guest->run(33), 0);
        EXPECT_EQ(guest->x, solutionByHost(host, guest->b));
    }
}

} // namespace
