// Solves against 113 bits, signs against dense eigenvalues, and what a factorization leaves behind.

#include <lintrix/systems/multifrontal/multifrontal_ldl.h>
#include <lintrix/systems/multifrontal/multifrontal_lu.h>

#include <lintrix/engine/minimum_degree_order.h>

#include "tests/systems/multifrontal/factor_checks.h"
#include "tests/systems/multifrontal/symmetric_matrices.h"

#include <lintrix/decompositions/sym_eigen.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include <malloc.h>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::multifrontal;
using Int = std::int32_t;
using N = TransposeMode;

template <class Cell>
struct Factored {
    Factored(const MatrixOf<Cell>& A, bool conjugates, const FrontBounds& bounds = {})
        : entries(entriesOf<Cell>(SparseOf<Cell>(A))), ldl(entries, conjugates),
          isMade(ldl.factorize(entries, bounds))
    {
    }
    detail::EntryArrays<Cell> entries;
    MultifrontalLDL<Cell> ldl;
    bool isMade;
};

template <class Cell>
void expectAll(const MatrixOf<Cell>& A, bool conjugates, std::uint64_t seed)
{
    SCOPED_TRACE(::testing::Message()
                 << "n " << A.Rows() << ", seed " << seed << (conjugates ? ", Hermitian" : ""));
    const Factored<Cell> made(A, conjugates);
    ASSERT_TRUE(made.isMade);
    ASSERT_EQ(made.ldl.replaced(), 0);
    ASSERT_GE(made.ldl.entries(), made.ldl.delayed() == 0 ? made.ldl.forecast().entries : A.Rows());
    expectSolves<Cell>(A, made.ldl, seed);
}

template <class Cell>
void expectAllOfRandom(bool conjugates)
{
    for (const Int n : {1, 2, 3, 10, 24, 40}) {
        for (std::uint64_t seed = 1; seed <= 6; ++seed) {
            const auto sparse = randomSymmetric<Cell>(n, 3.0 / n, seed, conjugates);
            const auto full = randomSymmetric<Cell>(n, 1.0, seed, conjugates);
            for (const MatrixOf<Cell>& A : {sparse, full, shifted<Cell>(sparse, 8.0),
                                            saddlePoint<Cell>(full, n / 3), saddlePoint<Cell>(full, n / 2)}) {
                expectAll<Cell>(A, conjugates, seed);
                if (::testing::Test::HasFatalFailure()) return;
            }
        }
    }
}

TEST(MultifrontalLDL, SolvesRandomSystems)
{
    expectAllOfRandom<double>(true);
    expectAllOfRandom<Complex>(true);
    expectAllOfRandom<Complex>(false);
}

/// A panel goes to files as it is, and none of what stood in its memory before goes with it.
template <class Cell>
void expectZerosAboveTheDiagonal(Int n, double density)
{
    mallopt(M_PERTURB, 0x35); // new memory holds numbers
    const Factored<Cell> made(shifted<Cell>(randomSymmetric<Cell>(n, density, 5, true), 8.0), true);
    mallopt(M_PERTURB, 0);
    ASSERT_TRUE(made.isMade);
    for (const FrontPanel<Cell>& panel : made.ldl.panels()) {
        for (Int j = 0; j < panel.pivots; ++j) {
            for (Int i = 0; i < j; ++i)
                ASSERT_EQ(panel.lower.get()[i + std::int64_t{panel.size()} * j], Cell()) << i << ' ' << j;
        }
    }
}

TEST(MultifrontalLDL, PanelsHoldNothingButL)
{
    for (const Int n : {3, 40}) {
        for (const double density : {1.0, 0.1}) {
            expectZerosAboveTheDiagonal<double>(n, density);
            expectZerosAboveTheDiagonal<Complex>(n, density);
        }
    }
}

TEST(MultifrontalLDL, OfNothingIsNothing)
{
    const detail::EntryArrays<double> nothing;
    MultifrontalLDL<double> ldl(nothing, true);
    EXPECT_TRUE(ldl.factorize(nothing));
    EXPECT_EQ(ldl.entries(), 0);
    EXPECT_EQ(ldl.inertia(), detail::Inertia());
    ldl.solve(N::NotTransposed, {});
}

