// A system from its matrix to answers that say how good they are.

#include <lintrix/lintrix.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <complex>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using Complex = std::complex<double>;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr TransposeMode kPlain = TransposeMode::NotTransposed, kTransposed = TransposeMode::Transposed,
                        kAdjoint = TransposeMode::ConjugateTransposed;

enum class Kind { Positive, Mirrored, SymmetricValues, Pattern, General };

template <class Cell>
Cell drawn(std::mt19937_64& generator)
{
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    if constexpr (std::is_same_v<Cell, double>)
        return uniform(generator);
    else
        return {uniform(generator), uniform(generator)};
}

double conjugate(double value)
{
    return value;
}
Complex conjugate(Complex value)
{
    return std::conj(value);
}

/// A band of couplings, two to each side, with a diagonal that makes it regular.
template <class Cell>
auto bandOf(Kind kind, std::int32_t n, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::conditional_t<std::is_same_v<Cell, double>, SparseMatrix, CSparseMatrix> A(n, n);
    for (std::int32_t i = 0; i < n; ++i) {
        for (const std::int32_t j : {i + 1, i + 3}) {
            if (j >= n) continue;
            const Cell value = drawn<Cell>(generator);
            const bool upperOnly = kind == Kind::General && j == i + 3;
            A(i, j) = value;
            if (kind == Kind::Positive || kind == Kind::Mirrored) A(j, i) = conjugate(value);
            if (kind == Kind::SymmetricValues) A(j, i) = value;
            if ((kind == Kind::Pattern || kind == Kind::General) && !upperOnly)
                A(j, i) = drawn<Cell>(generator);
        }
        const double sign = kind == Kind::Positive || i % 3 != 0 ? 1.0 : -1.0;
        A(i, i) = Cell(6.0 * sign);
        if (kind == Kind::SymmetricValues) A(i, i) = Cell(6.0 * sign) * drawn<Cell>(generator) + Cell(5.0);
    }
    return A;
}

template <class M>
M blockOf(std::int32_t rows, std::int32_t cols, std::uint64_t seed)
{
    using Cell = std::decay_t<decltype(std::declval<const M&>()(0, 0))>;
    std::mt19937_64 generator(seed);
    M block(rows, cols);
    for (std::int32_t j = 0; j < cols; ++j)
        for (std::int32_t i = 0; i < rows; ++i) block(i, j) = drawn<Cell>(generator);
    return block;
}

template <class M>
double largestOf(const M& A)
{
    double largest = 0.0;
    for (std::int32_t j = 0; j < A.Cols(); ++j)
        for (std::int32_t i = 0; i < A.Rows(); ++i) largest = std::max(largest, std::abs(A(i, j)));
    return largest;
}

Matrix turned(const Matrix& A, TransposeMode op)
{
    return op == kPlain ? A : A.Transpose();
}
CMatrix turned(const CMatrix& A, TransposeMode op)
{
    return op == kPlain ? A : op == kTransposed ? A.Transpose() : A.Adjoint();
}

/// X solves op(A)*X = B, by the dense product of the library.
template <class Sparse, class M>
void expectSolves(const Sparse& A, const M& X, const M& B, TransposeMode op)
{
    const M R = turned(A.ToDense(), op) * X - B;
    EXPECT_LT(largestOf(R), 1e-12 * (10.0 * largestOf(X) + largestOf(B)));
}

template <class Cell>
void expectAllWays(Kind kind)
{
    const auto A = bandOf<Cell>(kind, 61, 11);
    LinearSystem system(A);
    using M = std::decay_t<decltype(A.ToDense())>;
    for (const TransposeMode op : {kPlain, kTransposed, kAdjoint}) {
        for (const std::int32_t columns : {1, 3}) {
            SCOPED_TRACE(static_cast<int>(op));
            const M B = blockOf<M>(61, columns, 5);
            const auto answer = system.Solve(B, op);
            EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
            ASSERT_TRUE(answer.x);
            EXPECT_EQ(answer.x->Cols(), columns);
            expectSolves(A, *answer.x, B, op);
        }
    }
    EXPECT_EQ(system.Factorizations(), 1) << "one factor serves them all";
}

TEST(LinearSystem, SolvesPlainTransposedAndAdjointWithOneFactor)
{
    for (const Kind kind : {Kind::Positive, Kind::Mirrored, Kind::Pattern, Kind::General}) {
        SCOPED_TRACE(static_cast<int>(kind));
        expectAllWays<double>(kind);
        expectAllWays<Complex>(kind);
    }
    expectAllWays<Complex>(Kind::SymmetricValues);
}

TEST(LinearSystem, SolvesWithATriangleThatStandsForBoth)
{
    const SparseMatrix full = bandOf<double>(Kind::Mirrored, 40, 3);
    SparseAssembler entries(40, 40, {.storage = AssemblyStorage::Symmetric});
    ForEachEntry(full, [&entries](std::int32_t row, std::int32_t col, double value) {
        if (row <= col) entries.Add(row, col, value);
    });
    const Matrix B = blockOf<Matrix>(40, 2, 7);
    for (const TransposeMode op : {kPlain, kTransposed}) {
        LinearSystem system(entries.Assemble());
        expectSolves(full, system.Solve(B, op).x.value(), B, op);
    }
}

TEST(LinearSystem, TheValuesSuggestTheRoad)
{
    const auto roadOf = [](const auto& A) {
        LinearSystem system(A);
        system.Factorize();
        return std::string(
            system.SolveKnown(blockOf<std::decay_t<decltype(A.ToDense())>>(A.Rows(), 1, 1)).road);
    };
    EXPECT_EQ(roadOf(bandOf<double>(Kind::Positive, 30, 1)), "sparse Cholesky");
    EXPECT_EQ(roadOf(bandOf<double>(Kind::Mirrored, 30, 1)), "sparse LDL'");
    EXPECT_EQ(roadOf(bandOf<double>(Kind::Pattern, 30, 1)), "sparse LU with partial pivoting");
    EXPECT_EQ(roadOf(bandOf<double>(Kind::General, 30, 1)), "sparse LU with partial pivoting");
    EXPECT_EQ(roadOf(bandOf<Complex>(Kind::Mirrored, 30, 1)), "sparse LDL^H");
}

TEST(LinearSystem, PhasesDoWhatIsMissing)
{
    const SparseMatrix A = bandOf<double>(Kind::General, 80, 2);
    LinearSystem system(A);
    EXPECT_EQ(system.Analyses(), 0);
    const SystemForecast forecast = system.Forecast();
    EXPECT_GT(forecast.factorEntries, 80);
    EXPECT_GT(forecast.operations, 0.0);
    EXPECT_GT(forecast.bytesInMemory, 0.0);
    EXPECT_EQ(system.Analyses(), 1);
    EXPECT_EQ(system.Factorizations(), 0);
    EXPECT_EQ(system.Factorize(), Verdict::Accurate);
    EXPECT_EQ(system.Analyses(), 1) << "the forecast's";
    EXPECT_EQ(system.Factorizations(), 1);
    for (std::uint64_t seed = 0; seed < 3; ++seed) {
        const Matrix B = blockOf<Matrix>(80, 1, seed);
        expectSolves(A, system.Solve(B).x.value(), B, kPlain);
    }
    EXPECT_EQ(system.Analyses(), 1);
    EXPECT_EQ(system.Factorizations(), 1);
}

