// `lintrix info`: facts, norms, rank and pattern, as its user meets them.

#include <tests/tools/command.h>
#include <tests/tools/json.h>

#include <tools/support/pattern.h>

#include <gmock/gmock.h>

#include <cmath>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

//     1 -2  0
// A = 3  4  0
//     0  0  0 (stored)
const std::string kSmall = "%%MatrixMarket matrix coordinate real general\n3 3 6\n"
                           "1 1 1\n1 2 -5\n1 2 3\n2 1 3\n2 2 4\n3 3 0\n";

TEST(InfoCommand, SmallMatrixIsToldWithRankAndSketch)
{
    const Scratch scratch;
    const std::string file = scratch.file("a.mtx", kSmall);
    const Outcome outcome = run({"info", file});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out,
              "matrix            " + file +
                  "\n"
                  "size              3 x 3\n"
                  "entries           5 (55.6 % of the cells, 1 stored zeros, 3 on the diagonal)\n"
                  "symmetry          unsymmetric with a symmetric pattern\n"
                  "bandwidth         1 below, 1 above the diagonal\n"
                  "magnitudes        1 to 4, zeros aside\n"
                  "norms             one 6, infinity 7, Frobenius 5.47723\n"
                  "rank              2 of 3\n"
                  "singular values   5.11667 to 0, condition inf\n"
                  "+---+\n"
                  "|@@ |\n"
                  "|@@ |\n"
                  "|  @|\n"
                  "+---+\n");
}

TEST(InfoCommand, JsonTellsTheSameFacts)
{
    const Scratch scratch;
    const Outcome outcome = run({"info", scratch.file("a.mtx", kSmall), "--json"});
    EXPECT_EQ(outcome.exitCode, 0);
    const Json json = parseJson(outcome.out);
    EXPECT_EQ(json["rows"].number(), 3);
    EXPECT_EQ(json["cols"].number(), 3);
    EXPECT_EQ(json["entries"].number(), 5);
    EXPECT_EQ(json["stored_zeros"].number(), 1);
    EXPECT_EQ(json["symmetry"].text(), "unsymmetric with a symmetric pattern");
    EXPECT_EQ(json["norms"]["one"].number(), 6);
    EXPECT_EQ(json["norms"]["infinity"].number(), 7);
    EXPECT_EQ(json["norms"]["max"].number(), 4);
    EXPECT_NEAR(json["norms"]["frobenius"].number(), std::sqrt(30.0), 1e-15 * 30);
    EXPECT_EQ(json["rank"].number(), 2);
}

struct RealFile {
    const char* name;
    const char* symmetry;
    int rank;
};

TEST(InfoCommand, RealMatricesHaveTheirKnownRanksAndSymmetries)
{
    for (const RealFile& file :
         {RealFile{"jgl011.mtx", "unsymmetric", 5}, RealFile{"curtis54.mtx", "unsymmetric", 50},
          RealFile{"bcsstk04.mtx", "symmetric", 132}, RealFile{"sphere2.mtx", "symmetric", 64},
          RealFile{"plskz362.mtx", "skew-symmetric", 362},
          RealFile{"pde225.mtx", "unsymmetric with a symmetric pattern", 225},
          RealFile{"Maragal_1.mtx", "rectangular", 10}}) {
        const Outcome outcome = run({"info", dataFile(file.name), "--json"});
        ASSERT_EQ(outcome.exitCode, 0) << file.name << outcome.err;
        const Json json = parseJson(outcome.out);
        EXPECT_EQ(json["symmetry"].text(), file.symmetry) << file.name;
        EXPECT_EQ(json["rank"].number(), file.rank) << file.name;
    }
}

// A dense copy would take 8e12 bytes, far above the address space that the command is given here.
TEST(InfoCommand, LargeMatrixIsToldWithoutADenseCopy)
{
    const Scratch scratch;
    const std::string file = scratch.file("large.mtx", "%%MatrixMarket matrix coordinate pattern symmetric\n"
                                                       "1000000 1000000 2\n1000000 1\n5 5\n");
    const Outcome outcome = run({"info", file});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, HasSubstr("size              1000000 x 1000000\n"));
    EXPECT_THAT(outcome.out, HasSubstr("bandwidth         999999 below, 999999 above the diagonal\n"));
    EXPECT_THAT(outcome.out, HasSubstr("singular values   not computed: the matrix is large\n"));
}

