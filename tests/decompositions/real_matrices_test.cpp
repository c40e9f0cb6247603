// Real matrices of small size: singular values, eigenvalues and Cholesky factors judged as those of made
// ones.

#include <lintrix/decompositions/cholesky.h>
#include <lintrix/decompositions/svd.h>
#include <lintrix/decompositions/sym_eigen.h>
#include <lintrix/dense/vector.h>
#include <lintrix/sparse/matrix_market.h>

#include "tests/decompositions/cases.h"

#include <tests/support/files.h>

#include <ostream>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

struct RealMatrix {
    std::string file;
    int rank; ///< numerical, with the default tolerance; the gap behind it is wide
};

std::ostream& operator<<(std::ostream& out, const RealMatrix& matrix)
{
    return out << matrix.file;
}

Matrix load(const std::string& file)
{
    return ReadMatrixMarketDense(dataFile(file));
}

class RealMatrices : public ::testing::TestWithParam<RealMatrix> {};
class SymmetricMatrices : public ::testing::TestWithParam<const char*> {};
class PositiveDefiniteMatrices : public ::testing::TestWithParam<const char*> {};
class IndefiniteMatrices : public ::testing::TestWithParam<const char*> {};

TEST_P(RealMatrices, AreReproducedByTheirSingularVectorsAndHaveTheirRank)
{
    const Threads one(1);
    const Matrix A = load(GetParam().file);
    const SVD svd(A);
    ASSERT_TRUE(svd.Succeeded());
    const Matrix product = naiveProduct(svd.U().value(), naiveProduct(svd.S(), svd.VH().value()));
    EXPECT_LT(differenceRatio(A, product), kResidualLimit);
    EXPECT_LT(orthogonalityRatio(svd.U().value()), kResidualLimit);
    EXPECT_EQ(svd.Rank(), GetParam().rank);
    EXPECT_EQ(A.Rank(), GetParam().rank);
}

TEST_P(SymmetricMatrices, AreReproducedByTheirEigenvectors)
{
    const Threads one(1);
    const Matrix A = load(GetParam());
    ASSERT_TRUE(A.IsSymmetric(0.0));
    const SymEigen eigen(A);
    ASSERT_TRUE(eigen.Succeeded());
    const Matrix X = eigen.Eigenvectors().value();
    EXPECT_LT(differenceRatio(A, naiveProduct(X, naiveProduct(eigen.D(), naiveTranspose(X)))),
              kResidualLimit);
    EXPECT_LT(orthogonalityRatio(X), kResidualLimit);
}

TEST_P(PositiveDefiniteMatrices, AreReproducedByTheirFactorsAndSolved)
{
    const Threads one(1);
    const Matrix A = load(GetParam());
    const Cholesky cholesky(A);
    ASSERT_TRUE(cholesky.Succeeded());
    const Matrix L = cholesky.L().value(), B = rightHandsFor(A, 2);
    EXPECT_LT(differenceRatio(A, naiveProduct(L, naiveTranspose(L))), kResidualLimit);
    EXPECT_LT(solveRatio(A, cholesky.Solve(B), B), kResidualLimit);
    EXPECT_GT(SymEigen(A, false).Eigenvalue(A.Rows() - 1), 0.0); // the smallest
}

TEST_P(IndefiniteMatrices, HaveNoFactorAndAnEigenvalueThatIsNotPositive)
{
    const Threads one(1);
    const Matrix A = load(GetParam());
    const Cholesky cholesky(A);
    ASSERT_FALSE(cholesky.Succeeded());
    EXPECT_EQ(cholesky.L(), std::nullopt);
    const SymEigen eigen(A, false);
    EXPECT_LE(eigen.Eigenvalue(A.Rows() - 1), A.Rows() * kEps * oneNorm(A));
}

INSTANTIATE_TEST_SUITE_P(Small, RealMatrices,
                         ::testing::Values(RealMatrix{"b1_ss.mtx", 7}, RealMatrix{"jgl011.mtx", 5},
                                           RealMatrix{"curtis54.mtx", 50}, RealMatrix{"lnsp_131.mtx", 125},
                                           RealMatrix{"fs_183_1.mtx", 183}, RealMatrix{"n3c4-b4.mtx", 5},
                                           RealMatrix{"Maragal_1.mtx", 10}, RealMatrix{"ash219.mtx", 85},
                                           RealMatrix{"lp_share2b.mtx", 96}, RealMatrix{"bcsstk04.mtx", 132},
                                           RealMatrix{"bcsstm01.mtx", 24}, RealMatrix{"sphere2.mtx", 64}));

const auto kPositiveDefinite = ::testing::Values("bcsstk04.mtx", "Trefethen_500.mtx", "662_bus.mtx");
const auto kIndefinite = ::testing::Values("bcsstm01.mtx", "sphere2.mtx");

INSTANTIATE_TEST_SUITE_P(Definite, SymmetricMatrices, kPositiveDefinite);
INSTANTIATE_TEST_SUITE_P(Indefinite, SymmetricMatrices, kIndefinite);
INSTANTIATE_TEST_SUITE_P(Small, PositiveDefiniteMatrices, kPositiveDefinite);
INSTANTIATE_TEST_SUITE_P(Small, IndefiniteMatrices, kIndefinite);

} // namespace
} // namespace Velmar::Lintrix::testing
