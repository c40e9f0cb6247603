// What an answer tells beside x: the condition, the signs of the eigenvalues, whether a singular system has
// solutions.

#include <lintrix/lintrix.h>
#include <lintrix/systems/cells.h>

#include "tests/support/failing_allocator.h"
#include "tests/support/files.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <filesystem>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using Complex = std::complex<double>;
using ::testing::HasSubstr;

double drawnFrom(std::mt19937_64& generator, double)
{
    return std::uniform_real_distribution<double>(-1.0, 1.0)(generator);
}
Complex drawnFrom(std::mt19937_64& generator, Complex)
{
    const double real = drawnFrom(generator, 0.0);
    return {real, drawnFrom(generator, 0.0)};
}

template <class Cell>
using SparseOf = std::conditional_t<std::is_same_v<Cell, double>, SparseMatrix, CSparseMatrix>;
template <class Cell>
using DenseOf = std::conditional_t<std::is_same_v<Cell, double>, Matrix, CMatrix>;

/// A few elements a row, rows and columns scaled by powers of ten up to 10^spread.
template <class Cell>
SparseOf<Cell> scattered(std::int32_t n, double spread, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> power(0.0, spread);
    SparseOf<Cell> A(n, n);
    for (std::int32_t i = 0; i < n; ++i) {
        const double scale = std::pow(10.0, power(generator));
        for (int k = 0; k < 4; ++k)
            A(i, static_cast<std::int32_t>(generator() % static_cast<std::uint64_t>(n))) =
                scale * drawnFrom(generator, Cell());
        A(i, i) = scale * (1.5 + drawnFrom(generator, Cell()));
    }
    return A;
}

template <class M>
double oneNormOf(const M& A)
{
    double largest = 0.0;
    for (std::int32_t j = 0; j < A.Cols(); ++j) {
        double sum = 0.0;
        for (std::int32_t i = 0; i < A.Rows(); ++i) sum += std::abs(A.Item(i, j));
        largest = std::max(largest, sum);
    }
    return largest;
}

template <class M>
M blockOf(std::int32_t rows, std::int32_t cols, std::uint64_t seed)
{
    using Cell = std::decay_t<decltype(std::declval<const M&>().Item(0, 0))>;
    std::mt19937_64 generator(seed);
    M block(rows, cols);
    for (std::int32_t j = 0; j < cols; ++j)
        for (std::int32_t i = 0; i < rows; ++i) block(i, j) = drawnFrom(generator, Cell());
    return block;
}

template <class Cell>
void expectConditionsBesideDenseInverses()
{
    int exact = 0;
    constexpr int kTrials = 60;
    for (std::uint64_t seed = 0; seed < kTrials; ++seed) {
        const auto n = static_cast<std::int32_t>(1 + seed % 40);
        const auto A = scattered<Cell>(n, static_cast<double>(seed % 7), seed);
        LinearSystem system(A);
        const auto answer = system.Solve(blockOf<DenseOf<Cell>>(n, 1, seed));
        const double truth = oneNormOf(A.ToDense()) * oneNormOf(A.ToDense().Inverse());
        ASSERT_TRUE(answer.condition) << seed << ": " << answer.reason;
        EXPECT_LE(*answer.condition, truth * (1.0 + 1e-6)) << seed;
        EXPECT_GE(*answer.condition, truth / 4.0) << seed;
        exact += *answer.condition >= 0.99 * truth;
    }
    EXPECT_GE(exact, kTrials * 3 / 4);
}

TEST(SystemCondition, AgreesWithDenseInverses)
{
    expectConditionsBesideDenseInverses<double>();
    expectConditionsBesideDenseInverses<Complex>();
}

TEST(SystemCondition, IsKeptUntilTheValuesChange)
{
    SparseMatrix A = scattered<double>(30, 0.0, 5);
    LinearSystem system(A);
    const Matrix B = blockOf<Matrix>(30, 1, 1);
    const double first = system.Solve(B).condition.value();
    EXPECT_EQ(system.Solve(B, TransposeMode::Transposed).condition.value(), first) << "of A, whatever op";
    A(7, 7) *= 1e6;
    ASSERT_EQ(system.Update(A), SystemChange::Values);
    const double second = system.Solve(B).condition.value();
    const double truth = oneNormOf(A.ToDense()) * oneNormOf(A.ToDense().Inverse());
    EXPECT_GT(second, 100.0 * first);
    EXPECT_LE(second, truth * (1.0 + 1e-6));
    EXPECT_GE(second, truth / 4.0);
}

/// How often a system of this matrix asks for the memory that is left, in its first solve.
int looksAtMemory(const SparseMatrix& A, std::int32_t errorBounds, Verdict expected = Verdict::Accurate)
{
    int looks = 0;
    SystemOptions options;
    options.errorBounds = errorBounds;
    options.memoryLeft = [&looks] {
        ++looks;
        return 1e9;
    };
    LinearSystem system(A, options);
    EXPECT_EQ(system.SolveKnown(blockOf<Matrix>(A.Rows(), 1, 1)).verdict, expected);
    return looks;
}

TEST(SystemInertia, LooksAtNoMemoryWhereTheFactorTellsTheSigns)
{
    SparseMatrix A(50, 50);
    for (std::int32_t i = 0; i < 50; ++i) {
        A(i, i) = 3.0;
        if (i > 0) A(i, i - 1) = A(i - 1, i) = -1.0;
    }
    EXPECT_EQ(looksAtMemory(A, 4), looksAtMemory(A, 0));
}

TEST(SystemCondition, IsToldToPeople)
{
    LinearSystem system(scattered<double>(30, 0.0, 5));
    const auto answer = system.Solve(blockOf<Matrix>(30, 1, 1));
    EXPECT_THAT(answer.Explain(), HasSubstr("The condition number is about "));
}

TEST(SystemCondition, IsNotAskedForWithoutBounds)
{
    SystemOptions options;
    options.errorBounds = 0;
    LinearSystem system(scattered<double>(30, 0.0, 5), options);
    const auto answer = system.Solve(blockOf<Matrix>(30, 1, 1));
    EXPECT_EQ(answer.verdict, Verdict::Accurate);
    EXPECT_FALSE(answer.condition);
    EXPECT_EQ(answer.Explain().find("condition number"), std::string::npos);
}

