#include "tests/services/probe_runner.h"

#include <lintrix/services/dispatch.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace Velmar::Lintrix::detail;
using Velmar::Lintrix::testing::askProbe;
using Velmar::Lintrix::testing::ProbeAnswers;

namespace {

template <int Class>
int form(int& calls)
{
    ++calls;
    return Class;
}

TEST(DispatchedRoutine, RunsTheFormOfThisProcessorsClass)
{
    DispatchedRoutine<int(int&)> routine({form<0>, form<1>, form<2>, form<3>, form<4>});
    int calls = 0;
    const int expected = static_cast<int>(thisProcessor().processorClass);
    EXPECT_EQ(routine(calls), expected); // binds
    EXPECT_EQ(routine(calls), expected); // through the slot
    EXPECT_EQ(calls, 2);
}

TEST(DispatchedRoutine, HasAFormForEveryClass)
{
    for (const int processorClass : {0, 1, 2, 3, 4}) {
        const ProbeAnswers told =
            askProbe({"dispatch"}, {{"MKL_DEBUG_CPU_TYPE", std::to_string(processorClass)}});
        EXPECT_EQ(told["form"], 100 + processorClass);
        EXPECT_EQ(told["form-again"], 200 + processorClass);
    }
}

std::string joined(std::unique_ptr<std::string> owned, const std::string& shared, const int& last)
{
    return *owned + shared + std::to_string(last);
}

TEST(DispatchedRoutine, HandsItsArgumentsOnAsTheyStand)
{
    DispatchedRoutine<std::string(std::unique_ptr<std::string>, const std::string&, const int&)> routine(
        {joined, joined, joined, joined, joined});
    EXPECT_EQ(routine(std::make_unique<std::string>("a"), "b", 3), "ab3");
}

TEST(DispatchedRoutine, MayBeBoundByManyThreadsAtOnce)
{
    DispatchedRoutine<int(int&)> routine({form<0>, form<1>, form<2>, form<3>, form<4>});
    const int expected = static_cast<int>(thisProcessor().processorClass);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            int calls = 0;
            for (int i = 0; i < 1000; ++i) EXPECT_EQ(routine(calls), expected);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

} // namespace
