// `lintrix convert`, and the other commands on files of every form.

#include <tests/support/files.h>
#include <tests/tools/command.h>

#include <lintrix/lintrix.h>

#include <gmock/gmock.h>

#include <cmath>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

const std::string kSystem = "T\n"
                            "             4             1             1             1             1\n"
                            "RSA                        2             2             3             0\n"
                            "(8I4)           (8I4)           (4F8.2)             (4F8.2)             \n"
                            "F                          1             0\n"
                            "   1   3   4\n   1   2   2\n    2.00    1.00    3.00\n    4.00    7.00\n";

TEST(ConvertCommand, EachFormBecomesEachOther)
{
    const Scratch scratch;
    const std::string first = scratch.file("a.rsa", kSystem);
    std::string last = first;
    for (const char* name :
         {"b.mtx", "c.rb", "d.mtx.gz", "e.npz", "f.rua", "g.npy", "h.npz", "i.rb.gz", "j.mtx", "k.npy"}) {
        const Outcome outcome = run({"convert", last, scratch.at(name)});
        EXPECT_EQ(outcome.exitCode, 0) << name << ": " << outcome.err;
        EXPECT_EQ(outcome.out, "") << name;
        const bool leavesRightHands = last == first;
        EXPECT_EQ(outcome.err, leavesRightHands
                                   ? "lintrix: warning: " + first + ": its right-hand sides are not written\n"
                                   : "");
        last = scratch.at(name);
    }
    EXPECT_EQ(MatrixFileReader(last).ReadDense(), (Matrix{{2, 1}, {1, 3}}));
    EXPECT_TRUE(MatrixFileReader(scratch.at("c.rb")).ReadSparse().Symmetric());
    EXPECT_EQ(run({"convert", first, "-"}).out,
              "%%MatrixMarket matrix coordinate real symmetric\n2 2 3\n1 1 2\n2 1 1\n2 2 3\n");
}

TEST(ConvertCommand, ComplexMatricesAndNumbersThatAreNotFinite)
{
    const Scratch scratch;
    const std::string hermitian = scratch.file(
        "a.mtx", "%%MatrixMarket matrix coordinate complex hermitian\n2 2 2\n1 1 1 0\n2 1 2 -3\n");
    EXPECT_EQ(run({"convert", hermitian, scratch.at("b.cha")}).exitCode, 0);
    EXPECT_TRUE(MatrixFileReader(scratch.at("b.cha")).ReadComplexSparse().Hermitian());
    EXPECT_EQ(run({"convert", scratch.at("b.cha"), scratch.at("c.npy")}).exitCode, 0);
    EXPECT_EQ(MatrixFileReader(scratch.at("c.npy")).ReadComplexDense()(0, 1), Complex(2, 3));
    const std::string floats = dataFile("../files/data/floats.npy");
    EXPECT_EQ(run({"convert", floats, scratch.at("d.npy")}).exitCode, 0);
    EXPECT_THAT(run({"convert", floats, scratch.at("d.mtx")}).err,
                HasSubstr("entry (1, 2) is not a finite number"));
}

TEST(ConvertCommand, FaultsLeaveNoFile)
{
    const Scratch scratch;
    const std::string matrix = scratch.file("a.rsa", kSystem);
    const Outcome unknown = run({"convert", matrix, scratch.at("x.txt")});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_EQ(unknown.err,
              "lintrix: " + scratch.at("x.txt") +
                  ": the name does not say a form: .mtx, .rua and its like, .rb, .npy or .npz\n");
    const std::string bad = scratch.file("bad.rsa", kSystem.substr(0, kSystem.size() - 60));
    const Outcome outcome = run({"convert", bad, scratch.at("x.npz")});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.err, StartsWith("lintrix: " + bad + ":"));
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"a.rsa", "bad.rsa"}));
    EXPECT_EQ(run({"convert", matrix}).exitCode, 2);
}

