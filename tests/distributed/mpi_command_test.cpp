// `lintrix-mpi` as its user meets it, beside `lintrix solve` on the same files.

#include <tests/tools/command.h>

#include <lintrix/lintrix.h>

#include <gmock/gmock.h>

#include <sstream>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

/// What MPI needs to know of a test, before its command.
std::vector<std::string> withSettings(std::vector<std::string> words)
{
    words.emplace_back("/usr/bin/env");
    std::istringstream settings(LINTRIX_MPI_ENVIRONMENT);
    for (std::string setting; settings >> setting;) words.push_back(setting);
    return words;
}

/// Seconds. A rank that waits for ever is a failure; ranks that share busy cores with others take their time.
const std::string kTimeLimit = "300";

Outcome runOn(int ranks, std::vector<std::string> arguments)
{
    Invocation invocation;
    invocation.program = "/usr/bin/timeout";
    invocation.arguments = withSettings({kTimeLimit});
    const std::vector<std::string> start = {LINTRIX_MPIEXEC, "-q", "-np", std::to_string(ranks),
                                            LINTRIX_MPI_COMMAND};
    invocation.arguments.insert(invocation.arguments.end(), start.begin(), start.end());
    invocation.arguments.insert(invocation.arguments.end(), arguments.begin(), arguments.end());
    return run(invocation);
}

Json reportOn(int ranks, std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "solve");
    arguments.emplace_back("--json");
    const Outcome outcome = runOn(ranks, arguments);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    return parseJson(outcome.out);
}

const std::string kHead = "%%MatrixMarket matrix coordinate real general\n";

TEST(MpiCommand, TellsTheSystemAsOneMachineDoes)
{
    for (const int ranks : {1, 2, 4}) {
        for (const std::string name : {"west0156.mtx", "bcsstk04.mtx", "ybus_118.mtx"}) {
            SCOPED_TRACE(name);
            const std::string file = dataFile(name);
            const Json found = reportOn(ranks, {file}), expected = reportOf({file});
            for (const std::string key : {"matrix", "status"})
                EXPECT_EQ(found[key].text(), expected[key].text());
            for (const std::string key : {"rows", "cols", "entries", "right_hands"})
                EXPECT_EQ(found[key].number(), expected[key].number()) << key;
            EXPECT_LE(found["residual"].number(), 1e-14);
            EXPECT_LE(found["probe_error"].number(), 1e-6);
            EXPECT_EQ(found["ranks"].number(), ranks);
        }
    }
}

TEST(MpiCommand, TheSolutionIsThatOfOneMachine)
{
    const Scratch scratch;
    const std::string b =
        scratch.file("b.mtx", "%%MatrixMarket matrix array real general\n3 2\n1\n2\n3\n4\n5\n6\n");
    const std::string A =
        scratch.file("a.mtx", kHead + "3 3 5\n1 1 2\n2 2 4\n3 3 -8\n1 3 0.5\n% note\n\n3 1 1\n");
    ASSERT_EQ(run({"solve", A, "--rhs", b, "--out", scratch.at("one.mtx")}).exitCode, 0);
    const Matrix one = ReadMatrixMarketDense(scratch.at("one.mtx"));
    for (const int ranks : {1, 2, 4}) {
        ASSERT_EQ(runOn(ranks, {"solve", A, "--rhs", b, "--out", scratch.at("many.mtx")}).exitCode, 0);
        const Matrix many = ReadMatrixMarketDense(scratch.at("many.mtx"));
        ASSERT_EQ(many.Cols(), 2);
        for (std::int32_t j = 0; j < 2; ++j)
            for (std::int32_t i = 0; i < 3; ++i) EXPECT_NEAR(many(i, j), one(i, j), 1e-15);
    }
}

TEST(MpiCommand, ABadFileIsToldOnceAndWithTheLineOfTheWholeFile)
{
    const Scratch scratch;
    std::string many = kHead + "40 40 40\n";
    for (int i = 1; i <= 40; ++i) many += std::to_string(i) + ' ' + std::to_string(i) + " 1.5\n";
    const std::string half = many.substr(0, many.size() / 2 - 1);
    std::string text = many, outside = many, surplus = many + "1 2 1\n";
    text.replace(text.find("37 37 1.5"), 9, "37 37 x.5");
    outside.replace(outside.find("5 5 1.5"), 7, "5 50 1.");
    for (const std::string& content :
         {half, text, outside, surplus, many.substr(0, many.find("20 20 1.5")), std::string(), kHead,
          std::string("no matrix"), kHead + "2 2 -1\n", kHead + "2 2 1\n3 1 1\n"}) {
        const std::string file = scratch.file("bad.mtx", content);
        const Outcome expected = run({"solve", file});
        ASSERT_EQ(expected.exitCode, 2);
        for (const int ranks : {1, 4}) {
            const Outcome found = runOn(ranks, {"solve", file});
            EXPECT_EQ(found.exitCode, 2);
            EXPECT_EQ(found.err, expected.err);
            EXPECT_EQ(found.out, "");
        }
    }
}

