// Every matrix of tests/data, from real problems, solved end to end by the command.

#include <tests/tools/command.h>
#include <tests/tools/json.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

/// What is known of a matrix from its origin, and what the command must make of it.
struct RealSystem {
    std::string file;
    int rows, cols;
    int entries; ///< of the whole matrix
    std::string denseRoad;
    double errorLimit; ///< of the dense road, about 1000 eps times the condition; 0: there is no solution
    std::string denseStatus; ///< empty: so near the threshold that the kernels of BLAS decide
    std::string sparseRoad, sparseStatus, sparseReason;
};

std::ostream& operator<<(std::ostream& out, const RealSystem& system)
{
    return out << system.file;
}

constexpr double kResidualLimit = 1e-12;
const std::string kLeastSquares = "QR (least squares)", kMinimumNorm = "LQ (minimum norm)";

const std::string kNormal = "normal equations", kShortest = "LSMR with a factor",
                  kNothing = "nothing", // A*(1, ..., 1) is 0
    kDeficient = "rank-deficient: the shortest of many solutions";

const std::string kPivoted = "sparse LU with partial pivoting", kMatched = "sparse LU with matching",
                  kDelayed = "sparse LDL' with delayed pivots", kCholesky = "sparse Cholesky",
                  kSymmetric = "sparse LDL'";

const std::vector<RealSystem>& systems()
{
    static const std::vector<RealSystem> table{
        {"b1_ss.mtx", 7, 7, 15, "LU", 1e-11, "accurate", kPivoted, "accurate", ""},
        {"pde225.mtx", 225, 225, 1065, "LU", 1e-11, "accurate", kPivoted, "accurate", ""},
        {"jpwh_991.mtx", 991, 991, 6027, "LU", 1e-11, "accurate", kMatched, "accurate", ""},
        {"sherman4.mtx", 1104, 1104, 3786, "LU", 1e-10, "accurate", kPivoted, "accurate", ""},
        {"bfw782a.mtx.gz", 782, 782, 7514, "LU", 1e-10, "accurate", kPivoted, "accurate", ""},
        {"662_bus.mtx", 662, 662, 2474, "LU", 1e-8, "accurate", kCholesky, "accurate", ""},
        {"Trefethen_500.mtx", 500, 500, 8478, "LU", 1e-10, "accurate", kCholesky, "accurate", ""},
        {"G51.mtx", 1000, 1000, 11818, "LU", 1e-9, "accurate", kSymmetric, "accurate", ""},
        {"kkt_MOSARQP1.mtx.gz", 3200, 3200, 9434, "LU", 1e-9, "accurate", kSymmetric, "accurate", ""},
        {"jagmesh7.mtx", 1138, 1138, 7450, "LU", 1e-9, "accurate", kSymmetric, "accurate", ""},
        {"plskz362.mtx", 362, 362, 1760, "LU", 1e-8, "accurate", kPivoted, "accurate", ""},
        {"bcsstk04.mtx", 132, 132, 3648, "LU", 1e-7, "accurate", kCholesky, "accurate", ""},
        {"adder_dcop_32.mtx.gz", 1813, 1813, 11246, "LU", 1e-5, "", kPivoted, "accurate", ""},
        {"west0479.mtx", 479, 479, 1910, "LU", 1e-6, "accurate", kPivoted, "accurate", ""},
        {"lnsp_131.mtx", 131, 131, 536, "LU", 1e-6, "accurate", kPivoted, "accurate", ""},
        {"fs_183_1.mtx", 183, 183, 1069, "LU", 1e-2, "degraded", kPivoted, "", ""},
        {"mcca.mtx", 180, 180, 2659, "LU", 1e-3, "", kPivoted, "accurate", ""},
        {"west0156.mtx", 156, 156, 362, "LU", 1e-6, "accurate", kPivoted, "accurate", ""},
        {"sphere2.mtx", 66, 66, 450, "LU", 1e9, "failed", kDelayed, "degraded",
         "singular: the shortest of many solutions"},
        {"jgl011.mtx", 11, 11, 76, "LU", 0, "failed", kMatched, "degraded",
         "singular: the shortest of many solutions"},
        {"curtis54.mtx", 54, 54, 291, "LU", 0, "failed", kMatched, "degraded",
         "singular: the shortest of many solutions"},
        {"bcsstm01.mtx", 48, 48, 24, "LU", 0, "failed", kSymmetric, "failed",
         "structurally singular: 24 of 48 rows matched"},
        {"ash219.mtx", 219, 85, 438, kLeastSquares, 1e-12, "accurate", kNormal, "accurate", ""},
        {"illc1033.mtx", 1033, 320, 4732, kLeastSquares, 1e-9, "accurate", kNormal, "accurate", ""},
        {"Maragal_1.mtx", 32, 14, 234, kLeastSquares, 0, "failed", kShortest, "degraded", kDeficient},
        {"lp_share2b.mtx", 96, 162, 777, kMinimumNorm, 1e-9, "accurate", kNormal, "accurate", ""},
        {"n3c4-b4.mtx", 6, 15, 30, kMinimumNorm, 0, "failed", kShortest, "degraded", kDeficient},
        {"abb313.mtx", 313, 176, 1557, kLeastSquares, 0, "failed", kShortest, "degraded", kDeficient},
        {"klein-b1.mtx", 30, 10, 60, kLeastSquares, 0, "failed", kNothing, "degraded", kDeficient},
        {"relat4.mtx", 66, 12, 172, kLeastSquares, 0, "failed", kNothing, "degraded", kDeficient},
        {"lp_afiro.mtx", 27, 51, 102, kMinimumNorm, 1e-11, "accurate", kNormal, "accurate", ""},
        {"lpi_galenet.mtx", 8, 14, 22, kMinimumNorm, 1e-11, "accurate", kNormal, "accurate", ""},
        {"young1c.mtx.gz", 841, 841, 4089, "LU", 1e-10, "accurate", kPivoted, "accurate", ""},
        {"qc324.mtx.gz", 324, 324, 26730, "LU", 1e-8, "accurate", kSymmetric, "accurate", ""},
        {"ybus_118.mtx", 118, 118, 476, "LU", 1e-9, "accurate", kSymmetric, "accurate", ""},
        {"slu_cg20.mtx", 400, 400, 1920, "LU", 1e-11, "accurate", kSymmetric, "accurate", ""},
        {"ybus_1354pegase.mtx.gz", 1354, 1354, 4774, "LU", 1e-7, "accurate", kPivoted, "accurate", ""},
        {"yherm_1354pegase.mtx.gz", 1354, 1354, 4772, "LU", 1e-4, "", kCholesky, "", ""},
        {"GD99_c.mtx", 105, 105, 149, "LU", 0, "failed", kMatched, "failed",
         "structurally singular: 64 of 105 rows matched"},
    };
    return table;
}

