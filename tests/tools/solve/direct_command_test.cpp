// `lintrix solve` through the direct solver, from the outside: its options, its progress, its report.

#include <tests/tools/command.h>
#include <tests/tools/json.h>
#include <tests/tools/terminal.h>

#include <lintrix/sparse/matrix_market.h>
#include <lintrix/sparse/sparse_assembler.h>

#include <gmock/gmock.h>

#include <random>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

const std::string kSymmetric = "%%MatrixMarket matrix coordinate real symmetric\n";

/// Seven points on a cube.
std::string cube(int side)
{
    const int n = side * side * side;
    std::string body;
    int count = 0;
    const auto add = [&](int i, int j, const char* value) {
        body += std::to_string(i + 1) + ' ' + std::to_string(j + 1) + value;
        ++count;
    };
    for (int i = 0; i < n; ++i) {
        add(i, i, " 6\n");
        if (i % side + 1 < side) add(i + 1, i, " -1\n");
        if (i / side % side + 1 < side) add(i + side, i, " -1\n");
        if (i + side * side < n) add(i + side * side, i, " -1\n");
    }
    return kSymmetric + std::to_string(n) + ' ' + std::to_string(n) + ' ' + std::to_string(count) + '\n' +
           body;
}

TEST(DirectCommand, OptionsChooseTheWay)
{
    const Scratch scratch;
    const std::string path = scratch.file("cube.mtx", cube(6));
    EXPECT_EQ(reportOf({path})["road"].text(), "sparse Cholesky");
    EXPECT_EQ(reportOf({path, "--type", "auto"})["road"].text(), "sparse Cholesky");
    EXPECT_EQ(reportOf({path, "--type", "positive-definite"})["road"].text(), "sparse Cholesky");
    EXPECT_EQ(reportOf({path, "--type", "indefinite"})["road"].text(), "sparse LDL'");
    EXPECT_EQ(reportOf({path, "--type", "structurally-symmetric"})["road"].text(), "sparse LU");
    EXPECT_EQ(reportOf({path, "--type", "unsymmetric"})["road"].text(), "sparse LU with matching");
    EXPECT_EQ(reportOf({path, "--dense"})["road"].text(), "LU");
    EXPECT_EQ(reportOf({path})["ordering"].text(), "minimum degree");
    EXPECT_EQ(reportOf({path, "--ordering", "mmd"})["ordering"].text(), "minimum degree");
    EXPECT_EQ(reportOf({path, "--ordering", "nd"})["ordering"].text(), "nested dissection");
    EXPECT_EQ(reportOf({path, "--ordering", "pnd"})["ordering"].text(), "parallel nested dissection");
    EXPECT_EQ(reportOf({path, "--refine", "2"})["refinement_steps"].number(), 2);
    EXPECT_EQ(reportOf({path, "--refine", "-1"})["refinement_steps"].number(), 1);
    EXPECT_EQ(reportOf({path, "--strategy", "when-needed"})["status"].text(), "accurate");
    EXPECT_EQ(reportOf({path, "--strategy", "always"})["status"].text(), "accurate");
}

/// A cube of side x side x side nodes with three unknowns each, joined to all of the 26 nodes around.
SparseMatrix elasticCube(int side)
{
    const int n = 3 * side * side * side;
    SparseAssembler entries(n, n, {.storage = AssemblyStorage::Symmetric, .lower = LowerEntries::Ignore});
    const auto inside = [side](int i) { return i >= 0 && i < side; };
    for (int p = 0; p < n / 3; ++p) {
        for (int k = 0; k < 27; ++k) {
            const int x = p % side + k % 3 - 1, y = p / side % side + k / 3 % 3 - 1,
                      z = p / side / side + k / 9 - 1;
            if (!inside(x) || !inside(y) || !inside(z)) continue;
            const int q = (z * side + y) * side + x;
            for (int m = 0; m < 9; ++m)
                entries.Add(3 * p + m / 3, 3 * q + m % 3, p == q && m % 4 == 0 ? 90.0 : -1.0);
        }
    }
    return entries.Assemble();
}

TEST(DirectCommand, ALargeBodyIsDissected)
{
    const Scratch scratch;
    const std::string path = scratch.at("body.mtx");
    WriteMatrixMarket(path, elasticCube(15));
    const Json report = reportOf({path, "--threads", "1"}); // more share the operations, but not the order
    EXPECT_EQ(report["ordering"].text(), "nested dissection");
    EXPECT_LT(report["factor_entries"].number(),
              reportOf({path, "--ordering", "mmd"})["factor_entries"].number());
}

TEST(DirectCommand, WrongOptionsAreUsage)
{
    const auto fault = [](const std::vector<std::string>& options) {
        std::vector<std::string> arguments{"solve", dataFile("pde225.mtx")};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.out, "");
        return outcome.err;
    };
    EXPECT_EQ(fault({"--ordering", "best"}),
              "lintrix: --ordering: 'best' is none of auto|mmd|nd|pnd (see lintrix solve --help)\n");
    EXPECT_EQ(fault({"--type", "spd"}),
              "lintrix: --type: 'spd' is none of "
              "auto|positive-definite|indefinite|structurally-symmetric|unsymmetric (see lintrix solve "
              "--help)\n");
    EXPECT_EQ(fault({"--strategy", ""}),
              "lintrix: --strategy: '' is none of always|when-needed (see lintrix solve --help)\n");
    EXPECT_EQ(fault({"--report", "--json"}),
              "lintrix: --json excludes --report (see lintrix solve --help)\n");
    EXPECT_THAT(fault({"--refine", "few"}), StartsWith("lintrix: Could not convert: --refine = few"));
}

