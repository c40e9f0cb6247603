// The truncated SVD that restarts: against the dense decomposition, on spectra that are hard, within limits.

#include <lintrix/lintrix.h>
#include <tests/support/expect_failure.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <functional>
#include <limits>
#include <random>
#include <stop_token>
#include <type_traits>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

template <class Cell>
using SparseFor = std::conditional_t<std::is_same_v<Cell, double>, SparseMatrix, CSparseMatrix>;
template <class Cell>
using MatrixFor = std::conditional_t<std::is_same_v<Cell, double>, Matrix, CMatrix>;

template <class Cell>
Cell cellOf(double real, double imaginary)
{
    if constexpr (std::is_same_v<Cell, double>)
        return real;
    else
        return {real, imaginary};
}

double conjugateOf(double x)
{
    return x;
}
Complex conjugateOf(const Complex& x)
{
    return std::conj(x);
}

template <class Cell>
std::vector<Cell> randomUnitVector(std::int32_t length, std::mt19937_64& generator)
{
    std::normal_distribution<double> draw;
    std::vector<Cell> x(static_cast<std::size_t>(length));
    double sum = 0.0;
    for (Cell& cell : x) {
        const double real = draw(generator);
        cell = cellOf<Cell>(real, draw(generator));
        sum += std::norm(cell);
    }
    for (Cell& cell : x) cell /= std::sqrt(sum);
    return x;
}

/// (I - 2*x*x^H)*diag(values)*(I - 2*y*y^H), rows x cols: these are its singular values.
template <class Cell>
SparseFor<Cell> withValues(std::int32_t rows, std::int32_t cols, const std::vector<double>& values)
{
    std::mt19937_64 generator(5);
    const std::vector<Cell> x = randomUnitVector<Cell>(rows, generator),
                            y = randomUnitVector<Cell>(cols, generator);
    const auto reflection = [](const std::vector<Cell>& z, std::size_t i, std::size_t j) {
        return Cell(i == j ? 1.0 : 0.0) - 2.0 * z[i] * conjugateOf(z[j]);
    };
    SparseFor<Cell> A(rows, cols);
    for (std::int32_t i = 0; i < rows; ++i) {
        for (std::int32_t j = 0; j < cols; ++j) {
            Cell sum{};
            for (std::size_t k = 0; k < values.size(); ++k)
                sum += reflection(x, static_cast<std::size_t>(i), k) * values[k] *
                       reflection(y, k, static_cast<std::size_t>(j));
            A(i, j) = sum;
        }
    }
    return A;
}

template <class Cell>
SparseFor<Cell> randomSparse(std::int32_t rows, std::int32_t cols)
{
    std::mt19937_64 generator(3);
    std::uniform_real_distribution<double> draw(-1.0, 1.0);
    SparseFor<Cell> A(rows, cols);
    for (std::int32_t i = 0; i < std::max(rows, cols); ++i) {
        for (int k = 0; k < 4; ++k) {
            const auto column = static_cast<std::int32_t>(generator() % static_cast<std::uint64_t>(cols));
            const double real = draw(generator);
            A(i % rows, column) = cellOf<Cell>(real, draw(generator));
        }
    }
    return A;
}

template <class Cell>
double distanceFromIdentity(const MatrixFor<Cell>& Q)
{
    double largest = 0.0;
    for (std::int32_t i = 0; i < Q.Cols(); ++i) {
        for (std::int32_t j = 0; j < Q.Cols(); ++j) {
            Cell sum{};
            for (std::int32_t r = 0; r < Q.Rows(); ++r) sum += conjugateOf(Q(r, i)) * Q(r, j);
            largest = std::max(largest, std::abs(sum - Cell(i == j ? 1.0 : 0.0)));
        }
    }
    return largest;
}

/// Both residuals by elements, the larger one, relative to the largest value.
template <class Cell>
double residualOf(const SparseFor<Cell>& A, const TruncatedSVD<Cell>& svd, std::int32_t k)
{
    std::vector<Cell> left(static_cast<std::size_t>(A.Rows())), right(static_cast<std::size_t>(A.Cols()));
    ForEachEntry(A, [&](std::int32_t i, std::int32_t j, const Cell& a) {
        left[static_cast<std::size_t>(i)] += a * svd.V()(j, k);
        right[static_cast<std::size_t>(j)] += conjugateOf(a) * svd.U()(i, k);
    });
    double ofLeft = 0.0, ofRight = 0.0;
    for (std::int32_t i = 0; i < A.Rows(); ++i)
        ofLeft += std::norm((left[static_cast<std::size_t>(i)] - svd.S()[k] * svd.U()(i, k)) / svd.S()[0]);
    for (std::int32_t j = 0; j < A.Cols(); ++j)
        ofRight += std::norm((right[static_cast<std::size_t>(j)] - svd.S()[k] * svd.V()(j, k)) / svd.S()[0]);
    return std::sqrt(std::max(ofLeft, ofRight));
}

