#include <tests/tools/command.h>
#include <tests/tools/json.h>
#include <tools/support/report.h>

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <stdexcept>

namespace Velmar::Lintrix::testing {
namespace {

using namespace tools;

SolveReport sample()
{
    SolveReport report;
    report.matrix = "a.mtx";
    report.rows = 3;
    report.cols = 2;
    report.entries = 6;
    report.rightHands = 1;
    report.road = "QR (least squares)";
    report.status = "accurate";
    report.seconds.finish("read");
    report.seconds.finish("solve");
    report.residual = 1.25e-16;
    report.normalResidual = 2e-17;
    report.maxError = 5e-16;
    report.probeError = 1e-15;
    report.condition = 2500.0;
    report.inertia = CertainInertia{5, 2, 1, 0.125};
    report.solutions = Solutions::Unknown;
    report.columns = {{Verdict::Accurate, 1e-16, 2e-16, 3e-15},
                      {Verdict::Degraded, 4e-16, 5e-16, {}, "ill-conditioned"}};
    return report;
}

TEST(TextReport, SaysEachFactOnALine)
{
    EXPECT_EQ(withoutTimes(asText(sample())), "matrix            a.mtx\n"
                                              "size              3 x 2\n"
                                              "entries           6\n"
                                              "right-hand sides  1\n"
                                              "road              QR (least squares)\n"
                                              "status            accurate\n"
                                              "seconds           read T, solve T, total T\n"
                                              "scaled residual   1.250e-16\n"
                                              "normal equations  2.000e-17\n"
                                              "largest error     5.000e-16\n"
                                              "probe error       1.000e-15\n"
                                              "condition         2.500e+03\n"
                                              "eigenvalues       5 positive, 2 negative, 1 uncertain\n");
}

TEST(TextReport, LeavesOutWhatThereIsNot)
{
    SolveReport report = sample();
    report.normalResidual = report.maxError = report.probeError = report.condition = std::nullopt;
    report.inertia = std::nullopt;
    const std::string withResidual = asText(report);
    EXPECT_EQ(withResidual.substr(withResidual.find("scaled")),
              "scaled residual   1.250e-16\nlargest error     unknown, the exact solution is not known\n");
    report.residual = std::nullopt;
    EXPECT_EQ(asText(report).find("residual"), std::string::npos);
    EXPECT_EQ(asText(report).find("error"), std::string::npos);
}

TEST(TextReport, NamesCannotWriteToTheTerminal)
{
    SolveReport report = sample();
    report.matrix = "a\x1b[2J\n";
    EXPECT_EQ(asText(report).substr(0, 34), "matrix            a\\x1b[2J\\x0a\nsiz");
}

TEST(JsonReport, IsOneLineWithTheKeysInOrder)
{
    EXPECT_EQ(
        withoutTimes(asJson(sample())),
        "{\"matrix\": \"a.mtx\", \"rows\": 3, \"cols\": 2, \"entries\": 6, \"right_hands\": 1, "
        "\"road\": \"QR (least "
        "squares)\", \"seconds\": {\"read\": T, \"solve\": T, \"total\": T}, \"residual\": 1.25e-16, "
        "\"normal_residual\": 2e-17, \"max_error\": 5e-16, \"probe_error\": 1e-15, \"status\": "
        "\"accurate\", \"reason\": null, \"ordering\": null, \"tried\": [], \"factor_entries\": null, "
        "\"perturbed_pivots\": null, \"refinement_steps\": null, \"krylov_steps\": null, \"factor_store\": "
        "null, "
        "\"factor_bytes\": null, \"core_megabytes\": null, \"condition\": 2500, \"inertia\": "
        "{\"positive\": 5, "
        "\"negative\": 2, \"uncertain\": 1, \"bound\": 0.125}, \"solutions\": \"unknown\", \"columns\": "
        "[{\"verdict\": \"accurate\", \"backward_error\": 1e-16, \"componentwise_error\": 2e-16, "
        "\"error_bound\": 3e-15, \"reason\": null}, {\"verdict\": \"degraded\", \"backward_error\": 4e-16, "
        "\"componentwise_error\": 5e-16, \"error_bound\": null, \"reason\": \"ill-conditioned\"}]}\n");
    EXPECT_NO_THROW(parseJson(asJson(sample())));
}

/// A sample of the direct solver, on its second road.
SolveReport directSample()
{
    SolveReport report = sample();
    report.road = "sparse LDL'";
    report.status = "degraded";
    report.reason = "2 perturbed pivots";
    report.ordering = "minimum degree";
    report.tried = {"sparse Cholesky: not positive definite, pivot 3"};
    report.factorEntries = 12;
    report.factorBytes = 96.0;
    report.perturbedPivots = 2;
    report.refinementSteps = 1;
    return report;
}

TEST(TextReport, TellsWhatTheDirectSolverDid)
{
    const std::string text = withoutTimes(asText(directSample()));
    EXPECT_EQ(text.substr(text.find("road"), text.find("seconds") - text.find("road")),
              "road              sparse LDL'\n"
              "ordering          minimum degree\n"
              "factor entries    12\n"
              "factor            96 B in memory\n"
              "perturbed pivots  2\n"
              "also tried        sparse Cholesky: not positive definite, pivot 3\n"
              "status            degraded, 2 perturbed pivots\n");
}

TEST(Report, TellsMoreFactorEntriesThan32BitsHold)
{
    SolveReport report = directSample();
    report.factorEntries = 5'000'000'000;
    EXPECT_THAT(asText(report), ::testing::HasSubstr("factor entries    5000000000\n"));
    EXPECT_EQ(parseJson(asJson(report))["factor_entries"].number(), 5e9);
}

TEST(JsonReport, TellsWhatTheDirectSolverDid)
{
    const Json json = parseJson(asJson(directSample()));
    EXPECT_EQ(json["status"].text(), "degraded");
    EXPECT_EQ(json["reason"].text(), "2 perturbed pivots");
    EXPECT_EQ(json["ordering"].text(), "minimum degree");
    EXPECT_EQ(json["factor_entries"].number(), 12);
    EXPECT_EQ(json["perturbed_pivots"].number(), 2);
    EXPECT_EQ(json["refinement_steps"].number(), 1);
    EXPECT_EQ(json["factor_store"].text(), "memory");
    EXPECT_EQ(json["factor_bytes"].number(), 96);
    EXPECT_TRUE(json["core_megabytes"].isNull());
    const std::string text = asJson(directSample());
    EXPECT_NE(text.find("\"tried\": [\"sparse Cholesky: not positive definite, pivot 3\"]"),
              std::string::npos);
}

TEST(Report, TellsTheStepsOfLeastSquares)
{
    SolveReport report = sample();
    report.leastSquares = true;
    report.refinementSteps = 2;
    report.krylovSteps = 14;
    EXPECT_NE(asText(report).find("\nsteps             2 of refinement, 14 of LSMR\nstatus"),
              std::string::npos);
    const Json json = parseJson(asJson(report));
    EXPECT_EQ(json["refinement_steps"].number(), 2);
    EXPECT_EQ(json["krylov_steps"].number(), 14);
    EXPECT_TRUE(json["factor_entries"].isNull());
}

TEST(TextReport, TellsOfAFactorInFiles)
{
    SolveReport report = directSample();
    report.factorBytes = 2.5e9;
    report.coreMegabytes = 300;
    const std::string text = asText(report);
    EXPECT_NE(text.find("\nfactor            2.5 GB in files, with a core of 300 MB\n"), std::string::npos);
    const Json json = parseJson(asJson(report));
    EXPECT_EQ(json["factor_store"].text(), "files");
    EXPECT_EQ(json["factor_bytes"].number(), 2.5e9);
    EXPECT_EQ(json["core_megabytes"].number(), 300);
}

TEST(StepTimes, AStepThatComesAgainIsAddedUp)
{
    StepTimes times;
    times.finish("solve");
    times.finish("check");
    times.finish("solve");
    ASSERT_EQ(times.steps().size(), 2U);
    EXPECT_EQ(times.steps()[0].first, "solve");
    EXPECT_EQ(times.steps()[1].first, "check");
}

TEST(JsonReport, WhatIsMissingOrNotFiniteIsNull)
{
    SolveReport report = sample();
    report.residual = std::nullopt;
    report.maxError = NAN;
    report.probeError = std::numeric_limits<double>::infinity();
    const Json json = parseJson(asJson(report));
    EXPECT_TRUE(json["residual"].isNull());
    EXPECT_TRUE(json["max_error"].isNull());
    EXPECT_TRUE(json["probe_error"].isNull());
    EXPECT_EQ(json["normal_residual"].number(), 2e-17);
}

TEST(JsonReport, TheTotalIsTheSumOfTheSteps)
{
    const SolveReport report = sample();
    double sum = 0.0;
    for (const auto& step : report.seconds.steps()) sum += step.second;
    EXPECT_EQ(report.seconds.total(), sum);
    EXPECT_GE(sum, 0.0);
}

TEST(JsonString, EscapesWhatJsonAsksFor)
{
    EXPECT_EQ(jsonString("plain"), "\"plain\"");
    EXPECT_EQ(jsonString("a\"b\\c/d"), "\"a\\\"b\\\\c/d\"");
    EXPECT_EQ(jsonString(std::string_view("\0\n\x1f\x7f", 4)), "\"\\u0000\\u000a\\u001f\\u007f\"");
    for (int byte = 1; byte < 0x80; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        EXPECT_EQ(parseJson(jsonString(text)).text(), text);
    }
}

TEST(JsonString, WellFormedUtf8PassesAndTheRestIsReplaced)
{
    const std::string sound =
        "\xc2\x80\xdf\xbf\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbf\xf0\x90\x80\x80\xf4\x8f\xbf\xbf";
    EXPECT_EQ(jsonString(sound), '"' + sound + '"');
    EXPECT_EQ(parseJson(jsonString(sound)).text(), sound);
    // A lone tail, an overlong form, a surrogate, a code above the last, a sequence cut short.
    for (const std::string bad : {"\x80", "\xc0\xaf", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xf0\x8f\xbf\xbf",
                                  "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xe2\x82", "\xff",
                                  "\xc3"
                                  "A"}) {
        std::string expected = "\"";
        for (const char c : bad) expected += c == 'A' ? "A" : "\\ufffd";
        EXPECT_EQ(jsonString(bad), expected + '"');
        EXPECT_NO_THROW(parseJson(jsonString(bad)));
    }
}

// The judge must be strict itself.
TEST(StrictJson, RefusesWhatTheGrammarDoesNotAllow)
{
    for (const char* bad : {"",          "{",
                            "{} x",      "{\"a\":1,}",
                            "[1,]",      "{\"a\":1,\"a\":2}",
                            "{a:1}",     "01",
                            "+1",        "1.",
                            ".5",        "1e",
                            "nan",       "Infinity",
                            "\"\n\"",    "\"\\x\"",
                            "\"\\u12\"", "\"\\ud800\"",
                            "\"\xff\"",  "\"\xed\xa0\x80\"",
                            "'a'",       "tru",
                            "\"open"}) {
        EXPECT_THROW(parseJson(bad), std::runtime_error) << bad;
    }
    EXPECT_EQ(parseJson(" {\"a\" : [1, -2.5e3, true, null, \"\\u00e9\"]} ")["a"].value.index(), 4U);
}

} // namespace
} // namespace Velmar::Lintrix::testing
