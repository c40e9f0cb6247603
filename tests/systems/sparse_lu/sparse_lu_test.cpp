// L and U against the matrix they are of, solves against dense LU, and what is no factor.

#include <lintrix/systems/sparse_lu/sparse_lu.h>

#include "tests/support/matrices.h"
#include "tests/support/refused_memory.h"
#include "tests/systems/sparse_lu/sparse_matrices.h"

#include <lintrix/systems/roads/dense_factor.h>
#include <lintrix/systems/roads/quality.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::roads;
using namespace detail::sparse_lu;
using N = TransposeMode;

constexpr N kAllModes[] = {N::NotTransposed, N::Transposed, N::ConjugateTransposed};

/// P*R*A*Q, L and U + F as dense matrices.
template <class Cell>
struct DenseFactors {
    MatrixOf<Cell> permuted, L, U, above;
};

template <class Cell>
DenseFactors<Cell> denseFactors(const SparseLU<Cell>& lu, const MatrixOf<Cell>& A)
{
    const std::int32_t n = A.Rows();
    const LuArrays<Cell>& arrays = lu.arrays();
    DenseFactors<Cell> dense{MatrixOf<Cell>(n, n), MatrixOf<Cell>(n, n), MatrixOf<Cell>(n, n),
                             MatrixOf<Cell>(n, n)};
    for (std::int32_t k = 0; k < n; ++k) {
        for (std::int32_t p = 0; p < n; ++p)
            dense.permuted(p, k) = A(lu.rowAt()[p], lu.columnAt()[k]) * lu.rowScales()[lu.rowAt()[p]];
        dense.L(k, k) = 1.0;
        dense.U(k, k) = arrays.pivots[k];
        for (std::int64_t l = arrays.L.begin(k); l < arrays.L.end(k); ++l)
            dense.L(arrays.L.rows()[l], k) = arrays.L.values()[l];
        for (std::int64_t u = arrays.U.begin(k); u < arrays.U.end(k); ++u)
            dense.U(arrays.U.rows()[u], k) = arrays.U.values()[u];
        for (std::int32_t a = arrays.A.starts[k]; a < arrays.A.ownStarts[k]; ++a)
            dense.above(arrays.A.rows[a], k) = arrays.A.values[a];
    }
    return dense;
}

/// |P*R*A*Q - L*U - F| <= c*n*eps*(|L||U| + |F|) element by element (Higham, Accuracy and Stability of
/// Numerical Algorithms, 2nd ed., theorem 9.3), L and U triangular, L within its bound, F above the blocks.
template <class Cell>
void expectFactors(const SparseLU<Cell>& lu, const MatrixOf<Cell>& A, double threshold)
{
    const auto [permuted, L, U, above] = denseFactors(lu, A);
    const double bound = (std::is_same_v<Cell, double> ? 1.0 : std::sqrt(2.0)) / threshold;
    const double slack = 1.0 + 100.0 * kEps;
    const auto& starts = lu.plan().blockStarts;
    std::int32_t block = 0;
    for (std::int32_t k = 0; k < A.Rows(); ++k) {
        if (starts[block + 1] <= k) ++block;
        for (std::int32_t i = 0; i < A.Rows(); ++i) {
            Cell sum = above(i, k);
            double scale = std::abs(above(i, k));
            for (std::int32_t j = 0; j < A.Rows(); ++j) {
                sum += L(i, j) * U(j, k);
                scale += std::abs(L(i, j)) * std::abs(U(j, k));
            }
            ASSERT_LE(std::abs(permuted(i, k) - sum), 8.0 * A.Rows() * kEps * scale) << i << ", " << k;
            ASSERT_LE(std::abs(L(i, k)), bound * slack);
            const bool isInBlock = i >= starts[block] && i < starts[block + 1];
            ASSERT_TRUE((isInBlock && i >= k) || L(i, k) == Cell());
            ASSERT_TRUE((isInBlock && i <= k) || U(i, k) == Cell());
            ASSERT_TRUE(i < starts[block] || above(i, k) == Cell());
        }
    }
}

