// The solve as callers see it: places of the solution, parts, transposition, refinement, memory.

#include "tests/engine/solution/solve_observation.h"
#include "tests/support/failing_allocator.h"

#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

/// Diagonal entries 1 and one of `small`, and a weak bond that keeps the matrix from being diagonal.
System<double> nearlyDiagonal(double small)
{
    System<double> A{11, 3, {1}, {}, {}};
    A.put(0, 1.0);
    A.put(1, 0.25);
    A.endRow();
    A.put(1, 1.0);
    A.endRow();
    A.put(2, small);
    A.endRow();
    return A;
}

/// A call for it without matching, whose pivots up to 0.1 are perturbed.
struct Perturbed : SolveCall<double> {
    explicit Perturbed(double small) : SolveCall(nearlyDiagonal(small))
    {
        set(10, 1);
        set(11, 0);
        set(13, 0);
    }
};

// The solution's place.

TEST(SolutionPlace, OneMeansTheRightHandSideIsOverwritten)
{
    for (const int sides : {1, 5}) {
        SolveCall<double> call(systemOf<double>(gridShape(9, 9, 1), 11), sides);
        call.set(6, 1);
        const std::vector<double> b = call.b;
        ASSERT_EQ(call.run(13), 0);
        EXPECT_LT(call.scaledResidual(b, call.b), 1e-12);
        for (const auto& [slot, value] :
             {std::pair(8, 2), std::pair(8, -2), std::pair(4, 61), std::pair(4, 62)}) {
            call.b = b;
            call.set(slot, value);
            ASSERT_EQ(call.run(33), 0);
            EXPECT_LT(call.scaledResidual(b, call.b), 1e-12) << slot << ' ' << value;
        }
    }
}

TEST(SolutionPlace, ZeroLeavesTheRightHandSide)
{
    SolveCall<double> call(systemOf<double>(gridShape(9, 9, 1), -2), 3);
    const std::vector<double> b = call.b;
    ASSERT_EQ(call.run(13), 0);
    for (const int limit : {0, 2, -2}) {
        call.set(8, limit);
        ASSERT_EQ(call.run(33), 0);
        EXPECT_EQ(call.b, b);
    }
}

TEST(RightHandSides, NoneAreNoWork)
{
    SolveCall<double> call(systemOf<double>(gridShape(5, 5, 1), 11), 0);
    call.set(8, 3);
    EXPECT_EQ(call.run(13), 0);
    EXPECT_EQ(call.run(23), 0);
    EXPECT_EQ(call.iparm(7), 0);
    EXPECT_EQ(call.run(33), -1);
}

// Parts.

TEST(PartsOfASolve, InTurnAreTheWhole)
{
    for (const int mtype : {1, 2, -2, 11}) {
        for (const int transpose : {0, 1}) {
            for (const int place : {0, 1}) {
                SolveCall<double> call(systemOf<double>(gridShape(7, 8, 1), mtype), 2);
                call.set(12, transpose);
                const std::vector<double> b = call.b;
                ASSERT_EQ(call.run(13), 0);
                const std::vector<double> whole = call.x;
                call.set(6, place);
                call.set(8, 3); // parts are not refined
                for (const int part : {331, 332, 333}) {
                    ASSERT_EQ(call.run(part), 0);
                    if (place == 0) call.b = call.x;
                }
                EXPECT_EQ(call.b, whole) << mtype << ' ' << transpose;
                EXPECT_EQ(call.iparm(7), 0);
            }
        }
    }
}

TEST(PartsOfASolve, MakeAFactorWhereThereIsNone)
{
    SolveCall<double> call(systemOf<double>(gridShape(7, 8, 1), 2));
    ASSERT_EQ(call.run(11), 0);
    for (const int part : {331, 332, 333}) {
        ASSERT_EQ(call.run(part), 0);
        call.b.swap(call.x);
    }
    const std::vector<double> stepwise = call.b;
    const SolveCall<double> untouched(systemOf<double>(gridShape(7, 8, 1), 2));
    EXPECT_LT(call.scaledResidual(untouched.b, stepwise), 1e-12);
}

TEST(PartsOfASolve, TheFourthIsNone)
{
    SolveCall<double> call(systemOf<double>(gridShape(7, 8, 1), 2));
    ASSERT_EQ(call.run(12), 0);
    EXPECT_EQ(call.run(334), -1);
}

// Transposition.

TEST(Transposition, IsForcedOffForSymmetricTypes)
{
    for (const int mtype : {2, -2}) {
        SolveCall<double> call(systemOf<double>(gridShape(7, 8, 1), mtype));
        call.set(12, 1);
        call.set(8, 1);
        ASSERT_EQ(call.run(13), 0);
        EXPECT_LT(call.scaledResidual(), 1e-12);
    }
    using Complex = std::complex<double>;
    for (const int mtype : {4, -4, 6}) {
        SolveCall<Complex> call(systemOf<Complex>(gridShape(7, 8, 1), mtype));
        call.set(12, 1);
        call.set(8, 1);
        ASSERT_EQ(call.run(13), 0);
        EXPECT_LT(call.scaledResidual(), 1e-12);
    }
}

