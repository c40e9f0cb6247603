#include "tests/engine/engine_call.h"

#include <lintrix/engine/call/handle.h>

#include <gtest/gtest.h>

#include <algorithm>

#include <unistd.h>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail::engine;
using ::testing::ExitedWithCode;
using Velmar::Lintrix::testing::EngineCall;
using Velmar::Lintrix::testing::ThreadSetting;
using Velmar::Lintrix::testing::tridiagonal;

namespace {

bool isAnalysed(EngineCall& call)
{
    return Handle(call.pt.data()).holds(Slot::FactorStructure);
}

TEST(Phases, EnquiriesAnswerAndDoNothingElse)
{
    EngineCall call(tridiagonal(4));
    const auto before = call.allParameters();
    EXPECT_EQ(call.run(-3), 300000);
    EXPECT_EQ(call.allParameters(), before);
    EXPECT_EQ(call.run(-2), 16);
    EXPECT_EQ(call.iparm(1), 23);
    call.set(1, 1);
    EXPECT_EQ(call.allParameters(), before);
    EXPECT_EQ(call.pt[0], nullptr);
}

TEST(Phases, ReleaseOfAnEmptyHandleIsNoFailure)
{
    EngineCall call(tridiagonal(4));
    call.set(15, 9);
    call.set(64, 9);
    EXPECT_EQ(call.runPrinting(-1, 2).text, "");
    EXPECT_EQ(call.iparm(15), 9);
    EXPECT_EQ(call.iparm(64), 9);
    EXPECT_EQ(call.pt[0], nullptr);
}

TEST(Phases, BelowTheEnquiriesFail)
{
    EngineCall call(tridiagonal(4));
    for (const int phase : {-4, -100, -2147483647 - 1}) {
        EXPECT_EQ(call.run(phase), -1) << phase;
        EXPECT_EQ(call.pt[0], nullptr);
    }
    EXPECT_EQ(call.iparm(64), 102000114);
}

TEST(Phases, ZeroOnAFreshHandleFailsAndLeavesItsBasicBlocks)
{
    EngineCall call(tridiagonal(4));
    EXPECT_EQ(call.run(0), -1);
    EXPECT_NE(call.pt[0], nullptr);
    EXPECT_NE(call.pt[1], nullptr);
    EXPECT_NE(call.pt[3], nullptr);
    EXPECT_EQ(call.run(0), 0);
    EXPECT_EQ(call.run(11), 0);
    EXPECT_TRUE(isAnalysed(call));
}

TEST(Phases, WithoutAnAnalysisCannotFactorizeOrSolve)
{
    for (const int phase : {22, 23, 33, 331, 332, 333}) {
        EngineCall call(tridiagonal(4));
        EXPECT_EQ(call.run(phase), -1) << phase;
        EXPECT_NE(call.pt[0], nullptr);
        EXPECT_NE(call.pt[1], nullptr);
        EXPECT_FALSE(isAnalysed(call));
    }
}

TEST(Phases, OfAFactorThatIsNoneIsTold)
{
    EngineCall call(tridiagonal(4));
    call.maxfct = 3;
    EXPECT_EQ(call.run(11), 0);
    for (const int mnum : {1, 3}) {
        call.mnum = mnum;
        EXPECT_EQ(call.run(0), 0);
    }
    for (const int mnum : {0, -1, 4, 2147483647}) {
        call.mnum = mnum;
        EXPECT_EQ(call.run(0), -1) << mnum;
    }
    EXPECT_TRUE(isAnalysed(call));
}

TEST(Phases, AnalysisPassesForEveryType)
{
    for (const int mtype : {1, 2, -2, 3, 4, -4, 6, 11, 13}) {
        SCOPED_TRACE(mtype);
        EngineCall call(tridiagonal(60, mtype % 2 == 0), mtype);
        if (mtype == 3 || mtype == 4 || mtype == -4 || mtype == 6 || mtype == 13) call.A.a.resize(400, 1.);
        const auto ia = call.A.ia, ja = call.A.ja;
        EXPECT_EQ(call.run(11), 0);
        EXPECT_TRUE(isAnalysed(call));
        EXPECT_EQ(call.A.ia, ia);
        EXPECT_EQ(call.A.ja, ja);
        for (const Slot freed :
             {Slot::AnalysisWork, Slot::SymbolicWork, Slot::SymbolicStructure, Slot::IntegerWork})
            EXPECT_FALSE(Handle(call.pt.data()).holds(freed));
        EXPECT_GT(call.iparm(15), call.iparm(16));
        EXPECT_GT(call.iparm(16), 0);
        EXPECT_GT(call.iparm(17), 0);
        EXPECT_EQ(call.iparm(64), 102000114);
        EXPECT_EQ(call.iparm(57), 0);
        EXPECT_EQ(call.iparm(50), 0);
    }
}

TEST(Phases, AnalysisServesOrderingMatchingAndScalingTogether)
{
    for (const int mtype : {11, -2, 13, 6, 2}) {
        for (const int ordering : {0, 1, 2, 3}) {
            for (const int matching : {0, 1, 2}) {
                SCOPED_TRACE(::testing::Message() << mtype << ' ' << ordering << ' ' << matching);
                EngineCall call(tridiagonal(200, mtype % 2 == 0), mtype);
                call.A.a.resize(2000, 0.5);
                call.set(2, ordering);
                call.set(11, 1);
                call.set(13, matching);
                EXPECT_EQ(call.run(11), 0);
                EXPECT_TRUE(isAnalysed(call));
                const Handle handle(call.pt.data());
                const bool matched = mtype > 10 || (mtype != 2 && matching > 0);
                EXPECT_EQ(handle.holds(Slot::Matching), matched);
                EXPECT_EQ(handle.holds(Slot::Scaling), matched);
            }
        }
    }
}

TEST(Phases, StructurallySingularMatrixFailsWhereMatchingIsOn)
{
    EngineCall call(tridiagonal(4));
    // Rows 1 to 3 have entries in columns 1 and 2 alone.
    call.A.ia = {1, 3, 5, 7, 11};
    call.A.ja = {1, 2, 1, 2, 1, 2, 1, 2, 3, 4};
    call.set(13, 1);
    call.set(30, 4711);
    const auto [error, text] = call.runPrinting(11, 1);
    EXPECT_EQ(error, -6);
    EXPECT_EQ(text, "*** Error in PARDISO  (prereordering_mtype11,13) error_num= -3\n"
                    "*** Error in PARDISO: preordering failed after 3 neqns out of 4\n"
                    "structure singular or input/parameter problem (matrixtype 11,13)\n");
    EXPECT_EQ(call.iparm(30), 4711) << "nothing numeric has failed";
    EXPECT_EQ(call.A.ia, (std::vector{1, 3, 5, 7, 11}));
    call.set(13, 0);
    EXPECT_EQ(call.run(11), 0);
    EXPECT_EQ(call.run(22), 0) << "the pivot that is missing is perturbed";
    EXPECT_GT(call.iparm(14), 0);
}

TEST(Phases, AnalysisCountsTheCallsThatFollow)
{
    EngineCall call(tridiagonal(4));
    EXPECT_EQ(call.run(11), 0);
    EXPECT_EQ(Handle(call.pt.data()).calls(), 1U);
    EXPECT_EQ(call.run(0), 0);
    EXPECT_EQ(call.run(0), 0);
    EXPECT_EQ(Handle(call.pt.data()).calls(), 3U);
    EXPECT_EQ(call.run(11), 0);
    EXPECT_EQ(Handle(call.pt.data()).calls(), 1U);
}

TEST(Phases, AnalysisOfAnotherOrderNeedsARelease)
{
    EngineCall call(tridiagonal(4));
    EXPECT_EQ(call.run(11), 0);
    call.n = 3;
    call.A = tridiagonal(3);
    EXPECT_EQ(call.run(11), -1);
    EXPECT_FALSE(isAnalysed(call));
    call.release();
    EXPECT_EQ(call.run(11), 0);
}

TEST(Phases, ReleaseClearsTheMemoryFigures)
{
    EngineCall call(tridiagonal(4));
    EXPECT_EQ(call.run(11), 0);
    EXPECT_EQ(call.run(-1), 0);
    EXPECT_EQ(call.iparm(15), 0);
    EXPECT_EQ(call.iparm(16), 0);
    EXPECT_EQ(call.iparm(17), 0);
    EXPECT_EQ(call.iparm(64), 102000114);
    EXPECT_TRUE(std::all_of(call.pt.begin(), call.pt.end(), [](void* slot) { return slot == nullptr; }));
}

TEST(Phases, FailedCheckKeepsTypeAndMaxfctAndClearsTheRest)
{
    EngineCall call(tridiagonal(4));
    call.maxfct = 2;
    call.set(2, 4);
    EXPECT_EQ(call.run(11), -1);
    const ControlBlock& control = Handle(call.pt.data()).control();
    EXPECT_EQ(control[Word::Maxfct], 2);
    EXPECT_EQ(control[Word::Mtype], 11);
    EXPECT_EQ(control[Word::Phase], 0);
    EXPECT_EQ(control[Word::NonZeros], 0);
    EXPECT_EQ(control[Word::RightHandSides], 0);
}

TEST(Phases, TellTheThreadCountWhateverTheCallerStored)
{
    const ThreadSetting setting(4, 1);
    EngineCall call(tridiagonal(49));
    call.set(3, 17);
    EXPECT_EQ(call.run(11), 0);
    EXPECT_EQ(call.iparm(3), 1);
    const ThreadSetting fixed(4, 0);
    EXPECT_EQ(call.run(11), 0);
    EXPECT_EQ(call.iparm(3), 4);
}

TEST(Phases, ApplyDefaultsWhenTheFirstParameterIsZero)
{
    EngineCall call(tridiagonal(4, true), -2);
    for (int k = 1; k <= 25; ++k) call.set(k, 0);
    call.set(2, 77);
    call.set(6, 77);
    EXPECT_EQ(call.run(11), 0);
    EXPECT_EQ(call.iparm(2), 2);
    EXPECT_EQ(call.iparm(10), 8);
    EXPECT_EQ(call.iparm(21), 1);
    const ControlBlock& control = Handle(call.pt.data()).control();
    EXPECT_EQ(control[WideWord::UpperElements], 1); // for the U that is not there
    EXPECT_EQ(call.iparm(18), control[WideWord::LowerElements] + 1);
}

TEST(Phases, KeepTheFactorCountsThatAreNotAskedFor)
{
    EngineCall call(tridiagonal(4));
    call.set(18, 3);
    call.set(19, 3);
    EXPECT_EQ(call.run(11), 0);
    EXPECT_EQ(call.iparm(18), 3);
    EXPECT_EQ(call.iparm(19), 3);
    call.set(18, -5);
    call.set(19, -5);
    EXPECT_EQ(call.run(11), 0);
    EXPECT_GT(call.iparm(18), 0);
    EXPECT_EQ(call.iparm(19), 0);
}

TEST(Phases, OfDiagonalMarkReturnWithoutWork)
{
    EngineCall call(tridiagonal(4));
    call.set(12, -1);
    const auto before = call.allParameters();
    for (const int phase : {11, 33, 0, -1, -4, 99}) EXPECT_EQ(call.run(phase), 0) << phase;
    EXPECT_EQ(call.allParameters(), before);
    EXPECT_EQ(call.pt[0], nullptr);
}

TEST(Phases, InCoreWhereThereIsRoomMeansInCore)
{
    EngineCall call(tridiagonal(4));
    call.set(60, 1);
    EXPECT_EQ(call.run(11), 0);
    EXPECT_EQ(call.iparm(57), 0);
    EXPECT_NE(call.pt[16], nullptr);
    EXPECT_GT(call.iparm(61), 0);
    EXPECT_GT(call.iparm(62), 0);
    EXPECT_GT(call.iparm(63), 0);
}

TEST(Phases, PermutationIsWrittenOrUsedOrLeftAlone)
{
    EngineCall call(tridiagonal(6));
    call.perm = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(call.run(11), 0);
    EXPECT_EQ(call.perm, (std::vector{9, 9, 9, 9, 9, 9}));
    call.set(5, 2);
    EXPECT_EQ(call.run(11), 0);
    auto sorted = call.perm;
    std::ranges::sort(sorted);
    EXPECT_EQ(sorted, (std::vector{1, 2, 3, 4, 5, 6}));
    call.set(5, 1);
    EXPECT_EQ(call.run(11), 0);
    call.perm[0] = call.perm[1];
    EXPECT_EQ(call.run(11), -3);
    EXPECT_FALSE(isAnalysed(call));
}

TEST(Phases, OfAPatternThatIsNoneFailWithoutTheMatrixCheckToo)
{
    for (const int column : {0, 5, -2147483647 - 1, 2147483647}) {
        EngineCall call(tridiagonal(4));
        call.A.ja[1] = column;
        const auto ja = call.A.ja;
        EXPECT_NE(call.run(11), 0);
        EXPECT_EQ(call.A.ja, ja);
    }
}

TEST(Phases, WithoutSlotsFail)
{
    const auto A = tridiagonal(4);
    auto ia = A.ia, ja = A.ja;
    std::array<int, 64> iparm{};
    int error = 0;
    double x[4] = {}, b[4] = {};
    ::testing::internal::CaptureStdout();
    pardiso(nullptr, 1, 1, 11, 11, 4, A.a.data(), ia.data(), ja.data(), nullptr, 1, iparm.data(), 1, b, x,
            error);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "*** Error in PARDISO  (contradictory input, initialization failed)\nhandle=0 ?? ido= 11\n");
    EXPECT_EQ(error, -1);
}

TEST(PhasesDeathTest, AdmittedTypeThatNoBranchKnowsEndsTheProcess)
{
    for (const int mtype : {-1, -3, 5, -5, -11}) {
        EXPECT_EXIT(
            {
                dup2(2, 1); // the test looks at standard error
                EngineCall call(tridiagonal(4), mtype);
                call.run(11);
            },
            ExitedWithCode(9), "^System error in PARDISO\n$")
            << mtype;
    }
}

TEST(PhasesDeathTest, UnknownTypeIsLookedAtAfterTheInputCheck)
{
    EngineCall call(tridiagonal(4), 5);
    call.set(2, 4);
    EXPECT_EQ(call.run(11), -1);
    call.set(2, 2);
    EXPECT_EQ(call.run(33), -1);
}

} // namespace