template <class Cell>
void expectTriplets(const SparseFor<Cell>& A, const TruncatedSVD<Cell>& svd,
                    const std::vector<double>& values, double tolerance = 1e-10)
{
    EXPECT_EQ(svd.Outcome(), TripletsOutcome::Converged);
    EXPECT_EQ(svd.Converged(), svd.S().Length());
    EXPECT_LT(distanceFromIdentity<Cell>(svd.U()), 1e-9);
    EXPECT_LT(distanceFromIdentity<Cell>(svd.V()), 1e-9);
    for (std::int32_t k = 0; k < svd.S().Length(); ++k) {
        EXPECT_NEAR(svd.S()[k] / values[0], values[static_cast<std::size_t>(k)] / values[0], tolerance) << k;
        EXPECT_LT(residualOf<Cell>(A, svd, k), 1.1 * tolerance) << k;
    }
}

std::vector<double> geometric(std::int32_t count, double ratio, double first = 1.0)
{
    std::vector<double> values{first};
    while (static_cast<std::int32_t>(values.size()) < count) values.push_back(values.back() * ratio);
    return values;
}

template <class Cell>
class TruncatedSvdTest : public ::testing::Test {
};
using Cells = ::testing::Types<double, Complex>;
TYPED_TEST_SUITE(TruncatedSvdTest, Cells);

TYPED_TEST(TruncatedSvdTest, TallWideAndSquareMatricesAgreeWithTheDenseDecomposition)
{
    using Dense = std::conditional_t<std::is_same_v<TypeParam, double>, SVD, CSVD>;
    for (const auto& [rows, cols] : {std::pair{230, 160}, {150, 240}, {200, 200}, {400, 30}}) {
        SCOPED_TRACE(std::to_string(rows) + " x " + std::to_string(cols));
        const auto A = randomSparse<TypeParam>(rows, cols);
        const Vector all = Dense(A.ToDense(), true).SingularValues();
        std::vector<double> values;
        for (std::int32_t k = 0; k < all.Length(); ++k) values.push_back(all[k]);
        for (const std::int32_t count : {1, 6, 25})
            expectTriplets<TypeParam>(A, TruncatedSVD<TypeParam>(A, count), values);
    }
}

TYPED_TEST(TruncatedSvdTest, SpectraThatDecayGeometricallyAreFoundWithOrthogonalVectors)
{
    for (const double ratio : {0.9, 0.5, 0.1}) {
        const std::vector<double> values = geometric(60, ratio);
        const auto A = withValues<TypeParam>(90, 60, values);
        for (const std::int32_t count : {5, 12, 60})
            expectTriplets<TypeParam>(A, TruncatedSVD<TypeParam>(A, count), values);
    }
}

TYPED_TEST(TruncatedSvdTest, UnitsDoNotMatter)
{
    for (const double unit : {1e140, 1e-140}) {
        const std::vector<double> values = geometric(40, 0.8, unit);
        const auto A = withValues<TypeParam>(50, 40, values);
        const TruncatedSVD<TypeParam> svd(A, 6, TruncatedSvdOptions{.certify = true});
        expectTriplets<TypeParam>(A, svd, values);
        EXPECT_EQ(svd.Certificate().certainty, TripletsCertainty::Certain);
    }
}

