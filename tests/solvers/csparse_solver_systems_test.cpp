// CSparseSolver with the engine behind it, and the engine's own entry with every complex type: systems are
// solved, and what goes wrong is told and leaves nothing.

#include <lintrix/solvers/csparse_solver.h>

#include "tests/solvers/complex_systems.h"
#include "tests/solvers/engine_recorder.h"
#include "tests/support/expect_failure.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/files.h"
#include "tests/support/matrices.h"
#include "tests/support/thread_setting.h"

#include <lintrix/complex/access.h>
#include <lintrix/decompositions/sym_eigen.h>
#include <lintrix/sparse/access.h>
#include <lintrix/sparse/matrix_market.h>

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using detail::ComplexAccess;
using detail::SparseAccess;
using ::testing::ElementsAre;

constexpr double kLimit = 1e-12; // of a scaled residual
constexpr int kSides = 4;
constexpr const char* kAnalysisFailed = "Error during matrix analysis phase.";
constexpr const char* kFactorizationFailed = "Error during matrix factorization and solve phase.";

// --- Through the class ---

struct System {
    const char* name;
    MatrixType type;
    std::function<CSparseMatrix()> make; // a copy would not be marked
};

std::vector<System> systems()
{
    const Complex absorbing(-1.3, 0.4);
    const auto wave = [=] { return waveMatrix(23, absorbing); };
    const auto wind = [=] { return waveMatrix(23, absorbing, {0.4, 0.2}); };
    const auto well = [] { return magneticGrid(23, 0.1); };
    const auto deep = [] { return magneticGrid(23, -2.3); };
    return {{"wave", MatrixType::Unsymmetric, wave},
            {"wind", MatrixType::Unsymmetric, wind},
            {"random", MatrixType::Unsymmetric, [] { return randomComplex(400, 5, 3); }},
            {"wave", MatrixType::StructurallySymmetric, wave},
            {"wind", MatrixType::StructurallySymmetric, wind},
            {"magnetic grid", MatrixType::PositiveDefinite, well},
            {"magnetic grid", MatrixType::Indefinite, well},
            {"shifted magnetic grid", MatrixType::Indefinite, deep},
            {"random Hermitian", MatrixType::Indefinite, [] { return randomHermitian(400, 5, 4); }}};
}

void expectSolved(const System& system, FillInReducingMethod ordering)
{
    const CSparseMatrix A = system.make();
    CSparseSolver solver(A);
    solver.MatrixType(system.type);
    solver.FillInReducingMethod(ordering);
    const CMatrix B = complexRightHandSides(A, belowOf(A), kSides);
    EXPECT_LT(worstResidual(A, belowOf(A), solver.Solve(B), B), kLimit);
    EXPECT_EQ(solver.Status(), SolverStatus::Success);
    const CVector b = someComplexVector(A.Rows());
    EXPECT_LT(scaledResidual(A, solver.Solve(b), b), kLimit) << "again";
}

TEST(CSparseSolverSystems, EveryTypeSolvesWithEveryOrderingOnOneThreadAndTwo)
{
    for (const int threads : {1, 2}) {
        const ThreadSetting setting(threads);
        for (const System& system : systems()) {
            for (const auto ordering :
                 {FillInReducingMethod::MinimumDegree, FillInReducingMethod::NestedDissection,
                  FillInReducingMethod::ParallelNestedDissection}) {
                SCOPED_TRACE(::testing::Message()
                             << system.name << ", type " << static_cast<int>(system.type) << ", ordering "
                             << static_cast<int>(ordering) << ", threads " << threads);
                expectSolved(system, ordering);
            }
        }
    }
}

