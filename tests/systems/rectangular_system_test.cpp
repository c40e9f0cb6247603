// Sparse systems that are not square: what a factor would tell of the rank, told without one, too.

#include <lintrix/lintrix.h>
#include <tests/systems/torture/exact_least_squares.h>

#include "tests/support/expect_failure.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::HasSubstr;

/// Column j has entries in rows 3j to 3j + 5; of a deficient one the last is the sum of the two before it.
SparseMatrix staircase(std::int32_t cols, bool isDeficient)
{
    std::mt19937_64 generator(11);
    std::uniform_real_distribution<double> draw(0.5, 1.5);
    const std::int32_t rows = 3 * cols + 3;
    SparseAssembler entries(rows, cols);
    for (std::int32_t j = 0; j < cols; ++j) {
        for (std::int32_t i = 3 * j; i < 3 * j + 6; ++i) {
            if (isDeficient && j == cols - 1) continue;
            const double value = draw(generator);
            entries.Add(i, j, value);
            if (isDeficient && j >= cols - 3) entries.Add(i, cols - 1, value);
        }
    }
    return entries.Assemble();
}

SystemOptions withoutRoom()
{
    SystemOptions options;
    options.memoryLeft = [] { return 0.0; };
    return options;
}

TEST(RectangularSystem, WhereMemoryHasNoRoomForAFactorLsmrDoesWithoutOne)
{
    const SparseMatrix A = staircase(60, false);
    LinearSystem roomy(A);
    EXPECT_EQ(roomy.Solve(Vector(A.Rows(), 1.0)).road, "normal equations");
    LinearSystem tight(A, withoutRoom());
    const auto answer = tight.Solve(Vector(A.Rows(), 1.0));
    EXPECT_EQ(answer.road, "LSMR");
    EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
    EXPECT_GT(answer.krylovSteps, 0);
}

TEST(RectangularSystem, WithoutAFactorTooADeficientOneIsTold)
{
    const SparseMatrix A = staircase(60, true);
    const Vector b(A.Rows(), 1.0);
    const auto roomy = LinearSystem(A).Solve(b);
    const auto tight = LinearSystem(A, withoutRoom()).Solve(b);
    EXPECT_EQ(tight.road, "LSMR");
    for (const auto& answer : {roomy, tight}) {
        EXPECT_EQ(answer.verdict, Verdict::Degraded);
        EXPECT_THAT(answer.reason, HasSubstr("rank-deficient"));
        EXPECT_LT(answer.probeError.value(), 1e-8);
    }
    // Both are the shortest.
    double difference = 0.0, size = 0.0;
    for (std::int32_t j = 0; j < A.Cols(); ++j) {
        difference = std::max(difference, std::abs((*roomy.x)(j, 0) - (*tight.x)(j, 0)));
        size = std::max(size, std::abs((*roomy.x)(j, 0)));
    }
    EXPECT_LT(difference, 1e-8 * size);
}

TEST(RectangularSystem, ColumnsOverManyOrdersAreNoDeficiency)
{
    SparseMatrix A = staircase(30, false);
    for (std::int32_t i = 0; i < A.Rows(); ++i) {
        if (A.Item(i, 7) != 0.0) A(i, 7) = A.Item(i, 7) * 1e-15;
    }
    const auto answer = LinearSystem(A, withoutRoom()).Solve(Vector(A.Rows(), 1.0));
    EXPECT_EQ(answer.reason.find("rank-deficient"), std::string::npos) << answer.reason;
}

TEST(RectangularSystem, ADeficientOneIsToldOfAZeroRightHandSideToo)
{
    const SparseMatrix A = staircase(60, true);
    for (const SparseMatrix& matrix : {A, SparseMatrix(5, 3)}) {
        const auto answer = LinearSystem(matrix).Solve(Vector(matrix.Rows()));
        EXPECT_EQ(answer.verdict, Verdict::Degraded);
        EXPECT_THAT(answer.reason, HasSubstr("rank-deficient"));
        for (std::int32_t j = 0; j < matrix.Cols(); ++j) EXPECT_EQ((*answer.x)(j, 0), 0.0);
    }
}

