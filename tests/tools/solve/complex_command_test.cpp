// `lintrix` with complex files, from the outside: types, right-hand sides, solutions, and what is refused.

#include <tests/tools/command.h>
#include <tests/tools/json.h>

#include <lintrix/sparse/matrix_market.h>

#include <gmock/gmock.h>

#include <complex>
#include <sstream>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using Number = std::complex<double>;
using Symmetry = MatrixMarketSymmetry;
using ::testing::HasSubstr;

/// A chain of 40 unknowns with this diagonal, and `below` under it; of a general one 0.5 above it.
MatrixMarketTriplets chain(Symmetry symmetry, Number diagonal, Number below)
{
    MatrixMarketTriplets chain{40, 40, MatrixMarketField::ComplexNumber, symmetry, {}, {}, {}};
    const auto add = [&chain](int row, int col, Number value) {
        chain.rowIndices.push_back(row);
        chain.colIndices.push_back(col);
        chain.values.push_back(value);
    };
    for (int i = 0; i < 40; ++i) {
        if (symmetry != Symmetry::SkewSymmetric) add(i, i, diagonal);
        if (i + 1 < 40) add(i + 1, i, below);
        if (i + 1 < 40 && symmetry == Symmetry::General) add(i, i + 1, 0.5);
    }
    return chain;
}

std::string fileOf(const Scratch& scratch, const std::string& name, const MatrixMarketTriplets& triplets)
{
    WriteMatrixMarket(scratch.at(name), triplets);
    return scratch.at(name);
}

TEST(ComplexCommand, EachTypeTakesItsRoad)
{
    struct Case {
        Symmetry symmetry;
        Number diagonal, below;
        std::string road;
        double entries = 118;
    };
    const std::vector<Case> table{
        {Symmetry::Hermitian, 3.0, {0.6, 0.8}, "sparse Cholesky"},
        {Symmetry::Hermitian, -3.0, {0.6, 0.8}, "sparse LDL^H"},
        {Symmetry::Symmetric, {3.0, 1.0}, {0.6, 0.8}, "sparse LDL'"},
        {Symmetry::Symmetric, 3.0, 1.0, "sparse Cholesky"}, // also hermitian
        {Symmetry::General, {3.0, 1.0}, {0.6, 0.8}, "sparse LU with partial pivoting"},
        {Symmetry::General, {1.2, 0.1}, {0.6, 0.8}, "sparse LU with partial pivoting"},
        {Symmetry::SkewSymmetric, 0.0, {0.6, 0.8}, "sparse LU with partial pivoting", 78},
    };
    const Scratch scratch;
    for (const Case& c : table) {
        const Json report = reportOf({fileOf(scratch, "a.mtx", chain(c.symmetry, c.diagonal, c.below))});
        SCOPED_TRACE(c.road);
        EXPECT_EQ(report["road"].text(), c.road);
        EXPECT_EQ(report["status"].text(), "accurate");
        EXPECT_EQ(report["entries"].number(), c.entries);
        EXPECT_EQ(report["ordering"].text(), "minimum degree");
        EXPECT_LT(report["residual"].number(), 1e-14);
        EXPECT_LT(report["max_error"].number(), 1e-12);
        EXPECT_LT(report["probe_error"].number(), 1e-12);
    }
}

TEST(ComplexCommand, OptionsChooseTheWay)
{
    const Scratch scratch;
    const std::string path = fileOf(scratch, "a.mtx", chain(Symmetry::Hermitian, 3.0, {0.6, 0.8}));
    EXPECT_EQ(reportOf({path, "--type", "positive-definite"})["road"].text(), "sparse Cholesky");
    EXPECT_EQ(reportOf({path, "--type", "indefinite"})["road"].text(), "sparse LDL^H");
    EXPECT_EQ(reportOf({path, "--type", "structurally-symmetric"})["road"].text(), "sparse LU");
    EXPECT_EQ(reportOf({path, "--type", "unsymmetric"})["road"].text(), "sparse LU with matching");
    EXPECT_EQ(reportOf({path, "--ordering", "nd"})["ordering"].text(), "nested dissection");
    EXPECT_EQ(reportOf({path, "--refine", "2"})["refinement_steps"].number(), 2);
    EXPECT_EQ(reportOf({path, "--refine", "-1"})["refinement_steps"].number(), 1);
    EXPECT_EQ(reportOf({path, "--strategy", "when-needed"})["status"].text(), "accurate");
}

