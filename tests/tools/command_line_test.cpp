// Arguments, help, version, and what happens to the standard streams.

#include <tests/tools/command.h>

#include <lintrix/lintrix.h>

#include <gmock/gmock.h>

#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const std::string kIdentity = "%%MatrixMarket matrix coordinate real general\n2 2 2\n1 1 1\n2 2 1\n";

struct WrongUsage {
    std::vector<std::string> arguments;
    std::string text;
};

TEST(CommandLine, WrongUsageIsOneLineAndExitCodeTwo)
{
    const std::vector<WrongUsage> table{
        {{}, "A subcommand is required (see lintrix --help)"},
        {{"frobnicate"}, "'frobnicate' is not known (see lintrix --help)"},
        {{"--frobnicate"}, "'--frobnicate' is not known (see lintrix --help)"},
        {{"bad\nname"}, "'bad\\x0aname' is not known (see lintrix --help)"},
        {{"solve"}, "MATRIX is required (see lintrix solve --help)"},
        {{"solve", "a", "b"}, "The following argument was not expected: b (see lintrix solve --help)"},
        {{"solve", "a", "--frobnicate"},
         "The following argument was not expected: --frobnicate (see lintrix solve --help)"},
        {{"solve", "a", "--rhs"}, "--rhs: 1 required FILE missing (see lintrix solve --help)"},
        {{"solve", "a", "--out"}, "--out: 1 required FILE missing (see lintrix solve --help)"},
        {{"solve", "a", "--threads"}, "--threads: 1 required N missing (see lintrix solve --help)"},
    };
    for (const WrongUsage& usage : table) {
        const Outcome outcome = run(usage.arguments);
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "lintrix: " + usage.text + "\n");
    }
}

TEST(CommandLine, AThreadCountIsAWholeNumberOfAtLeastOne)
{
    const Scratch scratch;
    const std::string matrix = scratch.file("a.mtx", kIdentity);
    for (const std::string bad : {"0", "-1", "x", "1.5", "2x", " 1", "2147483648", "99999999999999999999"}) {
        const Outcome outcome = run({"solve", matrix, "--threads=" + bad});
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.err,
                  "lintrix: --threads: '" + bad +
                      "' is not a whole number from 1 to 2147483647 (see lintrix solve --help)\n");
    }
    for (const std::string good : {"1", "2", "64"}) {
        EXPECT_EQ(run({"solve", matrix, "--threads", good}).exitCode, 0);
    }
}

TEST(CommandLine, HelpSpeaksOnStandardOutput)
{
    const Outcome all = run({"--help"});
    EXPECT_EQ(all.exitCode, 0);
    EXPECT_EQ(all.err, "");
    EXPECT_THAT(all.out, StartsWith("Lintrix: double-precision linear algebra at the command line\n"
                                    "Usage: lintrix [OPTIONS] SUBCOMMAND\n"));
    EXPECT_THAT(all.out, HasSubstr("  solve                       Solve the linear system A*x = b\n"));

    const Outcome solve = run({"solve", "--help"});
    EXPECT_EQ(solve.exitCode, 0);
    EXPECT_EQ(solve.err, "");
    EXPECT_EQ(
        solve.out,
        "Solve the linear system A*x = b\n"
        "Usage: lintrix solve [OPTIONS] MATRIX\n"
        "\n"
        "Positionals:\n"
        "  MATRIX REQUIRED             File of A in any form (see lintrix convert --help); - is standard "
        "input\n"
        "\n"
        "Options:\n"
        "  -h,--help                   Print this help message and exit\n"
        "  --rhs FILE                  File of right-hand sides; without it those in A's file, or b = "
        "A*(1,...,1)\n"
        "  --out FILE                  File for the solution: .npy, .npz or a Matrix Market array; - is "
        "standard output\n"
        "  --threads N                 Threads to use, at least 1\n"
        "  --json Excludes: --report --explain\n"
        "                              Report on one line of JSON\n"
        "  --type auto|positive-definite|indefinite|structurally-symmetric|unsymmetric\n"
        "                              What to assume of A at first; auto looks at the values\n"
        "  --ordering auto|mmd|nd|pnd  Minimum degree or (parallel) nested dissection; auto counts\n"
        "  --strategy always|when-needed\n"
        "                              Solve with the factors, or iterate with them\n"
        "  --refine N                  At most N steps of refinement; below 0 with residuals in extended "
        "precision\n"
        "  --out-of-core               Keep the factor in files; --out-of-core=MB uses so many megabytes of "
        "memory beside them\n"
        "  --save-factor FILE          Keep matrix, analysis and factor in a file, for --factor\n"
        "  --factor FILE               Go on with what was kept; of another A only what still holds\n"
        "  --certain-inertia           Factorize shifted matrices, too, where signs of eigenvalues stay "
        "uncertain\n"
        "  --report Excludes: --json   Print the direct solver's own report\n"
        "  --deadline SECONDS          Give up after so many seconds\n"
        "  --memory MB                 Hold at most MB megabytes, with the factor in files if need be\n"
        "  --same-bits                 The same digits for any number of threads, at some cost in time\n"
        "  --explain Excludes: --json  Say in sentences what the report means, and what to do\n"
        "  --dense                     Solve as a dense matrix, also a sparse file\n"
        "\n"
        "A may be square, tall (least squares) or wide (minimum norm); coordinate or array; of any field "
        "and\n"
        "symmetry; x is complex where A or b is. A coordinate file is solved sparse: a square one by the\n"
        "direct solver, tried in safer ways where it ends badly, others by the normal equations or LSMR, a\n"
        "rank-deficient one with the shortest solution. Array files and --dense: by LU, QR or LQ.\n"
        "A complex A must be hermitian for --type positive-definite, hermitian or symmetric for indefinite.\n"
        "Status: accurate; degraded, with the reason; failed, with the reason.\n"
        "A factor that memory has no room for is kept in files, also unasked: below $TMPDIR or /var/tmp,\n"
        "unless MKL_PARDISO_OOC_PATH names another place; they are removed at the end.\n"
        "Exit code: 0 accurate or degraded, 1 failed, 2 usage or bad input.\n");
}

