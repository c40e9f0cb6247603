// The matching on real matrices, and on their structural rank.

#include <lintrix/sparse/matrix_market.h>

#include "tests/engine/analysis/matching/matching_support.h"
#include "tests/support/files.h"

#include <ostream>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

struct RealMatrix {
    std::string file;
    int structuralRank;
};

std::ostream& operator<<(std::ostream& out, const RealMatrix& matrix)
{
    return out << matrix.file;
}

// The magnitudes of the whole matrix.
SparseRows<double> load(const std::string& file)
{
    const MatrixMarketTriplets read = ReadMatrixMarketTriplets(dataFile(file));
    SparseBuilder A(read.rows);
    for (std::size_t k = 0; k < read.values.size(); ++k) {
        const double magnitude = std::abs(read.values[k]);
        A.put(read.rowIndices[k], read.colIndices[k], magnitude);
        if (read.symmetry == MatrixMarketSymmetry::General) continue;
        A.put(read.colIndices[k], read.rowIndices[k], magnitude);
    }
    return A.rows();
}

class MatchingOfRealMatrices : public ::testing::TestWithParam<RealMatrix> {};

TEST_P(MatchingOfRealMatrices, IsMaximum)
{
    const SparseRows<double> A = load(GetParam().file);
    const Matched matched = match(A);
    EXPECT_EQ(matched.size, GetParam().structuralRank);
    expectMaximum(A, matched);
}

INSTANTIATE_TEST_SUITE_P(Small, MatchingOfRealMatrices,
                         ::testing::Values(RealMatrix{"b1_ss.mtx", 7}, RealMatrix{"pde225.mtx", 225},
                                           RealMatrix{"jpwh_991.mtx", 991}, RealMatrix{"sherman4.mtx", 1104},
                                           RealMatrix{"bfw782a.mtx.gz", 782}, RealMatrix{"662_bus.mtx", 662},
                                           RealMatrix{"Trefethen_500.mtx", 500},
                                           RealMatrix{"jagmesh7.mtx", 1138}, RealMatrix{"plskz362.mtx", 362},
                                           RealMatrix{"bcsstk04.mtx", 132}, RealMatrix{"west0479.mtx", 479},
                                           RealMatrix{"lnsp_131.mtx", 131}, RealMatrix{"fs_183_1.mtx", 183},
                                           RealMatrix{"mcca.mtx", 180}, RealMatrix{"west0156.mtx", 156},
                                           RealMatrix{"sphere2.mtx", 66}, RealMatrix{"jgl011.mtx", 11},
                                           RealMatrix{"curtis54.mtx", 54}, RealMatrix{"bcsstm01.mtx", 24},
                                           RealMatrix{"GD99_c.mtx", 64}));

} // namespace
} // namespace Velmar::Lintrix::testing
