// SparseSolver's own decisions: settings, the order of engine calls, failures, release. The engine's place is
// taken by a recorder.

#include <lintrix/solvers/sparse_solver.h>

#include "tests/solvers/engine_recorder.h"
#include "tests/support/expect_failure.h"
#include "tests/support/failing_allocator.h"

#include <lintrix/foundation/configuration.h>
#include <lintrix/services/hardening.h>
#include <lintrix/sparse/access.h>

#include <gmock/gmock.h>

#include <climits>
#include <limits>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix::testing {
namespace {

using detail::SparseAccess;
using ::testing::Each;
using ::testing::ElementsAre;

constexpr const char* kReleased = "The object was used after its release.";
constexpr const char* kAnalysisFailed = "Error during matrix analysis phase.";
constexpr const char* kFactorizationFailed = "Error during matrix factorization and solve phase.";
constexpr const char* kPatternChanged =
    "The pattern of a solver's matrix must not change after its analysis.";
constexpr const char* kSolveFailed = "Error during matrix solve phase.";

SparseMatrix general()
{
    return SparseMatrix({4.0, 1.0, 3.0, 1.0, 5.0}, {1, 3, 4, 6}, {1, 2, 2, 1, 3});
}

SparseMatrix symmetric()
{
    SparseMatrix A(3, true);
    for (int i = 0; i < 3; ++i) A.Item(i, i, 4.0 + i);
    A.Item(0, 2, 1.0);
    return A;
}

/// The parameters as the engine's next call sees them.
EngineCall callOf(SparseSolver& solver, EngineRecorder& engine)
{
    solver.Solve(Vector(3));
    return engine.calls.back();
}

// --- Settings ---

TEST(SparseSolver, ANewSolverOfAGeneralMatrixHasTheToldSettings)
{
    const SparseMatrix A = general();
    const SparseSolver solver(A);
    EXPECT_EQ(solver.PivotEpsilon(), 1e-13);
    EXPECT_EQ(solver.StoppingTolerance(), 1e-06);
    EXPECT_EQ(solver.RefinementSteps(), 0);
    EXPECT_EQ(solver.FactorizationStrategy(), FactorizationStrategy::ComputeWhenNeeded);
    EXPECT_EQ(solver.FillInReducingMethod(), FillInReducingMethod::NestedDissection);
    EXPECT_EQ(solver.MatrixType(), MatrixType::Unsymmetric);
    EXPECT_EQ(solver.Status(), SolverStatus::Success);
    EXPECT_FALSE(solver.Stopped());
}

TEST(SparseSolver, OnASymmetricMatrixTypeAndPivotEpsilonDiffer)
{
    const SparseMatrix A = symmetric();
    const SparseSolver solver(A);
    EXPECT_EQ(solver.MatrixType(), MatrixType::Indefinite);
    EXPECT_EQ(solver.PivotEpsilon(), 1e-08);
    EXPECT_EQ(solver.StoppingTolerance(), 1e-06);
}

TEST(SparseSolver, TheParametersOfANewSolver)
{
    EngineRecorder engine;
    const SparseMatrix A = general(), B = symmetric();
    SparseSolver first(A), second(B);
    for (const bool sym : {false, true}) {
        const EngineCall call = callOf(sym ? second : first, engine);
        std::array<int, 64> expected{};
        expected[0] = 1;
        expected[1] = 2;
        expected[2] = TrellConfiguration::GetMaxThreads();
        expected[3] = sym ? 62 : 61;
        expected[9] = sym ? 8 : 13;
        expected[10] = sym ? 0 : 1;
        expected[12] = sym ? 0 : 1;
        EXPECT_EQ(call.parameters, expected) << "symmetric " << sym;
        EXPECT_EQ(call.mtype, sym ? -2 : 11);
    }
}

TEST(SparseSolver, TheConstructorCallsNoPhaseAndDoesNotLookAtTheMatrix)
{
    EngineRecorder engine;
    const SparseMatrix wide(2, 5);
    EXPECT_NO_THROW(const SparseSolver solver(wide));
    EXPECT_THAT(engine.phases(), ElementsAre(-1));
}

TEST(SparseSolver, APositiveRefinementCountBecomesZeroAndANegativeOneStays)
{
    EngineRecorder engine;
    const SparseMatrix A = general();
    SparseSolver solver(A);
    solver.RefinementSteps(5);
    EXPECT_EQ(solver.RefinementSteps(), 0);
    solver.RefinementSteps(-3);
    EXPECT_EQ(solver.RefinementSteps(), -3);
    EXPECT_EQ(callOf(solver, engine).iparm(8), -3);
}

struct IterationCase {
    bool sym;
    FactorizationStrategy strategy;
    double tolerance;
    int slot;
};

TEST(SparseSolver, ToleranceAndStrategyShareASlot)
{
    constexpr auto kAlways = FactorizationStrategy::ComputeAlways;
    constexpr auto kNeeded = FactorizationStrategy::ComputeWhenNeeded;
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    for (const IterationCase& c :
         {IterationCase{false, kNeeded, 0.0, 1}, IterationCase{true, kNeeded, 0.0, 2},
          IterationCase{false, kAlways, 0.0, 0}, IterationCase{false, kAlways, 1e-3, 30},
          IterationCase{true, kNeeded, 1e-12, 122}, IterationCase{false, kNeeded, 1e3, -29},
          // Exponents 2.5 and 3.5, or as near as a double comes to them, go to the nearest integer.
          IterationCase{false, kAlways, 2e-3, 30}, IterationCase{false, kAlways, 4e-3, 20},
          // No tolerance is refused: the smallest integer, times ten, wraps to 0.
          IterationCase{false, kNeeded, -1.0, 1}, IterationCase{true, kNeeded, kNaN, 2},
          IterationCase{false, static_cast<FactorizationStrategy>(7), 1e-6, 61}}) {
        EngineRecorder engine;
        const SparseMatrix A = c.sym ? symmetric() : general();
        SparseSolver solver(A);
        solver.FactorizationStrategy(c.strategy);
        solver.StoppingTolerance(c.tolerance);
        EXPECT_EQ(callOf(solver, engine).iparm(4), c.slot) << c.tolerance;
        solver.StoppingTolerance(1e-6);
        solver.FactorizationStrategy(kNeeded);
        EXPECT_EQ(callOf(solver, engine).iparm(4), c.sym ? 62 : 61) << "both writers compute the slot";
        EXPECT_EQ(solver.StoppingTolerance(), 1e-6);
        EXPECT_EQ(solver.FactorizationStrategy(), kNeeded);
    }
}

TEST(SparseSolver, ThePivotEpsilonBecomesAnExponentAndIsReadAsWritten)
{
    EngineRecorder engine;
    const SparseMatrix A = general();
    SparseSolver solver(A);
    for (const auto& [value, slot] :
         {std::pair{1e-10, 10}, {3e-10, 10}, {4e-10, 9}, {1.0, 0}, {1e5, -5}, {0.0, INT_MIN}}) {
        solver.PivotEpsilon(value);
        EXPECT_EQ(solver.PivotEpsilon(), value);
        EXPECT_EQ(callOf(solver, engine).iparm(10), slot) << value;
    }
}

TEST(SparseSolver, TheOrderingGoesToItsSlotUnchecked)
{
    EngineRecorder engine;
    const SparseMatrix A = general();
    SparseSolver solver(A);
    for (const int value : {0, 3, 2, 17}) {
        solver.FillInReducingMethod(static_cast<FillInReducingMethod>(value));
        EXPECT_EQ(solver.FillInReducingMethod(), static_cast<FillInReducingMethod>(value));
        EXPECT_EQ(callOf(solver, engine).iparm(2), value);
    }
}

TEST(SparseSolver, TheMatrixTypeBecomesTheEnginesNumberAndChangesNothingElse)
{
    EngineRecorder engine;
    const SparseMatrix A = symmetric();
    SparseSolver solver(A);
    const std::array<int, 64> before = callOf(solver, engine).parameters;
    for (const auto& [written, number, read] :
         {std::tuple{MatrixType::StructurallySymmetric, 1, MatrixType::StructurallySymmetric},
          {MatrixType::PositiveDefinite, 2, MatrixType::PositiveDefinite},
          {MatrixType::Indefinite, -2, MatrixType::Indefinite},
          {MatrixType::Unsymmetric, 11, MatrixType::Unsymmetric},
          {static_cast<MatrixType>(9), 11, MatrixType::Unsymmetric}}) {
        solver.MatrixType(written);
        const EngineCall call = callOf(solver, engine);
        EXPECT_EQ(call.mtype, number);
        EXPECT_EQ(solver.MatrixType(), read);
        EXPECT_EQ(call.parameters, before);
    }
    solver.FactorizationStrategy(FactorizationStrategy::ComputeWhenNeeded);
    EXPECT_EQ(callOf(solver, engine).iparm(4), 62) << "K goes by the matrix the solver was made of";
}

// --- Calls ---

TEST(SparseSolver, FiveColumnsAreOneAnalysisOneFactorizationAndFourSolves)
{
    EngineRecorder engine;
    const SparseMatrix A = general();
    SparseSolver solver(A);
    const Matrix B(3, 5);
    const Matrix X = solver.Solve(B);
    EXPECT_EQ(X.Rows(), 3);
    EXPECT_EQ(X.Cols(), 5);
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 33, 33, 33, 33));
    solver.Solve(B);
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 33, 33, 33, 33, 23, 33, 33, 33, 33));

    const auto* const b = static_cast<const double*>(engine.calls[1].b);
    const auto* const x = static_cast<const double*>(engine.calls[1].x);
    EXPECT_EQ(engine.calls[0].b, b);
    EXPECT_NE(engine.calls[0].x, x) << "the analysis gets a number in the place of x";
    for (int j = 0; j < 5; ++j) {
        EXPECT_EQ(engine.calls[static_cast<std::size_t>(j) + 1].b, b + 3 * j);
        EXPECT_EQ(engine.calls[static_cast<std::size_t>(j) + 1].x, x + 3 * j);
    }
}