TEST(LinearSystem, AVectorIsARightHandSide)
{
    const SparseMatrix A = bandOf<double>(Kind::Positive, 20, 2);
    const Matrix B = blockOf<Matrix>(20, 1, 9);
    Vector b(20);
    for (std::int32_t i = 0; i < 20; ++i) b[i] = B(i, 0);
    LinearSystem system(A);
    const Matrix byVector = system.Solve(b).x.value(), byMatrix = system.Solve(B).x.value();
    EXPECT_EQ(largestOf(byVector - byMatrix), 0.0);
}

TEST(LinearSystem, AKnownSolutionComesBack)
{
    LinearSystem system(bandOf<Complex>(Kind::General, 50, 4));
    const CMatrix known = blockOf<CMatrix>(50, 2, 3);
    for (const TransposeMode op : {kPlain, kAdjoint}) {
        const auto answer = system.SolveKnown(known, op);
        EXPECT_EQ(answer.verdict, Verdict::Accurate);
        EXPECT_LT(largestOf(*answer.x - known), 1e-13);
        EXPECT_LT(answer.knownError.value(), 1e-13);
        EXPECT_LT(answer.probeError.value(), 1e-13);
    }
}

TEST(LinearSystem, OfAMatrixThatHasChangedNoMoreIsRepeatedThanMustBe)
{
    SparseMatrix A = bandOf<double>(Kind::General, 60, 4);
    const Matrix B = blockOf<Matrix>(60, 2, 1);
    LinearSystem system(A);
    system.Factorize();
    EXPECT_EQ(system.Update(A), SystemChange::None);
    expectSolves(A, system.Solve(B).x.value(), B, kPlain);
    EXPECT_EQ(system.Factorizations(), 1);

    A(3, 3) = 9.0;
    EXPECT_EQ(system.Update(A), SystemChange::Values);
    expectSolves(A, system.Solve(B).x.value(), B, kPlain);
    EXPECT_EQ(system.Analyses(), 1);
    EXPECT_EQ(system.Factorizations(), 2);

    A(0, 50) = 1.0;
    EXPECT_EQ(system.Update(A), SystemChange::Pattern);
    expectSolves(A, system.Solve(B).x.value(), B, kPlain);
    EXPECT_EQ(system.Analyses(), 2);
    EXPECT_EQ(system.Factorizations(), 3);

    const SparseMatrix other = bandOf<double>(Kind::Positive, 25, 4);
    EXPECT_EQ(system.Update(other), SystemChange::Pattern);
    EXPECT_EQ(system.Rows(), 25);
    const Matrix shorter = blockOf<Matrix>(25, 1, 1);
    expectSolves(other, system.Solve(shorter).x.value(), shorter, kPlain);
}

/// Convection and diffusion on a cube, with coefficients between 1 and 1 + spread.
SparseMatrix cubeOf(std::int32_t side, double spread, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> coefficient(1.0, 1.0 + spread);
    const std::int32_t n = side * side * side;
    SparseMatrix A(n, n);
    for (std::int32_t i = 0; i < n; ++i) {
        A(i, i) = 6.5 * (1.0 + spread);
        for (const std::int32_t step : {1, side, side * side}) {
            const bool isEdge = i / step % side + 1 == side;
            if (isEdge) continue;
            A(i, i + step) = -0.8 * coefficient(generator);
            A(i + step, i) = -1.2 * coefficient(generator);
        }
    }
    return A;
}

TEST(LinearSystem, TheFactorOfEarlierValuesPreconditionsWhereThatIsAskedForAndPays)
{
    const std::int32_t n = 16 * 16 * 16;
    const Matrix known = blockOf<Matrix>(n, 1, 1);
    LinearSystem system(cubeOf(16, 0.0, 1), {.reuseFactor = true});
    system.Factorize();
    for (const TransposeMode op : {kPlain, kTransposed}) {
        ASSERT_EQ(system.Update(cubeOf(16, 1e-9, op == kPlain ? 2 : 3)), SystemChange::Values);
        for (int solve = 0; solve < 2; ++solve) {
            const auto answer = system.SolveKnown(known, op);
            EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
            EXPECT_LT(answer.knownError.value(), 1e-12);
            EXPECT_TRUE(answer.reusedFactor);
            EXPECT_GT(answer.krylovSteps, 0);
            EXPECT_FALSE(answer.columns.at(0).errorBound) << "the factor tells nothing of these values";
            EXPECT_THAT(answer.Explain(), HasSubstr("factor of earlier values"));
        }
    }
    EXPECT_EQ(system.Factorizations(), 1);

    ASSERT_EQ(system.Update(cubeOf(16, 3.0, 4)), SystemChange::Values);
    const auto answer = system.SolveKnown(known);
    EXPECT_EQ(answer.verdict, Verdict::Accurate) << "by a factor of its own";
    EXPECT_FALSE(answer.reusedFactor);
    EXPECT_TRUE(answer.columns.at(0).errorBound);
    EXPECT_EQ(system.Factorizations(), 2);
    EXPECT_EQ(system.Analyses(), 1);
}

TEST(LinearSystem, AFactorIsMadeAnewWhereThatCostsLessThanToReuseIt)
{
    LinearSystem system(bandOf<double>(Kind::General, 60, 4), {.reuseFactor = true});
    system.Factorize();
    SparseMatrix A = bandOf<double>(Kind::General, 60, 4);
    A(3, 3) *= 1.0 + 1e-6;
    ASSERT_EQ(system.Update(A), SystemChange::Values);
    EXPECT_FALSE(system.SolveKnown(blockOf<Matrix>(60, 1, 1)).reusedFactor);
    EXPECT_EQ(system.Factorizations(), 2);
}

// The old factor's order and scaling may not suit the new values.
TEST(LinearSystem, ValuesThatChangeByOrdersOfMagnitudeAreSolvedAccurately)
{
    std::mt19937_64 generator(8);
    std::uniform_real_distribution<double> exponent(-8.0, 8.0);
    SparseMatrix A = bandOf<double>(Kind::General, 70, 5);
    LinearSystem system(A);
    for (int round = 0; round < 20; ++round) {
        for (std::int32_t i = 0; i < 70; ++i) {
            const double scale = std::pow(10.0, exponent(generator));
            const double factor = scale / std::abs(A.Item(i, i));
            for (std::int32_t j = std::max(0, i - 3); j < std::min(70, i + 4); ++j)
                if (A.Item(i, j) != 0.0) A(i, j) *= factor;
        }
        system.Update(A);
        const auto answer = system.SolveKnown(blockOf<Matrix>(70, 1, 2));
        EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
        EXPECT_LT(answer.knownError.value_or(1.0), 1e-9);
    }
}

