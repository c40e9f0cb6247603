#pragma once
/// @file
/// What the tests of the decompositions share: the sweep over shapes and spectra, right-hand sides, the judge
/// of least squares, and the fixed thread count.

#include <lintrix/foundation/configuration.h>
#include <lintrix/services/hardening.h>

#include "tests/support/expect_failure.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/matrices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <set>
#include <vector>

namespace Velmar::Lintrix::testing {

inline constexpr std::uint64_t kSeed = 20230517;

/// While it lives, the routines use `count` threads.
class Threads {
public:
    explicit Threads(int count) { TrellConfiguration::SetNumThreads(count); }
    ~Threads() { TrellConfiguration::SetNumThreads(before_); }
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;

private:
    const int before_ = TrellConfiguration::GetMaxThreads();
};

/// Runs `check(A)` for each shape that `wanted` keeps, with each spectrum, A of class M. On one thread: the
/// sweep judges the mathematics, and small matrices would only wait for each other's threads.
template <class M = Matrix, class Wanted, class Check>
void forEachMatrix(Wanted wanted, Check check)
{
    const Threads one(1);
    for (const Shape& shape : allShapes()) {
        if (!wanted(shape)) continue;
        for (const Spectrum spectrum : allSpectra()) {
            SCOPED_TRACE(::testing::Message() << shape << ", " << spectrum);
            check(matrixWith<M>(shape, spectrum, kSeed));
        }
    }
}

inline bool anyShape(const Shape&)
{
    return true;
}
inline bool square(const Shape& shape)
{
    return shape.rows == shape.cols;
}
inline bool squareOrTall(const Shape& shape)
{
    return shape.rows >= shape.cols;
}
inline bool squareOrWide(const Shape& shape)
{
    return shape.rows <= shape.cols;
}

template <class M>
M rightHandsFor(const M& A, int nrhs)
{
    std::mt19937_64 generator(kSeed + 1);
    return randomMatrix<M>({A.Rows(), nrhs}, generator);
}

inline Matrix columnOf(const Matrix& A, int j)
{
    Matrix column(A.Rows(), 1);
    for (int i = 0; i < A.Rows(); ++i) column(i, 0) = A(i, j);
    return column;
}

/// ||A'*(B - A*X)||_1 / (max(m, n)*||A||_1*(||A||_1*||X||_1 + ||B||_1)*eps): small exactly when X minimizes
/// ||B - A*X||. The sum stands for the norm of the residual, whose own rounding is as large as that where A
/// is nearly singular.
inline double normalEquationRatio(const Matrix& A, const Matrix& X, const Matrix& B)
{
    Matrix residual = naiveProduct(A, X);
    for (int j = 0; j < B.Cols(); ++j) {
        for (int i = 0; i < B.Rows(); ++i) residual(i, j) = B(i, j) - residual(i, j);
    }
    const double norm = oneNorm(A), projected = oneNorm(naiveProduct(naiveTranspose(A), residual));
    return projected / (std::max(A.Rows(), A.Cols()) * norm * (norm * oneNorm(X) + oneNorm(B)) * kEps);
}

/// The four conditions of Penrose (1955) for X, each scaled by what a stable X leaves: the computed factors
/// belong to A + F with |F| = O(eps)|A|, so that A*X is off by F*X, and condition = |A|*|X| comes in once.
template <class M>
void expectPenroseConditions(const M& A, const M& X)
{
    ASSERT_EQ(X.Rows(), A.Cols());
    ASSERT_EQ(X.Cols(), A.Rows());
    const M AX = naiveProduct(A, X), XA = naiveProduct(X, A);
    const double condition = oneNorm(A) * oneNorm(X), unit = std::max(A.Rows(), A.Cols()) * condition * kEps;
    EXPECT_LT(oneNorm(naiveProduct(AX, A) - A) / (oneNorm(A) * unit), kResidualLimit);
    EXPECT_LT(oneNorm(naiveProduct(XA, X) - X) / (oneNorm(X) * unit), kResidualLimit);
    EXPECT_LT(oneNorm(AX - naiveAdjoint(AX)) / unit, kResidualLimit);
    EXPECT_LT(oneNorm(XA - naiveAdjoint(XA)) / unit, kResidualLimit);
}

template <class M>
bool allFinite(const M& A)
{
    for (int j = 0; j < A.Cols(); ++j) {
        for (int i = 0; i < A.Rows(); ++i) {
            if (!std::isfinite(std::real(A(i, j))) || !std::isfinite(std::imag(A(i, j)))) return false;
        }
    }
    return true;
}

/// Whether `places` holds each of 0, 1, ..., count-1 once.
inline bool isPermutation(const std::vector<std::int32_t>& places, int count)
{
    const std::set<std::int32_t> distinct(places.begin(), places.end());
    return std::ssize(places) == count && std::ssize(distinct) == count && *distinct.begin() == 0 &&
           *distinct.rbegin() == count - 1;
}

/// Use after release is the caller's duty; the hardened build looks.
template <class Operation>
void expectRefusedWhenHardened(Operation operation)
{
    if constexpr (detail::kHardened) {
        expectFailure<InvalidOperationException>(operation, "The object was used after its release.");
    }
}

} // namespace Velmar::Lintrix::testing
