#pragma once
/// @file
/// What the tests of the truncated SVD share: matrices with a known spectrum, and judges of triplets.

#include "tests/support/expect_failure.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/files.h"
#include "tests/support/matrices.h"

#include <lintrix/decompositions/svd.h>
#include <lintrix/services/hardening.h>
#include <lintrix/services/threads.h>
#include <lintrix/solvers/lanczos_matrix.h>
#include <lintrix/solvers/sparse_svd.h>
#include <lintrix/sparse/access.h>
#include <lintrix/sparse/matrix_market.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {

inline constexpr double kTight = 1e-12; ///< a tolerance that a well-conditioned problem reaches

inline SparseMatrix diagonalSparse(const std::vector<double>& cells)
{
    const auto size = static_cast<std::int32_t>(cells.size());
    SparseMatrix A(size, size);
    for (std::int32_t i = 0; i < size; ++i) A(i, i) = cells[static_cast<std::size_t>(i)];
    return A;
}

/// About one cell in five stored, uniform in [-1, 1].
inline SparseMatrix scatteredSparse(const Shape& shape, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    SparseMatrix A(shape.rows, shape.cols);
    for (int r = 0; r < shape.rows; ++r) {
        for (int c = 0; c < shape.cols; ++c) {
            const double value = static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0;
            if (generator() % 5 == 0) A(r, c) = value;
        }
    }
    return A;
}

/// Sum of 2^-i * x(i)*y(i)' for i < rank, with random x and y, and `noise` times a random matrix.
inline SparseMatrix lowRank(const Shape& shape, int rank, double noise, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    const Matrix X = randomMatrix({shape.rows, rank}, generator);
    Matrix Y = randomMatrix({rank, shape.cols}, generator);
    for (int i = 0; i < rank; ++i) {
        for (int c = 0; c < shape.cols; ++c) Y(i, c) *= std::ldexp(1.0, -i);
    }
    return SparseMatrix(naiveProduct(X, Y) + noise * randomMatrix(shape, generator));
}

/// What the driver sees of a matrix.
inline detail::LanczosMatrix viewOf(const SparseMatrix& A)
{
    using detail::SparseAccess;
    return {A.Rows(),
            A.Cols(),
            SparseAccess::values(A),
            SparseAccess::rowPointers(A),
            SparseAccess::columns(A),
            A.Symmetric()};
}

/// Uniform in [-1, 1].
inline std::vector<double> randomVector(int size, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::vector<double> x(static_cast<std::size_t>(size));
    for (double& cell : x) cell = static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0;
    return x;
}

inline std::vector<double> numbersOf(const Vector& x)
{
    std::vector<double> numbers;
    for (int i = 0; i < x.Length(); ++i) numbers.push_back(x[i]);
    return numbers;
}

/// The singular values of a dense copy, largest first.
inline std::vector<double> denseValues(const SparseMatrix& A)
{
    return numbersOf(SVD(A.ToDense(), true).SingularValues());
}

/// min(m, n) rounding errors of the norm: what one singular value may be away from another's computation.
inline double valueError(const SparseMatrix& A, double largest)
{
    return kResidualLimit * std::max(A.Rows(), A.Cols()) * kEps * largest;
}

/// The largest Euclidean norm of a column.
inline double largestColumn(const Matrix& A)
{
    double largest = 0.0;
    for (int c = 0; c < A.Cols(); ++c) {
        double squared = 0.0;
        for (int r = 0; r < A.Rows(); ++r) squared += A(r, c) * A(r, c);
        largest = std::max(largest, std::sqrt(squared));
    }
    return largest;
}

/// Column i times values[i].
inline Matrix scaledColumns(Matrix A, const Vector& values)
{
    for (int c = 0; c < A.Cols(); ++c) {
        for (int r = 0; r < A.Rows(); ++r) A(r, c) *= values[c];
    }
    return A;
}

/// max ||A*v - s*u||: the recurrence keeps it at rounding level, whatever the tolerance.
inline double leftResidual(const Matrix& A, const SparseSVD& svd)
{
    return largestColumn(naiveProduct(A, svd.V()) - scaledColumns(svd.U(), svd.S()));
}
/// max ||A'*u - s*v||: what the tolerance is about.
inline double rightResidual(const Matrix& A, const SparseSVD& svd)
{
    return largestColumn(naiveProduct(naiveTranspose(A), svd.U()) - scaledColumns(svd.V(), svd.S()));
}

/// A run that is expected to end by its test, and not only after hours.
inline SparseSVD converged(const SparseMatrix& A, int count, double tolerance)
{
    LanczosObserver observer;
    observer.afterPass = [](const LanczosPass& pass) { return pass.pass < 8; };
    SparseSVD svd(A, count, tolerance, observer);
    EXPECT_LE(svd.LastPass().residual, svd.LastPass().tolerance);
    return svd;
}

/// A*v = s*u, A'*u = s*v, orthonormal vectors, values falling. Single reorthogonalization loses digits where
/// the spectrum falls steeply; what is lost has to stay below the tolerance.
inline void expectTriplets(const SparseMatrix& sparse, const SparseSVD& svd, double tolerance)
{
    const Matrix A = sparse.ToDense();
    const double largest = svd.S()[0], rounding = valueError(sparse, largest);
    EXPECT_LT(leftResidual(A, svd), rounding);
    EXPECT_LT(rightResidual(A, svd), rounding + tolerance * largest);
    EXPECT_LT(orthogonalityRatio(svd.U()) * A.Rows() * kEps, kResidualLimit * A.Rows() * kEps + tolerance);
    EXPECT_LT(orthogonalityRatio(svd.V()) * A.Cols() * kEps, kResidualLimit * A.Cols() * kEps + tolerance);
    EXPECT_TRUE(std::ranges::is_sorted(numbersOf(svd.S()), std::greater<>()));
}

/// The steps at the end of each pass.
inline std::vector<int> stepsOf(const SparseMatrix& A, int k, double tolerance, int mostPasses = 10)
{
    std::vector<int> steps;
    LanczosObserver observer;
    observer.afterPass = [&](const LanczosPass& pass) {
        steps.push_back(pass.steps);
        return pass.pass < mostPasses;
    };
    SparseSVD(A, k, tolerance, observer);
    return steps;
}

} // namespace Velmar::Lintrix::testing
