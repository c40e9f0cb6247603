// L, U and what is left of an unsymmetric front against the front they are of.

#include <lintrix/systems/multifrontal/square_elimination.h>

#include "tests/support/matrices.h"
#include "tests/systems/multifrontal/front_cells.h"
#include "tests/systems/sparse_lu/sparse_matrices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::multifrontal;
using Int = std::int32_t;

struct Case {
    Int candidates;
    bool isRoot;
    RowRule rule;
};

/// A front, and what became of it.
template <class Cell>
struct Eliminated : FrontCells<Cell> {
    Eliminated(const MatrixOf<Cell>& A, const Case& way) : FrontCells<Cell>(A.Rows()), columns(this->rows)
    {
        for (Int j = 0; j < this->size; ++j)
            for (Int i = 0; i < this->size; ++i) this->at(i, j) = A(i, j);
        SquareElimination<Cell> elimination(way.rule);
        this->done = elimination.run({this->cells.data(), this->size, way.candidates, this->rows, columns},
                                     way.isRoot, replaced);
    }

    std::vector<Int> columns;
    Int replaced = 0;
};

/// |P*F*Q - L*U - rest| <= c*n*eps*(|L||U| + |rest|), element by element (Higham, Accuracy and Stability of
/// Numerical Algorithms, 2nd ed., theorem 9.3), and |L| <= 1 / threshold.
template <class Cell>
void expectProduct(const MatrixOf<Cell>& A, Eliminated<Cell>& front, double threshold)
{
    const double most = (std::is_same_v<Cell, double> ? 1.0 : std::sqrt(2.0)) / threshold;
    for (Int j = 0; j < front.size; ++j) {
        for (Int i = 0; i < front.size; ++i) {
            const Int done = std::min(front.done, std::min(i, j + 1));
            Cell sum = i < front.done && i <= j ? front.at(i, j) : Cell();
            if (i >= front.done && j >= front.done) sum = front.at(i, j);
            double scale = std::abs(sum);
            for (Int k = 0; k < done; ++k) {
                sum += front.at(i, k) * front.at(k, j);
                scale += std::abs(front.at(i, k)) * std::abs(front.at(k, j));
            }
            const Cell given = A(front.rows[i], front.columns[j]);
            ASSERT_LE(std::abs(given - sum), 8.0 * front.size * kEps * scale) << i << ", " << j;
            if (i > j && j < front.done) {
                ASSERT_LE(std::abs(front.at(i, j)), most * (1.0 + 1e-12));
            }
        }
    }
}

template <class Cell>
Int expectEliminated(const MatrixOf<Cell>& A, const Case& way)
{
    SCOPED_TRACE(::testing::Message()
                 << "size " << A.Rows() << ", candidates " << way.candidates << (way.isRoot ? ", root" : "")
                 << ", threshold " << way.rule.threshold);
    Eliminated<Cell> front(A, way);
    expectNames(front.rows, way.candidates);
    expectNames(front.columns, way.candidates);
    EXPECT_LE(front.done, way.candidates);
    EXPECT_TRUE(way.isRoot ? front.done == way.candidates : front.replaced == 0);
    if (front.replaced == 0 && !::testing::Test::HasFailure())
        expectProduct<Cell>(A, front, way.rule.threshold);
    return front.replaced;
}

template <class Cell>
void expectFrontsOf(Int size)
{
    for (const MatrixOf<Cell>& A :
         {randomDense<Cell>(size, 1.0, 5), randomDense<Cell>(size, 3.0 / size, 6)}) {
        for (const double threshold : {0.01, 0.1, 1.0}) {
            const RowRule rule{.threshold = threshold};
            for (const Int candidates : {size, size - 1, size / 2, 1, 0}) {
                expectEliminated<Cell>(A, {candidates, false, rule});
                if (::testing::Test::HasFailure()) return;
            }
            EXPECT_EQ(expectEliminated<Cell>(A, {size, true, rule}), 0);
        }
    }
}

TEST(SquareElimination, FactorsFrontsOfAllSizes)
{
    for (const Int size : {1, 2, 3, 31, 32, 33, 64, 65, 97}) {
        expectFrontsOf<double>(size);
        expectFrontsOf<Complex>(size);
    }
}

/// Of the first columns every other one has its large element in a row that is no candidate.
TEST(SquareElimination, WhatHasNoPivotAmongTheCandidatesWaits)
{
    Matrix A = randomDense<double>(60, 1.0, 3);
    for (Int j = 0; j < 40; j += 2) {
        for (Int i = 0; i < 60; ++i) A(i, j) = 0.0;
        A(j, j) = 1e-3;
        A(50, j) = 1.0;
    }
    Eliminated<double> front(A, {40, false, {}});
    EXPECT_EQ(front.done, 20);
    expectEliminated<double>(A, {40, false, {}});
}

TEST(SquareElimination, ARootReplacesNothingButZeros)
{
    for (const Int size : {1, 17, 40, 100}) {
        Matrix zeros(size, size), one(size, size);
        one(size - 1, size / 2) = 1e-30;
        EXPECT_EQ(expectEliminated<double>(zeros, {size, true, {}}), size);
        EXPECT_EQ(expectEliminated<double>(one, {size, true, {}}), size - 1);
        EXPECT_EQ(Eliminated<double>(zeros, {size, false, {}}).done, 0);
    }
}

TEST(SquareElimination, EndsWhereThereIsNoNumber)
{
    for (const double strange : {std::numeric_limits<double>::quiet_NaN(), HUGE_VAL}) {
        Matrix A = randomDense<double>(40, 1.0, 2);
        A(7, 3) = A(20, 20) = strange;
        EXPECT_EQ(Eliminated<double>(A, {40, true, {}}).done, 40);
        EXPECT_LE(Eliminated<double>(A, {30, false, {}}).done, 30);
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