TEST(SparseSolver, AVectorIsOneAnalysisAndOneFactorization)
{
    EngineRecorder engine;
    const SparseMatrix A = general();
    SparseSolver solver(A);
    EXPECT_EQ(solver.Solve(Vector(3)).Length(), 3);
    EXPECT_EQ(solver.Solve(Vector(3)).Length(), 3);
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23));
}

TEST(SparseSolver, TheEngineGetsTheArraysAsTheyStand)
{
    EngineRecorder engine;
    SparseMatrix A = general();
    {
        SparseSolver solver(A);
        solver.Solve(Matrix(3, 2));
        for (const EngineCall& call : engine.calls) {
            EXPECT_EQ(call.a, SparseAccess::values(A));
            EXPECT_EQ(call.ia, SparseAccess::rowPointers(A));
            EXPECT_EQ(call.ja, SparseAccess::columns(A));
            EXPECT_EQ(call.n, 3);
            EXPECT_EQ(call.maxfct, 1);
            EXPECT_EQ(call.mnum, 1);
            EXPECT_EQ(call.nrhs, 1);
            EXPECT_EQ(call.msglvl, 0);
            EXPECT_NE(call.perm, nullptr);
            EXPECT_EQ(call.pt, engine.calls[0].pt);
            EXPECT_THAT(call.handle, Each(nullptr));
        }
        A.Capacity(1000); // moves the arrays
        solver.Solve(Vector(3));
        EXPECT_EQ(engine.calls.back().a, SparseAccess::values(A));
        EXPECT_EQ(engine.calls.back().ja, SparseAccess::columns(A));
    }
    const EngineCall last = engine.calls.back();
    EXPECT_EQ(last.phase, -1);
    EXPECT_EQ(last.n, 3);
    EXPECT_EQ(last.nrhs, 1);
    EXPECT_NE(last.a, SparseAccess::values(A)) << "stand-ins: the matrix may be gone";
    EXPECT_NE(last.ia, SparseAccess::rowPointers(A));
    EXPECT_NE(last.ja, SparseAccess::columns(A));
}

