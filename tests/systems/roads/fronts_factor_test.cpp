// LU with pivots that may wait, as a road sees it.

#include <lintrix/systems/roads/delayed_factor.h>

#include "tests/systems/sparse_lu/sparse_matrices.h"

#include <lintrix/systems/roads/quality.h>

#include <gtest/gtest.h>

#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::roads;
using N = TransposeMode;

template <class Cell>
void expectRefined()
{
    const SparseOf<Cell> A(randomDense<Cell>(60, 0.1, 3));
    FrontsFactor<Cell> factor(A);
    ASSERT_EQ(factor.factorize({}).error, 0);
    EXPECT_EQ(factor.replaced(), 0);
    const std::unique_ptr<Factored<Cell>> other = factor.another();
    for (const N op : {N::NotTransposed, N::Transposed, N::ConjugateTransposed}) {
        std::mt19937_64 generator(5);
        MatrixOf<Cell> known(60, 3), plain(60, 3), refined(60, 3), again(60, 3);
        for (Cell& cell : cellsOf(known)) cell = drawn<Cell>(generator);
        const MatrixOf<Cell> B = productOf<Cell>(A, known, op);
        ASSERT_EQ(factor.solve(B, plain, op).error, 0);
        EXPECT_EQ(factor.refinementSteps(), 0);
        ASSERT_EQ(factor.solve(B, refined, op, 3).error, 0);
        EXPECT_LE(factor.refinementSteps(), 3);
        const MatrixOf<Cell> probe = columnOf(known, 2);
        EXPECT_LE(judge<Cell>(A, refined, B, probe, op).residual, 0x1p-50);
        EXPECT_LE(judge<Cell>(A, plain, B, probe, op).residual, 0x1p-43);
        ASSERT_EQ(other->solve(B, again, op, 3).error, 0);
        EXPECT_TRUE(std::ranges::equal(cellsOf(again), cellsOf(refined)));
    }
}

TEST(FrontsFactor, SolvesAndRefinesByItselfAndByAnother)
{
    expectRefined<double>();
    expectRefined<Complex>();
}

TEST(FrontsFactor, CostIsWhatIsMadeWhereNothingWaits)
{
    Matrix dense = randomDense<double>(80, 0.05, 2);
    for (std::int32_t i = 0; i < 80; ++i) dense(i, i) = 40.0;
    const SparseMatrix A(dense);
    FrontsFactor<double> factor(A);
    const RoadCost cost = factor.cost();
    ASSERT_EQ(factor.factorize({}).error, 0);
    EXPECT_EQ(factor.entries(), 2 * cost.entries - 80);
    EXPECT_EQ(factor.operations(3), 2.0 * 3.0 * static_cast<double>(factor.entries()));
    EXPECT_GE(cost.bytes, 8.0 * static_cast<double>(factor.entries()));
}

TEST(FrontsFactor, TellsABoundThatIsPassed)
{
    const SparseMatrix A(randomDense<double>(60, 0.1, 3));
    EXPECT_EQ(FrontsFactor<double>(A).factorize({.cells = 100}).error, kTooMuchFill);
}

TEST(FrontsFactor, WhatIsNotFiniteOrHasTooFewPlacesHasNoFactor)
{
    SparseMatrix infinite(randomDense<double>(20, 0.2, 3)), narrow(2, 2);
    infinite(3, 3) = std::numeric_limits<double>::infinity();
    narrow(0, 0) = narrow(1, 0) = 1.0;
    for (const SparseMatrix& A : {infinite, narrow}) {
        FrontsFactor<double> factor(A);
        EXPECT_EQ(factor.cost().entries, 0);
        EXPECT_EQ(factor.factorize({}).error, kEngineNumeric);
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
