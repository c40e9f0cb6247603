#include <lintrix/systems/structure/near_null.h>

#include <lintrix/decompositions/lu.h>

#include "tests/support/matrices.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <memory>
#include <random>
#include <type_traits>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;
using Int = std::int32_t;

template <class Cell>
class NearNulls : public ::testing::Test {
public:
    using M = MatrixOf<Cell>;
    using Lu = std::conditional_t<std::is_same_v<Cell, double>, LU, CLU>;
    using Verdict = typename Consistency<Cell>::Verdict;

    static M matrixOf(const Cell* cells, Int rows, Int cols)
    {
        M A(rows, cols);
        for (Int j = 0; j < cols; ++j)
            for (Int i = 0; i < rows; ++i) A(i, j) = cells[i + std::int64_t{rows} * j];
        return A;
    }
    static void copy(const M& A, Cell* cells)
    {
        for (Int j = 0; j < A.Cols(); ++j)
            for (Int i = 0; i < A.Rows(); ++i) *cells++ = A(i, j);
    }
    static LinearMap<Cell> mapOf(const M& A)
    {
        const auto product = [](const M& left) {
            return [left](Int columns, const Cell* x, Cell* y) {
                copy(naiveProduct(left, matrixOf(x, left.Cols(), columns)), y);
            };
        };
        return {A.Rows(), A.Cols(), product(A), product(naiveAdjoint(A))};
    }
    /// By elimination with row interchanges, of a matrix off by rounding where a pivot of A is zero.
    static LinearMap<Cell> inverseOf(const M& A)
    {
        const auto solve = [](const M& matrix) {
            auto factors = std::make_shared<Lu>(matrix);
            for (std::uint64_t seed = 1; factors->IsSingular(); ++seed)
                factors = std::make_shared<Lu>(perturbed(matrix, 1e-16, seed));
            return [factors, n = matrix.Rows()](Int columns, const Cell* x, Cell* y) {
                copy(factors->Solve(matrixOf(x, n, columns)), y);
            };
        };
        return {A.Rows(), A.Cols(), solve(A), solve(naiveAdjoint(A))};
    }
    static M withSingularValues(const std::vector<double>& values, std::uint64_t seed)
    {
        const int n = static_cast<int>(values.size());
        M left = matrixWith<M>({n, n}, Spectrum::Flat, seed);
        for (Int j = 0; j < n; ++j)
            for (Int i = 0; i < n; ++i) left(i, j) *= values[j];
        return naiveProduct(left, matrixWith<M>({n, n}, Spectrum::Flat, seed + 1));
    }
    /// A + size*(random entries): what replaced pivots may amount to.
    static M perturbed(M A, double size, std::uint64_t seed)
    {
        std::mt19937_64 generator(seed);
        const M E = randomMatrix<M>({A.Rows(), A.Cols()}, generator);
        for (Int j = 0; j < A.Cols(); ++j)
            for (Int i = 0; i < A.Rows(); ++i) A(i, j) += size * E(i, j);
        return A;
    }
    static double lengthOf(const M& A, Int column)
    {
        double sum = 0.0;
        for (Int i = 0; i < A.Rows(); ++i) sum += std::norm(A(i, column));
        return std::sqrt(sum);
    }
    /// The singular values tell how long A*V and A^H*U are, and both sets are orthonormal.
    static void expectVectors(const M& A, const NearNull<Cell>& found)
    {
        const Int n = A.Rows();
        const M U = matrixOf(found.left.cells.data(), n, found.left.count),
                V = matrixOf(found.right.cells.data(), n, found.right.count);
        EXPECT_LT(orthogonalityRatio(U), kResidualLimit);
        EXPECT_LT(orthogonalityRatio(V), kResidualLimit);
        const M AV = naiveProduct(A, V), AU = naiveProduct(naiveAdjoint(A), U);
        for (std::size_t k = 0; k < found.singularValues.size(); ++k) {
            const double longer = std::max(lengthOf(AV, Int(k)), lengthOf(AU, Int(k)));
            EXPECT_NEAR(found.singularValues[k], longer, 1e-14 * n);
        }
    }
};
using Cells = ::testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(NearNulls, Cells);

