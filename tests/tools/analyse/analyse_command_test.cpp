// `lintrix analyse`: type, matching, orderings and the factor's picture, as its user meets them.

#include <tests/tools/command.h>
#include <tests/tools/json.h>

#include <tools/support/text.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using tools::bytesInWords;

const std::string kGeneral = "%%MatrixMarket matrix coordinate real general\n";

// The tridiagonal matrix -1, 2, -1 of order 5.
const std::string kTridiagonal = "%%MatrixMarket matrix coordinate real symmetric\n5 5 9\n"
                                 "1 1 2\n2 2 2\n3 3 2\n4 4 2\n5 5 2\n2 1 -1\n3 2 -1\n4 3 -1\n5 4 -1\n";

// A star: row and column 1 are full.
const std::string kStar = kGeneral + "4 4 10\n1 1 9\n1 2 1\n1 3 1\n1 4 1\n2 1 1\n3 1 1\n4 1 1\n"
                                     "2 2 1\n3 3 1\n4 4 2\n";

const JsonArray& orderings(const Json& json)
{
    return std::get<JsonArray>(json["orderings"].value);
}

TEST(AnalyseCommand, EachOrderingIsARowOfTheTable)
{
    const Scratch scratch;
    const std::string file = scratch.file("a.mtx", kTridiagonal);
    const Outcome outcome = run({"analyse", file, "--threads", "1"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, StartsWith("matrix            " + file +
                                        "\n"
                                        "size              5 x 5\n"
                                        "entries           13\n"
                                        "type              2, real symmetric, may be positive definite\n"
                                        "matching          not for this type\n"
                                        "threads           1\n"
                                        "\n"
                                        "ordering                          nnz(L)     fill supernodes  "
                                        "largest   height  parts      Gflop   analysis    factors    "
                                        "in core   in files     seconds  factorize      solve\n"
                                        "minimum degree                         9     1.00 "));
    for (const char* title : {"\nminimum degree in parts ", "\nnested dissection ",
                              "\nnested dissection in parts ", "\nas the file has it "})
        EXPECT_THAT(outcome.out, HasSubstr(title));
}

TEST(AnalyseCommand, JsonTellsSizesOfEachOrdering)
{
    const Scratch scratch;
    const Outcome outcome = run({"analyse", scratch.file("a.mtx", kStar), "--json", "--threads", "1"});
    EXPECT_EQ(outcome.exitCode, 0);
    const Json json = parseJson(outcome.out);
    EXPECT_EQ(json["rows"].number(), 4);
    EXPECT_EQ(json["entries"].number(), 10);
    EXPECT_EQ(json["type"].number(), 2);
    EXPECT_EQ(json["threads"].number(), 1);
    EXPECT_TRUE(json["matching"].isNull());
    ASSERT_EQ(orderings(json).size(), 5U);
    for (const Json& ordering : orderings(json)) EXPECT_EQ(ordering["status"].text(), "done");
    // Minimum degree takes the centre last and has no fill; as it stands it comes first and fills all.
    const Json &best = orderings(json).front(), &natural = orderings(json).back();
    EXPECT_EQ(best["ordering"].text(), "mmd");
    EXPECT_EQ(best["lower_entries"].number(), 7);
    EXPECT_EQ(best["factor_entries"].number(), 10);
    EXPECT_EQ(best["fill_ratio"].number(), 1);
    EXPECT_EQ(best["supernodes"].number(), 3);
    EXPECT_EQ(best["largest_supernode"].number(), 2);
    EXPECT_LT(best["tree_height"].number(), 4);
    EXPECT_EQ(best["operations"].number(), 3 * 2);
    EXPECT_GT(best["analysis_kilobytes"].number(), best["kept_kilobytes"].number());
    EXPECT_EQ(best["in_core_megabytes"].number(), 1);
    EXPECT_EQ(best["least_out_of_core_megabytes"].number(), 1);
    EXPECT_GT(best["seconds"]["total"].number(), 0);
    EXPECT_GT(best["forecast_seconds"]["factorize"].number(), best["forecast_seconds"]["solve"].number());
    EXPECT_GT(natural["forecast_seconds"]["solve"].number(), best["forecast_seconds"]["solve"].number());
    EXPECT_EQ(natural["ordering"].text(), "natural");
    EXPECT_EQ(natural["lower_entries"].number(), 10);
    EXPECT_EQ(natural["tree_height"].number(), 4);
    EXPECT_EQ(natural["supernodes"].number(), 1);
}

// A factor that is full takes much in core and, supernode by supernode, little in files.
TEST(AnalyseCommand, NeedsInCoreAndInFilesAreToldOfEachOrdering)
{
    constexpr int n = 1500;
    std::string text = "%%MatrixMarket matrix coordinate pattern symmetric\n1500 1500 1499\n";
    for (int i = 2; i <= n; ++i) text += std::to_string(i) + " 1\n";
    const Scratch scratch;
    const std::string file = scratch.file("a.mtx", text);
    const Json json = parseJson(run({"analyse", file, "--json", "--threads", "1"}).out);
    for (const Json& ordering : orderings(json)) {
        const double peak = ordering["analysis_kilobytes"].number();
        const double inCore = ordering["kept_kilobytes"].number() + ordering["factor_kilobytes"].number();
        EXPECT_EQ(ordering["in_core_megabytes"].number(), std::ceil(std::max(peak, inCore) / 1024));
        EXPECT_GE(1024 * ordering["least_out_of_core_megabytes"].number(),
                  ordering["kept_kilobytes"].number());
    }
    const Json &best = orderings(json).front(), &natural = orderings(json).back();
    EXPECT_GE(natural["in_core_megabytes"].number(), 0.5 * 8 * n * n / (1 << 20));
    EXPECT_LT(natural["least_out_of_core_megabytes"].number(), natural["in_core_megabytes"].number());
    EXPECT_LT(best["in_core_megabytes"].number(), 2);

    const Outcome outcome = run({"analyse", file, "--ordering", "natural", "--threads", "1"});
    EXPECT_THAT(outcome.out,
                HasSubstr(" " + bytesInWords(1048576 * natural["in_core_megabytes"].number()) + " "));
    EXPECT_THAT(
        outcome.out,
        HasSubstr(" " + bytesInWords(1048576 * natural["least_out_of_core_megabytes"].number()) + " "));
}

TEST(AnalyseCommand, OneOrderingIsPickedByItsName)
{
    const Scratch scratch;
    const std::string file = scratch.file("a.mtx", kTridiagonal);
    for (const char* name : {"mmd", "cmmd", "nd", "pnd", "natural"}) {
        const Outcome outcome = run({"analyse", file, "--ordering", name, "--json"});
        EXPECT_EQ(outcome.exitCode, 0);
        const Json json = parseJson(outcome.out);
        ASSERT_EQ(orderings(json).size(), 1U);
        EXPECT_EQ(orderings(json).front()["ordering"].text(), name);
    }
    const Outcome outcome = run({"analyse", scratch.at("absent.mtx"), "--ordering", "best"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.err, "lintrix: --ordering: 'best' is none of mmd, cmmd, nd, pnd, natural "
                           "(see lintrix analyse --help)\n");
}

struct TypedMatrix {
    const char* text;
    int type;
};

TEST(AnalyseCommand, TypeIsFoundFromPatternAndValues)
{
    const Scratch scratch;
    for (const TypedMatrix& matrix :
         {TypedMatrix{"2 2 4\n1 1 2\n1 2 1\n2 1 1\n2 2 2\n", 2},
          TypedMatrix{"2 2 4\n1 1 1\n1 2 2\n2 1 2\n2 2 2\n", -2},
          TypedMatrix{"2 2 4\n1 1 -1\n1 2 .5\n2 1 .5\n2 2 2\n", -2},
          TypedMatrix{"2 2 3\n1 2 1\n2 1 1\n2 2 2\n", -2},
          TypedMatrix{"2 2 4\n1 1 1\n1 2 1\n2 1 2\n2 2 2\n", 1},
          TypedMatrix{"2 2 3\n1 2 1\n2 1 2\n2 2 2\n", 11}, TypedMatrix{"2 2 3\n1 1 1\n1 2 2\n2 2 2\n", 11}}) {
        const Outcome outcome = run({"analyse", scratch.file("a.mtx", kGeneral + matrix.text), "--json"});
        ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
        EXPECT_EQ(parseJson(outcome.out)["type"].number(), matrix.type) << matrix.text;
    }
}

TEST(AnalyseCommand, MatchingTellsHowManyRowsMove)
{
    const Scratch scratch;
    const std::string file = scratch.file("a.mtx", kGeneral + "3 3 5\n1 2 5\n2 1 4\n3 3 1\n1 1 1\n3 1 1\n");
    const Outcome outcome = run({"analyse", file});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, HasSubstr("matching          perfect, 2 of 3 rows move\n"));
    const Json json = parseJson(run({"analyse", file, "--json"}).out);
    EXPECT_EQ(json["matching"]["matched"].number(), 3);
    EXPECT_EQ(json["matching"]["moved"].number(), 2);
}

TEST(AnalyseCommand, SingularPatternIsToldAndAnalysedWithoutItsMatching)
{
    const Scratch scratch;
    // Columns 2 and 3 stand in row 1 alone.
    const std::string file = scratch.file("a.mtx", kGeneral + "3 3 5\n1 1 1\n1 2 1\n1 3 1\n2 1 7\n3 1 1\n");
    const Outcome outcome = run({"analyse", file});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.err, "lintrix: " + file + ": the pattern is singular: 2 of 3 rows can be matched\n");
    EXPECT_THAT(outcome.out, HasSubstr("matching          the pattern is singular: 2 of 3 rows can be "
                                       "matched; analysed without\n"));
    EXPECT_THAT(outcome.out, HasSubstr("\nnested dissection "));
    EXPECT_THAT(outcome.out, Not(HasSubstr("failed")));
}