class RealSystems : public ::testing::TestWithParam<RealSystem> {};

/// What does not depend on the road.
void expectHeader(const RealSystem& expected, const Json& report, const std::string& path)
{
    EXPECT_EQ(report["matrix"].text(), path);
    EXPECT_EQ(report["rows"].number(), expected.rows);
    EXPECT_EQ(report["cols"].number(), expected.cols);
    EXPECT_EQ(report["entries"].number(), expected.entries);
    EXPECT_EQ(report["right_hands"].number(), 1);
}

/// An empty status is either of the good ones.
void expectStatus(const std::string& expected, const Outcome& outcome, const Json& report)
{
    const std::string status = report["status"].text();
    if (!expected.empty()) {
        EXPECT_EQ(status, expected) << outcome.err;
    }
    EXPECT_FALSE(expected.empty() && status == "failed") << outcome.err;
    EXPECT_EQ(outcome.exitCode, status == "failed" ? 1 : 0);
    EXPECT_EQ(std::ranges::count(outcome.err, '\n'), status == "accurate" ? 0 : 1) << outcome.err;
    EXPECT_EQ(report["reason"].isNull(), status == "accurate");
}

void expectDenseSolution(const RealSystem& expected, const Json& report)
{
    EXPECT_LT(report["residual"].number(), kResidualLimit);
    EXPECT_LT(report["probe_error"].number(), expected.errorLimit);
    EXPECT_EQ(report["normal_residual"].isNull(), expected.rows <= expected.cols);
    EXPECT_EQ(report["max_error"].isNull(), expected.rows < expected.cols) << "the ones are not the shortest";
    if (!report["max_error"].isNull()) {
        EXPECT_LT(report["max_error"].number(), expected.errorLimit);
    }
    if (!report["normal_residual"].isNull()) {
        EXPECT_LT(report["normal_residual"].number(), kResidualLimit);
    }
}

