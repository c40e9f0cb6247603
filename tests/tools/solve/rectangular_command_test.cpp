// `lintrix solve` on sparse files that are not square: least squares, least norm, and what is told of them.

#include <tests/tools/command.h>
#include <tests/tools/json.h>

#include <lintrix/sparse/matrix_market.h>

#include <gmock/gmock.h>

#include <cmath>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;

const std::string kCoordinate = "%%MatrixMarket matrix coordinate real general\n";
const std::string kArray = "%%MatrixMarket matrix array real general\n";

TEST(RectangularCommand, ReportsTheMethodAndItsSteps)
{
    const Scratch scratch;
    const std::string path = scratch.file("a.mtx", kCoordinate + "3 2 4\n1 1 1\n2 1 1\n2 2 1\n3 2 2\n");
    const Outcome outcome = run({"solve", path});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(withoutTimes(outcome.out),
                MatchesRegex("matrix            .*/a\\.mtx\n"
                             "size              3 x 2\n"
                             "entries           4\n"
                             "right-hand sides  1\n"
                             "road              normal equations\n"
                             "steps             [0-9]+ of refinement, 0 of LSMR\n"
                             "status            accurate\n"
                             "seconds           read T, assemble T, analyse T, solve T, write T, total T\n"
                             "scaled residual   [0-9.e+-]+\n"
                             "normal equations  [0-9.e+-]+\n"
                             "largest error     [0-9.e+-]+\n"
                             "probe error       [0-9.e+-]+\n"));
    const Json report = parseJson(run({"solve", path, "--json"}).out);
    EXPECT_EQ(report["road"].text(), "normal equations");
    EXPECT_GE(report["refinement_steps"].number(), 1);
    EXPECT_EQ(report["krylov_steps"].number(), 0);
    for (const char* key : {"ordering", "factor_entries", "perturbed_pivots", "factor_store"})
        EXPECT_TRUE(report[key].isNull()) << key;
}

TEST(RectangularCommand, ATallSystemOutOfRangeIsJudgedByTheNormalEquations)
{
    const Scratch scratch;
    const std::string matrix = scratch.file("a.mtx", kCoordinate + "3 1 3\n1 1 1\n2 1 1\n3 1 1\n");
    const std::string rightHands = scratch.file("b.mtx", kArray + "3 2\n1\n2\n6\n4\n4\n4\n");
    const Json report = reportOf({matrix, "--rhs", rightHands, "--out", scratch.at("x")});
    EXPECT_EQ(report["status"].text(), "accurate");
    EXPECT_EQ(report["right_hands"].number(), 2);
    EXPECT_LT(report["normal_residual"].number(), 1e-13);
    EXPECT_TRUE(report["max_error"].isNull());
    const Matrix X = ReadMatrixMarketDense(scratch.at("x"));
    ASSERT_EQ(X.Rows(), 1);
    EXPECT_NEAR(X(0, 0), 3.0, 1e-14);
    EXPECT_NEAR(X(0, 1), 4.0, 1e-14);
}

TEST(RectangularCommand, AWideSystemHasItsShortestSolution)
{
    const Scratch scratch;
    const std::string matrix = scratch.file("a.mtx", kCoordinate + "1 2 2\n1 1 3\n1 2 4\n");
    const std::string rightHand = scratch.file("b.mtx", kArray + "1 1\n25\n");
    const Json report = reportOf({matrix, "--rhs", rightHand, "--out", scratch.at("x")});
    EXPECT_EQ(report["status"].text(), "accurate");
    const Matrix X = ReadMatrixMarketDense(scratch.at("x"));
    EXPECT_NEAR(X(0, 0), 3.0, 1e-13);
    EXPECT_NEAR(X(1, 0), 4.0, 1e-13);
}