/// To the last bit that there is.
TYPED_TEST(TruncatedSvdTest, SubnormalAndHugeElementsHaveTheirValues)
{
    using Sparse = typename TruncatedSVD<TypeParam>::Sparse;
    for (const int exponent : {-1074, -1060, -1022, 1010}) {
        Sparse A(30, 20);
        for (std::int32_t j = 0; j < 20; ++j) A(j + 5, j) = std::ldexp(double(200 - 9 * j), exponent);
        const TruncatedSVD<TypeParam> svd(A, 4, TruncatedSvdOptions{.certify = true});
        EXPECT_EQ(svd.Outcome(), TripletsOutcome::Converged) << exponent;
        EXPECT_EQ(svd.Certificate().certainty, TripletsCertainty::Certain) << exponent;
        for (std::int32_t k = 0; k < 4; ++k) {
            const double expected = std::ldexp(double(200 - 9 * k), exponent);
            EXPECT_NEAR(svd.S()[k], expected, 1e-12 * expected) << exponent;
            EXPECT_NEAR(std::abs(svd.V()(k, k)), 1.0, 1e-8);
        }
        EXPECT_LE(svd.Certificate().bound, svd.S()[3]);
        EXPECT_GT(svd.Certificate().bound, 0.9 * svd.S()[3] - std::ldexp(1.0, -1074));
    }
}

TYPED_TEST(TruncatedSvdTest, MultipleValuesAndClustersAreCertifiedWithTheirMultiplicity)
{
    for (const int multiplicity : {2, 3, 4, 5}) {
        SCOPED_TRACE(multiplicity);
        std::vector<double> values{4.0};
        values.insert(values.end(), static_cast<std::size_t>(multiplicity), 3.0);
        for (int k = 0; k < 80; ++k) values.push_back(2.0 - 0.02 * k);
        const auto A = withValues<TypeParam>(100, static_cast<std::int32_t>(values.size()), values);
        for (const std::int32_t block : {1, 2, 5}) {
            const TruncatedSVD<TypeParam> svd(A, multiplicity + 3,
                                              TruncatedSvdOptions{.block = block, .certify = true});
            expectTriplets<TypeParam>(A, svd, values);
            EXPECT_EQ(svd.Certificate().certainty, TripletsCertainty::Certain) << svd.Certificate().reason;
            EXPECT_GE(svd.Certificate().above, multiplicity + 3);
        }
    }
}

TYPED_TEST(TruncatedSvdTest, ABlockAsWideAsAMultiplicityFindsItWithoutACertificate)
{
    std::vector<double> values(4, 1.0);
    for (int k = 0; k < 60; ++k) values.push_back(0.5 - 0.005 * k);
    const auto A = withValues<TypeParam>(90, static_cast<std::int32_t>(values.size()), values);
    expectTriplets<TypeParam>(A, TruncatedSVD<TypeParam>(A, 4, TruncatedSvdOptions{.block = 4}), values);
}

TYPED_TEST(TruncatedSvdTest, RankDeficientZeroAndTinyMatricesAreAnsweredWhole)
{
    std::vector<double> values = geometric(5, 0.7);
    values.resize(30, 0.0);
    const auto A = withValues<TypeParam>(40, 30, values);
    for (const std::int32_t count : {3, 8, 30})
        expectTriplets<TypeParam>(A, TruncatedSVD<TypeParam>(A, count), values);

    const SparseFor<TypeParam> zero(7, 4), larger(300, 200);
    for (const auto* const Z : {&zero, &larger}) {
        const TruncatedSVD<TypeParam> svd(*Z, 3, TruncatedSvdOptions{.certify = true});
        EXPECT_EQ(svd.Outcome(), TripletsOutcome::Converged);
        EXPECT_EQ(svd.Certificate().certainty, TripletsCertainty::Certain);
        EXPECT_LT(distanceFromIdentity<TypeParam>(svd.U()), 1e-12);
        EXPECT_LT(distanceFromIdentity<TypeParam>(svd.V()), 1e-12);
        for (std::int32_t k = 0; k < 3; ++k) EXPECT_EQ(svd.S()[k], 0.0);
    }

    SparseFor<TypeParam> one(1, 1);
    one(0, 0) = cellOf<TypeParam>(-3.0, 0.0);
    expectTriplets<TypeParam>(one, TruncatedSVD<TypeParam>(one, 1), {3.0});
}

TYPED_TEST(TruncatedSvdTest, AllValuesOfAMatrixAreCertainWithoutAFactor)
{
    const std::vector<double> values = geometric(20, 0.6);
    const auto A = withValues<TypeParam>(30, 20, values);
    const TruncatedSVD<TypeParam> svd(A, 20,
                                      TruncatedSvdOptions{.certify = true, .certificateOperations = 0.0});
    EXPECT_EQ(svd.Certificate().certainty, TripletsCertainty::Certain);
    EXPECT_EQ(svd.Certificate().bound, 0.0);
}