TEST(SparseSolver, AMatrixThatHasMovedIsHandedOverWhereItStands)
{
    EngineRecorder engine;
    SparseMatrix A = general();
    SparseSolver solver(A);
    solver.Solve(Vector(3));
    const double* const before = SparseAccess::values(A);
    SparseMatrix other = general();
    std::swap(A, other); // both are still there, so the addresses differ
    for (int i = 0; i < 3; ++i) A.Item(i, i == 2 ? 0 : 1, 7.0 + i);
    ASSERT_NE(SparseAccess::values(A), before);
    solver.Solve(Vector(3));
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23));
    EXPECT_EQ(engine.calls[2].a, SparseAccess::values(A));
    EXPECT_EQ(engine.calls[2].ia, SparseAccess::rowPointers(A));
    EXPECT_EQ(engine.calls[2].ja, SparseAccess::columns(A));
}

TEST(SparseSolver, AGrownMatrixIsHandedOverAsItStandsAndNotAnalysedAgain)
{
    EngineRecorder engine;
    SparseMatrix A = general();
    SparseSolver solver(A);
    solver.Solve(Vector(3));
    for (int j = 0; j < 3; ++j) A.Item(1, j, 7.0 + j);
    if (detail::kHardened) {
        expectFailure<InvalidOperationException>([&] { solver.Solve(Vector(3)); }, kPatternChanged);
        EXPECT_THAT(engine.phases(), ElementsAre(11, 23));
        return;
    }
    solver.Solve(Matrix(3, 2));
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23, 33));
    const EngineCall& call = engine.calls[2];
    EXPECT_EQ(call.a, SparseAccess::values(A));
    EXPECT_EQ(call.ia, SparseAccess::rowPointers(A));
    EXPECT_EQ(call.ja, SparseAccess::columns(A));
    EXPECT_EQ(call.ia[3], 8);
}

