// Solves against 113 bits, and what a factorization of an unsymmetric matrix leaves behind.

#include <lintrix/systems/multifrontal/multifrontal_lu.h>

#include "tests/systems/multifrontal/factor_checks.h"
#include "tests/systems/sparse_lu/sparse_matrices.h"

#include <gtest/gtest.h>

#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::multifrontal;
using Int = std::int32_t;
using N = TransposeMode;

template <class Cell>
struct Made {
    explicit Made(const MatrixOf<Cell>& A, const FrontBounds& bounds = {})
        : entries(entriesOf<Cell>(SparseOf<Cell>(A))), lu(entries),
          isMade(!lu.isStructurallySingular() && lu.factorize(entries, bounds))
    {
    }
    detail::EntryArrays<Cell> entries;
    MultifrontalLU<Cell> lu;
    bool isMade;
};

template <class Cell>
void expectAll(const MatrixOf<Cell>& A, std::uint64_t seed)
{
    SCOPED_TRACE(::testing::Message() << "n " << A.Rows() << ", seed " << seed);
    const Made<Cell> made(A);
    ASSERT_TRUE(made.isMade);
    ASSERT_EQ(made.lu.replaced(), 0);
    if (made.lu.delayed() == 0) {
        ASSERT_EQ(made.lu.entries(), made.lu.forecast().entries);
        ASSERT_EQ(made.lu.operations(), made.lu.forecast().operations);
    }
    expectSolves<Cell>(A, made.lu, seed);
}

template <class Cell>
void expectAllOfRandom()
{
    for (const Int n : {1, 2, 3, 10, 24, 40}) {
        for (std::uint64_t seed = 1; seed <= 6; ++seed) {
            for (const MatrixOf<Cell>& A :
                 {randomDense<Cell>(n, 3.0 / n, seed), randomDense<Cell>(n, 0.0, seed),
                  randomDense<Cell>(n, 1.0, seed), shuffledBlocks<Cell>(n, 5, seed)}) {
                expectAll<Cell>(A, seed);
                if (::testing::Test::HasFatalFailure()) return;
            }
        }
    }
}

TEST(MultifrontalLU, SolvesRandomSystems)
{
    expectAllOfRandom<double>();
    expectAllOfRandom<Complex>();
}

TEST(MultifrontalLU, OfNothingIsNothing)
{
    const detail::EntryArrays<double> nothing;
    MultifrontalLU<double> lu(nothing);
    EXPECT_TRUE(lu.factorize(nothing));
    EXPECT_EQ(lu.entries(), 0);
    lu.solve(N::NotTransposed, {});
}

/// A chain of fronts in which the diagonal is far too small: pivots wait, and nothing is lost.
TEST(MultifrontalLU, PivotsThatAreTooSmallWait)
{
    const Int n = 80;
    Matrix A(n, n);
    std::mt19937_64 generator(9);
    for (Int i = 0; i < n; ++i) {
        A(i, i) = i % 2 == 0 ? 0.02 : 1.0;
        for (const Int step : {1, 2, 7, 31}) {
            if (i + step >= n) continue;
            A(i, i + step) = drawn<double>(generator);
            A(i + step, i) = drawn<double>(generator);
        }
    }
    const Made<double> made(A);
    ASSERT_TRUE(made.isMade);
    EXPECT_GT(made.lu.delayed(), 0);
    EXPECT_GT(made.lu.entries(), made.lu.forecast().entries);
    expectSolves<double>(A, made.lu, 1);
}

/// Rows and columns in units from 1e-100 to 1e100: A*e_k is solved with all digits of a well conditioned one.
TEST(MultifrontalLU, UnitsMakeNoDifference)
{
    const Int n = 30;
    Matrix A = randomDense<double>(n, 0.2, 4);
    std::mt19937_64 generator(2);
    std::uniform_int_distribution<int> unit(-330, 330);
    for (Int i = 0; i < n; ++i) {
        A(i, i) += 8.0;
        const double scale = std::ldexp(1.0, unit(generator));
        for (Int j = 0; j < n; ++j) A(i, j) *= scale;
    }
    for (Int j = 0; j < n; ++j) {
        const double scale = std::ldexp(1.0, unit(generator));
        for (Int i = 0; i < n; ++i) A(i, j) *= scale;
    }
    const Made<double> made(A);
    for (Int k = 0; k < n; ++k) {
        std::vector<double> column(static_cast<std::size_t>(n));
        for (Int i = 0; i < n; ++i) column[i] = A(i, k);
        made.lu.solve(N::NotTransposed, column);
        EXPECT_NEAR(column[k], 1.0, 1e-12);
    }
}

