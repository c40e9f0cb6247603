// What a factor is worth: by how few solves, and which of them may have been made before.

#include <lintrix/systems/quality/factor_quality.h>
#include <lintrix/systems/quality/residual.h>

#include "tests/systems/quality/dense_factor.h"
#include "tests/systems/quality/reference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;

template <class T>
class FactorWorth : public ::testing::Test {
};
using CellTypes = ::testing::Types<double, ComplexCell>;
TYPED_TEST_SUITE(FactorWorth, CellTypes);

/// Solves, and counts how often.
template <class Cell>
LinearMap<Cell> counted(const LinearMap<Cell>& map, int& solves)
{
    const auto counting = [&solves](const auto& apply) {
        return [apply, &solves](std::int32_t columns, const Cell* x, Cell* y) {
            ++solves;
            apply(columns, x, y);
        };
    };
    return {map.rows, map.cols, counting(map.times), counting(map.adjointTimes)};
}

template <class Cell>
double largestColumnSum(const LinearMap<Cell>& map)
{
    double largest = 0.0;
    std::vector<Cell> unit(map.cols), column(map.rows);
    for (int j = 0; j < map.cols; ++j) {
        std::fill(unit.begin(), unit.end(), Cell(0.0));
        unit[j] = 1.0;
        map.times(1, unit.data(), column.data());
        double sum = 0.0;
        for (const Cell& cell : column) sum += std::abs(cell);
        largest = std::max(largest, sum);
    }
    return largest;
}

TYPED_TEST(FactorWorth, TakesTwoSolvesAndSeldomFallsShort)
{
    using Cell = TypeParam;
    Cells random(61);
    int near = 0;
    constexpr int kTrials = 60;
    for (int trial = 0; trial < kTrials; ++trial) {
        const MatrixOf<Cell> A = random.matrix<Cell>(40, 40);
        const LinearMap<Cell> solves = inverseMap<Cell>(A);
        int count = 0;
        const FactorQuality quality = qualityOfFactor(AnyMatrix<Cell>(A), counted(solves, count));
        EXPECT_EQ(count, 2);
        const double norm = largestColumnSum(solves);
        EXPECT_LE(quality.inverseNorm, norm * (1.0 + 1e-12));
        EXPECT_GE(quality.inverseNormAtMost(), norm);
        near += quality.inverseNorm >= norm / 3.0;
    }
    EXPECT_GE(near, kTrials - 1);
}

/// Small ones, whose few vectors of signs may all be wrong at once.
TYPED_TEST(FactorWorth, NeverFallsShortByMoreThanItSays)
{
    using Cell = TypeParam;
    Cells random(3);
    constexpr int kTrials = 3000, kSmallest = 5, kSizes = 6;
    int far = 0;
    for (int trial = 0; trial < kTrials; ++trial) {
        const int n = kSmallest + trial % kSizes;
        const MatrixOf<Cell> A = random.matrix<Cell>(n, n);
        const LinearMap<Cell> solves = inverseMap<Cell>(A);
        const FactorQuality quality = qualityOfFactor(AnyMatrix<Cell>(A), solves);
        const double norm = largestColumnSum(solves);
        EXPECT_GE(quality.inverseNormAtMost(), norm) << trial;
        far += quality.inverseNorm < norm / 3.0;
    }
    EXPECT_LE(far, kTrials / 1000);
}

/// Of a chain of springs, whose inverse has positive elements alone.
template <class Cell>
MatrixOf<Cell> chain(int n)
{
    MatrixOf<Cell> A(n, n);
    for (int i = 0; i < n; ++i) {
        A(i, i) = 2.5;
        if (i > 0) A(i, i - 1) = A(i - 1, i) = -1.0;
    }
    return A;
}

/// Of a matrix nearby: the answers are too large by a part of themselves.
template <class Cell>
LinearMap<Cell> inflated(const LinearMap<Cell>& map, double part)
{
    const auto inflating = [part, &map](const auto& apply) {
        return [apply, part, &map](std::int32_t columns, const Cell* x, Cell* y) {
            apply(columns, x, y);
            for (int k = 0; k < map.rows * columns; ++k) y[k] *= 1.0 + part;
        };
    };
    return {map.rows, map.cols, inflating(map.times), inflating(map.adjointTimes)};
}

