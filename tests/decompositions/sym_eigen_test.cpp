// Eigenvalues, largest first, and eigenvectors of symmetric matrices.

#include <lintrix/decompositions/sym_eigen.h>

#include "tests/decompositions/cases.h"

#include <lintrix/decompositions/svd.h>
#include <lintrix/dense/vector.h>

#include <climits>
#include <limits>
#include <numeric>
#include <optional>
#include <thread>
#include <type_traits>

namespace Velmar::Lintrix::testing {
namespace {

constexpr const char* kNotSquare = "Matrix is not square.";
constexpr const char* kIndex = "Row or column index exceeds matrix size.";
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Eigenvalues of both signs whose magnitudes follow the spectrum; for Random and Graded, the lower triangle
// of such a matrix mirrored.
Matrix symmetric(int n, Spectrum spectrum)
{
    if (spectrum == Spectrum::Random || spectrum == Spectrum::Graded) {
        Matrix A = matrixWith({n, n}, spectrum, kSeed);
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < j; ++i) A(i, j) = A(j, i);
        }
        return A;
    }
    std::vector<double> eigenvalues;
    for (int i = 0; i < n; ++i) {
        eigenvalues.push_back((i % 2 == 0 ? 1.0 : -1.0) * singularValue(spectrum, i, n));
    }
    return symmetricWith(eigenvalues, kSeed);
}

template <class Check>
void forEachSymmetric(Check check)
{
    const Threads one(1);
    for (const Shape& shape : squareShapes()) {
        for (const Spectrum spectrum : allSpectra()) {
            SCOPED_TRACE(::testing::Message() << shape << ", " << spectrum);
            check(symmetric(shape.rows, spectrum));
        }
    }
}

Vector descending(std::vector<double> values)
{
    std::sort(values.begin(), values.end(), std::greater<>());
    return values;
}

double valuesRatio(const Matrix& A, const Vector& x, const Vector& y)
{
    return testing::valuesRatio(x, y, A.Rows(), oneNorm(A));
}

// ---- the decomposition

TEST(SymEigenTest, EigenvectorsTimesEigenvaluesIsTheMatrixTimesEigenvectors)
{
    forEachSymmetric([](const Matrix& A) {
        const SymEigen eigen(A);
        ASSERT_TRUE(eigen.Succeeded());
        EXPECT_EQ(eigen.Size(), A.Rows());
        const Matrix X = eigen.Eigenvectors().value(), D = eigen.D();
        const Matrix residual = naiveProduct(A, X) - naiveProduct(X, D);
        EXPECT_LT(oneNorm(residual) / (A.Rows() * oneNorm(A) * kEps), kResidualLimit);
    });
}

TEST(SymEigenTest, DecompositionReproducesTheMatrix)
{
    forEachSymmetric([](const Matrix& A) {
        const SymEigen eigen(A);
        const Matrix X = eigen.Eigenvectors().value();
        EXPECT_LT(differenceRatio(A, naiveProduct(X, naiveProduct(eigen.D(), naiveTranspose(X)))),
                  kResidualLimit);
    });
}

TEST(SymEigenTest, EigenvectorsAreOrthonormal)
{
    forEachSymmetric([](const Matrix& A) {
        EXPECT_LT(orthogonalityRatio(SymEigen(A).Eigenvectors().value()), kResidualLimit);
    });
}

TEST(SymEigenTest, EigenvaluesFall)
{
    forEachSymmetric([](const Matrix& A) {
        for (const bool eigenvectors : {true, false}) {
            const Vector w = SymEigen(A, eigenvectors).Eigenvalues();
            ASSERT_EQ(w.Length(), A.Rows());
            for (int i = 1; i < w.Length(); ++i) EXPECT_LE(w(i), w(i - 1));
        }
    });
}

TEST(SymEigenTest, EigenvaluesAreThoseThatWereImposed)
{
    const Threads one(1);
    for (const Shape& shape : squareShapes()) {
        for (const Spectrum spectrum : {Spectrum::Flat, Spectrum::Geometric, Spectrum::OneTiny}) {
            SCOPED_TRACE(::testing::Message() << shape << ", " << spectrum);
            const int n = shape.rows;
            std::vector<double> imposed;
            for (int i = 0; i < n; ++i) {
                imposed.push_back((i % 2 == 0 ? 1.0 : -1.0) * singularValue(spectrum, i, n));
            }
            const Matrix A = symmetric(n, spectrum);
            EXPECT_LT(valuesRatio(A, descending(imposed), SymEigen(A).Eigenvalues()), kResidualLimit);
            EXPECT_LT(valuesRatio(A, descending(imposed), SymEigen(A, false).Eigenvalues()), kResidualLimit);
        }
    }
}