TEST(SystemCondition, IsNoneOfNumbersThatAreNone)
{
    SparseMatrix A = scattered<double>(30, 0.0, 5);
    A(4, 4) = std::nan("");
    const Matrix B = blockOf<Matrix>(30, 1, 1);
    for (const auto& answer : {LinearSystem(A).Solve(B), LinearSystem(A.ToDense()).Solve(B)}) {
        EXPECT_EQ(answer.verdict, Verdict::Failed);
        EXPECT_FALSE(answer.condition) << *answer.condition;
    }
}

template <class Cell>
void expectConditionsOfDenseSystems()
{
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        SCOPED_TRACE(seed);
        const auto n = static_cast<std::int32_t>(1 + 2 * seed);
        const auto A = scattered<Cell>(n, static_cast<double>(seed % 7), seed).ToDense();
        const double truth = oneNormOf(A) * oneNormOf(A.Inverse());
        LinearSystem system(A);
        const auto B = blockOf<DenseOf<Cell>>(n, 2, seed);
        const auto answer = system.Solve(B);
        ASSERT_TRUE(answer.condition) << answer.reason;
        EXPECT_LE(*answer.condition, truth * (1.0 + 1e-6));
        EXPECT_GE(*answer.condition, truth / 4.0);
        for (const auto op : {TransposeMode::Transposed, TransposeMode::ConjugateTransposed})
            EXPECT_EQ(system.Solve(B, op).condition, answer.condition) << "of A, whatever op";
    }
}

TEST(SystemCondition, IsToldOfDenseSquareMatrices)
{
    expectConditionsOfDenseSystems<double>();
    expectConditionsOfDenseSystems<Complex>();
    SystemOptions options;
    options.errorBounds = 0;
    const Matrix A{{2, 1}, {1, 3}}, B{{1}, {1}}, tall{{2}, {1}};
    EXPECT_FALSE(LinearSystem(A, options).Solve(B).condition);
    EXPECT_FALSE(LinearSystem(tall).Solve(B).condition);
    EXPECT_FALSE(LinearSystem(Matrix{{1, 2}, {2, 4}}).Solve(B).condition) << "singular";
}

/// Symmetric or Hermitian: a sum of a few couplings.
template <class Cell>
SparseOf<Cell> mirrored(std::int32_t n, std::uint64_t seed, const std::vector<double>& diagonal)
{
    std::mt19937_64 generator(seed);
    SparseOf<Cell> A(n, n);
    for (std::int32_t i = 0; i < n; ++i) {
        if (diagonal[static_cast<std::size_t>(i)] != 0.0) A(i, i) = diagonal[static_cast<std::size_t>(i)];
        for (int k = 0; k < 2; ++k) {
            const auto j = static_cast<std::int32_t>(generator() % static_cast<std::uint64_t>(n));
            if (j == i) continue;
            const Cell value = drawnFrom(generator, Cell());
            A(i, j) = value;
            if constexpr (std::is_same_v<Cell, double>)
                A(j, i) = value;
            else
                A(j, i) = std::conj(value);
        }
    }
    return A;
}

Vector eigenvaluesOf(const Matrix& A)
{
    return SymEigen(A, false).Eigenvalues();
}
Vector eigenvaluesOf(const CMatrix& A)
{
    return CSymEigen(A, false).Eigenvalues();
}

/// What the dense eigenvalues leave no doubt about: they are off by a multiple of eps*||A||.
struct Truth {
    int positive = 0, negative = 0, near = 0;
};
template <class M>
Truth truthOf(const M& A)
{
    const double doubt = 100.0 * A.Rows() * 0x1p-53 * oneNormOf(A);
    Truth truth;
    const Vector values = eigenvaluesOf(A);
    for (std::int32_t i = 0; i < values.Length(); ++i)
        ++(values(i) > doubt ? truth.positive : values(i) < -doubt ? truth.negative : truth.near);
    return truth;
}

/// @return  how many signs were uncertain
template <class Cell>
int expectTrueSigns(const SparseOf<Cell>& A)
{
    const std::int32_t n = A.Rows();
    LinearSystem system(A);
    const auto answer = system.Solve(blockOf<DenseOf<Cell>>(n, 1, 3));
    if (!answer.inertia) {
        ADD_FAILURE() << answer.reason;
        return n;
    }
    const Truth truth = truthOf(A.ToDense());
    const CertainInertia& told = *answer.inertia;
    EXPECT_EQ(told.positive + told.negative + told.uncertain, n);
    EXPECT_LE(told.positive, truth.positive + truth.near);
    EXPECT_LE(told.negative, truth.negative + truth.near);
    EXPECT_GE(told.bound, 0.0);
    if (told.uncertain > 0 && std::isfinite(told.bound)) {
        EXPECT_LT(told.bound, 1e-6 * oneNormOf(A.ToDense()));
    }
    return told.uncertain;
}

template <class Cell>
void expectTrueSignsOfAllKinds()
{
    int uncertain = 0, all = 0;
    for (std::uint64_t seed = 0; seed < 60; seed += 3) {
        SCOPED_TRACE(seed);
        const auto n = static_cast<std::int32_t>(2 + seed);
        const auto size = static_cast<std::size_t>(n);
        std::vector<double> definite(size, 9.0), indefinite(size), saddle(size, 0.0);
        for (std::size_t i = 0; i < size; ++i) {
            indefinite[i] = i % 3 == 0 ? -4.0 : 4.0;
            if (i < (2 * size + 2) / 3) saddle[i] = 5.0;
        }
        for (const auto& diagonal : {definite, indefinite}) {
            uncertain += expectTrueSigns<Cell>(mirrored<Cell>(n, seed, diagonal));
            all += n;
        }
        if (seed < 3) continue; // smaller ones are structurally singular too often
        SparseOf<Cell> A = mirrored<Cell>(n, seed, saddle);
        for (std::int32_t i = (2 * n + 2) / 3; i < n; ++i) { // each condition has an unknown of its own
            const std::int32_t own = i - (2 * n + 2) / 3;
            A(i, own) = 2.0;
            A(own, i) = 2.0;
        }
        uncertain += expectTrueSigns<Cell>(A);
        all += n;
    }
    EXPECT_LE(100 * uncertain, all) << "what is well-conditioned is certain";
}

TEST(SystemInertia, AgreesWithDenseEigenvalues)
{
    expectTrueSignsOfAllKinds<double>();
    expectTrueSignsOfAllKinds<Complex>();
}