TEST(Transposition, OfComplexMatricesDoesNotConjugate)
{
    using Complex = std::complex<double>;
    for (const int mtype : {3, 13}) {
        for (const int iterative : {0, 61}) {
            SolveCall<Complex> call(systemOf<Complex>(gridShape(7, 8, 1), mtype));
            call.set(12, 1);
            call.set(4, iterative);
            ASSERT_EQ(call.run(13), 0);
            EXPECT_LT(call.scaledResidual(), 1e-12);
        }
    }
}

// Refinement.

TEST(Refinement, OneStepIsOneStep)
{
    for (const int phase : {13, 23, 33}) {
        SolveCall<double> call(systemOf<double>(gridShape(9, 9, 1), 11));
        ASSERT_EQ(call.run(12), 0);
        call.set(8, 1);
        ASSERT_EQ(call.run(phase), 0);
        EXPECT_EQ(call.iparm(7), 1);
        EXPECT_EQ(call.iparm(20), 0);
    }
}

TEST(Refinement, RunsUnaskedAfterPerturbedPivotsAndSaysSo)
{
    Perturbed call(0.05);
    ASSERT_EQ(call.run(13), 0);
    EXPECT_EQ(call.iparm(14), 1);
    EXPECT_EQ(call.iparm(7), 2);
    EXPECT_EQ(call.iparm(20), -34);
    EXPECT_NEAR(call.x[2], call.b[2] * (1 - 0.125) / 0.05, 1e-12); // the error halves: 1/2, 1/4, 1/8
}

TEST(Refinement, RunsWhenTheCallerSaysThatPivotsWerePerturbed)
{
    SolveCall<double> call(systemOf<double>(gridShape(9, 9, 1), 11));
    ASSERT_EQ(call.run(13), 0);
    EXPECT_EQ(call.iparm(7), 0);
    call.set(14, 1);
    ASSERT_EQ(call.run(33), 0);
    EXPECT_EQ(call.iparm(7), 2);
    call.set(14, -1); // sums to zero with the stored count
    call.set(20, 0);
    ASSERT_EQ(call.run(33), 0);
    EXPECT_EQ(call.iparm(14), 0);
    EXPECT_EQ(call.iparm(7), 0);
    EXPECT_EQ(call.iparm(20), 0);
}

TEST(Refinement, IsSwitchedOffWholly)
{
    Perturbed call(0.05);
    call.set(26, 1);
    for (const int limit : {0, 3, -3}) {
        call.set(8, limit);
        ASSERT_EQ(call.run(13), 0);
        EXPECT_EQ(call.iparm(14), 1);
        EXPECT_EQ(call.iparm(7), 0);
        EXPECT_EQ(call.iparm(20), 0);
        EXPECT_NEAR(call.x[2], call.b[2] / 0.1, 1e-12);
    }
}

TEST(Refinement, OfZerosStopsByCount)
{
    Perturbed call(0.05);
    std::fill(call.b.begin(), call.b.end(), 0.0);
    for (const auto& [limit, steps] : {std::pair(0, 2), std::pair(3, 3), std::pair(-3, 3)}) {
        call.set(8, limit);
        ASSERT_EQ(call.run(13), 0);
        EXPECT_EQ(call.iparm(7), steps);
        EXPECT_EQ(call.x, call.b);
    }
}

TEST(Refinement, AStagnantResidualStopsAfterThreeStepsMore)
{
    SolveCall<double> call(systemOf<double>(gridShape(9, 9, 1), 2));
    call.set(8, 5);
    ASSERT_EQ(call.run(13), 0);
    EXPECT_GE(call.iparm(7), 4); // at roundoff
    EXPECT_LE(call.iparm(7), 5);
    Perturbed poor(1e-9);
    poor.b = {0, 0, 1};
    poor.set(8, 100);
    ASSERT_EQ(poor.run(13), 0); // a fifth of the solution is new in the last step
    EXPECT_EQ(poor.iparm(7), 4);
}

TEST(Refinement, OfAnotherMatrixFailsWithItsText)
{
    SolveCall<double> call(systemOf<double>(gridShape(9, 9, 1), 11));
    ASSERT_EQ(call.run(12), 0);
    for (double& value : call.A.a) value = -value;
    for (const int limit : {6, -6}) {
        call.set(8, limit);
        call.msglvl = -1; // failures, without progress of the next test's factorizations
        ::testing::internal::CaptureStdout();
        EXPECT_EQ(call.run(33), -4);
        EXPECT_EQ(::testing::internal::GetCapturedStdout(),
                  "*** Error in PARDISO  ( numerical_factorization) error_num= -112\n"
                  "*** error PARDISO: iterative refinement\n"
                  " contraction rate is greater than 0.9, interrupt\n");
        EXPECT_EQ(call.iparm(30), -112);
        EXPECT_EQ(call.iparm(7), 4);
    }
    call.msglvl = 0;
    for (double& value : call.A.a) value = -value;
    EXPECT_EQ(call.run(33), 0);
}