/// Residuals of all ops and several right-hand sides beside those that a dense LU leaves. The bits of each
/// right-hand side are those of a solve for it alone.
template <class Cell>
void expectSolves(const SparseLU<Cell>& lu, const SparseOf<Cell>& A, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    DenseFactor<Cell> dense(A);
    for (const N op : kAllModes) {
        for (const std::int32_t columns : {1, 2, 3, 7}) {
            MatrixOf<Cell> known(A.Rows(), columns), found(A.Rows(), columns);
            for (Cell& cell : cellsOf(known)) cell = drawn<Cell>(generator);
            const MatrixOf<Cell> B = productOf<Cell>(A, known, op);
            MatrixOf<Cell> X(B);
            lu.solve(op, cellsOf(X));
            for (std::int32_t j = 0; j < columns; ++j) {
                MatrixOf<Cell> alone = columnOf(B, j);
                lu.solve(op, cellsOf(alone));
                ASSERT_TRUE(std::ranges::equal(cellsOf(alone), columnCells(X, j))) << j << " of " << columns;
            }
            ASSERT_EQ(dense.solve(B, found, op, {}).error, 0);
            const double residual = judge<Cell>(A, X, B, columnOf(known, columns - 1), op).residual;
            ASSERT_LE(residual, 1e3 * kEps * lu.growth());
            ASSERT_LE(probeError(known, X), 1e-13 + 1e4 * probeError(known, found));
        }
    }
}

template <class Cell>
void expectAll(const MatrixOf<Cell>& dense, double threshold, std::uint64_t seed)
{
    SCOPED_TRACE(::testing::Message()
                 << "n " << dense.Rows() << ", threshold " << threshold << ", seed " << seed);
    const SparseOf<Cell> A(dense);
    SparseLU<Cell> lu(A, threshold);
    ASSERT_EQ(lu.factorize(A), LuOutcome::Done);
    expectFactors(lu, dense, threshold);
    expectSolves(lu, A, seed);
}

template <class Cell>
void expectAllOfRandom()
{
    for (const double threshold : {1.0, 0.1, 0.001}) {
        for (const std::int32_t n : {1, 2, 3, 7, 20, 37}) {
            for (std::uint64_t seed = 1; seed <= 5; ++seed) {
                expectAll<Cell>(randomDense<Cell>(n, seed / (2.0 * n), seed), threshold, seed);
                expectAll<Cell>(shuffledBlocks<Cell>(n, 1 + static_cast<std::int32_t>(seed), seed), threshold,
                                seed);
            }
            expectAll<Cell>(randomDense<Cell>(n, 1.0, 7), threshold, 7);
        }
    }
}

TEST(SparseLU, FactorsAndSolvesRandomMatrices)
{
    expectAllOfRandom<double>();
    expectAllOfRandom<Complex>();
}

TEST(SparseLU, TakesTheDiagonalWhereItIsLargeEnough)
{
    const Matrix dense = randomDense<double>(40, 0.1, 5);
    SparseMatrix A(40, 40);
    for (std::int32_t i = 0; i < 40; ++i)
        for (std::int32_t j = 0; j < 40; ++j)
            if (i == j || dense(i, j) != 0.0) A(i, j) = i == j ? 40.0 : dense(i, j);
    SparseLU<double> lu(A);
    ASSERT_EQ(lu.factorize(A), LuOutcome::Done);
    for (std::int32_t k = 0; k < 40; ++k) EXPECT_EQ(lu.rowAt()[k], lu.columnAt()[k]);
}

// Pivots of 1e-20 on the diagonal: along it everything is lost.
TEST(SparseLU, ExchangesRowsOfAWeakDiagonal)
{
    Matrix dense = randomDense<double>(50, 0.08, 11);
    for (std::int32_t i = 0; i < 50; ++i) dense(i, i) = 1e-20;
    expectAll<double>(dense, 0.1, 11);
}