/// D*A*D, D by powers of ten.
SparseMatrix scaledBothSides(const SparseMatrix& A, double spread, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> power(-spread, spread);
    std::vector<double> d(static_cast<std::size_t>(A.Rows()));
    for (double& x : d) x = std::pow(10.0, power(generator));
    SparseMatrix scaled(A.Rows(), A.Rows());
    ForEachEntry(A, [&](std::int32_t i, std::int32_t j, double value) {
        scaled(i, j) = value * (d[static_cast<std::size_t>(i)] * d[static_cast<std::size_t>(j)]);
    });
    return scaled;
}

// By the law of inertia scaling changes no sign, so that the truth is that of the matrix before.
TEST(SystemInertia, OfBadlyScaledMatricesIsThatOfTheScaledOnes)
{
    int told = 0;
    for (std::uint64_t seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE(seed);
        const auto n = static_cast<std::int32_t>(5 + seed);
        std::vector<double> diagonal(static_cast<std::size_t>(n), 9.0);
        for (std::size_t i = 0; i < diagonal.size(); i += seed % 3 + 2) diagonal[i] = -9.0;
        const SparseMatrix A = mirrored<double>(n, seed, diagonal);
        const Truth truth = truthOf(A.ToDense());
        ASSERT_EQ(truth.near, 0);
        LinearSystem system(scaledBothSides(A, static_cast<double>(seed % 8), seed));
        const auto answer = system.Solve(blockOf<Matrix>(n, 1, 3));
        ASSERT_TRUE(answer.inertia) << answer.reason;
        EXPECT_LE(answer.inertia->positive, truth.positive);
        EXPECT_LE(answer.inertia->negative, truth.negative);
        told += answer.inertia->uncertain == 0;
    }
    EXPECT_GE(told, 40);
}

/// Of rank n - nullity up to 1e-spread: B*B' - C*C' with sparse columns.
TEST(SystemInertia, LeavesNearlyZeroEigenvaluesUncertain)
{
    int uncertain = 0;
    for (std::uint64_t seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE(seed);
        const auto n = static_cast<std::int32_t>(6 + seed % 30);
        std::vector<double> diagonal(static_cast<std::size_t>(n), 6.0);
        for (std::size_t i = 0; i < diagonal.size(); i += 2) diagonal[i] = -6.0;
        SparseMatrix A = mirrored<double>(n, seed, diagonal);
        // The last row becomes the sum of the first two but for a little.
        const double little = std::pow(10.0, -10.0 - static_cast<double>(seed % 10));
        std::vector<double> sum(static_cast<std::size_t>(n));
        for (std::int32_t j = 0; j < n - 1; ++j)
            sum[static_cast<std::size_t>(j)] = A.Item(0, j) + A.Item(1, j);
        double corner = 0.0;
        for (std::int32_t j = 0; j < n - 1; ++j) {
            A(n - 1, j) = sum[static_cast<std::size_t>(j)];
            A(j, n - 1) = sum[static_cast<std::size_t>(j)];
        }
        corner = sum[0] + sum[1];
        A(n - 1, n - 1) = corner + (seed % 2 == 0 ? little : -little);
        uncertain += expectTrueSigns<double>(A);
    }
    EXPECT_GT(uncertain, 0);
    EXPECT_LE(uncertain, 60) << "one eigenvalue each is near zero";
}

TEST(SystemInertia, OfASingularMatrixIsToldWithoutTheNullSpace)
{
    SparseMatrix A(4, 4); // a cycle's Laplacian: 0, 2, 2, 4
    for (std::int32_t i = 0; i < 4; ++i) {
        A(i, i) = 2.0;
        A(i, (i + 1) % 4) = -1.0;
        A((i + 1) % 4, i) = -1.0;
    }
    const auto answer = LinearSystem(A).Solve(blockOf<Matrix>(4, 1, 3));
    ASSERT_TRUE(answer.inertia);
    EXPECT_EQ(answer.inertia->positive, 3);
    EXPECT_EQ(answer.inertia->negative, 0);
    EXPECT_EQ(answer.inertia->uncertain, 1);
    EXPECT_GT(answer.inertia->bound, 0.0);
    EXPECT_LT(answer.inertia->bound, 1e-9);
    EXPECT_THAT(answer.Explain(), HasSubstr("Eigenvalues: 3 positive, 0 negative, 1 of uncertain sign"));
}

SparseMatrix chains(std::int32_t count, std::int32_t length);

/// Chains of springs beside the same of the other sign, each of which has one zero: by the factor at hand,
/// and none is made.
TEST(SystemInertia, OfASingularMatrixIsThatOfItsFactorWithRaisedPivots)
{
    for (const std::int32_t count : {1, 3, 20}) {
        SCOPED_TRACE(count);
        const SparseMatrix one = chains(count, 7);
        const std::int32_t n = one.Rows();
        SparseMatrix A(2 * n, 2 * n);
        ForEachEntry(one, [&](std::int32_t i, std::int32_t j, double value) {
            A(i, j) = value;
            A(n + i, n + j) = -value;
        });
        LinearSystem system(A);
        const auto answer = system.Solve(Matrix(A.ToDense() * blockOf<Matrix>(2 * n, 1, 3)));
        ASSERT_TRUE(answer.inertia);
        EXPECT_EQ(answer.inertia->positive, n - count);
        EXPECT_EQ(answer.inertia->negative, n - count);
        EXPECT_EQ(answer.inertia->uncertain, 2 * count);
        EXPECT_GT(answer.inertia->bound, 0.0);
        EXPECT_LT(answer.inertia->bound, 1e-7);
        EXPECT_EQ(answer.road, "sparse LDL' with delayed pivots");
        EXPECT_EQ(looksAtMemory(A, 4, Verdict::Degraded), looksAtMemory(A, 0, Verdict::Degraded));
    }
}

TEST(SystemInertia, IsThatOfSymmetricMatricesAlone)
{
    EXPECT_FALSE(LinearSystem(scattered<double>(20, 0.0, 1)).Solve(blockOf<Matrix>(20, 1, 1)).inertia);
    SystemOptions options;
    options.errorBounds = 0;
    LinearSystem unasked(mirrored<double>(20, 1, std::vector<double>(20, 9.0)), options);
    EXPECT_FALSE(unasked.Solve(blockOf<Matrix>(20, 1, 1)).inertia);
}