/// n singular values, evenly from 1 to `last` in the logarithm, behind them `zeros` zeros.
std::vector<double> fallingTo(double last, int n, int zeros)
{
    std::vector<double> values;
    for (int i = 0; i < n; ++i) values.push_back(std::pow(last, i / (n - 1.0)));
    values.insert(values.end(), static_cast<std::size_t>(zeros), 0.0);
    return values;
}

TYPED_TEST(NearNulls, EstimateTheSmallestSingularValues)
{
    for (const double last : {1e-1, 1e-4, 1e-9, 1e-12}) {
        const auto values = fallingTo(last, 30, 0);
        const auto A = this->withSingularValues(values, 3);
        const auto found = findNearNull(this->mapOf(A), this->inverseOf(A), 1.0);
        this->expectVectors(A, found);
        ASSERT_EQ(found.singularValues.size(), 4U);
        EXPECT_EQ(found.nullity, 0);
        EXPECT_TRUE(found.complete);
        EXPECT_GE(found.singularValues[0], 0.99 * last - 1e-14);
        EXPECT_LE(found.singularValues[0], 4.0 * last + 1e-14);
    }
}

TYPED_TEST(NearNulls, SpanTheNullSpaceOfASingularMatrix)
{
    for (const int zeros : {1, 2, 3})
        for (const double last : {1e-1, 1e-6, 1e-11}) {
            const auto A = this->withSingularValues(fallingTo(last, 25, zeros), 5);
            const auto found =
                findNearNull(this->mapOf(A), this->inverseOf(this->perturbed(A, 1e-16, 1)), 1.0);
            this->expectVectors(A, found);
            EXPECT_EQ(found.nullity, zeros);
            EXPECT_TRUE(found.complete);
            EXPECT_GE(found.singularValues[zeros], 0.99 * last);
            EXPECT_LE(found.singularValues[zeros], 4.0 * last);
        }
}

TYPED_TEST(NearNulls, AreFoundThroughAPerturbedInverse)
{
    for (const double size : {1e-13, 1e-10, 1e-8})
        for (const int zeros : {1, 3}) {
            const auto A = this->withSingularValues(fallingTo(1e-3, 25, zeros), 8);
            const auto found =
                findNearNull(this->mapOf(A), this->inverseOf(this->perturbed(A, size, 1)), 1.0);
            this->expectVectors(A, found);
            EXPECT_EQ(found.nullity, zeros) << "perturbed by " << size;
            EXPECT_TRUE(found.complete);
        }
}

TYPED_TEST(NearNulls, AreSaidToBeMoreWhereTheirNumberIsNotKnown)
{
    const auto A = this->withSingularValues(fallingTo(0.1, 20, 5), 9);
    const auto found = findNearNull(this->mapOf(A), this->inverseOf(this->perturbed(A, 1e-12, 1)), 1.0);
    EXPECT_EQ(found.nullity, 4);
    EXPECT_FALSE(found.complete);
    EXPECT_THAT(explain(found), HasSubstr("At least 4 directions are sent to zero."));
}

// A search for more of them than there is room for would turn them within the null space alone.
TYPED_TEST(NearNulls, AreNotTurnedAnyFurtherWhereAllAreNull)
{
    const auto solvesFor = [this](const std::vector<double>& values) {
        const auto A = this->withSingularValues(values, 9);
        auto inverse = this->inverseOf(this->perturbed(A, 1e-13, 1));
        Int solves = 0;
        for (auto* const map : {&inverse.times, &inverse.adjointTimes})
            *map = [&solves, before = *map](Int columns, const TypeParam* x, TypeParam* y) {
                ++solves;
                before(columns, x, y);
            };
        NearNullSettings settings;
        settings.threshold = 1e-8;
        const auto found = findNearNull(this->mapOf(A), inverse, 1.0, settings);
        EXPECT_EQ(found.nullity, 4);
        for (const double value : found.singularValues) EXPECT_LE(value, 1e-12);
        return solves;
    };
    EXPECT_EQ(solvesFor(fallingTo(0.1, 20, 6)), 2);
}

