// L, D and what is left of a front against the front they are of.

#include <lintrix/systems/multifrontal/front_elimination.h>

#include "tests/support/matrices.h"
#include "tests/systems/multifrontal/front_cells.h"
#include "tests/systems/multifrontal/symmetric_matrices.h"

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
    PivotRule rule;
};

/// A front, and what became of it.
template <class Cell>
struct Eliminated : FrontCells<Cell> {
    Eliminated(const MatrixOf<Cell>& A, const Case& way) : FrontCells<Cell>(A.Rows())
    {
        for (Int j = 0; j < this->size; ++j)
            for (Int i = j; i < this->size; ++i) this->at(i, j) = A(i, j);
        FrontElimination<Cell> elimination(way.rule);
        this->done =
            elimination.run({this->cells.data(), this->size, way.candidates, this->rows}, way.isRoot, pivots);
    }

    Pivots<Cell> pivots{};
};

/// L of all rows and columns, those that are left as of the identity, and D, zero there.
template <class Cell>
struct Factors {
    Factors(Eliminated<Cell>& front, bool conjugates)
        : L(identity<MatrixOf<Cell>>(front.size)), D(front.size, front.size)
    {
        for (Int k = 0; k < front.done; ++k) {
            for (Int i = k + 1; i < front.size; ++i) L(i, k) = front.at(i, k);
            D(k, k) = front.pivots.diagonal[k];
            const Cell below = front.pivots.below[k];
            if (below == Cell()) continue;
            D(k + 1, k) = below;
            D(k, k + 1) = mirrorOf(below, conjugates);
        }
    }
    MatrixOf<Cell> L, D;
};

template <class Cell>
void expectPlaces(const Eliminated<Cell>& front, const Case& way)
{
    expectNames(front.rows, way.candidates);
    ASSERT_LE(front.done, way.candidates);
    ASSERT_EQ(std::ssize(front.pivots.diagonal), front.done);
    ASSERT_EQ(std::ssize(front.pivots.below), front.done);
    if (way.isRoot) {
        ASSERT_EQ(front.done, way.candidates);
    } else {
        ASSERT_EQ(front.pivots.replaced, 0);
    }
}

/// |P*F*P' - L*D*L^H - rest| <= c*n*eps*(|L||D||L^H| + |rest|), element by element (Higham, Accuracy and
/// Stability of Numerical Algorithms, 2nd ed., theorem 11.3); where pivots were replaced, up to what counts
/// as zero besides, which grows with the elements of L.
template <class Cell>
void expectProduct(const MatrixOf<Cell>& A, Eliminated<Cell>& front, const Case& way)
{
    const bool conjugates = way.rule.conjugates;
    const Factors<Cell> factors(front, conjugates);
    const MatrixOf<Cell> LD = naiveProduct(factors.L, factors.D);
    const double most = (std::is_same_v<Cell, double> ? 1.0 : std::sqrt(2.0)) / way.rule.threshold;
    const double zero = front.pivots.replaced > 0 ? 2.0 * way.rule.least : 0.0;
    for (Int j = 0; j < front.size; ++j) {
        for (Int i = j; i < front.size; ++i) {
            const bool isLeft = j >= front.done;
            Cell sum = isLeft ? front.at(i, j) : Cell();
            double scale = std::abs(sum);
            for (Int k = 0; k < front.done; ++k) {
                const Cell term = mirrorOf(Cell(factors.L(j, k)), conjugates);
                sum += Cell(LD(i, k)) * term;
                for (Int l = std::max(k - 1, 0); l <= std::min(k + 1, front.done - 1); ++l)
                    scale += std::abs(factors.L(i, l)) * std::abs(factors.D(l, k)) * std::abs(term);
            }
            const Cell given = A(front.rows[i], front.rows[j]);
            ASSERT_LE(std::abs(given - sum), 40.0 * front.size * kEps * scale + zero) << i << ", " << j;
            if (isLeft) continue;
            ASSERT_LE(std::abs(factors.L(i, j)), most * (1.0 + 1e-12));
        }
    }
}

template <class Cell>
Int expectEliminated(const MatrixOf<Cell>& A, const Case& way)
{
    SCOPED_TRACE(::testing::Message()
                 << "size " << A.Rows() << ", candidates " << way.candidates << (way.isRoot ? ", root" : "")
                 << ", threshold " << way.rule.threshold << (way.rule.conjugates ? ", Hermitian" : ""));
    Eliminated<Cell> front(A, way);
    expectPlaces(front, way);
    if (!::testing::Test::HasFatalFailure()) expectProduct<Cell>(A, front, way);
    return front.pivots.replaced;
}

template <class Cell>
void expectFrontsOf(Int size, bool conjugates)
{
    const MatrixOf<Cell> random = randomSymmetric<Cell>(size, 1.0, 7, conjugates);
    const MatrixOf<Cell> kinds[] = {
        random,
        shifted<Cell>(random, 2.0 * size),
        saddlePoint<Cell>(random, size / 3),
        saddlePoint<Cell>(randomSymmetric<Cell>(size, 3.0 / size, 8, conjugates), size / 2),
    };
    for (const MatrixOf<Cell>& A : kinds) {
        for (const double threshold : {0.01, 0.1, std::is_same_v<Cell, double> ? 0.5 : 0.3}) {
            const PivotRule rule{.threshold = threshold, .conjugates = conjugates};
            for (const Int candidates : {size, size - 1, size / 2, 1}) {
                expectEliminated<Cell>(A, {candidates, false, rule});
                if (::testing::Test::HasFatalFailure()) return;
            }
            expectEliminated<Cell>(A, {size, true, rule});
        }
    }
}