TEST(SparseSolver, TheSymmetricFlagIsReadOnce)
{
    EngineRecorder engine;
    SparseMatrix A = symmetric();
    SparseSolver solver(A);
    A.Symmetric(false);
    solver.StoppingTolerance(1e-4);
    const EngineCall call = callOf(solver, engine);
    EXPECT_EQ(call.mtype, -2);
    EXPECT_EQ(call.iparm(4), 42);
}

TEST(SparseSolver, ANonSquareMatrixIsRefusedByTheHardenedBuildOnly)
{
    EngineRecorder engine;
    const SparseMatrix A(2, 5);
    SparseSolver solver(A);
    if (detail::kHardened) {
        expectFailure<InvalidOperationException>([&] { solver.Solve(Vector(2)); },
                                                 "The matrix of a solver must be square.");
    } else {
        EXPECT_EQ(solver.Solve(Vector(2)).Length(), 5);
        EXPECT_EQ(solver.Solve(Matrix(2, 3)).Rows(), 5);
    }
}

// Each number of elements stays: one moves to another column, or to another row.
TEST(SparseSolver, AChangedPatternIsRefusedByTheHardenedBuildOnly)
{
    const SparseMatrix otherColumn({4.0, 1.0, 3.0, 1.0, 5.0}, {1, 3, 4, 6}, {1, 3, 2, 1, 3});
    const SparseMatrix otherRow({4.0, 1.0, 3.0, 1.0, 5.0}, {1, 3, 5, 6}, {1, 2, 2, 3, 3});
    for (const SparseMatrix& changed : {otherColumn, otherRow}) {
        EngineRecorder engine;
        SparseMatrix A = general();
        SparseSolver solver(A);
        solver.Solve(Vector(3));
        A = changed;
        if (detail::kHardened) {
            expectFailure<InvalidOperationException>([&] { solver.Solve(Vector(3)); }, kPatternChanged);
            expectFailure<SizeMismatchException>([&] { solver.Solve(Matrix(4, 1)); },
                                                 "Matrix sizes do not match.");
            A = general();
        }
        solver.Solve(Vector(3));
        EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23));
    }
}