TEST(MpiCommand, WhatOneMachineSolvesAloneIsRefused)
{
    const Scratch scratch;
    const std::string array = scratch.file("a.mtx", "%%MatrixMarket matrix array real general\n1 1\n2\n");
    const std::string wide = scratch.file("w.mtx", kHead + "1 2 1\n1 1 1\n");
    EXPECT_EQ(runOn(2, {"solve", array}).err,
              "lintrix: " + array +
                  ":2: an array is a dense matrix, which lintrix solve takes on one machine\n");
    EXPECT_EQ(runOn(2, {"solve", wide}).err,
              "lintrix: " + wide +
                  ":2: a 1 x 2 matrix is not square: lintrix solve takes it on one machine\n");
    const Outcome missing = runOn(2, {"solve", scratch.at("none.mtx")});
    EXPECT_EQ(missing.exitCode, 2);
    EXPECT_EQ(missing.err, run({"solve", scratch.at("none.mtx")}).err);
}

TEST(MpiCommand, ASingularMatrixIsOneSentenceAndExitCodeOne)
{
    for (const std::string name : {"bcsstm01.mtx", "jgl011.mtx"}) {
        const Outcome outcome = runOn(2, {"solve", dataFile(name)});
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_THAT(outcome.err,
                    StartsWith("lintrix: " + dataFile(name) + ": there is no good solution: singular"));
        EXPECT_THAT(outcome.out, HasSubstr("failed, singular"));
    }
}

