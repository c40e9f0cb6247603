// Roads and states of dense systems.

#include <lintrix/decompositions/qr.h>
#include <lintrix/systems/roads/dense_solver.h>
#include <tests/support/matrices.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::roads;

Matrix random(int rows, int cols, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    return randomMatrix({rows, cols}, generator);
}

TEST(SolveDense, EveryColumnOfEveryShapeIsSolved)
{
    for (const Shape shape :
         {Shape{30, 12}, {100, 64}, {2, 1}, {300, 200}, {12, 30}, {64, 100}, {1, 2}, {130, 700}}) {
        SCOPED_TRACE(::testing::PrintToString(shape.rows) + " x " + ::testing::PrintToString(shape.cols));
        const Matrix A = random(shape.rows, shape.cols, 1);
        const Matrix B = random(shape.rows, 5, 2);
        const auto answer = solveDense(A, B);
        ASSERT_EQ(answer.status, Status::Solved);
        ASSERT_EQ(answer.x->Rows(), shape.cols);
        ASSERT_EQ(answer.x->Cols(), 5);
        for (const Quality& column : judgeColumns(A, *answer.x, B)) EXPECT_LT(column.judged(), 1e-14);
        EXPECT_LT(*answer.probeError, 1e-9);
        for (int j = 0; j < 5; ++j) {
            const auto alone = solveDense(A, columnOf(B, j));
            EXPECT_LT(largestDifference(columnOf(*answer.x, j), *alone.x), 1e-9) << "column " << j;
        }
    }
}

TEST(SolveDense, WideSystemsAreAnsweredByTheShortestSolution)
{
    const Matrix A = random(5, 12, 3);
    const Matrix shortest = A.Transpose() * random(5, 3, 4); // in the row space
    const auto answer = solveDense(A, A * shortest);
    EXPECT_EQ(answer.road, "LQ (minimum norm)");
    EXPECT_LT(largestDifference(*answer.x, shortest), 1e-12);
}

TEST(SolveDense, TallSystemsAreAnsweredInTheLeastSquaresSense)
{
    const auto answer = solveDense(Matrix{{1, 0}, {1, 0}, {0, 2}}, Matrix{{1, 5}, {3, 7}, {4, -4}});
    EXPECT_EQ(answer.road, "QR (least squares)");
    EXPECT_LT(largestDifference(*answer.x, Matrix{{2, 6}, {2, -2}}), 1e-14);
}

TEST(SolveDense, TheRankOfTallAndWideMatricesIsFound)
{
    for (const int rank : {0, 1, 3, 6}) {
        const Matrix A = rank == 0 ? Matrix(20, 7) : random(20, rank, 5) * random(rank, 7, 6);
        const Answer tall = solveDense(A, Matrix(20, 1));
        EXPECT_EQ(tall.status, Status::RankDeficient);
        EXPECT_EQ(tall.rank, rank);
        EXPECT_FALSE(tall.x);
        EXPECT_EQ(explain(tall, A, {}),
                  "the matrix has rank " + std::to_string(rank) +
                      " of 7 to working precision: the least-squares solution is not unique");
        const Answer wide = solveDense(A.Transpose(), Matrix(7, 1));
        EXPECT_EQ(wide.status, Status::RankDeficient);
        EXPECT_EQ(wide.rank, rank);
        EXPECT_EQ(explain(wide, A.Transpose(), {}),
                  "the matrix has rank " + std::to_string(rank) +
                      " of 7 to working precision: its rows do not determine a minimum-norm solution");
    }
    EXPECT_EQ(solveDense(random(20, 7, 5), Matrix(20, 1)).rank, 7);
}

/// The rank is looked for where the condition is beyond any doubt, in doubt, and hopeless.
TEST(SolveDense, TheRankIsThatOfAPivotedTriangle)
{
    for (const Shape shape : {Shape{90, 70}, Shape{70, 90}}) {
        for (int k = 0; k <= 20; ++k) {
            SCOPED_TRACE("smallest singular value 1e-" + std::to_string(k));
            const Matrix A = matrixWith(shape, Spectrum::OneTiny, k);
            const Matrix R = QR(shape.rows < shape.cols ? A.Transpose() : A, true).R();
            const double share = std::abs(R(69, 69)) / (90 * 0x1p-52 * std::abs(R(0, 0)));
            if (share > 0.5 && share < 2.0) continue; // rounding decides
            EXPECT_EQ(solveDense(A, Matrix(shape.rows, 1)).rank, share > 1.0 ? 70 : 69);
        }
    }
}

