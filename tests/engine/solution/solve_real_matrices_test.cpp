// Real matrices solved as general ones, symmetric ones also from their triangle.

#include <lintrix/sparse/matrix_market.h>

#include "tests/engine/solution/solve_case.h"
#include "tests/support/files.h"

#include <cmath>
#include <cstddef>
#include <map>
#include <numeric>
#include <ostream>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

struct RealMatrix {
    std::string file;
    int mtype;
};
std::ostream& operator<<(std::ostream& out, const RealMatrix& matrix)
{
    return out << matrix.file << " as " << matrix.mtype;
}

System<double> load(const RealMatrix& wanted)
{
    const MatrixMarketTriplets read = ReadMatrixMarketTriplets(dataFile(wanted.file));
    std::vector<std::map<int, double>> rows(static_cast<std::size_t>(read.rows));
    const bool triangle = isSymmetricStorage(wanted.mtype);
    const auto put = [&](int i, int j, double value) {
        if (!triangle || i <= j) rows[static_cast<std::size_t>(i)][j] += value;
    };
    for (std::size_t k = 0; k < read.values.size(); ++k) {
        const int i = static_cast<int>(read.rowIndices[k]), j = static_cast<int>(read.colIndices[k]);
        put(i, j, read.values[k].real());
        const double sign = read.symmetry == MatrixMarketSymmetry::SkewSymmetric ? -1 : 1;
        if (read.symmetry != MatrixMarketSymmetry::General && i != j) put(j, i, sign * read.values[k].real());
    }
    System<double> A{wanted.mtype, static_cast<int>(read.rows), {1}, {}, {}};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (triangle) rows[i].try_emplace(static_cast<int>(i), 0.0); // the diagonal is stored
        for (const auto& [j, value] : rows[i]) A.put(j, value);
        A.endRow();
    }
    return A;
}

class SolveOfRealMatrices : public ::testing::TestWithParam<RealMatrix> {};

TEST_P(SolveOfRealMatrices, LeavesASmallResidual)
{
    for (const int threads : {1, 2}) {
        const ThreadSetting setting(threads, 0);
        for (const int ordering : {0, 2}) {
            SolveCall<double> call(load(GetParam()), 2);
            call.set(2, ordering);
            call.set(8, 2);
            if (GetParam().mtype == -2) {
                call.set(11, 1);
                call.set(13, 1);
            }
            ASSERT_EQ(call.run(13), 0);
            EXPECT_LT(call.scaledResidual(), 1e-12);
            EXPECT_LE(call.iparm(7), 2);
            call.set(12, 1);
            ASSERT_EQ(call.run(33), 0);
            EXPECT_LT(call.scaledResidual(), 1e-12);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Small, SolveOfRealMatrices,
                         ::testing::Values(RealMatrix{"b1_ss.mtx", 11}, RealMatrix{"pde225.mtx", 11},
                                           RealMatrix{"jpwh_991.mtx", 11}, RealMatrix{"sherman4.mtx", 11},
                                           RealMatrix{"bfw782a.mtx.gz", 11}, RealMatrix{"662_bus.mtx", 11},
                                           RealMatrix{"662_bus.mtx", 2}, RealMatrix{"662_bus.mtx", -2},
                                           RealMatrix{"Trefethen_500.mtx", 2},
                                           RealMatrix{"Trefethen_500.mtx", -2},
                                           RealMatrix{"jagmesh7.mtx", -2}, RealMatrix{"bcsstk04.mtx", 2},
                                           RealMatrix{"bcsstk04.mtx", -2}, RealMatrix{"west0479.mtx", 11},
                                           RealMatrix{"west0156.mtx", 11}, RealMatrix{"lnsp_131.mtx", 11},
                                           RealMatrix{"fs_183_1.mtx", 11}, RealMatrix{"mcca.mtx", 11},
                                           RealMatrix{"jgl011.mtx", 11}));

/// Sum of magnitudes of b - A*x.
double residualSum(const SolveCall<double>& call)
{
    std::vector<double> r = call.b;
    call.A.forEach(false, [&](int i, int j, double value) {
        r[static_cast<std::size_t>(i)] -= value * call.x[static_cast<std::size_t>(j)];
    });
    return std::accumulate(r.begin(), r.end(), 0.0, [](double sum, double x) { return sum + std::abs(x); });
}

// Its entries are all 1, so that the matching sees no difference and many pivots are perturbed. How fast that
// converges, and whether to the end, hangs on the rounding of every update; when it stops does not.
TEST(SolveOfARealMatrixWithPoorPivots, IsRefinedAsLongAsThatContracts)
{
    constexpr int kLimit = 30;
    SolveCall<double> call(load({"jagmesh7.mtx", 11}));
    call.set(8, kLimit);
    ASSERT_EQ(call.run(13), 0);
    EXPECT_GT(call.iparm(14), 0);
    const int steps = call.iparm(7);
    ASSERT_GE(steps, 4); // so far there is patience

    call.set(26, 1); // no refinement
    ASSERT_EQ(call.run(33), 0);
    std::vector<double> left{residualSum(call)}; // by so many steps
    call.set(26, 0);
    for (int k = 1; k < steps; ++k) {
        call.set(8, k);
        ASSERT_EQ(call.run(33), 0);
        left.push_back(residualSum(call));
    }
    // Step k looks at what the one before has left; 1e-6 for the rounding of the sums, which says nothing
    // about residuals that are all rounding.
    for (std::size_t k = 5; k <= left.size(); ++k) {
        const double before = left[k - 2], now = left[k - 1];
        if (before < 1e-8 * left.front()) break;
        if (k < left.size()) {
            EXPECT_LT(now, 0.9 * (1 + 1e-6) * before) << "step " << k;
        } else if (steps < kLimit) {
            EXPECT_GT(now, 0.9 * (1 - 1e-6) * before);
        }
    }
}

// Every second pivot is 0.009, and 0.01 is put in its place: a step leaves a tenth of the error there.
TEST(SolveWithPoorPivots, GainsADigitAStep)
{
    System<double> A{11, 40, {1}, {}, {}};
    for (int i = 0; i < A.n; ++i) {
        A.put(i, i % 2 == 0 ? 1.0 : 0.009);
        if (i % 2 == 0) A.put(i + 1, 0.5);
        A.endRow();
    }
    SolveCall<double> call(A);
    for (const int parameter : {11, 13}) call.set(parameter, 0);
    call.set(10, 2);
    call.set(8, 1);
    ASSERT_EQ(call.run(13), 0);
    EXPECT_EQ(call.iparm(14), 20);
    for (int k = 2; k < 10; ++k) {
        const double before = residualSum(call);
        call.set(8, k);
        ASSERT_EQ(call.run(33), 0);
        EXPECT_EQ(call.iparm(7), k);
        EXPECT_NEAR(residualSum(call) / before, 0.1, 0.001) << "step " << k;
    }
}

// The number that the iteration carries along decides, not the true residual; where it fails, the direct
// solution is the answer.
TEST(SolveOfARealMatrixWithPoorPivots, TellsHowItsIterationEnded)
{
    for (const char* const file : {"jagmesh7.mtx", "plskz362.mtx", "curtis54.mtx", "sphere2.mtx"}) {
        SolveCall<double> call(load({file, 11}));
        call.set(4, 61);
        EXPECT_EQ(call.run(13), 0) << file;
        EXPECT_NE(call.iparm(20), 0) << file;
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