TYPED_TEST(NearNulls, OfATinyMatrixAreFewer)
{
    using Dense = MatrixOf<TypeParam>;
    for (const int n : {1, 2, 3}) {
        const Dense A = identity<Dense>(n);
        const auto found = findNearNull(this->mapOf(A), this->inverseOf(A), 1.0);
        EXPECT_EQ(found.singularValues.size(), static_cast<std::size_t>(n));
        for (const double value : found.singularValues) EXPECT_NEAR(value, 1.0, 1e-14);
        EXPECT_TRUE(found.complete);
    }
    Dense zero(1, 1);
    const auto none = findNearNull(this->mapOf(zero), this->inverseOf(identity<Dense>(1)), 1.0);
    EXPECT_EQ(none.nullity, 1);
    EXPECT_TRUE(none.complete);
    EXPECT_TRUE(findNearNull(LinearMap<TypeParam>{}, LinearMap<TypeParam>{}, 1.0).singularValues.empty());
}

TYPED_TEST(NearNulls, AreNoneWhereASolveIsNotFinite)
{
    const double bad[] = {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()};
    for (const double value : bad) {
        const auto A = identity<MatrixOf<TypeParam>>(5);
        LinearMap<TypeParam> inverse = this->mapOf(A);
        inverse.times = [value](Int columns, const TypeParam*, TypeParam* y) {
            std::fill(y, y + 5 * columns, value);
        };
        const auto found = findNearNull(this->mapOf(A), inverse, 1.0);
        EXPECT_TRUE(found.singularValues.empty());
        EXPECT_FALSE(found.complete);
        EXPECT_EQ(explain(found), "");
        const std::vector<TypeParam> b(5, 1.0);
        EXPECT_EQ(judgeConsistency(found, this->mapOf(A), inverse, b.data()).verdict,
                  NearNulls<TypeParam>::Verdict::Unknown);
    }
}

TYPED_TEST(NearNulls, NameTheColumnsAndRowsThatCarryThem)
{
    using Dense = MatrixOf<TypeParam>;
    std::mt19937_64 generator(4);
    Dense A = randomMatrix<Dense>({12, 12}, generator);
    for (Int i = 0; i < 12; ++i) A(i, 7) = 2.0 * A(i, 3) - A(i, 9);
    const auto byColumn =
        findNearNull(this->mapOf(A), this->inverseOf(this->perturbed(A, 1e-14, 2)), oneNorm(A));
    EXPECT_EQ(byColumn.nullity, 1);
    EXPECT_THAT(byColumn.columns, ElementsAre(3, 7, 9)); // in proportion 2 : 1 : 1
    EXPECT_THAT(explain(byColumn),
                StartsWith("The matrix is singular to working precision: its smallest singular value is "));
    EXPECT_THAT(explain(byColumn), HasSubstr("Columns 3, 7 and 9 are linearly dependent, rows "));
    const Dense turned = naiveAdjoint(A);
    const auto byRow =
        findNearNull(this->mapOf(turned), this->inverseOf(this->perturbed(turned, 1e-14, 2)), oneNorm(A));
    EXPECT_THAT(byRow.rows, ElementsAre(3, 7, 9));
}

// Two dependences at once: whatever basis is found, the same columns carry it.
TYPED_TEST(NearNulls, NameTheColumnsOfAllOfThem)
{
    using Dense = MatrixOf<TypeParam>;
    std::mt19937_64 generator(5);
    Dense A = randomMatrix<Dense>({15, 15}, generator);
    for (Int i = 0; i < 15; ++i) {
        A(i, 4) = A(i, 11);
        A(i, 13) = A(i, 2) - A(i, 6);
    }
    const auto found =
        findNearNull(this->mapOf(A), this->inverseOf(this->perturbed(A, 1e-14, 3)), oneNorm(A));
    EXPECT_EQ(found.nullity, 2);
    EXPECT_THAT(found.columns, UnorderedElementsAre(2, 4, 6, 11, 13));
}