TEST(ConvertCommand, HelpTellsTheForms)
{
    const Outcome help = run({"convert", "--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_EQ(
        help.out,
        "Write a matrix file in another form\n"
        "Usage: lintrix convert [OPTIONS] IN OUT\n"
        "\n"
        "Positionals:\n"
        "  IN REQUIRED                 Matrix file, plain or gzip; - is standard input\n"
        "  OUT REQUIRED                File to write; - is standard output, a Matrix Market file\n"
        "\n"
        "Options:\n"
        "  -h,--help                   Print this help message and exit\n"
        "\n"
        "IN may be, told by its content: Matrix Market (.mtx), Harwell-Boeing (.rua, .rsa, .cua, .pua, "
        "...),\n"
        "Rutherford-Boeing (.rb), NumPy (.npy) or an archive of NumPy or SciPy (.npz). The name of OUT says "
        "the\n"
        "form to write; a .gz behind it packs the file. Values come back bit by bit; entries at one place "
        "are\n"
        "added up, whole numbers and patterns become real ones, a symmetric matrix has its whole diagonal.\n"
        "Sparse matrices become dense in .npy, and dense ones sparse in .rua and .rb, without their zeros.\n"
        "Exit code: 0 written, 2 usage or bad input.\n");
}

TEST(SolveCommand, TakesTheRightHandSidesOfTheFileAndWritesForNumPy)
{
    const Scratch scratch;
    const std::string matrix = scratch.file("a.rsa", kSystem), x = scratch.at("x.npy");
    EXPECT_EQ(run({"solve", matrix, "--out", x}).exitCode, 0);
    const Matrix X = MatrixFileReader(x).ReadDense(); // 2 x + y = 4, x + 3 y = 7
    EXPECT_NEAR(X(0, 0), 1.0, 1e-14);
    EXPECT_NEAR(X(1, 0), 2.0, 1e-14);
    EXPECT_EQ(run({"solve", matrix, "--dense", "--out", x}).exitCode, 0);
    EXPECT_NEAR(MatrixFileReader(x).ReadDense()(1, 0), 2.0, 1e-14);
    const Outcome converted = run({"convert", matrix, scratch.at("a.npz")});
    EXPECT_EQ(converted.exitCode, 0);
    EXPECT_EQ(converted.err, "lintrix: warning: " + matrix + ": its right-hand sides are not written\n");
    EXPECT_EQ(run({"solve", scratch.at("a.npz"), "--rhs", x, "--out", scratch.at("y.npz")}).exitCode, 0);
    EXPECT_EQ(MatrixFileReader(scratch.at("y.npz")).ReadDense().Rows(), 2);
    EXPECT_EQ(run({"convert", matrix, scratch.at("a.npy")}).exitCode, 0);
    EXPECT_EQ(run({"solve", scratch.at("a.npy"), "--rhs", x}).exitCode, 0);
    EXPECT_EQ(run({"solve", matrix, "--out", "x.rua"}).err,
              "lintrix: x.rua: Harwell-Boeing files hold sparse matrices\n");
}

TEST(InfoCommand, ReadsEveryForm)
{
    const Scratch scratch;
    const std::string matrix = scratch.file("a.rsa", kSystem);
    EXPECT_THAT(run({"info", matrix}).out, HasSubstr("2 x 2"));
    EXPECT_THAT(run({"info", dataFile("../files/data/rows.npz")}).out, HasSubstr("3 x 4"));
    const Outcome floats = run({"info", dataFile("../files/data/floats.npy")});
    EXPECT_EQ(floats.exitCode, 2);
    EXPECT_THAT(floats.err, HasSubstr("byte 144: entry (1, 2) is not a finite number"));
    Invocation piped;
    piped.arguments = {"info", "-"};
    piped.input = matrix;
    EXPECT_EQ(run(piped).exitCode, 0);
}

} // namespace
} // namespace Velmar::Lintrix::testing