/// Two sets of values of one pattern: the large elements of the first are on the diagonal, those of the
/// second in a permutation, in units of its own.
struct TwoMatchings {
    explicit TwoMatchings(std::uint64_t seed) : generator(seed)
    {
        const auto n = static_cast<std::int32_t>(40 + generator() % 120);
        const double diagonal = std::pow(10.0, -3.0 - 4.0 * drawn()), others = diagonal * 10.0;
        std::vector<std::int32_t> partner(static_cast<std::size_t>(n));
        std::iota(partner.begin(), partner.end(), 0);
        for (std::int32_t i = n - 1; i > 0; --i) std::swap(partner[i], partner[generator() % (i + 1)]);
        std::vector<double> units(static_cast<std::size_t>(n));
        for (double& unit : units) unit = std::pow(10.0, 4.0 * (2.0 * drawn() - 1.0));
        SparseAssembler first(n, n), second(n, n);
        const auto add = [&](std::int32_t i, std::int32_t j, double before, double after) {
            first.Add(i, j, before);
            second.Add(i, j, after * units[i]);
        };
        for (std::int32_t i = 0; i < n; ++i) {
            for (int k = 0; k < 4; ++k) {
                const double value = 2.0 * drawn() - 1.0;
                add(i, static_cast<std::int32_t>(generator() % n), value, others * value);
            }
            add(i, i, 2.0 + drawn(), diagonal * (1.0 + drawn()));
            add(i, partner[i], 1e-3 * drawn(), 0.5 + drawn());
        }
        A = first.Assemble();
        C = second.Assemble();
    }

    double drawn() { return static_cast<double>(generator() >> 11) * 0x1p-53; }

    std::mt19937_64 generator;
    SparseMatrix A, C;
};

// The factor by the matching of earlier values may lose all that its solutions are judged by.
TEST(LinearSystem, ValuesThatAnEarlierMatchingDoesNotSuitAreMatchedAnewOnce)
{
    int matchedAnew = 0;
    for (std::uint64_t seed = 0; seed < 300; ++seed) {
        SCOPED_TRACE(seed);
        const TwoMatchings two(seed);
        const SystemOptions options{.ordering = FillInReducingMethod::MinimumDegree};
        LinearSystem system(two.A, options);
        system.Factorize();
        ASSERT_EQ(system.Update(two.C), SystemChange::Values);
        const Matrix b = blockOf<Matrix>(two.C.Rows(), 1, seed);
        const auto answer = system.Solve(b);
        EXPECT_EQ(answer.verdict, LinearSystem(two.C, options).Solve(b).verdict) << answer.reason;
        const std::int32_t analyses = system.Analyses();
        EXPECT_LE(analyses, 2);
        if (answer.tried.empty() || answer.tried.back().find("of earlier values") == std::string::npos)
            continue;
        ++matchedAnew;
        EXPECT_EQ(analyses, 2) << "counted";
        EXPECT_EQ(system.Solve(b).verdict, answer.verdict);
        EXPECT_EQ(system.Analyses(), 2);
    }
    EXPECT_GE(matchedAnew, 1);
}

TEST(LinearSystem, SizesAreChecked)
{
    LinearSystem system(bandOf<double>(Kind::Positive, 20, 2));
    EXPECT_THROW(system.Solve(Matrix(19, 1)), SizeMismatchException);
    EXPECT_THROW(system.Solve(Vector(21)), SizeMismatchException);
    EXPECT_THROW(system.SolveKnown(Matrix(21, 1)), SizeMismatchException);
    EXPECT_THROW(system.Update(SparseMatrix(2, 3)), NotSquareMatrixException);
    EXPECT_EQ(system.Rows(), 20) << "the matrix before stands";
    EXPECT_EQ(system.Factorize(), Verdict::Accurate);
}

TEST(LinearSystem, ATypeThatTheValuesContradictIsRefused)
{
    const SparseMatrix A = bandOf<double>(Kind::General, 20, 2);
    EXPECT_THROW(LinearSystem(A, {.type = MatrixType::Indefinite}), ArgumentException);
    LinearSystem system(bandOf<double>(Kind::Mirrored, 20, 2), {.type = MatrixType::Indefinite});
    EXPECT_THROW(system.Update(A), ArgumentException);
    EXPECT_EQ(system.Factorize(), Verdict::Accurate);
}

TEST(LinearSystem, SingularMatricesAreTold)
{
    SparseMatrix structural(3, 3);
    structural(0, 0) = structural(1, 0) = structural(2, 2) = 1.0;
    LinearSystem first(structural);
    const auto answer = first.Solve(Matrix(3, 1));
    EXPECT_EQ(answer.verdict, Verdict::Failed);
    EXPECT_FALSE(answer.x);
    EXPECT_EQ(answer.reason, "structurally singular: 2 of 3 rows matched");
    EXPECT_THAT(answer.Explain(), HasSubstr("There is no good solution: structurally singular"));
    EXPECT_THAT(answer.faults.InWords(), HasSubstr("structural rank is 2 of 3"));
    EXPECT_THAT(answer.faults.InWords(), ::testing::ContainsRegex("[Rr]ows 0 and 1"));
    EXPECT_THAT(answer.faults.InWords(), ::testing::ContainsRegex("[Cc]olumn 1 is empty"));
    EXPECT_EQ(first.Forecast().factorEntries, 0);

    SparseMatrix numerical(2, 2);
    numerical(0, 0) = 1.0;
    numerical(0, 1) = 2.0;
    numerical(1, 0) = 3.0;
    numerical(1, 1) = 6.0;
    LinearSystem second(numerical);
    EXPECT_EQ(second.Factorize(), Verdict::Failed);
    const auto dependent = second.SolveKnown(blockOf<Matrix>(2, 1, 1));
    EXPECT_THAT(dependent.reason, HasSubstr("singular"));
    EXPECT_THAT(dependent.faults.InWords(), HasSubstr("singular to working precision"));

    numerical(1, 1) = 7.0; // and regular again
    second.Update(numerical);
    EXPECT_EQ(second.SolveKnown(blockOf<Matrix>(2, 1, 1)).verdict, Verdict::Accurate);
}

/// Whole numbers, of which a row is the sum of two others, columns in units far apart; b = A^H*z is exact.
template <class Cell>
void expectNoAccurateSolutionOfSingularOnes()
{
    constexpr int kTrials = 400;
    std::mt19937_64 generator(346274);
    const auto whole = [&generator](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(generator);
    };
    for (int trial = 0; trial < kTrials; ++trial) {
        const std::int32_t n = whole(10, 70);
        std::vector<double> unit;
        for (std::int32_t j = 0; j < n; ++j) unit.push_back(std::ldexp(1.0, whole(-40, 40)));
        detail::SparseOf<Cell> A(n, n);
        for (std::int32_t i = 0; i < n; ++i) {
            A(i, i) = Cell(whole(1, 9) * unit[i]);
            for (int k = 0; k < 2; ++k) {
                const std::int32_t j = whole(0, n - 1);
                A(i, j) = Cell(whole(1, 9) * unit[j]);
            }
        }
        const std::int32_t sum = whole(0, n - 1), one = (sum + 1) % n, other = (sum + 2) % n;
        for (std::int32_t j = 0; j < n; ++j) A(sum, j) = A.Item(one, j) + A.Item(other, j);
        detail::MatrixOf<Cell> z(n, 1), b(n, 1);
        for (std::int32_t i = 0; i < n; ++i) z(i, 0) = Cell(whole(-9, 9));
        for (std::int32_t j = 0; j < n; ++j) {
            Cell sumOfColumn{};
            for (std::int32_t i = 0; i < n; ++i) sumOfColumn += conjugate(A.Item(i, j)) * z.Item(i, 0);
            b(j, 0) = sumOfColumn;
        }
        EXPECT_NE(LinearSystem(A).Solve(b, kAdjoint).verdict, Verdict::Accurate) << trial;
    }
}