TYPED_TEST(TruncatedSvdTest, WhatIsNotFiniteIsToldAndNothingElse)
{
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(), HUGE_VAL}) {
        auto A = randomSparse<TypeParam>(20, 10);
        A(3, 4) = cellOf<TypeParam>(bad, 0.0);
        const TruncatedSVD<TypeParam> svd(A, 2);
        EXPECT_EQ(svd.Outcome(), TripletsOutcome::NotFinite);
        EXPECT_EQ(svd.Converged(), 0);
        EXPECT_TRUE(std::isnan(svd.S()[0]));
        EXPECT_EQ(svd.U().Rows(), 20);
        EXPECT_EQ(svd.V().Cols(), 2);
    }
}

/// Diagonal, so that steps from a vector of zeros and others never leave the others' space.
template <class Cell>
SparseFor<Cell> diagonal(const std::vector<double>& values)
{
    const auto n = static_cast<std::int32_t>(values.size());
    SparseFor<Cell> A(n + 3, n);
    for (std::int32_t i = 0; i < n; ++i) A(i, i) = values[static_cast<std::size_t>(i)];
    return A;
}

TYPED_TEST(TruncatedSvdTest, AValueThatTheStartVectorHidesIsNoticedByTheCertificateAndFound)
{
    using V = typename TruncatedSVD<TypeParam>::V_;
    std::vector<double> values;
    for (int k = 0; k < 120; ++k) values.push_back(10.0 - 0.05 * k);
    const auto A = diagonal<TypeParam>(values);
    for (const std::size_t hidden : {0U, 2U, 4U}) {
        SCOPED_TRACE(hidden);
        V start(120, TypeParam(1.0));
        start[static_cast<std::int32_t>(hidden)] = 0.0;
        const TruncatedSvdOptions strict{.fullReorthogonalization = true};
        const TruncatedSVD<TypeParam> blind(A, 5, start, strict);
        EXPECT_EQ(blind.Outcome(), TripletsOutcome::Converged);
        EXPECT_EQ(blind.Certificate().certainty, TripletsCertainty::NotAsked);
        EXPECT_NEAR(blind.S()[4], values[5], 1e-8) << "the value is not hidden";
        const TruncatedSVD<TypeParam> sure(
            A, 5, start, TruncatedSvdOptions{.fullReorthogonalization = true, .certify = true});
        EXPECT_EQ(sure.Certificate().certainty, TripletsCertainty::Certain);
        EXPECT_GE(sure.Certificate().recovered, 1);
        expectTriplets<TypeParam>(A, sure, values);
    }
}

TYPED_TEST(TruncatedSvdTest, TheLengthOfAGuessDecidesNothing)
{
    using V = typename TruncatedSVD<TypeParam>::V_;
    std::vector<double> values;
    for (int k = 0; k < 300; ++k) values.push_back(10.0 - 0.03 * k);
    const SparseFor<TypeParam> tall = diagonal<TypeParam>(values), wide = tall.Transpose();
    for (const SparseFor<TypeParam>* A : {&tall, &wide}) {
        const auto from = [&](double length) {
            V start(A->Cols(), TypeParam(0.0));
            for (std::int32_t i = 0; i < 40; ++i) start[i] = length * (1 + i % 2);
            return TruncatedSVD<TypeParam>(*A, 5, start);
        };
        const auto expected = from(1.0);
        expectTriplets<TypeParam>(*A, expected, values);
        for (const double length : {0x1p-1074, 0x1p-1000, 0x1p600, 0x1p1022}) {
            SCOPED_TRACE(::testing::Message() << length << (A == &tall ? " tall" : " wide"));
            const auto svd = from(length);
            EXPECT_EQ(svd.Products(), expected.Products());
            for (std::int32_t i = 0; i < 5; ++i) EXPECT_EQ(svd.S()[i], expected.S()[i]);
        }
        expectTriplets<TypeParam>(*A, from(0.0), values);
    }
}

TYPED_TEST(TruncatedSvdTest, AGuessIsOfNumbers)
{
    using V = typename TruncatedSVD<TypeParam>::V_;
    const auto A = diagonal<TypeParam>({3.0, 2.0, 1.0});
    for (const double odd :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity()}) {
        V start(3, TypeParam(1.0));
        start[2] = odd;
        expectFailure<ArgumentException>([&] { TruncatedSVD<TypeParam>(A, 1, start); },
                                         "The start vector is not finite.");
    }
    expectFailure<SizeMismatchException>(
        [&] { TruncatedSVD<TypeParam>(A, 1, V(4, TypeParam(std::numeric_limits<double>::quiet_NaN()))); },
        "Matrix sizes do not match.");
}

