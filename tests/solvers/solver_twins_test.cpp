// Where SparseSolver and CSparseSolver differ: each difference on both sides, the engine's place taken by a
// recorder. What is told of neither is the same in both, and is tested once for each.

#include <lintrix/solvers/csparse_solver.h>
#include <lintrix/solvers/sparse_solver.h>

#include "tests/solvers/engine_recorder.h"
#include "tests/support/expect_failure.h"
#include "tests/support/thread_setting.h"

#include <gmock/gmock.h>

#include <array>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;

/// Shows the record of the last phase.
template <class Solver>
struct Recorded : Solver {
    using Solver::phase;
    using Solver::Solver;
};

struct Real {
    using S = SparseMatrix;
    using M = Matrix;
    using V = Vector;
    using Solver = Recorded<SparseSolver>;
};

struct Cplx {
    using S = CSparseMatrix;
    using M = CMatrix;
    using V = CVector;
    using Solver = Recorded<CSparseSolver>;
};

/// Three rows; with `oneTriangle` marked symmetric or Hermitian.
template <class Twin>
typename Twin::S matrix(bool oneTriangle)
{
    auto A = oneTriangle ? typename Twin::S(3, true) : typename Twin::S(3, 3);
    for (int i = 0; i < 3; ++i) A.Item(i, i, 4.0 + i);
    A.Item(0, 2, 1.0);
    return A;
}

/// The last call of the engine when a new solver that `setting` has changed solves a system.
template <class Twin, class Setting>
EngineCall callOf(bool oneTriangle, Setting setting)
{
    EngineRecorder engine;
    const auto A = matrix<Twin>(oneTriangle);
    typename Twin::Solver solver(A);
    setting(solver);
    solver.Solve(typename Twin::V(3));
    return engine.calls.back();
}

template <class Twin>
EngineCall callOf(bool oneTriangle)
{
    return callOf<Twin>(oneTriangle, [](auto&) {});
}

TEST(SolverTwins, TheTypeAtTheStartGoesByTheMarkOfTheMatrix)
{
    EXPECT_EQ(callOf<Real>(false).mtype, 11);
    EXPECT_EQ(callOf<Real>(true).mtype, -2);
    EXPECT_EQ(callOf<Cplx>(false).mtype, 13);
    EXPECT_EQ(callOf<Cplx>(true).mtype, -4);
}

TEST(SolverTwins, TheSlotOfThreadsIsTheirNumberOrOne)
{
    const ThreadSetting threads(5);
    EXPECT_EQ(callOf<Real>(false).iparm(3), 5);
    EXPECT_EQ(callOf<Cplx>(false).iparm(3), 1);
}

TEST(SolverTwins, TypesAreWrittenByNumbersOfTheirOwnAndOnlyRealOnesAreReadBack)
{
    struct Row {
        MatrixType written;
        int real, complex;
        MatrixType readOfReal;
    };
    using enum MatrixType;
    for (const Row& row : {Row{StructurallySymmetric, 1, 3, StructurallySymmetric},
                           {PositiveDefinite, 2, 4, PositiveDefinite},
                           {Indefinite, -2, -4, Indefinite},
                           {Unsymmetric, 11, 13, Unsymmetric},
                           {static_cast<MatrixType>(-1), 11, 13, Unsymmetric}}) {
        EXPECT_EQ(callOf<Real>(false,
                               [&](auto& solver) {
                                   solver.MatrixType(row.written);
                                   EXPECT_EQ(solver.MatrixType(), row.readOfReal);
                               })
                      .mtype,
                  row.real);
        EXPECT_EQ(callOf<Cplx>(false,
                               [&](auto& solver) {
                                   solver.MatrixType(row.written);
                                   EXPECT_EQ(solver.MatrixType(), Unsymmetric);
                               })
                      .mtype,
                  row.complex);
    }
    const auto A = matrix<Real>(true);
    EXPECT_EQ(SparseSolver(A).MatrixType(), Indefinite);
    const auto C = matrix<Cplx>(true);
    EXPECT_EQ(CSparseSolver(C).MatrixType(), Unsymmetric) << "though the engine is told -4";
}

TEST(SolverTwins, TheStrategyHasADigitInTheSlotOfTheToleranceOrNone)
{
    EXPECT_EQ(callOf<Real>(false).iparm(4), 61);
    EXPECT_EQ(callOf<Real>(true).iparm(4), 62);
    EXPECT_EQ(callOf<Cplx>(false).iparm(4), 60);
    EXPECT_EQ(callOf<Cplx>(true).iparm(4), 60);
    const auto toThree = [](auto& solver) { solver.StoppingTolerance(1e-3); };
    EXPECT_EQ(callOf<Real>(false, toThree).iparm(4), 31);
    EXPECT_EQ(callOf<Real>(true, toThree).iparm(4), 32);
    EXPECT_EQ(callOf<Cplx>(false, toThree).iparm(4), 30);
    EXPECT_EQ(callOf<Cplx>(true, toThree).iparm(4), 30);
}

