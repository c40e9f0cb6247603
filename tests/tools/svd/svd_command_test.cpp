// `lintrix svd`: values, residuals, files and pictures, as its user meets them.

#include <tests/tools/command.h>
#include <tests/tools/json.h>

#include <tools/svd/decay_plot.h>

#include <lintrix/lintrix.h>

#include <gmock/gmock.h>

#include <cmath>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

std::vector<double> numbersAt(const Json& json, const std::string& key)
{
    std::vector<double> numbers;
    for (const Json& item : std::get<JsonArray>(json[key].value)) numbers.push_back(item.number());
    return numbers;
}

TEST(SvdCommand, ByStepsJsonTellsValuesResidualsPassesAndSeconds)
{
    const Outcome outcome = run({"svd", dataFile("ash219.mtx"), "-k", "5", "--method", "lanczos", "--json"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    const Json json = parseJson(outcome.out);
    const Vector dense = SVD(ReadMatrixMarketDense(dataFile("ash219.mtx")), true).SingularValues();
    const std::vector<double> values = numbersAt(json, "values"), residuals = numbersAt(json, "residuals");
    ASSERT_EQ(values.size(), 5U);
    ASSERT_EQ(residuals.size(), 5U);
    for (int i = 0; i < 5; ++i) {
        EXPECT_NEAR(values[static_cast<std::size_t>(i)], dense[i], 1e-12);
        EXPECT_LT(residuals[static_cast<std::size_t>(i)], 1e-10);
    }
    EXPECT_EQ(json["passes"].number(), 3);
    EXPECT_EQ(json["steps"].number(), 47); // 20, 31, 47
    EXPECT_EQ(json["tolerance"].number(), 1e-10);
    EXPECT_EQ(json["status"].text(), "found");
    EXPECT_EQ(json["rows"].number(), 219);
    EXPECT_EQ(json["cols"].number(), 85);
    EXPECT_EQ(json["entries"].number(), 438);
    EXPECT_GE(json["seconds"]["total"].number(), json["seconds"]["svd"].number());
}

TEST(SvdCommand, JsonTellsValuesResidualsRestartsProductsAndCertainty)
{
    const Outcome outcome = run({"svd", dataFile("ash219.mtx"), "-k", "5", "--certify", "--json"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    const Json json = parseJson(outcome.out);
    const Vector dense = SVD(ReadMatrixMarketDense(dataFile("ash219.mtx")), true).SingularValues();
    const std::vector<double> values = numbersAt(json, "values"), residuals = numbersAt(json, "residuals");
    ASSERT_EQ(values.size(), 5U);
    ASSERT_EQ(residuals.size(), 5U);
    for (int i = 0; i < 5; ++i) {
        EXPECT_NEAR(values[static_cast<std::size_t>(i)], dense[i], 1e-9);
        EXPECT_LE(residuals[static_cast<std::size_t>(i)], json["largest_residual"].number());
    }
    EXPECT_LE(json["largest_residual"].number(), 1e-10);
    EXPECT_EQ(json["road"].text(), "restarted Lanczos");
    EXPECT_GE(json["restarts"].number(), 0);
    EXPECT_GT(json["products"].number(), 20);
    EXPECT_EQ(json["certainty"].text(), "certain");
    EXPECT_EQ(json["above"].number(), 5);
    EXPECT_LT(json["bound"].number(), dense[4]);
    EXPECT_GT(json["bound"].number(), dense[5]);
    EXPECT_EQ(json["recovered"].number(), 0);
    EXPECT_EQ(json["reason"].text(), "");
    EXPECT_EQ(json["status"].text(), "found");
}

TEST(SvdCommand, TextTellsTheCertaintyWhereItIsAsked)
{
    const std::string file = dataFile("ash219.mtx");
    const std::string asked = run({"svd", file, "-k", "3", "--certify"}).out,
                      unasked = run({"svd", file, "-k", "3"}).out;
    EXPECT_THAT(asked, HasSubstr("\ncertainty         certain: 3 values above 3.3"));
    EXPECT_THAT(unasked, Not(HasSubstr("certainty")));
    for (const std::string& text : {asked, unasked}) {
        EXPECT_THAT(text, HasSubstr("\nroad              restarted Lanczos\nrestarts          "));
        EXPECT_THAT(text, HasSubstr("\nlargest residual  "));
    }
    const std::string whole = run({"svd", dataFile("relat4.mtx"), "-k", "12", "--certify"}).out,
                      rounding = run({"svd", dataFile("relat4.mtx"), "-k", "8", "--certify"}).out;
    EXPECT_THAT(whole, HasSubstr("\ncertainty         certain\n"));
    EXPECT_THAT(rounding,
                HasSubstr("\ncertainty         undecided: the last value is zero next to the first\n"));
}

TEST(SvdCommand, ValuesOfAComplexMatrixAreFound)
{
    const Scratch scratch;
    const std::string file = scratch.file("c.mtx", "%%MatrixMarket matrix coordinate complex general\n"
                                                   "3 2 3\n1 1 0 3\n2 2 4 0\n3 1 4 0\n");
    const Outcome outcome = run({"svd", file, "-k", "2", "--json", "--out", scratch.at("t")});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    const std::vector<double> values = numbersAt(parseJson(outcome.out), "values");
    ASSERT_EQ(values.size(), 2U);
    EXPECT_NEAR(values[0], 5.0, 1e-12);
    EXPECT_NEAR(values[1], 4.0, 1e-12);
    EXPECT_THAT(contentOf(scratch.at("t.u.mtx")),
                StartsWith("%%MatrixMarket matrix array complex general\n3 2\n"));
    const Outcome bySteps = run({"svd", file, "-k", "2", "--method", "lanczos"});
    EXPECT_EQ(bySteps.exitCode, 2);
    EXPECT_EQ(bySteps.err,
              "lintrix: " + file + ":1: the singular values of a complex matrix are not found yet\n");
}

TEST(SvdCommand, TextTellsALineATriplet)
{
    const Scratch scratch;
    const std::string file = scratch.file("a.mtx", "%%MatrixMarket matrix coordinate real general\n"
                                                   "3 3 3\n1 1 1\n2 2 4\n3 3 2\n");
    const Outcome outcome = run({"svd", file, "-k", "1", "--tol", "1e-2"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(withoutTimes(outcome.out),
                StartsWith("matrix            " + file +
                           "\nsize              3 x 3\nentries           3\nstatus            found\n"));
    EXPECT_THAT(outcome.out, HasSubstr("\nsingular values   residuals\n"));
    EXPECT_THAT(withoutTimes(outcome.out),
                HasSubstr("\nseconds           read T, svd T, write T, total T\n"));
    const Outcome bySteps = run({"svd", file, "-k", "1", "--tol", "1e-2", "--method", "lanczos"});
    EXPECT_THAT(withoutTimes(bySteps.out), HasSubstr("\nseconds           read T, svd T, check T, write T, "
                                                     "total T\n"));
}

TEST(SvdCommand, SymmetricFileIsTakenAsTheFullMatrix)
{
    const Outcome outcome = run({"svd", dataFile("bcsstk04.mtx"), "-k", "2", "--json"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    const Vector dense = SVD(ReadMatrixMarketDense(dataFile("bcsstk04.mtx")), true).SingularValues();
    const std::vector<double> values = numbersAt(parseJson(outcome.out), "values");
    EXPECT_NEAR(values[0], dense[0], 1e-12 * dense[0]);
    EXPECT_NEAR(values[1], dense[1], 1e-12 * dense[0]);
}

TEST(SvdCommand, TripletsAreKeptInThreeFiles)
{
    const Scratch scratch;
    const Outcome outcome = run({"svd", dataFile("lp_afiro.mtx"), "-k", "3", "--out", scratch.at("t")});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_THAT(scratch.names(), ElementsAre("t.s.mtx", "t.u.mtx", "t.v.mtx"));
    const Matrix U = ReadMatrixMarketDense(scratch.at("t.u.mtx")),
                 S = ReadMatrixMarketDense(scratch.at("t.s.mtx")),
                 V = ReadMatrixMarketDense(scratch.at("t.v.mtx"));
    ASSERT_EQ(S.Rows(), 3);
    ASSERT_EQ(S.Cols(), 1);
    const Matrix AV = ReadMatrixMarket(dataFile("lp_afiro.mtx")) * V;
    for (int c = 0; c < 3; ++c) {
        for (int r = 0; r < 27; ++r) EXPECT_NEAR(AV(r, c), S(c, 0) * U(r, c), 1e-12);
    }
}

TEST(SvdCommand, DecayIsDrawnAsPngOrSvgByItsName)
{
    const Scratch scratch;
    const std::string file = dataFile("lp_afiro.mtx");
    EXPECT_EQ(run({"svd", file, "-k", "4", "--plot", scratch.at("a.png")}).exitCode, 0);
    EXPECT_EQ(run({"svd", file, "-k", "4", "--plot", scratch.at("a.svg")}).exitCode, 0);
    EXPECT_THAT(contentOf(scratch.at("a.png")), StartsWith("\x89PNG\r\n\x1a\n"));
    EXPECT_THAT(contentOf(scratch.at("a.svg")), HasSubstr("<title>Decay of 4 singular values"));
    const Outcome refused = run({"svd", file, "-k", "4", "--plot", "a.gif"});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_EQ(refused.err,
              "lintrix: --plot: 'a.gif' ends neither in .png nor in .svg (see lintrix svd --help)\n");
}

std::string matrixFile(const Scratch& scratch, const std::string& body)
{
    return scratch.file("a.mtx", "%%MatrixMarket matrix coordinate real " + body);
}

struct TrivialCase {
    std::string name, body;
    std::vector<double> values; ///< all of them
};

// On these the steps without restarts divide by zero, exactly or nearly, or never settle: there the dense
// decomposition answers.
std::vector<TrivialCase> trivialCases()
{
    return {
        {"OneByOne", "general\n1 1 1\n1 1 -3\n", {3.0}},
        {"Identity", "general\n3 3 3\n1 1 1\n2 2 1\n3 3 1\n", {1.0, 1.0, 1.0}},
        {"Zero", "general\n4 3 0\n", {0.0, 0.0, 0.0}},
        {"OneRow", "general\n1 4 2\n1 2 3\n1 3 4\n", {5.0}},
        {"OneColumn", "general\n3 1 2\n1 1 6\n3 1 8\n", {10.0}},
        {"RankOne", "general\n2 2 4\n1 1 1\n1 2 1\n2 1 1\n2 2 1\n", {2.0, 0.0}},
        {"SymmetricRankOne", "symmetric\n3 3 6\n1 1 1\n2 1 1\n3 1 1\n2 2 1\n3 2 1\n3 3 1\n", {3.0, 0.0, 0.0}},
        {"Tiny", "general\n2 2 2\n1 1 3e-300\n2 2 1e-300\n", {3e-300, 1e-300}},
        {"Huge", "general\n2 2 2\n1 1 3e300\n2 2 1e300\n", {3e300, 1e300}}};
}

TEST(SvdCommand, TrivialMatricesAreAnswered)
{
    for (const TrivialCase& trivial : trivialCases()) {
        for (std::size_t turn = 0; turn < 2 * trivial.values.size(); ++turn) {
            const std::size_t k = 1 + turn / 2;
            const std::string method = turn % 2 == 0 ? "restarted" : "lanczos";
            SCOPED_TRACE(trivial.name + ", " + std::to_string(k) + " values, " + method);
            const Scratch scratch;
            const Outcome outcome =
                run({"svd", matrixFile(scratch, trivial.body), "-k", std::to_string(k), "--method", method,
                     "--json", "--out", scratch.at("t"), "--plot", scratch.at("t.svg")});
            ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
            EXPECT_EQ(outcome.err, "");
            const Json json = parseJson(outcome.out);
            const std::vector<double> values = numbersAt(json, "values"),
                                      residuals = numbersAt(json, "residuals");
            ASSERT_EQ(values.size(), k);
            for (std::size_t i = 0; i < k; ++i) {
                EXPECT_NEAR(values[i], trivial.values[i], 1e-12 * trivial.values[0]);
                EXPECT_LE(residuals[i], 1e-10);
            }
            EXPECT_EQ(ReadMatrixMarketDense(scratch.at("t.v.mtx")).Cols(), static_cast<int>(k));
            EXPECT_THAT(contentOf(scratch.at("t.svg")), Not(HasSubstr("nan")));
        }
    }
}

// Rank 5: the test of the eighth triplet never passes, and the steps would go on for ever.
TEST(SvdCommand, ByStepsCountAboveTheRankIsAnsweredDense)
{
    const Outcome outcome = run({"svd", dataFile("relat4.mtx"), "-k", "8", "--method", "lanczos", "--json"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    const Json json = parseJson(outcome.out);
    EXPECT_EQ(json["road"].text(), "dense");
    const std::vector<double> values = numbersAt(json, "values");
    const Vector dense = SVD(ReadMatrixMarketDense(dataFile("relat4.mtx")), true).SingularValues();
    for (std::size_t i = 0; i < 8; ++i) EXPECT_NEAR(values[i], dense[static_cast<int>(i)], 1e-12 * dense[0]);
}

// Too large for the dense decomposition.
TEST(SvdCommand, WhatIsNotFoundInALargeMatrixIsSaidInWordsAndNotKept)
{
    const Scratch scratch;
    const std::string file = matrixFile(scratch, "general\n3000 2000 1\n1 1 1\n");
    const Outcome outcome = run({"svd", file, "-k", "2", "--method", "lanczos", "--out", scratch.at("t")});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.err, StartsWith("lintrix: " + file + ": "));
    EXPECT_THAT(outcome.out, Not(HasSubstr("nan")));
    EXPECT_THAT(outcome.err, Not(HasSubstr("nan")));
    EXPECT_THAT(scratch.names(), ElementsAre("a.mtx"));
    const Json json = parseJson(run({"svd", file, "-k", "2", "--method", "lanczos", "--json"}).out);
    EXPECT_NE(json["status"].text(), "found");
    const std::vector<double> values =
        numbersAt(parseJson(run({"svd", file, "-k", "2", "--json"}).out), "values");
    ASSERT_EQ(values.size(), 2U);
    EXPECT_NEAR(values[0], 1.0, 1e-12);
    EXPECT_NEAR(values[1], 0.0, 1e-12);
}

TEST(SvdCommand, StandardOutputTakesTheTripletsOrThePicture)
{
    const std::string file = dataFile("lp_afiro.mtx");
    const Outcome triplets = run({"svd", file, "-k", "3", "--out", "-"});
    EXPECT_EQ(triplets.exitCode, 0);
    EXPECT_THAT(triplets.out, MatchesRegex("%%MatrixMarket matrix array real general\n27 3\n.*"
                                           "%%MatrixMarket matrix array real general\n3 1\n.*"
                                           "%%MatrixMarket matrix array real general\n51 3\n.*"));
    EXPECT_THAT(triplets.err, HasSubstr("\nstatus            found\n"));
    const Outcome picture = run({"svd", file, "-k", "3", "--plot", "-", "--json"});
    EXPECT_THAT(picture.out, StartsWith("<svg "));
    EXPECT_EQ(parseJson(picture.err)["status"].text(), "found");
    const Outcome both = run({"svd", file, "-k", "3", "--plot", "-", "--out", "-"});
    EXPECT_EQ(both.exitCode, 2);
    EXPECT_EQ(both.err, "lintrix: standard output cannot be both the triplets and the picture\n");
}

TEST(SvdCommand, SizesThatCannotBeHeldAreRefusedAtOnce)
{
    const Scratch scratch;
    const std::string file = matrixFile(scratch, "general\n2147483647 2147483647 1\n1 1 1\n");
    const Outcome outcome = run({"svd", file, "-k", "1000"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.err,
                StartsWith("lintrix: " + file + ":2: a sparse 2147483647 x 2147483647 matrix takes "));
}

TEST(SvdCommand, MoreValuesThanThereAreAreRefused)
{
    const std::string file = dataFile("relat4.mtx");
    const Outcome outcome = run({"svd", file, "-k", "13"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.err,
              "lintrix: " + file + ": 13 singular values are wanted, but a 66 x 12 matrix has 12\n");
}

TEST(SvdCommand, BadArgumentsAreOneLine)
{
    for (const std::string bad : {"0", "-1", "two", "1.5", "99999999999"}) {
        const Outcome outcome = run({"svd", "a.mtx", "-k", bad});
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.err, "lintrix: -k: '" + bad +
                                   "' is not a whole number from 1 to 2147483647 (see lintrix svd --help)\n");
    }
    for (const std::string bad : {"0", "1", "-1e-3", "nan", "small"}) {
        const Outcome outcome = run({"svd", "a.mtx", "-k", "1", "--tol", bad});
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.err,
                  "lintrix: --tol: '" + bad + "' is not a number between 0 and 1 (see lintrix svd --help)\n");
    }
    EXPECT_EQ(run({"svd", "a.mtx", "-k", "1", "--method", "quick"}).err,
              "lintrix: --method: 'quick' is none of restarted|lanczos (see lintrix svd --help)\n");
    EXPECT_THAT(run({"svd", "a.mtx"}).err, MatchesRegex("lintrix: -k is required.*\n"));
}

TEST(SvdCommand, AFolderThatCannotBeWrittenToIsRefusedBeforeAnyWork)
{
    const Outcome outcome = run({"svd", "/none.mtx", "-k", "1", "--out", "/nowhere/t"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.err, "lintrix: /nowhere/t.u.mtx: cannot be written: No such file or directory\n");
}

TEST(DecayPlot, ValuesLieOnALogarithmicScaleThatEndsWithAWholeDecade)
{
    const tools::DecayPlot plot({100.0, 10.0, 0.2, 0.0, std::nan("")});
    EXPECT_EQ(plot.count(), 5);
    EXPECT_EQ(plot.decades(), 3);
    ASSERT_EQ(plot.points().size(), 3U);
    EXPECT_EQ(plot.points()[0].y, 0.0);
    EXPECT_DOUBLE_EQ(plot.points()[1].y, 1.0 / 3.0);
    EXPECT_NEAR(plot.points()[2].y, 2.69897 / 3.0, 1e-6);
    EXPECT_DOUBLE_EQ(plot.points()[0].x, 0.1);
    EXPECT_DOUBLE_EQ(plot.points()[2].x, 0.5);
}

TEST(DecayPlot, EqualValuesTinyOnesAndNoneAtAllHaveAPicture)
{
    EXPECT_EQ(tools::DecayPlot({2.0, 2.0}).decades(), 1);
    EXPECT_EQ(tools::DecayPlot({1.0, 1e-300}).decades(), 17);
    EXPECT_EQ(tools::DecayPlot({1.0, 1e-300}).points()[1].y, 1.0);
    const tools::DecayPlot none({std::nan("")});
    EXPECT_THAT(none.points(), IsEmpty());
    EXPECT_THAT(asSvg(none), HasSubstr("</svg>"));
    EXPECT_THAT(asPng(none), StartsWith("\x89PNG"));
}

} // namespace
} // namespace Velmar::Lintrix::testing