TEST(ComplexCommand, ATypeThatTheValuesContradictIsBadInput)
{
    const Scratch scratch;
    const auto fault = [&](const MatrixMarketTriplets& triplets, const std::string& type) {
        const std::string path = fileOf(scratch, "a.mtx", triplets);
        const Outcome outcome = run({"solve", path, "--type", type});
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err.substr(0, path.size() + 11), "lintrix: " + path + ": ");
        return outcome.err.substr(path.size() + 11);
    };
    const MatrixMarketTriplets symmetric = chain(Symmetry::Symmetric, {3.0, 1.0}, 1.0);
    MatrixMarketTriplets general = chain(Symmetry::General, 3.0, {0.6, 0.8});
    EXPECT_EQ(fault(symmetric, "positive-definite"), "the matrix is not hermitian, as --type says\n");
    EXPECT_EQ(fault(general, "positive-definite"), "the matrix is not hermitian, as --type says\n");
    EXPECT_EQ(fault(general, "indefinite"),
              "the matrix is neither hermitian nor symmetric, as --type says\n");
    general.rowIndices.back() = 0;
    EXPECT_EQ(fault(general, "structurally-symmetric"), "the pattern is not symmetric, as --type says\n");
}

TEST(ComplexCommand, TheRoadsLeftAreTold)
{
    // Hermitian with a phase around the triangle: every minor of two is positive, the determinant is not.
    const Scratch scratch;
    const std::string triangle =
        scratch.file("a.mtx", "%%MatrixMarket matrix coordinate complex hermitian\n3 3 6\n1 1 1 0\n2 2 1 0\n"
                              "3 3 1 0\n2 1 0 0.9\n3 1 0 0.9\n3 2 -0.9 0\n");
    Json report = reportOf({triangle});
    EXPECT_EQ(report["road"].text(), "sparse LDL^H");
    const auto& tried = std::get<JsonArray>(report["tried"].value);
    ASSERT_EQ(tried.size(), 1U);
    EXPECT_THAT(tried[0].text(), HasSubstr("sparse Cholesky: not positive definite, pivot "));

    // Two zeros on the diagonal, and little beside them.
    for (const std::string symmetry : {"hermitian", "symmetric"}) {
        const std::string pair =
            scratch.file("b.mtx", "%%MatrixMarket matrix coordinate complex " + symmetry +
                                      "\n6 6 8\n2 1 0 1e-10\n6 2 0 1e-10\n3 3 2 0\n4 3 0 1\n"
                                      "4 4 2 0\n5 5 1 0\n6 5 0 1\n6 6 -3 0\n");
        report = reportOf({pair});
        EXPECT_EQ(report["status"].text(), "accurate");
        EXPECT_EQ(report["road"].text(), symmetry == "hermitian" ? "sparse LDL^H with delayed pivots"
                                                                 : "sparse LDL' with delayed pivots");
    }
}