/// The second and third of the largest value lie in no Krylov space of one vector.
TYPED_TEST(TruncatedSvdTest, AMultipleValueThatStandsApartIsFoundByALookBesideTheOthers)
{
    std::vector<double> values(3, 8.0);
    for (int k = 0; k < 150; ++k) values.push_back(4.0 - 0.02 * k);
    const auto A = diagonal<TypeParam>(values);
    for (const std::uint64_t seed : {1U, 2U, 17U, 99U}) {
        SCOPED_TRACE(seed);
        expectTriplets<TypeParam>(A, TruncatedSVD<TypeParam>(A, 6, TruncatedSvdOptions{.seed = seed}),
                                  values);
    }
}

/// What the certificate misses is looked for beside what stands: a multiple value at the end of the wanted
/// ones, where no look beside them tells of it.
TYPED_TEST(TruncatedSvdTest, AMultipleLastValueIsRecoveredForTheCertificate)
{
    std::vector<double> values{5.0, 4.0, 4.0, 4.0};
    for (int k = 0; k < 100; ++k) values.push_back(3.0 - 0.02 * k);
    const auto A = diagonal<TypeParam>(values);
    const TruncatedSVD<TypeParam> svd(A, 2, TruncatedSvdOptions{.certify = true});
    expectTriplets<TypeParam>(A, svd, values);
    EXPECT_EQ(svd.Certificate().certainty, TripletsCertainty::Certain);
    EXPECT_EQ(svd.Certificate().above, 4);
    EXPECT_GE(svd.Certificate().recovered, 1);
}

/// Values over six powers of ten: beyond what the squared values tell, and left vectors orthonormal all the
/// same.
TYPED_TEST(TruncatedSvdTest, SmallValuesBesideLargeOnesHaveOrthonormalVectorsAtAnyTolerance)
{
    const std::vector<double> values = geometric(60, 0.6);
    const auto A = withValues<TypeParam>(80, 60, values);
    for (const double tolerance : {1e-4, 1e-6, 1e-8, 1e-10, 1e-12}) {
        SCOPED_TRACE(tolerance);
        for (const std::int32_t count : {10, 18, 27}) {
            const TruncatedSVD<TypeParam> svd(A, count, TruncatedSvdOptions{.tolerance = tolerance});
            EXPECT_EQ(svd.Outcome(), TripletsOutcome::Converged);
            EXPECT_LT(distanceFromIdentity<TypeParam>(svd.U()), 1e-11) << count;
            EXPECT_LT(distanceFromIdentity<TypeParam>(svd.V()), 1e-11) << count;
            for (std::int32_t k = 0; k < count; ++k)
                EXPECT_LT(residualOf<TypeParam>(A, svd, k), 1.1 * tolerance + 1e-15) << k;
        }
    }
}

/// A copy of a space apart: each value comes twice, and k in the middle of a pair.
TYPED_TEST(TruncatedSvdTest, ValuesThatAllComeTwiceAreFoundTwice)
{
    std::vector<double> values;
    for (int k = 0; k < 40; ++k) values.insert(values.end(), 2, std::ldexp(1.0, -k / 4) * (8 - k % 4));
    std::ranges::sort(values, std::ranges::greater{});
    const auto A = diagonal<TypeParam>(values);
    for (const std::int32_t count : {4, 7})
        expectTriplets<TypeParam>(A, TruncatedSVD<TypeParam>(A, count), values);
}

TYPED_TEST(TruncatedSvdTest, WithoutRoomForAFactorNothingIsCertain)
{
    const auto A = randomSparse<TypeParam>(200, 150);
    const TruncatedSVD<TypeParam> svd(A, 5,
                                      TruncatedSvdOptions{.certify = true, .certificateOperations = 10.0});
    EXPECT_EQ(svd.Outcome(), TripletsOutcome::Converged);
    EXPECT_EQ(svd.Certificate().certainty, TripletsCertainty::Undecided);
    EXPECT_EQ(svd.Certificate().reason, "the factor of the augmented matrix is too large");
}