TEST(SystemInertia, FollowsTheValues)
{
    SparseMatrix A = mirrored<double>(20, 1, std::vector<double>(20, 9.0));
    LinearSystem system(A);
    const Matrix B = blockOf<Matrix>(20, 1, 1);
    EXPECT_EQ(system.Solve(B).inertia.value().positive, 20);
    A(4, 4) = -9.0;
    system.Update(A);
    EXPECT_EQ(system.Solve(B).inertia.value().negative, 1);
}

// The engine then iterates with the factor of earlier values, whose pivots tell nothing of these.
TEST(SystemInertia, FollowsTheValuesWhereTheEngineKeepsTheFactorOfEarlierOnes)
{
    for (const auto strategy :
         {FactorizationStrategy::ComputeAlways, FactorizationStrategy::ComputeWhenNeeded}) {
        SystemOptions options;
        options.engine.strategy = strategy;
        std::vector<double> diagonal(40, 9.0);
        for (std::size_t i = 0; i < diagonal.size(); i += 3) diagonal[i] = -9.0;
        LinearSystem system(mirrored<double>(40, 1, diagonal), options);
        const Matrix B = blockOf<Matrix>(40, 1, 1);
        for (std::size_t flipped = 0; flipped < 6; ++flipped) {
            SCOPED_TRACE(flipped);
            const SparseMatrix A = mirrored<double>(40, 1, diagonal);
            system.Update(A);
            const Truth truth = truthOf(A.ToDense());
            const CertainInertia told = system.Solve(B).inertia.value();
            EXPECT_EQ(told.positive, truth.positive);
            EXPECT_EQ(told.negative, truth.negative);
            diagonal[flipped] = -diagonal[flipped];
        }
    }
}

/// While it lives, factors in files stand in a folder for tests.
class FilesInTestFolder {
public:
    FilesInTestFolder() { setenv(kName, (::testing::TempDir() + "judgement_factor").c_str(), 1); }
    ~FilesInTestFolder() { unsetenv(kName); }

private:
    static constexpr const char* kName = "MKL_PARDISO_OOC_PATH";
};

/// An LU, whose pivots tell no signs: others have to be factorized for them.
SystemOptions byLu()
{
    SystemOptions options;
    options.type = MatrixType::Unsymmetric;
    return options;
}

TEST(SystemInertia, IsLeftUncertainWhereTheBudgetHasNoRoomForASecondFactor)
{
    const FilesInTestFolder folder;
    const SparseMatrix A = mirrored<double>(60, 1, std::vector<double>(60, 9.0));
    const Matrix B = blockOf<Matrix>(60, 1, 1);
    SystemOptions options = byLu();
    const auto inertiaWithin = [&](double bytes) -> std::optional<CertainInertia> {
        options.memoryBudget = bytes;
        try {
            return LinearSystem(A, options).Solve(B).inertia;
        } catch (const OperationFailedException&) {
            return std::nullopt; // too small
        }
    };
    double enough = 1e9, less = 0.0;
    EXPECT_EQ(inertiaWithin(enough).value().positive, 60);
    while (enough - less > 16.0) { // down to where the factor alone is in memory
        const double middle = less + (enough - less) / 2.0;
        (inertiaWithin(middle) ? enough : less) = middle;
    }
    EXPECT_EQ(inertiaWithin(enough).value().uncertain, 60) << enough << " bytes";
}

TEST(SystemInertia, IsLeftUncertainWhereMemoryGivesOutAfterTheSolution)
{
    SystemOptions options = byLu();
    bool isSolved = false;
    options.stepDone = [&](std::string_view step) { isSolved = isSolved || step == "solve"; };
    options.memoryLeft = [&] { return isSolved ? 0.0 : 1e9; };
    LinearSystem system(mirrored<double>(60, 1, std::vector<double>(60, 9.0)), options);
    const auto answer = system.Solve(blockOf<Matrix>(60, 1, 1));
    EXPECT_EQ(answer.verdict, Verdict::Accurate);
    EXPECT_EQ(answer.inertia.value().uncertain, 60);
}

TEST(SystemInertia, IsLeftUncertainWhereTheEngineHasNoMemoryForASecondFactor)
{
    SystemOptions options = byLu();
    int checks = 0; // of the solution, of its columns, of the signs
    std::optional<FailingAllocator> memory;
    options.stepDone = [&](std::string_view step) {
        if (step == "check") ++checks;
        if (checks == 2 && !memory) memory.emplace(0);
        if (checks == 3) memory.reset();
    };
    LinearSystem system(mirrored<double>(60, 1, std::vector<double>(60, 9.0)), options);
    const auto answer = system.Solve(blockOf<Matrix>(60, 1, 1));
    EXPECT_EQ(checks, 3);
    EXPECT_EQ(answer.verdict, Verdict::Accurate);
    EXPECT_EQ(answer.inertia.value().uncertain, 60);
}

double largestOf(const Matrix& A)
{
    double largest = 0.0;
    for (std::int32_t j = 0; j < A.Cols(); ++j)
        for (std::int32_t i = 0; i < A.Rows(); ++i) largest = std::max(largest, std::abs(A(i, j)));
    return largest;
}
double largestOf(const CMatrix& A)
{
    double largest = 0.0;
    for (std::int32_t j = 0; j < A.Cols(); ++j)
        for (std::int32_t i = 0; i < A.Rows(); ++i) largest = std::max(largest, std::abs(A(i, j)));
    return largest;
}

Matrix turned(const Matrix& A, TransposeMode op)
{
    return op == TransposeMode::NotTransposed ? A : A.Transpose();
}
CMatrix turned(const CMatrix& A, TransposeMode op)
{
    if (op == TransposeMode::NotTransposed) return A;
    return op == TransposeMode::Transposed ? A.Transpose() : A.Adjoint();
}

Matrix pseudoInverseOf(const Matrix& A)
{
    return A.PseudoInverse();
}
CMatrix pseudoInverseOf(const CMatrix& A)
{
    return CSVD(A).PseudoInverse().value();
}