TEST(SparseLU, RowsOfAllScalesAreAlike)
{
    Matrix dense = randomDense<double>(30, 0.15, 3);
    for (std::int32_t i = 0; i < 30; ++i)
        for (std::int32_t j = 0; j < 30; ++j) dense(i, j) = std::ldexp(dense(i, j), 60 * (i % 30) - 900);
    const SparseMatrix A(dense);
    SparseLU<double> lu(A);
    ASSERT_EQ(lu.factorize(A), LuOutcome::Done);
    expectFactors(lu, dense, 0.1);
    EXPECT_LT(lu.growth(), 100.0);
}

TEST(SparseLU, StoredZerosAreNotThere)
{
    SparseMatrix A(2, 2);
    A(0, 0) = 0.0;
    A(0, 1) = 2.0;
    A(1, 0) = 4.0;
    A(1, 1) = 0.0;
    SparseLU<double> lu(A);
    ASSERT_EQ(lu.factorize(A), LuOutcome::Done);
    EXPECT_EQ(lu.plan().blocks(), 2);
    EXPECT_EQ(lu.entries(), 2);
}

TEST(SparseLU, AnEmptyRowIsStructurallySingular)
{
    SparseMatrix A(3, 3);
    A(0, 0) = A(0, 1) = A(2, 1) = A(2, 2) = 1.0;
    SparseLU<double> lu(A);
    EXPECT_EQ(lu.analysed(), LuOutcome::StructurallySingular);
    EXPECT_EQ(lu.factorize(A), LuOutcome::StructurallySingular);
}

TEST(SparseLU, RowsThatShareTheirColumnsAreStructurallySingular)
{
    CSparseMatrix A(3, 3);
    A(0, 0) = A(0, 1) = A(1, 0) = A(1, 1) = A(2, 0) = A(2, 1) = 1.0;
    EXPECT_EQ(SparseLU<Complex>(A).analysed(), LuOutcome::StructurallySingular);
}

// Rows 1 and 2 are a block [1 1; 1 1] behind the block of row 0; its second column has no pivot.
TEST(SparseLU, AZeroPivotIsToldWithBlockAndColumn)
{
    SparseMatrix A(3, 3);
    A(0, 0) = 3.0;
    A(0, 2) = 1.0;
    A(1, 1) = A(1, 2) = A(2, 1) = A(2, 2) = 1.0;
    SparseLU<double> lu(A);
    EXPECT_EQ(lu.plan().blocks(), 2);
    EXPECT_EQ(lu.factorize(A), LuOutcome::Singular);
    EXPECT_EQ(lu.singularBlock(), 1);
    EXPECT_TRUE(lu.singularColumn() == 1 || lu.singularColumn() == 2);
}

TEST(SparseLU, WhatIsNotFiniteIsRefused)
{
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(), HUGE_VAL, -HUGE_VAL}) {
        SparseMatrix A(2, 2);
        A(0, 0) = A(1, 1) = 1.0;
        A(0, 1) = bad;
        SparseLU<double> lu(A);
        EXPECT_EQ(lu.factorize(A), LuOutcome::NotFinite);
        CSparseMatrix C(1, 1);
        C(0, 0) = Complex(1.0, bad);
        EXPECT_EQ(SparseLU<Complex>(C).analysed(), LuOutcome::NotFinite);
    }
}

TEST(SparseLU, StopsWhereABoundIsPassed)
{
    const SparseMatrix A(randomDense<double>(100, 0.2, 2));
    SparseLU<double> lu(A), again(A);
    EXPECT_EQ(lu.factorize(A, {.entries = 1000}), LuOutcome::TooMuchFill);
    EXPECT_EQ(again.factorize(A, {.operations = 1e4}), LuOutcome::TooMuchFill);
    EXPECT_LT(again.operations(), 1e4 + 2.0 * 100 * 100) << "a column more";
}