TEST(SolverTwins, TheStrategyAtTheStartDiffersAndTheComplexOneStays)
{
    const auto A = matrix<Real>(false);
    SparseSolver solver(A);
    EXPECT_EQ(solver.FactorizationStrategy(), FactorizationStrategy::ComputeWhenNeeded);
    solver.FactorizationStrategy(FactorizationStrategy::ComputeAlways);
    EXPECT_EQ(solver.FactorizationStrategy(), FactorizationStrategy::ComputeAlways);
    EXPECT_NO_THROW(solver.FactorizationStrategy(FactorizationStrategy::ComputeWhenNeeded));

    const auto C = matrix<Cplx>(false);
    CSparseSolver complexSolver(C);
    EXPECT_EQ(complexSolver.FactorizationStrategy(), FactorizationStrategy::ComputeAlways);
    expectFailure<ArgumentOutOfRangeException>(
        [&] { complexSolver.FactorizationStrategy(FactorizationStrategy::ComputeWhenNeeded); },
        "Setting is not valid for complex matrices.");
    EXPECT_NO_THROW(complexSolver.FactorizationStrategy(FactorizationStrategy::ComputeAlways));
}

TEST(SolverTwins, AMatrixWithAWrongNumberOfRowsFailsInTwoWays)
{
    const auto A = matrix<Real>(false);
    SparseSolver solver(A);
    expectFailure<SizeMismatchException>([&] { solver.Solve(Matrix(2, 1)); }, "Matrix sizes do not match.");
    const auto C = matrix<Cplx>(false);
    CSparseSolver complexSolver(C);
    expectFailure<InvalidSizeException>([&] { complexSolver.Solve(CMatrix(2, 1)); },
                                        "Invalid number of rows or columns.");
}

/// The phases on record at the start, after a failed analysis, after a vector, after two columns; `told` are
/// those of the engine's calls.
template <class Twin>
std::array<int, 4> phasesOnRecord(std::vector<int>& told)
{
    EngineRecorder engine;
    const auto A = matrix<Twin>(false);
    typename Twin::Solver solver(A);
    std::array<int, 4> phases{solver.phase};
    engine.answerCall(11, 0, -3);
    EXPECT_THROW(solver.Solve(typename Twin::V(3)), OperationFailedException);
    phases[1] = solver.phase;
    solver.Solve(typename Twin::V(3));
    phases[2] = solver.phase;
    solver.Solve(typename Twin::M(3, 2));
    phases[3] = solver.phase;
    told = engine.phases();
    return phases;
}

TEST(SolverTwins, ThePhaseOnRecordBecomesThatOfTheFactorizationOrStays)
{
    std::vector<int> real, complex;
    EXPECT_THAT(phasesOnRecord<Real>(real), ElementsAre(11, 11, 23, 23));
    EXPECT_THAT(phasesOnRecord<Cplx>(complex), ElementsAre(11, 11, 11, 11));
    EXPECT_THAT(real, ElementsAre(11, 11, 23, 23, 33));
    EXPECT_EQ(complex, real) << "the engine is told the same";
}

template <class Twin>
void expectFurtherColumnFails(const char* text)
{
    EngineRecorder engine;
    engine.answer(33, -4);
    const auto A = matrix<Twin>(false);
    typename Twin::Solver solver(A);
    expectFailure<OperationFailedException>([&] { solver.Solve(typename Twin::M(3, 2)); }, text);
    EXPECT_EQ(solver.Status(), SolverStatus::ZeroPivot);
}

TEST(SolverTwins, AFailingFurtherColumnIsToldInDifferentWords)
{
    expectFurtherColumnFails<Real>("Error during matrix solve phase.");
    expectFurtherColumnFails<Cplx>("Error during solve phase.");
}

/// From the first right-hand side to the second, and from solution to solution, in bytes.
template <class Twin>
std::pair<std::ptrdiff_t, std::ptrdiff_t> steps()
{
    EngineRecorder engine;
    const auto A = matrix<Twin>(false);
    typename Twin::Solver solver(A);
    solver.Solve(typename Twin::M(3, 2));
    const auto from = [](const void* p, const void* q) {
        return static_cast<const char*>(q) - static_cast<const char*>(p);
    };
    return {from(engine.calls[1].b, engine.calls[2].b), from(engine.calls[1].x, engine.calls[2].x)};
}

TEST(SolverTwins, ColumnsLieEightOrSixteenBytesARowApart)
{
    EXPECT_EQ(steps<Real>(), (std::pair<std::ptrdiff_t, std::ptrdiff_t>{24, 24}));
    EXPECT_EQ(steps<Cplx>(), (std::pair<std::ptrdiff_t, std::ptrdiff_t>{48, 48}));
}

TEST(SolverTwins, AllOtherSlotsAreTheSame)
{
    for (const bool oneTriangle : {false, true}) {
        const EngineCall real = callOf<Real>(oneTriangle), complex = callOf<Cplx>(oneTriangle);
        for (int slot = 1; slot <= 64; ++slot) {
            if (slot != 3 && slot != 4) EXPECT_EQ(real.iparm(slot), complex.iparm(slot)) << slot;
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
