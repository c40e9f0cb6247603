// Each internal code through the entry, by what the failure report prints, and the index arrays afterwards.

#include "tests/engine/engine_call.h"
#include "tests/services/slot_recorder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

using namespace Velmar::Lintrix;
using Velmar::Lintrix::testing::diagonal;
using Velmar::Lintrix::testing::EngineCall;
using Velmar::Lintrix::testing::SlotRecorder;
using Velmar::Lintrix::testing::ThreadSetting;
using Velmar::Lintrix::testing::tridiagonal;

namespace {

constexpr int kNone = 0;

/// The number behind "error_num=" in a failure's first line.
int internalCode(const std::string& text)
{
    const std::string mark = "error_num= ";
    const std::size_t place = text.find(mark);
    return place == std::string::npos ? kNone : std::atoi(text.c_str() + place + mark.size());
}

/// Runs one failing call and looks at what every failure leaves alone.
int codeOf(EngineCall& call, int phase)
{
    const auto ia = call.A.ia, ja = call.A.ja;
    const auto [error, text] = call.runPrinting(phase, -1);
    EXPECT_EQ(call.A.ia, ia);
    EXPECT_EQ(call.A.ja, ja);
    EXPECT_EQ(error == 0, text.empty()) << text;
    return internalCode(text);
}

struct Mistake {
    int code;
    int phase;
    std::function<void(EngineCall&)> make;
};

std::ostream& operator<<(std::ostream& out, const Mistake& mistake)
{
    return out << "internal " << mistake.code << " at phase " << mistake.phase;
}

class AfterAnAnalysis : public ::testing::TestWithParam<Mistake> {};

TEST_P(AfterAnAnalysis, TheMistakeIsToldByItsCode)
{
    EngineCall call(tridiagonal(4));
    ASSERT_EQ(call.run(11), 0);
    GetParam().make(call);
    EXPECT_EQ(codeOf(call, GetParam().phase), GetParam().code);
}

const Mistake kMistakes[] = {
    {1, 34, [](EngineCall&) {}},
    {1, 334, [](EngineCall&) {}},
    {2, 22, [](EngineCall& call) { call.maxfct = 2; }},
    {3, 22, [](EngineCall& call) { call.mnum = 2; }},
    {4, 22, [](EngineCall& call) { call.mnum = 0; }},
    {5, 22, [](EngineCall& call) { call.mtype = 2; }},
    {6, 22, [](EngineCall& call) { call.n = 3; }},
    {8, 22, [](EngineCall& call) { call.A.ia[4] = 4; }},
    {8, 22, [](EngineCall& call) { --call.A.ia[4]; }}, // fewer than were analysed
    {8, 33, [](EngineCall& call) { --call.A.ia[4]; }}, // as 23: there is no factor
    {9, 33, [](EngineCall& call) { call.nrhs = 0; }},
    {10, 22, [](EngineCall& call) { call.set(6, 2); }},
    {10, 22, [](EngineCall& call) { call.set(6, -1); }},
    {11, 22, [](EngineCall& call) { call.set(2, 4); }},
    {11, 11, [](EngineCall& call) { call.set(2, -1); }},
    {15, 22, [](EngineCall& call) { call.mtype = 7; }},
    {20, 10, [](EngineCall&) {}},
    {21, 11, [](EngineCall& call) { call.set(27, 1), call.A.ia[2] = 3; }},
    {22, 11, [](EngineCall& call) { call.set(27, 1), call.A.ja[0] = 5; }},
    {24, 11, [](EngineCall& call) { call.set(27, 1), call.A.ja[1] = 1; }},
    {100, 0, [](EngineCall& call) { call.mnum = 2; }},
    {10000, -4, [](EngineCall&) {}},
};

INSTANTIATE_TEST_SUITE_P(Codes, AfterAnAnalysis, ::testing::ValuesIn(kMistakes), [](const auto& mistake) {
    return std::to_string(mistake.param.code) + "_case_" + std::to_string(mistake.index);
});

TEST(InternalCodes, OfAnOrderBelowOne)
{
    EngineCall call(tridiagonal(4));
    call.n = 0;
    call.A.ia[0] = 5; // not what a diagonal matrix of order 0 has
    EXPECT_EQ(codeOf(call, 11), 7);
}

TEST(InternalCodes, OfAnEntryLeftOfTheDiagonal)
{
    EngineCall call(tridiagonal(4), -2);
    call.set(27, 1);
    EXPECT_EQ(codeOf(call, 11), 23);
    EXPECT_EQ(call.iparm(31), 4);
    EXPECT_EQ(call.iparm(32), 9);
    EXPECT_EQ(call.iparm(33), 3);
}

TEST(InternalCodes, OfUnsortedColumnsTellThePositionAndBothColumns)
{
    EngineCall call(tridiagonal(4));
    call.A.ja = {2, 1, 1, 2, 3, 2, 3, 4, 3, 4};
    call.set(27, 1);
    EXPECT_EQ(codeOf(call, 11), 24);
    EXPECT_EQ(call.iparm(27), 1);
    EXPECT_EQ(call.iparm(31), 1);
    EXPECT_EQ(call.iparm(32), 2);
    EXPECT_EQ(call.iparm(33), 1);
}

TEST(InternalCodes, OfOtherFailuresThanNumericOnesAreNotTheFailingEquation)
{
    EngineCall fewer(tridiagonal(4)), unmatched(tridiagonal(3)), noOrder(tridiagonal(4));
    EXPECT_EQ(fewer.run(11), 0);
    --fewer.A.ia[4];
    fewer.set(30, 4711);
    EXPECT_EQ(fewer.run(23), -1);
    EXPECT_EQ(fewer.iparm(30), 4711);
    unmatched.A = {3, {1., 1., 1., 1.}, {1, 3, 4, 5}, {1, 2, 1, 1}};
    unmatched.set(13, 1);
    unmatched.set(30, 4711);
    EXPECT_EQ(unmatched.run(13), -6);
    EXPECT_EQ(unmatched.iparm(30), 4711);
    noOrder.set(5, 1);
    noOrder.set(30, 4711);
    EXPECT_EQ(noOrder.run(13), -3);
    EXPECT_EQ(noOrder.iparm(30), 4711);
}

TEST(InternalCodes, OfAFreshHandle)
{
    EngineCall release(tridiagonal(4)), solve(tridiagonal(4));
    EXPECT_EQ(codeOf(release, 0), 1000);
    EXPECT_EQ(codeOf(solve, 33), 100000);
    EXPECT_NE(solve.pt[1], nullptr);
    EXPECT_NE(solve.pt[3], nullptr);
}

TEST(InternalCodes, OfTheDiagonalPathAreRowsOrNegatedRows)
{
    EngineCall zero(diagonal({1., 0., 3.})), moved(diagonal({1., 2., 3.}));
    EXPECT_EQ(codeOf(zero, 13), -2);
    moved.A.ia = {1, 2, 2, 4};
    EXPECT_EQ(codeOf(moved, 13), 2);
}

TEST(InternalCodes, OfAMatchingAreTheNegatedSize)
{
    EngineCall call(tridiagonal(3));
    call.A = {3, {1., 1., 1., 1.}, {1, 3, 4, 5}, {1, 2, 1, 1}};
    call.set(13, 1);
    EXPECT_EQ(codeOf(call, 11), -2);
}

TEST(InternalCodes, OfAnOrderThatIsNone)
{
    EngineCall call(tridiagonal(4));
    call.set(5, 1);
    call.perm = {1, 2, 2, 4};
    EXPECT_EQ(codeOf(call, 11), -11);
    for (const int use : {1, 2}) {
        EngineCall without(tridiagonal(4));
        without.set(5, use);
        without.perm.clear();
        without.perm.shrink_to_fit();
        EXPECT_EQ(codeOf(without, 11), -11) << use;
    }
}

/// What the report says when the k-th request and those behind it fail, for each k.
std::set<int> codesWithoutMemory(int mtype, int ordering)
{
    SlotRecorder recorder;
    std::set<int> codes;
    for (int k = 0, error = -2; error == -2; ++k) {
        EngineCall call(tridiagonal(120, mtype < 0), mtype);
        call.set(2, ordering);
        call.set(13, 1);
        call.set(60, 1);
        const auto ia = call.A.ia, ja = call.A.ja;
        recorder.failFrom(k);
        const auto printed = call.runPrinting(11, -1);
        recorder.failFrom(-1);
        error = printed.error;
        EXPECT_TRUE(error == -2 || error == 0) << error;
        EXPECT_EQ(call.A.ia, ia);
        EXPECT_EQ(call.A.ja, ja);
        EXPECT_EQ(printed.text.find(" 0 bytes"), std::string::npos) << printed.text;
        if (error == -2) codes.insert(internalCode(printed.text));
    }
    return codes;
}

// An analysis with matching, two-level lists and the out-of-core control takes every block that an analysis
// can take.
TEST(InternalCodes, OfBlocksThatCannotBeAllocated)
{
    const ThreadSetting setting(4, 0);
    std::set<int> codes;
    for (const int ordering : {0, 1, 2, 3}) codes.merge(codesWithoutMemory(11, ordering));
    codes.merge(codesWithoutMemory(-2, 2)); // pairs
    EXPECT_EQ(codes, (std::set<int>{-100, -200, -201, -202, -203, -400, -401, -402, -403, -404, -500, -600,
                                    -700, -800, -900, -1000}));
}

} // namespace
