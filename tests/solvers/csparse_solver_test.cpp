// CSparseSolver's own decisions: settings, the order of engine calls, failures, release. The engine's place
// is taken by a recorder. Where it differs from its twin: solver_twins_test.cpp.

#include <lintrix/solvers/csparse_solver.h>

#include "tests/solvers/engine_recorder.h"
#include "tests/support/expect_failure.h"
#include "tests/support/failing_allocator.h"

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
constexpr const char* kWrongSize = "Invalid number of rows or columns.";
constexpr const char* kAnalysisFailed = "Error during matrix analysis phase.";
constexpr const char* kFactorizationFailed = "Error during matrix factorization and solve phase.";
constexpr const char* kPatternChanged =
    "The pattern of a solver's matrix must not change after its analysis.";
constexpr const char* kSolveFailed = "Error during solve phase.";

CSparseMatrix general()
{
    return CSparseMatrix({{4.0, 1.0}, {1.0, -1.0}, 3.0, {0.0, 1.0}, 5.0}, {1, 3, 4, 6}, {1, 2, 2, 1, 3});
}

CSparseMatrix hermitian()
{
    CSparseMatrix A(3, true);
    for (int i = 0; i < 3; ++i) A.Item(i, i, 4.0 + i);
    A.Item(0, 2, {1.0, 2.0});
    return A;
}

/// The parameters as the engine's next call sees them.
EngineCall callOf(CSparseSolver& solver, EngineRecorder& engine)
{
    solver.Solve(CVector(3));
    return engine.calls.back();
}

// --- Settings ---

TEST(CSparseSolver, ANewSolverOfAGeneralMatrixHasTheToldSettings)
{
    const CSparseMatrix A = general();
    const CSparseSolver solver(A);
    EXPECT_EQ(solver.PivotEpsilon(), 1e-13);
    EXPECT_EQ(solver.StoppingTolerance(), 1e-06);
    EXPECT_EQ(solver.RefinementSteps(), 0);
    EXPECT_EQ(solver.FactorizationStrategy(), FactorizationStrategy::ComputeAlways);
    EXPECT_EQ(solver.FillInReducingMethod(), FillInReducingMethod::NestedDissection);
    EXPECT_EQ(solver.MatrixType(), MatrixType::Unsymmetric);
    EXPECT_EQ(solver.Status(), SolverStatus::Success);
    EXPECT_FALSE(solver.Stopped());
}

TEST(CSparseSolver, OnAHermitianMatrixThePivotEpsilonDiffersAndTheTypeReadsTheSame)
{
    const CSparseMatrix A = hermitian();
    const CSparseSolver solver(A);
    EXPECT_EQ(solver.MatrixType(), MatrixType::Unsymmetric);
    EXPECT_EQ(solver.PivotEpsilon(), 1e-08);
    EXPECT_EQ(solver.StoppingTolerance(), 1e-06);
}

TEST(CSparseSolver, TheParametersOfANewSolver)
{
    EngineRecorder engine;
    const CSparseMatrix A = general(), B = hermitian();
    CSparseSolver first(A), second(B);
    for (const bool sym : {false, true}) {
        const EngineCall call = callOf(sym ? second : first, engine);
        std::array<int, 64> expected{};
        expected[0] = 1;
        expected[1] = 2;
        expected[2] = 1;
        expected[3] = 60;
        expected[9] = sym ? 8 : 13;
        expected[10] = sym ? 0 : 1;
        expected[12] = sym ? 0 : 1;
        EXPECT_EQ(call.parameters, expected) << "Hermitian " << sym;
        EXPECT_EQ(call.mtype, sym ? -4 : 13);
    }
}

TEST(CSparseSolver, TheConstructorCallsNoPhaseAndDoesNotLookAtTheMatrix)
{
    EngineRecorder engine;
    const CSparseMatrix wide(2, 5);
    EXPECT_NO_THROW(const CSparseSolver solver(wide));
    EXPECT_THAT(engine.phases(), ElementsAre(-1));
}

