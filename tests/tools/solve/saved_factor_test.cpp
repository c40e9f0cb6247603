// `lintrix solve` with a factor that an earlier run has kept.

#include <tests/tools/command.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class SavedFactor : public ::testing::Test {
protected:
    /// Tridiagonal.
    std::string band(const std::string& name, const std::string& diagonal, int n = 40)
    {
        std::string body;
        for (int i = 1; i <= n; ++i)
            body += std::to_string(i) + " " + std::to_string(i) + " " + diagonal + "\n";
        for (int i = 1; i < n; ++i)
            body += std::to_string(i + 1) + " " + std::to_string(i) + " 1\n" + std::to_string(i) + " " +
                    std::to_string(i + 1) + " -1\n";
        return files.file(name, "%%MatrixMarket matrix coordinate real general\n" + std::to_string(n) + " " +
                                    std::to_string(n) + " " + std::to_string(3 * n - 2) + "\n" + body);
    }

    const Scratch files;
    const std::string matrix = band("a.mtx", "4"), kept = files.at("night.lts"), x = files.at("x.mtx"),
                      y = files.at("y.mtx");
};

TEST_F(SavedFactor, SolvesTheSameSystemWithoutAFactorization)
{
    const Outcome first = run({"solve", matrix, "--save-factor", kept, "--out", x});
    ASSERT_EQ(first.exitCode, 0) << first.err;
    EXPECT_THAT(first.out, HasSubstr(" factorize "));
    EXPECT_THAT(first.out, HasSubstr(" save "));
    const Outcome second = run({"solve", matrix, "--factor", kept, "--out", y});
    EXPECT_EQ(second.exitCode, 0) << second.err;
    EXPECT_THAT(second.out, Not(HasSubstr(" factorize ")));
    EXPECT_EQ(contentOf(x), contentOf(y));
}

TEST_F(SavedFactor, OfOtherValuesIsMadeAnewAfterItsAnalysis)
{
    ASSERT_EQ(run({"solve", matrix, "--save-factor", kept}).exitCode, 0);
    const std::string other = band("b.mtx", "5");
    const Outcome again = run({"solve", other, "--factor", kept, "--save-factor", kept, "--out", x});
    EXPECT_EQ(again.exitCode, 0) << again.err;
    EXPECT_THAT(again.out, HasSubstr(" factorize "));
    EXPECT_THAT(again.out, Not(HasSubstr(" analyse ")));
    const Outcome third = run({"solve", other, "--factor", kept, "--out", y});
    EXPECT_THAT(third.out, Not(HasSubstr(" factorize ")));
    EXPECT_EQ(contentOf(x), contentOf(y));
    const Outcome larger = run({"solve", band("c.mtx", "5", 50), "--factor", kept});
    EXPECT_EQ(larger.exitCode, 0) << larger.err;
    EXPECT_THAT(larger.out, HasSubstr(" analyse "));
}

/// The one line of a run that is refused.
std::string complaintOf(const std::vector<std::string>& arguments)
{
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.out, "");
    return outcome.err;
}

TEST_F(SavedFactor, ThatIsNoneIsRefused)
{
    EXPECT_EQ(complaintOf({"solve", matrix, "--factor", files.at("none")}),
              "lintrix: '" + files.at("none") + "' could not be opened.\n");
    EXPECT_EQ(complaintOf({"solve", matrix, "--factor", matrix}),
              "lintrix: " + matrix + ": Saved system, section 'head', byte 0: this is no saved system.\n");
    ASSERT_EQ(run({"solve", matrix, "--save-factor", kept}).exitCode, 0);
    const std::string content = contentOf(kept);
    EXPECT_THAT(
        complaintOf({"solve", matrix, "--factor", files.file("cut", content.substr(0, content.size() - 1))}),
        StartsWith("lintrix: " + files.at("cut") + ": Saved system, section 'pluvots', byte "));
}

TEST_F(SavedFactor, IsNotWrittenWhereNoFileCanBe)
{
    EXPECT_THAT(complaintOf({"solve", matrix, "--save-factor", files.at("none/night.lts")}),
                StartsWith("lintrix: " + files.at("none/night.lts") + ": cannot be written: "));
    EXPECT_THAT(complaintOf({"solve", matrix, "--save-factor", "-"}),
                HasSubstr("a factor is kept in a file"));
    EXPECT_THAT(complaintOf({"solve", matrix, "--dense", "--save-factor", kept}),
                HasSubstr("--save-factor has no effect: the system is solved dense"));
    EXPECT_THAT(complaintOf({"solve", matrix, "--out-of-core", "--save-factor", kept}),
                HasSubstr(kept + ": the factor stands in files, and cannot be saved"));
    Invocation full;
    full.arguments = {"solve", matrix, "--save-factor", kept};
    full.fileLimit = 1000;
    const Outcome outcome = run(full);
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.err, "lintrix: The system could not be saved to '" + kept + "'.\n");
    EXPECT_EQ(files.names(), std::vector<std::string>{"a.mtx"});
}

} // namespace
} // namespace Velmar::Lintrix::testing