TEST(SparseSolver, APatternMayChangeBeforeAnAnalysisHasPassed)
{
    EngineRecorder engine;
    SparseMatrix A = general();
    SparseSolver solver(A);
    A.Item(1, 0, 2.0);
    engine.answerCall(11, 0, -3);
    EXPECT_THROW(solver.Solve(Vector(3)), OperationFailedException);
    A.Item(1, 2, 2.0);
    solver.Solve(Vector(3));
    EXPECT_THAT(engine.phases(), ElementsAre(11, 11, 23));
}

// The engine divides each row by its only value and does not look at the column.
TEST(SparseSolver, SoleElementsBesideTheDiagonalAreRefusedByTheHardenedBuildOnly)
{
    const SparseMatrix A({2.0, 4.0, 5.0}, {1, 2, 3, 4}, {2, 1, 3}); // x = (2, 1/2, 1)
    SparseSolver solver(A);
    const Vector b({1.0, 8.0, 5.0});
    if (detail::kHardened) {
        expectFailure<InvalidOperationException>([&] { solver.Solve(b); },
                                                 "The only element of each row must stand on the diagonal.");
        return;
    }
    const Vector x = solver.Solve(b);
    EXPECT_EQ(x[0], 0.5);
    EXPECT_EQ(x[1], 2.0);
    EXPECT_EQ(x[2], 1.0);
}

TEST(SparseSolver, ADiagonalMatrixThatIsNoneIsToldByTheEngine)
{
    for (const SparseMatrix& A : {SparseMatrix({2.0, 4.0, 5.0}, {1, 3, 3, 4}, {1, 2, 3}),    // an empty row
                                  SparseMatrix({2.0, 0.0, 5.0}, {1, 2, 3, 4}, {1, 2, 3})}) { // a stored zero
        SparseSolver solver(A);
        expectFailure<OperationFailedException>([&] { solver.Solve(Vector(3)); }, kFactorizationFailed);
        EXPECT_EQ(solver.Status(), SolverStatus::OtherError);
    }
}

// --- Failures ---

TEST(SparseSolver, WrongSizesFailBeforeAnythingElseEachInItsOwnWay)
{
    EngineRecorder engine;
    const SparseMatrix A = general();
    SparseSolver solver(A);
    for (const int size : {1, 2, 4}) {
        expectFailure<InvalidSizeException>([&] { solver.Solve(Vector(size)); },
                                            "Invalid number of rows or columns.");
        expectFailure<SizeMismatchException>([&] { solver.Solve(Matrix(size, 2)); },
                                             "Matrix sizes do not match.");
    }
    EXPECT_THAT(engine.calls, ::testing::IsEmpty());
    EXPECT_EQ(solver.Status(), SolverStatus::Success);
}

TEST(SparseSolver, AFailedAnalysisIsTriedAgain)
{
    EngineRecorder engine;
    const SparseMatrix A = general();
    SparseSolver solver(A);
    engine.answer(11, -3);
    expectFailure<OperationFailedException>([&] { solver.Solve(Vector(3)); }, kAnalysisFailed);
    EXPECT_EQ(solver.Status(), SolverStatus::ReorderingProblem);
    expectFailure<OperationFailedException>([&] { solver.Solve(Matrix(3, 2)); }, kAnalysisFailed);
    engine.answer(11, 0);
    EXPECT_NO_THROW(solver.Solve(Vector(3)));
    EXPECT_EQ(solver.Status(), SolverStatus::Success);
    EXPECT_THAT(engine.phases(), ElementsAre(11, 11, 11, 23));
}

TEST(SparseSolver, AFailedFactorizationKeepsTheAnalysis)
{
    EngineRecorder engine;
    const SparseMatrix A = general();
    SparseSolver solver(A);
    engine.answer(23, -4);
    expectFailure<OperationFailedException>([&] { solver.Solve(Vector(3)); }, kFactorizationFailed);
    EXPECT_EQ(solver.Status(), SolverStatus::ZeroPivot);
    expectFailure<OperationFailedException>([&] { solver.Solve(Matrix(3, 3)); }, kFactorizationFailed);
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23));
}