TEST(ComplexCommand, ASingularMatrixIsTold)
{
    const Scratch scratch;
    const std::string values =
        scratch.file("a.mtx", "%%MatrixMarket matrix coordinate complex general\n2 2 4\n1 1 1 0\n1 2 0 1\n"
                              "2 1 0 1\n2 2 -1 0\n");
    const std::string outside =
        scratch.file("right.mtx", "%%MatrixMarket matrix array complex general\n2 1\n1 0\n1 0\n");
    const Outcome outcome = run({"solve", values, "--rhs", outside, "--out", scratch.at("x")});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.err, HasSubstr("there is no good solution: singular, and the right-hand side is not "
                                       "in the range"));
    const std::string pattern =
        scratch.file("b.mtx", "%%MatrixMarket matrix coordinate complex general\n2 2 2\n1 1 1 0\n2 1 0 1\n");
    EXPECT_THAT(run({"solve", pattern}).err, HasSubstr("structurally singular: 1 of 2 rows matched"));
    const std::string nothing =
        scratch.file("c.mtx", "%%MatrixMarket matrix coordinate complex hermitian\n3 3 0\n");
    EXPECT_THAT(run({"solve", nothing}).err, HasSubstr("structurally singular: 0 of 3 rows matched"));
    EXPECT_THAT(scratch.names(), ::testing::ElementsAre("a.mtx", "b.mtx", "c.mtx", "right.mtx"));
}

// A = | 2  i |   A (1, i) = (1, 3i),  A (i, 0) = (2i, 1)
//     |-i  4 |   (hermitian: the file has i below the diagonal for -i above)
const std::string kHermitian =
    "%%MatrixMarket matrix coordinate complex hermitian\n2 2 3\n1 1 2 0\n2 2 4 0\n2 1 0 -1\n";

std::vector<Number> solutionOf(const Scratch& scratch, const std::string& matrix,
                               const std::string& rightHand)
{
    const std::string out = scratch.at("x.mtx");
    const Json report =
        reportOf({scratch.file("a.mtx", matrix), "--rhs", scratch.file("b.mtx", rightHand), "--out", out});
    EXPECT_EQ(report["status"].text(), "accurate");
    EXPECT_TRUE(report["max_error"].isNull());
    const MatrixMarketTriplets x = ReadMatrixMarketTriplets(out);
    EXPECT_EQ(x.field, MatrixMarketField::ComplexNumber);
    EXPECT_EQ(x.rows, 2);
    EXPECT_EQ(report["right_hands"].number(), x.cols);
    return x.values;
}

void expectNear(const std::vector<Number>& found, const std::vector<Number>& known)
{
    ASSERT_EQ(found.size(), known.size());
    for (std::size_t k = 0; k < known.size(); ++k) EXPECT_LT(std::abs(found[k] - known[k]), 1e-14) << k;
}

TEST(ComplexCommand, RightHandSidesOfEachForm)
{
    const Scratch scratch;
    const Number i{0.0, 1.0};
    const std::string array = "%%MatrixMarket matrix array ",
                      coordinate = "%%MatrixMarket matrix coordinate ";
    expectNear(solutionOf(scratch, kHermitian, array + "complex general\n2 1\n1 0\n0 3\n"), {1.0, i});
    expectNear(solutionOf(scratch, kHermitian, array + "complex general\n2 2\n1 0\n0 3\n0 2\n1 0\n"),
               {1.0, i, i, 0.0});
    expectNear(solutionOf(scratch, kHermitian, array + "real general\n2 1\n7\n0\n"), {4.0, i});
    expectNear(solutionOf(scratch, kHermitian, array + "integer general\n2 2\n7\n0\n14\n0\n"),
               {4.0, i, 8.0, 2.0 * i});
    expectNear(solutionOf(scratch, kHermitian,
                          coordinate + "complex general\n2 2 4\n1 1 1 0\n2 1 0 2\n"
                                       "2 1 0 1\n1 2 7 0\n"),
               {1.0, i, 4.0, i});
    expectNear(solutionOf(scratch, kHermitian, coordinate + "pattern general\n2 1 1\n1 1\n"),
               {4.0 / 7.0, i / 7.0});
}

TEST(ComplexCommand, OneComplexFileMakesTheSystemComplex)
{
    const Scratch scratch;
    const std::string real = "%%MatrixMarket matrix coordinate real symmetric\n2 2 3\n1 1 2\n2 2 2\n2 1 1\n";
    const Number i{0.0, 1.0};
    expectNear(solutionOf(scratch, real, "%%MatrixMarket matrix array complex general\n2 1\n2 1\n1 2\n"),
               {1.0, i});
    expectNear(solutionOf(scratch,
                          "%%MatrixMarket matrix coordinate complex general\n2 2 2\n1 1 2 0\n2 2 4 0\n",
                          "%%MatrixMarket matrix array real general\n2 1\n2\n2\n"),
               {1.0, 0.5});
}

