// `lintrix solve` on systems on which the first road, or the first order, goes wrong; and what has no
// solution.

#include <tests/tools/command.h>
#include <tests/tools/json.h>

#include <lintrix/sparse/matrix_market.h>
#include <lintrix/sparse/sparse_assembler.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::HasSubstr;

SparseAssembler symmetricOf(std::int32_t size)
{
    return SparseAssembler(size, size,
                           {.storage = AssemblyStorage::Symmetric, .lower = LowerEntries::Mirror});
}

/// Which corners of a triangulated square are neighbours, in any order: each cell is cut along one of its
/// diagonals.
SparseMatrix triangulation(std::int32_t side, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::vector<std::int32_t> place(static_cast<std::size_t>(side) * static_cast<std::size_t>(side));
    std::iota(place.begin(), place.end(), 0);
    std::ranges::shuffle(place, generator);
    const auto n = static_cast<std::int32_t>(place.size());
    SparseAssembler entries = symmetricOf(n);
    const auto join = [&](std::int32_t i, std::int32_t j) {
        entries.Add(place[static_cast<std::size_t>(i)], place[static_cast<std::size_t>(j)], 1.0);
    };
    for (std::int32_t i = 0; i < n; ++i) {
        const bool right = i % side + 1 < side, below = i + side < n;
        if (right) join(i, i + 1);
        if (below) join(i, i + side);
        if (!right || !below) continue;
        if (generator() % 2 == 0)
            join(i + 1, i + side);
        else
            join(i, i + side + 1);
    }
    return entries.Assemble();
}

TEST(VerdictCommand, WhereOneOrderLeadsAstrayTheOtherIsTakenFirst)
{
    const Scratch scratch;
    const std::string path = scratch.at("graph.mtx");
    WriteMatrixMarket(path, triangulation(100, 4));
    const Json report = reportOf({path});
    EXPECT_EQ(report["status"].text(), "accurate");
    EXPECT_EQ(report["road"].text(), "sparse LDL'");
    EXPECT_LT(report["max_error"].number(), 1e-9);
}

/// |I A'; A 0| of a fit to data under conditions on all second differences, which depend on each other the
/// more the longer they are.
SparseMatrix smoothing(std::int32_t points)
{
    SparseAssembler entries = symmetricOf(2 * points - 2);
    for (std::int32_t i = 0; i < points; ++i) entries.Add(i, i, 1.0);
    for (std::int32_t k = 0; k + 2 < points; ++k) {
        entries.Add(k, points + k, 1.0);
        entries.Add(k + 1, points + k, -2.0);
        entries.Add(k + 2, points + k, 1.0);
    }
    return entries.Assemble();
}

TEST(VerdictCommand, WhereNoDigitComesBackAStrongerRoadIsTaken)
{
    const Scratch scratch;
    const std::string path = scratch.at("fit.mtx");
    WriteMatrixMarket(path, smoothing(10002));
    const Json report = reportOf({path});
    EXPECT_LT(report["max_error"].number(), 1e-2);
    EXPECT_LT(report["probe_error"].number(), 1e-2);
    EXPECT_LT(report["residual"].number(), 1e-12);
}

void expectStructurallySingular(const SparseMatrix& A, const std::string& rank)
{
    const Scratch scratch;
    const std::string path = scratch.at("a.mtx");
    WriteMatrixMarket(path, A);
    const Outcome outcome = run({"solve", path, "--json", "--out", scratch.at("x")});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.err, "lintrix: " + path + ": there is no good solution: structurally singular: " +
                               rank + " rows matched\n");
    const Json report = parseJson(outcome.out);
    EXPECT_EQ(report["status"].text(), "failed");
    EXPECT_EQ(report["reason"].text(), "structurally singular: " + rank + " rows matched");
    EXPECT_FALSE(std::filesystem::exists(scratch.at("x")));
}

TEST(VerdictCommand, AStructurallySingularMatrixHasNoSolution)
{
    // The neighbours in a cube of 27 x 27 x 27, chequered: one more of one colour than of the other.
    constexpr std::int32_t kSide = 27, n = kSide * kSide * kSide;
    std::mt19937_64 generator(1);
    std::uniform_real_distribution<double> weight(0.9, 1.1);
    SparseAssembler cube = symmetricOf(n);
    for (std::int32_t i = 0; i < n; ++i) {
        if (i % kSide + 1 < kSide) cube.Add(i, i + 1, weight(generator));
        if (i / kSide % kSide + 1 < kSide) cube.Add(i, i + kSide, weight(generator));
        if (i + kSide * kSide < n) cube.Add(i, i + kSide * kSide, weight(generator));
    }
    expectStructurallySingular(cube.Assemble(), "19682 of 19683");

    // Seven more conditions on one unknown.
    constexpr std::int32_t kUnknowns = 2000, kConditions = 1000;
    SparseAssembler conditions = symmetricOf(kUnknowns + kConditions + 7);
    for (std::int32_t i = 0; i < kUnknowns; ++i) conditions.Add(i, i, 2.0);
    for (std::int32_t k = 0; k < kConditions; ++k) conditions.Add(k, kUnknowns + k, 1.0);
    for (std::int32_t k = 0; k < 7; ++k) conditions.Add(0, kUnknowns + kConditions + k, k + 1.0);
    expectStructurallySingular(conditions.Assemble(), "3000 of 3007");
}

