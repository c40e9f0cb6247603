#pragma once
/// @file
/// QR decomposition, with or without column pivoting.

#include <lintrix/dense/matrix.h>

#include <cstdint>
#include <vector>

namespace Velmar::Lintrix {

/// A*P = Q*R by Householder reflections (`dgeqrf`, `dgeqp3`; Golub and Van Loan, Matrix Computations, 4th
/// ed., sections 5.2 and 5.4).
///
/// A is m x n, p = min(m, n): Q is m x p with orthonormal columns, R is p x n upper trapezoidal, P is n x n,
/// the identity without pivoting. Works on a private copy, once, in the constructor; after that the object
/// does not change. There is no failure state: rank deficiency is neither detected nor reported, and a NaN or
/// an infinity in A runs through the factors, while P stays a permutation. A diagonal of R below 5.6e-309,
/// whose reciprocal overflows, acts as a zero in Solve(); multiply A and the right-hand sides by a power of
/// two, and X is the same. Each property builds a new matrix. Any member may raise NotEnoughMemoryException
/// with its default message. Cost: 2 n^2 (m - n/3) operations for m >= n.
class LINTRIX_EXPORT QR {
public:
    /// Without pivoting.
    explicit QR(const Matrix& matrix) : QR(matrix, false) {}
    /// With pivoting the magnitudes on the diagonal of R do not rise.
    QR(const Matrix& matrix, bool pivoting);
    /// Takes the factors over and leaves the source released.
    QR(QR&&) noexcept = default;
    /// Takes the factors over and leaves the source released.
    QR& operator=(QR&&) noexcept = default;

    std::int32_t Rows() const noexcept { return mRows; } ///< m
    std::int32_t Cols() const noexcept { return mCols; } ///< n

    Matrix R() const; ///< p x n, upper trapezoidal
    Matrix Q() const; ///< m x p, orthonormal columns
    Matrix P() const; ///< n x n, permutation; out of memory for more than 46340 columns, unlike GetPivots()
    /// Column j of A*P is column GetPivots()[j] of A; n entries, zero-based.
    std::vector<std::int32_t> GetPivots() const;

    /// X (n x nrhs) that minimizes ||A*X - rightHands||, m >= n: in every column when m = n, of a tall system
    /// in the first one alone. Give a tall system with several right-hand sides in single columns: further
    /// columns of X are no solutions (the triangular solve walks the columns at a stride of n, and they stand
    /// at a stride of m). Callers compare X with stored results, so it stays. A zero on the diagonal of R
    /// gives non-finite cells. Checks, in this order:
    /// @throws SizeMismatchException  rightHands.Rows() != m: "Right hands matrix size does not match."
    /// @throws SizeMismatchException  m < n: "Underdetermined system. Use LQ decomposition instead."
    Matrix Solve(const Matrix& rightHands) const;

    /// Releases the buffers at once; may be repeated.
    void Dispose() noexcept;

private:
    const double* packed() const;

    std::int32_t mRows;
    std::int32_t mCols;
    std::int32_t mCells;
    detail::Block<double> a;          ///< R on and above the diagonal, the Householder vectors below it
    detail::Block<double> tau;        ///< p reflector scalars
    detail::Block<std::int32_t> jpvt; ///< n, one-based: column j of A*P is column jpvt[j] of A
};

static_assert(Disposable<QR>);

} // namespace Velmar::Lintrix