TEST_P(RealSystems, AreSolvedDenseOrToldToBeSingular)
{
    const RealSystem& expected = GetParam();
    const std::string path = dataFile(expected.file);
    const Outcome outcome = run({"solve", path, "--dense", "--json"});
    const Json report = parseJson(outcome.out);
    expectHeader(expected, report, path);
    expectStatus(expected.denseStatus, outcome, report);
    EXPECT_EQ(report["road"].text(), expected.denseRoad);
    EXPECT_TRUE(report["ordering"].isNull());
    if (expected.errorLimit > 0) {
        expectDenseSolution(expected, report);
    } else {
        for (const char* key : {"residual", "normal_residual", "max_error", "probe_error"}) {
            EXPECT_TRUE(report[key].isNull()) << key;
        }
    }
}

/// Of a deficient matrix the known solution has to be the shortest to come back.
void expectLeastSquares(const RealSystem& expected, const Json& report)
{
    constexpr double kErrorOfProbe = 1e-9;
    EXPECT_TRUE(report["ordering"].isNull());
    EXPECT_LT(report["residual"].number(), kResidualLimit);
    EXPECT_LT(report["normal_residual"].number(), kResidualLimit);
    EXPECT_LT(report["probe_error"].number(), kErrorOfProbe);
    const bool isUnique = expected.rows > expected.cols && expected.sparseReason.empty();
    EXPECT_EQ(report["max_error"].isNull(), !isUnique);
    if (isUnique) {
        EXPECT_LT(report["max_error"].number(), expected.errorLimit);
    }
    if (!expected.sparseReason.empty()) {
        EXPECT_EQ(report["reason"].text(), expected.sparseReason);
    }
}

TEST_P(RealSystems, AreSolvedSparse)
{
    const RealSystem& expected = GetParam();
    const std::string path = dataFile(expected.file);
    const Outcome outcome = run({"solve", path, "--json"});
    const Json report = parseJson(outcome.out);
    expectHeader(expected, report, path);
    expectStatus(expected.sparseStatus, outcome, report);
    EXPECT_EQ(report["road"].text(), expected.sparseRoad);
    if (expected.rows != expected.cols) return expectLeastSquares(expected, report);
    EXPECT_EQ(report["ordering"].text(), "minimum degree");
    if (expected.sparseStatus != "failed") {
        EXPECT_LT(report["residual"].number(), kResidualLimit);
        if (!report["solutions"].isNull()) return; // nothing known need come back
        EXPECT_LT(report["probe_error"].number(), expected.errorLimit);
        EXPECT_LT(report["max_error"].number(), expected.errorLimit);
        EXPECT_GE(report["factor_entries"].number(), expected.rows);
    } else {
        EXPECT_THAT(report["reason"].text(), ::testing::MatchesRegex(expected.sparseReason));
    }
}

std::string nameOf(const ::testing::TestParamInfo<RealSystem>& parameter)
{
    std::string name = parameter.param.file.substr(0, parameter.param.file.find('.'));
    std::ranges::replace_if(
        name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Files, RealSystems, ::testing::ValuesIn(systems()), nameOf);

TEST(RealSystemFiles, EachIsInTheTableAndAttributed)
{
    const std::string attribution = contentOf(dataFile("ATTRIBUTION.md"));
    for (const auto& entry : std::filesystem::directory_iterator(dataFile("."))) {
        const std::string name = entry.path().filename().string();
        if (name == "ATTRIBUTION.md") continue;
        EXPECT_THAT(attribution, ::testing::HasSubstr("| `" + name + "` |"));
        const auto isIt = [&name](const RealSystem& system) { return system.file == name; };
        EXPECT_TRUE(std::ranges::any_of(systems(), isIt)) << name;
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