TEST(ComplexCommand, RightHandSidesThatDoNotFitAreRefused)
{
    const Scratch scratch;
    const std::string matrix = scratch.file("a.mtx", kHermitian);
    const auto fault = [&](const std::string& content) {
        const std::string path = scratch.file("b.mtx", content);
        const Outcome outcome = run({"solve", matrix, "--rhs", path, "--out", scratch.at("x")});
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err.substr(0, path.size() + 10), "lintrix: " + path + ":");
        EXPECT_THAT(scratch.names(), ::testing::ElementsAre("a.mtx", "b.mtx"));
        return outcome.err.substr(path.size() + 10);
    };
    const std::string array = "%%MatrixMarket matrix array complex general\n";
    EXPECT_EQ(fault(array + "3 1\n1 0\n1 0\n1 0\n"), "2: the right-hand side has 3 rows, the matrix 2\n");
    EXPECT_EQ(fault(array + "2 1\n1 0\n1\n"), "4: the value is missing\n");
    EXPECT_EQ(fault(array + "2 1\n1 0\n1 inf\n"), "4: 'inf' is not a finite number\n");
    EXPECT_EQ(fault(array + "2 1\n1 0\n"), "3: the file ends after 1 of 2 entries\n");
    EXPECT_EQ(fault("%%MatrixMarket matrix coordinate real general\n2 2000000000 1\n1 1 1\n"),
              "2: 2000000000 right-hand sides of a 2 x 2 matrix do not fit into memory\n");
}

TEST(ComplexCommand, ArraysAndRectanglesAreSolved)
{
    const std::string array = "%%MatrixMarket matrix array complex general\n",
                      coordinate = "%%MatrixMarket matrix coordinate complex general\n";
    const Scratch scratch;
    const Number i{0.0, 1.0};
    // square, by LU
    expectNear(solutionOf(scratch, array + "2 2\n0 1\n0 0\n0 0\n2 0\n", array + "2 1\n0 2\n0 2\n"), {2.0, i});
    // a complex b beside a real A
    const std::string real = "%%MatrixMarket matrix array real general\n2 2\n2\n0\n0\n1\n";
    expectNear(solutionOf(scratch, real, array + "2 1\n2 4\n0 0\n"), {1.0 + 2.0 * i, 0.0});
    // tall: the least-squares solution of x = 1, x = 3i, and of i*y = 2
    expectNear(solutionOf(scratch, coordinate + "3 2 3\n1 1 1 0\n2 1 1 0\n3 2 0 1\n",
                          array + "3 1\n1 0\n0 3\n2 0\n"),
               {0.5 + 1.5 * i, -2.0 * i});
    // wide: the shortest solution of x + i*y = 2
    expectNear(solutionOf(scratch, coordinate + "1 2 2\n1 1 1 0\n1 2 0 1\n", array + "1 1\n2 0\n"),
               {1.0, -i});
}

TEST(ComplexCommand, DenseHermitianFilesAreSolvedInWhole)
{
    const Scratch scratch;
    const std::string matrix = scratch.file("a.mtx", kHermitian);
    const Json json = reportOf({matrix, "--dense"});
    EXPECT_EQ(json["road"].text(), "LU");
    EXPECT_EQ(json["status"].text(), "accurate");
    EXPECT_LT(json["max_error"].number(), 1e-14);
}

TEST(ComplexCommand, ARankDeficientComplexRectangleHasNoSolution)
{
    const Scratch scratch;
    const std::string matrix =
        scratch.file("a.mtx", "%%MatrixMarket matrix array complex general\n3 2\n"
                              "1 0\n0 1\n2 0\n0 1\n-1 0\n0 2\n"); // column 2 is i times 1
    const Outcome outcome = run({"solve", matrix});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.err, HasSubstr("the matrix has rank 1 of 2 to working precision"));
}