TEST(DirectCommand, ATypeThatTheValuesContradictIsBadInput)
{
    const Scratch scratch;
    const std::string path =
        scratch.file("a.mtx", "%%MatrixMarket matrix coordinate real general\n2 2 3\n1 1 1\n1 2 1\n2 2 1\n");
    for (const char* type : {"positive-definite", "indefinite"}) {
        const Outcome outcome = run({"solve", path, "--type", type});
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.err, "lintrix: " + path + ": the matrix is not symmetric, as --type says\n");
    }
    EXPECT_EQ(run({"solve", path, "--type", "structurally-symmetric"}).err,
              "lintrix: " + path + ": the pattern is not symmetric, as --type says\n");
}

TEST(DirectCommand, TheEnginesReportComesBeforeTheCommands)
{
    const Outcome outcome = run({"solve", dataFile("662_bus.mtx"), "--report"});
    EXPECT_EQ(outcome.exitCode, 0);
    const std::size_t engine = outcome.out.find("PARDISO: solving a symm. posit. def. system");
    const std::size_t command = outcome.out.find("\nmatrix            ");
    ASSERT_NE(engine, std::string::npos);
    ASSERT_NE(command, std::string::npos);
    EXPECT_LT(engine, command);
    EXPECT_THAT(outcome.out.substr(command), HasSubstr("status            accurate\n"));
}

TEST(DirectCommand, TheRoadsLeftAreTold)
{
    const Scratch scratch;
    const std::string path = scratch.file("a.mtx", kSymmetric + "3 3 6\n1 1 1\n2 2 1\n3 3 1\n"
                                                                "2 1 0.9\n3 1 0.9\n3 2 -0.9\n");
    const Outcome outcome = run({"solve", path});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, HasSubstr("\nroad              sparse LDL'\n"));
    EXPECT_THAT(outcome.out, ::testing::ContainsRegex(
                                 "\nalso tried        sparse Cholesky: not positive definite, pivot "));
}

TEST(DirectCommand, SizesBeyondTheMemoryAreRefused)
{
    const Scratch scratch;
    const std::string path = scratch.file(
        "a.mtx", "%%MatrixMarket matrix coordinate real general\n2147483647 2147483647 1\n1 1 1\n");
    const Outcome outcome = run({"solve", path});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.err,
                StartsWith("lintrix: " + path +
                           ":2: a sparse 2147483647 x 2147483647 system takes 137.4 GB of memory "
                           "before it is factorized, more than the "));
}

#if !LINTRIX_SANITIZED_MEMORY // the sanitizers run the command without a limit on its address space
// The disk, too, has an end: a factor of gigabytes is not made here.
TEST(DirectCommand, FactorsBeyondTheMemoryGoToFiles)
{
    const Scratch scratch;
    constexpr std::int32_t n = 30000; // a network without a shape: the factors fill in
    std::mt19937 generator(1);
    SparseAssembler entries(n, n, {.storage = AssemblyStorage::Symmetric, .lower = LowerEntries::Mirror});
    for (std::int32_t k = 0; k < 4 * n; ++k) {
        entries.Add(k % n, static_cast<std::int32_t>(generator() % static_cast<unsigned>(n)), 1.0);
    }
    const std::string path = scratch.at("network.mtx");
    WriteMatrixMarket(path, entries.Assemble());
    Invocation invocation;
    invocation.arguments = {"solve", path, "--type", "unsymmetric", "--ordering", "mmd"};
    invocation.variables = {"TMPDIR=" + scratch.at("")};
    invocation.fileLimit = 1 << 20;
    const Outcome outcome = run(invocation);
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.err,
                MatchesRegex("lintrix: " + path +
                             ": the factor needs [0-9.]+ GB and [0-9.]+ MB are left: it is kept in "
                             "files\nlintrix: the files of the factor cannot be written or read in " +
                             scratch.at("lintrix") + "[^/]*: a file may have 1.0 MB .see ulimit -f.\n"));
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(scratch.names(), ::testing::ElementsAre("network.mtx"));
}
#endif

TEST(DirectCommand, AFactorizationThatTakesTimeShowsABarAndErasesIt)
{
    const Scratch scratch;
    const std::string path = scratch.file("cube.mtx", cube(40));
    const Terminal terminal;
    if (!terminal.fault().empty()) GTEST_SKIP() << terminal.fault();
    Invocation invocation;
    invocation.error = terminal.name();
    invocation.arguments = {"solve", path, "--threads", "1"};
    EXPECT_EQ(run(invocation).exitCode, 0);
    const std::string written = terminal.written();
    const std::string erase = "\r\x1b[K";
    EXPECT_THAT(written, StartsWith(erase + "solving " + path + ": ["));
    EXPECT_THAT(written, ::testing::ContainsRegex("\\[#+ *\\] [0-9]+ %"));
    EXPECT_THAT(written, EndsWith(erase));
}

} // namespace
} // namespace Velmar::Lintrix::testing