TEST(LinearSystem, ASingularMatrixIsNeverSolvedAccurately)
{
    expectNoAccurateSolutionOfSingularOnes<double>();
    expectNoAccurateSolutionOfSingularOnes<Complex>();
}

TEST(LinearSystem, DependentRowsAndColumnsAreNamed)
{
    SparseMatrix A = bandOf<double>(Kind::General, 60, 9);
    for (std::int32_t j = 0; j < 60; ++j) { // row 20 becomes the sum of rows 7 and 41
        const double sum = A.Item(7, j) + A.Item(41, j);
        if (sum != 0.0 || A.Item(20, j) != 0.0) A(20, j) = sum;
    }
    const auto answer = LinearSystem(A).Solve(blockOf<Matrix>(60, 1, 1));
    EXPECT_EQ(answer.verdict, Verdict::Failed);
    EXPECT_THAT(answer.faults.InWords(), HasSubstr("ows 7, 20 and 41")) << answer.faults.InWords();
    EXPECT_THAT(answer.Explain(), HasSubstr(answer.faults.InWords()));
}

/// Whichever element it is, and whatever takes part in it.
template <class Block>
void expectRefusalOfNoNumbers(const Block& finite, double bad)
{
    for (std::int32_t i = 0; i < finite.Rows(); ++i)
        for (std::int32_t j = 0; j < finite.Cols(); ++j) {
            Block A(finite);
            A(i, j) = bad;
            LinearSystem system(A);
            for (const TransposeMode op : {kPlain, kTransposed, kAdjoint, kPlain}) {
                const auto answer = system.Solve(Vector(op == kPlain ? A.Rows() : A.Cols(), 1.0), op);
                EXPECT_EQ(answer.verdict, Verdict::Failed);
                EXPECT_EQ(answer.reason, "the matrix is not finite");
                EXPECT_EQ(answer.complaint, "there is no good solution: the matrix is not finite");
                EXPECT_FALSE(answer.x);
                EXPECT_FALSE(answer.inertia);
                EXPECT_EQ(answer.faults.InWords(1), "The element in row " + std::to_string(i + 1) +
                                                        ", column " + std::to_string(j + 1) +
                                                        " is not a finite number.");
                EXPECT_THAT(answer.Explain(), HasSubstr("Advice: look for where it comes from: a division by "
                                                        "zero, an overflow, a value never set.\n"));
            }
            EXPECT_EQ(system.Factorize(), Verdict::Failed);
        }
}

TEST(LinearSystem, AMatrixThatIsNotFiniteIsToldByItsElement)
{
    for (const double bad :
         {std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::infinity()}) {
        for (const auto& [rows, cols] : {std::pair{5, 5}, {6, 4}, {3, 5}}) {
            SparseMatrix A(rows, cols);
            for (std::int32_t i = 0; i < rows; ++i)
                for (std::int32_t j = 0; j < cols; ++j) A(i, j) = i == j ? 4.0 : 1.0 / (1 + i + 2 * j);
            expectRefusalOfNoNumbers(A, bad);
            expectRefusalOfNoNumbers(A.ToDense(), bad);
        }
    }
}

TEST(LinearSystem, AnUpdateBringsNumbersAndTakesThemAway)
{
    SparseMatrix A = bandOf<double>(Kind::General, 20, 2);
    const double element = A.Item(7, 7);
    LinearSystem system(A);
    const Matrix B = blockOf<Matrix>(20, 1, 1);
    EXPECT_EQ(system.Solve(B).verdict, Verdict::Accurate);
    A(7, 7) = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(system.Update(A), SystemChange::Values);
    EXPECT_EQ(system.Solve(B).reason, "the matrix is not finite");
    EXPECT_EQ(system.Update(A), SystemChange::None) << "to the bit";
    A(7, 7) = element;
    EXPECT_EQ(system.Update(A), SystemChange::Values);
    EXPECT_EQ(system.Solve(B).verdict, Verdict::Accurate);
}

TEST(LinearSystem, NumbersThatAreNoneAreNoSuccess)
{
    for (const double bad :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        for (const Kind kind : {Kind::Positive, Kind::Mirrored, Kind::Pattern, Kind::General}) {
            SparseMatrix A = bandOf<double>(kind, 20, 2);
            A(4, 4) = bad;
            LinearSystem system(A);
            EXPECT_EQ(system.SolveKnown(blockOf<Matrix>(20, 1, 1)).verdict, Verdict::Failed);
        }
        Matrix B = blockOf<Matrix>(20, 1, 1);
        B(7, 0) = bad;
        LinearSystem system(bandOf<double>(Kind::General, 20, 2));
        EXPECT_EQ(system.Solve(B).verdict, Verdict::Failed);
        EXPECT_EQ(system.Solve(blockOf<Matrix>(20, 1, 1)).verdict, Verdict::Accurate)
            << "the next is not touched";
    }
}

TEST(LinearSystem, DenseMatricesOfEachShape)
{
    const auto answerTo = [](const Matrix& A, TransposeMode op) {
        LinearSystem system(A);
        return system.Solve(blockOf<Matrix>(op == kPlain ? A.Rows() : A.Cols(), 2, 1), op);
    };
    const Matrix tall = blockOf<Matrix>(9, 4, 1);
    EXPECT_EQ(answerTo(blockOf<Matrix>(6, 6, 2), kPlain).road, "LU");
    EXPECT_EQ(answerTo(blockOf<Matrix>(6, 6, 2), kTransposed).verdict, Verdict::Accurate);
    EXPECT_EQ(answerTo(tall, kPlain).road, "QR (least squares)");
    EXPECT_LT(answerTo(tall, kPlain).normalResidual.value(), 1e-15);
    EXPECT_EQ(answerTo(tall, kTransposed).road, "LQ (minimum norm)");
    EXPECT_EQ(answerTo(tall, kTransposed).x->Rows(), 9);
    EXPECT_EQ(answerTo(Matrix(3, 3), kPlain).verdict, Verdict::Failed);
    EXPECT_THAT(answerTo(Matrix(3, 3), kPlain).complaint, HasSubstr("singular"));

    LinearSystem complex(blockOf<CMatrix>(7, 7, 3));
    const CMatrix known = blockOf<CMatrix>(7, 1, 4);
    for (const TransposeMode op : {kPlain, kTransposed, kAdjoint})
        EXPECT_LT(largestOf(complex.SolveKnown(known, op).x.value() - known), 1e-12);
    EXPECT_THROW(complex.Update(CSparseMatrix(7, 7)), InvalidOperationException);
}

