// No decomposition and no product reads past the ends of its blocks, whatever kernels it runs on: behind each
// block is memory that may not be touched. The sizes go through all remainders of the kernels' steps, and
// past the routines' blocks.

#include <lintrix/decompositions/cholesky.h>
#include <lintrix/decompositions/eigen.h>
#include <lintrix/decompositions/lq.h>
#include <lintrix/decompositions/lu.h>
#include <lintrix/decompositions/qr.h>
#include <lintrix/decompositions/svd.h>
#include <lintrix/decompositions/sym_eigen.h>
#include <lintrix/services/buffer_pool.h>

#include "tests/decompositions/cases.h"

#include <tests/support/guarded_allocator.h>

namespace Velmar::Lintrix::testing {
namespace {

struct RealClasses {
    using M = Matrix;
    using V = Vector;
    using LUOf = LU;
    using QROf = QR;
    using LQOf = LQ;
    using CholeskyOf = Cholesky;
    using SVDOf = SVD;
    using SymEigenOf = SymEigen;
    using EigenOf = Eigen;
};
struct ComplexClasses {
    using M = CMatrix;
    using V = CVector;
    using LUOf = CLU;
    using QROf = CQR;
    using LQOf = CLQ;
    using CholeskyOf = CCholesky;
    using SVDOf = CSVD;
    using SymEigenOf = CSymEigen;
    using EigenOf = CEigen;
};

template <class Classes>
class BlockEnds : public ::testing::Test {
protected:
    using M = typename Classes::M;

    // Runs `operate(A)` on random matrices of all small shapes and of some large ones that `wanted` keeps,
    // with every block between walls.
    template <class Wanted, class Operate>
    static void forEachShape(Wanted wanted, Operate operate)
    {
        const Threads one(1);
        const GuardedAllocator guarded;
        for (const Shape& shape : shapes()) {
            if (!wanted(shape)) continue;
            SCOPED_TRACE(shape);
            operate(matrixWith<M>(shape, Spectrum::Random, kSeed));
        }
        MKL_FreeBuffers();
    }

    static std::vector<Shape> shapes()
    {
        std::vector<Shape> all{{34, 70}, {70, 34}, {129, 130}, {130, 129}, {130, 130}, {131, 131}, {66, 66}};
        for (int m = 1; m <= 14; ++m) {
            for (int n = 1; n <= 14; ++n) all.push_back({m, n});
        }
        return all;
    }
};

using BothClasses = ::testing::Types<RealClasses, ComplexClasses>;
TYPED_TEST_SUITE(BlockEnds, BothClasses);

TYPED_TEST(BlockEnds, AreKeptByLU)
{
    this->forEachShape(anyShape, [](const auto& A) {
        const typename TypeParam::LUOf lu(A);
        lu.L(), lu.U(), lu.P();
        if (A.IsSquare()) lu.Solve(rightHandsFor(A, 3)), lu.Inverse(), lu.Determinant();
    });
}

TYPED_TEST(BlockEnds, AreKeptByQR)
{
    this->forEachShape(anyShape, [](const auto& A) {
        for (const bool pivoting : {false, true}) {
            const typename TypeParam::QROf qr(A, pivoting);
            qr.Q(), qr.R(), qr.P();
            if (A.Rows() >= A.Cols()) qr.Solve(rightHandsFor(A, 3));
        }
    });
}

TYPED_TEST(BlockEnds, AreKeptByLQ)
{
    this->forEachShape(anyShape, [](const auto& A) {
        const typename TypeParam::LQOf lq(A);
        lq.Q(), lq.L();
        if (A.Rows() <= A.Cols()) lq.Solve(rightHandsFor(A, 3));
    });
}

TYPED_TEST(BlockEnds, AreKeptByCholesky)
{
    this->forEachShape(square, [](const auto& A) {
        const typename TypeParam::CholeskyOf cholesky(identity<typename TypeParam::M>(A.Rows()));
        cholesky.Solve(rightHandsFor(A, 3)), cholesky.Inverse(), cholesky.L();
    });
}

TYPED_TEST(BlockEnds, AreKeptBySVD)
{
    this->forEachShape(anyShape, [](const auto& A) {
        for (const bool valuesOnly : {false, true}) {
            const typename TypeParam::SVDOf svd(A, valuesOnly);
            svd.U(), svd.S(), svd.V(), svd.PseudoInverse();
        }
    });
}

TYPED_TEST(BlockEnds, AreKeptBySymEigen)
{
    this->forEachShape(square, [](const auto& A) {
        for (const bool vectors : {false, true}) {
            const typename TypeParam::SymEigenOf eigen(A, vectors);
            eigen.Eigenvectors();
        }
    });
}

TYPED_TEST(BlockEnds, AreKeptByEigen)
{
    this->forEachShape(square, [](const auto& A) {
        for (const bool vectors : {false, true}) {
            const typename TypeParam::EigenOf eigen(A, vectors, vectors);
            eigen.Eigenvectors(), eigen.LeftEigenvectors(), eigen.D();
        }
    });
}

TYPED_TEST(BlockEnds, AreKeptByProducts)
{
    this->forEachShape(anyShape, [](const auto& A) {
        using Dense = typename TypeParam::M;
        typename TypeParam::V across(A.Cols()), down(A.Rows());
        Dense::Multiply(1.0, TransposeMode::NotTransposed, A, across, 0.0, down);
        Dense::Multiply(1.0, TransposeMode::Transposed, A, down, 1.0, across);
        const Dense square = A * A.Transpose();
    });
}

TYPED_TEST(BlockEnds, AreKeptByReductionsOfRowsAndColumns)
{
    this->forEachShape(anyShape, [](const auto& A) {
        A.RowsDotProduct(0, A.Rows() - 1), A.ColsDotProduct(0, A.Cols() - 1);
        for (const NormType norm :
             {NormType::FrobeniusNorm, NormType::InfinityNorm, NormType::OneNorm, NormType::MaxAbsValue}) {
            A.Norm(norm);
        }
        for (const NormalizeMode mode :
             {NormalizeMode::UnitLength, NormalizeMode::ZScores, NormalizeMode::MaximumOne}) {
            auto rows = A, cols = A;
            rows.NormalizeRows(mode), cols.NormalizeCols(mode);
        }
        A.RowSum(0), A.ColSum(0);
        A.RowVector(A.Rows() - 1).Norm(), A.ColVector(A.Cols() - 1).AbsSum(), A.Diagonal().Norm();
    });
}

} // namespace
} // namespace Velmar::Lintrix::testing