TEST(MpiCommand, TellsWhatTheFactorizationWouldTake)
{
    const Outcome outcome = runOn(2, {"solve", dataFile("bcsstk04.mtx"), "--forecast", "--json"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    const Json forecast = parseJson(outcome.out);
    EXPECT_EQ(forecast["ranks"].number(), 2);
    EXPECT_GE(forecast["factor_entries"].number(), 1890);
    EXPECT_GE(forecast["bytes_all_ranks"].number(), forecast["bytes_largest_rank"].number());
    EXPECT_GT(forecast["operations"].number(), 0.0);
    EXPECT_EQ(forecast["bytes_vectors_each_rank"].number(), 132 * 8 * 4 * 2); // a column, and the known one
}

TEST(MpiCommand, TheForecastCountsTheVectorsOfAllRightHandSides)
{
    const Scratch scratch;
    std::string b = "%%MatrixMarket matrix array real general\n132 5\n";
    for (int i = 0; i < 132 * 5; ++i) b += "1\n";
    const Outcome outcome = runOn(
        2, {"solve", dataFile("bcsstk04.mtx"), "--rhs", scratch.file("b.mtx", b), "--forecast", "--json"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(parseJson(outcome.out)["bytes_vectors_each_rank"].number(), 132 * 8 * 4 * 6);
}

TEST(MpiCommand, FewerLinesAndFewerRowsThanRanksWillDo)
{
    const Scratch scratch;
    const std::string one = scratch.file("one.mtx", kHead + "1 1 1\n1 1 4\n");
    const std::string two = scratch.file("two.mtx", kHead + "2 2 2\n1 2 4\n2 1 -1\n");
    for (const std::string& file : {one, two}) {
        const Json found = reportOn(4, {file});
        EXPECT_EQ(found["status"].text(), "accurate");
        EXPECT_EQ(found["max_error"].number(), 0.0);
    }
}

TEST(MpiCommand, RowsThatAreEmptyOnARankAreNamed)
{
    const Scratch scratch;
    const std::string file = scratch.file("a.mtx", kHead + "4 4 4\n1 1 1\n2 2 1\n1 3 1\n2 4 1\n");
    for (const int ranks : {1, 2, 4}) {
        const Outcome outcome = runOn(ranks, {"solve", file});
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_EQ(outcome.err,
                  "lintrix: " + file + ": there is no good solution: singular: row 3 of 4 is zero\n");
    }
}

TEST(MpiCommand, AFaultInAPartThatOneRankReadsIsToldWithItsLine)
{
    const Scratch scratch;
    std::string text = kHead + "200 200 200\n";
    for (int i = 1; i <= 200; ++i) text += std::to_string(i) + ' ' + std::to_string(i) + " 1.5\n";
    std::string binary = text, endless = text;
    binary.replace(binary.find("150 150 1.5"), 11, std::string(11, '\0'));
    endless.replace(endless.find("150 150 1.5"), 11, std::string(5000, '7'));
    for (const std::string& content : {binary, endless, text.substr(0, text.find("150 150 1.5") + 5)}) {
        const std::string file = scratch.file("bad.mtx", content);
        const Outcome expected = run({"solve", file}), found = runOn(2, {"solve", file});
        ASSERT_EQ(expected.exitCode, 2);
        EXPECT_EQ(found.exitCode, 2);
        EXPECT_EQ(found.err, expected.err);
        EXPECT_THAT(found.err, HasSubstr(":152: "));
    }
}

TEST(MpiCommand, WithoutMpirunItIsOneRank)
{
    Invocation invocation;
    invocation.program = "/usr/bin/timeout";
    invocation.arguments = withSettings({kTimeLimit});
    for (const std::string& word : {std::string(LINTRIX_MPI_COMMAND), std::string("solve"),
                                    dataFile("bcsstk04.mtx"), std::string("--json")})
        invocation.arguments.push_back(word);
    const Outcome outcome = run(invocation);
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(parseJson(outcome.out)["ranks"].number(), 1);
}

TEST(MpiCommand, IsNotBegunWhereTheMemoryAllowedIsTooSmall)
{
    const Scratch scratch;
    const Outcome outcome =
        runOn(2, {"solve", dataFile("sherman4.mtx"), "--memory", "1", "--out", scratch.at("x.mtx")});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err,
                ::testing::MatchesRegex("lintrix: the factorization takes .* MB on rank 0, and 1.0 "
                                        "MB are allowed there\n"));
    EXPECT_TRUE(scratch.names().empty());
}

TEST(MpiCommand, ARankThatIsKilledEndsTheOthers)
{
    Invocation invocation;
    invocation.program = "/usr/bin/timeout";
    invocation.arguments = withSettings({kTimeLimit});
    for (const std::string word : {LINTRIX_MPIEXEC, "-np", "1", LINTRIX_MPI_COMMAND, "solve"})
        invocation.arguments.push_back(word);
    for (const std::string& word :
         {dataFile("bcsstk04.mtx"), std::string(":"), std::string("-np"), std::string("1"), std::string("sh"),
          std::string("-c"), std::string("kill -9 $$")})
        invocation.arguments.push_back(word);
    const Outcome outcome = run(invocation);
    EXPECT_NE(outcome.exitCode, 0);
    EXPECT_NE(outcome.exitCode, 124); // of `timeout`
    EXPECT_NE(outcome.err, "");
}

/// Rank 0 waits for a right-hand side that nobody writes, the others for rank 0, until one of them is killed.
TEST(MpiCommand, ARankThatIsKilledAtItsWorkEndsThoseThatWaitForIt)
{
    const Scratch scratch;
    const std::string pipe = scratch.at("b.mtx");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    Invocation invocation;
    invocation.program = "/usr/bin/timeout";
    invocation.arguments = withSettings({kTimeLimit});
    const std::string script = R"([ "$OMPI_COMM_WORLD_RANK" = 1 ] && { sleep 3; kill -9 $$; } & exec "$@")";
    for (const std::string& word :
         {std::string(LINTRIX_MPIEXEC), std::string("-np"), std::string("2"), std::string("sh"),
          std::string("-c"), script, std::string("sh"), std::string(LINTRIX_MPI_COMMAND),
          std::string("solve"), dataFile("bcsstk04.mtx"), std::string("--rhs"), pipe})
        invocation.arguments.push_back(word);
    const Outcome outcome = run(invocation);
    EXPECT_EQ(outcome.exitCode, 128 + 9);
    EXPECT_THAT(outcome.err, HasSubstr("signal 9"));
    EXPECT_EQ(outcome.out, "");
}

TEST(MpiCommand, WrongUsageIsOneLineFromOneRank)
{
    EXPECT_EQ(runOn(4, {"solve"}).err, "lintrix: MATRIX is required (see lintrix-mpi solve --help)\n");
    EXPECT_EQ(runOn(4, {}).err, "lintrix: A subcommand is required (see lintrix-mpi --help)\n");
    EXPECT_EQ(runOn(4, {"solve", "a", "--threads", "0"}).err,
              "lintrix: --threads: '0' is not a whole number from 1 to 2147483647 (see lintrix-mpi solve "
              "--help)\n");
    EXPECT_THAT(runOn(2, {"--version"}).out,
                StartsWith("lintrix-mpi " + std::string(LibraryVersion()) + "\nMPI: "));
}

TEST(MpiCommand, TheHelpIsToldOnce)
{
    const Outcome outcome = runOn(2, {"solve", "--help"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.out, R"(Solve the linear system A*x = b on several machines
Usage: lintrix-mpi solve [OPTIONS] MATRIX

Positionals:
  MATRIX REQUIRED             Matrix Market file of A, square, which the ranks read in parts

Options:
  -h,--help                   Print this help message and exit
  --rhs FILE                  File of right-hand sides; without it b = A*(1,...,1)
  --out FILE                  File for the solution, a Matrix Market array; - is standard output
  --threads N                 Threads to use on each rank
  --memory MB                 Hold at most MB megabytes on each rank, or do not begin
  --forecast                  Tell what the factorization would take, and stop
  --json Excludes: --explain  Report on one line of JSON
  --explain Excludes: --json  Say in sentences what the report means, and what to do

A is a coordinate file of any field and symmetry; x is complex where A or b is. A compressed file
is read by rank 0 alone, and so are right-hand sides.
Status: accurate; degraded, with the reason; failed, with the reason.
Exit code: 0 accurate or degraded, 1 failed, 2 usage or bad input.
)");
    EXPECT_EQ(outcome.err, "");
}

} // namespace
} // namespace Velmar::Lintrix::testing
