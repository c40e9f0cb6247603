// Work with a factor in files that is ended from outside: wherever that happens, each thread comes back, the
// call says so, and the handle serves again.

#include "tests/engine/allowance.h"
#include "tests/engine/out_of_core/out_of_core_system.h"

#include <lintrix/services/work.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <tuple>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

/// By type and threads.
class OutOfCoreStops : public ::testing::TestWithParam<std::tuple<int, int>> {
protected:
    static constexpr int kSide = 20, kSides = 9, kStops = 12;

    OutOfCoreStops()
        : threads_(std::get<1>(GetParam())),
          system_(kSide, std::get<0>(GetParam()), leastCore(kSide, std::get<0>(GetParam()), kSides), 2)
    {
        system_.setRightSides(kSides);
        EXPECT_EQ(system_.call.run(13), 0);
        EXPECT_EQ(system_.call.iparm(57), 1);
    }

    /// How often an undisturbed phase asks; the portions of two threads differ from time to time.
    int questionsOf(int phase)
    {
        Allowance endless(std::numeric_limits<int>::max());
        const detail::WorkScope scope(endless);
        EXPECT_EQ(system_.call.run(phase), 0);
        return endless.asked();
    }

    void expectStopsAllAlong(int phase)
    {
        const int all = questionsOf(phase);
        ASSERT_GE(all, 2 * kStops);
        for (int stop = 0; stop < kStops; ++stop) {
            Allowance some(static_cast<int>(std::int64_t{all} * 3 / 4 * stop / kStops));
            {
                const detail::WorkScope scope(some);
                EXPECT_EQ(system_.call.run(phase), -4) << stop;
            }
            const std::vector<double> b = system_.call.b;
            ASSERT_EQ(system_.call.run(phase == 33 ? 33 : 23), 0) << stop;
            EXPECT_LT(residualOf(system_.call, b), kSolved) << stop;
        }
    }

    ThreadSetting threads_;
    OutOfCoreSystem system_;
};

TEST_P(OutOfCoreStops, OfAFactorizationAreFailuresAndTheHandleServesAgain)
{
    expectStopsAllAlong(22);
}

TEST_P(OutOfCoreStops, OfASolveAreFailuresAndTheFactorServesAgain)
{
    expectStopsAllAlong(33);
}

INSTANTIATE_TEST_SUITE_P(Types, OutOfCoreStops,
                         ::testing::Combine(::testing::Values(2, -2, 11, 13), ::testing::Values(1, 2)));

} // namespace
} // namespace Velmar::Lintrix::testing