/// Two equations that differ by little, and the sum of the first three unknowns by which they do not: the
/// probe comes back, for it has next to nothing of what is hard to tell.
TEST(RectangularSystem, AnIllConditionedWideOneIsAccurateAsFarAsItsErrorCanBeBounded)
{
    for (const double apart : {1e-12, 1e-15}) {
        SparseAssembler entries(2, 4);
        for (std::int32_t j = 0; j < 3; ++j) {
            entries.Add(0, j, 1.0);
            entries.Add(1, j, 1.0);
        }
        entries.Add(1, 3, apart);
        const auto answer = LinearSystem(entries.Assemble()).Solve(Vector{1.0, 1.0});
        EXPECT_LT(answer.probeError.value(), 1e-8);
        if (apart < 1e-13) {
            EXPECT_EQ(answer.verdict, Verdict::Degraded);
            continue;
        }
        EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
        EXPECT_LT(*answer.columns[0].errorBound, 1e-6);
        for (std::int32_t j = 0; j < 3; ++j) EXPECT_NEAR((*answer.x)(j, 0), 1.0 / 3.0, 1e-12);
        EXPECT_NEAR((*answer.x)(3, 0), 0.0, 1e-6);
    }
}

/// Two columns that are all but alike, in a unit far below that of the third: all of x is what little tells
/// them apart, though beside ||A|| ||x|| the residual is nothing.
TEST(RectangularSystem, WhatAColumnInALargeUnitHidesIsNotAccurate)
{
    for (unsigned seed = 0; seed < 6; ++seed) {
        std::mt19937_64 generator(seed);
        std::uniform_real_distribution<double> draw(-1.0, 1.0);
        constexpr std::int32_t kRows = 20;
        SparseAssembler entries(kRows, 3);
        QuadMatrix A(kRows, 3);
        Vector b(kRows);
        for (std::int32_t i = 0; i < kRows; ++i) {
            const double common = draw(generator), apart = 3e-5 * draw(generator), other = draw(generator);
            const double row[] = {1e-3 * common, 1e-3 * (common + apart), 1e3 * other};
            for (std::int32_t j = 0; j < 3; ++j) {
                entries.Add(i, j, row[j]);
                A(i, j) = row[j];
            }
            b(i) = draw(generator);
        }
        const auto answer = LinearSystem(entries.Assemble()).Solve(b);
        QuadVector right, x;
        for (std::int32_t i = 0; i < kRows; ++i) right.emplace_back(b(i));
        for (std::int32_t j = 0; j < 3; ++j) x.emplace_back((*answer.x)(j, 0));
        const QuadVector solution = ExactLeastSquares(A).solve(right);
        const bool isFar = largest(difference(solution, x)) > 1e-5L * largest(solution);
        EXPECT_FALSE(isFar && answer.verdict == Verdict::Accurate) << seed;
    }
}

template <class Kind, class Block>
void expectTheSameInAnyUnitOfTheMatrix(const Block& A, const Block& b)
{
    using Cell = std::remove_cvref_t<decltype(b.begin()[0])>;
    const auto plain = LinearSystem(Kind(A)).Solve(b);
    ASSERT_EQ(plain.verdict, Verdict::Accurate);
    for (const int exponent : {-1000, -700, -330, 330, 500, 900, 1020}) {
        SCOPED_TRACE(exponent);
        Block scaled(A);
        for (Cell& cell : scaled) cell *= std::ldexp(1.0, exponent);
        const auto answer = LinearSystem(Kind(scaled)).Solve(b);
        ASSERT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
        for (std::int32_t i = 0; i < A.Cols(); ++i) {
            const Cell back = Cell((*answer.x)(i, 0)) * std::ldexp(1.0, exponent);
            EXPECT_LT(std::abs(back - Cell((*plain.x)(i, 0))), 1e-13);
        }
    }
}

template <class Cell>
void expectTheSameInAnyUnitOfTheMatrix(std::int32_t rows, std::int32_t cols)
{
    SCOPED_TRACE(std::to_string(rows) + " x " + std::to_string(cols));
    Cells cells(17);
    const auto A = cells.matrix<Cell>(rows, cols), b = cells.matrix<Cell>(rows, 1);
    expectTheSameInAnyUnitOfTheMatrix<detail::SparseOf<Cell>>(A, b);
    expectTheSameInAnyUnitOfTheMatrix<detail::MatrixOf<Cell>>(A, b);
}

TEST(RectangularSystem, TheUnitOfTheMatrixDecidesNothing)
{
    for (const auto& [rows, cols] : {std::pair{12, 5}, std::pair{5, 12}}) {
        expectTheSameInAnyUnitOfTheMatrix<double>(rows, cols);
        expectTheSameInAnyUnitOfTheMatrix<ComplexCell>(rows, cols);
    }
}

TEST(RectangularSystem, OneHugeElementAmongOthersLeavesThemTheirDigits)
{
    SparseMatrix A(4, 3);
    for (std::int32_t i = 0; i < 3; ++i) A(i, i) = 1.0;
    A(3, 1) = 1e308;
    const auto answer = LinearSystem(A).Solve(Matrix{{1.0}, {2.0}, {3.0}, {0.0}});
    EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.reason;
    EXPECT_NEAR((*answer.x)(0, 0), 1.0, 1e-14);
    EXPECT_NEAR((*answer.x)(1, 0), 0.0, 1e-300);
    EXPECT_NEAR((*answer.x)(2, 0), 3.0, 1e-14);
}