TYPED_TEST(TruncatedSvdTest, AMarkedTriangleIsReadAsTheFullMatrix)
{
    SparseFor<TypeParam> triangle(40, 40), full(40, 40);
    for (std::int32_t i = 0; i < 40; ++i) {
        triangle(i, i) = full(i, i) = cellOf<TypeParam>(1.0 + 0.1 * i, 0.0);
        if (i + 3 >= 40) continue;
        triangle(i, i + 3) = full(i, i + 3) = cellOf<TypeParam>(0.5, 0.25);
        full(i + 3, i) = cellOf<TypeParam>(0.5, -0.25);
    }
    if constexpr (std::is_same_v<TypeParam, double>)
        triangle.Symmetric(true);
    else
        triangle.Hermitian(true);
    const TruncatedSVD<TypeParam> one(triangle, 4), other(full, 4);
    for (std::int32_t k = 0; k < 4; ++k) EXPECT_NEAR(one.S()[k], other.S()[k], 1e-12);
    EXPECT_LT(residualOf<TypeParam>(full, one, 3), 1e-10);
}

TYPED_TEST(TruncatedSvdTest, WithinASmallBudgetTheBasisIsSmallAndTheValuesAreTheSame)
{
    const auto A = randomSparse<TypeParam>(700, 500);
    const double vector = sizeof(TypeParam) * 1200.0;
    const TruncatedSVD<TypeParam> roomy(A, 6),
        tight(A, 6, TruncatedSvdOptions{.memoryBudget = 30.0 * vector});
    EXPECT_LT(tight.Basis(), roomy.Basis());
    EXPECT_GT(tight.Restarts(), roomy.Restarts());
    EXPECT_EQ(tight.Outcome(), TripletsOutcome::Converged);
    for (std::int32_t k = 0; k < 6; ++k) EXPECT_NEAR(tight.S()[k], roomy.S()[k], 1e-9);
    const TruncatedSvdOptions none{.memoryBudget = 3.0 * vector};
    expectFailure<OperationFailedException>([&] { TruncatedSVD<TypeParam>(A, 6, none); },
                                            "The memory budget is too small.");
}

/// Copies for both products, for that with the adjoint alone, or none: what is found is the same.
TYPED_TEST(TruncatedSvdTest, AsManyCopiesAsTheBudgetHasRoomForGiveTheSameValues)
{
    const auto A = randomSparse<TypeParam>(700, 500);
    const double vectors = 30.0 * sizeof(TypeParam) * 1200.0,
                 copy = (sizeof(TypeParam) + 4.0) * A.NumElements();
    const TruncatedSVD<TypeParam> roomy(A, 6);
    for (const double copies : {0.0, 1.5, 3.0, 6.0}) { // of the bytes, the matrix may take half
        const TruncatedSVD<TypeParam> svd(A, 6,
                                          TruncatedSvdOptions{.memoryBudget = vectors + 2.0 * copies * copy});
        EXPECT_EQ(svd.Outcome(), TripletsOutcome::Converged) << copies;
        for (std::int32_t k = 0; k < 6; ++k) {
            EXPECT_NEAR(svd.S()[k], roomy.S()[k], 1e-9) << copies;
            EXPECT_LT(residualOf<TypeParam>(A, svd, k), 1e-10) << copies;
        }
    }
}

/// Copies for the products do without what the smallest basis needs: whatever is enough for that is enough.
TYPED_TEST(TruncatedSvdTest, ALargerBudgetDoesNotFailForCopiesWhereASmallerOneWasEnough)
{
    MatrixFor<TypeParam> full(300, 250);
    for (std::int32_t i = 0; i < 300; ++i) full(i, i % 250) = 1.0 + i % 7;
    for (std::int32_t j = 0; j < 250; ++j) full(5, j) = 0.5; // padded by the short rows of its slice
    const SparseFor<TypeParam> A(full);
    const double vectors = sizeof(TypeParam) * (550.0 * 8.0 + 12.0 * 49.0 + 512.0 * 7.0); // least, of 5
    for (const double part : {1.0, 1.1, 1.2, 1.3, 1.4, 1.5, 1.6, 1.7, 1.8, 1.9, 2.0}) {
        const TruncatedSvdOptions options{.restarts = 1, .memoryBudget = part * vectors};
        EXPECT_NO_THROW(TruncatedSVD<TypeParam>(A, 4, options)) << part;
    }
}