/// Row `last` becomes the sum of two others: of rank n - 1.
template <class Cell>
SparseOf<Cell> singularBy(std::int32_t n, std::uint64_t seed)
{
    SparseOf<Cell> A = scattered<Cell>(n, 0.0, seed);
    for (std::int32_t j = 0; j < n; ++j) {
        const Cell sum = A.Item(1, j) + A.Item(n / 2, j);
        if (sum != 0.0 || A.Item(n - 1, j) != 0.0) A(n - 1, j) = sum;
    }
    return A;
}

template <class Cell>
void expectManyOrNone()
{
    using M = DenseOf<Cell>;
    constexpr TransposeMode kModes[] = {TransposeMode::NotTransposed, TransposeMode::Transposed,
                                        TransposeMode::ConjugateTransposed};
    for (std::uint64_t seed = 0; seed < 24; ++seed) {
        SCOPED_TRACE(seed);
        const auto n = static_cast<std::int32_t>(6 + seed);
        const TransposeMode op = kModes[seed % 3];
        const SparseOf<Cell> A = singularBy<Cell>(n, seed);
        const M dense = turned(A.ToDense(), op);
        LinearSystem system(A);
        const M inRange = dense * blockOf<M>(n, 2, seed);
        const auto many = system.Solve(inRange, op);
        if (many.reason.find("structurally") != std::string::npos) continue; // one of them is
        ASSERT_EQ(many.solutions, Solutions::Many) << many.reason;
        EXPECT_EQ(many.verdict, Verdict::Degraded);
        EXPECT_EQ(many.reason, "singular: the shortest of many solutions");
        EXPECT_LT(many.residual.value(), 1e-14);
        EXPECT_FALSE(many.probeError);
        EXPECT_THAT(many.Explain(), HasSubstr("x is one of many solutions, the shortest"));
        const M shortest = pseudoInverseOf(dense) * inRange;
        EXPECT_LT(largestOf(*many.x - shortest), 1e-8 * (1.0 + largestOf(shortest)));
        ASSERT_EQ(many.columns.size(), 2U);
        EXPECT_FALSE(many.columns[0].errorBound) << "there is no error to bound";

        const auto none = system.Solve(blockOf<M>(n, 1, seed + 100), op);
        EXPECT_EQ(none.solutions, Solutions::None) << none.reason;
        EXPECT_EQ(none.verdict, Verdict::Failed);
        EXPECT_THAT(none.Explain(), HasSubstr("nothing solves the system"));
        EXPECT_THAT(none.faults.InWords(), HasSubstr("linearly dependent"));
    }
}

TEST(SingularSystem, HasManySolutionsOrNone)
{
    expectManyOrNone<double>();
    expectManyOrNone<Complex>();
}

/// Small integers, and a last row that is the sum of the others: the elimination meets an exact zero.
template <class Cell>
DenseOf<Cell> exactlySingular(std::int32_t n)
{
    DenseOf<Cell> A(n, n);
    for (std::int32_t i = 0; i + 1 < n; ++i) {
        for (std::int32_t j = 0; j < n; ++j) {
            A(i, j) = i == j ? Cell(4.0) : i + 1 == j ? Cell(-2.0) : Cell(0.0);
            A(n - 1, j) = Cell(A(n - 1, j)) + Cell(A(i, j));
        }
    }
    return A;
}

template <class Cell>
void expectDenseToldToBeSingular()
{
    using M = DenseOf<Cell>;
    for (const std::int32_t n : {2, 3, 8, 40}) {
        const M A = exactlySingular<Cell>(n);
        LinearSystem system(A);
        const auto many = system.Solve(A * blockOf<M>(n, 2, 5));
        EXPECT_EQ(many.verdict, Verdict::Failed);
        EXPECT_EQ(many.reason, "singular");
        EXPECT_EQ(many.solutions, Solutions::Many);
        EXPECT_THAT(many.Explain(), HasSubstr("there are many solutions."));
        EXPECT_THAT(many.faults.InWords(), HasSubstr("linearly dependent"));
        EXPECT_FALSE(many.x);

        const auto none = system.Solve(blockOf<M>(n, 1, 100));
        EXPECT_EQ(none.verdict, Verdict::Failed);
        EXPECT_EQ(none.reason, "singular");
        EXPECT_EQ(none.solutions, Solutions::None);
        EXPECT_THAT(none.Explain(), HasSubstr("nothing solves the system"));
    }
}

TEST(SingularSystem, IsToldOfDenseStorageToo)
{
    expectDenseToldToBeSingular<double>();
    expectDenseToldToBeSingular<Complex>();
}

TEST(SingularSystem, OfDenseZerosHasManySolutionsForZerosAlone)
{
    const Matrix zeros(3, 3);
    LinearSystem system(zeros);
    EXPECT_EQ(system.Factorize(), Verdict::Failed);
    EXPECT_NE(system.Solve(Matrix{{1}, {0}, {0}}).verdict, Verdict::Accurate);
    EXPECT_NE(system.Solve(Matrix{{1}, {0}, {0}}).solutions, Solutions::Many);
    EXPECT_NE(system.Solve(Matrix(3, 1)).solutions, Solutions::None);
}

/// Signs by hand: Q*D*Q' with a reflection Q.
template <class Cell>
DenseOf<Cell> reflected(const std::vector<double>& eigenvalues)
{
    const auto n = static_cast<std::int32_t>(eigenvalues.size());
    const DenseOf<Cell> w = blockOf<DenseOf<Cell>>(n, 1, 3);
    double square = 0.0;
    for (std::int32_t i = 0; i < n; ++i) square += std::norm(w(i, 0));
    DenseOf<Cell> A(n, n);
    const auto q = [&](std::int32_t i, std::int32_t k) {
        return Cell(i == k ? 1.0 : 0.0) - 2.0 / square * w(i, 0) * detail::conjugate(Cell(w(k, 0)));
    };
    for (std::int32_t j = 0; j < n; ++j)
        for (std::int32_t i = 0; i <= j; ++i) {
            Cell sum{};
            for (std::int32_t k = 0; k < n; ++k)
                sum += q(i, k) * eigenvalues[static_cast<std::size_t>(k)] * detail::conjugate(q(j, k));
            A(i, j) = i == j ? Cell(std::real(sum)) : sum;
            A(j, i) = detail::conjugate(Cell(A(i, j)));
        }
    return A;
}