TEST(SparseLU, OperationsAreThoseThatAreDone)
{
    const std::int32_t n = 60;
    const SparseMatrix A(randomDense<double>(n, 1.0, 9));
    SparseLU<double> lu(A, 1.0);
    ASSERT_EQ(lu.factorize(A), LuOutcome::Done);
    double dense = 0.0; // sum over the pivots of b divisions and 2*b^2 operations
    for (double below = n - 1; below > 0; --below) dense += 2.0 * below * below + 2.0 * (below + 1.0);
    EXPECT_NEAR(lu.operations(), dense, 0.05 * dense);
    EXPECT_EQ(lu.entries(), n * n);
}

template <class Cell>
void expectRefactorized(std::uint64_t seed)
{
    const MatrixOf<Cell> first = shuffledBlocks<Cell>(50, 12, seed);
    std::mt19937_64 generator(seed + 100);
    MatrixOf<Cell> second(first);
    for (Cell& cell : cellsOf(second)) cell *= 1.0 + 0.1 * std::abs(drawn<Cell>(generator));
    const SparseOf<Cell> A(first), B(second);
    SparseLU<Cell> lu(A);
    ASSERT_EQ(lu.factorize(A), LuOutcome::Done);
    const std::vector<std::int32_t> rows(lu.rowAt().begin(), lu.rowAt().end());
    ASSERT_EQ(lu.refactorize(B), LuOutcome::Done);
    EXPECT_TRUE(std::ranges::equal(rows, lu.rowAt()));
    expectFactors(lu, second, 1e-4);
    expectSolves(lu, B, seed);
    ASSERT_EQ(lu.refactorize(A), LuOutcome::Done);
    expectFactors(lu, first, 0.1);
}

TEST(SparseLU, KeepsItsPivotsForOtherValues)
{
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        expectRefactorized<double>(seed);
        expectRefactorized<Complex>(seed);
    }
}

TEST(SparseLU, TellsThatItsPivotsAreSpoilt)
{
    SparseMatrix A(2, 2), B(2, 2), C(2, 2);
    A(0, 0) = A(1, 1) = 4.0;
    A(0, 1) = A(1, 0) = 1.0;
    B(0, 0) = B(1, 1) = 0.0;
    B(0, 1) = B(1, 0) = 1.0;
    SparseLU<double> lu(A);
    ASSERT_EQ(lu.factorize(A), LuOutcome::Done);
    EXPECT_EQ(lu.refactorize(B), LuOutcome::PivotsSpoilt);
    C(0, 0) = C(1, 1) = 4.0; // both with four entries stored
    C(0, 1) = C(1, 0) = 0.0;
    SparseLU<double> narrow(C);
    ASSERT_EQ(narrow.factorize(C), LuOutcome::Done);
    EXPECT_EQ(narrow.refactorize(A), LuOutcome::PivotsSpoilt) << "entries without a place";
    B(0, 0) = HUGE_VAL;
    EXPECT_EQ(lu.refactorize(B), LuOutcome::NotFinite);
}

template <class Cell>
void expectNothingLeftBehind()
{
    const SparseOf<Cell> A(shuffledBlocks<Cell>(40, 15, 4));
    const auto operation = [&] {
        SparseLU<Cell> lu(A);
        ASSERT_EQ(lu.factorize(A), LuOutcome::Done);
        ASSERT_EQ(lu.refactorize(A), LuOutcome::Done);
        std::vector<Cell> x(40, Cell(1.0));
        lu.solve(N::Transposed, std::span(x));
    };
    EXPECT_GT(refuseEachRequestOf(operation), 20);
}

TEST(SparseLU, LeavesNothingBehindWhereMemoryIsRefused)
{
    expectNothingLeftBehind<double>();
    expectNothingLeftBehind<Complex>();
}

} // namespace
} // namespace Velmar::Lintrix::testing