TEST(ComplexCommand, TheEnginesReportNamesTheType)
{
    const Scratch scratch;
    const auto report = [&](Symmetry symmetry, Number diagonal) {
        return run({"solve", fileOf(scratch, "a.mtx", chain(symmetry, diagonal, {0.6, 0.8})), "--report"})
            .out;
    };
    EXPECT_THAT(report(Symmetry::Hermitian, 3.0), HasSubstr("solving a   Herm. pos. def. system"));
    EXPECT_THAT(report(Symmetry::Hermitian, -3.0), HasSubstr("solving a  Hermitian indef. system"));
    EXPECT_THAT(report(Symmetry::Symmetric, {3.0, 1.0}), HasSubstr("solving a  complex symmetr. system"));
    EXPECT_THAT(report(Symmetry::General, 3.0), HasSubstr("solving a  compl. str. sym. system"));
    EXPECT_THAT(report(Symmetry::General, 0.1), HasSubstr("solving a   complex nonsym. system"));
}

TEST(ComplexCommand, AnalyseTellsTheType)
{
    const Scratch scratch;
    const auto typeOf = [&](const MatrixMarketTriplets& triplets) {
        const Outcome outcome = run({"analyse", fileOf(scratch, "a.mtx", triplets), "--json"});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        return parseJson(outcome.out)["type"].number();
    };
    EXPECT_EQ(typeOf(chain(Symmetry::Hermitian, 3.0, {0.6, 0.8})), 4);
    EXPECT_EQ(typeOf(chain(Symmetry::Hermitian, -3.0, {0.6, 0.8})), -4);
    EXPECT_EQ(typeOf(chain(Symmetry::Symmetric, {3.0, 1.0}, {0.6, 0.8})), 6);
    EXPECT_EQ(typeOf(chain(Symmetry::General, {3.0, 1.0}, {0.6, 0.8})), 3);
    EXPECT_EQ(typeOf(chain(Symmetry::SkewSymmetric, 0.0, {0.6, 0.8})), 13);
    const Outcome outcome = run({"analyse", scratch.at("a.mtx")});
    EXPECT_THAT(outcome.out, HasSubstr("\ntype              13, complex unsymmetric\n"
                                       "matching          perfect, 40 of 40 rows move\n"));
}

TEST(ComplexCommand, InfoTellsRankAndSingularValues)
{
    const Scratch scratch;
    const std::string path = scratch.file("a.mtx", kHermitian); // eigenvalues 3 + sqrt(2), 3 - sqrt(2)
    const Outcome outcome = run({"info", path});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, HasSubstr("symmetry          hermitian\n"));
    EXPECT_THAT(outcome.out, HasSubstr("norms             one 5, infinity 5, Frobenius 4.69042\n"));
    EXPECT_THAT(outcome.out, HasSubstr("rank              2 of 2\nsingular values   4.41421 to 1.58579, "));
    const Json json = parseJson(run({"info", path, "--json"}).out);
    EXPECT_EQ(json["symmetry"].text(), "hermitian");
    EXPECT_EQ(json["rank"].number(), 2);
    EXPECT_NEAR(json["smallest_singular_value"].number(), 3.0 - std::sqrt(2.0), 1e-14);
}

TEST(ComplexCommand, InfoTakesRectangles)
{
    const Scratch scratch;
    const std::string path =
        scratch.file("a.mtx", "%%MatrixMarket matrix coordinate complex general\n1 3 2\n1 1 3 0\n1 3 0 4\n");
    const Json json = parseJson(run({"info", path, "--json"}).out);
    EXPECT_EQ(json["rank"].number(), 1);
    EXPECT_NEAR(json["largest_singular_value"].number(), 5.0, 1e-14);
}

} // namespace
} // namespace Velmar::Lintrix::testing