TYPED_TEST(NearNulls, NameASingleColumn)
{
    using Dense = MatrixOf<TypeParam>;
    Dense A = identity<Dense>(6);
    A(4, 4) = 1e-5;
    const auto found = findNearNull(this->mapOf(A), this->inverseOf(A), 1.0);
    EXPECT_EQ(found.nullity, 0);
    EXPECT_EQ(explain(found),
              "The smallest singular value is 1.0e-05, 1.0e-05 of the norm. Column 4 is closest to being "
              "zero or dependent on others, row 4 is closest to being zero or dependent on others.");
}

TYPED_TEST(NearNulls, SayOfAConsistentSystemThatItIs)
{
    using Dense = MatrixOf<TypeParam>;
    std::mt19937_64 generator(6);
    for (const int zeros : {1, 2, 3})
        for (const double last : {1e-1, 1e-5, 1e-9})
            for (const double size : {1e-16, 1e-12}) {
                const Dense A = this->withSingularValues(fallingTo(last, 25, zeros), 11);
                const Int n = A.Rows();
                const auto map = this->mapOf(A), inverse = this->inverseOf(this->perturbed(A, size, 4));
                const auto found = findNearNull(map, inverse, 1.0);
                ASSERT_EQ(found.nullity, zeros);
                std::vector<TypeParam> b(static_cast<std::size_t>(n));
                this->copy(naiveProduct(A, randomMatrix<Dense>({n, 1}, generator)), b.data());

                const auto good = judgeConsistency(found, map, inverse, b.data());
                EXPECT_EQ(good.verdict, NearNulls<TypeParam>::Verdict::Consistent)
                    << good.residual << " of " << good.bound << ", " << zeros << " zeros, smallest " << last
                    << ", perturbed by " << size;
                EXPECT_LE(good.residual, good.bound);

                for (Int i = 0; i < n; ++i) b[i] += 1e-3 * found.left.column(zeros - 1)[i];
                const auto bad = judgeConsistency(found, map, inverse, b.data());
                EXPECT_EQ(bad.verdict, NearNulls<TypeParam>::Verdict::Inconsistent);
                EXPECT_NEAR(bad.leftPart, 1e-3, 1e-5);
                EXPECT_NEAR(bad.residual, 1e-3, 1e-5);
            }
}