TEST(AnalyseCommand, DiagonalMatrixHasNothingToAnalyse)
{
    const Scratch scratch;
    const std::string file = scratch.file("a.mtx", kGeneral + "3 3 2\n1 1 5\n3 3 1\n");
    const Outcome outcome = run({"analyse", file, "--plot", scratch.at("a.svg")});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, HasSubstr("analysis          none: a diagonal matrix is solved at once\n"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("nnz(L)")));
    EXPECT_THAT(contentOf(scratch.at("a.svg")), HasSubstr("<title>3 x 3 matrix</title>"));
}

TEST(AnalyseCommand, AnOrderingOfADiagonalMatrixIsRefused)
{
    const Scratch scratch;
    const std::string file = scratch.file("a.mtx", kGeneral + "3 3 2\n1 1 5\n3 3 1\n");
    const Outcome outcome = run({"analyse", file, "--ordering", "nd"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.err,
              "lintrix: " + file + ": --ordering has no effect: a diagonal matrix is not analysed\n");
}

TEST(AnalyseCommand, SizesThatCannotBeHeldAreRefusedAtOnce)
{
    const Scratch scratch;
    const std::string file = scratch.file("a.mtx", kGeneral + "2147483647 2147483647 1\n1 1 1\n");
    const Outcome outcome = run({"analyse", file});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err,
                StartsWith("lintrix: " + file + ":2: a sparse 2147483647 x 2147483647 matrix takes "));
}

