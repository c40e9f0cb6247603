// `lintrix solve` with its factor in files: the option, the answers, and what is left behind.

#include <tests/tools/command.h>

#include <lintrix/lintrix.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::Contains;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

/// What a matrix on a cube has in its cells, as a file writes them. Without `above` the file is symmetric.
struct Cells {
    std::string kind, diagonal, below, above;
};

/// Seven points on a cube.
std::string cube(int side, const Cells& cells)
{
    const int n = side * side * side;
    std::string body;
    int count = 0;
    const auto add = [&](int i, int j, const std::string& value) {
        if (value.empty()) return;
        body += std::to_string(i + 1) + ' ' + std::to_string(j + 1) + ' ' + value + '\n';
        ++count;
    };
    const auto couple = [&](int i, int j) {
        add(j, i, cells.below);
        add(i, j, cells.above);
    };
    for (int i = 0; i < n; ++i) {
        add(i, i, cells.diagonal);
        if (i % side + 1 < side) couple(i, i + 1);
        if (i / side % side + 1 < side) couple(i, i + side);
        if (i + side * side < n) couple(i, i + side * side);
    }
    return "%%MatrixMarket matrix coordinate " + cells.kind + "\n" + std::to_string(n) + ' ' +
           std::to_string(n) + ' ' + std::to_string(count) + '\n' + body;
}

const Cells kPositive{"real symmetric", "6.5", "-1", ""};

/// A run with a folder of its own for temporary files.
class OutOfCoreCommand : public ::testing::Test {
protected:
    Outcome solve(const std::vector<std::string>& options)
    {
        invocation.arguments = {"solve", matrix};
        invocation.arguments.insert(invocation.arguments.end(), options.begin(), options.end());
        invocation.variables.push_back("TMPDIR=" + temporary.at(""));
        return run(invocation);
    }
    Json report(std::vector<std::string> options)
    {
        options.emplace_back("--json");
        const Outcome outcome = solve(options);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        return parseJson(outcome.out);
    }
    void useCube(int side, const Cells& cells = kPositive)
    {
        matrix = files.file("cube.mtx", cube(side, cells));
    }

    Scratch files, temporary;
    std::string matrix;
    Invocation invocation;
};

TEST_F(OutOfCoreCommand, AnswersAsInMemory)
{
    const std::vector<Cells> table{kPositive,
                                   {"real symmetric", "0.5", "-1", ""},
                                   {"real general", "6.5", "-1", "-1.5"},
                                   {"real general", "1.5", "-1", "-2"},
                                   {"complex hermitian", "6.5 0", "-0.5 0.5", ""},
                                   {"complex symmetric", "6.5 1", "-1 0.5", ""},
                                   {"complex general", "6.5 1", "-1 0.5", "-0.5 1"}};
    for (const Cells& cells : table) {
        SCOPED_TRACE(cells.kind + " " + cells.diagonal);
        useCube(13, cells);
        const Json inMemory = report({}), inFiles = report({"--out-of-core=8"});
        EXPECT_EQ(inMemory["factor_store"].text(), "memory");
        EXPECT_TRUE(inMemory["core_megabytes"].isNull());
        EXPECT_EQ(inFiles["factor_store"].text(), "files");
        EXPECT_EQ(inFiles["core_megabytes"].number(), 8);
        EXPECT_GT(inFiles["factor_bytes"].number(), 8.0 * 2197);
        EXPECT_EQ(inFiles["road"].text(), inMemory["road"].text());
        EXPECT_EQ(inFiles["status"].text(), "accurate");
        EXPECT_LT(inFiles["residual"].number(), std::max(10.0 * inMemory["residual"].number(), 1e-14));
        EXPECT_LT(inFiles["max_error"].number(), std::max(100.0 * inMemory["max_error"].number(), 1e-12));
        EXPECT_THAT(temporary.names(), IsEmpty());
    }
}

TEST_F(OutOfCoreCommand, SolvesRealMatrices)
{
    for (const char* name :
         {"662_bus.mtx", "bcsstk04.mtx", "sherman4.mtx", "west0479.mtx", "jpwh_991.mtx", "young1c.mtx.gz",
          "qc324.mtx.gz", "yherm_1354pegase.mtx.gz", "kkt_MOSARQP1.mtx.gz"}) {
        SCOPED_TRACE(name);
        matrix = dataFile(name);
        const Json inFiles = report({"--out-of-core=4"}),
                   inMemory = report({"--ordering", "mmd"}); // by the engine, too
        EXPECT_EQ(inFiles["factor_store"].text(), "files");
        EXPECT_EQ(inFiles["status"].text(), inMemory["status"].text());
        EXPECT_EQ(inFiles["road"].text(), inMemory["road"].text());
        EXPECT_LT(inFiles["residual"].number(), 1e-13);
        EXPECT_LT(inFiles["max_error"].number(), std::max(1000.0 * inMemory["max_error"].number(), 1e-10));
        EXPECT_THAT(temporary.names(), IsEmpty());
    }
}

