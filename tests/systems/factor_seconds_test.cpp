// Seconds that are foreseen: what they follow. How good they are, no test asks, since it would ask the
// machine.

#include <lintrix/lintrix.h>

#include <tests/support/thread_setting.h>
#include <tests/systems/grids.h>

#include <gtest/gtest.h>

namespace Velmar::Lintrix::testing {
namespace {

TEST(FactorSeconds, GoByOperationsAndBytes)
{
    const ThreadSetting one(1, 0);
    const FactorSeconds some = SecondsFor({1e9, 1e8}), twice = SecondsFor({2e9, 2e8});
    EXPECT_GT(some.factorize, 0.0);
    EXPECT_GT(some.solve, 0.0);
    EXPECT_DOUBLE_EQ(twice.factorize, 2.0 * some.factorize);
    EXPECT_DOUBLE_EQ(twice.solve, 2.0 * some.solve);
    EXPECT_GT(SecondsFor({2e9, 1e8}).factorize, some.factorize);
    EXPECT_EQ(SecondsFor({2e9, 1e8}).solve, some.solve);
    EXPECT_EQ(SecondsFor({}).factorize, 0.0);
}

TEST(FactorSeconds, AreFewerWithMoreThreads)
{
    const auto seconds = [](int threads) {
        const ThreadSetting setting(threads, 0);
        return SecondsFor({1e9, 1e8}).factorize;
    };
    EXPECT_LT(seconds(2), seconds(1));
    EXPECT_GT(seconds(2), 0.5 * seconds(1));
}

TEST(FactorSeconds, StandInTheForecast)
{
    const SystemForecast small = LinearSystem(grid<double>(20, GridKind::Positive)).Forecast(),
                         large = LinearSystem(grid<double>(40, GridKind::Positive)).Forecast();
    EXPECT_GT(small.seconds.factorize, 0.0);
    EXPECT_GT(large.seconds.factorize, small.seconds.factorize);
    EXPECT_GT(large.seconds.solve, small.seconds.solve);
    EXPECT_GT(LinearSystem(strip<double>(200, 100)).Forecast().seconds.factorize, 0.0);
    EXPECT_GT(LinearSystem(spread<Matrix>(30, 30)).Forecast().seconds.factorize, 0.0);
}

} // namespace
} // namespace Velmar::Lintrix::testing