template <class Cell>
void expectSignsOfDense()
{
    std::vector<double> eigenvalues(40);
    for (std::size_t k = 0; k < eigenvalues.size(); ++k)
        eigenvalues[k] = (k % 3 == 0 ? -1.0 : 1.0) * (1.0 + static_cast<double>(k));
    DenseOf<Cell> A = reflected<Cell>(eigenvalues);
    const auto answer = LinearSystem(A).Solve(blockOf<DenseOf<Cell>>(40, 1, 1));
    ASSERT_TRUE(answer.inertia);
    EXPECT_EQ(answer.inertia->positive, 26);
    EXPECT_EQ(answer.inertia->negative, 14);
    EXPECT_EQ(answer.inertia->uncertain, 0);
    eigenvalues[4] = 0.0; // none is certain of it
    const auto singular = LinearSystem(reflected<Cell>(eigenvalues)).Solve(blockOf<DenseOf<Cell>>(40, 1, 1));
    ASSERT_TRUE(singular.inertia);
    EXPECT_EQ(singular.inertia->positive, 25);
    EXPECT_EQ(singular.inertia->negative, 14);
    EXPECT_EQ(singular.inertia->uncertain, 1);
    A(0, 1) += 1.0;
    EXPECT_FALSE(LinearSystem(A).Solve(blockOf<DenseOf<Cell>>(40, 1, 1)).inertia) << "not its own adjoint";
    EXPECT_FALSE(
        LinearSystem(A, SystemOptions{.errorBounds = 0}).Solve(blockOf<DenseOf<Cell>>(40, 1, 1)).inertia);
}

TEST(SystemInertia, IsToldOfDenseMatricesAsWell)
{
    expectSignsOfDense<double>();
    expectSignsOfDense<Complex>();
}

TEST(SystemInertia, OfALargeDenseMatrixIsToldWhereItIsAskedFor)
{
    std::vector<double> eigenvalues(420, 1.0);
    eigenvalues[7] = -2.0;
    const Matrix A = reflected<double>(eigenvalues), B = blockOf<Matrix>(420, 1, 1);
    EXPECT_EQ(LinearSystem(A).Solve(B).inertia.value().uncertain, 420);
    SystemOptions options;
    options.certainInertia = true;
    const auto inertia = LinearSystem(A, options).Solve(B).inertia;
    ASSERT_TRUE(inertia);
    EXPECT_EQ(inertia->positive, 419);
    EXPECT_EQ(inertia->negative, 1);
}

TEST(SingularSystem, FaultsAreInTheRowsOfTheMatrixWhateverTheOp)
{
    const SparseMatrix A = singularBy<double>(21, 4); // rows 1, 10 and 20
    for (const TransposeMode op : {TransposeMode::NotTransposed, TransposeMode::Transposed}) {
        const auto answer = LinearSystem(A).Solve(blockOf<Matrix>(21, 1, 9), op);
        EXPECT_THAT(answer.faults.InWords(), HasSubstr("ows 1, 10 and 20"));
        EXPECT_THAT(answer.faults.InWords(1), HasSubstr("ows 2, 11 and 21"));
        EXPECT_THAT(answer.Explain(1), HasSubstr("ows 2, 11 and 21"));
        EXPECT_THAT(answer.Explain(1), HasSubstr("(They are counted from 1.)"));
    }
}

TEST(SingularSystem, AnEmptyRowThatAsksForSomethingHasNoSolution)
{
    SparseMatrix A(3, 3);
    A(0, 0) = A(2, 1) = A(2, 2) = 1.0;
    LinearSystem system(A);
    Matrix B = blockOf<Matrix>(3, 1, 1);
    EXPECT_EQ(system.Solve(B).solutions, Solutions::None);
    B(1, 0) = 0.0;
    EXPECT_EQ(system.Solve(B).solutions, Solutions::Unknown);
    EXPECT_EQ(system.Solve(B).verdict, Verdict::Failed);
    EXPECT_THAT(system.Solve(B).Explain(1), HasSubstr("Row 2 is empty"));
    const SparseMatrix regular = scattered<double>(9, 0.0, 2);
    EXPECT_FALSE(LinearSystem(regular).Solve(blockOf<Matrix>(9, 1, 1)).solutions);
}

/// Chains that hang together by differences alone: each is one direction that is sent to zero.
SparseMatrix chains(std::int32_t count, std::int32_t length)
{
    SparseAssembler A(count * length, count * length);
    for (std::int32_t i = 0; i < count * length; ++i) {
        if (i % length == 0) continue;
        const double spring = 1.0 + 0.1 * (i % 7);
        A.Add(i - 1, i - 1, spring);
        A.Add(i, i, spring);
        A.Add(i - 1, i, -spring);
        A.Add(i, i - 1, -spring);
    }
    return A.Assemble();
}

/// The shortest solution has mean 0 on each chain.
TEST(SingularSystem, WithUpToThirtyTwoDirectionsHasManySolutionsOrNone)
{
    constexpr std::int32_t kLength = 9;
    for (const std::int32_t count : {3, 4, 11, 12, 20, 32}) {
        SCOPED_TRACE(count);
        const SparseMatrix A = chains(count, kLength);
        Matrix shortest(A.Rows(), 1);
        for (std::int32_t i = 0; i < A.Rows(); ++i) shortest(i, 0) = (1.0 + i / kLength) * (i % kLength - 4);
        LinearSystem system(A);
        Matrix B = A.ToDense() * shortest;
        const auto many = system.Solve(B);
        ASSERT_EQ(many.solutions, Solutions::Many) << many.reason;
        EXPECT_EQ(many.verdict, Verdict::Degraded);
        EXPECT_LT(largestOf(*many.x - shortest), 1e-10 * largestOf(shortest));
        B(kLength, 0) += 1.0;
        EXPECT_EQ(system.Solve(B).solutions, Solutions::None);
    }
}

/// Of 200 directions 128 are found: a solution is one all the same.
TEST(SingularSystem, WithMoreDirectionsHasASolutionWhereOneIsSeen)
{
    const SparseMatrix A = chains(200, 9);
    Matrix x(A.Rows(), 1);
    for (std::int32_t i = 0; i < A.Rows(); ++i) x(i, 0) = i % 9;
    LinearSystem system(A);
    Matrix B = A.ToDense() * x;
    const auto many = system.Solve(B);
    EXPECT_EQ(many.solutions, Solutions::Many);
    EXPECT_EQ(many.verdict, Verdict::Degraded);
    EXPECT_EQ(many.reason, "singular: one of many solutions");
    EXPECT_LT(many.residual.value(), 1e-14);
    EXPECT_THAT(many.Explain(), HasSubstr("x is one of many solutions.\n"));
    B(9, 0) += 1.0;
    const auto none = system.Solve(B);
    EXPECT_EQ(none.verdict, Verdict::Failed);
    EXPECT_NE(none.solutions, Solutions::Many);
}