TEST(CommandLine, VersionTellsTheBlasAndItsThreads)
{
    const BlasIdentity blas = DescribeBlas();
    const std::string note = blas.coreNote.empty() ? "" : " (" + blas.coreNote + ")";
    const Outcome outcome = run({"--version"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, std::string("lintrix ") + LibraryVersion() + "\nBLAS: " + blas.library +
                               "\nBLAS file: " + blas.file + "\nBLAS kernels for: " + blas.core + note +
                               "\nBLAS threading: OpenMP\nown kernels for: " + LibraryKernels() +
                               "\nthreads in force: " + std::to_string(blas.threads) + "\n");
}

TEST(CommandLine, VersionTellsTheBoundOfTheKernels)
{
    Invocation bounded;
    bounded.arguments = {"--version"};
    bounded.variables = {"LINTRIX_INSTRUCTION_SET=SSE2"};
#if defined(__x86_64__)
    const std::string least = "SSE2", ofBlas = "Prescott";
#else // one form of each kernel; a processor of the family is one that OpenBLAS names
    const std::string least = LibraryKernels(), ofBlas = "armv8";
#endif
    EXPECT_THAT(run(bounded).out, HasSubstr("\nown kernels for: " + least + "\n"));
    bounded.variables = {"OPENBLAS_CORETYPE=" + ofBlas};
    EXPECT_THAT(run(bounded).out, HasSubstr("\nBLAS kernels for: " + ofBlas));
    EXPECT_THAT(run(bounded).out, HasSubstr(std::string("\nown kernels for: ") + LibraryKernels() + "\n"));
}

TEST(CommandLine, HelpNamesTheEnvironment)
{
    const std::string help = run({"--help"}).out;
    for (const std::string name :
         {"OMP_NUM_THREADS", "OMP_WAIT_POLICY", "OPENBLAS_CORETYPE", "LINTRIX_INSTRUCTION_SET"})
        EXPECT_THAT(help, HasSubstr("\n  " + name + " "));
}

TEST(CommandLine, AFileThatCannotBeReadIsNamed)
{
    const Scratch scratch;
    const std::string missing = scratch.at("none.mtx");
    EXPECT_EQ(run({"solve", missing}).err,
              "lintrix: " + missing + ": cannot be opened: No such file or directory\n");
    const std::string folder = scratch.at(".");
    EXPECT_EQ(run({"solve", folder}).err, "lintrix: " + folder + ": is a directory\n");
    const std::string matrix = scratch.file("a.mtx", kIdentity);
    const Outcome rightHand = run({"solve", matrix, "--rhs", missing});
    EXPECT_EQ(rightHand.exitCode, 2);
    EXPECT_EQ(rightHand.err, "lintrix: " + missing + ": cannot be opened: No such file or directory\n");
}

TEST(CommandLine, ANameWithControlCharactersStaysOnOneLine)
{
    const Scratch scratch;
    const std::string path = scratch.file("a\nb\x1b.mtx", "x");
    const Outcome outcome = run({"solve", path});
    EXPECT_EQ(outcome.err, "lintrix: " + scratch.at("a\\x0ab\\x1b.mtx") +
                               ":1: a Matrix Market file begins with '%%MatrixMarket', not with 'x'\n");
}

/// Every way in which the report can fail to be written; the solution must not appear either.
TEST(CommandLine, AReportThatCannotBeWrittenIsAFailure)
{
    const Scratch scratch;
    Invocation invocation;
    invocation.arguments = {"solve", scratch.file("a.mtx", kIdentity), "--out", scratch.at("x.mtx")};
    Invocation full = invocation, closed = invocation, broken = invocation;
    full.output = "/dev/full";
    closed.outputClosed = true;
    broken.outputBroken = true;
    const std::vector<std::pair<Invocation, std::string>> table{
        {full, "No space left on device"}, {closed, "Bad file descriptor"}, {broken, "Broken pipe"}};
    for (const auto& [how, reason] : table) {
        const Outcome outcome = run(how);
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.err, "lintrix: standard output: cannot be written: " + reason + "\n");
        EXPECT_THAT(scratch.names(), ElementsAre("a.mtx"));
    }
}