TEST(RectangularSystem, ASolutionOutsideTheRangeIsToldOfItsColumnAlone)
{
    SparseMatrix A(4, 3);
    for (std::int32_t i = 0; i < 3; ++i) A(i, i) = A(i + 1, i) = 1e-200;
    Matrix B(4, 2);
    for (std::int32_t i = 0; i < 4; ++i) {
        B(i, 0) = 1.0 + i;
        B(i, 1) = 1e200 * (1.0 + i);
    }
    const auto answer = LinearSystem(A).Solve(B);
    EXPECT_EQ(answer.verdict, Verdict::Failed);
    ASSERT_EQ(answer.columns.size(), 2U);
    EXPECT_EQ(answer.columns[0].verdict, Verdict::Accurate);
    EXPECT_EQ(answer.columns[1].verdict, Verdict::Failed);
    EXPECT_EQ(answer.columns[1].reason, "a number overflowed");
}

TEST(RectangularSystem, AColumnThatIsNoNumberIsTheOnlyOneToFail)
{
    const SparseMatrix A = staircase(20, false);
    for (const TransposeMode op : {TransposeMode::NotTransposed, TransposeMode::Transposed}) {
        Matrix B(op == TransposeMode::NotTransposed ? A.Rows() : A.Cols(), 3);
        for (std::int32_t i = 0; i < B.Rows(); ++i) B(i, 0) = B(i, 1) = B(i, 2) = 1.0 + i;
        const auto clean = LinearSystem(A).Solve(B, op);
        B(3, 1) = std::numeric_limits<double>::infinity();
        const auto answer = LinearSystem(A).Solve(B, op);
        EXPECT_EQ(answer.verdict, Verdict::Failed);
        EXPECT_EQ(answer.reason, "a right-hand side is not finite");
        EXPECT_EQ(answer.road, clean.road);
        ASSERT_EQ(answer.columns.size(), 3U);
        for (const std::int32_t j : {0, 2}) {
            EXPECT_EQ(answer.columns[static_cast<std::size_t>(j)].verdict, Verdict::Accurate);
            EXPECT_EQ(answer.columns[static_cast<std::size_t>(j)].reason, "");
            for (std::int32_t i = 0; i < clean.x->Rows(); ++i) EXPECT_EQ((*answer.x)(i, j), (*clean.x)(i, j));
        }
        EXPECT_EQ(answer.columns[1].verdict, Verdict::Failed);
        EXPECT_EQ(answer.columns[1].reason, "the right-hand side is not finite");
        EXPECT_TRUE(std::isnan((*answer.x)(0, 1)));
    }
}

TEST(RectangularSystem, TheRoadIsThatOfTheColumnsThatTookOne)
{
    const SparseMatrix A = staircase(20, false);
    Matrix B(A.Rows(), 3);
    Vector b(A.Rows());
    for (std::int32_t i = 0; i < B.Rows(); ++i) B(i, 1) = b[i] = 1.0 + i % 7;
    const auto answer = LinearSystem(A).Solve(B);
    EXPECT_EQ(answer.verdict, Verdict::Accurate);
    EXPECT_EQ(answer.road, LinearSystem(A).Solve(b).road);
    EXPECT_NE(answer.road, "nothing");
    EXPECT_EQ(LinearSystem(A).Solve(Vector(A.Rows())).road, "nothing");
}

TEST(RectangularSystem, TheAdviceIsOfDeficiency)
{
    const auto answer = LinearSystem(staircase(20, true)).Solve(Vector(63, 1.0));
    EXPECT_THAT(answer.Explain(), HasSubstr("Advice: equations that say the same may go"));
}

// The product of the sizes would wrap, and the block be a small one.
TEST(RectangularSystem, SolutionsOfMoreElementsThanAMatrixCountsAreRefused)
{
    SparseMatrix A(2, 70000);
    A(0, 0) = A(1, 1) = 1.0;
    LinearSystem system(A);
    const Matrix B(2, 70000);
    expectFailure<NotSupportedException>(
        [&] { system.Solve(B); }, "70000 columns of 70000 elements and one more are too many: a matrix "
                                  "holds at most 2147483647 elements.");
    EXPECT_EQ(system.Solve(Matrix(2, 3)).x->Rows(), 70000);
}

} // namespace
} // namespace Velmar::Lintrix::testing
