// Eigenvalues and eigenvectors of general matrices: the class, its driver, and the packed form of its
// vectors.

#include <lintrix/decompositions/eigen.h>

#include <lintrix/decompositions/detail/con_eigen.h>

#include "tests/decompositions/cases.h"

#include <tests/support/poisoned_allocator.h>

#include <climits>
#include <complex>
#include <limits>
#include <thread>
#include <type_traits>

namespace Velmar::Lintrix::testing {
namespace {

constexpr const char* kNotSquare = "Matrix is not square.";
constexpr const char* kIndex = "Row or column index exceeds matrix size.";
constexpr BalanceType kBalances[] = {BalanceType::None, BalanceType::Scale, BalanceType::Permute,
                                     BalanceType::Both};

using Vectors = std::vector<std::vector<Complex>>; // column after column

// What the driver leaves of a matrix, the vectors unpacked.
struct Pairs {
    std::vector<Complex> values;
    Vectors left, right;
};

Pairs pairsOf(const Matrix& A, BalanceType balance = BalanceType::Both)
{
    const int n = A.Rows();
    const auto cells = static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
    std::vector<double> a, wr(static_cast<std::size_t>(n)), wi(wr), scale(wr), vl(cells), vr(cells);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) a.push_back(A(i, j));
    }
    detail::ConEigen(balance, true, true, n, a.data(), wr.data(), wi.data(), vl.data(), vr.data(),
                     scale.data(), 0);
    Pairs pairs;
    for (int j = 0; j < n; ++j) {
        pairs.values.emplace_back(wr[static_cast<std::size_t>(j)], wi[static_cast<std::size_t>(j)]);
        pairs.left.emplace_back(static_cast<std::size_t>(n));
        pairs.right.emplace_back(static_cast<std::size_t>(n));
        detail::unpackEigenvector(vl.data(), wi.data(), n, j, pairs.left.back().data());
        detail::unpackEigenvector(vr.data(), wi.data(), n, j, pairs.right.back().data());
    }
    return pairs;
}

std::vector<Complex> valuesOf(const Eigen& eigen)
{
    std::vector<Complex> values;
    for (int i = 0; i < eigen.Size(); ++i) values.push_back(eigen.Eigenvalue(i));
    return values;
}

// The largest ||A*x - w*x||_1 / (n*||A||_1*eps) over the pairs, the vectors being of norm 1.
double pairRatio(const Matrix& A, const std::vector<Complex>& values, const Vectors& vectors)
{
    double worst = 0.0;
    for (std::size_t k = 0; k < values.size(); ++k) {
        double residual = 0.0;
        for (int i = 0; i < A.Rows(); ++i) {
            Complex sum = -values[k] * vectors[k][static_cast<std::size_t>(i)];
            for (int j = 0; j < A.Cols(); ++j) sum += A(i, j) * vectors[k][static_cast<std::size_t>(j)];
            residual += std::abs(sum);
        }
        EXPECT_FALSE(std::isnan(residual)) << k;
        worst = std::max(worst, residual / (A.Rows() * oneNorm(A) * kEps));
    }
    return worst;
}

Vectors conjugates(Vectors vectors)
{
    for (std::vector<Complex>& vector : vectors) {
        for (Complex& cell : vector) cell = std::conj(cell);
    }
    return vectors;
}

// ---- the driver and its packed vectors

// y'*A = w*y' is A'*conj(y) = w*conj(y).
void expectEigenpairs(const Matrix& A, BalanceType balance)
{
    const Pairs pairs = pairsOf(A, balance);
    EXPECT_LT(pairRatio(A, pairs.values, pairs.right), kResidualLimit);
    EXPECT_LT(pairRatio(naiveTranspose(A), pairs.values, conjugates(pairs.left)), kResidualLimit);
}

TEST(EigenTest, RightAndLeftEigenvectorsFulfilTheirEquations)
{
    forEachMatrix(square, [](const Matrix& A) {
        expectEigenpairs(A, BalanceType::None);
        expectEigenpairs(A, BalanceType::Permute);
    });
}

// Errors are small against the scaled matrix: against A itself as well where its rows are alike in size.
TEST(EigenTest, EigenvectorsOfScaledMatricesFulfilTheirEquations)
{
    const Threads one(1);
    for (const Shape& shape : squareShapes()) {
        for (const Spectrum spectrum :
             {Spectrum::Random, Spectrum::Flat, Spectrum::Geometric, Spectrum::OneTiny}) {
            SCOPED_TRACE(::testing::Message() << shape << ", " << spectrum);
            expectEigenpairs(matrixWith(shape, spectrum, kSeed), BalanceType::Scale);
            expectEigenpairs(matrixWith(shape, spectrum, kSeed), BalanceType::Both);
        }
    }
}

