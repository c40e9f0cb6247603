// Every real matrix of tests/data, solved end to end by the command.

#include <tests/tools/command.h>
#include <tests/tools/json.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <optional>
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
    std::string road, status;
    double errorLimit; ///< about 1000 eps times the condition; 0: there is no solution
    /// Few digits: a warning on standard error. Empty: so near the threshold that the kernels of BLAS decide.
    std::optional<bool> warned;
};

std::ostream& operator<<(std::ostream& out, const RealSystem& system)
{
    return out << system.file;
}

constexpr double kResidualLimit = 1e-12;
const std::string kLeastSquares = "QR (least squares)", kMinimumNorm = "LQ (minimum norm)";

const std::vector<RealSystem>& systems()
{
    static const std::vector<RealSystem> table{
        {"b1_ss.mtx", 7, 7, 15, "LU", "solved", 1e-11, false},
        {"pde225.mtx", 225, 225, 1065, "LU", "solved", 1e-11, false},
        {"jpwh_991.mtx", 991, 991, 6027, "LU", "solved", 1e-11, false},
        {"sherman4.mtx", 1104, 1104, 3786, "LU", "solved", 1e-10, false},
        {"bfw782a.mtx.gz", 782, 782, 7514, "LU", "solved", 1e-10, false},
        {"662_bus.mtx", 662, 662, 2474, "LU", "solved", 1e-8, false},
        {"Trefethen_500.mtx", 500, 500, 8478, "LU", "solved", 1e-10, false},
        {"jagmesh7.mtx", 1138, 1138, 7450, "LU", "solved", 1e-9, false},
        {"plskz362.mtx", 362, 362, 1760, "LU", "solved", 1e-8, false},
        {"bcsstk04.mtx", 132, 132, 3648, "LU", "solved", 1e-7, false},
        {"west0479.mtx", 479, 479, 1910, "LU", "solved", 1e-6, false},
        {"lnsp_131.mtx", 131, 131, 536, "LU", "solved", 1e-6, false},
        {"fs_183_1.mtx", 183, 183, 1069, "LU", "solved", 1e-2, true},
        {"mcca.mtx", 180, 180, 2659, "LU", "solved", 1e-3, std::nullopt},
        {"west0156.mtx", 156, 156, 362, "LU", "solved", 1e9, true},
        {"sphere2.mtx", 66, 66, 450, "LU", "solved", 1e9, true},
        {"jgl011.mtx", 11, 11, 76, "LU", "singular", 0, false},
        {"curtis54.mtx", 54, 54, 291, "LU", "singular", 0, false},
        {"bcsstm01.mtx", 48, 48, 24, "LU", "singular", 0, false},
        {"ash219.mtx", 219, 85, 438, kLeastSquares, "solved", 1e-12, false},
        {"illc1033.mtx", 1033, 320, 4732, kLeastSquares, "solved", 1e-9, false},
        {"Maragal_1.mtx", 32, 14, 234, kLeastSquares, "rank-deficient", 0, false},
        {"lp_share2b.mtx", 96, 162, 777, kMinimumNorm, "solved", 1e-9, false},
        {"n3c4-b4.mtx", 6, 15, 30, kMinimumNorm, "rank-deficient", 0, false},
    };
    return table;
}

class RealSystems : public ::testing::TestWithParam<RealSystem> {};

void expectSolved(const RealSystem& expected, const Json& report)
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

TEST_P(RealSystems, AreSolvedOrToldToBeSingular)
{
    const RealSystem& expected = GetParam();
    const std::string path = dataFile(expected.file);
    const Outcome outcome = run({"solve", path, "--json"});
    const Json report = parseJson(outcome.out);

    EXPECT_EQ(outcome.exitCode, expected.status == "solved" ? 0 : 1) << outcome.err;
    EXPECT_EQ(report["matrix"].text(), path);
    EXPECT_EQ(report["rows"].number(), expected.rows);
    EXPECT_EQ(report["cols"].number(), expected.cols);
    EXPECT_EQ(report["entries"].number(), expected.entries);
    EXPECT_EQ(report["right_hands"].number(), 1);
    EXPECT_EQ(report["road"].text(), expected.road);
    EXPECT_EQ(report["status"].text(), expected.status);
    if (expected.status == "solved") {
        expectSolved(expected, report);
        if (expected.warned) {
            EXPECT_EQ(outcome.err.empty(), !*expected.warned) << outcome.err;
        }
    } else {
        for (const char* key : {"residual", "normal_residual", "max_error", "probe_error"}) {
            EXPECT_TRUE(report[key].isNull()) << key;
        }
        EXPECT_EQ(std::ranges::count(outcome.err, '\n'), 1) << outcome.err;
    }
}

INSTANTIATE_TEST_SUITE_P(Files, RealSystems, ::testing::ValuesIn(systems()), [](const auto& parameter) {
    std::string name = parameter.param.file.substr(0, parameter.param.file.find('.'));
    std::ranges::replace_if(
        name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
});

TEST(RealSystemFiles, EachIsInTheTableAndAttributed)
{
    const std::string attribution = contentOf(dataFile("ATTRIBUTION.md"));
    for (const auto& entry : std::filesystem::directory_iterator(dataFile("."))) {
        const std::string name = entry.path().filename().string();
        if (name == "ATTRIBUTION.md") continue;
        EXPECT_THAT(attribution, ::testing::HasSubstr("| `" + name + "` |"));
        const bool known =
            std::ranges::any_of(systems(), [&](const RealSystem& s) { return s.file == name; });
        EXPECT_TRUE(known || name == "GD99_c.mtx") << name;
    }
}

TEST(RealSystemFiles, AComplexOneIsRefused)
{
    const std::string path = dataFile("GD99_c.mtx");
    const Outcome outcome = run({"solve", path});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.err, "lintrix: " + path + ":1: complex matrices are not supported yet\n");
}

} // namespace
} // namespace Velmar::Lintrix::testing