/// A grid of side x side with a Laplacian, and a constraint for every third edge: B of full row rank.
Matrix gridSaddle(Int side, Int constraints, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    const Int unknowns = side * side, n = unknowns + constraints;
    Matrix A(n, n);
    for (Int k = 0; k < unknowns; ++k) {
        A(k, k) = 1.0 + std::abs(drawn<double>(generator));
        if (k % side != side - 1) A(k, k + 1) = A(k + 1, k) = -0.3;
        if (k + side < unknowns) A(k, k + side) = A(k + side, k) = -0.3;
    }
    for (Int c = 0; c < constraints; ++c) {
        const Int k = c * (unknowns - 1) / std::max(constraints, 1);
        A(unknowns + c, k) = A(k, unknowns + c) = 1.0;
        A(unknowns + c, k + 1) = A(k + 1, unknowns + c) = -1.0;
    }
    return A;
}

TEST(MultifrontalLDL, SolvesSaddlePointsOfGrids)
{
    for (const Int side : {4, 7, 10}) expectAll<double>(gridSaddle(side, side * side / 3, 5), true, 5);
}

/// A diagonal that dominates has one set of scales: D*A*D*(D^-1*x) = D*b is solved as A*x = b is.
TEST(MultifrontalLDL, UnitsMakeNoDifference)
{
    for (const double power : {20.0, 140.0}) {
        const Matrix plain = shifted<double>(randomSymmetric<double>(20, 0.4, 9, true), 20.0);
        const Matrix A = inUnits<double>(plain, power, 4);
        const Factored<double> made(A, true), before(plain, true);
        ASSERT_EQ(made.ldl.replaced(), before.ldl.replaced());
        ASSERT_EQ(made.ldl.inertia(), before.ldl.inertia());
        for (Int k = 0; k < 20; ++k) {
            std::vector<double> unit(20); // A*e_k
            for (Int i = 0; i < 20; ++i) unit[i] = A(i, k);
            made.ldl.solve(N::NotTransposed, unit);
            EXPECT_NEAR(unit[k], 1.0, 1e-9) << "power " << power;
        }
    }
}

/// Signs are those of the eigenvalues, which are not near zero.
template <class Cell, class Eigen>
void expectInertia(const MatrixOf<Cell>& A)
{
    const Vector values = Eigen(A, false).Eigenvalues();
    detail::Inertia expected;
    for (Int i = 0; i < A.Rows(); ++i) {
        ASSERT_GT(std::abs(values[i]), 1e-10);
        ++(values[i] > 0.0 ? expected.positive : expected.negative);
    }
    EXPECT_EQ(Factored<Cell>(A, true).ldl.inertia(), expected);
}

TEST(MultifrontalLDL, SignsAreThoseOfTheEigenvalues)
{
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        for (const Int n : {2, 15, 60}) {
            const auto real = randomSymmetric<double>(n, 0.5, seed, true);
            const auto complex = randomSymmetric<Complex>(n, 0.5, seed, true);
            expectInertia<double, SymEigen>(real);
            expectInertia<Complex, CSymEigen>(complex);
            expectInertia<double, SymEigen>(saddlePoint<double>(shifted<double>(real, 20.0), n / 4));
            expectInertia<Complex, CSymEigen>(saddlePoint<Complex>(shifted<Complex>(complex, 20.0), n / 4));
        }
    }
    expectInertia<double, SymEigen>(gridSaddle(8, 20, 3));
}

/// Row and column `to` become those of `from`.
void repeat(Matrix& A, Int from, Int to)
{
    for (Int i = 0; i < A.Rows(); ++i) A(i, to) = A(i, from);
    for (Int i = 0; i < A.Rows(); ++i) A(to, i) = A(from, i);
}

/// A pivot that was replaced has no sign, and whoever asks for signs is told so.
TEST(MultifrontalLDL, WhatIsSingularHasReplacedPivotsWithoutSign)
{
    for (const Int twice : {1, 3}) {
        Matrix A = shifted<double>(randomSymmetric<double>(30, 0.3, 6, true), 20.0);
        for (Int k = 0; k < twice; ++k) repeat(A, k, 29 - k);
        const Factored<double> made(A, true);
        ASSERT_TRUE(made.isMade);
        EXPECT_EQ(made.ldl.replaced(), twice);
        EXPECT_EQ(made.ldl.inertia(), (detail::Inertia{30 - twice, 0, twice}));
    }
    const Factored<double> zero(Matrix(5, 5), true);
    EXPECT_EQ(zero.ldl.replaced(), 5);
    EXPECT_EQ(zero.ldl.inertia(), (detail::Inertia{0, 0, 5}));
}