TYPED_TEST(FactorWorth, IsExactWhereTheInverseHasOneSign)
{
    using Cell = TypeParam;
    const MatrixOf<Cell> A = chain<Cell>(30) * chain<Cell>(30); // whose elements have both signs
    const LinearMap<Cell> solves = inverseMap<Cell>(A);
    int count = 0;
    const FactorQuality quality = qualityOfFactor(AnyMatrix<Cell>(A), counted(solves, count), {.shift = 0.0});
    EXPECT_EQ(count, 2);
    const double norm = largestColumnSum(solves);
    EXPECT_NEAR(quality.inverseNorm, norm, 1e-12 * norm);
    EXPECT_LT(quality.drift.value(), 1e-12);
}

/// An M-matrix, and one times -1, whole and as a triangle; the norm by rows as well.
TYPED_TEST(FactorWorth, IsProvedByOneSolveWhereElementsOffTheDiagonalTellThatTheInverseHasOneSign)
{
    using Cell = TypeParam;
    constexpr int n = 30;
    for (const double sign : {1.0, -1.0}) {
        MatrixOf<Cell> A = chain<Cell>(n);
        A(3, 3) = 100.0;
        for (int k = 0; k < n * n; ++k) A(k % n, k / n) *= sign;
        const LinearMap<Cell> solves = inverseMap<Cell>(A);
        const SparseOf<Cell> sparse(A), triangle = triangleOf<Cell>(A);
        const double norm = largestColumnSum(solves);
        std::vector<double> sums(n);
        rowSums(AnyMatrix<Cell>(A), TransposeMode::NotTransposed, sums.data());
        LinearMap<Cell> scaled = solves;
        scaled.times = [&](std::int32_t columns, const Cell* x, Cell* y) {
            std::vector<Cell> own(x, x + n * columns);
            for (int k = 0; k < n * columns; ++k) own[k] *= sums[k % n];
            solves.times(columns, own.data(), y);
        };
        const double byRows = largestColumnSum(scaled);
        for (const AnyMatrix<Cell>& view :
             {AnyMatrix<Cell>(A), AnyMatrix<Cell>(sparse), AnyMatrix<Cell>(triangle)}) {
            int count = 0;
            const FactorQuality quality =
                qualityOfFactor(view, counted(solves, count), {.shift = 0.0, .rowSums = sums});
            EXPECT_EQ(count, 1);
            EXPECT_NEAR(quality.inverseNorm, norm, 1e-13 * norm);
            EXPECT_NEAR(quality.inverseNormByRows, byRows, 1e-13 * byRows);
            EXPECT_GE(quality.inverseNormAtMost(), norm);
            EXPECT_LT(quality.drift.value(), 1e-12);
        }
    }
}

/// Elements alone prove nothing: of an indefinite matrix the inverse has both signs, and a factor of another
/// one answers ones with what A does not bring back. Then it is estimated as that of any other matrix.
TYPED_TEST(FactorWorth, IsEstimatedWhereTheAnswerToOnesProvesNoSign)
{
    using Cell = TypeParam;
    constexpr int n = 30;
    MatrixOf<Cell> A = chain<Cell>(n);
    for (int i = 0; i < n; ++i) A(i, i) = 0.7;
    const LinearMap<Cell> exact = inverseMap<Cell>(A);
    int count = 0;
    const FactorQuality quality = qualityOfFactor(AnyMatrix<Cell>(A), counted(exact, count), {.shift = 0.0});
    EXPECT_EQ(count, 3);
    EXPECT_LE(quality.inverseNorm, largestColumnSum(exact) * (1.0 + 1e-12));
    EXPECT_GE(quality.inverseNormAtMost(), largestColumnSum(exact));
    for (const double diagonal : {-0.7, 0.0}) { // no M-matrix has such elements on it: nothing is tried
        A(4, 4) = diagonal;
        count = 0;
        qualityOfFactor(AnyMatrix<Cell>(A), counted(inverseMap<Cell>(A), count), {.shift = 0.0});
        EXPECT_EQ(count, 2);
    }
    const MatrixOf<Cell> positive = chain<Cell>(n);
    const LinearMap<Cell> solves = inverseMap<Cell>(positive), far = inflated(solves, 0.6);
    count = 0;
    const FactorQuality ofFar =
        qualityOfFactor(AnyMatrix<Cell>(positive), counted(far, count), {.shift = 0.0});
    EXPECT_EQ(count, 3);
    EXPECT_GT(ofFar.drift.value(), 0.5);
}

