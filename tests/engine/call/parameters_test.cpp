#include <lintrix/engine/call/parameters.h>

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <map>

using namespace Velmar::Lintrix::detail::engine;
using Velmar::Lintrix::PardisoParameters;

namespace {

constexpr int kCallers = 4321;

std::array<int, PardisoParameters::kSlots> defaultsFor(int mtype)
{
    std::array<int, PardisoParameters::kSlots> iparm;
    iparm.fill(kCallers);
    applyDefaults(mtype, Parameters(iparm.data()));
    return iparm;
}

int slot(const std::array<int, PardisoParameters::kSlots>& iparm, int k)
{
    return iparm[static_cast<std::size_t>(k) - 1];
}

TEST(Parameters, AreNumberedFromOne)
{
    std::array<int, PardisoParameters::kSlots> iparm{};
    const Parameters parameters(iparm.data());
    parameters[Parameter::CallersValues] = 5;
    parameters[Parameter::Version] = 6;
    EXPECT_EQ(iparm[0], 5);
    EXPECT_EQ(iparm[63], 6);
}

TEST(Defaults, ThatDependOnTheTypeFollowTheTable)
{
    struct Row {
        int mtype, pivotExponent, scaling, matching, pivoting;
    };
    const Row table[] = {{1, 13, 0, 0, 0},  {3, 13, 0, 0, 0}, {11, 13, 1, 1, 0},
                         {13, 13, 1, 1, 0}, {2, 0, 0, 0, 0},  {4, 0, 0, 0, 0},
                         {-2, 8, 0, 0, 1},  {-4, 8, 0, 0, 1}, {6, 8, 0, 0, 1}};
    for (const Row& row : table) {
        SCOPED_TRACE(row.mtype);
        const auto iparm = defaultsFor(row.mtype);
        EXPECT_EQ(slot(iparm, 10), row.pivotExponent);
        EXPECT_EQ(slot(iparm, 11), row.scaling);
        EXPECT_EQ(slot(iparm, 13), row.matching);
        EXPECT_EQ(slot(iparm, 21), row.pivoting);
    }
}

TEST(Defaults, ThatDoNotDependOnTheTypeAreTheSameForAll)
{
    const std::map<int, int> always = {{2, 2},  {4, 0},  {5, 0},  {6, 0},   {7, 0},   {8, 0},
                                       {9, 0},  {12, 0}, {14, 0}, {18, -1}, {19, -1}, {20, 0},
                                       {22, 0}, {23, 0}, {24, 0}, {25, 0},  {50, 0},  {60, 0}};
    for (const int mtype : {1, 2, 3, 4, 6, 11, 13, -2, -4, 5, 77}) {
        const auto iparm = defaultsFor(mtype);
        for (const auto& [k, value] : always) EXPECT_EQ(slot(iparm, k), value) << mtype << ", slot " << k;
    }
}

TEST(Defaults, LeaveWhatHasNone)
{
    const auto iparm = defaultsFor(11);
    for (const int k : {1, 3, 15, 16, 17, 26, 27, 28, 29, 30, 31, 32, 33, 40, 49, 51, 57, 59, 61, 62, 63, 64})
        EXPECT_EQ(slot(iparm, k), kCallers) << k;
}

} // namespace
