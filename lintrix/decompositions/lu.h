#pragma once
/// @file
/// LU decomposition with partial pivoting.

#include <lintrix/dense/matrix.h>

#include <cstdint>
#include <vector>

namespace Velmar::Lintrix {

/// A = P*L*U by partial pivoting (`dgetrf`; Golub and Van Loan, Matrix Computations, 4th ed., section 3.4).
///
/// A is m x n, np = min(m, n): L is m x np unit lower trapezoidal, U is np x n upper trapezoidal, P is m x m.
/// Works on a private copy, once, in the constructor; after that the object does not change. A zero pivot is
/// a state, not a failure: see IsSingular(). A NaN or an infinity in A runs through the factors, while P
/// stays a permutation. So does the infinity that a pivot below 5.6e-309 leaves, whose reciprocal overflows:
/// multiply A and the right-hand sides by a power of two, and L and the solutions are those of A. Each
/// property builds a new matrix; nothing is cached. Any member may raise NotEnoughMemoryException with its
/// default message. A finished object may be read from several threads. Cost: 2/3 n^3 operations for a square
/// matrix.
class LINTRIX_EXPORT LU {
public:
    /// Factorizes any shape.
    explicit LU(const Matrix& matrix);
    /// Takes the factors over and leaves the source released.
    LU(LU&&) noexcept = default;
    /// Takes the factors over and leaves the source released.
    LU& operator=(LU&&) noexcept = default;

    std::int32_t Rows() const noexcept { return mRows; } ///< m
    std::int32_t Cols() const noexcept { return mCols; } ///< n
    /// True exactly when a pivot was exactly zero.
    bool IsSingular() const noexcept { return inf != 0; }

    Matrix L() const; ///< m x np, unit lower trapezoidal
    Matrix U() const; ///< np x n, upper trapezoidal
    Matrix P() const; ///< m x m, permutation; out of memory for more than 46340 rows, unlike GetPivots()
    /// Row i of L*U is row GetPivots()[i] of A; m entries, zero-based.
    std::vector<std::int32_t> GetPivots() const;

    /// X with A*X = rightHands (m x nrhs); 2 n^2 nrhs operations. Checks, in this order:
    /// @throws NotSquareMatrixException  m != n: "Matrix is not square."
    /// @throws SingularMatrixException   IsSingular(): "This operation requires a non-singular matrix."
    /// @throws SizeMismatchException     rightHands.Rows() != m: "Matrix sizes do not match."
    Matrix Solve(const Matrix& rightHands) const;

    /// Product of the pivots with the sign of P. A plain product: it may overflow or underflow, and is zero
    /// when a pivot is. @throws NotSquareMatrixException  "Determinant can be calculated only for a square
    /// matrix."
    double Determinant() const;

    /// The inverse, m x m; 4/3 n^3 operations, the factors stay. Checks, in this order:
    /// @throws NotSquareMatrixException  "Matrix inverse can be calculated only for a square matrix."
    /// @throws SingularMatrixException   "Matrix is singular and it can not be inverted."
    /// @throws MatrixException           the routine failed: "Undefined Error."
    Matrix Inverse() const;

    /// Releases the buffers at once; may be repeated.
    void Dispose() noexcept;

private:
    const double* packed() const;

    detail::Block<double> a;          ///< the factors as dgetrf leaves them, leading dimension mRows
    detail::Block<std::int32_t> ipiv; ///< np interchanges, one-based: row i was exchanged with row ipiv[i]
    std::int32_t mRows;
    std::int32_t mCols;
    std::int32_t mCells;
    std::int32_t np;
    std::int32_t inf = 0; ///< what dgetrf returned
};

static_assert(Disposable<LU>);

} // namespace Velmar::Lintrix