TEST(SymEigenTest, MagnitudesAreTheSingularValues)
{
    forEachSymmetric([](const Matrix& A) {
        std::vector<double> magnitudes = SymEigen(A, false).Eigenvalues().ToArray();
        for (double& value : magnitudes) value = std::abs(value);
        EXPECT_LT(valuesRatio(A, SVD(A, true).SingularValues(), descending(magnitudes)), kResidualLimit);
    });
}

TEST(SymEigenTest, SumOfEigenvaluesIsTheTrace)
{
    forEachSymmetric([](const Matrix& A) {
        const double difference = SymEigen(A).Eigenvalues().Sum() - A.Trace();
        EXPECT_LT(std::abs(difference) / (A.Rows() * oneNorm(A) * kEps), kResidualLimit);
    });
}

TEST(SymEigenTest, EigenvaluesSurviveAnOrthogonalSimilarity)
{
    forEachSymmetric([](const Matrix& A) {
        const Matrix Q = matrixWith({A.Rows(), A.Rows()}, Spectrum::Flat, kSeed + 2);
        const Matrix B = naiveProduct(Q, naiveProduct(A, naiveTranspose(Q)));
        EXPECT_LT(valuesRatio(A, SymEigen(A).Eigenvalues(), SymEigen(B).Eigenvalues()), kResidualLimit);
    });
}

TEST(SymEigenTest, RankDeficientMatrixHasAsManyZeros)
{
    const Threads one(1);
    for (const int n : {3, 7, 65}) {
        std::vector<double> eigenvalues(static_cast<std::size_t>(n));
        for (std::size_t i = 0; i < eigenvalues.size() / 2; ++i) eigenvalues[i] = 1.0;
        const Matrix A = symmetricWith(eigenvalues, kSeed);
        EXPECT_LT(valuesRatio(A, descending(eigenvalues), SymEigen(A).Eigenvalues()), kResidualLimit);
    }
}

TEST(SymEigenTest, MembersTellTheSameEigenpairs)
{
    forEachSymmetric([](const Matrix& A) {
        const SymEigen eigen(A);
        const Matrix X = eigen.Eigenvectors().value(), D = eigen.D();
        const Vector w = eigen.Eigenvalues();
        ASSERT_EQ(D.Rows(), A.Rows());
        ASSERT_EQ(D.Cols(), A.Rows());
        for (int j = 0; j < A.Cols(); ++j) {
            EXPECT_EQ(eigen.Eigenvalue(j), w(j));
            EXPECT_TRUE(identical(eigen.Eigenvector(j).value(), X.ColVector(j)));
            for (int i = 0; i < A.Rows(); ++i) EXPECT_EQ(D(i, j), i == j ? w(j) : 0.0);
        }
    });
}

TEST(SymEigenTest, InputIsNotWritten)
{
    const Matrix A = symmetric(65, Spectrum::Random), before(A);
    const SymEigen eigen(A), values(A, false);
    EXPECT_TRUE(identical(A, before));
}

// ---- small cases

TEST(SymEigenTest, DiagonalOfOneTwoThreeGivesThreeTwoOne)
{
    const SymEigen eigen(Matrix{{1, 0, 0}, {0, 2, 0}, {0, 0, 3}});
    EXPECT_TRUE(identical(eigen.Eigenvalues(), Vector{3, 2, 1}));
    EXPECT_TRUE(identical(eigen.D(), Matrix{{3, 0, 0}, {0, 2, 0}, {0, 0, 1}}));
    const Vector x = eigen.Eigenvector(0).value();
    EXPECT_EQ(x(0), 0.0);
    EXPECT_EQ(x(1), 0.0);
    EXPECT_EQ(std::abs(x(2)), 1.0);
}

TEST(SymEigenTest, EvenOrderIsTurnedRoundToo)
{
    const SymEigen eigen(Matrix{{1, 0, 0, 0}, {0, 4, 0, 0}, {0, 0, 2, 0}, {0, 0, 0, 3}});
    EXPECT_TRUE(identical(eigen.Eigenvalues(), Vector{4, 3, 2, 1}));
    const int places[] = {1, 3, 2, 0};
    for (int k = 0; k < 4; ++k) EXPECT_EQ(std::abs(eigen.Eigenvector(k).value()(places[k])), 1.0);
}