TEST(CSparseSolver, APositiveRefinementCountBecomesZeroAndANegativeOneStays)
{
    EngineRecorder engine;
    const CSparseMatrix A = general();
    CSparseSolver solver(A);
    solver.RefinementSteps(5);
    EXPECT_EQ(solver.RefinementSteps(), 0);
    solver.RefinementSteps(-3);
    EXPECT_EQ(solver.RefinementSteps(), -3);
    EXPECT_EQ(callOf(solver, engine).iparm(8), -3);
}

TEST(CSparseSolver, TheSlotOfTheToleranceStaysAMultipleOfTen)
{
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    for (const bool sym : {false, true}) {
        for (const auto& [tolerance, slot] : {std::pair{0.0, 0},
                                              {1e-3, 30},
                                              {1e-12, 120},
                                              {1e3, -30},
                                              {2e-3, 30},
                                              {4e-3, 20},
                                              {-1.0, 0},
                                              {kNaN, 0}}) {
            EngineRecorder engine;
            const CSparseMatrix A = sym ? hermitian() : general();
            CSparseSolver solver(A);
            solver.StoppingTolerance(tolerance);
            EXPECT_EQ(callOf(solver, engine).iparm(4), slot) << tolerance;
            solver.StoppingTolerance(1e-6);
            EXPECT_EQ(callOf(solver, engine).iparm(4), 60);
            EXPECT_EQ(solver.StoppingTolerance(), 1e-6);
        }
    }
}

TEST(CSparseSolver, EveryStrategyButOneIsRefusedAndChangesNothing)
{
    EngineRecorder engine;
    const CSparseMatrix A = general();
    CSparseSolver solver(A);
    solver.StoppingTolerance(1e-4);
    for (const auto value :
         {FactorizationStrategy::ComputeWhenNeeded, static_cast<FactorizationStrategy>(7)}) {
        try {
            solver.FactorizationStrategy(value);
            ADD_FAILURE() << "taken: " << static_cast<int>(value);
        } catch (const ArgumentOutOfRangeException& failure) {
            EXPECT_EQ(failure.Message(), "Setting is not valid for complex matrices.");
            EXPECT_EQ(failure.ParamName(), "value");
        }
        EXPECT_EQ(solver.FactorizationStrategy(), FactorizationStrategy::ComputeAlways);
        EXPECT_EQ(callOf(solver, engine).iparm(4), 40);
    }
    solver.FactorizationStrategy(FactorizationStrategy::ComputeAlways);
    EXPECT_EQ(solver.FactorizationStrategy(), FactorizationStrategy::ComputeAlways);
    EXPECT_EQ(callOf(solver, engine).iparm(4), 40);
}

TEST(CSparseSolver, ThePivotEpsilonBecomesAnExponentAndIsReadAsWritten)
{
    EngineRecorder engine;
    const CSparseMatrix A = general();
    CSparseSolver solver(A);
    for (const auto& [value, slot] :
         {std::pair{1e-10, 10}, {3e-10, 10}, {4e-10, 9}, {1.0, 0}, {1e5, -5}, {0.0, INT_MIN}}) {
        solver.PivotEpsilon(value);
        EXPECT_EQ(solver.PivotEpsilon(), value);
        EXPECT_EQ(callOf(solver, engine).iparm(10), slot) << value;
    }
}

TEST(CSparseSolver, TheOrderingGoesToItsSlotUnchecked)
{
    EngineRecorder engine;
    const CSparseMatrix A = general();
    CSparseSolver solver(A);
    for (const int value : {0, 3, 2, 17}) {
        solver.FillInReducingMethod(static_cast<FillInReducingMethod>(value));
        EXPECT_EQ(solver.FillInReducingMethod(), static_cast<FillInReducingMethod>(value));
        EXPECT_EQ(callOf(solver, engine).iparm(2), value);
    }
}

TEST(CSparseSolver, TheMatrixTypeBecomesTheEnginesNumberAndReadsUnsymmetricAlways)
{
    EngineRecorder engine;
    const CSparseMatrix A = hermitian();
    CSparseSolver solver(A);
    const std::array<int, 64> before = callOf(solver, engine).parameters;
    for (const auto& [written, number] : {std::pair{MatrixType::StructurallySymmetric, 3},
                                          {MatrixType::PositiveDefinite, 4},
                                          {MatrixType::Indefinite, -4},
                                          {MatrixType::Unsymmetric, 13},
                                          {static_cast<MatrixType>(9), 13}}) {
        solver.MatrixType(written);
        const EngineCall call = callOf(solver, engine);
        EXPECT_EQ(call.mtype, number);
        EXPECT_EQ(solver.MatrixType(), MatrixType::Unsymmetric);
        EXPECT_EQ(call.parameters, before);
    }
}

