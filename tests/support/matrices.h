#pragma once
/// @file
/// Test matrices by shape and spectrum, and the residual ratios by which results are judged.
///
/// A template here is defined for Matrix and CMatrix. Everything is seeded. A ratio is scaled by size, norm
/// and eps = 2^-53, as the standard LAPACK test programs do: a stable result stays below kResidualLimit
/// whatever the size. A NaN makes a ratio NaN, which is below nothing.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/dense/vector.h>

#include <cstdint>
#include <iosfwd>
#include <random>
#include <vector>

namespace Velmar::Lintrix::testing {

inline constexpr double kEps = 0x1p-53;
inline constexpr double kResidualLimit = 30.0;

struct Shape {
    int rows, cols;
};
std::ostream& operator<<(std::ostream& out, const Shape& shape);

/// How the singular values fall, largest 1.
enum class Spectrum {
    Random,    ///< uniform entries in [-1, 1] (both parts), no spectrum imposed
    Flat,      ///< all 1: orthogonal or unitary
    Geometric, ///< falling evenly in the logarithm to 1e-8
    OneTiny,   ///< all 1 but the last, which is 1e-12
    Graded,    ///< random entries, row i scaled by 10^(-i mod 12)
};
std::ostream& operator<<(std::ostream& out, Spectrum spectrum);

/// Square, tall, wide; sizes around the block size of 64 and single rows and columns.
const std::vector<Shape>& allShapes();
const std::vector<Shape>& squareShapes();
const std::vector<Spectrum>& allSpectra();

template <class M = Matrix>
M randomMatrix(const Shape& shape, std::mt19937_64& generator);
template <class M = Matrix>
M matrixWith(const Shape& shape, Spectrum spectrum, std::uint64_t seed);
/// Singular value i, from the largest, that matrixWith imposes; `count` = min(rows, cols). Not for Random and
/// Graded, which impose none.
double singularValue(Spectrum spectrum, int i, int count);
/// Q*diag(eigenvalues)*Q^H with a random orthogonal or unitary Q, symmetric or Hermitian to the bit.
template <class M = Matrix>
M symmetricWith(const std::vector<double>& eigenvalues, std::uint64_t seed);
template <class M = Matrix>
M identity(int n);

/// Largest absolute column sum.
template <class M>
double oneNorm(const M& A);
/// Plain triple loop: the judge of products.
template <class M>
M naiveProduct(const M& A, const M& B);
/// Also of vectors, which convert.
inline Matrix naiveProduct(const Matrix& A, const Matrix& B)
{
    return naiveProduct<Matrix>(A, B);
}
template <class M>
M naiveTranspose(const M& A);
/// The conjugate transpose.
template <class M>
M naiveAdjoint(const M& A);

/// ||A - B||_1 / (max(m, n)*||A||_1*eps), as of a matrix and the product of its factors.
template <class M>
double differenceRatio(const M& A, const M& B);
/// ||Q^H*Q - I||_1 / (m*eps) for a Q with orthonormal columns.
template <class M>
double orthogonalityRatio(const M& Q);
/// The largest ||b - A*x||_1 / (||A||_1*||x||_1*eps) over the columns b of B and x of X: no factor of size.
template <class M>
double solveRatio(const M& A, const M& X, const M& B);
/// ||I - X*A||_1 / (n*||A||_1*||X||_1*eps) for an X that is the inverse of the n x n A from the left.
template <class M>
double inverseRatio(const M& A, const M& X);
/// max |x_i - y_i| / (size*norm*eps) of singular values or eigenvalues of a matrix of that size and norm.
double valuesRatio(const Vector& x, const Vector& y, int size, double norm);

/// Same shape, same bits but for the sign of zero and NaN payloads.
template <class M>
bool identical(const M& A, const M& B);
bool identical(const Vector& x, const Vector& y);
bool identical(const CVector& x, const CVector& y);

} // namespace Velmar::Lintrix::testing
