// Sparse LU with partial pivoting, as a road sees it.

#include <lintrix/systems/roads/pivoted_factor.h>

#include "tests/systems/sparse_lu/sparse_matrices.h"

#include <lintrix/sparse/sparse_assembler.h>
#include <lintrix/systems/roads/quality.h>

#include <gtest/gtest.h>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::roads;
using N = TransposeMode;

/// A grid with unsymmetric values; `side` 3D: seven points.
SparseMatrix body(std::int32_t side)
{
    const std::int32_t n = side * side * side;
    std::mt19937_64 generator(1);
    SparseAssembler assembler(n, n);
    for (std::int32_t i = 0; i < n; ++i) {
        assembler.Add(i, i, 7.0);
        for (const std::int32_t step : {1, side, side * side}) {
            if (i + step >= n) continue;
            assembler.Add(i, i + step, drawn<double>(generator));
            assembler.Add(i + step, i, drawn<double>(generator));
        }
    }
    return assembler.Assemble();
}

template <class Cell>
SparseOf<Cell> network(std::uint64_t seed)
{
    return SparseOf<Cell>(shuffledBlocks<Cell>(60, 9, seed));
}

TEST(PivotedFactor, PaysWhereThereIsLittleToEliminate)
{
    EXPECT_TRUE(PivotedFactor<double>(network<double>(1), false).pays());
    EXPECT_TRUE(PivotedFactor<Complex>(network<Complex>(1), false).pays());
    EXPECT_TRUE(PivotedFactor<double>(body(7), true).pays()) << "343 unknowns";
    EXPECT_FALSE(PivotedFactor<double>(body(9), true).pays());
    SparseMatrix singular(2, 2);
    singular(0, 0) = singular(1, 0) = 1.0;
    EXPECT_FALSE(PivotedFactor<double>(singular, false).pays()) << "no road at all";
}

TEST(PivotedFactor, IsHopedForWhereThereAreLightRowsOrFew)
{
    const auto mayPay = [](const SparseMatrix& A) {
        return mayPivotedPay(A.RowPointers(), A.ColumnIndices());
    };
    EXPECT_TRUE(mayPay(body(8))) << "512 unknowns";
    EXPECT_FALSE(mayPay(body(12)));
    const std::int32_t n = 4000;
    SparseAssembler ladder(n, n), band(n, n);
    for (std::int32_t i = 0; i < n; ++i) {
        for (std::int32_t j = std::max(0, i - 7); j < std::min(n, i + 7); ++j) band.Add(i, j, 1.0);
        ladder.Add(i, i, 2.0);
        ladder.Add(i, (i * 7) % n, 1.0);
        ladder.Add(i / 2, i, 1.0);
    }
    EXPECT_TRUE(mayPay(ladder.Assemble()));
    EXPECT_FALSE(mayPay(band.Assemble())) << "14 elements a row";
    EXPECT_TRUE(mayPay(SparseMatrix(randomDense<double>(100, 1.0, 1)))) << "small";
}

TEST(PivotedFactor, ItsForecastIsThatOfPivotsOnTheDiagonal)
{
    const SparseMatrix A = body(6);
    PivotedFactor<double> factor(A, true);
    ASSERT_EQ(factor.factorize({}).error, 0);
    const RoadCost cost = factor.cost();
    EXPECT_EQ(2 * cost.entries - A.Rows(), factor.entries()) << "the diagonal is dominant";
    EXPECT_GT(cost.bytes, 12.0 * static_cast<double>(factor.entries()));
}

template <class Cell>
void expectSolvesAllWays(std::uint64_t seed)
{
    const SparseOf<Cell> A = network<Cell>(seed);
    PivotedFactor<Cell> factor(A, false);
    ASSERT_EQ(factor.factorize({}).error, 0);
    const std::unique_ptr<Factored<Cell>> other = factor.another();
    std::mt19937_64 generator(seed);
    MatrixOf<Cell> known(A.Rows(), 3), X(A.Rows(), 3), Y(A.Rows(), 3);
    for (Cell& cell : cellsOf(known)) cell = drawn<Cell>(generator);
    for (const N op : {N::NotTransposed, N::Transposed, N::ConjugateTransposed}) {
        const auto B = productOf<Cell>(A, known, op);
        ASSERT_EQ(factor.solve(B, X, op, 0).error, 0);
        EXPECT_EQ(factor.refinementSteps(), 0);
        const MatrixOf<Cell> plain(X);
        const double residual = judge<Cell>(A, X, B, columnOf(known, 2), op).residual;
        EXPECT_LT(residual, 1e-13);
        ASSERT_EQ(other->solve(B, Y, op, {}).error, 0);
        EXPECT_EQ(largestDifference(plain, Y), 0.0);
        ASSERT_EQ(factor.solve(B, X, op, 5).error, 0);
        EXPECT_LE(factor.refinementSteps(), 5);
        EXPECT_LE((judge<Cell>(A, X, B, columnOf(known, 2), op).residual), residual);
        MatrixOf<Cell> refined(plain), fromNothing = zeroColumns<Cell>(A.Rows(), 3);
        ASSERT_EQ(factor.refine(B, refined, op, 5).error, 0);
        EXPECT_EQ(largestDifference(refined, X), 0.0);
        ASSERT_EQ(factor.refine(B, fromNothing, op, 1).error, 0);
        EXPECT_EQ(largestDifference(fromNothing, plain), 0.0) << "begun where X stood";
    }
}

TEST(PivotedFactor, SolvesAllWaysAndRefines)
{
    for (const std::uint64_t seed : {1, 2, 3}) {
        expectSolvesAllWays<double>(seed);
        expectSolvesAllWays<Complex>(seed);
    }
}

TEST(PivotedFactor, TakesOtherValuesByTheOldPivotsOrNewOnes)
{
    SparseMatrix A(network<double>(4));
    PivotedFactor<double> factor(A, false);
    ASSERT_EQ(factor.factorize({}).error, 0);
    const Matrix known = probeSolution<double>(A.Rows());
    for (const double factorOfChange : {1.5, 1e-30}) {
        auto values = A.Values();
        for (std::size_t k = 0; k < values.size(); k += 3) const_cast<double&>(values[k]) *= factorOfChange;
        ASSERT_EQ(factor.refactorize({}).error, 0);
        Matrix X(A.Rows(), 1);
        const Matrix B = productOf<double>(A, known, N::NotTransposed);
        ASSERT_EQ(factor.solve(B, X, N::NotTransposed, 3).error, 0);
        EXPECT_LT((judge<double>(A, X, B, known).probeResidual), 1e-14);
    }
}

TEST(PivotedFactor, FailuresAreToldByNumber)
{
    SparseMatrix A(3, 3);
    A(0, 0) = 3.0;
    A(0, 2) = 1.0;
    A(1, 1) = A(1, 2) = A(2, 1) = A(2, 2) = 1.0;
    const EngineAnswer answer = PivotedFactor<double>(A, false).factorize({});
    EXPECT_EQ(answer.error, kEngineNumeric);
    EXPECT_TRUE(answer.failing == 2 || answer.failing == 3);
    EXPECT_EQ(answer.block, 2);
    const SparseMatrix full = body(6);
    EXPECT_EQ(PivotedFactor<double>(full, true).factorize({.entries = 100}).error, kTooMuchFill);
}

} // namespace
} // namespace Velmar::Lintrix::testing