TEST(EigenTest, EigenvectorsHaveNormOne)
{
    const Pairs pairs = pairsOf(matrixWith({65, 65}, Spectrum::Random, kSeed));
    for (const Vectors* vectors : {&pairs.left, &pairs.right}) {
        for (const std::vector<Complex>& vector : *vectors) {
            double square = 0.0;
            for (const Complex& cell : vector) square += std::norm(cell);
            EXPECT_NEAR(square, 1.0, 65 * kResidualLimit * kEps);
        }
    }
}

TEST(EigenTest, RotationHasAConjugatePairOfValuesAndOfVectors)
{
    const Matrix A{{0, -1}, {1, 0}};
    const Pairs pairs = pairsOf(A);
    EXPECT_NEAR(std::abs(pairs.values[0] - Complex(0, 1)), 0.0, 8 * kEps); // positive imaginary part first
    EXPECT_EQ(pairs.values[1], std::conj(pairs.values[0]));
    EXPECT_EQ(pairs.right[1], conjugates(pairs.right)[0]);
    EXPECT_EQ(pairs.left[1], conjugates(pairs.left)[0]);
    EXPECT_NE(pairs.right[0][0].imag() == 0.0, pairs.right[0][1].imag() == 0.0); // along (1, -i)
    EXPECT_EQ(Eigen(A).Eigenvalue(0), pairs.values[0]);
    EXPECT_EQ(Eigen(A).Eigenvalue(1), pairs.values[1]);
}

TEST(EigenTest, PackedFormIsUnpackedByTheSignOfTheImaginaryPart)
{
    const double packed[] = {1, 2, 3, 4, 5, 6, 7, 8, 9}, wi[] = {0.0, 0.5, -0.5};
    std::vector<Complex> x(3);
    detail::unpackEigenvector(packed, wi, 3, 0, x.data());
    EXPECT_EQ(x, (std::vector<Complex>{1, 2, 3}));
    detail::unpackEigenvector(packed, wi, 3, 1, x.data());
    EXPECT_EQ(x, (std::vector<Complex>{{4, 7}, {5, 8}, {6, 9}}));
    detail::unpackEigenvector(packed, wi, 3, 2, x.data());
    EXPECT_EQ(x, (std::vector<Complex>{{4, -7}, {5, -8}, {6, -9}}));
}

TEST(EigenTest, NaNImaginaryPartUnpacksAsThatOfTheSecondOfAPair)
{
    const double packed[] = {1, 2, 3, 4}, wi[] = {0.5, std::numeric_limits<double>::quiet_NaN()};
    std::vector<Complex> x(2);
    detail::unpackEigenvector(packed, wi, 2, 1, x.data());
    EXPECT_EQ(x, (std::vector<Complex>{{1, -3}, {2, -4}}));
}

TEST(EigenTest, RealSpectrumHasNoImaginaryParts)
{
    const Threads one(1);
    for (const int n : {1, 2, 7, 65}) {
        Matrix A = matrixWith({n, n}, Spectrum::Random, kSeed); // triangular: its diagonal is the spectrum
        for (int j = 0; j < n; ++j) {
            for (int i = j; i < n; ++i) A(i, j) = i == j ? j + 1 : 0.0;
        }
        const Pairs pairs = pairsOf(A);
        for (int k = 0; k < n; ++k) {
            EXPECT_EQ(pairs.values[static_cast<std::size_t>(k)].imag(), 0.0);
            for (const Complex& cell : pairs.right[static_cast<std::size_t>(k)]) EXPECT_EQ(cell.imag(), 0.0);
            for (const Complex& cell : pairs.left[static_cast<std::size_t>(k)]) EXPECT_EQ(cell.imag(), 0.0);
        }
    }
}

// ---- eigenvalues

TEST(EigenTest, OrderIsTheRoutinesAndNothingIsSorted)
{
    const Matrix A{{2, 1, 1, 1}, {0, 7, 1, 1}, {0, 0, -3, 1}, {0, 0, 0, 5}};
    for (const BalanceType balance : kBalances) {
        EXPECT_EQ(valuesOf(Eigen(A, true, false, balance)), (std::vector<Complex>{2, 7, -3, 5}));
    }
}