TEST(CommandLine, APictureWithoutItsReportDoesNotAppear)
{
    const Scratch scratch;
    const std::string matrix = scratch.file("a.mtx", kIdentity);
    for (const std::string command : {"info", "analyse"}) {
        Invocation invocation;
        invocation.arguments = {command, matrix, "--plot", scratch.at("x.svg")};
        invocation.output = "/dev/full";
        EXPECT_EQ(run(invocation).exitCode, 2);
        EXPECT_THAT(scratch.names(), ElementsAre("a.mtx")) << command;
    }
}

TEST(CommandLine, APictureThatCannotBeWrittenIsRefusedBeforeTheMatrixIsRead)
{
    for (const std::string command : {"info", "analyse"}) {
        const Outcome outcome = run({command, "/none.mtx", "--plot", "/none/x.svg"});
        EXPECT_EQ(outcome.err, "lintrix: /none/x.svg: cannot be written: No such file or directory\n")
            << command;
    }
}

TEST(CommandLine, HelpThatCannotBeWrittenIsAFailure)
{
    Invocation invocation;
    invocation.arguments = {"--version"};
    invocation.output = "/dev/full";
    const Outcome outcome = run(invocation);
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.err, "lintrix: standard output: cannot be written: No space left on device\n");
}

TEST(CommandLine, AnUnwritableStandardErrorDoesNotChangeTheExitCode)
{
    Invocation invocation;
    invocation.error = "/dev/full";
    invocation.arguments = {"solve", "/none"};
    EXPECT_EQ(run(invocation).exitCode, 2);
    invocation.arguments = {"solve", dataFile("bcsstm01.mtx")};
    EXPECT_EQ(run(invocation).exitCode, 1);
    invocation.arguments = {"solve", dataFile("fs_183_1.mtx"), "--dense"};
    EXPECT_EQ(run(invocation).exitCode, 0) << "with a warning";
}

/// The call under `ulimit -v`. The limit is the shell's to set: this process would not start anything with
/// it.
Outcome runWithin(int megabytes, const std::vector<std::string>& arguments)
{
    Invocation invocation;
    invocation.program = "/bin/sh";
    invocation.variables = {"OMP_NUM_THREADS=1"};
    const std::string limit = LINTRIX_SANITIZED_MEMORY ? "unlimited" : std::to_string(megabytes * 1024);
    invocation.arguments = {"-c", "ulimit -v " + limit + " && exec \"$0\" \"$@\"", commandProgram()};
    invocation.arguments.insert(invocation.arguments.end(), arguments.begin(), arguments.end());
    return run(invocation);
}

// How much is too little differs from one OpenBLAS to the other. With more threads it waits before main.
TEST(CommandLine, TooLittleAddressSpaceIsRefusedAndNotWaitedFor)
{
    for (const int megabytes : {200, 240, 280, 320, 360}) {
        for (const auto& arguments : {std::vector<std::string>{"solve", dataFile("west0479.mtx"), "--dense"},
                                      {"solve", dataFile("sherman4.mtx")},
                                      {"svd", dataFile("illc1033.mtx"), "-k", "40"}}) {
            const Outcome outcome = runWithin(megabytes, arguments);
            if (outcome.exitCode == 0) continue;
            EXPECT_EQ(outcome.exitCode, 2);
            EXPECT_THAT(outcome.err,
                        StartsWith("lintrix: there is not enough address space: it is limited to "));
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