TEST(SparseSolver, AFailedSolveOfALaterColumnEndsTheRun)
{
    EngineRecorder engine;
    const SparseMatrix A = general();
    SparseSolver solver(A);
    engine.answerCall(33, 1, -2);
    expectFailure<OperationFailedException>([&] { solver.Solve(Matrix(3, 5)); }, kSolveFailed);
    EXPECT_EQ(solver.Status(), SolverStatus::OutOfMemory);
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 33, 33));
}

TEST(SparseSolver, StatusIsTheErrorNegatedAndBelowMinusFiveOther)
{
    const SparseMatrix A = general();
    for (const auto& [error, status] :
         {std::pair{-1, 1}, {-2, 2}, {-3, 3}, {-4, 4}, {-5, 5}, {-6, 5}, {-10, 5}, {INT_MIN, 5}, {7, -7}}) {
        EngineRecorder engine;
        SparseSolver solver(A);
        engine.answer(23, error);
        EXPECT_THROW(solver.Solve(Vector(3)), OperationFailedException);
        EXPECT_EQ(static_cast<int>(solver.Status()), status) << error;
    }
}

TEST(SparseSolver, AFailingAllocationLeavesNothingBehind)
{
    EngineRecorder engine;
    const SparseMatrix A = general();
    EXPECT_EQ(failEachAllocation([&] { const SparseSolver solver(A); }, [] { return true; }), 3)
        << "handle, permutation, parameters";

    SparseSolver solver(A);
    const Vector b(3);
    const Matrix B(3, 2);
    EXPECT_EQ(failEachAllocation([&] { solver.Solve(b); }, [] { return true; }), 1);
    EXPECT_EQ(failEachAllocation([&] { solver.Solve(B); }, [] { return true; }), 1);
    EXPECT_EQ(std::ranges::count(engine.calls, 11, &EngineCall::phase), 1);
}

// --- Progress ---

/// In the engine's place: tells the listener twice, whatever it answers, and fails if it wanted to stop.
void tellTwice(void**, const int&, const int&, const int&, const int& phase, const int&, const void*, int*,
               int*, int*, const int&, int*, const int&, void*, void*, int& error)
{
    const PardisoProgress callback = PardisoProgressScope::current();
    error = 0;
    for (int percent = 0; phase == 23 && percent < 2; ++percent) {
        if (callback.call(callback.context, 0, percent, "", 0) != 0) error = -4;
    }
}

TEST(SparseSolver, AListenerThatHasStoppedTheRunIsNotToldAgain)
{
    const EngineRecorder restoresTheEngine;
    detail::engineEntry() = tellTwice;
    const SparseMatrix A = general();
    SparseSolver solver(A);
    int told = 0;
    solver.Progress([&told](int percent) {
        ++told;
        return percent > 0; // would go on after all
    });
    EXPECT_THROW(solver.Solve(Vector(3)), OperationFailedException);
    EXPECT_EQ(told, 1);
    EXPECT_TRUE(solver.Stopped());
}

// --- Life ---

TEST(SparseSolver, ReleaseHappensOnceHoweverOftenItIsAskedFor)
{
    EngineRecorder engine;
    const SparseMatrix A = general();
    {
        SparseSolver solver(A);
        solver.Dispose();
        solver.Dispose();
        EXPECT_THAT(engine.phases(), ElementsAre(-1));
    }
    EXPECT_THAT(engine.phases(), ElementsAre(-1));
    EXPECT_EQ(A.NumElements(), 5) << "the matrix is not disposed with the solver";
}

TEST(SparseSolver, TheErrorOfTheReleaseIsIgnored)
{
    EngineRecorder engine;
    engine.answer(-1, -1);
    const SparseMatrix A = general();
    SparseSolver solver(A);
    solver.Dispose();
    EXPECT_EQ(solver.Status(), SolverStatus::Success);
}