/// Rows in units of powers of two: of A + diag(added) the same factor is one, with raised pivots.
TEST(MultifrontalLDL, PivotsThatWereZeroCanBeRaised)
{
    constexpr double kSize = 0x1p-20;
    for (const Int twice : {0, 1, 3}) {
        SCOPED_TRACE(twice);
        Matrix A = shifted<double>(randomSymmetric<double>(30, 0.3, 6, true), 20.0);
        for (Int k = 0; k < twice; ++k) repeat(A, k, 29 - k);
        for (Int i = 0; i < 30; ++i)
            for (Int j = 0; j < 30; ++j) A(i, j) = std::ldexp(double(A(i, j)), 4 * (i % 3) + 4 * (j % 3));
        const Factored<double> made(A, true);
        ASSERT_EQ(made.ldl.replaced(), twice);
        const std::vector<double> added = made.ldl.raisedBy(kSize);
        ASSERT_EQ(added.size(), 30U);
        EXPECT_EQ(std::ranges::count_if(added, [](double x) { return x > 0.0; }), twice);
        Matrix raised = A, x(30, 1);
        for (Int i = 0; i < 30; ++i) {
            const double size = added[static_cast<std::size_t>(i)];
            EXPECT_EQ(size, size == 0.0
                                ? 0.0
                                : std::ldexp(kSize, -2 * made.ldl.exponents()[static_cast<std::size_t>(i)]));
            raised(i, i) = raised(i, i) + size;
            x(i, 0) = i % 5 - 2.0;
        }
        const Matrix b = raised * x;
        std::vector<double> found;
        for (Int i = 0; i < 30; ++i) found.push_back(b(i, 0));
        made.ldl.solveRaised(kSize, found);
        for (Int i = 0; i < 30; ++i) EXPECT_NEAR(found[static_cast<std::size_t>(i)], x(i, 0), 1e-7);
    }
}

/// Constraints that repeat each other.
TEST(MultifrontalLDL, ASingularSaddlePointLosesOnePivot)
{
    Matrix A = gridSaddle(6, 8, 2);
    repeat(A, 36, 43);
    const Factored<double> made(A, true);
    EXPECT_EQ(made.ldl.replaced(), 1);
    EXPECT_EQ(made.ldl.inertia(), (detail::Inertia{36, 7, 1}));
}

TEST(MultifrontalLDL, NearlySingularSystemsLeaveSmallResiduals)
{
    for (const double distance : {1e-6, 1e-9, 1e-12}) {
        Matrix A = randomSymmetric<double>(25, 0.4, 8, true);
        repeat(A, 0, 24);
        A(24, 24) += distance;
        const Factored<double> made(A, true);
        ASSERT_EQ(made.ldl.replaced(), 0);
        expectSolves<double>(A, made.ldl, 1);
    }
}

TEST(MultifrontalLDL, StopsWhereABoundIsPassed)
{
    const Matrix A = gridSaddle(10, 20, 1);
    EXPECT_FALSE(Factored<double>(A, true, {.cells = 100}).isMade);
    EXPECT_FALSE(Factored<double>(A, true, {.operations = 100.0}).isMade);
    EXPECT_TRUE(Factored<double>(A, true).isMade);
}

/// The factor before stays where a later one is not made.
TEST(MultifrontalLDL, AFactorStaysWhereTheNextOneFails)
{
    const Matrix A = gridSaddle(7, 10, 1);
    Factored<double> made(A, true);
    const std::int64_t entries = made.ldl.entries();
    const detail::Inertia inertia = made.ldl.inertia();
    EXPECT_FALSE(made.ldl.factorize(made.entries, {.cells = 100}));
    EXPECT_EQ(made.ldl.entries(), entries);
    EXPECT_EQ(made.ldl.inertia(), inertia);
    expectSolves<double>(A, made.ldl, 1);
}