/// Blocks of the companion's size, and its answer beside that of a solve of its own; the same worth.
TYPED_TEST(FactorWorth, LetsACompanionIntoOneOfItsSolves)
{
    using Cell = TypeParam;
    Cells random(7);
    for (const int n : {1, 3, 4, 5, 30}) {
        for (const bool isHermitian : {false, true}) {
            SCOPED_TRACE(::testing::Message() << n << ' ' << isHermitian);
            const MatrixOf<Cell> A = chain<Cell>(n);
            const LinearMap<Cell> exact = inverseMap<Cell>(A);
            FactorQuestion asked;
            if (isHermitian) asked.shift = 0.0;
            const std::vector<Cell> b = random.vector<Cell>(n);
            std::vector<Cell> alone(b.size()), beside(b.size()), left(b.size()), expected(b.size());
            exact.times(1, b.data(), alone.data());
            int alike = 0, block = 0, with = 0, without = 0;
            LinearMap<Cell> solves = exact;
            solves.times = [&](std::int32_t columns, const Cell* x, Cell* y) {
                if (std::equal(b.begin(), b.end(), x + (columns - 1) * n)) {
                    ++alike;
                    block = columns;
                }
                exact.times(columns, x, y);
            };
            const AnyMatrix<Cell> view(A);
            const FactorQuality quality =
                qualityOfFactor(view, counted(solves, with), asked, {b.data(), beside.data(), left.data()});
            const FactorQuality other = qualityOfFactor(view, counted(exact, without), asked);
            EXPECT_EQ(alike, 1);
            EXPECT_EQ(block, companionBlock(n));
            EXPECT_EQ(with, without);
            EXPECT_EQ(quality.inverseNorm, other.inverseNorm);
            EXPECT_EQ(quality.drift, other.drift);
            residual(view, TransposeMode::NotTransposed, 1, b.data(), beside.data(), expected.data());
            EXPECT_EQ(left, expected);
            for (int i = 0; i < n; ++i) EXPECT_LT(std::abs(beside[i] - alone[i]), 1e-14);
        }
    }
}

TYPED_TEST(FactorWorth, RefinesAsLongAsItIsTooFarAndAsItMay)
{
    using Cell = TypeParam;
    const MatrixOf<Cell> A = chain<Cell>(30);
    const LinearMap<Cell> exact = inverseMap<Cell>(A);
    const auto worthOf = [&](double part, std::int32_t steps, int& count) {
        const LinearMap<Cell> nearby = inflated(exact, part);
        return qualityOfFactor(AnyMatrix<Cell>(A), counted(nearby, count),
                               {.shift = 0.0, .steps = steps, .near = 1e-3});
    };
    int plain = 0, near = 0, far = 0, never = 0;
    worthOf(0.0, 2, plain);
    EXPECT_EQ((worthOf(1e-6, 2, near).drift), (worthOf(1e-6, 0, never).drift));
    EXPECT_EQ(near, plain);
    const FactorQuality refined = worthOf(4e-3, 2, far);
    EXPECT_EQ(far, 2 * plain) << "once for each";
    EXPECT_LT(refined.drift.value(), 1e-4);
    const double norm = largestColumnSum(exact);
    EXPECT_NEAR(refined.inverseNorm, norm, 2e-5 * norm);
}

