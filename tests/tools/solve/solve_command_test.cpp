// `lintrix solve` from the outside: reports, right-hand sides, output files, warnings and failures.

#include <tests/support/matrices.h>
#include <tests/tools/command.h>
#include <tests/tools/json.h>
#include <tests/tools/terminal.h>
#include <tools/input/dense_system.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <sstream>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using namespace tools;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;

Matrix columnOf(const Matrix& A, std::int32_t j)
{
    Matrix column(A.Rows(), 1);
    for (std::int32_t i = 0; i < A.Rows(); ++i) column(i, 0) = A(i, j);
    return column;
}

const std::string kCoordinate = "%%MatrixMarket matrix coordinate real general\n";
const std::string kArray = "%%MatrixMarket matrix array real general\n";

Matrix random(int rows, int cols, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    return randomMatrix({rows, cols}, generator);
}

std::string asFile(const Matrix& matrix)
{
    std::ostringstream text;
    WriteMatrixMarket(text, matrix);
    return text.str();
}

Matrix matrixIn(const std::string& path)
{
    return ReadMatrixMarketDense(path);
}

/// The solution file of a run that must succeed.
std::string solutionOf(const Scratch& scratch, std::vector<std::string> arguments)
{
    const std::string out = scratch.at("solution");
    arguments.insert(arguments.begin(), "solve");
    arguments.insert(arguments.end(), {"--out", out});
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    return contentOf(out);
}

TEST(SolveCommand, SameBitsAreThoseOfADenseSystemToo)
{
    const Scratch scratch;
    std::mt19937 random(5);
    std::string text = kArray + "160 160\n";
    for (int k = 0; k < 160 * 160; ++k) text += std::to_string(random() % 1000) + "\n";
    const std::string matrix = scratch.file("a.mtx", text);
    std::vector<std::string> solutions;
    for (const char* threads : {"1", "2", "3"}) {
        const std::string x = scratch.at(std::string("x") + threads + ".mtx");
        EXPECT_EQ(run({"solve", matrix, "--same-bits", "--threads", threads, "--out", x}).exitCode, 0);
        solutions.push_back(contentOf(x));
    }
    EXPECT_EQ(solutions[0], solutions[1]);
    EXPECT_EQ(solutions[0], solutions[2]);
}

TEST(SolveCommand, ReportsInWords)
{
    const Scratch scratch;
    const std::string path = scratch.file("a.mtx", kCoordinate + "2 2 3\n1 1 2\n2 2 4\n1 2 1\n");
    const Outcome outcome = run({"solve", path});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(
        withoutTimes(outcome.out),
        MatchesRegex("matrix            .*/a\\.mtx\n"
                     "size              2 x 2\n"
                     "entries           3\n"
                     "right-hand sides  1\n"
                     "road              sparse LU with partial pivoting\n"
                     "ordering          minimum degree\n"
                     "factor entries    [0-9]+\n"
                     "factor            [0-9]+ B in memory\n"
                     "perturbed pivots  0\n"
                     "status            accurate\n"
                     "seconds           read T, assemble T, analyse T, factorize T, solve T, check T, "
                     "write T, total T\n"
                     "scaled residual   0\\.000e\\+00\n"
                     "largest error     0\\.000e\\+00\n"
                     "probe error       [0-9.e+-]+\n"
                     "condition         2\\.500e\\+00\n"));
}