template <class M>
void expectDenseFactorKept(std::uint64_t seed)
{
    const M A = blockOf<M>(30, 30, seed);
    LinearSystem system(A);
    EXPECT_EQ(system.Factorize(), Verdict::Accurate);
    for (const TransposeMode op : {kPlain, kTransposed, kAdjoint}) {
        const M B = blockOf<M>(30, 6, 5);
        const auto answer = system.Solve(B, op);
        EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
        EXPECT_LT(largestOf(turned(A, op) * *answer.x - B), 1e-10);
        ASSERT_EQ(answer.columns.size(), 6U);
        EXPECT_EQ(
            std::ranges::count_if(answer.columns, [](const auto& c) { return c.errorBound.has_value(); }), 4);
        for (const ColumnQuality& column : answer.columns) {
            EXPECT_LT(column.backwardError, 1e-15);
            EXPECT_LT(column.componentwiseError, 1e-14);
            EXPECT_LT(column.errorBound.value_or(0.0), 1e-13);
        }
    }
    EXPECT_EQ(system.Factorizations(), 1) << "one factor serves them all";
}

TEST(LinearSystem, ADenseFactorIsKeptAndTheErrorsOfItsColumnsAreBounded)
{
    expectDenseFactorKept<Matrix>(2);
    expectDenseFactorKept<CMatrix>(3);
}

TEST(LinearSystem, StatesOfDenseSquareSystems)
{
    const auto singular = LinearSystem(Matrix{{1, 2}, {2, 4}}).Solve(Matrix{{1}, {2}});
    EXPECT_EQ(singular.reason, "singular");
    EXPECT_EQ(singular.road, "LU");
    EXPECT_FALSE(singular.x);
    EXPECT_FALSE(singular.probeError);
    EXPECT_EQ(singular.complaint, "the matrix is singular: LU met an exactly zero pivot");

    const auto huge = LinearSystem(Matrix{{1e-300, 0}, {0, 1}}).Solve(Matrix{{1e300}, {1}});
    EXPECT_EQ(huge.reason, "not-finite");
    EXPECT_EQ(huge.complaint, "the solution is not finite: a number overflowed on the way");

    Matrix B = blockOf<Matrix>(2, 2, 1);
    B(1, 0) = std::numeric_limits<double>::infinity();
    const auto half = LinearSystem(Matrix{{2, 1}, {1, 3}}).Solve(B);
    EXPECT_EQ(half.verdict, Verdict::Failed);
    EXPECT_EQ(half.reason, "a right-hand side is not finite");
    ASSERT_EQ(half.columns.size(), 2U);
    EXPECT_EQ(half.columns[1].verdict, Verdict::Accurate);
}

template <class Block>
void expectOverflowOfItsColumnAlone(std::int32_t rows, std::int32_t cols)
{
    SCOPED_TRACE(std::to_string(rows) + " x " + std::to_string(cols));
    Block A(rows, cols), B(rows, 3);
    for (std::int32_t i = 0; i < rows; ++i)
        for (std::int32_t j = 0; j < cols; ++j) A(i, j) = 1e-200 * (i == j ? 3.0 : 1.0 / (1 + i + j));
    for (std::int32_t i = 0; i < rows; ++i) {
        B(i, 0) = 1.0 + i;
        B(i, 1) = 1e200 * (1.0 + i); // x is beyond the range
        B(i, 2) = 2.0 + 2.0 * i;
    }
    LinearSystem system(A);
    const auto answer = system.Solve(B);
    EXPECT_EQ(answer.verdict, Verdict::Failed);
    EXPECT_EQ(answer.reason, "a number overflowed");
    EXPECT_TRUE(std::isnan(answer.residual.value()));
    ASSERT_TRUE(answer.x);
    ASSERT_EQ(answer.columns.size(), 3U);
    for (const std::size_t j : {0U, 2U}) EXPECT_EQ(answer.columns[j].verdict, Verdict::Accurate) << j;
    EXPECT_EQ(answer.columns[1].verdict, Verdict::Failed);
    EXPECT_EQ(answer.columns[1].reason, "a number overflowed");
    for (std::int32_t i = 0; i < cols; ++i) EXPECT_EQ((*answer.x)(i, 2), (*answer.x)(i, 0) * 2.0);
}

TEST(LinearSystem, ADenseColumnThatOverflowsFailsAlone)
{
    for (const auto& [rows, cols] : {std::pair{4, 4}, std::pair{6, 3}, std::pair{3, 6}}) {
        expectOverflowOfItsColumnAlone<Matrix>(rows, cols);
        expectOverflowOfItsColumnAlone<CMatrix>(rows, cols);
    }
}

// Of order 10 some thirteen digits are lost.
TEST(LinearSystem, TheProbeOfADenseSystemTellsHowManyDigitsAreRight)
{
    Matrix hilbert(10, 10);
    for (std::int32_t j = 0; j < 10; ++j)
        for (std::int32_t i = 0; i < 10; ++i) hilbert(i, j) = 1.0 / (i + j + 1);
    const auto answer = LinearSystem(hilbert).Solve(blockOf<Matrix>(10, 1, 1));
    EXPECT_GT(answer.probeError.value(), 1e-9);
    EXPECT_LT(answer.probeError.value(), 0.1);
    EXPECT_NE(answer.verdict, Verdict::Failed);
}

/// Small whole numbers, so that products of them are exact.
template <class M>
M wholeBlock(std::int32_t rows, std::int32_t cols, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    M block(rows, cols);
    for (std::int32_t j = 0; j < cols; ++j)
        for (std::int32_t i = 0; i < rows; ++i) block(i, j) = static_cast<double>(generator() % 19) - 9.0;
    return block;
}

TEST(LinearSystem, TheErrorOfEachColumnIsBounded)
{
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        const SparseMatrix A(wholeBlock<Matrix>(12, 12, seed));
        const Matrix known = wholeBlock<Matrix>(12, 3, seed + 1000);
        const auto answer = LinearSystem(A).SolveKnown(known);
        if (answer.verdict == Verdict::Failed) continue; // some are singular
        ASSERT_EQ(answer.columns.size(), 3U);
        for (std::int32_t j = 0; j < 3; ++j) {
            const ColumnQuality& column = answer.columns[static_cast<std::size_t>(j)];
            double error = 0.0, size = 0.0;
            for (std::int32_t i = 0; i < 12; ++i) {
                error = std::max(error, std::abs((*answer.x)(i, j) - known(i, j)));
                size = std::max(size, std::abs((*answer.x)(i, j)));
            }
            EXPECT_LE(error, column.errorBound.value() * size * (1.0 + 1e-10)) << seed;
            EXPECT_LT(column.backwardError, 1e-15);
        }
    }
}

TEST(LinearSystem, BoundsAreForAsManyColumnsAsAreAskedFor)
{
    for (const std::int32_t asked : {0, 2, 9}) {
        SystemOptions options;
        options.errorBounds = asked;
        LinearSystem system(bandOf<double>(Kind::General, 40, 6), options);
        const auto answer = system.Solve(blockOf<Matrix>(40, 5, 1));
        EXPECT_EQ(
            std::ranges::count_if(answer.columns, [](const auto& c) { return c.errorBound.has_value(); }),
            std::min(asked, 5));
        EXPECT_EQ(answer.verdict, Verdict::Accurate);
    }
}