TEST(SymEigenTest, OneByOneHasOneEigenvalueAndAUnitEigenvector)
{
    const SymEigen eigen(Matrix{{-7}});
    EXPECT_TRUE(eigen.Succeeded());
    EXPECT_TRUE(identical(eigen.Eigenvalues(), Vector{-7}));
    EXPECT_EQ(std::abs(eigen.Eigenvector(0).value()(0)), 1.0);
    EXPECT_EQ(SymEigen(Matrix{{-7}}, false).Eigenvalue(0), -7.0);
}

TEST(SymEigenTest, TwoByTwoByHand)
{
    const Matrix A{{2, 1}, {1, 2}};
    const SymEigen eigen(A);
    EXPECT_LT(valuesRatio(A, Vector{3, 1}, eigen.Eigenvalues()), kResidualLimit);
    const Vector x = eigen.Eigenvector(0).value(), y = eigen.Eigenvector(1).value();
    EXPECT_NEAR(x(0) * x(1), 0.5, kResidualLimit * kEps); // along (1, 1)
    EXPECT_NEAR(y(0) * y(1), -0.5, kResidualLimit * kEps);
}

TEST(SymEigenTest, StrictUpperTriangleIsNeverRead)
{
    forEachSymmetric([](const Matrix& A) {
        Matrix garbage(A);
        for (int j = 0; j < A.Cols(); ++j) {
            for (int i = 0; i < j; ++i) garbage(i, j) = kNaN;
        }
        const SymEigen plain(A), blind(garbage);
        ASSERT_TRUE(blind.Succeeded());
        EXPECT_TRUE(identical(plain.Eigenvalues(), blind.Eigenvalues()));
        EXPECT_TRUE(identical(plain.Eigenvectors().value(), blind.Eigenvectors().value()));
        EXPECT_TRUE(identical(SymEigen(A, false).Eigenvalues(), SymEigen(garbage, false).Eigenvalues()));
    });
}

// ---- refusals and the form without eigenvectors

TEST(SymEigenTest, NonSquareInputIsRefusedBeforeAnythingIsAllocated)
{
    for (const Shape& shape : {Shape{1, 2}, Shape{2, 1}, Shape{5, 3}, Shape{3, 5}}) {
        SCOPED_TRACE(shape);
        const Matrix A(shape.rows, shape.cols);
        const FailingAllocator allocator(0);
        expectFailure<NotSquareMatrixException>([&] { const SymEigen eigen(A); }, kNotSquare);
        expectFailure<NotSquareMatrixException>([&] { const SymEigen eigen(A, false); }, kNotSquare);
        EXPECT_FALSE(allocator.hasFailed());
    }
}

TEST(SymEigenTest, WithoutEigenvectorsValuesAndDWorkAndVectorsAreEmpty)
{
    forEachSymmetric([](const Matrix& A) {
        const SymEigen values(A, false), both(A, true);
        ASSERT_TRUE(values.Succeeded());
        EXPECT_EQ(values.Size(), A.Rows());
        EXPECT_LT(valuesRatio(A, both.Eigenvalues(), values.Eigenvalues()), kResidualLimit);
        EXPECT_EQ(values.D()(0, 0), values.Eigenvalue(0));
        EXPECT_EQ(values.Eigenvectors(), std::nullopt);
        EXPECT_EQ(values.Eigenvector(0), std::nullopt);
        EXPECT_EQ(values.Eigenvector(A.Rows() - 1), std::nullopt);
    });
}

TEST(SymEigenTest, BadIndexIsRefusedAlsoWithoutEigenvectors)
{
    const SymEigen both(identity(3)), values(identity(3), false);
    for (const int index : {-1, 3, INT_MIN, INT_MAX}) {
        SCOPED_TRACE(index);
        expectFailure<IndexOutOfBoundsException>([&] { both.Eigenvalue(index); }, kIndex);
        expectFailure<IndexOutOfBoundsException>([&] { both.Eigenvector(index); }, kIndex);
        expectFailure<IndexOutOfBoundsException>([&] { values.Eigenvalue(index); }, kIndex);
        expectFailure<IndexOutOfBoundsException>([&] { values.Eigenvector(index); }, kIndex);
    }
}