/// Of two unknowns that hang together far more than with all others their sum, or their difference, is known
/// badly: signs that are alike, or unlike, say nothing of it.
TYPED_TEST(FactorWorth, SeesWhatIsKnownBadlyOfTwoUnknowns)
{
    using Cell = TypeParam;
    constexpr int n = 30;
    for (const double sign : {1.0, -1.0})
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < i; ++j) {
                MatrixOf<Cell> A(n, n);
                for (int k = 0; k < n; ++k) A(k, k) = 1.0;
                A(i, j) = A(j, i) = sign * (1.0 - 1e-9);
                const LinearMap<Cell> solves = inverseMap<Cell>(A);
                const FactorQuality quality = qualityOfFactor(AnyMatrix<Cell>(A), solves);
                EXPECT_GE(quality.inverseNormAtMost(), 1e9) << i << ' ' << j;
            }
}

/// R*B, R powers of two far apart.
template <class Cell>
MatrixOf<Cell> inUnitsOfRows(Cells& random, MatrixOf<Cell> B, int mostExponent)
{
    for (int i = 0; i < B.Rows(); ++i) {
        const double unit =
            std::ldexp(1.0, i == 0 ? mostExponent : random.whole(-mostExponent, mostExponent));
        for (int j = 0; j < B.Cols(); ++j) B(i, j) *= unit;
    }
    return B;
}

template <class Cell>
std::vector<double> sumsOfRows(const MatrixOf<Cell>& A)
{
    std::vector<double> sums(A.Rows());
    for (int i = 0; i < A.Rows(); ++i)
        for (int j = 0; j < A.Cols(); ++j) sums[i] += std::abs(A.Item(i, j));
    return sums;
}

/// M*R.
template <class Cell>
LinearMap<Cell> timesSizes(const LinearMap<Cell>& M, const std::vector<double>& sizes)
{
    LinearMap<Cell> product = M;
    product.times = [&M, &sizes](std::int32_t columns, const Cell* x, Cell* y) {
        std::vector<Cell> scaled(x, x + sizes.size() * columns);
        for (std::size_t k = 0; k < scaled.size(); ++k) scaled[k] *= sizes[k % sizes.size()];
        M.times(columns, scaled.data(), y);
    };
    return product;
}

/// The condition of R*B is that of the units alone.
TYPED_TEST(FactorWorth, IsKnownByRowsWhereOnlyTheirUnitsMakeTheConditionLarge)
{
    using Cell = TypeParam;
    Cells random(11);
    int near = 0;
    constexpr int kTrials = 600;
    for (int trial = 0; trial < kTrials; ++trial) {
        const int n = 1 + trial % 30;
        const MatrixOf<Cell> A = inUnitsOfRows<Cell>(random, random.matrix<Cell>(n, n), 120);
        const LinearMap<Cell> solves = inverseMap<Cell>(A);
        int count = 0;
        const FactorQuality quality = qualityOfFactor(AnyMatrix<Cell>(A), counted(solves, count));
        if (!(quality.condition.value() > 1e12)) continue;
        ++near;
        EXPECT_EQ(count, n > 4 ? 3 : 2) << "one more than usual";
        EXPECT_TRUE(std::isinf(quality.inverseNormAtMost()));
        const std::vector<double> sums = sumsOfRows<Cell>(A);
        const double norm = largestColumnSum(timesSizes(solves, sums));
        EXPECT_GE(quality.inverseNormByRowsAtMost(), norm) << trial;
        EXPECT_LE(quality.inverseNormByRows, norm * (1.0 + 1e-12)) << trial;
        const FactorQuality told = qualityOfFactor(AnyMatrix<Cell>(A), solves, {.rowSums = sums});
        EXPECT_NEAR(told.inverseNormByRows, quality.inverseNormByRows, 1e-12 * norm);
    }
    EXPECT_GE(near, kTrials * 9 / 10);
}