TEST(CSparseSolverSystems, EveryColumnIsSolvedAsIfAlone)
{
    for (const bool hermitian : {false, true}) {
        const CSparseMatrix A = hermitian ? magneticGrid(9, 0.1) : waveMatrix(9, {-1.3, 0.4}, 0.4);
        CSparseSolver solver(A), alone(A);
        const CMatrix B = complexRightHandSides(A, belowOf(A), kSides);
        const CMatrix X = solver.Solve(B);
        for (int j = 0; j < kSides; ++j) {
            const CVector x = alone.Solve(B.ColVector(j));
            EXPECT_LT(largest(X.ColVector(j) - x), 1e-12);
            EXPECT_LT(largest(x - someComplexVector(A.Rows(), j)), 1e-10);
        }
    }
}

TEST(CSparseSolverSystems, OrdersOneToThreeAreSolved)
{
    for (int n = 1; n <= 3; ++n) {
        for (const bool hermitian : {false, true}) {
            CSparseMatrix A = hermitian ? CSparseMatrix(n, true) : CSparseMatrix(n, n);
            for (int i = 0; i < n; ++i) {
                A.Item(i, i, {3.0 + i, hermitian ? 0.0 : 1.0});
                if (i + 1 < n) A.Item(i, i + 1, {0.5, 1.0});
            }
            CSparseSolver solver(A);
            const CVector b = someComplexVector(n);
            EXPECT_LT(scaledResidual(A, solver.Solve(b), b), kLimit) << n;
        }
    }
}

TEST(CSparseSolverSystems, ADiagonalMatrixIsSolvedByDivision)
{
    CSparseMatrix A(2, 2);
    A.Item(0, 0, {0.0, 2.0});
    A.Item(1, 1, {3.0, 4.0});
    CSparseSolver solver(A);
    const CVector x = solver.Solve(CVector({{4.0, 2.0}, {25.0, 0.0}}));
    EXPECT_LT(std::abs(x[0] - Complex(1.0, -2.0)), 1e-15);
    EXPECT_LT(std::abs(x[1] - Complex(3.0, -4.0)), 1e-14);
}

// No strategy but ComputeAlways is offered, so a first Solve with the settings as they are cannot be worse.
TEST(CSparseSolverSystems, TheFirstSolveOfANewSolverIsThatOfComputeAlways)
{
    const ThreadSetting one(1);
    for (const System& system : systems()) {
        const CSparseMatrix A = system.make();
        CSparseSolver asMade(A), always(A);
        always.FactorizationStrategy(FactorizationStrategy::ComputeAlways);
        const CMatrix B = complexRightHandSides(A, belowOf(A), kSides);
        EXPECT_TRUE(identical(asMade.Solve(B), always.Solve(B))) << system.name;
    }
}

// However far the values go: they are factorized each time.
TEST(CSparseSolverSystems, ChangedValuesAreSolvedWithOneAnalysis)
{
    for (const bool hermitian : {false, true}) {
        EngineRecorder engine(true);
        CSparseMatrix A = hermitian ? magneticGrid(25, 0.1) : waveMatrix(25, {-1.3, 0.4}, 0.4);
        CSparseSolver solver(A);
        const CVector b = someComplexVector(A.Rows());
        for (int step = 0; step < 4; ++step) {
            for (int i = 0; i < A.Rows(); ++i)
                A.Item(i, i, {5.0 + 1e3 * step * (i % 3), hermitian ? 0.0 : 1.0 * step});
            EXPECT_LT(scaledResidual(A, solver.Solve(b), b), kLimit) << step;
        }
        EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23, 23, 23));
    }
}

TEST(CSparseSolverSystems, ZeroRightHandSidesHaveZeroSolutionsAloneAndAmongOthers)
{
    for (const bool hermitian : {false, true}) {
        const CSparseMatrix A = hermitian ? magneticGrid(12, 0.1) : waveMatrix(12, {-1.3, 0.4}, 0.4);
        CSparseSolver solver(A);
        EXPECT_EQ(largest(solver.Solve(CVector(A.Rows()))), 0.0);
        CMatrix B = complexRightHandSides(A, belowOf(A), kSides);
        B.SetColumn(1, CVector(A.Rows()));
        const CMatrix X = solver.Solve(B);
        EXPECT_EQ(largest(X.ColVector(1)), 0.0);
        EXPECT_LT(worstResidual(A, belowOf(A), X, B), kLimit);
    }
}

