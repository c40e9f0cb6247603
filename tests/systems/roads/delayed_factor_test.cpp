// L*D*L' with pivots that may wait, as a road sees it.

#include <lintrix/systems/roads/delayed_factor.h>

#include "tests/systems/multifrontal/symmetric_matrices.h"

#include <lintrix/systems/roads/quality.h>

#include <gtest/gtest.h>

#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::roads;
using N = TransposeMode;

template <class Cell>
SparseOf<Cell> saddle(std::int32_t n, bool hermitian)
{
    return SparseOf<Cell>(saddlePoint<Cell>(randomSymmetric<Cell>(n, 0.2, 3, hermitian), n / 4));
}

template <class Cell>
void expectRefined(bool hermitian)
{
    const SparseOf<Cell> A = saddle<Cell>(60, hermitian);
    DelayedFactor<Cell> factor(A, hermitian);
    ASSERT_EQ(factor.factorize({}).error, 0);
    EXPECT_EQ(factor.replaced(), 0);
    const std::unique_ptr<detail::roads::Factored<Cell>> other = factor.another();
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
        const double before = judge<Cell>(A, plain, B, probe, op).residual,
                     after = judge<Cell>(A, refined, B, probe, op).residual;
        EXPECT_LE(after, before);
        EXPECT_LE(after, 0x1p-50);
        ASSERT_EQ(other->solve(B, again, op, 3).error, 0);
        EXPECT_TRUE(std::ranges::equal(cellsOf(again), cellsOf(refined)));
    }
}

TEST(DelayedFactor, SolvesAndRefinesByItselfAndByAnother)
{
    expectRefined<double>(true);
    expectRefined<Complex>(true);
    expectRefined<Complex>(false);
}

/// A diagonal that dominates lets nothing wait: what is forecast is what is made.
TEST(DelayedFactor, CostIsWhatIsMadeWhereNothingWaits)
{
    const SparseMatrix A(shifted<double>(randomSymmetric<double>(80, 0.1, 2, true), 40.0));
    DelayedFactor<double> factor(A, true);
    const RoadCost cost = factor.cost();
    ASSERT_EQ(factor.factorize({}).error, 0);
    EXPECT_EQ(factor.entries(), cost.entries);
    EXPECT_EQ(factor.operations(3), 4.0 * 3.0 * static_cast<double>(cost.entries));
    EXPECT_GE(cost.bytes, 8.0 * static_cast<double>(cost.entries));
    EXPECT_EQ(cost.bytes, cost.bytesInMemory);
}

TEST(DelayedFactor, SignsAreToldOfHermitianMatricesAlone)
{
    const CSparseMatrix hermitian = saddle<Complex>(20, true), symmetric = saddle<Complex>(20, false);
    DelayedFactor<Complex> one(hermitian, true), other(symmetric, false);
    ASSERT_EQ(one.factorize({}).error, 0);
    ASSERT_EQ(other.factorize({}).error, 0);
    ASSERT_TRUE(one.inertia().has_value());
    EXPECT_EQ(one.inertia()->order(), 20);
    EXPECT_FALSE(other.inertia().has_value());
}

TEST(DelayedFactor, TellsABoundThatIsPassed)
{
    const SparseMatrix A = saddle<double>(60, true);
    DelayedFactor<double> factor(A, true);
    EXPECT_EQ(factor.factorize({.cells = 100}).error, kTooMuchFill);
}

TEST(DelayedFactor, WhatIsNotFiniteHasNoFactor)
{
    SparseMatrix A = saddle<double>(20, true);
    A(3, 3) = std::numeric_limits<double>::infinity();
    DelayedFactor<double> factor(A, true);
    EXPECT_EQ(factor.cost().entries, 0);
    EXPECT_EQ(factor.factorize({}).error, kEngineNumeric);
}

} // namespace
} // namespace Velmar::Lintrix::testing