/// What the factor is worth is found out with the first of the two.
template <class Cell>
void expectSameBoundsAgain(Kind kind)
{
    for (const std::int32_t columns : {1, 2}) {
        SCOPED_TRACE(::testing::Message() << static_cast<int>(kind) << ' ' << columns);
        LinearSystem system(bandOf<Cell>(kind, 150, 6));
        const auto B = blockOf<detail::MatrixOf<Cell>>(150, columns, 3);
        const auto first = system.Solve(B), second = system.Solve(B);
        ASSERT_EQ(first.columns.size(), second.columns.size());
        for (std::size_t j = 0; j < first.columns.size(); ++j)
            EXPECT_EQ(first.columns[j].errorBound.value(), second.columns[j].errorBound.value());
        EXPECT_EQ(first.condition, second.condition);
    }
}

TEST(LinearSystem, BoundsDoNotDependOnWhoAskedFirst)
{
    for (const Kind kind :
         {Kind::Positive, Kind::Mirrored, Kind::SymmetricValues, Kind::Pattern, Kind::General}) {
        expectSameBoundsAgain<double>(kind);
        expectSameBoundsAgain<Complex>(kind);
    }
}

TEST(LinearSystem, BoundsHoldForTransposedAndAdjointSystems)
{
    const CSparseMatrix A = bandOf<Complex>(Kind::General, 40, 6);
    LinearSystem system(A);
    const CMatrix known = blockOf<CMatrix>(40, 2, 3);
    for (const TransposeMode op : {kPlain, kTransposed, kAdjoint}) {
        const auto answer = system.SolveKnown(known, op);
        for (const ColumnQuality& column : answer.columns) EXPECT_LT(column.errorBound.value(), 1e-13);
    }
}

Matrix beside(const Matrix& left, const Matrix& right)
{
    Matrix both(left.Rows(), left.Cols() + right.Cols());
    for (std::int32_t j = 0; j < both.Cols(); ++j)
        for (std::int32_t i = 0; i < both.Rows(); ++i)
            both(i, j) = j < left.Cols() ? left(i, j) : right(i, j - left.Cols());
    return both;
}

TEST(LinearSystem, AZeroRightHandSideHasAnExactSolution)
{
    LinearSystem system(bandOf<double>(Kind::General, 30, 6));
    Matrix B = blockOf<Matrix>(30, 3, 1);
    for (std::int32_t i = 0; i < 30; ++i) B(i, 1) = 0.0;
    const auto answer = system.Solve(B);
    EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
    EXPECT_EQ(answer.columns[1].errorBound, 0.0);
    EXPECT_GT(answer.columns[0].errorBound, 0.0);
    EXPECT_EQ(system.Solve(beside(B, Matrix(30, 3))).verdict, Verdict::Accurate) << "without a bound, too";
    EXPECT_EQ(system.Solve(Matrix(30, 1)).verdict, Verdict::Accurate);
}

TEST(LinearSystem, ABadRightHandSideDoesNotSpoilTheFactor)
{
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(), 1e308}) {
        LinearSystem system(bandOf<double>(Kind::General, 30, 6));
        system.Factorize();
        Matrix B = blockOf<Matrix>(30, 1, 1);
        B(3, 0) = B(4, 0) = bad;
        system.Solve(B);
        const int made = system.Factorizations();
        const auto answer = system.SolveKnown(blockOf<Matrix>(30, 1, 2));
        EXPECT_EQ(answer.verdict, Verdict::Accurate);
        EXPECT_EQ(answer.road, "sparse LU with partial pivoting");
        EXPECT_LE(system.Factorizations(), made + 1);
    }
}

/// B with the powers of ten, by rows.
Matrix rowsScaled(Matrix B, double from, double to)
{
    for (std::int32_t i = 0; i < B.Rows(); ++i)
        for (std::int32_t j = 0; j < B.Cols(); ++j)
            B(i, j) *= std::pow(10.0, from + (to - from) * i / (B.Rows() - 1.0));
    return B;
}

TEST(LinearSystem, TheUnitsOfRowsAndColumnsDoNotMatter)
{
    for (const double decades : {12.0, 140.0}) {
        const Matrix band = bandOf<double>(Kind::General, 40, 6).ToDense();
        const Matrix byRows = rowsScaled(band, -decades, decades);
        const Matrix byBoth = rowsScaled(byRows.Transpose(), decades, -decades).Transpose();
        for (const Matrix& A : {byRows, byRows.Transpose(), byBoth}) {
            for (const TransposeMode op : {kPlain, kTransposed}) {
                LinearSystem system{SparseMatrix(A)};
                const auto answer = system.Solve(blockOf<Matrix>(40, 2, 1), op);
                EXPECT_EQ(answer.verdict, Verdict::Accurate) << decades << ": " << answer.reason;
            }
        }
    }
}

TEST(LinearSystem, TheUnitOfARightHandSideDoesNotMatter)
{
    const Matrix B = blockOf<Matrix>(30, 1, 1);
    LinearSystem system(bandOf<double>(Kind::General, 30, 6));
    const auto plain = system.Solve(B);
    for (const int exponent : {-1010, -500, 500, 1020}) {
        const double unit = std::ldexp(1.0, exponent);
        const auto answer = system.Solve(B * unit);
        EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
        EXPECT_LE(answer.columns[0].errorBound.value(), 1.01 * plain.columns[0].errorBound.value());
        EXPECT_LE(largestOf(*answer.x - *plain.x * unit), 1e-300);
    }
    const auto lost = system.Solve(B * 0x1p-1070);
    EXPECT_NE(lost.verdict, Verdict::Accurate) << "x has lost its digits";
    EXPECT_GT(lost.columns[0].errorBound.value(), 1e-6);
}

// All of the third equation is an unknown of 1.5*2^187, the largest by far, of which 2^-318 is seen in the
// unit of the right-hand side: the factor's work with it underflows.
TEST(LinearSystem, AnUnknownThatUnderflowsIsNotToldToHaveDigits)
{
    struct Entry {
        std::int32_t i, j;
        double value;
        int exponent;
    };
    SparseMatrix A(5, 5);
    for (const auto& [i, j, value, exponent] :
         {Entry{0, 0, 45.0, 124}, Entry{0, 3, -1.0, 304}, Entry{1, 1, 5.0, 731}, Entry{1, 3, -1.0, 666},
          Entry{2, 2, -5.0, -777}, Entry{2, 4, 5.0, 163}, Entry{3, 3, -15.0, 105}, Entry{3, 4, 3.0, 660},
          Entry{4, 3, 1.0, -109}, Entry{4, 4, 5.0, 450}})
        A(i, j) = std::ldexp(value, exponent);
    const Vector b{std::ldexp(37.0, 101), std::ldexp(13.0, 465), std::ldexp(115.0, -594),
                   std::ldexp(-63.0, -97), std::ldexp(-19.0, -309)};
    const auto answer = LinearSystem(A).Solve(b);
    const double exact = std::ldexp(-3.0, 186);
    ASSERT_TRUE(answer.x);
    const bool isLost = !(std::abs((*answer.x)(2, 0) - exact) < std::abs(exact));
    EXPECT_FALSE(isLost && answer.verdict != Verdict::Failed) << answer.reason;
}