TEST(SolveCommand, ReportsInJson)
{
    const Scratch scratch;
    const std::string path = scratch.file("a\"\\\t\xff.mtx", kCoordinate + "2 2 3\n1 1 2\n2 2 4\n1 2 1\n");
    const Outcome outcome = run({"solve", path, "--json"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(std::ranges::count(outcome.out, '\n'), 1);
    const Json report = parseJson(outcome.out);
    EXPECT_EQ(report["matrix"].text(), scratch.at("a\"\\\t\xef\xbf\xbd.mtx"));
    EXPECT_EQ(report["rows"].number(), 2);
    EXPECT_EQ(report["cols"].number(), 2);
    EXPECT_EQ(report["entries"].number(), 3);
    EXPECT_EQ(report["road"].text(), "sparse LU with partial pivoting");
    EXPECT_EQ(report["residual"].number(), 0.0);
    EXPECT_EQ(report["max_error"].number(), 0.0);
    EXPECT_EQ(report["status"].text(), "accurate");
    EXPECT_TRUE(report["reason"].isNull());
    EXPECT_EQ(report["factor_store"].text(), "memory");
    EXPECT_TRUE(report["core_megabytes"].isNull());
    EXPECT_EQ(report["krylov_steps"].number(), 0);
    EXPECT_EQ(report["condition"].number(), 2.5);
    EXPECT_TRUE(report["inertia"].isNull());
    EXPECT_TRUE(report["solutions"].isNull());
    const auto& columns = std::get<JsonArray>(report["columns"].value);
    ASSERT_EQ(columns.size(), 1U);
    EXPECT_EQ(columns[0]["verdict"].text(), "accurate");
    EXPECT_EQ(columns[0]["backward_error"].number(), 0.0);
    EXPECT_LT(columns[0]["error_bound"].number(), 1e-15);
    EXPECT_EQ(report.object().size(), 26U);

    double sum = 0.0;
    for (const char* step : {"read", "assemble", "analyse", "factorize", "solve", "check", "write"})
        sum += report["seconds"][step].number();
    EXPECT_NEAR(report["seconds"]["total"].number(), sum, 5e-6) << "six digits each";
    EXPECT_EQ(report["seconds"].object().size(), 8U);
}

TEST(SolveCommand, WritesTheSolutionAsAnArray)
{
    const Scratch scratch;
    const std::string matrix = scratch.file("a.mtx", kCoordinate + "2 2 2\n1 1 2\n2 2 4\n");
    const std::string rightHand = scratch.file("b.mtx", kArray + "2 1\n3\n-1\n");
    EXPECT_EQ(solutionOf(scratch, {matrix, "--rhs", rightHand}), kArray + "2 1\n1.5\n-0.25\n");
    EXPECT_EQ(solutionOf(scratch, {matrix}), kArray + "2 1\n1\n1\n");
    EXPECT_THAT(scratch.names(), ElementsAre("a.mtx", "b.mtx", "solution"));
}

TEST(SolveCommand, WithARightHandSideTheErrorIsUnknown)
{
    const Scratch scratch;
    const std::string matrix = scratch.file("a.mtx", kCoordinate + "1 1 1\n1 1 2\n");
    const std::string rightHand = scratch.file("b.mtx", kCoordinate + "1 1 1\n1 1 3\n");
    const Outcome json = run({"solve", matrix, "--rhs", rightHand, "--json"});
    EXPECT_TRUE(parseJson(json.out)["max_error"].isNull());
    const Outcome text = run({"solve", matrix, "--rhs", rightHand});
    EXPECT_THAT(text.out,
                ::testing::HasSubstr("largest error     unknown, the exact solution is not known\n"));
}

class Shapes : public ::testing::TestWithParam<Shape> {};

TEST_P(Shapes, EachOfSeveralRightHandSidesIsAnsweredAsIfAlone)
{
    const Scratch scratch;
    const Shape shape = GetParam();
    const Matrix A = random(shape.rows, shape.cols, 1), B = random(shape.rows, 4, 2);
    const std::string matrix = scratch.file("a.mtx", asFile(A));
    const Outcome outcome = run(
        {"solve", matrix, "--rhs", scratch.file("b.mtx", asFile(B)), "--out", scratch.at("x.mtx"), "--json"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(parseJson(outcome.out)["right_hands"].number(), 4);
    const Matrix X = matrixIn(scratch.at("x.mtx"));
    ASSERT_EQ(X.Rows(), shape.cols);
    ASSERT_EQ(X.Cols(), 4);
    for (int j = 0; j < 4; ++j) {
        const std::string one = scratch.file("b1.mtx", asFile(columnOf(B, j)));
        ASSERT_EQ(run({"solve", matrix, "--rhs", one, "--out", scratch.at("x1.mtx")}).exitCode, 0);
        EXPECT_LT(differenceRatio(columnOf(X, j), matrixIn(scratch.at("x1.mtx"))), 1e4) << "column " << j;
        EXPECT_LT(differenceRatio(A.Transpose() * (A * columnOf(X, j)), A.Transpose() * columnOf(B, j)), 1e4);
    }
}

INSTANTIATE_TEST_SUITE_P(SquareTallWide, Shapes,
                         ::testing::Values(Shape{40, 40}, Shape{70, 30}, Shape{30, 70}, Shape{1, 1},
                                           Shape{3, 1}, Shape{1, 3}),
                         [](const auto& parameter) {
                             return std::to_string(parameter.param.rows) + "x" +
                                    std::to_string(parameter.param.cols);
                         });

TEST(SolveCommand, ATallSystemOutOfRangeIsJudgedByTheNormalEquations)
{
    const Scratch scratch;
    const std::string matrix = scratch.file("a.mtx", kArray + "3 1\n1\n1\n1\n");
    const std::string rightHand = scratch.file("b.mtx", kArray + "3 1\n1\n2\n6\n");
    const Outcome outcome = run({"solve", matrix, "--rhs", rightHand, "--out", scratch.at("x"), "--json"});
    const Json report = parseJson(outcome.out);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(report["status"].text(), "accurate");
    EXPECT_GT(report["residual"].number(), 0.1);
    EXPECT_LT(report["normal_residual"].number(), 1e-15);
    EXPECT_NEAR(matrixIn(scratch.at("x"))(0, 0), 3.0, 1e-14);
}

TEST(SolveCommand, TheOrderOfTheEntriesDoesNotMatter)
{
    const Scratch scratch;
    std::vector<std::string> lines;
    std::mt19937_64 generator(3);
    for (int i = 1; i <= 30; ++i) {
        for (int j = 1; j <= 30; ++j) {
            lines.push_back(std::to_string(i) + " " + std::to_string(j) + " " +
                            std::to_string(generator() % 1000) + "\n");
        }
    }
    std::string solution;
    for (int round = 0; round < 3; ++round) {
        std::string text = kCoordinate + "30 30 900\n";
        for (const std::string& line : lines) text += line;
        const std::string found = solutionOf(scratch, {scratch.file("a.mtx", text), "--threads", "1"});
        if (round > 0) {
            EXPECT_EQ(found, solution);
        }
        solution = found;
        std::ranges::shuffle(lines, generator);
    }
}

TEST(SolveCommand, EntriesAtOnePlaceAddUp)
{
    const Scratch scratch;
    const std::string matrix = scratch.file("a.mtx", kCoordinate + "1 1 3\n1 1 1\n1 1 2\n1 1 5\n");
    const std::string rightHand = scratch.file("b.mtx", kArray + "1 1\n4\n");
    EXPECT_EQ(solutionOf(scratch, {matrix, "--rhs", rightHand}), kArray + "1 1\n0.5\n");
}

TEST(SolveCommand, CompressedFilesGiveTheSame)
{
    const Scratch scratch;
    const std::string text = contentOf(dataFile("pde225.mtx")), rightHand = asFile(random(225, 2, 5));
    const std::string plain = solutionOf(
        scratch, {scratch.file("a.mtx", text), "--rhs", scratch.file("b.mtx", rightHand), "--threads", "1"});
    EXPECT_EQ(solutionOf(scratch, {scratch.file("a.mtx.gz", compressed(text)), "--rhs",
                                   scratch.file("b.mtx.gz", compressed(rightHand)), "--threads", "1"}),
              plain);
}

TEST(SolveCommand, StandardInputMayBeTheMatrixOrTheRightHandSide)
{
    const Scratch scratch;
    const std::string matrixText = kCoordinate + "1 1 1\n1 1 2\n";
    const std::string matrix = scratch.file("a.mtx", matrixText);
    const std::string rightHand = scratch.file("b.mtx", kArray + "1 1\n3\n");
    Invocation invocation;
    for (const std::string& input : {matrix, scratch.file("a.gz", compressed(matrixText))}) {
        invocation.arguments = {"solve", "-", "--rhs", rightHand, "--out", scratch.at("x"), "--json"};
        invocation.input = input;
        const Outcome outcome = run(invocation);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        EXPECT_EQ(parseJson(outcome.out)["matrix"].text(), "<stdin>");
        EXPECT_EQ(contentOf(scratch.at("x")), kArray + "1 1\n1.5\n");
    }
    invocation.arguments = {"solve", matrix, "--rhs", "-", "--out", scratch.at("x")};
    invocation.input = rightHand;
    EXPECT_EQ(run(invocation).exitCode, 0);

    invocation.arguments = {"solve", "-", "--rhs", "-"};
    const Outcome both = run(invocation);
    EXPECT_EQ(both.exitCode, 2);
    EXPECT_EQ(both.err, "lintrix: standard input cannot be both the matrix and the right-hand side\n");

    invocation.arguments = {"solve", "-"};
    invocation.input = scratch.file("bad", kCoordinate + "1 1 1\n1 1 x\n");
    EXPECT_EQ(run(invocation).err, "lintrix: <stdin>:3: 'x' is not a number\n");
}

TEST(SolveCommand, ARightHandSideThatIsWrongIsNamed)
{
    const Scratch scratch;
    const std::string matrix = scratch.file("a.mtx", kCoordinate + "2 2 2\n1 1 1\n2 2 1\n");
    const std::vector<std::pair<std::string, std::string>> table{
        {"%%MatrixMarket matrix array real general\n% c\n3 1\n1\n1\n1\n",
         ":3: the right-hand side has 3 rows, the matrix 2"},
        {"%%MatrixMarket matrix array real general\n2 1\n1\nx\n", ":4: 'x' is not a number"},
        {"%%MatrixMarket matrix array complex general\n2 1\n1 0\n1 x\n", ":4: 'x' is not a number"},
        {kCoordinate + "2 2000000000 1\n1 1 1\n",
         ":2: 2000000000 right-hand sides of a 2 x 2 matrix do not fit into memory"},
    };
    for (const auto& [content, text] : table) {
        const std::string path = scratch.file("b.mtx", content);
        const Outcome outcome = run({"solve", matrix, "--rhs", path, "--out", scratch.at("x")});
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "lintrix: " + path + text + "\n");
        EXPECT_THAT(scratch.names(), ElementsAre("a.mtx", "b.mtx"));
    }
}

/// A system without a good solution: what is said of it, in the report and beside it, and no output file.
struct NumericFailure {
    std::string name, matrix, rightHand, road, reason, text;
};

/// The matrix on which partial pivoting is known to fail: growth 2^(n-1) (Wilkinson 1961).
std::string growing(int n)
{
    Matrix A(n, n, 1.0);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < i; ++j) A(i, j) = -1.0;
        A(i, n - 1) = 1.0;
    }
    return asFile(A);
}

std::ostream& operator<<(std::ostream& out, const NumericFailure& failure)
{
    return out << failure.name;
}

const std::vector<NumericFailure>& numericFailures()
{
    static const std::vector<NumericFailure> table{
        {"Singular", kArray + "2 2\n1\n1\n0\n0\n", "", "LU", "singular",
         "the matrix is singular: LU met an exactly zero pivot"},
        {"StructurallySingular", kCoordinate + "2 2 2\n1 1 1\n2 1 1\n", "", "sparse LU with matching",
         "structurally singular: 1 of 2 rows matched",
         "there is no good solution: structurally singular: 1 of 2 rows matched"},
        {"NoEntries", kCoordinate + "3 3 0\n", "", "sparse LDL'",
         "structurally singular: 0 of 3 rows matched",
         "there is no good solution: structurally singular: 0 of 3 rows matched"},
        {"ZeroOnTheDiagonal", kCoordinate + "2 2 2\n1 1 0\n2 2 1\n", "", "sparse LDL'",
         "structurally singular: 1 of 2 rows matched",
         "there is no good solution: structurally singular: 1 of 2 rows matched"},
        {"SingularByValues", kCoordinate + "2 2 4\n1 1 1\n1 2 2\n2 1 3\n2 2 6\n", kArray + "2 1\n1\n1\n",
         "sparse LU with matching", "singular, and the right-hand side is not in the range",
         "there is no good solution: singular, and the right-hand side is not in the range"},
        {"SparseOverflow", kCoordinate + "1 1 1\n1 1 1e-300\n", kArray + "1 1\n1e300\n", "sparse Cholesky",
         "a number overflowed", "there is no good solution: a number overflowed"},
        {"TallDeficient", kArray + "3 2\n1\n2\n3\n2\n4\n6\n", "", "QR (least squares)", "rank-deficient",
         "the matrix has rank 1 of 2 to working precision: the least-squares solution is not unique"},
        {"WideDeficient", kArray + "2 3\n1\n2\n3\n6\n5\n10\n", "", "LQ (minimum norm)", "rank-deficient",
         "the matrix has rank 1 of 2 to working precision: its rows do not determine a minimum-norm "
         "solution"},
        {"Overflow", kArray + "1 1\n1e-300\n", kArray + "1 1\n1e300\n", "LU", "not-finite",
         "the solution is not finite: a number overflowed on the way"},
        {"RightHandOverflows", kArray + "2 2\n1e308\n1e308\n1e308\n-1e308\n", "", "LU", "not-finite",
         "the solution is not finite: a number overflowed on the way"},
        {"WideOverflow", kArray + "1 2\n1e-300\n1e-300\n", kArray + "1 1\n1e300\n", "LQ (minimum norm)",
         "not-finite", "the solution is not finite: a number overflowed on the way"},
        {"PivotGrowth", growing(120), asFile(random(120, 1, 9)), "LU", "inaccurate",
         "the solution is inaccurate: its scaled residual is [0-9.]+e-0[0-9]"},
    };
    return table;
}

class NumericFailures : public ::testing::TestWithParam<NumericFailure> {};

TEST_P(NumericFailures, AreExitCodeOneInWordsWithAReportAndNoFile)
{
    const NumericFailure& failure = GetParam();
    const Scratch scratch;
    const std::string path = scratch.file("a.mtx", failure.matrix);
    scratch.file("x", "old");
    for (const bool json : {false, true}) {
        std::vector<std::string> arguments{"solve", path, "--out", scratch.at("x")};
        if (json) arguments.emplace_back("--json");
        if (!failure.rightHand.empty())
            arguments.insert(arguments.end(), {"--rhs", scratch.file("b", failure.rightHand)});
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_THAT(outcome.err, MatchesRegex("lintrix: " + path + ": " + failure.text + "\n"));
        EXPECT_EQ(contentOf(scratch.at("x")), "old");
        EXPECT_EQ(scratch.names().size(), failure.rightHand.empty() ? 2U : 3U);
        if (json) {
            EXPECT_EQ(parseJson(outcome.out)["status"].text(), "failed");
            EXPECT_EQ(parseJson(outcome.out)["reason"].text(), failure.reason);
            EXPECT_EQ(parseJson(outcome.out)["road"].text(), failure.road);
        } else {
            EXPECT_THAT(outcome.out,
                        ::testing::HasSubstr("\nstatus            failed, " + failure.reason + "\n"));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Systems, NumericFailures, ::testing::ValuesIn(numericFailures()),
                         [](const auto& parameter) { return parameter.param.name; });

/// 1/(i + j - 1): the condition grows as e^(3.5 n).
std::string hilbert(int n)
{
    Matrix A(n, n);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) A(i, j) = 1.0 / (i + j + 1);
    }
    return asFile(A);
}

TEST(SolveCommand, FewDigitsAreWarnedOf)
{
    const Scratch scratch;
    const auto warningFor = [&](int n) {
        const Outcome outcome = run({"solve", scratch.file("a.mtx", hilbert(n)), "--out", scratch.at("x")});
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_TRUE(std::filesystem::exists(scratch.at("x")));
        return outcome.err;
    };
    const std::string start = "lintrix: warning: " + scratch.at("a.mtx") + ": ";
    const std::string end =
        " of the solution can be trusted: a known solution came back with a relative error of ";
    EXPECT_EQ(warningFor(4), "");
    EXPECT_THAT(warningFor(10), MatchesRegex(start + "only about [2-5] digits" + end + "[0-9.]+e-0[3-6]\n"));
}

TEST(SolveCommand, WithoutACorrectDigitThereIsNoSolution)
{
    const Scratch scratch;
    const std::string path = scratch.file("a.mtx", hilbert(14));
    const Outcome outcome = run({"solve", path, "--out", scratch.at("x"), "--json"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_FALSE(std::filesystem::exists(scratch.at("x")));
    EXPECT_EQ(parseJson(outcome.out)["status"].text(), "failed");
    EXPECT_EQ(parseJson(outcome.out)["reason"].text(), "ill-conditioned");
    EXPECT_THAT(outcome.err,
                MatchesRegex("lintrix: " + path +
                             ": no digit of the solution can be trusted: a known solution came back with a "
                             "relative error of [0-9.]+e[+-][0-9]+\n"));
}

#if !LINTRIX_SANITIZED_MEMORY // the sanitizers run the command without a limit on its address space
TEST(SolveCommand, ASizeBeyondTheMemoryIsRefusedBeforeAnyIsTaken)
{
    const Scratch scratch;
    const std::string path = scratch.file("a.mtx", kCoordinate + "20000 20000 1\n1 1 1\n");
    const Outcome outcome = run({"solve", path, "--dense"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.err, "lintrix: " + path +
                               ":2: a dense 20000 x 20000 matrix with its factors takes 6.4 GB "
                               "of memory, more than the 1.1 GB there are\n");
}
#endif

TEST(SolveCommand, TheOutputIsRefusedBeforeTheWork)
{
    const Scratch scratch;
    const std::string out = scratch.at("none/x");
    const Outcome outcome = run({"solve", dataFile("b1_ss.mtx"), "--out", out});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "lintrix: " + out + ": cannot be written: No such file or directory\n");
}

TEST(SolveCommand, AnOutputThatDoesNotFitLeavesNothing)
{
    const Scratch scratch;
    Invocation invocation;
    invocation.arguments = {"solve", dataFile("sherman4.mtx"), "--out", scratch.file("x", "old")};
    invocation.fileLimit = 2000; // 1104 numbers take more
    const Outcome limited = run(invocation);
    EXPECT_EQ(limited.exitCode, 2);
    EXPECT_EQ(limited.err, "lintrix: " + scratch.at("x") + ": cannot be written: File too large\n");
    EXPECT_EQ(contentOf(scratch.at("x")), "old");
    EXPECT_THAT(scratch.names(), ElementsAre("x"));

    const Outcome full = run({"solve", dataFile("sherman4.mtx"), "--out", "/dev/full"});
    EXPECT_EQ(full.exitCode, 2);
    EXPECT_EQ(full.err, "lintrix: /dev/full: cannot be written: No space left on device\n");
}

TEST(SolveCommand, TheThreadCountDoesNotChangeTheAnswerBeyondRounding)
{
    const Scratch scratch;
    const std::string matrix = dataFile("sherman4.mtx");
    for (const char* threads : {"1", "2"}) {
        const Outcome outcome = run({"solve", matrix, "--threads", threads, "--json"});
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_LT(parseJson(outcome.out)["max_error"].number(), 1e-10);
    }
}

TEST(SolveCommand, LongWorkShowsALineOnATerminalAndErasesIt)
{
    const Scratch scratch;
    std::string large = kCoordinate + "1500 1500 1500\n";
    for (int i = 1; i <= 1500; ++i) large += std::to_string(i) + " " + std::to_string(i) + " 1\n";
    std::string commented = kCoordinate;
    for (int i = 0; i < 20; ++i) commented += "%" + std::string(1000000, '-') + "\n";
    commented += "1 1 1\n1 1 1\n";
    const Terminal terminal;
    if (!terminal.fault().empty()) GTEST_SKIP() << terminal.fault();
    Invocation invocation;
    invocation.error = terminal.name();

    const std::string erase = "\r\x1b[K";
    const std::string solving = scratch.file("large.mtx", large);
    invocation.arguments = {"solve", solving, "--dense"};
    EXPECT_EQ(run(invocation).exitCode, 0);
    EXPECT_EQ(terminal.written(), erase + "solving " + solving + ": 1500 x 1500, 2.2 Gflop" + erase);

    const std::string reading = scratch.file("long.mtx", commented);
    invocation.arguments = {"solve", reading};
    EXPECT_EQ(run(invocation).exitCode, 0);
    const std::string lines = terminal.written();
    EXPECT_THAT(lines, ::testing::StartsWith(erase + "reading " + reading + ": 8"));
    EXPECT_THAT(lines, ::testing::EndsWith(" %" + erase));

    invocation.arguments = {"solve", dataFile("b1_ss.mtx")};
    EXPECT_EQ(run(invocation).exitCode, 0);
    EXPECT_EQ(terminal.written(), "") << "short work shows nothing";
}

TEST(SolveCommand, WithoutATerminalNoProgressIsShown)
{
    const Scratch scratch;
    std::string large = kCoordinate + "1500 1500 1500\n";
    for (int i = 1; i <= 1500; ++i) large += std::to_string(i) + " " + std::to_string(i) + " 1\n";
    EXPECT_EQ(run({"solve", scratch.file("large.mtx", large)}).err, "");
}

} // namespace
} // namespace Velmar::Lintrix::testing