TEST(AnalyseCommand, PictureIsTheFactorOfLeastFill)
{
    const Scratch scratch;
    const std::string file = scratch.file("a.mtx", kStar);
    EXPECT_EQ(run({"analyse", file, "--plot", scratch.at("all.svg")}).exitCode, 0);
    EXPECT_EQ(run({"analyse", file, "--ordering", "mmd", "--plot", scratch.at("best.svg")}).exitCode, 0);
    EXPECT_EQ(run({"analyse", file, "--ordering", "natural", "--plot", scratch.at("natural.svg")}).exitCode,
              0);
    EXPECT_EQ(run({"analyse", file, "--plot", scratch.at("a.png")}).exitCode, 0);
    EXPECT_EQ(contentOf(scratch.at("all.svg")), contentOf(scratch.at("best.svg")));
    EXPECT_NE(contentOf(scratch.at("all.svg")), contentOf(scratch.at("natural.svg")));
    EXPECT_THAT(contentOf(scratch.at("a.png")), StartsWith("\x89PNG\r\n\x1a\n"));
    EXPECT_THAT(scratch.names(), ElementsAre("a.mtx", "a.png", "all.svg", "best.svg", "natural.svg"));
}

TEST(AnalyseCommand, BadInputIsOneLineAndNoPicture)
{
    const Scratch scratch;
    const std::string wide = scratch.file("wide.mtx", kGeneral + "2 3 1\n1 1 1\n");
    const std::string bad = scratch.file("bad.mtx", kGeneral + "2 2 1\n3 1 1\n");
    const Outcome rectangle = run({"analyse", wide, "--plot", scratch.at("a.png")});
    EXPECT_EQ(rectangle.exitCode, 2);
    EXPECT_EQ(rectangle.out, "");
    EXPECT_EQ(rectangle.err,
              "lintrix: " + wide + ": the matrix is 2 x 3: only square ones have an analysis\n");
    const Outcome outside = run({"analyse", bad, "--plot", scratch.at("a.png")});
    EXPECT_EQ(outside.exitCode, 2);
    EXPECT_THAT(outside.err, StartsWith("lintrix: " + bad + ":3: "));
    EXPECT_THAT(scratch.names(), ElementsAre("bad.mtx", "wide.mtx"));
}