TEST(InfoCommand, PictureIsAPngOrAnSvgByItsName)
{
    const Scratch scratch;
    const std::string file = scratch.file("a.mtx", kSmall);
    EXPECT_EQ(run({"info", file, "--plot", scratch.at("a.png")}).exitCode, 0);
    EXPECT_EQ(run({"info", file, "--plot", scratch.at("a.svg")}).exitCode, 0);
    EXPECT_THAT(contentOf(scratch.at("a.png")), StartsWith("\x89PNG\r\n\x1a\n"));
    const std::string svg = contentOf(scratch.at("a.svg"));
    EXPECT_THAT(svg, StartsWith("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"-1 -1 5 5\""));
    EXPECT_THAT(svg, HasSubstr("<title>3 x 3 matrix</title>"));
    EXPECT_THAT(scratch.names(), ElementsAre("a.mtx", "a.png", "a.svg"));
}

TEST(InfoCommand, PictureOfAnotherKindIsRefusedBeforeAnyWork)
{
    const Scratch scratch;
    const Outcome outcome = run({"info", scratch.at("absent.mtx"), "--plot", "a.gif"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.err,
              "lintrix: --plot: 'a.gif' ends neither in .png nor in .svg (see lintrix info --help)\n");
}

TEST(InfoCommand, BadInputIsOneLineWithItsPlace)
{
    const Scratch scratch;
    const std::string file =
        scratch.file("bad.mtx", "%%MatrixMarket matrix coordinate real general\n2 2 1\n3 1 1\n");
    const Outcome outcome = run({"info", file, "--plot", scratch.at("a.png")});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, StartsWith("lintrix: " + file + ":3: "));
    EXPECT_THAT(scratch.names(), ElementsAre("bad.mtx"));
}

TEST(InfoCommand, SizesThatCannotBeHeldAreRefusedAtOnce)
{
    const Scratch scratch;
    const std::string file = scratch.file(
        "a.mtx", "%%MatrixMarket matrix coordinate real general\n2147483647 2147483647 1\n1 1 1\n");
    const Outcome outcome = run({"info", file});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, StartsWith("lintrix: " + file +
                                        ":2: a sparse 2147483647 x 2147483647 matrix takes 68.7 GB of memory "
                                        "with what is made of it, more than the "));
}

TEST(InfoCommand, NumbersThatAreNoneAreToldInWords)
{
    const Scratch scratch;
    const std::string zero = scratch.file("a.mtx", "%%MatrixMarket matrix coordinate real general\n2 2 0\n");
    EXPECT_THAT(run({"info", zero}).out, HasSubstr("singular values   0 to 0, condition unknown\n"));
    const std::string singular =
        scratch.file("b.mtx", "%%MatrixMarket matrix coordinate real general\n2 2 1\n1 1 1\n");
    EXPECT_THAT(run({"info", singular}).out, HasSubstr("singular values   1 to 0, condition inf\n"));
}

TEST(InfoCommand, StandardOutputTakesThePicture)
{
    const Scratch scratch;
    const Outcome outcome = run({"info", scratch.file("a.mtx", kSmall), "--plot", "-"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, StartsWith("<svg "));
    EXPECT_THAT(outcome.err, HasSubstr("\nsize              3 x 3\n"));
}

TEST(PatternGrid, EveryEntryLiesInItsFieldAndOneEntryIsSeenBesideMany)
{
    tools::PatternGrid grid(1000, 10, 4, 20); // 250 rows and 1 column a field
    EXPECT_EQ(grid.height(), 4);
    EXPECT_EQ(grid.width(), 10);
    for (int row = 0; row < 250; ++row) grid.add(row, 0);
    grid.add(999, 9);
    EXPECT_EQ(grid.shade(0, 0), 1.0);
    EXPECT_GT(grid.shade(3, 9), 0.0);
    EXPECT_EQ(grid.shade(1, 0), 0.0);
    EXPECT_EQ(asSketch(grid),
              "+----------+\n|@         |\n|          |\n|          |\n|         .|\n+----------+\n");
}

} // namespace
} // namespace Velmar::Lintrix::testing