// --- Failures ---

TEST(CSparseSolverSystems, AnIndefiniteMatrixIsNoPositiveDefiniteOneAndTheTypeCanBeChanged)
{
    const CSparseMatrix A = magneticGrid(12, -2.3);
    CSparseSolver solver(A);
    solver.MatrixType(MatrixType::PositiveDefinite);
    const CVector b = someComplexVector(A.Rows());
    expectFailure<OperationFailedException>([&] { solver.Solve(b); }, kFactorizationFailed);
    EXPECT_EQ(solver.Status(), SolverStatus::ZeroPivot);
    EXPECT_FALSE(solver.Stopped());
    solver.MatrixType(MatrixType::Indefinite);
    EXPECT_LT(scaledResidual(A, solver.Solve(b), b), kLimit);
    EXPECT_EQ(solver.Status(), SolverStatus::Success);
}

TEST(CSparseSolverSystems, AStructurallySingularMatrixFailsInTheAnalysis)
{
    CSparseMatrix A(3, 3);
    for (int i = 0; i < 3; ++i) {
        A.Item(i, 0, {1.0, 1.0});
        A.Item(i, 1, {2.0, -1.0 * i});
    }
    CSparseSolver solver(A);
    expectFailure<OperationFailedException>([&] { solver.Solve(CVector(3)); }, kAnalysisFailed);
    EXPECT_EQ(solver.Status(), SolverStatus::OtherError);
}

TEST(CSparseSolverSystems, AnyAllocationMayFailAndTheNextRunSucceeds)
{
    const CSparseMatrix A = waveMatrix(6, {-1.3, 0.4}, 0.4);
    const CVector b = someComplexVector(A.Rows());
    for (int k = 0;; ++k) {
        ASSERT_LT(k, 1000) << "the run never passes";
        CSparseSolver solver(A);
        bool failed = false;
        {
            const FailingAllocator allocator(k);
            try {
                solver.Solve(b);
            } catch (const NotEnoughMemoryException&) {
                failed = true;
            } catch (const OperationFailedException&) {
                failed = true;
                EXPECT_EQ(solver.Status(), SolverStatus::OutOfMemory) << "request " << k;
            }
            EXPECT_TRUE(failed || !allocator.hasFailed()) << "request " << k;
        }
        EXPECT_LT(scaledResidual(A, solver.Solve(b), b), kLimit) << "request " << k;
        if (!failed) break;
    }
}

// --- Progress ---

TEST(CSparseSolverSystems, ProgressRisesFromZeroToHundredUntilTheListenerIsTakenAway)
{
    for (const bool hermitian : {false, true}) {
        const CSparseMatrix A = hermitian ? magneticGrid(30, 0.1) : waveMatrix(30, {-1.3, 0.4}, 0.4);
        CSparseSolver solver(A);
        std::vector<int> heard;
        solver.Progress([&heard](int percent) {
            heard.push_back(percent);
            return true;
        });
        solver.Solve(someComplexVector(A.Rows()));
        ASSERT_GT(heard.size(), 10U);
        EXPECT_EQ(heard.front(), 0);
        EXPECT_EQ(heard.back(), 100);
        EXPECT_TRUE(std::ranges::is_sorted(heard));
        solver.Progress({});
        const std::size_t before = heard.size();
        solver.Solve(someComplexVector(A.Rows()));
        EXPECT_EQ(heard.size(), before);
    }
}

TEST(CSparseSolverSystems, AfterAStopTheSolverIsUsableAgain)
{
    for (const int stopAt : {0, 1, 50, 100}) {
        EngineRecorder engine(true);
        const CSparseMatrix A = waveMatrix(25, {-1.3, 0.4}, 0.4);
        CSparseSolver solver(A);
        solver.Progress([stopAt](int percent) { return percent < stopAt; });
        const CVector b = someComplexVector(A.Rows());
        expectFailure<OperationFailedException>([&] { solver.Solve(b); }, kFactorizationFailed);
        EXPECT_TRUE(solver.Stopped());
        EXPECT_EQ(solver.Status(), SolverStatus::ZeroPivot) << "the engine has no number of its own";
        solver.Progress({});
        EXPECT_LT(scaledResidual(A, solver.Solve(b), b), kLimit) << "stopped at " << stopAt;
        EXPECT_FALSE(solver.Stopped());
        EXPECT_THAT(engine.phases(), ElementsAre(11, 23, 23));
    }
}