/// All pivots are 1, and the inverse has elements of 2^68: no pivot is replaced.
template <class Cell>
void expectManyByPivotsThatAreLarge()
{
    using M = DenseOf<Cell>;
    constexpr std::int32_t n = 70;
    SparseOf<Cell> A(n, n);
    for (std::int32_t i = 0; i < n; ++i)
        for (std::int32_t j = i; j < n; ++j) A(i, j) = i == j ? 1.0 : -1.0;
    const auto answer = LinearSystem(A).Solve(M(A.ToDense() * blockOf<M>(n, 1, 2)));
    EXPECT_EQ(answer.verdict, Verdict::Degraded) << answer.reason;
    EXPECT_EQ(answer.reason, "singular: the shortest of many solutions");
    EXPECT_EQ(answer.perturbedPivots, 0);
    EXPECT_EQ(answer.solutions, Solutions::Many);
    EXPECT_LT(answer.residual.value(), 1e-14);
    EXPECT_THAT(answer.faults.InWords(), HasSubstr("singular to working precision"));
}

TEST(SingularSystem, MayHaveManySolutionsThoughNoPivotIsReplaced)
{
    expectManyByPivotsThatAreLarge<double>();
    expectManyByPivotsThatAreLarge<Complex>();
}

/// Blocks as above side by side, each of which sends a direction to zero: as no pivot tells of them, a few
/// are found, as long as there is a solution to be seen.
TEST(SingularSystem, IsSearchedNoLongerThanItWasFactorizedWhereNoPivotTellsOfDirections)
{
    constexpr std::int32_t n = 60, blocks = 20;
    SparseMatrix A(n * blocks, n * blocks);
    for (std::int32_t i = 0; i < A.Rows(); ++i)
        for (std::int32_t j = i; j < (i / n + 1) * n; ++j) A(i, j) = i == j ? 1.0 : -1.0;
    Matrix x(A.Rows(), 1);
    for (std::int32_t i = 0; i < A.Rows(); ++i) x(i, 0) = i % 7 - 3;
    const auto answer = LinearSystem(A).Solve(A * x);
    EXPECT_EQ(answer.verdict, Verdict::Degraded) << answer.reason;
    EXPECT_EQ(answer.reason, "singular: one of many solutions");
    EXPECT_EQ(answer.perturbedPivots, 0);
    EXPECT_LT(answer.residual.value(), 1e-14);
    EXPECT_THAT(answer.faults.InWords(), HasSubstr("At least "));
}

/// Three unknowns beside three in units of 2^-27, of which the matrix determines next to no digit: these are
/// as nothing beside the solution, and to the norm of the matrix the equations of the others are as good as
/// none.
TEST(SingularSystem, IsNotToldOfOneThatIsSolvedButForUnknownsInSmallUnits)
{
    constexpr double kUnit = 0x1p27, kLink = 0x1p-10, kHeld = 0x1p-49;
    const double others[3][3] = {{20, -12, -9}, {-12, 14, 12}, {-9, 12, 16}},
                 small[3][3] = {{9, -3, 3}, {-3, 5, -5}, {3, -5, 5}};
    SparseMatrix A(6, 6); // the equations upside down
    for (std::int32_t i = 0; i < 3; ++i) {
        for (std::int32_t j = 0; j < 3; ++j) {
            A(5 - i, j) = others[i][j];
            A(2 - i, 3 + j) = (small[i][j] + (i == j ? kHeld : 0.0)) * kUnit * kUnit;
        }
    }
    A(5, 3) = A(2, 0) = kLink * kUnit;
    const Matrix x = blockOf<Matrix>(6, 1, 1);
    const auto answer = LinearSystem(A).Solve(Matrix(A.ToDense() * x));
    EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
    EXPECT_FALSE(answer.solutions);
    ASSERT_TRUE(answer.x);
    for (std::int32_t i = 0; i < 3; ++i) EXPECT_NEAR((*answer.x)(i, 0), x(i, 0), 1e-6) << answer.road;
}

/// exp(-s*t), in rows that fall to 1e-180: pivots of that size let the solution grow as far, where the
/// residual of any right-hand side is rounding.
TEST(SingularSystem, IsNotToldByASolutionOfSenselessLength)
{
    constexpr std::int32_t n = 80;
    SparseAssembler entries(n, n);
    for (std::int32_t i = 0; i < n; ++i)
        for (std::int32_t j = 0; j < n; ++j)
            if (const double value = std::exp(-0.1 * i * j); value > 1e-180) entries.Add(i, j, value);
    const SparseMatrix A = entries.Assemble();
    const auto answer = LinearSystem(A).Solve(Matrix(A.ToDense() * Matrix(n, 1, 1.0)));
    EXPECT_EQ(answer.verdict, Verdict::Degraded) << answer.reason;
    EXPECT_LT(answer.residual.value_or(1.0), kRoundingLevel);
}

/// Three equations in two unknowns, beside three in four others and these.
template <class Cell>
void expectContradictionsInThePart()
{
    using M = DenseOf<Cell>;
    std::mt19937_64 generator(5);
    SparseOf<Cell> A(6, 6);
    for (std::int32_t i = 0; i < 6; ++i)
        for (std::int32_t j = 0; j < (i < 3 ? 2 : 6); ++j) A(i, j) = drawnFrom(generator, Cell());
    for (const TransposeMode op :
         {TransposeMode::NotTransposed, TransposeMode::Transposed, TransposeMode::ConjugateTransposed}) {
        const SparseOf<Cell> matrix(turned(A.ToDense(), op));
        LinearSystem system(matrix);
        M B = turned(matrix.ToDense(), op) * blockOf<M>(6, 2, 3);
        EXPECT_EQ(system.Solve(B, op).solutions, Solutions::Unknown) << "consistent as far as the part goes";
        B(2, 1) += 1e-3;
        EXPECT_EQ(system.Solve(B, op).solutions, Solutions::None);
    }
}