TYPED_TEST(TruncatedSvdTest, ACopyInOtherUnitsIsWithinTheBudget)
{
    auto A = randomSparse<TypeParam>(700, 500);
    const double vector = sizeof(TypeParam) * 1200.0,
                 copy = (sizeof(TypeParam) + 4.0) * A.NumElements() + 4.0 * 701.0;
    const TruncatedSVD<TypeParam> usual(A, 6, TruncatedSvdOptions{.memoryBudget = 30.0 * vector});
    for (auto& value : A.Values()) value *= 0x1p500;
    const TruncatedSVD<TypeParam> huge(A, 6, TruncatedSvdOptions{.memoryBudget = 30.0 * vector + copy});
    EXPECT_EQ(huge.Basis(), usual.Basis());
    EXPECT_NEAR(huge.S()[0] * 0x1p-500, usual.S()[0], 1e-9);
    for (const double budget : {copy - 1.0, copy + 3.0 * vector}) {
        const TruncatedSvdOptions options{.memoryBudget = budget};
        expectFailure<OperationFailedException>([&] { TruncatedSVD<TypeParam>(A, 6, options); },
                                                "The memory budget is too small.");
    }
}

TYPED_TEST(TruncatedSvdTest, WithoutRestartsItIsToldWhichTripletsDoNotMeetTheTolerance)
{
    std::vector<double> values;
    for (int k = 0; k < 150; ++k) values.push_back(1.0 - 0.004 * k);
    const auto A = withValues<TypeParam>(160, 150, values);
    const TruncatedSVD<TypeParam> svd(A, 8, TruncatedSvdOptions{.basis = 20, .restarts = 0, .certify = true});
    EXPECT_EQ(svd.Outcome(), TripletsOutcome::NotConverged);
    EXPECT_EQ(svd.Restarts(), 0);
    EXPECT_LT(svd.Converged(), 8);
    EXPECT_EQ(svd.Certificate().certainty, TripletsCertainty::Undecided);
    ASSERT_EQ(svd.Residuals().size(), 8U);
    for (std::int32_t k = 0; k < 8; ++k)
        EXPECT_NEAR(svd.Residuals()[static_cast<std::size_t>(k)], residualOf<TypeParam>(A, svd, k), 1e-12);
}

TYPED_TEST(TruncatedSvdTest, EqualSeedsGiveEqualBits)
{
    const auto A = randomSparse<TypeParam>(300, 200);
    const TruncatedSVD<TypeParam> one(A, 5), two(A, 5), other(A, 5, TruncatedSvdOptions{.seed = 4});
    for (std::int32_t k = 0; k < 5; ++k) {
        EXPECT_EQ(one.S()[k], two.S()[k]);
        EXPECT_EQ(one.U()(7, k), two.U()(7, k));
        EXPECT_NEAR(one.S()[k], other.S()[k], 1e-9);
    }
}

TYPED_TEST(TruncatedSvdTest, AStopADeadlineAndACallbackEndTheWork)
{
    const auto A = randomSparse<TypeParam>(600, 500);
    std::stop_source source;
    TruncatedSvdOptions options;
    options.limits.stop = source.get_token();
    double all = 0.0;
    options.progress = [&](double done, double expected) {
        EXPECT_LE(done, expected);
        all = expected;
    };
    options.restarted = [&](std::int32_t restart, std::int32_t) {
        if (restart == 2) source.request_stop();
    };
    expectFailure<OperationFailedException>([&] { TruncatedSVD<TypeParam>(A, 10, options); },
                                            "The operation was stopped.");
    EXPECT_GT(all, 0.0);
    TruncatedSvdOptions late;
    late.limits.deadline = std::chrono::steady_clock::now();
    expectFailure<OperationFailedException>([&] { TruncatedSVD<TypeParam>(A, 10, late); },
                                            "The deadline has passed.");
    TruncatedSvdOptions throwing;
    throwing.progress = [](double, double) { throw std::domain_error("enough"); };
    EXPECT_THROW(TruncatedSVD<TypeParam>(A, 10, throwing), std::domain_error);
}