// --- Calls ---

TEST(CSparseSolver, FiveColumnsAreOneAnalysisOneFactorizationAndFourSolves)
{
    EngineRecorder engine;
    const CSparseMatrix A = general();
    CSparseSolver solver(A);
    const CMatrix B(3, 5);
    const CMatrix X = solver.Solve(B);
    EXPECT_EQ(X.Rows(), 3);
    EXPECT_EQ(X.Cols(), 5);
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 33, 33, 33, 33));
    solver.Solve(B);
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 33, 33, 33, 33, 23, 33, 33, 33, 33));

    const auto* const b = static_cast<const Complex*>(engine.calls[1].b);
    const auto* const x = static_cast<const Complex*>(engine.calls[1].x);
    EXPECT_EQ(engine.calls[0].b, b);
    EXPECT_NE(engine.calls[0].x, x) << "the analysis gets a number in the place of x";
    for (int j = 0; j < 5; ++j) {
        EXPECT_EQ(engine.calls[static_cast<std::size_t>(j) + 1].b, b + 3 * j);
        EXPECT_EQ(engine.calls[static_cast<std::size_t>(j) + 1].x, x + 3 * j);
    }
}

TEST(CSparseSolver, AVectorIsOneAnalysisAndOneFactorization)
{
    EngineRecorder engine;
    const CSparseMatrix A = general();
    CSparseSolver solver(A);
    EXPECT_EQ(solver.Solve(CVector(3)).Length(), 3);
    EXPECT_EQ(solver.Solve(CVector(3)).Length(), 3);
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23));
}

TEST(CSparseSolver, TheEngineGetsTheArraysAsTheyStand)
{
    EngineRecorder engine;
    CSparseMatrix A = general();
    {
        CSparseSolver solver(A);
        solver.Solve(CMatrix(3, 2));
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
        solver.Solve(CVector(3));
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

/// What stood in the place of x in the last analysis, and in those of a, b and x at the last release.
std::vector<Complex>& standIns()
{
    static std::vector<Complex> seen;
    return seen;
}

/// In the engine's place: reads whole complex numbers.
void readStandIns(void**, const int&, const int&, const int&, const int& phase, const int&, const void* a,
                  int*, int*, int*, const int&, int*, const int&, void* b, void* x, int& error)
{
    error = 0;
    if (phase == 11) standIns() = {*static_cast<Complex*>(x)};
    if (phase != -1) return;
    for (const void* number : {a, static_cast<const void*>(b), static_cast<const void*>(x)})
        standIns().push_back(*static_cast<const Complex*>(number));
}

TEST(CSparseSolver, StandInsAreComplexZeros)
{
    const EngineRecorder restoresTheEngine;
    detail::engineEntry() = readStandIns;
    const CSparseMatrix A = general();
    {
        CSparseSolver solver(A);
        solver.Solve(CVector(3));
    }
    EXPECT_THAT(standIns(), ElementsAre(Complex(0.0), Complex(0.0), Complex(0.0), Complex(0.0)));
}

TEST(CSparseSolver, AMatrixThatHasMovedIsHandedOverWhereItStands)
{
    EngineRecorder engine;
    CSparseMatrix A = general();
    CSparseSolver solver(A);
    solver.Solve(CVector(3));
    const Complex* const before = SparseAccess::values(A);
    CSparseMatrix other = general();
    std::swap(A, other); // both are still there, so the addresses differ
    for (int i = 0; i < 3; ++i) A.Item(i, i == 2 ? 0 : 1, {7.0, 0.5 * i});
    ASSERT_NE(SparseAccess::values(A), before);
    solver.Solve(CVector(3));
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23));
    EXPECT_EQ(engine.calls[2].a, SparseAccess::values(A));
    EXPECT_EQ(engine.calls[2].ia, SparseAccess::rowPointers(A));
    EXPECT_EQ(engine.calls[2].ja, SparseAccess::columns(A));
}

