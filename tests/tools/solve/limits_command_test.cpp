// `lintrix solve` with bounds of time and memory.

#include <tests/tools/command.h>
#include <tests/tools/json.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

/// Five points on a square.
std::string grid(int side)
{
    const int n = side * side;
    std::string body;
    int count = 0;
    const auto add = [&](int i, int j, const char* value) {
        body += std::to_string(i + 1) + ' ' + std::to_string(j + 1) + ' ' + value + '\n';
        ++count;
    };
    for (int i = 0; i < n; ++i) {
        add(i, i, "4.5");
        if (i % side + 1 < side) add(i + 1, i, "-1");
        if (i + side < n) add(i + side, i, "-1");
    }
    return "%%MatrixMarket matrix coordinate real symmetric\n" + std::to_string(n) + ' ' + std::to_string(n) +
           ' ' + std::to_string(count) + '\n' + body;
}

class LimitsOfSolve : public ::testing::Test {
protected:
    Outcome solve(std::vector<std::string> options, int side)
    {
        Invocation invocation;
        invocation.arguments = {"solve", files.file("grid.mtx", grid(side))};
        invocation.arguments.insert(invocation.arguments.end(), options.begin(), options.end());
        invocation.variables.push_back("TMPDIR=" + temporary.at(""));
        return run(invocation);
    }

    Scratch files, temporary;
};

TEST_F(LimitsOfSolve, TheDeadline)
{
    for (const auto& options : {std::vector<std::string>{"--deadline=0"}, {"--deadline=0", "--dense"}}) {
        const Outcome outcome = solve(options, 10);
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "lintrix: the deadline has passed\n");
    }
    EXPECT_EQ(solve({"--deadline=600.5"}, 10).exitCode, 0);
}

TEST_F(LimitsOfSolve, TheMemory)
{
    const Outcome refused = solve({"--memory=1"}, 120);
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_THAT(refused.err,
                MatchesRegex("lintrix: the memory budget of 1 MB is too small: the system takes [0-9]+ MB in "
                             "memory, [0-9]+ MB with its factor in files\n"));
    const std::size_t begin = refused.err.rfind(", ") + 2;
    const std::string least = refused.err.substr(begin, refused.err.find(' ', begin) - begin);
    const Outcome inFiles = solve({"--memory=" + least, "--json"}, 120);
    EXPECT_EQ(inFiles.exitCode, 0) << "as it was told: " << inFiles.err;
    EXPECT_EQ(parseJson(inFiles.out)["factor_store"].text(), "files");
    const Outcome kept = solve({"--memory=1000", "--json"}, 120);
    EXPECT_EQ(kept.err, "");
    EXPECT_EQ(parseJson(kept.out)["factor_store"].text(), "memory");
    EXPECT_EQ(solve({"--memory=1", "--dense"}, 20).exitCode, 2);
    EXPECT_THAT(temporary.names(), IsEmpty());
}

TEST_F(LimitsOfSolve, AreRefusedWhereTheyAreNone)
{
    for (const char* option :
         {"--memory=0", "--memory=x", "--deadline=-1", "--deadline=nan", "--deadline="}) {
        const Outcome outcome = solve({option}, 3);
        EXPECT_EQ(outcome.exitCode, 2) << option;
        EXPECT_THAT(outcome.err, HasSubstr("lintrix solve --help")) << option;
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
