// What a factorization tells on its way, how it is stopped, and that its bits do not depend on who did what.

#include "tests/engine/analysis/symbolic/symbolic_reference.h"
#include "tests/engine/engine_call.h"
#include "tests/engine/progress_listener.h"

#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/call/progress.h>
#include <lintrix/engine/factorization/factor_plan.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail::engine;
using Velmar::Lintrix::testing::EngineCall;
using Velmar::Lintrix::testing::gridMatrix;
using Velmar::Lintrix::testing::Heard;
using Velmar::Lintrix::testing::Listener;
using Velmar::Lintrix::testing::ThreadSetting;
using Velmar::Lintrix::testing::tridiagonal;

namespace {

std::string bytes(EngineCall& call)
{
    const FactorEntry& entry = Handle(call.pt.data()).factors()[0];
    std::string all(static_cast<const char*>(entry.storage), static_cast<std::size_t>(entry.bytes));
    return all.append(reinterpret_cast<const char*>(entry.exchanges), 2 * sizeof(int) * std::size_t(call.n));
}

TEST(FactorProgress, RisesFromZeroToHundredUnderItsText)
{
    for (const int threads : {1, 2}) {
        const ThreadSetting setting(threads, 0);
        EngineCall call(gridMatrix(11, 20, 1));
        ASSERT_EQ(call.run(11), 0);
        Listener listener;
        {
            const ProgressScope scope(listener.callback());
            EXPECT_EQ(call.run(22), 0);
        }
        ASSERT_GE(listener.heard.size(), 3U);
        EXPECT_EQ(listener.heard.front().percent, 0);
        EXPECT_EQ(listener.heard.back().percent, 100);
        EXPECT_LE(listener.heard[listener.heard.size() - 2].percent, 99);
        for (std::size_t k = 0; k < listener.heard.size(); ++k) {
            const Heard& heard = listener.heard[k];
            EXPECT_EQ(heard.text, "Pardiso: factorization phase");
            EXPECT_GE(heard.thread, 0);
            EXPECT_LT(heard.thread, threads);
            if (k > 0) {
                EXPECT_GT(heard.percent, listener.heard[k - 1].percent);
            }
        }
        const std::size_t count = listener.heard.size();
        EXPECT_EQ(call.run(22), 0);
        EXPECT_EQ(listener.heard.size(), count) << "nobody listens any more";
    }
}

TEST(FactorProgress, ScopesNest)
{
    Listener outer, inner;
    EngineCall call(gridMatrix(11, 5, 1));
    const ProgressScope first(outer.callback());
    {
        const ProgressScope second(inner.callback());
        EXPECT_EQ(call.run(12), 0);
    }
    EXPECT_TRUE(outer.heard.empty());
    EXPECT_FALSE(inner.heard.empty());
    EXPECT_EQ(call.run(22), 0);
    EXPECT_FALSE(outer.heard.empty());
}

TEST(FactorProgress, AStopIsANumericFailureAndTheHandleServesAgain)
{
    for (const int threads : {1, 2, 4}) {
        const ThreadSetting setting(threads, 0);
        for (const int mtype : {11, 2, -2, 13}) {
            for (const int stop : {0, 1, 50, 99, 100}) {
                SCOPED_TRACE(::testing::Message() << threads << ' ' << mtype << ' ' << stop);
                EngineCall call(gridMatrix(mtype, 12, 2), mtype);
                ASSERT_EQ(call.run(11), 0);
                Listener listener;
                listener.stopFrom = stop;
                {
                    const ProgressScope scope(listener.callback());
                    EXPECT_EQ(call.run(22), -4);
                }
                EXPECT_EQ(call.iparm(30), -1);
                EXPECT_EQ(Handle(call.pt.data()).factors()[0].size, 777777777);
                EXPECT_EQ(call.run(22), 0);
            }
        }
    }
}

TEST(FactorProgress, AStopAtEachPercentageIsOne)
{
    for (const int threads : {1, 2}) {
        const ThreadSetting setting(threads, 0);
        EngineCall call(gridMatrix(11, 20, 7));
        ASSERT_EQ(call.run(13), 0);
        const std::vector<double> x = call.x;
        for (int stop = 0; stop <= 100; ++stop) {
            SCOPED_TRACE(stop);
            Listener listener;
            listener.stopFrom = stop;
            {
                const ProgressScope scope(listener.callback());
                EXPECT_EQ(call.run(23), -4);
            }
            EXPECT_GE(listener.heard.back().percent, stop);
            EXPECT_EQ(listener.heard.back().percent == 100, stop == 100) << "99 are the most on the way";
            EXPECT_EQ(call.iparm(30), -1);
            EXPECT_EQ(call.x, x) << "no solve follows";
        }
        EXPECT_EQ(call.run(23), 0);
        EXPECT_EQ(call.x, x);
    }
}

TEST(FactorProgress, CountsTheElementsOfL)
{
    const ThreadSetting setting(1, 0); // in order: after supernode J, all the panels up to J
    EngineCall call(gridMatrix(11, 20, 7));
    ASSERT_EQ(call.run(11), 0);
    const FactorPlan plan = planOf(Handle(call.pt.data()));
    std::vector<int> expected{0};
    for (int J = 0; J < plan.structure.supernodes(); ++J) {
        const std::int64_t done = plan.lowerStarts[std::size_t(J) + 1];
        const int percent = std::min(99, static_cast<int>(100 * done / plan.sizes.lower));
        if (percent > expected.back()) expected.push_back(percent);
    }
    expected.push_back(100);
    Listener listener;
    {
        const ProgressScope scope(listener.callback());
        ASSERT_EQ(call.run(22), 0);
    }
    std::vector<int> found;
    for (const Heard& heard : listener.heard) found.push_back(heard.percent);
    EXPECT_EQ(found, expected);
    EXPECT_GT(found.size(), 30U);
}

// Other threads may still be at work then.
TEST(FactorProgress, WhoHasStoppedItHearsNothingMore)
{
    int calls = 0;
    Progress progress({[](void* context, int, int percent) {
                           ++*static_cast<int*>(context);
                           return percent >= 20 ? 1 : 0;
                       },
                       &calls},
                      100);
    EXPECT_TRUE(progress.start());
    EXPECT_TRUE(progress.add(0, 10));
    EXPECT_TRUE(progress.add(0, 0)) << "no percentage is new";
    EXPECT_EQ(calls, 2);
    EXPECT_FALSE(progress.add(1, 15));
    EXPECT_EQ(calls, 3);
    progress.add(0, 30);
    EXPECT_EQ(calls, 3);
}

TEST(FactorProgress, AStopIsReportedAsAZeroPivot)
{
    EngineCall call(gridMatrix(11, 5, 1));
    ASSERT_EQ(call.run(11), 0);
    Listener listener;
    listener.stopFrom = 0;
    const ProgressScope scope(listener.callback());
    EXPECT_EQ(
        call.runPrinting(22, -1).text,
        "*** Error in PARDISO  ( numerical_factorization) error_num= -1\n*** Error in PARDISO: zero pivot\n");
}

TEST(FactorProgress, EachNewPercentageIsPrintedAndABlankLineAtTheEnd)
{
    EngineCall call(tridiagonal(4), 11);
    ASSERT_EQ(call.run(11), 0);
    Listener listener;
    const ProgressScope scope(listener.callback());
    for (const int level : {-1, 1}) {
        listener.heard.clear();
        const std::string text = call.runPrinting(22, level).text;
        std::string expected;
        for (const Heard& heard : listener.heard) {
            if (heard.percent > 0) expected += " " + std::to_string(heard.percent) + " % \n";
        }
        expected += "\n";
        EXPECT_EQ(text.substr(0, expected.size()), expected);
        EXPECT_EQ(text.size() == expected.size(), level < 0) << "statistics follow at a positive level";
    }
}

class SameBits : public ::testing::TestWithParam<int> {};

TEST_P(SameBits, InTwentyRunsUnderRandomDelays)
{
    std::mt19937 random(3);
    const ProgressCallback sleepy{[](void* context, int, int, const char*, int) {
                                      auto& generator = *static_cast<std::mt19937*>(context);
                                      std::this_thread::sleep_for(
                                          std::chrono::microseconds(generator() % 40));
                                      return 0;
                                  },
                                  &random};
    for (const auto& [threads, ordering] : {std::pair{2, 2}, {4, 2}, {2, 3}, {4, 3}, {3, 0}}) {
        SCOPED_TRACE(::testing::Message() << threads << ' ' << ordering);
        const ThreadSetting setting(threads, 0);
        EngineCall call(gridMatrix(GetParam(), 17, 4), GetParam());
        call.set(2, ordering);
        call.set(13, GetParam() > 10);
        call.set(11, GetParam() > 10);
        call.set(21, 1);
        ASSERT_EQ(call.run(12), 0);
        const std::string first = bytes(call);
        const ProgressScope scope(sleepy);
        for (int run = 0; run < 20; ++run) {
            ASSERT_EQ(call.run(22), 0);
            ASSERT_EQ(bytes(call), first) << "run " << run;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Types, SameBits, ::testing::Values(1, 2, -2, 3, 4, -4, 6, 11, 13));

TEST(FactorThreads, ATwoLevelFormRunsWhereSubgraphsAreKnown)
{
    const ThreadSetting setting(4, 0);
    EngineCall call(gridMatrix(11, 30, 5));
    call.set(2, 3);
    ASSERT_EQ(call.run(11), 0);
    EXPECT_EQ(Handle(call.pt.data()).control()[Word::TwoLevel], 1);
    EXPECT_GT(Handle(call.pt.data()).control()[Word::Subgraphs], 4);
    ASSERT_EQ(call.run(22), 0);
}

TEST(FactorThreads, ManySmallMatricesEndWithEveryTeam)
{
    std::mt19937 random(6);
    for (int run = 0; run < 1000; ++run) {
        const ThreadSetting setting(2 + int(random() % 3), 0);
        const int mtype = std::vector{11, 2, -2, 1}[random() % 4];
        EngineCall call(gridMatrix(mtype, 1 + int(random() % 9), unsigned(run)), mtype);
        call.set(2, int(random() % 2) == 0 ? 3 : 2);
        if (call.n == 1) continue;
        ASSERT_EQ(call.run(12), 0);
    }
}

} // namespace