TEST(CSparseSolver, AGrownMatrixIsHandedOverAsItStandsAndNotAnalysedAgain)
{
    EngineRecorder engine;
    CSparseMatrix A = general();
    CSparseSolver solver(A);
    solver.Solve(CVector(3));
    for (int j = 0; j < 3; ++j) A.Item(1, j, 7.0 + j);
    if (detail::kHardened) {
        expectFailure<InvalidOperationException>([&] { solver.Solve(CVector(3)); }, kPatternChanged);
        EXPECT_THAT(engine.phases(), ElementsAre(11, 23));
        return;
    }
    solver.Solve(CMatrix(3, 2));
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23, 33));
    EXPECT_EQ(engine.calls[2].a, SparseAccess::values(A));
    EXPECT_EQ(engine.calls[2].ia[3], 8);
}

TEST(CSparseSolver, TheHermitianFlagIsReadOnce)
{
    EngineRecorder engine;
    CSparseMatrix A = hermitian();
    CSparseSolver solver(A);
    A.Hermitian(false);
    solver.StoppingTolerance(1e-4);
    const EngineCall call = callOf(solver, engine);
    EXPECT_EQ(call.mtype, -4);
    EXPECT_EQ(call.iparm(10), 8);
}

TEST(CSparseSolver, ANonSquareMatrixIsRefusedByTheHardenedBuildOnly)
{
    EngineRecorder engine;
    const CSparseMatrix A(2, 5);
    CSparseSolver solver(A);
    if (detail::kHardened) {
        expectFailure<InvalidOperationException>([&] { solver.Solve(CVector(2)); },
                                                 "The matrix of a solver must be square.");
    } else {
        EXPECT_EQ(solver.Solve(CVector(2)).Length(), 5);
        const CMatrix X = solver.Solve(CMatrix(2, 3));
        EXPECT_EQ(X.Rows(), 5);
        const auto* const b = static_cast<const Complex*>(engine.calls[2].b);
        const auto* const x = static_cast<const Complex*>(engine.calls[2].x);
        EXPECT_EQ(engine.calls[4].b, b + 2 * 2) << "steps by the rows of the right-hand sides";
        EXPECT_EQ(engine.calls[4].x, x + 2 * 5) << "and by the columns of the matrix";
    }
}

// The engine divides each row by its only value and does not look at the column.
TEST(CSparseSolver, SoleElementsBesideTheDiagonalAreRefusedByTheHardenedBuildOnly)
{
    const CSparseMatrix A({{0.0, 2.0}, 4.0, 5.0}, {1, 2, 3, 4}, {2, 1, 3}); // x = (2, -i/2, 1)
    CSparseSolver solver(A);
    const CVector b({1.0, 8.0, 5.0});
    if (detail::kHardened) {
        expectFailure<InvalidOperationException>([&] { solver.Solve(b); },
                                                 "The only element of each row must stand on the diagonal.");
        return;
    }
    const CVector x = solver.Solve(b);
    EXPECT_EQ(x[0], Complex(0.0, -0.5));
    EXPECT_EQ(x[1], 2.0);
    EXPECT_EQ(x[2], 1.0);
}

TEST(CSparseSolver, ADiagonalMatrixThatIsNoneIsToldByTheEngine)
{
    for (const CSparseMatrix& A :
         {CSparseMatrix({2.0, 4.0, 5.0}, {1, 3, 3, 4}, {1, 2, 3}),    // an empty row
          CSparseMatrix({2.0, 0.0, 5.0}, {1, 2, 3, 4}, {1, 2, 3})}) { // a stored zero
        CSparseSolver solver(A);
        expectFailure<OperationFailedException>([&] { solver.Solve(CVector(3)); }, kFactorizationFailed);
        EXPECT_EQ(solver.Status(), SolverStatus::OtherError);
    }
}

// --- Failures ---