TEST(SolveDense, TheProbeTellsHowManyDigitsAreRight)
{
    // The smallest singular value is 1e-12: about four digits come back. Not of each system: where the last
    // row is eliminated, what is left is a few units of rounding, and now and then their error is none.
    constexpr int kSystems = 9;
    for (const Shape shape : {Shape{60, 40}, Shape{40, 60}}) {
        int seen = 0;
        for (int seed = 1; seed <= kSystems; ++seed) {
            const Matrix A = matrixWith(shape, Spectrum::OneTiny, seed);
            const double error = *solveDense(A, Matrix(shape.rows, 1)).probeError;
            EXPECT_LT(error, 1e-2) << seed;
            seen += error > 1e-8;
        }
        EXPECT_GT(seen, kSystems / 2) << shape.rows;
    }
}

TEST(SolveDense, OverflowOnTheWayIsAState)
{
    Matrix infinite(3, 2);
    infinite(0, 0) = infinite(1, 1) = std::numeric_limits<double>::infinity();
    const Answer tall = solveDense(infinite, Matrix(3, 1));
    EXPECT_EQ(tall.status, Status::NotFinite);
    EXPECT_EQ(explain(tall, infinite, {}), "the solution is not finite: a number overflowed on the way");
    EXPECT_EQ(solveDense(infinite.Transpose(), Matrix(2, 1)).status, Status::NotFinite);
}

TEST(StatusNames, AreOneWordEach)
{
    EXPECT_EQ(nameOf(Status::Solved), "solved");
    EXPECT_EQ(nameOf(Status::Singular), "singular");
    EXPECT_EQ(nameOf(Status::RankDeficient), "rank-deficient");
    EXPECT_EQ(nameOf(Status::NotFinite), "not-finite");
    EXPECT_EQ(nameOf(Status::Inaccurate), "inaccurate");
}

TEST(Explain, AnInaccurateSolutionTellsItsResidual)
{
    Answer<Matrix> answer;
    answer.status = Status::Inaccurate;
    Quality quality;
    quality.residual = 0.03125;
    EXPECT_EQ(explain(answer, Matrix(2, 2), quality),
              "the solution is inaccurate: its scaled residual is 3.1e-02");
}

// ---- complex systems, by the same roads

CMatrix complexRandom(int rows, int cols, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    return randomMatrix<CMatrix>({rows, cols}, generator);
}

TEST(SolveDense, EveryColumnOfAComplexSystemOfEveryShapeIsSolved)
{
    for (const Shape shape : {Shape{30, 12}, {2, 1}, {200, 130}, {12, 30}, {64, 100}, {1, 2}}) {
        SCOPED_TRACE(::testing::PrintToString(shape.rows) + " x " + ::testing::PrintToString(shape.cols));
        const CMatrix A = complexRandom(shape.rows, shape.cols, 1), B = complexRandom(shape.rows, 3, 2);
        const auto answer = solveDense(A, B);
        ASSERT_EQ(answer.status, Status::Solved);
        ASSERT_EQ(answer.x->Rows(), shape.cols);
        ASSERT_EQ(answer.x->Cols(), 3);
        for (const Quality& column : judgeColumns(A, *answer.x, B)) EXPECT_LT(column.judged(), 1e-14);
        EXPECT_LT(*answer.probeError, 1e-9);
    }
}

TEST(SolveDense, WideComplexSystemsAreAnsweredByTheShortestSolution)
{
    const CMatrix A = complexRandom(5, 12, 3), shortest = A.Adjoint() * complexRandom(5, 3, 4);
    const auto answer = solveDense(A, A * shortest);
    EXPECT_EQ(answer.road, "LQ (minimum norm)");
    EXPECT_LT(largestDifference(*answer.x, shortest), 1e-11);
}

TEST(SolveDense, ComplexSystemsHaveTheStatesOfRealOnes)
{
    CMatrix A = complexRandom(6, 3, 5);
    for (int k = 0; k < 6; ++k) A(k, 2) = A(k, 0) * Complex(0.0, 2.0);
    const auto tall = solveDense(A, complexRandom(6, 1, 6));
    EXPECT_EQ(tall.status, Status::RankDeficient);
    EXPECT_EQ(tall.rank, 2);
    EXPECT_EQ(solveDense(A.Adjoint(), complexRandom(3, 1, 6)).rank, 2);
}

} // namespace
} // namespace Velmar::Lintrix::testing
