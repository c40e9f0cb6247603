// Triplets against the dense decomposition: real rectangular matrices, wide and tall, low rank with noise.

#include "tests/solvers/svd_support.h"

namespace Velmar::Lintrix::testing {
namespace {

void expectDenseValues(const SparseMatrix& A, const SparseSVD& svd)
{
    const std::vector<double> dense = denseValues(A);
    for (int i = 0; i < svd.S().Length(); ++i) {
        EXPECT_NEAR(svd.S()[i], dense[static_cast<std::size_t>(i)], valueError(A, dense[0])) << i;
    }
}

struct RealMatrix {
    const char* file;
    int count;
};

// The leading values of these are simple.
TEST(SparseSvdAccuracy, RealRectangularMatricesAgreeWithTheDenseDecomposition)
{
    for (const RealMatrix& real :
         {RealMatrix{"ash219.mtx", 6}, RealMatrix{"illc1033.mtx", 5}, RealMatrix{"abb313.mtx", 8},
          RealMatrix{"lp_share2b.mtx", 6}, RealMatrix{"lp_afiro.mtx", 4}, RealMatrix{"Maragal_1.mtx", 4},
          RealMatrix{"lpi_galenet.mtx", 1}}) {
        SCOPED_TRACE(real.file);
        const SparseMatrix A = ReadMatrixMarket(dataFile(real.file));
        const SparseSVD svd = converged(A, real.count, kTight);
        expectDenseValues(A, svd);
        expectTriplets(A, svd, kTight);
    }
}

TEST(SparseSvdAccuracy, RealSymmetricMatrixGivesTheMagnitudesOfItsEigenvalues)
{
    const SparseMatrix A = ReadMatrixMarket(dataFile("bcsstk04.mtx"));
    ASSERT_TRUE(A.Symmetric());
    const SparseSVD svd = converged(A, 2, kTight);
    expectDenseValues(A, svd);
    expectTriplets(A, svd, kTight);
}

TEST(SparseSvdAccuracy, WideTallAndSquare)
{
    for (const Shape& shape :
         {Shape{100, 50}, Shape{50, 100}, Shape{60, 60}, Shape{400, 20}, Shape{20, 400}}) {
        SCOPED_TRACE(shape);
        const SparseMatrix A = scatteredSparse(shape, 8);
        const SparseSVD svd = converged(A, 4, kTight);
        expectDenseValues(A, svd);
        expectTriplets(A, svd, kTight);
    }
}

TEST(SparseSvdAccuracy, TransposeSwapsTheVectors)
{
    const SparseMatrix A = scatteredSparse({80, 50}, 9);
    const SparseSVD svd = converged(A, 3, kTight), swapped = converged(A.Transpose(), 3, kTight);
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(svd.S()[i], swapped.S()[i], valueError(A, svd.S()[0]));
        double cosine = 0.0;
        for (int r = 0; r < 80; ++r) cosine += svd.U()(r, i) * swapped.V()(r, i);
        EXPECT_NEAR(std::abs(cosine), 1.0, 1e-10);
    }
}

TEST(SparseSvdAccuracy, LowRankIsFoundThroughNoise)
{
    for (const double noise : {1e-2, 1e-6, 1e-10}) {
        for (const Shape& shape : {Shape{120, 80}, Shape{80, 120}}) {
            SCOPED_TRACE(noise);
            const SparseMatrix A = lowRank(shape, 5, noise, 10);
            const SparseSVD svd = converged(A, 5, 1e-10);
            expectDenseValues(A, svd);
            expectTriplets(A, svd, 1e-10);
        }
    }
}

// What U*S*V' leaves of A is the first value that was not asked for: no approximation of that rank is better.
TEST(SparseSvdAccuracy, TruncationErrorIsTheNextSingularValue)
{
    const SparseMatrix A = lowRank({60, 40}, 6, 1e-4, 11);
    const SparseSVD svd = converged(A, 3, 1e-10);
    const Matrix rest = A.ToDense() - naiveProduct(scaledColumns(svd.U(), svd.S()), naiveTranspose(svd.V()));
    const double left = SVD(rest, true).SingularValue(0), next = denseValues(A)[3];
    EXPECT_NEAR(left, next, valueError(A, svd.S()[0]));
}

TEST(SparseSvdAccuracy, ScaledMatrixTakesTheSamePassesAndScalesItsValues)
{
    const SparseMatrix A = scatteredSparse({60, 40}, 12);
    const double factor = std::ldexp(1.0, 100); // a power of two: every bit but the exponent stays
    const SparseSVD plain = converged(A, 3, 1e-10), scaled = converged(factor * A, 3, 1e-10);
    EXPECT_EQ(scaled.LastPass().steps, plain.LastPass().steps);
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(scaled.S()[i] / factor, plain.S()[i], valueError(A, plain.S()[0]));
    }
}

// A Krylov space holds one vector of each singular value. Of a multiple one, a copy beyond the first shows
// only when rounding has brought it in.
TEST(SparseSvdAccuracy, MultipleValueIsFoundOnceWhenTheFirstPassEndsTheWork)
{
    std::vector<double> cells;
    for (int i = 0; i < 16; ++i) cells.push_back(std::pow(0.25, i / 2)); // each twice
    const SparseSVD svd = converged(diagonalSparse(cells), 2, 1e-2);
    EXPECT_EQ(svd.LastPass().pass, 1);
    EXPECT_NEAR(svd.S()[0], 1.0, 1e-4);
    EXPECT_NEAR(svd.S()[1], 0.25, 1e-4);
}

} // namespace
} // namespace Velmar::Lintrix::testing