TEST(LinearSystem, AColumnThatIsNoNumberIsTheOnlyOneToFail)
{
    // Looks positive and is not: the first road fails, and another one has to be found for the others.
    SparseMatrix A(3, 3);
    for (std::int32_t i = 0; i < 3; ++i)
        for (std::int32_t j = 0; j < 3; ++j) A(i, j) = i == j ? 1.0 : -0.9;
    for (const double bad :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        Matrix B = blockOf<Matrix>(3, 3, 1);
        B(2, 1) = bad;
        LinearSystem system(A);
        const auto answer = system.Solve(B);
        EXPECT_EQ(answer.verdict, Verdict::Failed);
        EXPECT_EQ(answer.reason, "a right-hand side is not finite");
        ASSERT_EQ(answer.columns.size(), 3U);
        EXPECT_EQ(answer.columns[0].verdict, Verdict::Accurate);
        EXPECT_EQ(answer.columns[1].verdict, Verdict::Failed);
        EXPECT_EQ(answer.columns[2].verdict, Verdict::Accurate);
        EXPECT_EQ(answer.columns[0].reason, "");
        EXPECT_EQ(answer.columns[1].reason, "the right-hand side is not finite");
        EXPECT_EQ(answer.columns[2].reason, "");
        EXPECT_THAT(answer.Explain(),
                    ::testing::HasSubstr("Right-hand side 2: failed, the right-hand side is not finite.\n"));
        EXPECT_TRUE(std::isnan((*answer.x)(0, 1)));
        EXPECT_FALSE(std::isnan((*answer.x)(0, 2)));
    }
}

// Elimination takes 0.3 from 0.3, and all of the second unknown is what both differ by in exact numbers: a
// correction by the residual in twice the precision finds it.
TEST(LinearSystem, ARightHandSideThatIsHarderThanTheProbeIsCorrected)
{
    SparseMatrix A(2, 2);
    A(0, 0) = 1e12;
    A(0, 1) = 1.0;
    A(1, 0) = 3e11;
    A(1, 1) = 0.3 + 0x1p-20;
    const double exact = std::fma(0.3, 1e12, -3e11) / std::fma(1e12, A(1, 1), -3e11);
    for (const std::int32_t bounds : {1, 2, 6}) {
        SystemOptions options;
        options.errorBounds = bounds;
        Matrix B = blockOf<Matrix>(2, 6, 1);
        B(0, 4) = 1.0;
        B(1, 4) = 0.3;
        for (const auto& answer :
             {LinearSystem(A, options).Solve(B), LinearSystem(A.ToDense(), options).Solve(B)}) {
            ASSERT_EQ(answer.columns.size(), 6U);
            EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
            EXPECT_NEAR((*answer.x)(1, 4), exact, 1e-6 * std::abs(exact));
        }
    }
}

TEST(LinearSystem, AHermitianTriangleStandsForBoth)
{
    const CSparseMatrix full = bandOf<Complex>(Kind::Mirrored, 40, 3);
    CSparseMatrix triangle(40, 40);
    ForEachEntry(full, [&triangle](std::int32_t row, std::int32_t col, Complex value) {
        if (row <= col) triangle(row, col) = value;
    });
    triangle.Hermitian(true);
    const CMatrix B = blockOf<CMatrix>(40, 2, 7);
    LinearSystem copied(triangle);
    expectSolves(full, copied.Solve(B).x.value(), B, kPlain);
    EXPECT_EQ(copied.Update(triangle), SystemChange::None);
    LinearSystem taken(std::move(triangle));
    expectSolves(full, taken.Solve(B).x.value(), B, kPlain);
}

TEST(LinearSystem, AnUpdateIsOfTheMatrixNotOfItsStorage)
{
    const SparseMatrix full = bandOf<double>(Kind::Mirrored, 40, 3);
    SparseMatrix triangle(40, 40);
    ForEachEntry(full, [&triangle](std::int32_t row, std::int32_t col, double value) {
        if (row <= col) triangle(row, col) = value;
    });
    triangle.Symmetric(true);
    const Matrix B = blockOf<Matrix>(40, 2, 7);
    SparseMatrix other = full;
    for (std::int32_t i = 0; i < 40; ++i) other(i, i) *= 1.25;
    for (const SparseMatrix& first : {triangle, full}) {
        LinearSystem system(first);
        system.Factorize();
        EXPECT_EQ(system.Update(full), SystemChange::None);
        EXPECT_EQ(system.Update(triangle), SystemChange::None);
        EXPECT_EQ(system.Update(other), SystemChange::Values);
        expectSolves(other, system.Solve(B).x.value(), B, kPlain);
        EXPECT_EQ(system.Analyses(), 1);
        SparseMatrix spoilt = full;
        spoilt(0, 1) *= 2.0;
        EXPECT_EQ(system.Update(spoilt), SystemChange::Pattern) << "no mirrored matrix any more";
        expectSolves(spoilt, system.Solve(B).x.value(), B, kPlain);
    }
}

TEST(LinearSystem, AZeroOnTheDiagonalIsNoMatterEitherWay)
{
    SparseMatrix A(3, 3);
    A(0, 1) = A(1, 0) = 1.0;
    A(1, 1) = 2.0;
    A(2, 2) = 1.0;
    A(0, 2) = 3.0;
    LinearSystem system(A);
    for (const TransposeMode op : {kPlain, kTransposed}) {
        const Matrix B = blockOf<Matrix>(3, 1, 4);
        expectSolves(A, system.Solve(B, op).x.value(), B, op);
    }
}

/// Full rank: a band that is longer than it is wide, some entries beside it.
template <class Sparse>
Sparse tallBand(std::int32_t m, std::int32_t n)
{
    using Cell = std::decay_t<decltype(std::declval<const Sparse&>().Item(0, 0))>;
    std::mt19937_64 generator(17);
    Sparse A(m, n);
    for (std::int32_t i = 0; i < m; ++i) {
        const std::int32_t j = i % n;
        A(i, j) = Cell(3.0) + drawn<Cell>(generator);
        A(i, (j + 5) % n) = drawn<Cell>(generator);
    }
    return A;
}

Matrix inverseOf(const Matrix& A)
{
    return A.PseudoInverse();
}
CMatrix inverseOf(const CMatrix& A)
{
    return CSVD(A).PseudoInverse().value();
}