TEST(MultifrontalLU, TooFewPlacesForValuesAreTold)
{
    Matrix A(3, 3);
    A(0, 0) = A(1, 0) = A(2, 0) = A(0, 1) = A(0, 2) = 1.0;
    EXPECT_TRUE(Made<double>(A).lu.isStructurallySingular());
    EXPECT_FALSE(Made<double>(identity(3)).lu.isStructurallySingular());
}

/// The last column is the sum of two others, in whole numbers.
TEST(MultifrontalLU, AColumnWithoutAnElementIsReplaced)
{
    Matrix A = identity(6);
    for (Int i = 0; i < 6; ++i) A(i, 5) = i < 2 ? 1.0 : 0.0;
    A(5, 0) = A(5, 5) = 1.0;
    const Made<double> made(A);
    ASSERT_TRUE(made.isMade);
    EXPECT_EQ(made.lu.replaced(), 1);
}

TEST(MultifrontalLU, StopsWhereABoundIsPassedAndKeepsWhatItHas)
{
    const Matrix A = randomDense<double>(60, 0.1, 1);
    Made<double> made(A);
    ASSERT_TRUE(made.isMade);
    const std::int64_t entries = made.lu.entries();
    EXPECT_FALSE(made.lu.factorize(made.entries, {.cells = 100}));
    EXPECT_FALSE(made.lu.factorize(made.entries, {.operations = 100.0}));
    EXPECT_EQ(made.lu.entries(), entries);
    expectSolves<double>(A, made.lu, 1);
}

TEST(MultifrontalLU, CountsWhatADenseMatrixTakes)
{
    const Int n = 50;
    const Made<double> made(randomDense<double>(n, 1.0, 2));
    EXPECT_EQ(made.lu.entries(), n * n);
    EXPECT_EQ(made.lu.operations(), 2.0 * (n - 1.0) * n * (n + 1.0) / 3.0); // sum of 2*k*(k + 1), k < n
}

TEST(MultifrontalLU, EndsWhereItIsStoppedAndCanBeMadeAgain)
{
    const Matrix A = randomDense<double>(80, 0.05, 1);
    Made<double> made(A);
    const int stops = stopsUntilDone([&] {
        ASSERT_TRUE(made.lu.factorize(made.entries));
        std::vector<double> x(80, 1.0);
        made.lu.solve(N::NotTransposed, x);
    });
    EXPECT_GT(stops, 5);
    expectSolves<double>(A, made.lu, 1);
}

TEST(MultifrontalLU, AFrontThatHasNoRoomIsToldBeforeItIsMade)
{
    Made<double> made(randomDense<double>(50, 1.0, 2));
    expectRoomForADenseFront(made.lu, made.entries, 50);
}

TEST(MultifrontalLU, ASolveCanEndAtEachPanel)
{
    const Made<double> made(randomDense<double>(60, 0.05, 1));
    ASSERT_GT(made.lu.panels().size(), 1u);
    expectAWordForEachPanelAndWay<double>(made.lu, 60);
}

template <class Cell>
void expectNothingLeftBehind()
{
    expectMemoryMayBeRefused<Cell>(entriesOf<Cell>(SparseOf<Cell>(randomDense<Cell>(40, 0.1, 4))),
                                   [](const auto& A) { return MultifrontalLU<Cell>(A); });
}

TEST(MultifrontalLU, LeavesNothingBehindWhereMemoryIsRefused)
{
    expectNothingLeftBehind<double>();
    expectNothingLeftBehind<Complex>();
}

} // namespace
} // namespace Velmar::Lintrix::testing