TEST(CSparseSolver, WrongSizesFailBeforeAnythingElseAllInOneWay)
{
    EngineRecorder engine;
    const CSparseMatrix A = general();
    CSparseSolver solver(A);
    for (const int size : {1, 2, 4}) {
        expectFailure<InvalidSizeException>([&] { solver.Solve(CVector(size)); }, kWrongSize);
        expectFailure<InvalidSizeException>([&] { solver.Solve(CMatrix(size, 2)); }, kWrongSize);
    }
    EXPECT_THAT(engine.calls, ::testing::IsEmpty());
    EXPECT_EQ(solver.Status(), SolverStatus::Success);
}

TEST(CSparseSolver, AFailedAnalysisIsTriedAgain)
{
    EngineRecorder engine;
    const CSparseMatrix A = general();
    CSparseSolver solver(A);
    engine.answer(11, -3);
    expectFailure<OperationFailedException>([&] { solver.Solve(CVector(3)); }, kAnalysisFailed);
    EXPECT_EQ(solver.Status(), SolverStatus::ReorderingProblem);
    expectFailure<OperationFailedException>([&] { solver.Solve(CMatrix(3, 2)); }, kAnalysisFailed);
    engine.answer(11, 0);
    EXPECT_NO_THROW(solver.Solve(CVector(3)));
    EXPECT_EQ(solver.Status(), SolverStatus::Success);
    EXPECT_THAT(engine.phases(), ElementsAre(11, 11, 11, 23));
}

TEST(CSparseSolver, AFailedFactorizationKeepsTheAnalysis)
{
    EngineRecorder engine;
    const CSparseMatrix A = general();
    CSparseSolver solver(A);
    engine.answer(23, -4);
    expectFailure<OperationFailedException>([&] { solver.Solve(CVector(3)); }, kFactorizationFailed);
    EXPECT_EQ(solver.Status(), SolverStatus::ZeroPivot);
    expectFailure<OperationFailedException>([&] { solver.Solve(CMatrix(3, 3)); }, kFactorizationFailed);
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23));
}

TEST(CSparseSolver, AFailedSolveOfALaterColumnEndsTheRun)
{
    EngineRecorder engine;
    const CSparseMatrix A = general();
    CSparseSolver solver(A);
    engine.answerCall(33, 1, -2);
    expectFailure<OperationFailedException>([&] { solver.Solve(CMatrix(3, 5)); }, kSolveFailed);
    EXPECT_EQ(solver.Status(), SolverStatus::OutOfMemory);
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 33, 33));
}

TEST(CSparseSolver, StatusIsTheErrorNegatedAndBelowMinusFiveOther)
{
    const CSparseMatrix A = general();
    for (const auto& [error, status] :
         {std::pair{-1, 1}, {-2, 2}, {-3, 3}, {-4, 4}, {-5, 5}, {-6, 5}, {-10, 5}, {INT_MIN, 5}, {7, -7}}) {
        EngineRecorder engine;
        CSparseSolver solver(A);
        engine.answer(23, error);
        EXPECT_THROW(solver.Solve(CVector(3)), OperationFailedException);
        EXPECT_EQ(static_cast<int>(solver.Status()), status) << error;
    }
}

TEST(CSparseSolver, AFailingAllocationLeavesNothingBehind)
{
    EngineRecorder engine;
    const CSparseMatrix A = general();
    EXPECT_EQ(failEachAllocation([&] { const CSparseSolver solver(A); }, [] { return true; }), 3)
        << "handle, permutation, parameters";

    CSparseSolver solver(A);
    const CVector b(3);
    const CMatrix B(3, 2);
    EXPECT_EQ(failEachAllocation([&] { solver.Solve(b); }, [] { return true; }), 1);
    EXPECT_EQ(failEachAllocation([&] { solver.Solve(B); }, [] { return true; }), 1);
    EXPECT_EQ(std::ranges::count(engine.calls, 11, &EngineCall::phase), 1);
}

// --- Life ---

TEST(CSparseSolver, ReleaseHappensOnceHoweverOftenItIsAskedFor)
{
    EngineRecorder engine;
    engine.answer(-1, -1); // whatever its outcome
    const CSparseMatrix A = general();
    {
        CSparseSolver solver(A);
        solver.Dispose();
        solver.Dispose();
        EXPECT_THAT(engine.phases(), ElementsAre(-1));
        EXPECT_EQ(solver.Status(), SolverStatus::Success);
    }
    EXPECT_THAT(engine.phases(), ElementsAre(-1));
    EXPECT_EQ(A.NumElements(), 5) << "the matrix is not disposed with the solver";
}

