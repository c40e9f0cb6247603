// The public names of the parameters against what calls read and write: defaults by matrix type, the step at
// which each slot is written, and what only the caller writes.

#include "tests/engine/engine_call.h"

#include <algorithm>
#include <map>
#include <set>

namespace Velmar::Lintrix::testing {
namespace {

using Slot = PardisoParameter;

constexpr int kCallers = 4321;

constexpr int numberOf(Slot slot)
{
    return static_cast<int>(slot);
}

TEST(PardisoParameters, AreNumberedFromOne)
{
    std::array<int, PardisoParameters::kSlots> iparm{};
    const PardisoParameters parameters(iparm.data());
    parameters[Slot::CallersValues] = 5;
    parameters[Slot::Version] = 6;
    EXPECT_EQ(iparm[0], 5);
    EXPECT_EQ(iparm[63], 6);
}

/// A slot's default for mtype 1 and 3, for 2 and 4, for -2, -4 and 6, for 11 and 13.
struct Default {
    int structural, definite, indefinite, unsymmetric;

    int of(int mtype) const
    {
        if (mtype == 1 || mtype == 3) return structural;
        if (mtype == 2 || mtype == 4) return definite;
        return mtype == 11 || mtype == 13 ? unsymmetric : indefinite;
    }
};

constexpr Default same(int value)
{
    return {value, value, value, value};
}

const std::map<Slot, Default> kDefaults = {
    {Slot::Ordering, same(2)},        {Slot::IterativePath, same(0)},
    {Slot::PermutationUse, same(0)},  {Slot::SolutionPlace, same(0)},
    {Slot::RefinementSteps, same(0)}, {Slot::RefinementLimit, same(0)},
    {Slot::Unread9, same(0)},         {Slot::PivotExponent, {13, 0, 8, 13}},
    {Slot::Scaling, {0, 0, 0, 1}},    {Slot::Transpose, same(0)},
    {Slot::Matching, {0, 0, 0, 1}},   {Slot::PerturbedPivots, same(0)},
    {Slot::FactorNonZeros, same(-1)}, {Slot::Gigaflops, same(-1)},
    {Slot::IterationResult, same(0)}, {Slot::SymmetricPivoting, {0, 0, 1, 0}},
    {Slot::PositivePivots, same(0)},  {Slot::NegativePivots, same(0)},
    {Slot::Unread24, same(0)},        {Slot::Unread25, same(0)},
    {Slot::PartExponent, same(0)},    {Slot::OutOfCore, same(0)}};

const std::set<Slot> kWrittenByEachCall = {Slot::Threads,      Slot::AnalysisPeak, Slot::AnalysisKept,
                                           Slot::FactorMemory, Slot::PartExponent, Slot::Version};

/// A call that stores the defaults and is then refused: `mnum` is above `maxfct`.
void storeDefaults(EngineCall& call, int phase)
{
    for (int k = 1; k <= PardisoParameters::kSlots; ++k) call.set(k, kCallers);
    call.set(numberOf(Slot::CallersValues), 0);
    call.mnum = 2;
    EXPECT_EQ(call.run(phase), -1);
}

TEST(PardisoParameters, DefaultsFollowTheTableForEachTypeAndTheRestIsTheCallers)
{
    for (const int mtype : {1, 2, 3, 4, 6, 11, 13, -2, -4}) {
        for (const int phase : {11, 12, 13}) {
            SCOPED_TRACE(::testing::Message() << "type " << mtype << ", phase " << phase);
            EngineCall call(tridiagonal(4, mtype % 2 == 0), mtype);
            storeDefaults(call, phase);
            EXPECT_EQ(call.iparm(1), 0);
            for (int k = 2; k <= PardisoParameters::kSlots; ++k) {
                const auto found = kDefaults.find(static_cast<Slot>(k));
                if (found != kDefaults.end())
                    EXPECT_EQ(call.iparm(k), found->second.of(mtype)) << "slot " << k;
                else if (kWrittenByEachCall.contains(static_cast<Slot>(k)))
                    EXPECT_NE(call.iparm(k), kCallers) << "slot " << k;
                else
                    EXPECT_EQ(call.iparm(k), kCallers) << "slot " << k;
            }
            call.mnum = 1;
        }
    }
}

TEST(PardisoParameters, DefaultsAreForAnalysesAndForAFirstSlotOf0)
{
    EngineCall call(tridiagonal(4));
    call.set(numberOf(Slot::PivotExponent), kCallers);
    EXPECT_EQ(call.run(11), 0);
    EXPECT_EQ(call.iparm(numberOf(Slot::PivotExponent)), kCallers) << "the caller's values stand";
    call.set(numberOf(Slot::CallersValues), 0);
    EXPECT_EQ(call.run(22), 0);
    EXPECT_EQ(call.run(33), 0);
    EXPECT_EQ(call.iparm(numberOf(Slot::PivotExponent)), kCallers) << "no analysis, no defaults";
    EXPECT_EQ(call.run(11), 0);
    EXPECT_EQ(call.iparm(numberOf(Slot::PivotExponent)), 13);
}

/// Slots that differ between two moments.
std::set<int> changed(const std::array<int, 64>& before, const std::array<int, 64>& after)
{
    std::set<int> slots;
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (before[i] != after[i]) slots.insert(static_cast<int>(i) + 1);
    }
    return slots;
}

std::set<int> numbersOf(const std::set<Slot>& slots)
{
    std::set<int> numbers;
    for (const Slot slot : slots) numbers.insert(numberOf(slot));
    return numbers;
}

/// Runs a phase after storing a number that no step writes into every slot that is only written.
std::set<int> writtenBy(EngineCall& call, int phase)
{
    for (const Slot slot : {Slot::Threads,
                            Slot::RefinementSteps,
                            Slot::AnalysisPeak,
                            Slot::AnalysisKept,
                            Slot::FactorMemory,
                            Slot::PositivePivots,
                            Slot::NegativePivots,
                            Slot::CheckFirst,
                            Slot::CheckSecond,
                            Slot::CheckThird,
                            Slot::FailingEquation,
                            Slot::PartExponent,
                            Slot::CoreMode,
                            Slot::InCoreMegabytes,
                            Slot::InCoreKeptMegabytes,
                            Slot::OutOfCoreMegabytes,
                            Slot::Version,
                            Slot::Unread9,
                            Slot::Unread24,
                            Slot::Unread25})
        call.set(numberOf(slot), kCallers);
    call.set(numberOf(Slot::PerturbedPivots), phase == 22 ? kCallers : 0);
    const std::array<int, 64> before = call.allParameters();
    EXPECT_EQ(call.run(phase), 0);
    return changed(before, call.allParameters());
}

TEST(PardisoParameters, EachStepWritesItsOwnSlotsAndNoOther)
{
    EngineCall call(tridiagonal(60, true), -2);
    call.set(numberOf(Slot::FactorNonZeros), -1);
    call.set(numberOf(Slot::Gigaflops), -1);
    call.set(numberOf(Slot::OutOfCore), 1);
    call.set(numberOf(Slot::MatrixCheck), 1);
    call.set(numberOf(Slot::RefinementLimit), 2);
    std::set<Slot> analysis = kWrittenByEachCall;
    analysis.insert({Slot::FactorNonZeros, Slot::Gigaflops, Slot::MatrixCheck, Slot::CoreMode,
                     Slot::InCoreMegabytes, Slot::InCoreKeptMegabytes, Slot::OutOfCoreMegabytes});
    EXPECT_EQ(writtenBy(call, 11), numbersOf(analysis));
    std::set<Slot> factorization = kWrittenByEachCall;
    factorization.insert({Slot::PerturbedPivots, Slot::PositivePivots, Slot::NegativePivots});
    EXPECT_EQ(writtenBy(call, 22), numbersOf(factorization));
    std::set<Slot> solve = kWrittenByEachCall;
    solve.insert(Slot::RefinementSteps);
    EXPECT_EQ(writtenBy(call, 33), numbersOf(solve));
    EXPECT_EQ(writtenBy(call, 0), numbersOf(kWrittenByEachCall));
}

TEST(PardisoParameters, IterationAndFailuresWriteTheirs)
{
    EngineCall iterating(tridiagonal(60, true), -2);
    iterating.set(numberOf(Slot::IterativePath), -62);
    EXPECT_EQ(iterating.run(13), 0);
    EXPECT_GT(iterating.iparm(numberOf(Slot::IterationResult)), 0);

    EngineCall singular(Rows{3, {1, 1, 1, 1, 1, 1}, {1, 3, 5, 7}, {1, 2, 1, 2, 1, 2}});
    singular.set(numberOf(Slot::Matching), 1);
    EXPECT_EQ(singular.run(11), -6);
    EXPECT_EQ(singular.iparm(numberOf(Slot::FailingEquation)), 0); // no number has failed

    EngineCall unsorted(tridiagonal(4));
    unsorted.set(numberOf(Slot::MatrixCheck), 1);
    std::swap(unsorted.A.ja[0], unsorted.A.ja[1]);
    EXPECT_EQ(unsorted.run(11), -1);
    EXPECT_EQ(unsorted.iparm(numberOf(Slot::CheckFirst)), 1);
    EXPECT_EQ(unsorted.iparm(numberOf(Slot::CheckSecond)), 2);
    EXPECT_EQ(unsorted.iparm(numberOf(Slot::CheckThird)), 1);
    EXPECT_EQ(unsorted.iparm(numberOf(Slot::MatrixCheck)), 1) << "not passed";
}

TEST(PardisoParameters, OfADiagonalMatrixMarkItUntilTheCallerClearsTheMark)
{
    EngineCall call(diagonal({2, -4}));
    EXPECT_EQ(call.run(13), 0);
    EXPECT_EQ(call.iparm(numberOf(Slot::Transpose)), -1);
    EXPECT_EQ(call.iparm(numberOf(Slot::PositivePivots)), 1);
    EXPECT_EQ(call.iparm(numberOf(Slot::NegativePivots)), 1);
    call.A = tridiagonal(2);
    EXPECT_EQ(call.run(11), 0);
    EXPECT_EQ(call.pt[0], nullptr) << "no work was done";
    call.set(numberOf(Slot::Transpose), 0);
    EXPECT_EQ(call.run(11), 0);
    EXPECT_NE(call.pt[0], nullptr);
}

/// An arrow: the first row and column and the diagonal. Eliminated last, equation 1 fills nothing.
Rows arrow(int n)
{
    Rows A{n, {}, {1}, {}};
    for (int j = 1; j <= n; ++j) {
        A.ja.push_back(j);
        A.a.push_back(j == 1 ? n : 1.);
    }
    A.ia.push_back(n + 1);
    for (int i = 2; i <= n; ++i) {
        A.ja.push_back(i);
        A.a.push_back(2.);
        A.ia.push_back(A.ia.back() + 1);
    }
    return A;
}

// Read the other way round, place by equation, it would put the last equation first and equation 1 second,
// which fills everything.
TEST(PardisoParameters, PermutationIsTheOldNumberByTheNewOne)
{
    constexpr int n = 200;
    EngineCall call(arrow(n), 2);
    call.set(numberOf(Slot::PermutationUse), 1);
    call.set(numberOf(Slot::FactorNonZeros), -1);
    for (int k = 1; k < n; ++k) call.perm[static_cast<std::size_t>(k) - 1] = k + 1;
    call.perm[n - 1] = 1;
    EXPECT_EQ(call.run(11), 0);
    const int sparse = call.iparm(numberOf(Slot::FactorNonZeros));
    for (int k = 1; k < n; ++k) call.perm[static_cast<std::size_t>(k)] = k;
    call.perm[0] = n;
    call.set(numberOf(Slot::FactorNonZeros), -1);
    EXPECT_EQ(call.run(11), 0);
    const int full = call.iparm(numberOf(Slot::FactorNonZeros));
    EXPECT_GT(full, n * (n - 1) / 2 - n);
    EXPECT_LT(sparse, full / 2);
}

} // namespace
} // namespace Velmar::Lintrix::testing