TEST_F(OutOfCoreCommand, TellsItInWords)
{
    useCube(10);
    const Outcome outcome = solve({"--out-of-core=3"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, HasSubstr(" in files, with a core of 3 MB\nperturbed pivots"));
    EXPECT_THAT(solve({}).out, HasSubstr(" in memory\nperturbed pivots"));
}

TEST_F(OutOfCoreCommand, TheEnginesReportHasTheTable)
{
    useCube(10);
    const Outcome outcome = solve({"--out-of-core=3", "--report"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, HasSubstr(" ----------- Out of core Mb --------------"));
    EXPECT_THAT(outcome.out, HasSubstr("running in Out-Of-Core mode, because iparam(60)=2"));
}

TEST_F(OutOfCoreCommand, TheCoreIsOfMemoryWhereNobodySaysMore)
{
    useCube(6);
    EXPECT_GE(report({"--out-of-core"})["core_megabytes"].number(), 1);
    invocation.variables.emplace_back("MKL_PARDISO_OOC_MAX_CORE_SIZE=17");
    EXPECT_EQ(report({"--out-of-core"})["core_megabytes"].number(), 17);
    EXPECT_EQ(report({"--out-of-core=5"})["core_megabytes"].number(), 5);
}

TEST_F(OutOfCoreCommand, ACoreThatIsNoneIsUsage)
{
    matrix = dataFile("pde225.mtx");
    for (const std::string word : {"0", "-1", "many", "1.5", "2MB", "2147483648", "99999999999999999999"}) {
        const Outcome outcome = solve({"--out-of-core=" + word});
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err,
                  "lintrix: --out-of-core: '" + word +
                      "' is not a whole number from 1 to 2147483647 (see lintrix solve --help)\n");
    }
    EXPECT_EQ(report({"--out-of-core=2147483647"})["core_megabytes"].number(), 2147483647);
    EXPECT_THAT(temporary.names(), IsEmpty());
}

TEST_F(OutOfCoreCommand, ACoreThatIsTooSmallIsTold)
{
    useCube(24);
    const Outcome outcome = solve({"--out-of-core=1"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, StartsWith("lintrix: a core of 1 MB is too small: with the factor in files "));
    EXPECT_THAT(outcome.err, EndsWith(" MB are needed at least\n"));
    EXPECT_THAT(temporary.names(), IsEmpty());
}

TEST_F(OutOfCoreCommand, FilesStandWhereTheUserSays)
{
    const Scratch own;
    useCube(8);
    invocation.variables = {"MKL_PARDISO_OOC_PATH=" + own.at("mine"), "MKL_PARDISO_OOC_KEEP_FILE=1"};
    EXPECT_EQ(report({"--out-of-core=3"})["factor_store"].text(), "files");
    EXPECT_THAT(own.names(), SizeIs(11));
    EXPECT_THAT(own.names(), Contains("mine0.lnz"));
    EXPECT_THAT(temporary.names(), IsEmpty());
}

TEST_F(OutOfCoreCommand, FilesOfTheUsersPathAreRemovedUnlessTheyAreToBeKept)
{
    const Scratch own;
    useCube(8);
    own.file("pardiso_ooc.cfg", "mkl_pardiso_ooc_path = " + own.at("mine") + "\n");
    invocation.variables = {"MKL_PARDISO_OOC_CFG_PATH=" + own.at("")};
    EXPECT_EQ(report({"--out-of-core=3"})["factor_store"].text(), "files");
    EXPECT_THAT(own.names(), SizeIs(1));
}

TEST_F(OutOfCoreCommand, AFailedSystemLeavesNoFile)
{
    // Two equal rows beyond rounding: each road is taken from files, and none leads to a solution.
    matrix = files.file("singular.mtx", "%%MatrixMarket matrix coordinate real general\n3 3 9\n"
                                        "1 1 1\n1 2 2\n1 3 3\n2 1 1\n2 2 2\n2 3 3\n3 1 4\n3 2 5\n3 3 7\n");
    const std::string outside =
        files.file("right.mtx", "%%MatrixMarket matrix array real general\n3 1\n1\n2\n0\n");
    EXPECT_EQ(solve({"--rhs", outside, "--out-of-core=2"}).exitCode, 1);
    EXPECT_THAT(temporary.names(), IsEmpty());
}

TEST_F(OutOfCoreCommand, AFileThatMayNotGrowIsTold)
{
    useCube(13);
    invocation.fileLimit = 256 << 10;
    const Outcome outcome = solve({"--out-of-core=3"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, StartsWith("lintrix: the files of the factor cannot be written or read in " +
                                        temporary.at("lintrix.")));
    EXPECT_THAT(outcome.err, EndsWith(": a file may have 262.1 kB (see ulimit -f)\n"));
    EXPECT_THAT(temporary.names(), IsEmpty());
}

TEST_F(OutOfCoreCommand, AFolderThatIsNotThereIsTold)
{
    useCube(4);
    invocation.variables = {"MKL_PARDISO_OOC_PATH=/nowhere/factor"};
    EXPECT_EQ(
        solve({"--out-of-core"}).err,
        "lintrix: the files of the factor cannot be made or opened in /nowhere: No such file or directory\n");
    invocation.variables = {"TMPDIR=/nowhere"};
    const Outcome outcome = run(invocation);
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.err,
              "lintrix: /nowhere: no folder for the factor can be made there: No such file or directory\n");
}

TEST_F(OutOfCoreCommand, ASignalThatEndsTheCommandLeavesNoFile)
{
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        useCube(30);
        std::size_t during = 0;
        invocation.onceStarted = [&](pid_t child) {
            for (int tries = 0; tries < 30000 && during < 11; ++tries) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                std::error_code gone;
                during = 0;
                for (const std::string& name : temporary.names())
                    for ([[maybe_unused]] const auto& entry :
                         std::filesystem::directory_iterator(temporary.at(name), gone))
                        ++during;
            }
            kill(child, number);
        };
        EXPECT_EQ(solve({"--out-of-core=40", "--ordering", "mmd"}).exitCode, -1);
        EXPECT_GE(during, 11U);
        EXPECT_THAT(temporary.names(), IsEmpty());
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