TEST(AnalyseCommand, PictureThatCannotBeWrittenIsRefusedBeforeAnyWork)
{
    const Scratch scratch;
    const Outcome outcome = run({"analyse", scratch.at("absent.mtx"), "--plot", scratch.at("no/a.png")});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.err, HasSubstr("a.png"));
}

TEST(AnalyseCommand, LargeMatrixIsNotOrderedAsItStandsUnlessAskedFor)
{
    const Scratch scratch;
    const int n = 10001;
    std::string text = "%%MatrixMarket matrix coordinate pattern symmetric\n10001 10001 10000\n";
    for (int i = 2; i <= n; ++i) text += std::to_string(i) + " 1\n";
    const std::string file = scratch.file("a.mtx", text);
    const Outcome outcome = run({"analyse", file});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, Not(HasSubstr("as the file has it")));
    // The centre of the star comes first, and the factor is full.
    const Json json = parseJson(run({"analyse", file, "--ordering", "natural", "--json"}).out);
    EXPECT_EQ(orderings(json).front()["lower_entries"].number(), 0.5 * n * (n + 1.0));
}

TEST(AnalyseCommand, RealMatricesAreAnalysedByEachOrdering)
{
    for (const char* name : {"662_bus.mtx", "sherman4.mtx", "west0479.mtx", "mcca.mtx", "bfw782a.mtx.gz",
                             "b1_ss.mtx", "plskz362.mtx", "lp_share2b.mtx"}) {
        const Outcome outcome = run({"analyse", dataFile(name), "--json", "--threads", "4"});
        if (outcome.exitCode == 2) {
            EXPECT_THAT(outcome.err, HasSubstr("only square ones")) << name;
            continue;
        }
        EXPECT_EQ(outcome.err, "") << name;
        const Json json = parseJson(outcome.out);
        for (const Json& ordering : orderings(json)) {
            EXPECT_EQ(ordering["status"].text(), "done") << name;
            EXPECT_GE(ordering["lower_entries"].number(), json["rows"].number()) << name;
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
