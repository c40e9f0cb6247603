#include <lintrix/engine/call/settings.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

using namespace Velmar::Lintrix::detail::engine;
using Velmar::Lintrix::PardisoParameters;

namespace {

constexpr int kMost = std::numeric_limits<int>::max(), kLeast = std::numeric_limits<int>::min();

TEST(CallThreads, OfALargeMatrixAreAllThereAre)
{
    EXPECT_EQ(callThreads(4, true, 200), 4);
    EXPECT_EQ(callThreads(4, false, 200), 4);
    EXPECT_EQ(callThreads(1, true, 50), 1);
}

TEST(CallThreads, OfASmallMatrixFollowItsOrderWhenTheFlagIsOn)
{
    EXPECT_EQ(callThreads(4, true, 199), 3);
    EXPECT_EQ(callThreads(8, true, 100), 2);
    EXPECT_EQ(callThreads(8, true, 99), 1);
    EXPECT_EQ(callThreads(8, true, 49), 1);
    EXPECT_EQ(callThreads(4, false, 199), 4);
    EXPECT_EQ(callThreads(4, false, 1), 4);
}

TEST(CallThreads, AreOneForAnOrderThatIsNone)
{
    EXPECT_EQ(callThreads(4, true, 0), 1);
    EXPECT_EQ(callThreads(4, true, kLeast), 1);
    EXPECT_EQ(callThreads(kMost, true, kMost), kMost / 50);
}

TEST(IterationSetting, SplitsIntoKindAndTolerance)
{
    const IterationSetting cgs = splitIterationSetting(61);
    EXPECT_EQ(cgs.kind, 1);
    EXPECT_EQ(cgs.tolerance, std::exp(6 * -2.302585092994046));
    const IterationSetting first = splitIterationSetting(-82);
    EXPECT_EQ(first.kind, -2);
    EXPECT_EQ(first.tolerance, std::exp(8 * -2.302585092994046));
}

TEST(IterationSetting, HasTheDefaultToleranceWhenNoneIsAskedFor)
{
    for (const int parameter : {2, 0, -1}) {
        EXPECT_EQ(splitIterationSetting(parameter).kind, parameter);
        EXPECT_EQ(splitIterationSetting(parameter).tolerance, 1e-12);
    }
}

TEST(IterationSetting, TakesAnyInteger)
{
    EXPECT_EQ(splitIterationSetting(kLeast).kind, -8);
    EXPECT_EQ(splitIterationSetting(kLeast).tolerance, 0.);
    EXPECT_EQ(splitIterationSetting(kMost).kind, 7);
}

TEST(PanelWidth, FollowsTheTable)
{
    struct Row {
        int mtype, processorClass, threads, n, width;
    };
    const Row table[] = {
        {11, 0, 1, 100, 128},   {11, 4, 2, 100, 96},    {13, 0, 4, 100, 96},    {1, 0, 5, 100, 72},
        {3, 3, 64, 300000, 72}, {2, 0, 1, 100, 80},     {2, 0, 4, 300000, 80},  {-2, 0, 5, 300000, 64},
        {-2, 1, 1, 100, 128},   {6, 3, 1, 300000, 128}, {4, 3, 2, 250001, 112}, {-4, 3, 4, 250001, 112},
        {-2, 3, 5, 250001, 96}, {2, 3, 2, 250000, 80},  {2, 3, 4, 250000, 80},  {2, 3, 5, 250000, 64},
    };
    for (const Row& row : table) {
        EXPECT_EQ(panelWidth({row.threads, row.n, row.mtype, row.processorClass, 0}), row.width)
            << row.mtype << ' ' << row.processorClass << ' ' << row.threads << ' ' << row.n;
    }
}

TEST(PanelWidth, IsWideForLargeMatricesThatMayLeaveTheCore)
{
    for (const int outOfCore : {1, 2, -1}) {
        EXPECT_EQ(panelWidth({1, 1000001, 11, 0, outOfCore}), 192);
        EXPECT_EQ(panelWidth({8, 1000001, 2, 3, outOfCore}), 192);
        EXPECT_EQ(panelWidth({1, 1000000, 11, 0, outOfCore}), 128);
    }
}

TEST(PartTarget, IsThePowerOfTwoNotBelowTheThreads)
{
    EXPECT_EQ(partTarget(1, 1000, 0, false, false), 1);
    EXPECT_EQ(partTarget(2, 1000, 0, false, true), 2);
    EXPECT_EQ(partTarget(3, 1000, 0, false, true), 4);
    EXPECT_EQ(partTarget(8, 1000, 0, false, true), 8);
}

TEST(PartTarget, IsAtLeastWhatTheExponentAsksFor)
{
    EXPECT_EQ(partTarget(2, 1000, 4, false, true), 16);
    EXPECT_EQ(partTarget(2, 1000, -5, false, true), 2);
    EXPECT_EQ(partTarget(2, 1000, 99, false, true), 512);
}

TEST(PartTarget, OutOfCoreIsAtLeast32UnlessTheTwoLevelFormIsOn)
{
    EXPECT_EQ(partTarget(2, 1000, 0, true, false), 32);
    EXPECT_EQ(partTarget(2, 1000, 0, true, true), 2);
}

TEST(PartTarget, OfOrderTwoIsOne)
{
    EXPECT_EQ(partTarget(1, 2, 0, false, false), 1);
    EXPECT_EQ(partTarget(8, 2, 0, false, false), 1);
    EXPECT_EQ(partTarget(8, 1, 0, false, false), 1);
    EXPECT_EQ(partTarget(8, 3, 0, false, false), 2);
}

TEST(PartTarget, TakesAnyInteger)
{
    EXPECT_EQ(partTarget(kMost, kMost, kMost, false, false), 1 << 30);
}

TEST(TwoLevel, NeedsTypeElevenThreadsAndDissection)
{
    EXPECT_TRUE(twoLevelAllowed(11, 2, 2, 0));
    EXPECT_TRUE(twoLevelAllowed(11, 2, 3, 1));
    EXPECT_FALSE(twoLevelAllowed(11, 2, 2, 2));
    EXPECT_FALSE(twoLevelAllowed(11, 1, 2, 0));
    EXPECT_FALSE(twoLevelAllowed(11, 2, 0, 0));
    EXPECT_FALSE(twoLevelAllowed(11, 2, 1, 0));
    for (const int mtype : {1, 2, 3, 4, 6, 13, -2, -4})
        EXPECT_FALSE(twoLevelAllowed(mtype, 2, 2, 0)) << mtype;
}

class Settings : public ::testing::Test {
protected:
    Arguments call()
    {
        return {nullptr, 1,       1,       11,      Phase(11), 1000,
                nullptr, nullptr, nullptr, nullptr, 1,         Parameters(iparm.data()),
                level,   nullptr, nullptr};
    }