/// A body: cut into halves it takes fewer operations than by minimum degree.
TEST(MultifrontalLDL, ALargeBodyIsDissected)
{
    const Int side = 26, n = side * side * side;
    detail::EntryArrays<double> body{{n, n}, {}};
    for (Int v = 0; v < n; ++v) {
        const Int x = v % side, y = v / side % side, z = v / side / side;
        const auto add = [&](bool isThere, Int w, double value) {
            if (!isThere) return;
            body.pattern.columns.push_back(w);
            body.values.push_back(value);
        };
        add(z > 0, v - side * side, -1.0);
        add(y > 0, v - side, -1.0);
        add(x > 0, v - 1, -1.0);
        add(true, v, 7.0);
        add(x + 1 < side, v + 1, -1.0);
        add(y + 1 < side, v + side, -1.0);
        add(z + 1 < side, v + side * side, -1.0);
        body.pattern.starts.push_back(static_cast<Int>(body.values.size()));
    }
    std::vector<Int> quick(static_cast<std::size_t>(n));
    ASSERT_EQ(MinimumDegreeOrder(body.pattern.starts, body.pattern.columns, quick), 0);
    const double before = forecastOf(frontTreeOf(body.pattern, quick)).operations;
    const MultifrontalLDL<double> ldl(body, true);
    const MultifrontalLU<double> lu(body);
    EXPECT_LT(ldl.forecast().operations, 0.8 * before);
    EXPECT_LT(lu.forecast().operations, 2.0 * 0.8 * before);
    EXPECT_EQ(ldl.ordering(), FillInReducingMethod::NestedDissection);
    EXPECT_EQ(lu.ordering(), FillInReducingMethod::NestedDissection);
}

TEST(MultifrontalLDL, CountsWhatADenseMatrixTakes)
{
    const Int n = 50;
    const Factored<double> made(shifted<double>(randomSymmetric<double>(n, 1.0, 2, true), 100.0), true);
    EXPECT_EQ(made.ldl.entries(), n * (n + 1) / 2);
    EXPECT_EQ(made.ldl.operations(), (n - 1.0) * n * (n + 1.0) / 3.0); // sum of k*(k + 1), k < n
    EXPECT_EQ(made.ldl.delayed(), 0);
    EXPECT_EQ(made.ldl.operations(), made.ldl.forecast().operations);
}

TEST(MultifrontalLDL, EndsWhereItIsStoppedAndCanBeMadeAgain)
{
    const Matrix A = gridSaddle(9, 20, 1);
    Factored<double> made(A, true);
    const int stops = stopsUntilDone([&] {
        ASSERT_TRUE(made.ldl.factorize(made.entries));
        std::vector<double> x(static_cast<std::size_t>(A.Rows()), 1.0);
        made.ldl.solve(N::NotTransposed, x);
    });
    EXPECT_GT(stops, 5);
    expectSolves<double>(A, made.ldl, 1);
}

TEST(MultifrontalLDL, AFrontThatHasNoRoomIsToldBeforeItIsMade)
{
    Factored<double> made(shifted<double>(randomSymmetric<double>(50, 1.0, 2, true), 100.0), true);
    expectRoomForADenseFront(made.ldl, made.entries, 50);
}

TEST(MultifrontalLDL, ASolveCanEndAtEachPanel)
{
    const Matrix A = gridSaddle(9, 20, 1);
    const Factored<double> made(A, true);
    ASSERT_GT(made.ldl.panels().size(), 1u);
    expectAWordForEachPanelAndWay<double>(made.ldl, A.Rows());
}

template <class Cell>
void expectNothingLeftBehind(bool conjugates)
{
    const auto A = saddlePoint<Cell>(randomSymmetric<Cell>(40, 0.1, 4, conjugates), 12);
    expectMemoryMayBeRefused<Cell>(entriesOf<Cell>(SparseOf<Cell>(A)), [&](const auto& entries) {
        return MultifrontalLDL<Cell>(entries, conjugates);
    });
}

TEST(MultifrontalLDL, LeavesNothingBehindWhereMemoryIsRefused)
{
    expectNothingLeftBehind<double>(true);
    expectNothingLeftBehind<Complex>(true);
    expectNothingLeftBehind<Complex>(false);
}

} // namespace
} // namespace Velmar::Lintrix::testing