TEST(FrontElimination, FactorsFrontsOfAllSizes)
{
    for (const Int size : {1, 2, 3, 31, 32, 33, 64, 65, 97}) {
        expectFrontsOf<double>(size, true);
        expectFrontsOf<Complex>(size, true);
        expectFrontsOf<Complex>(size, false);
    }
}

TEST(FrontElimination, AFrontOfZerosWaitsAndARootReplacesIt)
{
    for (const Int size : {1, 2, 40}) {
        const Matrix zeros(size, size);
        Eliminated<double> front(zeros, {size, false, {}}), root(zeros, {size, true, {}});
        EXPECT_EQ(front.done, 0);
        EXPECT_EQ(root.done, size);
        EXPECT_EQ(root.pivots.replaced, size);
        expectEliminated<double>(zeros, {size, true, {}});
    }
}

TEST(FrontElimination, WithoutCandidatesNothingIsDone)
{
    expectEliminated<double>(randomSymmetric<double>(5, 1.0, 1, true), {0, false, {}});
}

/// Two columns of which the second is the pivot, amid many zeros, wherever they are: the first one counts
/// after it.
TEST(FrontElimination, ARootReplacesNothingButZeros)
{
    for (const Int size : {2, 17, 40, 100, 200}) {
        for (const Int first : {0, size / 4, std::max(size / 2 - 1, 0), size - 2}) {
            Matrix A(size, size);
            A(first, first) = 1e-4;
            A(first + 1, first) = A(first, first + 1) = A(first + 1, first + 1) = 1.0;
            EXPECT_EQ(expectEliminated<double>(A, {size, true, {}}), size - 2) << size << ", " << first;
        }
    }
}

/// G*G' of rank `rank`.
template <class Cell>
MatrixOf<Cell> ofRank(Int size, Int rank, bool conjugates)
{
    std::mt19937_64 generator(11);
    MatrixOf<Cell> G(size, rank), A(size, size);
    for (Cell& cell : detail::roads::cellsOf(G)) cell = drawn<Cell>(generator) / std::sqrt(double(rank));
    for (Int i = 0; i < size; ++i) {
        for (Int j = 0; j <= i; ++j) {
            Cell sum{};
            for (Int k = 0; k < rank; ++k) sum += Cell(G(i, k)) * mirrorOf(Cell(G(j, k)), conjugates);
            A(i, j) = sum;
            A(j, i) = mirrorOf(sum, conjugates);
        }
        if (conjugates) A(i, i) = Cell(std::real(Cell(A(i, i))));
    }
    return A;
}

TEST(FrontElimination, ARootOfLowRankReplacesTheRest)
{
    for (const Int rank : {1, 5, 20}) {
        const PivotRule symmetric{.threshold = 0.3}, hermitian{.threshold = 0.3, .conjugates = true};
        EXPECT_EQ(expectEliminated<double>(ofRank<double>(60, rank, true), {60, true, hermitian}), 60 - rank);
        EXPECT_EQ(expectEliminated<Complex>(ofRank<Complex>(60, rank, true), {60, true, hermitian}),
                  60 - rank);
        EXPECT_EQ(expectEliminated<Complex>(ofRank<Complex>(60, rank, false), {60, true, symmetric}),
                  60 - rank);
    }
}

/// What is no number is no pivot, and nobody waits for it for ever.
TEST(FrontElimination, EndsWhereThereIsNoNumber)
{
    for (const double strange : {std::numeric_limits<double>::quiet_NaN(), HUGE_VAL}) {
        Matrix A = randomSymmetric<double>(40, 1.0, 2, true);
        A(7, 3) = A(3, 7) = strange;
        A(20, 20) = strange;
        for (const bool isRoot : {true, false}) {
            Eliminated<double> front(A, {40, isRoot, {}});
            EXPECT_LE(front.done, 40);
            EXPECT_EQ(isRoot, isRoot && front.done == 40);
        }
    }
}

TEST(FrontElimination, MemoryOfOneFrontServesTheNext)
{
    const Matrix large = randomSymmetric<double>(70, 1.0, 3, true),
                 small = randomSymmetric<double>(9, 1.0, 4, true);
    FrontElimination<double> shared{PivotRule{}};
    for (const Matrix& A : {large, small, large}) {
        Eliminated<double> alone(A, {A.Rows(), true, {}});
        std::vector<double> cells(alone.cells.size());
        std::vector<Int> rows(static_cast<std::size_t>(A.Rows()));
        std::iota(rows.begin(), rows.end(), 0);
        for (Int j = 0; j < A.Rows(); ++j)
            for (Int i = j; i < A.Rows(); ++i) cells[static_cast<std::size_t>(j) * A.Rows() + i] = A(i, j);
        Pivots<double> pivots;
        shared.run({cells.data(), A.Rows(), A.Rows(), rows}, true, pivots);
        EXPECT_EQ(pivots.diagonal, alone.pivots.diagonal);
        EXPECT_EQ(rows, alone.rows);
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