TEST(SparseSolver, AfterReleaseEveryUseIsRefused)
{
    const SparseMatrix A = general();
    SparseSolver solver(A);
    solver.Dispose();
    expectFailure<InvalidOperationException>([&] { solver.Solve(Vector(3)); }, kReleased);
    expectFailure<InvalidOperationException>([&] { solver.Solve(Matrix(3, 1)); }, kReleased);
    expectFailure<InvalidOperationException>([&] { solver.RefinementSteps(); }, kReleased);
    expectFailure<InvalidOperationException>([&] { solver.RefinementSteps(-1); }, kReleased);
    expectFailure<InvalidOperationException>([&] { solver.FillInReducingMethod(); }, kReleased);
    expectFailure<InvalidOperationException>(
        [&] { solver.FillInReducingMethod(FillInReducingMethod::MinimumDegree); }, kReleased);
    expectFailure<InvalidOperationException>([&] { solver.PivotEpsilon(1e-9); }, kReleased);
    expectFailure<InvalidOperationException>([&] { solver.StoppingTolerance(1e-9); }, kReleased);
    expectFailure<InvalidOperationException>(
        [&] { solver.FactorizationStrategy(FactorizationStrategy::ComputeAlways); }, kReleased);
}

TEST(SparseSolver, AfterReleaseWhatIsKeptBesideTheEngineIsStillRead)
{
    const SparseMatrix A = general();
    SparseSolver solver(A);
    solver.Dispose();
    EXPECT_THROW(solver.PivotEpsilon(1e-9), InvalidOperationException);
    EXPECT_THROW(solver.StoppingTolerance(1e-9), InvalidOperationException);
    EXPECT_EQ(solver.PivotEpsilon(), 1e-13);
    EXPECT_EQ(solver.StoppingTolerance(), 1e-06) << "a refused value is not kept";
    EXPECT_EQ(solver.FactorizationStrategy(), FactorizationStrategy::ComputeWhenNeeded);
    EXPECT_EQ(solver.MatrixType(), MatrixType::Unsymmetric);
    EXPECT_EQ(solver.Status(), SolverStatus::Success);
    EXPECT_FALSE(solver.Stopped());
}

TEST(SparseSolver, AfterReleaseAWrongSizeIsStillToldFirst)
{
    const SparseMatrix A = general();
    SparseSolver solver(A);
    solver.Dispose();
    EXPECT_THROW(solver.Solve(Vector(2)), InvalidSizeException);
    EXPECT_THROW(solver.Solve(Matrix(2, 2)), SizeMismatchException);
}

TEST(SparseSolver, AMovedSolverTakesHandleAndAnalysisAlong)
{
    EngineRecorder engine;
    const SparseMatrix A = general(), B = symmetric();
    SparseSolver solver(A);
    solver.Solve(Vector(3));
    void** const handle = engine.calls.back().pt;
    SparseSolver moved(std::move(solver));
    moved.Solve(Vector(3));
    EXPECT_EQ(engine.calls.back().pt, handle);
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23));

    SparseSolver other(B);
    other = std::move(moved);
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23, -1)) << "the handle of B";
    other.Solve(Vector(3));
    EXPECT_EQ(engine.calls.back().pt, handle);
    EXPECT_EQ(other.MatrixType(), MatrixType::Unsymmetric);
}

static_assert(std::is_constructible_v<SparseSolver, SparseMatrix&>);
static_assert(std::is_constructible_v<SparseSolver, const SparseMatrix&>);
static_assert(!std::is_constructible_v<SparseSolver, SparseMatrix>, "it would dangle");
static_assert(!std::is_constructible_v<SparseSolver, const SparseMatrix>);
static_assert(!std::is_copy_constructible_v<SparseSolver> && !std::is_copy_assignable_v<SparseSolver>);
static_assert(std::is_nothrow_move_constructible_v<SparseSolver>);

} // namespace
} // namespace Velmar::Lintrix::testing
