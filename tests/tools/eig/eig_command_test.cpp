// `lintrix eig`: eigenvalues, residuals, files and pictures, as its user meets them.

#include <tests/tools/command.h>
#include <tests/tools/json.h>

#include <tools/eig/spectrum.h>
#include <tools/eig/spectrum_plot.h>

#include <lintrix/lintrix.h>

#include <gmock/gmock.h>

#include <cmath>
#include <complex>
#include <limits>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace std::complex_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::vector<Complex> valuesOf(const Json& json)
{
    std::vector<Complex> values;
    for (const Json& item : std::get<JsonArray>(json["values"].value)) {
        const JsonArray& parts = std::get<JsonArray>(item.value);
        values.emplace_back(parts.at(0).number(), parts.at(1).number());
    }
    return values;
}

void expectSmall(const Json& residuals, std::size_t count)
{
    const JsonArray& items = std::get<JsonArray>(residuals.value);
    ASSERT_EQ(items.size(), count);
    for (const Json& item : items) EXPECT_LT(item.number(), 1e-13);
}

Json reportOfEig(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "eig");
    arguments.push_back("--json");
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    return parseJson(outcome.out);
}

std::string rotation(const Scratch& scratch)
{
    return scratch.file("r.mtx",
                        "%%MatrixMarket matrix array real general\n3 3\n0\n1\n0\n-1\n0\n0\n0\n0\n5\n");
}

TEST(EigCommand, TextTellsALineAnEigenvalue)
{
    const Scratch scratch;
    const std::string file = rotation(scratch);
    const Outcome outcome = run({"eig", file, "--left"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(withoutTimes(outcome.out),
                StartsWith("matrix            " + file +
                           "\nsize              3 x 3\nmethod            general\nstatus            found\n"
                           "seconds           read T, eig T, check T, write T, total T\n"
                           "eigenvalues                            residuals right, left\n"
                           " 5.0000000000e+00 + 0.0000000000e+00i "));
    EXPECT_THAT(outcome.out, HasSubstr("\n 0.0000000000e+00 + 1.0000000000e+00i "));
    EXPECT_THAT(outcome.out, HasSubstr("\n 0.0000000000e+00 - 1.0000000000e+00i "));
}

TEST(EigCommand, ASymmetricMatrixHasARealColumnOfEigenvalues)
{
    const Scratch scratch;
    const std::string file =
        scratch.file("s.mtx", "%%MatrixMarket matrix coordinate real symmetric\n2 2 2\n1 1 4\n2 2 -9\n");
    EXPECT_THAT(run({"eig", file}).out, HasSubstr("\neigenvalues        residuals\n-9.0000000000e+00  "));
    const Json json = reportOfEig({file});
    EXPECT_EQ(json["method"].text(), "symmetric");
    EXPECT_EQ(valuesOf(json), (std::vector<Complex>{-9.0, 4.0}));
    EXPECT_TRUE(json["left_residuals"].isNull());
}

TEST(EigCommand, RealMatricesHaveTheEigenvaluesOfTheLibrary)
{
    const Json json = reportOfEig({dataFile("pde225.mtx"), "--left"});
    EXPECT_EQ(json["status"].text(), "found");
    EXPECT_EQ(json["method"].text(), "general");
    expectSmall(json["residuals"], 225);
    expectSmall(json["left_residuals"], 225);
    const std::vector<Complex> values = valuesOf(json);
    for (std::size_t i = 1; i < values.size(); ++i) EXPECT_GE(std::abs(values[i - 1]), std::abs(values[i]));
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (values[i].imag() > 0.0) {
            EXPECT_EQ(values[i + 1], std::conj(values[i])) << i;
        }
    }
}

TEST(EigCommand, ComplexAndHermitianMatricesAreTaken)
{
    const Json json =
        reportOfEig({dataFile("qc324.mtx.gz")}); // complex symmetric, in the storage of a triangle
    EXPECT_EQ(json["method"].text(), "general");
    expectSmall(json["residuals"], 324);
    const Scratch scratch;
    const std::string file = scratch.file(
        "h.mtx", "%%MatrixMarket matrix coordinate complex hermitian\n2 2 3\n1 1 2 0\n2 1 0 -1\n2 2 2 0\n");
    const Json hermitian = reportOfEig({file});
    EXPECT_EQ(hermitian["method"].text(), "Hermitian");
    const std::vector<Complex> values = valuesOf(hermitian);
    EXPECT_NEAR(values[0].real(), 3.0, 1e-15);
    EXPECT_NEAR(values[1].real(), 1.0, 1e-15);
}

TEST(EigCommand, VectorsAreKeptAndFulfilTheirEquation)
{
    const Scratch scratch;
    const std::string file = rotation(scratch), prefix = scratch.at("out");
    EXPECT_EQ(run({"eig", file, "--left", "--vectors", prefix}).exitCode, 0);
    const CMatrix A = ReadMatrixMarketComplexDense(file),
                  w = ReadMatrixMarketComplexDense(prefix + ".values.mtx"),
                  X = ReadMatrixMarketComplexDense(prefix + ".right.mtx"),
                  Y = ReadMatrixMarketComplexDense(prefix + ".left.mtx");
    for (int k = 0; k < 3; ++k) {
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(std::abs((A * X)(i, k) - w(k, 0) * X(i, k)), 0.0, 1e-14);
            EXPECT_NEAR(std::abs((A.Adjoint() * Y)(i, k) - std::conj(w(k, 0)) * Y(i, k)), 0.0, 1e-14);
        }
    }
}