TYPED_TEST(TruncatedSvdTest, BadArgumentsAreRefused)
{
    using V = typename TruncatedSVD<TypeParam>::V_;
    const auto A = randomSparse<TypeParam>(8, 6);
    for (const std::int32_t bad : {0, -1, 7})
        expectFailure<InvalidSizeException>([&] { TruncatedSVD<TypeParam>(A, bad); },
                                            "Invalid number of rows or columns.");
    for (const double bad : {0.0, -1.0, std::nan("")}) {
        const TruncatedSvdOptions options{.tolerance = bad};
        EXPECT_THROW(TruncatedSVD<TypeParam>(A, 2, options), ArgumentOutOfRangeException);
    }
    for (const double bad : {-1.0, std::nan("")}) {
        EXPECT_THROW(TruncatedSVD<TypeParam>(A, 2, TruncatedSvdOptions{.memoryBudget = bad}),
                     ArgumentOutOfRangeException);
        EXPECT_THROW(TruncatedSVD<TypeParam>(A, 2, TruncatedSvdOptions{.certificateOperations = bad}),
                     ArgumentOutOfRangeException);
    }
    for (const TruncatedSvdOptions& bad : {TruncatedSvdOptions{.basis = -1}, TruncatedSvdOptions{.block = 0},
                                           TruncatedSvdOptions{.restarts = -1}})
        EXPECT_THROW(TruncatedSVD<TypeParam>(A, 2, bad), ArgumentOutOfRangeException);
    expectFailure<SizeMismatchException>([&] { TruncatedSVD<TypeParam>(A, 2, V(8)); },
                                         "Matrix sizes do not match.");
}

TYPED_TEST(TruncatedSvdTest, LeftVectorsMayBeReorthogonalizedAll)
{
    const std::vector<double> values = geometric(50, 0.85);
    const auto A = withValues<TypeParam>(70, 50, values);
    const TruncatedSVD<TypeParam> svd(A, 8,
                                      TruncatedSvdOptions{.basis = 20, .fullReorthogonalization = true});
    expectTriplets<TypeParam>(A, svd, values);
    EXPECT_LT(distanceFromIdentity<TypeParam>(svd.U()), 1e-13);
}

TEST(TruncatedSvd, OutcomesAndCertaintiesHaveNames)
{
    EXPECT_EQ(NameOf(TripletsOutcome::Converged), "converged");
    EXPECT_EQ(NameOf(TripletsOutcome::NotConverged), "not converged");
    EXPECT_EQ(NameOf(TripletsOutcome::NotFinite), "not finite");
    EXPECT_EQ(NameOf(TripletsCertainty::NotAsked), "not asked");
    EXPECT_EQ(NameOf(TripletsCertainty::Certain), "certain");
    EXPECT_EQ(NameOf(TripletsCertainty::Missed), "missed");
    EXPECT_EQ(NameOf(TripletsCertainty::Undecided), "undecided");
}

/// 150 pairs of equal values: more than a small basis has room for, however often it is widened.
TEST(TruncatedSvdCertificate, StaysInItsMemoryWhereManyValuesArePassedOver)
{
    SparseAssembler entries(300, 300);
    for (int i = 0; i < 300; i += 2)
        for (const auto& [row, column, value] :
             {SparseTriplet{i, i, 3.0}, {i, i + 1, 1.0}, {i + 1, i, -1.0}, {i + 1, i + 1, 3.0}})
            entries.Add(row, column, value);
    const TruncatedSvdOptions options{.tolerance = 1e-15, .basis = 6, .restarts = 300, .certify = true};
    const TruncatedSVD<double> svd(entries.Assemble(), 2, options);
    for (int k = 0; k < 2; ++k) EXPECT_NEAR(svd.S()(k), std::sqrt(10.0), 1e-14);
    EXPECT_NE(svd.Certificate().certainty, TripletsCertainty::Certain);
    EXPECT_GE(svd.Certificate().recovered, 0);
}

/// What is passed over may be more than the caller's memory holds: that is told, and not looked for.
TEST(TruncatedSvdCertificate, OfTheIdentityIsNotLookedForBeyondTheBudget)
{
    SparseMatrix identity(1000, 1000);
    for (int i = 0; i < 1000; ++i) identity(i, i) = 1.0;
    const TruncatedSvdOptions options{.memoryBudget = 2e6, .certify = true};
    const TruncatedSVD<double> svd(identity, 1, options);
    EXPECT_EQ(svd.Certificate().certainty, TripletsCertainty::Missed);
    EXPECT_EQ(svd.Certificate().reason, "too many values were passed over");
    EXPECT_EQ(svd.Certificate().above, 1000);
}

} // namespace
} // namespace Velmar::Lintrix::testing