// Memory.

TEST(SolveWorkSpace, IsToldByNameAndNothingIsTouched)
{
    for (const int limit : {0, 1}) {
        SolveCall<double> call(systemOf<double>(gridShape(9, 9, 1), 11), 2);
        ASSERT_EQ(call.run(12), 0);
        call.set(8, limit);
        call.msglvl = -1;
        const std::vector<double> b = call.b, x = call.x;
        for (int k = 0; k <= limit; ++k) {
            ::testing::internal::CaptureStdout();
            int error = 0;
            {
                const FailingAllocator failing(k);
                error = call.run(33);
            }
            const std::string text = ::testing::internal::GetCapturedStdout();
            EXPECT_EQ(error, -2);
            const char* const name = k == 0 ? "WORK_R0 , size" : "CGS_ARR , size";
            EXPECT_NE(text.find(name), std::string::npos) << text;
            EXPECT_EQ(call.b, b);
            EXPECT_EQ(call.x, x);
            if (k == 0) {
                EXPECT_FALSE(Handle(call.pt.data()).holds(Slot::RealWork));
            }
        }
        call.msglvl = 0;
        ASSERT_EQ(call.run(33), 0);
        EXPECT_LT(call.scaledResidual(), 1e-12);
    }
}

TEST(SolveWorkSpace, IsKeptForTheNextCall)
{
    SolveCall<double> call(systemOf<double>(gridShape(9, 9, 1), 11), 5);
    call.set(8, 1);
    ASSERT_EQ(call.run(13), 0);
    void *const real = call.pt[9], *const iteration = call.pt[10];
    ASSERT_NE(real, nullptr);
    ASSERT_NE(iteration, nullptr);
    call.nrhs = 2;
    ASSERT_EQ(call.run(33), 0);
    EXPECT_EQ(call.pt[9], real);
    EXPECT_EQ(call.pt[10], iteration);
    ASSERT_EQ(call.run(11), 0);
    EXPECT_EQ(call.pt[9], nullptr);
    EXPECT_EQ(call.pt[10], nullptr);
}

template <class T>
void holdsTheToldVectors(int mtype, int extendedVectors)
{
    SolveCall<T> call(systemOf<T>(gridShape(9, 9, 1), mtype), 3);
    for (const auto& [limit, vectors] : {std::pair(1, 2), std::pair(-1, extendedVectors)}) {
        call.set(8, limit);
        ASSERT_EQ(call.run(13), 0);
        const ControlBlock& control = Handle(call.pt.data()).control();
        const std::int64_t least =
            (std::int64_t{vectors} * call.A.n + 2 * control[WideWord::LargestUpdate]) * 3;
        EXPECT_GE(control[WideWord::IterationWorkBytes], least * std::int64_t{sizeof(T)});
    }
}

TEST(SolveWorkSpace, OfRefinementHoldsTheToldVectorsAndTheLargestUpdateTwice)
{
    holdsTheToldVectors<double>(-2, 4);
    holdsTheToldVectors<std::complex<double>>(6, 5);
}

TEST(SolveWorkSpace, TooManyRightHandSidesAreMemoryThatIsNotThere)
{
    SolveCall<double> call(systemOf<double>(gridShape(9, 9, 1), 11));
    ASSERT_EQ(call.run(12), 0);
    call.set(8, 1);
    call.nrhs = 2147483647;
    EXPECT_EQ(call.run(33), -2);
    call.nrhs = 1;
    EXPECT_EQ(call.run(33), 0);
}

// Several factors.

TEST(SeveralFactors, AreEachSolvedWithTheirOwn)
{
    SolveCall<double> call(systemOf<double>(gridShape(9, 9, 1), 11));
    call.maxfct = 3;
    ASSERT_EQ(call.run(11), 0);
    std::vector<std::vector<double>> solutions;
    for (call.mnum = 1; call.mnum <= 3; ++call.mnum) {
        ASSERT_EQ(call.run(23), 0);
        solutions.push_back(call.x);
        for (double& value : call.A.a) value *= 2;
    }
    for (call.mnum = 1; call.mnum <= 3; ++call.mnum) {
        ASSERT_EQ(call.run(33), 0);
        EXPECT_EQ(call.x, solutions[static_cast<std::size_t>(call.mnum) - 1]);
    }
    call.mnum = 2;
    ASSERT_EQ(call.run(0), 0);
    const FactorizationCount factorizations;
    ASSERT_EQ(call.run(33), 0); // as phase 23
    EXPECT_EQ(factorizations.count(), 1);
}

} // namespace
} // namespace Velmar::Lintrix::testing