TEST(SymEigenTest, FormWithEigenvectorsIsTheDefault)
{
    const Matrix A = symmetric(7, Spectrum::Random);
    const SymEigen plain(A), told(A, true);
    EXPECT_TRUE(identical(plain.Eigenvectors().value(), told.Eigenvectors().value()));
    EXPECT_TRUE(identical(plain.Eigenvalues(), told.Eigenvalues()));
}

// ---- life

TEST(SymEigenTest, ResultsAreBuiltAnewOnEachAccess)
{
    const SymEigen eigen(Matrix{{2, 0}, {0, 1}});
    eigen.Eigenvectors().value().Clear();
    eigen.Eigenvector(0).value().Clear();
    eigen.Eigenvalues().Clear();
    eigen.D().Clear();
    EXPECT_TRUE(identical(eigen.Eigenvalues(), Vector{2, 1}));
    EXPECT_EQ(std::abs(eigen.Eigenvectors().value()(0, 0)), 1.0);
}

TEST(SymEigenTest, ConstructorKeepsOnlyWhatWasAskedFor)
{
    const Matrix A = symmetric(6, Spectrum::Random);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    {
        const SymEigen eigen(A);
        EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 8 * (36 + 6));
    }
    {
        const SymEigen eigen(A, false);
        EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 8 * 6);
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(SymEigenTest, EveryRefusedBlockIsAFailureThatLeaksNothing)
{
    const Matrix A = symmetric(6, Spectrum::Random), before(A);
    const auto untouched = [&] { return identical(A, before); };
    EXPECT_EQ(failEachAllocation([&] { SymEigen eigen(A); }, untouched), 3);
    EXPECT_EQ(failEachAllocation([&] { SymEigen eigen(A, false); }, untouched), 3);
    const SymEigen eigen(A);
    EXPECT_EQ(failEachAllocation([&] { eigen.Eigenvalues(); }, untouched), 1);
    EXPECT_EQ(failEachAllocation([&] { eigen.Eigenvectors(); }, untouched), 1);
    EXPECT_EQ(failEachAllocation([&] { eigen.Eigenvector(0); }, untouched), 1);
    EXPECT_EQ(failEachAllocation([&] { eigen.D(); }, untouched), 1);
}

TEST(SymEigenTest, DisposeReleasesAtOnceAndMayBeRepeated)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    SymEigen eigen(identity(4));
    eigen.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    eigen.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    EXPECT_EQ(eigen.Size(), 4);
    EXPECT_TRUE(eigen.Succeeded());
    expectRefusedWhenHardened([&] { eigen.Eigenvalues(); });
    expectRefusedWhenHardened([&] { eigen.Eigenvalue(0); });
    expectRefusedWhenHardened([&] { eigen.Eigenvectors(); });
    expectRefusedWhenHardened([&] { eigen.Eigenvector(0); });
    expectRefusedWhenHardened([&] { eigen.D(); });
}

TEST(SymEigenTest, MovesAndDoesNotCopy)
{
    static_assert(std::is_nothrow_move_constructible_v<SymEigen>);
    static_assert(std::is_nothrow_move_assignable_v<SymEigen>);
    static_assert(!std::is_copy_constructible_v<SymEigen> && !std::is_copy_assignable_v<SymEigen>);
    static_assert(!std::is_convertible_v<Matrix, SymEigen>);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    {
        SymEigen first(Matrix{{2, 0}, {0, 1}});
        SymEigen second(std::move(first));
        EXPECT_EQ(second.Eigenvalue(0), 2.0);
        SymEigen third(Matrix(3, 3));
        third = std::move(second);
        EXPECT_EQ(third.Size(), 2);
        EXPECT_EQ(third.Eigenvalue(0), 2.0);
        EXPECT_TRUE(third.Eigenvectors().has_value());
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(SymEigenTest, ThreadsMayReadOneObjectTogether)
{
    const SymEigen eigen(symmetric(30, Spectrum::Random));
    const Matrix X = eigen.Eigenvectors().value(), D = eigen.D();
    std::vector<int> agreed(4);
    std::vector<std::thread> threads;
    for (int& count : agreed) {
        threads.emplace_back([&] {
            for (int k = 0; k < 50; ++k) {
                count += identical(eigen.Eigenvectors().value(), X) && identical(eigen.D(), D);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(agreed, std::vector<int>(4, 50));
}

} // namespace
} // namespace Velmar::Lintrix::testing