TEST(CSparseSolverSystems, WhatTheListenerThrowsStopsTheRunAndIsThrownOn)
{
    const CSparseMatrix A = magneticGrid(25, 0.1);
    CSparseSolver solver(A);
    const CVector b = someComplexVector(A.Rows());
    solver.Progress([](int percent) {
        if (percent >= 30) throw std::runtime_error("enough");
        return true;
    });
    expectFailure<std::runtime_error>([&] { solver.Solve(b); }, "enough");
    EXPECT_TRUE(solver.Stopped());
    solver.Progress({});
    EXPECT_LT(scaledResidual(A, solver.Solve(b), b), kLimit);
}

// --- Through the engine's own entry ---

/// One matrix, factorized with the engine's defaults of its type.
class Engine {
public:
    Engine(int mtype, const CSparseMatrix& A) : mtype_(mtype), A_(A) {}
    ~Engine() { run(-1, 1, nullptr, nullptr); }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    int factorize() { return run(12, 1, nullptr, nullptr); }
    CMatrix solve(CMatrix B)
    {
        CMatrix X(A_.Rows(), B.Cols());
        EXPECT_EQ(run(33, B.Cols(), ComplexAccess::cells(B), ComplexAccess::cells(X)), 0);
        return X;
    }
    int operator[](PardisoParameter slot) { return PardisoParameters(iparm_)[slot]; }

private:
    int run(int phase, int sides, void* b, void* x)
    {
        int error = 4711;
        pardiso(pt_, 1, 1, mtype_, phase, A_.Rows(), SparseAccess::values(A_), SparseAccess::rowPointers(A_),
                SparseAccess::columns(A_), nullptr, sides, iparm_, 0, b, x, error);
        return error;
    }

    void* pt_[64] = {};
    int iparm_[64] = {};
    int mtype_;
    const CSparseMatrix& A_;
};

void expectSolvedByEngine(int mtype, const CSparseMatrix& A, Below below)
{
    for (const int threads : {1, 2}) {
        SCOPED_TRACE(::testing::Message() << "mtype " << mtype << ", threads " << threads);
        const ThreadSetting setting(threads);
        Engine engine(mtype, A);
        ASSERT_EQ(engine.factorize(), 0);
        const CMatrix B = complexRightHandSides(A, below, kSides);
        EXPECT_LT(worstResidual(A, below, engine.solve(B), B), kLimit);
    }
}

TEST(ComplexTypesOfTheEngine, AllOfThemSolve)
{
    const Complex absorbing(-1.3, 0.4);
    for (const int mtype : {13, 3})
        expectSolvedByEngine(mtype, waveMatrix(20, absorbing, {0.4, 0.2}), Below::Stored);
    expectSolvedByEngine(13, randomComplex(300, 5, 7), Below::Stored);
    expectSolvedByEngine(4, magneticGrid(20, 0.1), Below::Conjugate);
    expectSolvedByEngine(-4, magneticGrid(20, -2.3), Below::Conjugate);
    expectSolvedByEngine(-4, randomHermitian(300, 5, 8), Below::Conjugate);
    for (const Complex shift : {absorbing, Complex(0.0, 1.0), Complex(-3.1, 0.05)})
        expectSolvedByEngine(6, waveMatrix(20, shift, 0.0, Below::Mirror), Below::Mirror);
}