TEST(CSparseSolver, AfterReleaseEveryUseIsRefused)
{
    const CSparseMatrix A = general();
    CSparseSolver solver(A);
    solver.Dispose();
    expectFailure<InvalidOperationException>([&] { solver.Solve(CVector(3)); }, kReleased);
    expectFailure<InvalidOperationException>([&] { solver.Solve(CMatrix(3, 1)); }, kReleased);
    expectFailure<InvalidOperationException>([&] { solver.RefinementSteps(); }, kReleased);
    expectFailure<InvalidOperationException>([&] { solver.RefinementSteps(-1); }, kReleased);
    expectFailure<InvalidOperationException>([&] { solver.FillInReducingMethod(); }, kReleased);
    expectFailure<InvalidOperationException>(
        [&] { solver.FillInReducingMethod(FillInReducingMethod::MinimumDegree); }, kReleased);
    expectFailure<InvalidOperationException>([&] { solver.PivotEpsilon(1e-9); }, kReleased);
    expectFailure<InvalidOperationException>([&] { solver.StoppingTolerance(1e-9); }, kReleased);
    expectFailure<InvalidOperationException>(
        [&] { solver.FactorizationStrategy(FactorizationStrategy::ComputeAlways); }, kReleased);
    EXPECT_THROW(solver.FactorizationStrategy(FactorizationStrategy::ComputeWhenNeeded),
                 ArgumentOutOfRangeException)
        << "the argument is looked at first";
    EXPECT_THROW(solver.Solve(CVector(2)), InvalidSizeException) << "and so is a size";
    EXPECT_THROW(solver.Solve(CMatrix(2, 2)), InvalidSizeException);
}

TEST(CSparseSolver, AfterReleaseWhatIsKeptBesideTheEngineIsStillRead)
{
    const CSparseMatrix A = general();
    CSparseSolver solver(A);
    solver.Dispose();
    EXPECT_THROW(solver.PivotEpsilon(1e-9), InvalidOperationException);
    EXPECT_THROW(solver.StoppingTolerance(1e-9), InvalidOperationException);
    EXPECT_EQ(solver.PivotEpsilon(), 1e-13);
    EXPECT_EQ(solver.StoppingTolerance(), 1e-06) << "a refused value is not kept";
    EXPECT_EQ(solver.FactorizationStrategy(), FactorizationStrategy::ComputeAlways);
    EXPECT_EQ(solver.MatrixType(), MatrixType::Unsymmetric);
    EXPECT_EQ(solver.Status(), SolverStatus::Success);
    EXPECT_FALSE(solver.Stopped());
}

TEST(CSparseSolver, AMovedSolverTakesHandleAndAnalysisAlong)
{
    EngineRecorder engine;
    const CSparseMatrix A = general(), B = hermitian();
    CSparseSolver solver(A);
    solver.Solve(CVector(3));
    void** const handle = engine.calls.back().pt;
    CSparseSolver moved(std::move(solver));
    moved.Solve(CVector(3));
    EXPECT_EQ(engine.calls.back().pt, handle);
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23));

    CSparseSolver other(B);
    other = std::move(moved);
    EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23, -1)) << "the handle of B";
    other.Solve(CVector(3));
    EXPECT_EQ(engine.calls.back().pt, handle);
    EXPECT_EQ(engine.calls.back().mtype, 13);
}

static_assert(std::is_constructible_v<CSparseSolver, CSparseMatrix&>);
static_assert(std::is_constructible_v<CSparseSolver, const CSparseMatrix&>);
static_assert(!std::is_constructible_v<CSparseSolver, CSparseMatrix>, "it would dangle");
static_assert(!std::is_constructible_v<CSparseSolver, const CSparseMatrix>);
static_assert(!std::is_copy_constructible_v<CSparseSolver> && !std::is_copy_assignable_v<CSparseSolver>);
static_assert(std::is_nothrow_move_constructible_v<CSparseSolver>);

} // namespace
} // namespace Velmar::Lintrix::testing