    std::array<int, PardisoParameters::kSlots> iparm{};
    int level = 0;
    ControlBlock control{};
};

TEST_F(Settings, OfAnAnalysisStartFromTheConstants)
{
    resetConstants(control);
    EXPECT_EQ(control[Real::Tolerance], 1e-12);
    EXPECT_EQ(control[Real::Tiny], 1e-30);
    EXPECT_EQ(control[Real::Divergence], 10000.);
    EXPECT_EQ(control[Real::Ten], 10.);
    EXPECT_EQ(control[Real::One], 1.);
    EXPECT_EQ(control[Word::MinimumDegreeDelta], 6);
}

TEST_F(Settings, SplitTheIterationParameterOnlyWhenTheFirstParameterIsOne)
{
    resetConstants(control);
    iparm[3] = 61;
    for (const int first : {0, 2, -1}) {
        iparm[0] = first;
        deriveCallSettings(call(), control);
        EXPECT_EQ(control[Word::IterationKind], 0);
        EXPECT_EQ(control[Real::Tolerance], 1e-12);
    }
    iparm[0] = 1;
    deriveCallSettings(call(), control);
    EXPECT_EQ(control[Word::IterationKind], 1);
    EXPECT_EQ(control[Real::Tolerance], std::exp(6 * -2.302585092994046));
}

TEST_F(Settings, RaiseTheThreadsToOneAndFlagAnyReport)
{
    level = -7;
    deriveCallSettings(call(), control);
    EXPECT_EQ(control[Word::Threads], 1);
    EXPECT_EQ(control[Word::ReportFlag], 1);
    level = 0;
    iparm[2] = 3;
    deriveCallSettings(call(), control);
    EXPECT_EQ(control[Word::Threads], 3);
    EXPECT_EQ(control[Word::ReportFlag], 0);
}

TEST_F(Settings, OfAnAnalysisFollowTheType)
{
    iparm[0] = 1;
    iparm[1] = 2;
    iparm[2] = 2;
    deriveCallSettings(call(), control);
    deriveAnalysisSettings(call(), control);
    EXPECT_EQ(control[Word::TwoLevel], 1);
    EXPECT_EQ(control[Word::SymmetricStorage], 0);
    EXPECT_EQ(control[Word::ElementWidth], 1);
    EXPECT_EQ(control[Word::PanelWidth], 96);
    EXPECT_EQ(control[Word::PartTarget], 2);
}

} // namespace