TEST(EigenTest, ClassAnswersWhatItsDriverFound)
{
    const Threads one(1);
    const Matrix A = matrixWith({65, 65}, Spectrum::Random, kSeed);
    for (const BalanceType balance : kBalances) {
        EXPECT_EQ(valuesOf(Eigen(A, true, true, balance)), pairsOf(A, balance).values);
    }
    EXPECT_EQ(valuesOf(Eigen(A)), pairsOf(A, BalanceType::Both).values);
}

TEST(EigenTest, SumOfTheEigenvaluesIsTheTrace)
{
    forEachMatrix(square, [](const Matrix& A) {
        Complex sum = 0.0;
        for (const Complex& value : valuesOf(Eigen(A, false, false, BalanceType::None))) sum += value;
        double trace = 0.0;
        for (int i = 0; i < A.Rows(); ++i) trace += A(i, i);
        EXPECT_LT(std::abs(sum - trace) / (A.Rows() * oneNorm(A) * kEps), kResidualLimit);
    });
}

// Each value of `expected` is answered once, to rounding times the condition of a well-conditioned
// eigenvalue.
void expectSameSpectrum(std::vector<Complex> expected, const std::vector<Complex>& values, double norm)
{
    ASSERT_EQ(expected.size(), values.size());
    for (const Complex& value : values) {
        const auto nearest = std::min_element(expected.begin(), expected.end(), [&](Complex x, Complex y) {
            return std::abs(x - value) < std::abs(y - value);
        });
        EXPECT_LT(std::abs(*nearest - value) / (static_cast<double>(values.size()) * norm * kEps),
                  kResidualLimit);
        expected.erase(nearest);
    }
}

// A cyclic shift of n places has the n-th roots of one, and is orthogonal: each is well conditioned.
TEST(EigenTest, EigenvaluesOfACyclicShiftAreTheRootsOfOne)
{
    const Threads one(1);
    for (const int n : {2, 3, 7, 64}) {
        Matrix A(n, n);
        std::vector<Complex> roots;
        for (int i = 0; i < n; ++i) {
            A((i + 1) % n, i) = 1.0;
            roots.push_back(std::polar(1.0, 2.0 * 3.14159265358979323846 * i / n));
        }
        for (const BalanceType balance : kBalances) {
            expectSameSpectrum(roots, valuesOf(Eigen(A, true, false, balance)), 1.0);
            expectSameSpectrum(roots, valuesOf(Eigen(A, false, true, balance)), 1.0);
        }
    }
}

TEST(EigenTest, UnbalancedAndBalancedEigenvaluesAgree)
{
    const Threads one(1);
    for (const int n : {1, 2, 7, 65}) { // orthogonal, so that every eigenvalue is well conditioned
        const Matrix A = matrixWith({n, n}, Spectrum::Flat, kSeed);
        const std::vector<Complex> both = valuesOf(Eigen(A));
        for (const BalanceType balance : kBalances) {
            expectSameSpectrum(both, valuesOf(Eigen(A, true, false, balance)), 1.0);
        }
        for (const Complex& value : both) EXPECT_NEAR(std::abs(value), 1.0, n * kResidualLimit * kEps);
    }
}

// ---- refusals

TEST(EigenTest, NonSquareInputIsRefusedBeforeAnythingIsAllocated)
{
    for (const Shape& shape : {Shape{1, 2}, Shape{2, 1}, Shape{5, 3}, Shape{3, 5}}) {
        const Matrix A(shape.rows, shape.cols);
        const FailingAllocator allocator(0);
        expectFailure<NotSquareMatrixException>([&] { const Eigen eigen(A); }, kNotSquare);
        expectFailure<NotSquareMatrixException>([&] { const Eigen eigen(A, false, true); }, kNotSquare);
        EXPECT_FALSE(allocator.hasFailed());
    }
}

TEST(EigenTest, BadIndexIsRefusedWhateverWasAskedFor)
{
    const Eigen both(identity(3), true, true), values(identity(3), false);
    for (const int index : {-1, 3, INT_MIN, INT_MAX}) {
        expectFailure<IndexOutOfBoundsException>([&] { both.Eigenvalue(index); }, kIndex);
        expectFailure<IndexOutOfBoundsException>([&] { values.Eigenvalue(index); }, kIndex);
    }
    EXPECT_EQ(values.Eigenvalue(2), Complex(1.0));
}

// ---- not finite