TYPED_TEST(NearNulls, AreNotCountedByANormThatIsNone)
{
    const auto A = identity<MatrixOf<TypeParam>>(6);
    const auto found =
        findNearNull(this->mapOf(A), this->inverseOf(A), std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(found.nullity, 0);
}

// A row of 1e-10 is zero to a threshold of 1e-9, and far from it to rounding.
TYPED_TEST(NearNulls, GoByTheSettings)
{
    using Dense = MatrixOf<TypeParam>;
    Dense A = identity<Dense>(8);
    A(5, 5) = 1e-10;
    A(5, 2) = 4e-11;
    const auto map = this->mapOf(A), inverse = this->inverseOf(A);
    const auto one = findNearNull(map, inverse, 1.0, {1, 1e-9, 0.3});
    EXPECT_EQ(one.singularValues.size(), 1U);
    EXPECT_EQ(one.nullity, 1);
    EXPECT_FALSE(one.complete);
    const auto fine = findNearNull(map, inverse, 1.0),
               coarse = findNearNull(map, inverse, 1.0, {4, 1e-9, 0.3});
    EXPECT_EQ(fine.nullity, 0);
    EXPECT_EQ(coarse.nullity, 1);
    EXPECT_TRUE(coarse.complete);
    EXPECT_THAT(coarse.columns, ElementsAre(5));
    EXPECT_THAT(coarse.rows, ElementsAre(5));
    const std::vector<TypeParam> b{1.0, 1.0, 1.0, 1.0, 1.0, 1e-10, 1.0, 1.0};
    EXPECT_EQ(judgeConsistency(coarse, map, inverse, b.data()).verdict,
              NearNulls<TypeParam>::Verdict::Consistent);
    EXPECT_EQ(judgeConsistency(fine, map, inverse, b.data()).verdict,
              NearNulls<TypeParam>::Verdict::Consistent);
    EXPECT_NEAR(std::abs(judgeConsistency(fine, map, inverse, b.data()).x[5]), 0.6, 1e-6);
}

// A + E is nearly singular itself: what E puts in place of the two zeros hardly differs from rank one, and
// blows the rest of E up to the size of the smallest singular value.
TYPED_TEST(NearNulls, AreSolvedOffWhateverThePerturbationIs)
{
    using Dense = MatrixOf<TypeParam>;
    std::mt19937_64 generator(8);
    const Int n = 12;
    Dense A = identity<Dense>(n);
    A(n - 3, n - 3) = 1e-6;
    A(n - 2, n - 2) = A(n - 1, n - 1) = 0.0;
    Dense shifted = this->perturbed(A, 1e-9, 6);
    for (const Int i : {n - 2, n - 1})
        for (const Int j : {n - 2, n - 1}) shifted(i, j) = 1e-9 * (i == n - 1 && j == n - 1 ? 1.0001 : 1.0);
    const auto map = this->mapOf(A), inverse = this->inverseOf(shifted);
    const auto found = findNearNull(map, inverse, 1.0);
    ASSERT_EQ(found.nullity, 2);
    std::vector<TypeParam> b(static_cast<std::size_t>(n));
    this->copy(naiveProduct(A, randomMatrix<Dense>({n, 1}, generator)), b.data());
    EXPECT_EQ(judgeConsistency(found, map, inverse, b.data()).verdict,
              NearNulls<TypeParam>::Verdict::Consistent);
}

// Six, of which four are known: x solves for what is in the range, along whatever of the other two; and of
// what these two see of a right-hand side nothing is known.
TYPED_TEST(NearNulls, BelieveASolutionWhereTheyAreNotAllKnownAndNothingElse)
{
    using Dense = MatrixOf<TypeParam>;
    using Told = typename NearNulls<TypeParam>::Verdict;
    const Dense A = this->withSingularValues(fallingTo(0.1, 20, 6), 13);
    const auto map = this->mapOf(A), inverse = this->inverseOf(this->perturbed(A, 1e-12, 1));
    const auto found = findNearNull(map, inverse, 1.0), all = findNearNull(map, inverse, 1.0, {.vectors = 8});
    ASSERT_FALSE(found.complete);
    ASSERT_EQ(all.nullity, 6);
    std::vector<TypeParam> b(26);
    this->copy(naiveProduct(A, Dense(26, 1, 1.0)), b.data());
    const auto solved = judgeConsistency(found, map, inverse, b.data());
    EXPECT_EQ(solved.verdict, Told::Consistent);
    EXPECT_FALSE(solved.isShortest);
    EXPECT_LE(solved.residual, 26.0 * 0x1p-52 * euclideanNorm(26, b.data()));
    EXPECT_TRUE(judgeConsistency(all, map, inverse, b.data()).isShortest);

    ColumnBlock<TypeParam> unseen{26, 1, {all.left.column(0), all.left.column(1)}};
    clearOf(found.left, unseen);
    ASSERT_GT(euclideanNorm(26, unseen.column(0)), 1e-3);
    for (std::size_t i = 0; i < b.size(); ++i) b[i] += 1e-6 * unseen.cells[i];
    EXPECT_EQ(judgeConsistency(found, map, inverse, b.data()).verdict, Told::Unknown);
    for (std::size_t i = 0; i < b.size(); ++i) b[i] += 1e-6 * found.left.cells[i];
    EXPECT_EQ(judgeConsistency(found, map, inverse, b.data()).verdict, Told::Inconsistent);
}

TYPED_TEST(NearNulls, AreSoughtAcrossThoseThatAreKnownAsLongAsAllAreNull)
{
    for (const int zeros : {4, 6, 11}) {
        SCOPED_TRACE(zeros);
        const auto A = this->withSingularValues(fallingTo(0.1, 30 - zeros, zeros), 9);
        auto inverse = this->inverseOf(this->perturbed(A, 1e-13, 1));
        Int columns = 0;
        inverse.times = [&columns, before = inverse.times](Int count, const TypeParam* x, TypeParam* y) {
            columns = std::max(columns, count);
            before(count, x, y);
        };
        const auto found = findNearNull(this->mapOf(A), inverse, 1.0, {.most = 13});
        this->expectVectors(A, found);
        EXPECT_EQ(found.nullity, zeros);
        EXPECT_TRUE(found.complete);
        EXPECT_EQ(found.singularValues.size(), 12U);
        EXPECT_TRUE(std::ranges::is_sorted(found.singularValues));
        EXPECT_LE(columns, 16) << "what is known is not solved for again, but for a step with both";
    }
    const auto A = this->withSingularValues(fallingTo(0.1, 20, 10), 9);
    const auto found =
        findNearNull(this->mapOf(A), this->inverseOf(this->perturbed(A, 1e-13, 1)), 1.0, {.most = 8});
    EXPECT_EQ(found.nullity, 8);
    EXPECT_FALSE(found.complete);
}

TYPED_TEST(NearNulls, OfAHermitianMatrixAreFoundOnceForBothSides)
{
    const auto Q = matrixWith<MatrixOf<TypeParam>>({25, 25}, Spectrum::Flat, 3);
    for (const double size : {1e-16, 1e-13, 1e-9}) {
        auto scaled = Q;
        for (Int j = 0; j < 25; ++j)
            for (Int i = 0; i < 25; ++i) scaled(i, j) *= j < 3 ? 0.0 : (j % 2 == 0 ? 1.0 : -1.0) / j;
        const auto A = naiveProduct(scaled, naiveAdjoint(Q)), E = this->perturbed(A, size, 5);
        const auto turned = naiveAdjoint(E);
        auto near = E;
        for (Int j = 0; j < 25; ++j)
            for (Int i = 0; i < 25; ++i) near(i, j) = 0.5 * (E(i, j) + turned(i, j));
        LinearMap<TypeParam> inverse = this->inverseOf(near), map = this->mapOf(A);
        map.adjointTimes = inverse.adjointTimes = {}; // calling it would raise
        const auto found = findNearNull(map, inverse, 1.0, {.hermitian = true});
        this->expectVectors(A, found);
        EXPECT_EQ(found.nullity, 3) << size;
        EXPECT_TRUE(found.complete);
        EXPECT_EQ(found.rows, found.columns);
        EXPECT_GE(found.singularValues[3], 0.99 / 24);
    }
}

// The graph of a path: constants are sent to zero, and only loads that add up to nothing have a solution.
TYPED_TEST(NearNulls, KnowTheConstantsOfAFloatingChain)
{
    using Dense = MatrixOf<TypeParam>;
    const Int n = 40;
    Dense A(n, n);
    for (Int i = 0; i + 1 < n; ++i) {
        A(i, i) += 1.0;
        A(i + 1, i + 1) += 1.0;
        A(i, i + 1) -= 1.0;
        A(i + 1, i) -= 1.0;
    }
    Dense grounded = A;
    grounded(0, 0) += 1e-8;
    const auto map = this->mapOf(A), inverse = this->inverseOf(grounded);
    const auto found = findNearNull(map, inverse, 4.0);
    EXPECT_EQ(found.nullity, 1);
    EXPECT_EQ(found.columns.size(), static_cast<std::size_t>(n));
    EXPECT_TRUE(std::ranges::is_sorted(found.columns));
    std::vector<TypeParam> load(static_cast<std::size_t>(n));
    load[3] = 1.0;
    EXPECT_EQ(judgeConsistency(found, map, inverse, load.data()).verdict,
              NearNulls<TypeParam>::Verdict::Inconsistent);
    load[30] = -1.0;
    const auto balanced = judgeConsistency(found, map, inverse, load.data());
    EXPECT_EQ(balanced.verdict, NearNulls<TypeParam>::Verdict::Consistent);
    TypeParam sum = 0.0;
    for (const TypeParam& x : balanced.x) sum += x;
    EXPECT_LT(std::abs(sum), 1e-9); // the shortest solution has no constant in it
    EXPECT_NEAR(std::abs(balanced.x[3] - balanced.x[30]), 27.0, 1e-9);
}

} // namespace
} // namespace Velmar::Lintrix::testing
