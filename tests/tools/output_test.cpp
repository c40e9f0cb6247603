// Where the results of the command go: files, standard output, and what stays when it is ended.

#include <tests/tools/command.h>

#include <lintrix/lintrix.h>

#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr const char* kDiagonal = "%%MatrixMarket matrix coordinate real general\n2 2 2\n1 1 2\n2 2 4\n";

TEST(CommandOutput, SolutionGoesToStandardOutputAndTheReportAside)
{
    const Scratch scratch;
    const std::string file = scratch.file("a.mtx", kDiagonal);
    const Outcome text = run({"solve", file, "--out", "-"});
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_EQ(text.out, "%%MatrixMarket matrix array real general\n2 1\n1\n1\n");
    EXPECT_THAT(text.err, HasSubstr("\nstatus            accurate\n"));
    const Outcome json = run({"solve", file, "--out", "-", "--json"});
    EXPECT_EQ(json.out, text.out);
    EXPECT_EQ(parseJson(json.err)["status"].text(), "accurate");
    EXPECT_THAT(scratch.names(), ElementsAre("a.mtx"));
}

TEST(CommandOutput, StandardOutputIsNotTakenTwice)
{
    const Outcome outcome = run({"solve", "/none", "--out", "-", "--report"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.err,
              "lintrix: standard output cannot be both the solution and the direct solver's report\n");
}

TEST(CommandOutput, AFullStandardOutputIsNamed)
{
    const Scratch scratch;
    Invocation invocation;
    invocation.arguments = {"solve", scratch.file("a.mtx", kDiagonal), "--out", "-"};
    invocation.output = "/dev/full";
    const Outcome outcome = run(invocation);
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.err, "lintrix: standard output: cannot be written: No space left on device\n");
}

TEST(CommandOutput, SolutionIsCompressedByItsName)
{
    const Scratch scratch;
    const std::string out = scratch.at("x.mtx.gz");
    EXPECT_EQ(run({"solve", dataFile("west0156.mtx"), "--out", out}).exitCode, 0);
    EXPECT_THAT(contentOf(out), StartsWith("\x1f\x8b"));
    EXPECT_EQ(ReadMatrixMarketDense(out).Rows(), 156);
}

TEST(CommandOutput, AnEmptyNameIsRefused)
{
    const std::vector<std::pair<std::vector<std::string>, std::string>> table{
        {{"solve", "a.mtx", "--out", ""}, "--out"},
        {{"solve", "a.mtx", "--rhs", ""}, "--rhs"},
        {{"solve", ""}, "MATRIX"},
        {{"info", "a.mtx", "--plot", ""}, "--plot"},
        {{"analyse", "a.mtx", "--plot", ""}, "--plot"},
        {{"svd", "a.mtx", "-k", "1", "--out", ""}, "--out"},
        {{"svd", "a.mtx", "-k", "1", "--plot", ""}, "--plot"}};
    for (const auto& [arguments, option] : table) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.err, "lintrix: " + option + ": the name is empty (see lintrix " +
                                   arguments.front() + " --help)\n");
    }
}

// An array is solved dense whatever is said, a coordinate file where --dense says so; the direct solver takes
// square matrices alone.
TEST(CommandOutput, OptionsOfTheDirectSolverAreRefusedWhereItIsNotTaken)
{
    const Scratch scratch;
    const std::string square = scratch.file("a.mtx", kDiagonal), wide = dataFile("lp_afiro.mtx"),
                      array = scratch.file("b.mtx", "%%MatrixMarket matrix array real general\n1 1\n2\n");
    const std::vector<std::vector<std::string>> options{{"--ordering", "nd"},     {"--type", "unsymmetric"},
                                                        {"--strategy", "always"}, {"--refine", "2"},
                                                        {"--out-of-core"},        {"--report"}};
    for (const auto& option : options) {
        for (std::vector<std::string> arguments :
             {std::vector<std::string>{"solve", wide}, {"solve", array}, {"solve", square, "--dense"}}) {
            const std::string file = arguments[1];
            arguments.insert(arguments.end(), option.begin(), option.end());
            const Outcome outcome = run(arguments);
            EXPECT_EQ(outcome.exitCode, 2);
            EXPECT_EQ(outcome.out, "");
            EXPECT_EQ(outcome.err, "lintrix: " + file + ": " + option.front() + " has no effect: the " +
                                       (file == wide ? "matrix is not square" : "system is solved dense") +
                                       "\n");
        }
    }
}

/// A pipe that is full: who writes to it waits.
class FullPipe {
public:
    explicit FullPipe(const Scratch& scratch) : path_(scratch.at("pipe"))
    {
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        end_ = open(path_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        const std::array<char, 4096> filling{};
        while (write(end_, filling.data(), filling.size()) > 0) {
        }
        while (write(end_, filling.data(), 1) > 0) {
        }
    }
    ~FullPipe() { close(end_); }
    FullPipe(const FullPipe&) = delete;
    FullPipe& operator=(const FullPipe&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
    int end_;
};

// The temporary is there while the command waits for its report to be read.
TEST(CommandOutput, ASignalThatEndsTheCommandLeavesNoTemporary)
{
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        const Scratch scratch, folder;
        const FullPipe pipe(scratch);
        Invocation invocation;
        invocation.arguments = {"solve", dataFile("west0156.mtx"), "--out", folder.file("x.mtx", "old")};
        invocation.output = pipe.path();
        std::vector<std::string> during;
        invocation.onceStarted = [&](pid_t child) {
            for (int tries = 0; tries < 3000 && folder.names().size() < 2; ++tries)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            during = folder.names();
            kill(child, number);
        };
        EXPECT_EQ(run(invocation).exitCode, -1);
        EXPECT_EQ(during.size(), 2U);
        EXPECT_THAT(folder.names(), ElementsAre("x.mtx"));
        EXPECT_EQ(contentOf(folder.at("x.mtx")), "old");
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