TEST(RectangularCommand, OfADeficientSystemTheShortestSolutionIsDegraded)
{
    const Scratch scratch;
    // Two unknowns of which the sum alone is told: 1, and 2.
    const std::string tall = scratch.file("a.mtx", kCoordinate + "3 2 4\n1 1 1\n1 2 1\n3 1 2\n3 2 2\n");
    const std::string rightHand = scratch.file("b.mtx", kArray + "3 1\n1\n7\n2\n");
    const Outcome outcome = run({"solve", tall, "--rhs", rightHand, "--out", scratch.at("x"), "--explain"});
    EXPECT_EQ(outcome.exitCode, 0);
    const std::string reason = "rank-deficient: the shortest of many solutions";
    EXPECT_EQ(outcome.err, "lintrix: warning: " + tall + ": the solution is degraded: " + reason + "\n");
    EXPECT_THAT(outcome.out, HasSubstr("\nstatus            degraded, " + reason + "\n"));
    EXPECT_THAT(outcome.out, HasSubstr("\n\nThe solution is degraded: " + reason + ".\n"));
    EXPECT_THAT(outcome.out, HasSubstr("\nAdvice: equations that say the same may go; conditions on the "
                                       "unknowns that are left free would leave one solution.\n"));
    const Matrix X = ReadMatrixMarketDense(scratch.at("x"));
    EXPECT_NEAR(X(0, 0), 0.5, 1e-12);
    EXPECT_NEAR(X(1, 0), 0.5, 1e-12);

    const std::string wide = scratch.file("c.mtx", kCoordinate + "2 3 4\n1 1 1\n1 2 1\n2 1 2\n2 2 2\n");
    EXPECT_EQ(reportOf({wide})["reason"].text(), reason);
    const std::string zero = scratch.file("d.mtx", kCoordinate + "3 2 0\n");
    EXPECT_EQ(reportOf({zero})["reason"].text(), reason);
}

TEST(RectangularCommand, WhatIsFarTooLargeToBeDenseIsSolved)
{
    // 200,000 measurements of 30,000 unknowns: 48 GB dense.
    constexpr int kRows = 200000, kCols = 30000;
    std::string body;
    for (int i = 0; i < kRows; ++i) {
        const int j = static_cast<int>(static_cast<long>(i) * (kCols - 1) / kRows);
        body += std::to_string(i + 1) + ' ' + std::to_string(j + 1) + " 0." + std::to_string(i % 9 + 1) +
                '\n' + std::to_string(i + 1) + ' ' + std::to_string(j + 2) + " 1\n";
    }
    const Scratch scratch;
    const std::string path =
        scratch.file("a.mtx", kCoordinate + std::to_string(kRows) + ' ' + std::to_string(kCols) + ' ' +
                                  std::to_string(2 * kRows) + '\n' + body);
    const Json report = reportOf({path});
    EXPECT_EQ(report["status"].text(), "accurate");
    EXPECT_LT(report["max_error"].number(), 1e-8);
    EXPECT_LT(report["normal_residual"].number(), 1e-12);
}

TEST(RectangularCommand, ArraysAndDenseOnRequestStayDense)
{
    const Scratch scratch;
    const std::string array = scratch.file("a.mtx", kArray + "2 1\n1\n2\n");
    const Json dense = reportOf({array});
    EXPECT_EQ(dense["road"].text(), "QR (least squares)");
    EXPECT_TRUE(dense["refinement_steps"].isNull());
    EXPECT_TRUE(dense["krylov_steps"].isNull());
    const std::string wide = scratch.file("b.mtx", kCoordinate + "1 2 2\n1 1 3\n1 2 4\n");
    EXPECT_EQ(reportOf({wide, "--dense"})["road"].text(), "LQ (minimum norm)");
}

TEST(RectangularCommand, RightHandSidesHaveToFit)
{
    const Scratch scratch;
    const std::string matrix = scratch.file("a.mtx", kCoordinate + "1 300000 1\n1 1 1\n");
    const std::string tall = scratch.file("b.mtx", kArray + "2 1\n1\n2\n");
    EXPECT_EQ(run({"solve", matrix, "--rhs", tall}).err,
              "lintrix: " + tall + ":2: the right-hand side has 2 rows, the matrix 1\n");
    // A row each to read, but 300,000 unknowns to write.
    const std::string many = scratch.file("c.mtx", kCoordinate + "1 10000 1\n1 1 1\n");
    EXPECT_EQ(run({"solve", matrix, "--rhs", many}).err,
              "lintrix: " + many +
                  ":2: 10000 right-hand sides of a 1 x 300000 matrix do not fit into memory\n");
}

} // namespace
} // namespace Velmar::Lintrix::testing