TEST(EigCommand, RealResultsAreRealFiles)
{
    const Scratch scratch;
    const std::string prefix = scratch.at("out");
    EXPECT_EQ(run({"eig", dataFile("bcsstk04.mtx"), "--vectors", prefix}).exitCode, 0);
    EXPECT_EQ(ReadMatrixMarketDense(prefix + ".values.mtx").Rows(), 132);
    EXPECT_EQ(ReadMatrixMarketDense(prefix + ".right.mtx").Cols(), 132);
    EXPECT_THAT(scratch.names(), ElementsAre("out.right.mtx", "out.values.mtx"));
}

TEST(EigCommand, ThePictureIsSvgOrPngByItsName)
{
    const Scratch scratch;
    const std::string file = rotation(scratch);
    EXPECT_EQ(run({"eig", file, "--plot", scratch.at("p.svg")}).exitCode, 0);
    EXPECT_EQ(run({"eig", file, "--plot", scratch.at("p.png")}).exitCode, 0);
    EXPECT_THAT(contentOf(scratch.at("p.svg")),
                HasSubstr("<title>3 eigenvalues in the complex plane</title>"));
    EXPECT_THAT(contentOf(scratch.at("p.png")), StartsWith("\x89PNG"));
    const Outcome both = run({"eig", file, "--plot", "-", "--vectors", "-"});
    EXPECT_EQ(both.exitCode, 2);
    EXPECT_EQ(both.err, "lintrix: standard output cannot be both the eigenvectors and the picture\n");
}

TEST(EigCommand, WhatIsNotSquareOrTooLargeIsRefusedAtTheSizeLine)
{
    const Scratch scratch;
    const std::string wide = scratch.file("w.mtx", "%%MatrixMarket matrix array real general\n1 2\n1\n2\n");
    EXPECT_EQ(run({"eig", wide}).err, "lintrix: " + wide + ":2: a 1 x 2 matrix has no eigenvalues\n");
    const std::string large =
        scratch.file("l.mtx", "%%MatrixMarket matrix coordinate real general\n40000 40000 1\n1 1 1\n");
    const Outcome outcome = run({"eig", large});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.err, StartsWith("lintrix: " + large + ":2: a dense 40000 x 40000 matrix "));
}

TEST(EigCommand, AMatrixWhoseSumsOverflowHasNone)
{
    const Scratch scratch;
    const std::string file = scratch.file(
        "i.mtx", "%%MatrixMarket matrix coordinate real general\n2 2 3\n1 1 1e308\n1 1 1e308\n2 1 1\n");
    const Outcome outcome = run({"eig", file, "--json", "--vectors", scratch.at("none")});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(parseJson(outcome.out)["status"].text(), "not-finite");
    EXPECT_EQ(outcome.err, "lintrix: " + file +
                               ": the sums of entries at one place overflow, and there are no eigenvalues\n");
    EXPECT_THAT(scratch.names(), ElementsAre("i.mtx"));
}

TEST(EigCommand, AFolderThatCannotBeWrittenToIsRefusedBeforeAnyWork)
{
    EXPECT_EQ(run({"eig", "/none.mtx", "--vectors", "/nowhere/t"}).err,
              "lintrix: /nowhere/t.values.mtx: cannot be written: No such file or directory\n");
}

// ---- the parts

TEST(Spectrum, ResidualsKnowNoScale)
{
    for (const double scale : {1e-300, 1e-150, 1.0, 1e150, 1e300}) {
        const CMatrix A{{2.0 * scale, 0.0}, {0.0, 1i * scale}};
        const auto exact = tools::residualsOf(A, {2.0 * scale, 1i * scale}, CMatrix(2, 2, 1.0));
        EXPECT_EQ(exact, (std::vector<double>{0.0, 0.0}));
        const auto wrong = tools::residualsOf(A, {1.0 * scale, 1i * scale}, CMatrix(2, 2, 1.0));
        EXPECT_NEAR(wrong[0], 1.0 / std::sqrt(5.0), 1e-14) << scale;
    }
}

TEST(Spectrum, AZeroMatrixHasNoResidual)
{
    EXPECT_EQ(tools::residualsOf(CMatrix(2, 2), {0.0, 0.0}, CMatrix(2, 2, 1.0)),
              (std::vector<double>{0.0, 0.0}));
}

TEST(SpectrumPlot, ShowsAllFiniteValuesAndZero)
{
    const tools::SpectrumPlot plot({3.0 + 1i, 3.0 - 1i, {kNaN, 0.0}, {0.0, kInfinity}});
    EXPECT_EQ(plot.points().size(), 2U);
    EXPECT_EQ(plot.centre(), 1.5 + 0i);
    EXPECT_GE(plot.radius(), 1.0);
}

TEST(SpectrumPlot, NoneOneAndTheEndsOfTheRangeHaveAPicture)
{
    for (const std::vector<Complex>& values :
         {std::vector<Complex>{}, {0.0}, {1e308, -1e308}, {{5e-324, 0.0}}, {{kNaN, kNaN}}}) {
        const tools::SpectrumPlot plot(values);
        EXPECT_THAT(asSvg(plot), HasSubstr("</svg>"));
        EXPECT_THAT(asSvg(plot), ::testing::Not(HasSubstr("nan")));
        EXPECT_THAT(asPng(plot), StartsWith("\x89PNG"));
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