TEST(EigenTest, MatrixThatIsNotFiniteHasEigenvaluesOfNaNAndSucceeds)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const PoisonedAllocator poison(0x3f);
    for (const int n : {1, 2, 3, 5, 8, 65}) {
        for (const double value : {std::numeric_limits<double>::quiet_NaN(), infinity, -infinity}) {
            for (const int place : {0, n - 1, n * n / 2, n * n - 1}) {
                Matrix A = matrixWith({n, n}, Spectrum::Random, kSeed);
                A(place % n, place / n) = value;
                const Eigen eigen(A, true, true);
                EXPECT_TRUE(eigen.Succeeded());
                for (const Complex& w : valuesOf(eigen)) {
                    EXPECT_TRUE(std::isnan(w.real()));
                    EXPECT_EQ(w.imag(), 0.0);
                }
                for (const std::vector<Complex>& x : pairsOf(A).right) {
                    for (const Complex& cell : x) EXPECT_TRUE(std::isnan(cell.real()));
                }
            }
        }
    }
}

// ---- life

TEST(EigenTest, InputIsNotWritten)
{
    const Matrix A = matrixWith({65, 65}, Spectrum::Random, kSeed), before(A);
    const Eigen eigen(A, true, true);
    EXPECT_TRUE(identical(A, before));
}

TEST(EigenTest, ConstructorKeepsWhatWasAskedForAndGivesTheWorkSpaceBack)
{
    const Matrix A = matrixWith({6, 6}, Spectrum::Random, kSeed);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    const auto kept = [&](const Eigen&) { return TrellConfiguration::TotalMemory() - before; };
    EXPECT_EQ(kept(Eigen(A, false)), 8 * (36 + 3 * 6));
    EXPECT_EQ(kept(Eigen(A)), 8 * (2 * 36 + 3 * 6));
    EXPECT_EQ(kept(Eigen(A, true)), 8 * (2 * 36 + 3 * 6));
    EXPECT_EQ(kept(Eigen(A, true, true)), 8 * (3 * 36 + 3 * 6));
    EXPECT_EQ(kept(Eigen(A, false, true, BalanceType::None)), 8 * (2 * 36 + 3 * 6));
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(EigenTest, EveryRefusedBlockIsAFailureThatLeaksNothing)
{
    const Matrix A = matrixWith({6, 6}, Spectrum::Random, kSeed), before(A);
    const auto untouched = [&] { return identical(A, before); };
    EXPECT_EQ(failEachAllocation([&] { Eigen eigen(A, false); }, untouched),
              8); // a, wr, wi, scale; four to work
    EXPECT_EQ(failEachAllocation([&] { Eigen eigen(A); }, untouched), 9);
    EXPECT_EQ(failEachAllocation([&] { Eigen eigen(A, true, true); }, untouched), 10);
}

TEST(EigenTest, DisposeReleasesAtOnceAndMayBeRepeated)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    Eigen eigen(identity(4), true, true);
    eigen.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    eigen.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    EXPECT_EQ(eigen.Size(), 4);
    EXPECT_TRUE(eigen.Succeeded());
    expectRefusedWhenHardened([&] { eigen.Eigenvalue(0); });
}

TEST(EigenTest, MovesAndDoesNotCopy)
{
    static_assert(std::is_nothrow_move_constructible_v<Eigen> && std::is_nothrow_move_assignable_v<Eigen>);
    static_assert(!std::is_copy_constructible_v<Eigen> && !std::is_copy_assignable_v<Eigen>);
    static_assert(!std::is_convertible_v<Matrix, Eigen>);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    {
        Eigen first(Matrix{{2, 0}, {0, 1}});
        Eigen second(std::move(first));
        Eigen third(Matrix(3, 3));
        third = std::move(second);
        EXPECT_EQ(third.Size(), 2);
        EXPECT_EQ(third.Eigenvalue(0), Complex(2.0));
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(EigenTest, ThreadsMayReadOneObjectTogether)
{
    const Eigen eigen(matrixWith({30, 30}, Spectrum::Random, kSeed));
    const std::vector<Complex> values = valuesOf(eigen);
    std::vector<int> agreed(4);
    std::vector<std::thread> threads;
    for (int& count : agreed) {
        threads.emplace_back([&] {
            for (int k = 0; k < 50; ++k) count += valuesOf(eigen) == values;
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(agreed, std::vector<int>(4, 50));
}

} // namespace
} // namespace Velmar::Lintrix::testing