TEST(SingularSystem, AnOverDeterminedPartThatContradictsItselfHasNoSolution)
{
    expectContradictionsInThePart<double>();
    expectContradictionsInThePart<Complex>();
}

/// Neighbours on a grid, joined by a sign of their own in each direction, in any order, so that many of the
/// pivots cancel that were matched; beside so long a diagonal that LU in dense storage is out of reach.
SparseMatrix signedGridOutOfReach(std::int32_t side, std::uint64_t seed)
{
    constexpr std::int32_t kBeside = 46400;
    const std::int32_t n = side * (side + 1);
    std::mt19937_64 generator(seed);
    std::vector<std::int32_t> rowOf(static_cast<std::size_t>(n));
    std::iota(rowOf.begin(), rowOf.end(), 0);
    std::vector<std::int32_t> colOf = rowOf;
    std::ranges::shuffle(rowOf, generator);
    std::ranges::shuffle(colOf, generator);
    SparseAssembler entries(n + kBeside, n + kBeside);
    const auto join = [&](std::int32_t i, std::int32_t j) {
        for (const auto& [from, to] : {std::pair{i, j}, std::pair{j, i}})
            entries.Add(rowOf[static_cast<std::size_t>(from)], colOf[static_cast<std::size_t>(to)],
                        (generator() & 1) != 0 ? 1.0 : -1.0);
    };
    for (std::int32_t i = 0; i < n; ++i) {
        if (i % side + 1 < side) join(i, i + 1);
        if (i + side < n) join(i, i + side);
    }
    for (std::int32_t i = 0; i < kBeside; ++i) entries.Add(n + i, n + i, 2.0);
    return entries.Assemble();
}

TEST(ReplacedPivots, AreAvoidedByExchangesOfRowsWhereDenseStorageIsOutOfReach)
{
    for (const std::uint64_t seed : {2, 3}) {
        const SparseMatrix A = signedGridOutOfReach(40, seed);
        LinearSystem system(A);
        const auto answer = system.SolveKnown(blockOf<Matrix>(A.Rows(), 1, seed));
        EXPECT_NE(answer.verdict, Verdict::Failed) << answer.reason;
        EXPECT_LT(answer.knownError.value_or(1.0), 1e-6);
        EXPECT_EQ(answer.road, "sparse LU with delayed pivots");
        EXPECT_EQ(answer.perturbedPivots, 0);
    }
}

TEST(ErrorBounds, ThatAreNotAskedForLeaveTheVerdictToResidualAndProbe)
{
    SystemOptions options;
    options.errorBounds = 0;
    const SparseMatrix A = scattered<double>(40, 3.0, 8);
    LinearSystem system(A, options);
    const Matrix known = blockOf<Matrix>(40, 3, 1);
    const auto answer = system.SolveKnown(known);
    EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
    ASSERT_EQ(answer.columns.size(), 3U);
    for (const ColumnQuality& column : answer.columns) {
        EXPECT_FALSE(column.errorBound);
        EXPECT_EQ(column.verdict, Verdict::Accurate);
        EXPECT_LT(column.backwardError, 1e-15);
        EXPECT_LT(column.componentwiseError, 1e-12);
    }
    EXPECT_EQ(answer.Explain().find("error at most"), std::string::npos);
}

TEST(FactorsInFiles, ServeTheClassLikeThoseInMemory)
{
    const FilesInTestFolder folder;
    SystemOptions options;
    options.outOfCore = true;
    SparseMatrix A = scattered<double>(200, 0.0, 8);
    LinearSystem system(A, options);
    const Matrix known = blockOf<Matrix>(200, 2, 1);
    for (const TransposeMode op : {TransposeMode::NotTransposed, TransposeMode::Transposed}) {
        const auto answer = system.SolveKnown(known, op);
        EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
        EXPECT_EQ(answer.store, FactorStore::Files);
        EXPECT_LT(answer.knownError.value_or(1.0), 1e-9);
        ASSERT_EQ(answer.columns.size(), 2U);
        EXPECT_FALSE(answer.columns[0].errorBound) << "each solve would read all of the factor";
        EXPECT_FALSE(answer.condition);
    }
    EXPECT_EQ(system.Factorizations(), 1);
    A(3, 3) *= 2.0;
    EXPECT_EQ(system.Update(A), SystemChange::Values);
    const auto answer = system.SolveKnown(known);
    EXPECT_EQ(answer.store, FactorStore::Files);
    EXPECT_LT(answer.knownError.value_or(1.0), 1e-9);
    EXPECT_EQ(system.Analyses(), 1);
    EXPECT_EQ(system.Factorizations(), 2);
}

TEST(FactorsInFiles, StandInAFolderThatGoesWithTheSystem)
{
    const Scratch scratch;
    setenv("TMPDIR", scratch.at("").c_str(), 1);
    SystemOptions options;
    options.outOfCore = true;
    {
        const SparseMatrix A = scattered<double>(200, 0.0, 8);
        LinearSystem system(A, options);
        EXPECT_TRUE(scratch.names().empty());
        EXPECT_EQ(system.SolveKnown(blockOf<Matrix>(200, 1, 1)).store, FactorStore::Files);
        ASSERT_EQ(scratch.names().size(), 1U);
        EXPECT_TRUE(std::filesystem::exists(scratch.at(scratch.names()[0] + "/factor0.lnz")));
    }
    EXPECT_TRUE(scratch.names().empty());
    setenv("TMPDIR", scratch.at("none").c_str(), 1);
    LinearSystem system(scattered<double>(200, 0.0, 8), options);
    EXPECT_THROW(system.Factorize(), OperationFailedException);
    unsetenv("TMPDIR");
}

TEST(FactorsInFiles, StandWhereTheVariablesSay)
{
    const Scratch scratch;
    const FilesInTestFolder folder;
    setenv("TMPDIR", scratch.at("").c_str(), 1);
    SystemOptions options;
    options.outOfCore = true;
    const SparseMatrix A = scattered<double>(200, 0.0, 8);
    LinearSystem system(A, options);
    EXPECT_EQ(system.SolveKnown(blockOf<Matrix>(200, 1, 1)).store, FactorStore::Files);
    EXPECT_TRUE(scratch.names().empty());
    unsetenv("TMPDIR");
}

} // namespace
} // namespace Velmar::Lintrix::testing