/// Positive and negative eigenvalues.
std::pair<int, int> signsOf(const CSparseMatrix& A)
{
    const CSymEigen eigen(A.ToDense(), false);
    EXPECT_TRUE(eigen.Succeeded());
    std::pair<int, int> signs;
    for (int i = 0; i < eigen.Size(); ++i) ++(eigen.Eigenvalue(i) > 0.0 ? signs.first : signs.second);
    return signs;
}

// Sylvester's law of inertia: the pivots have the signs of the eigenvalues.
TEST(ComplexTypesOfTheEngine, PivotsOfHermitianMatricesHaveTheSignsOfTheEigenvalues)
{
    const auto expectInertia = [](int mtype, const CSparseMatrix& A) {
        Engine engine(mtype, A);
        ASSERT_EQ(engine.factorize(), 0);
        EXPECT_EQ(engine[PardisoParameter::PerturbedPivots], 0);
        EXPECT_EQ(
            (std::pair{engine[PardisoParameter::PositivePivots], engine[PardisoParameter::NegativePivots]}),
            signsOf(A));
    };
    for (const double shift : {0.1, -0.37, -1.7, -2.3, -4.1, -8.5}) {
        SCOPED_TRACE(shift);
        expectInertia(-4, magneticGrid(11, shift));
    }
    expectInertia(4, magneticGrid(11, 0.1));
    expectInertia(-4, randomHermitian(120, 5, 9));
}

// --- Real data ---

struct File {
    const char* name;
    MatrixType type;
};

TEST(CSparseSolverSystems, MatricesOfApplicationsAreSolved)
{
    using enum MatrixType;
    for (const File& file : {File{"young1c.mtx.gz", Unsymmetric},
                             {"young1c.mtx.gz", StructurallySymmetric},
                             {"qc324.mtx.gz", Unsymmetric},
                             {"ybus_118.mtx", Unsymmetric},
                             {"ybus_118.mtx", StructurallySymmetric},
                             {"slu_cg20.mtx", Unsymmetric},
                             {"ybus_1354pegase.mtx.gz", Unsymmetric},
                             {"ybus_1354pegase.mtx.gz", StructurallySymmetric},
                             {"yherm_1354pegase.mtx.gz", PositiveDefinite},
                             {"yherm_1354pegase.mtx.gz", Indefinite}}) {
        for (const int threads : {1, 2}) {
            SCOPED_TRACE(::testing::Message()
                         << file.name << ", type " << static_cast<int>(file.type) << ", threads " << threads);
            const ThreadSetting setting(threads);
            const CSparseMatrix A = ReadMatrixMarketComplex(dataFile(file.name));
            CSparseSolver solver(A);
            solver.MatrixType(file.type);
            const CMatrix B = complexRightHandSides(A, belowOf(A), kSides);
            EXPECT_LT(worstResidual(A, belowOf(A), solver.Solve(B), B), kLimit);
        }
    }
}

/// The upper triangle, whatever else is stored.
CSparseMatrix upperOf(const CSparseMatrix& A)
{
    CSparseAssembler entries(A.Rows(), A.Cols());
    for (int i = 0; i < A.Rows(); ++i) {
        for (int p = A.RowPointers()[i] - 1; p < A.RowPointers()[i + 1] - 1; ++p) {
            if (A.ColumnIndices()[p] > i) entries.Add(i, A.ColumnIndices()[p] - 1, A.Values()[p]);
        }
    }
    return entries.Assemble();
}

TEST(ComplexTypesOfTheEngine, MatricesOfApplicationsAreSolved)
{
    for (const char* name : {"qc324.mtx.gz", "ybus_118.mtx", "slu_cg20.mtx"}) {
        SCOPED_TRACE(name);
        expectSolvedByEngine(6, upperOf(ReadMatrixMarketComplex(dataFile(name))), Below::Mirror);
    }
    const CSparseMatrix grid = ReadMatrixMarketComplex(dataFile("yherm_1354pegase.mtx.gz"));
    for (const int mtype : {4, -4}) expectSolvedByEngine(mtype, grid, Below::Conjugate);
}

} // namespace
} // namespace Velmar::Lintrix::testing