TYPED_TEST(FactorWorth, IsNotKnownByRowsWhereNoUnitsMakeItsConditionSmall)
{
    using Cell = TypeParam;
    constexpr int n = 12;
    Cells random(12);
    for (int trial = 0; trial < 20; ++trial) {
        MatrixOf<Cell> B = random.matrix<Cell>(n, n);
        for (int j = 0; j < n; ++j) B(5, j) = B.Item(3, j) + B.Item(7, j) + (j == 2 ? 1e-14 : 0.0);
        const MatrixOf<Cell> A = inUnitsOfRows<Cell>(random, B, trial % 2 == 0 ? 0 : 60);
        const FactorQuality quality = qualityOfFactor(AnyMatrix<Cell>(A), inverseMap<Cell>(A));
        EXPECT_GT(quality.condition.value(), 1e12);
        EXPECT_TRUE(std::isinf(quality.inverseNormAtMost()));
        EXPECT_TRUE(std::isinf(quality.inverseNormByRowsAtMost()));
    }
    const MatrixOf<Cell> regular = random.matrix<Cell>(n, n);
    int count = 0;
    const FactorQuality quality =
        qualityOfFactor(AnyMatrix<Cell>(regular), counted(inverseMap<Cell>(regular), count));
    EXPECT_EQ(count, 2);
    EXPECT_TRUE(std::isinf(quality.inverseNormByRowsAtMost())) << "nobody needs it";
}

/// B*C, C powers of two far apart.
template <class Cell>
MatrixOf<Cell> inUnitsOfColumns(Cells& random, MatrixOf<Cell> B, int mostExponent)
{
    for (int j = 0; j < B.Cols(); ++j) {
        const double unit = std::ldexp(1.0, random.whole(-mostExponent, mostExponent));
        for (int i = 0; i < B.Rows(); ++i) B(i, j) *= unit;
    }
    return B;
}

template <class Cell>
MatrixOf<Cell> ofWholeNumbers(Cells& random, int n)
{
    MatrixOf<Cell> B(n, n);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) B(i, j) = Cell(random.whole(-9, 9));
    return B;
}

/// By rounding the pivot that ought to be zero is some small number, and the solves see a regular matrix.
TYPED_TEST(FactorWorth, TheWorstSolveIsNoneOfASingularMatrixWhateverItsUnits)
{
    using Cell = TypeParam;
    Cells random(13);
    constexpr int kTrials = 400;
    int solvable = 0, missed = 0;
    for (int trial = 0; trial < kTrials; ++trial) {
        const int n = 5 + trial % 30;
        MatrixOf<Cell> B = ofWholeNumbers<Cell>(random, n);
        const int last = random.whole(0, n - 1), one = (last + 1) % n, other = (last + 2) % n;
        for (int j = 0; j < n; ++j) B(last, j) = -B.Item(one, j) - B.Item(other, j);
        const int mostExponent = trial % 2 == 0 ? 4 : 40;
        const MatrixOf<Cell> A =
            inUnitsOfRows<Cell>(random, inUnitsOfColumns<Cell>(random, B, mostExponent), mostExponent);
        const FactorQuality quality = qualityOfFactor(AnyMatrix<Cell>(A), inverseMap<Cell>(A));
        if (!quality.condition || std::isinf(*quality.condition)) continue; // the pivot is zero
        ++solvable;
        missed += !quality.mayBeSingular();
    }
    EXPECT_GE(solvable, kTrials / 2);
    EXPECT_LE(missed, solvable / 200);
}

TYPED_TEST(FactorWorth, TheWorstSolveOfARegularMatrixIsGoodWhateverItsUnits)
{
    using Cell = TypeParam;
    Cells random(14);
    int looked = 0;
    for (int trial = 0; trial < 200; ++trial) {
        const int n = 5 + trial % 30;
        MatrixOf<Cell> B = random.matrix<Cell>(n, n);
        for (int i = 0; i < n; ++i) B(i, (i + 3) % n) += 2.0 * n;       // condition below ten
        const MatrixOf<Cell> A = inUnitsOfColumns<Cell>(random, B, 60); // which change no pivot
        int count = 0;
        const FactorQuality quality =
            qualityOfFactor(AnyMatrix<Cell>(A), counted(inverseMap<Cell>(A), count));
        EXPECT_LT(quality.worstSolve, 1e-12);
        EXPECT_FALSE(quality.mayBeSingular());
        looked += count > 3;
        EXPECT_LE(count, 7);
    }
    EXPECT_GE(looked, 150);
}

} // namespace
} // namespace Velmar::Lintrix::testing