/// Beside the dense decomposition of the library.
template <class Sparse>
void expectLeastSquares(const Sparse& A)
{
    using M = std::decay_t<decltype(A.ToDense())>;
    LinearSystem system(A);
    for (const TransposeMode op : {kPlain, kTransposed, kAdjoint}) {
        const M dense = turned(A.ToDense(), op);
        const M B = blockOf<M>(dense.Rows(), 2, 5);
        const auto answer = system.Solve(B, op);
        EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
        ASSERT_TRUE(answer.x);
        EXPECT_LT(answer.normalResidual.value(), 1e-12);
        EXPECT_LT(answer.probeError.value(), 1e-10);
        const M reference = inverseOf(dense) * B;
        EXPECT_LT(largestOf(*answer.x - reference), 1e-10 * (1.0 + largestOf(reference)));
    }
}

TEST(LinearSystem, SparseMatricesThatAreNotSquare)
{
    expectLeastSquares(tallBand<SparseMatrix>(40, 12));
    expectLeastSquares(tallBand<CSparseMatrix>(40, 12));
    LinearSystem system(tallBand<SparseMatrix>(40, 12));
    EXPECT_GT(system.Forecast().factorEntries, 0);
    EXPECT_EQ(system.Factorize(), Verdict::Accurate);
    EXPECT_LT(system.SolveKnown(blockOf<Matrix>(12, 1, 2)).knownError.value(), 1e-12);
    EXPECT_THROW(system.Solve(Matrix(12, 1)), SizeMismatchException);
    EXPECT_THROW(system.Update(tallBand<SparseMatrix>(40, 12)), InvalidOperationException);
}

TEST(LinearSystem, OfARankDeficientOneTheShortestSolutionIsDegraded)
{
    SparseMatrix A = tallBand<SparseMatrix>(40, 12);
    for (std::int32_t i = 0; i < 40; ++i) A(i, 11) = A.Item(i, 10); // twice the same column
    const Matrix B = blockOf<Matrix>(40, 1, 5);
    const auto answer = LinearSystem(A).Solve(B);
    EXPECT_EQ(answer.verdict, Verdict::Degraded);
    EXPECT_THAT(answer.reason, HasSubstr("rank-deficient"));
    const Matrix reference = A.ToDense().PseudoInverse() * B;
    EXPECT_LT(largestOf(*answer.x - reference), 1e-8 * (1.0 + largestOf(reference)));
}

TEST(LinearSystem, ManyThreadsMaySolveWithOneFactor)
{
    const SparseMatrix A = bandOf<double>(Kind::General, 300, 6);
    LinearSystem system(A);
    std::vector<std::thread> threads;
    std::vector<int> wrong(4);
    for (std::size_t t = 0; t < wrong.size(); ++t) {
        threads.emplace_back([&, t] {
            for (std::uint64_t k = 0; k < 10; ++k) {
                const Matrix known = blockOf<Matrix>(300, 1, 100 * t + k);
                wrong[t] += largestOf(system.SolveKnown(known).x.value() - known) < 1e-10 ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_THAT(wrong, ::testing::Each(0));
    EXPECT_EQ(system.Factorizations(), 1);
}

/// Lets each thread wait at the end of its step until another one is there, too.
class Meeting {
public:
    /// Whether somebody came in time.
    bool attend()
    {
        std::unique_lock lock(busy_);
        ++present_;
        changed_.notify_all();
        return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return present_ >= 2; });
    }

private:
    std::mutex busy_;
    std::condition_variable changed_;
    int present_ = 0;
};

template <class Cell>
void expectThatThreadsMeet(LinearSystem<Cell>& system, std::function<void()>& atSolve, std::int32_t n)
{
    using M = typename LinearSystem<Cell>::M;
    ASSERT_EQ(system.Factorize(), Verdict::Accurate);
    Meeting meeting;
    std::atomic<int> alone = 0;
    atSolve = [&] { alone += meeting.attend() ? 0 : 1; };
    std::vector<std::jthread> threads;
    for (std::uint64_t t = 0; t < 2; ++t)
        threads.emplace_back([&system, n, t] {
            const M known = blockOf<M>(n, 2, t);
            const auto answer = system.SolveKnown(known, TransposeMode::Transposed);
            EXPECT_EQ(answer.verdict, Verdict::Accurate);
            EXPECT_LT(answer.knownError.value(), 1e-10);
        });
    threads.clear();
    EXPECT_EQ(alone, 0);
}

TEST(LinearSystem, ThreadsSolveAtTheSameTimeWithOneFactor)
{
    std::function<void()> atSolve = [] {};
    SystemOptions options;
    options.stepDone = [&](std::string_view step) {
        if (step == "solve") atSolve();
    };
    for (const Kind kind : {Kind::Positive, Kind::General}) {
        atSolve = [] {};
        LinearSystem system(bandOf<double>(kind, 60, 6), options);
        expectThatThreadsMeet(system, atSolve, 60);
    }
    atSolve = [] {};
    LinearSystem system(bandOf<Complex>(Kind::General, 60, 6), options);
    expectThatThreadsMeet(system, atSolve, 60);
}

TEST(LinearSystem, ThreadsSolveAtTheSameTimeAfterOtherValuesCame)
{
    std::function<void()> atSolve = [] {};
    SystemOptions options;
    options.stepDone = [&](std::string_view step) {
        if (step == "solve") atSolve();
    };
    SparseMatrix A = bandOf<double>(Kind::General, 60, 6);
    LinearSystem system(A, options);
    ASSERT_EQ(system.Factorize(), Verdict::Accurate);
    A(3, 3) *= 1.5;
    ASSERT_EQ(system.Update(A), SystemChange::Values);
    expectThatThreadsMeet(system, atSolve, 60);
}

TEST(LinearSystem, AFactorThatDoesNotPreconditionIsTriedOnce)
{
    std::vector<std::string> steps;
    SystemOptions options;
    options.reuseFactor = true;
    options.stepDone = [&](std::string_view step) { steps.emplace_back(step); };
    LinearSystem system(cubeOf(16, 0.0, 1), options);
    system.Factorize();
    ASSERT_EQ(system.Update(cubeOf(16, 3.0, 4)), SystemChange::Values);
    steps.clear();
    EXPECT_FALSE(system.SolveKnown(blockOf<Matrix>(16 * 16 * 16, 1, 1)).reusedFactor);
    const auto factorized = std::ranges::find(steps, "factorize");
    EXPECT_EQ(std::count(steps.begin(), factorized, "solve"), 1);
}

TEST(LinearSystem, IsMovedWithItsFactor)
{
    LinearSystem first(bandOf<double>(Kind::General, 40, 6));
    first.Factorize();
    LinearSystem second = std::move(first);
    EXPECT_EQ(second.SolveKnown(blockOf<Matrix>(40, 1, 1)).verdict, Verdict::Accurate);
    EXPECT_EQ(second.Factorizations(), 1);
}

TEST(LinearSystem, ExplainsItself)
{
    LinearSystem system(bandOf<double>(Kind::Positive, 40, 6));
    const std::string text = system.SolveKnown(blockOf<Matrix>(40, 1, 1)).Explain();
    EXPECT_THAT(text, HasSubstr("The solution is accurate."));
    EXPECT_THAT(text, HasSubstr("Road: sparse Cholesky."));
    EXPECT_THAT(text, HasSubstr("A known solution came back with a relative error of"));
}

} // namespace
} // namespace Velmar::Lintrix::testing