TEST(VerdictCommand, ExplainsItselfOnRequest)
{
    const Scratch scratch;
    const std::string regular = scratch.file("a.mtx", "%%MatrixMarket matrix coordinate real general\n"
                                                      "2 2 3\n1 1 2\n2 2 3\n1 2 1\n");
    const Outcome solved = run({"solve", regular, "--explain"});
    EXPECT_EQ(solved.exitCode, 0);
    EXPECT_EQ(solved.err, "");
    EXPECT_THAT(solved.out, HasSubstr("status"));
    EXPECT_THAT(solved.out, HasSubstr("\n\nThe solution is accurate.\n"));
    EXPECT_THAT(solved.out, HasSubstr("\nAdvice: nothing has to be done.\n"));
    EXPECT_EQ(run({"solve", regular}).out.find("Advice"), std::string::npos);

    const std::string singular = scratch.file("b.mtx", "%%MatrixMarket matrix coordinate real general\n"
                                                       "3 3 4\n1 1 1\n2 1 1\n3 1 1\n3 3 1\n");
    const Outcome failed = run({"solve", singular, "--explain"});
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_THAT(failed.out,
                HasSubstr("There is no good solution: structurally singular: 2 of 3 rows matched."));
    EXPECT_THAT(failed.out, HasSubstr("olumn 2 is empty")) << "counted as in the file";
    EXPECT_THAT(failed.out, HasSubstr("(They are counted from 1.)"));
    EXPECT_EQ(run({"solve", regular, "--explain", "--json"}).exitCode, 2);
}

TEST(VerdictCommand, ASingularSystemHasManySolutionsOrNone)
{
    const Scratch scratch;
    const std::string path = scratch.file("a.mtx", "%%MatrixMarket matrix coordinate real general\n"
                                                   "2 2 4\n1 1 1\n1 2 2\n2 1 3\n2 2 6\n");
    const std::string array = "%%MatrixMarket matrix array real general\n2 1\n";
    const Outcome many = run({"solve", path, "--rhs", scratch.file("b.mtx", array + "5\n15\n"), "--json",
                              "--out", scratch.at("x.mtx")});
    EXPECT_EQ(many.exitCode, 0);
    EXPECT_THAT(many.err, HasSubstr("the solution is degraded: singular: the shortest of many solutions"));
    const Json report = parseJson(many.out);
    EXPECT_EQ(report["status"].text(), "degraded");
    EXPECT_EQ(report["solutions"].text(), "many");
    EXPECT_LT(report["residual"].number(), 1e-15);
    const Matrix x = ReadMatrixMarketDense(scratch.at("x.mtx"));
    EXPECT_NEAR(x(0, 0), 1.0, 1e-12);
    EXPECT_NEAR(x(1, 0), 2.0, 1e-12);

    const Outcome none = run({"solve", path, "--rhs", scratch.file("c.mtx", array + "5\n14\n"), "--json"});
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_EQ(parseJson(none.out)["solutions"].text(), "none");
}

TEST(VerdictCommand, ASolutionWithoutACorrectDigitIsNone)
{
    // A complex chain whose rows add up to zero: LU along the diagonal meets no small pivot before the last.
    constexpr int n = 400;
    std::string body;
    for (int i = 1; i <= n; ++i) {
        const int neighbours = (i > 1 ? 1 : 0) + (i < n ? 1 : 0);
        body +=
            std::to_string(i) + ' ' + std::to_string(i) + ' ' + std::to_string(0.3 * neighbours) + " 0.1\n";
        if (i > 1)
            body +=
                std::to_string(i) + ' ' + std::to_string(i - 1) + " -0.3 " + (i == n ? "-0.1\n" : "-0.05\n");
        if (i < n)
            body +=
                std::to_string(i) + ' ' + std::to_string(i + 1) + " -0.3 " + (i == 1 ? "-0.1\n" : "-0.05\n");
    }
    const Scratch scratch;
    const std::string path =
        scratch.file("a.mtx", "%%MatrixMarket matrix coordinate complex general\n" + std::to_string(n) + ' ' +
                                  std::to_string(n) + ' ' + std::to_string(3 * n - 2) + '\n' + body);
    std::string right = "%%MatrixMarket matrix array real general\n" + std::to_string(n) + " 1\n";
    for (int i = 1; i <= n; ++i) right += i == 1 ? "1\n" : "0\n"; // which no column adds up to
    const Outcome outcome =
        run({"solve", path, "--rhs", scratch.file("b.mtx", right), "--json", "--out", scratch.at("x")});
    const Json report = parseJson(outcome.out);
    EXPECT_EQ(outcome.exitCode, 1) << outcome.out;
    EXPECT_EQ(report["status"].text(), "failed");
    EXPECT_THAT(outcome.err, HasSubstr(": there is no good solution: "));
    EXPECT_FALSE(std::filesystem::exists(scratch.at("x")));
}

} // namespace
} // namespace Velmar::Lintrix::testing
