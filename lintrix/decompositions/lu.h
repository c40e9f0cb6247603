#pragma once
/// @file
/// LU decomposition with partial pivoting, real (`LU`) and complex (`CLU`): the two differ in their cells
/// alone.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>

#include <cstdint>
#include <vector>

namespace Velmar::Lintrix {

namespace detail {

/// A = P*L*U by partial pivoting (`dgetrf`, `zgetrf`; Golub and Van Loan, Matrix Computations, 4th ed.,
/// section 3.4).
///
/// A is m x n, np = min(m, n): L is m x np unit lower trapezoidal, U is np x n upper trapezoidal, P is m x m.
/// Works on a private copy, once, in the constructor; after that the object does not change. A zero pivot is
/// a state, not a failure: see IsSingular(). A NaN or an infinity in A runs through the factors, while P
/// stays a permutation. So does the infinity that a pivot below 5.6e-309 leaves, whose reciprocal overflows:
/// multiply A and the right-hand sides by a power of two, and L and the solutions are those of A. Each
/// property builds a new matrix; nothing is cached. Any member may raise NotEnoughMemoryException with its
/// default message. A finished object may be read from several threads. Cost: 2/3 n^3 operations for a square
/// matrix, of complex cells 8/3 n^3.
template <class Cell>
class LINTRIX_EXPORT LuFactors {
public:
    using M = MatrixOf<Cell>;

    /// Factorizes any shape.
    explicit LuFactors(const M& matrix);
    /// Takes the factors over and leaves the source released.
    LuFactors(LuFactors&&) noexcept = default;
    /// Takes the factors over and leaves the source released.
    LuFactors& operator=(LuFactors&&) noexcept = default;

    std::int32_t Rows() const noexcept { return mRows; } ///< m
    std::int32_t Cols() const noexcept { return mCols; } ///< n
    /// True exactly when a pivot was exactly zero.
    bool IsSingular() const noexcept { return inf != 0; }

    M L() const; ///< m x np, unit lower trapezoidal
    M U() const; ///< np x n, upper trapezoidal
    M P() const; ///< m x m, permutation; out of memory for more than 46340 rows, unlike GetPivots()
    /// Row i of L*U is row GetPivots()[i] of A; m entries, zero-based.
    std::vector<std::int32_t> GetPivots() const;

    /// X with A*X = rightHands (m x nrhs); 2 n^2 nrhs operations. Checks, in this order:
    /// @throws NotSquareMatrixException  m != n: "Matrix is not square."
    /// @throws SingularMatrixException   IsSingular(): "This operation requires a non-singular matrix."
    /// @throws SizeMismatchException     rightHands.Rows() != m: "Matrix sizes do not match."
    M Solve(const M& rightHands) const;

    /// Product of the pivots with the sign of P. A plain product: it may overflow or underflow, and is zero
    /// when a pivot is. @throws NotSquareMatrixException  "Determinant can be calculated only for a square
    /// matrix."
    Cell Determinant() const;

    /// The inverse, m x m; 4/3 n^3 operations, the factors stay. Checks, in this order:
    /// @throws NotSquareMatrixException  "Matrix inverse can be calculated only for a square matrix."
    /// @throws SingularMatrixException   "Matrix is singular and it can not be inverted."
    /// @throws MatrixException           the routine failed: "Undefined Error."
    M Inverse() const;

    /// Releases the buffers at once; may be repeated.
    void Dispose() noexcept;

protected:
    ~LuFactors() = default;

private:
    const Cell* packed() const;

    Block<Cell> a;            ///< the factors as getrf leaves them, leading dimension mRows
    Block<std::int32_t> ipiv; ///< np interchanges, one-based: row i was exchanged with row ipiv[i]
    std::int32_t mRows;
    std::int32_t mCols;
    std::int32_t mCells;
    std::int32_t np;
    std::int32_t inf = 0; ///< what getrf returned
};

extern template class LuFactors<double>;
extern template class LuFactors<Complex>;

} // namespace detail

/// A = P*L*U of a real matrix.
class LU : public detail::LuFactors<double> {
public:
    using LuFactors::LuFactors;
};

/// A = P*L*U of a complex matrix.
class CLU : public detail::LuFactors<Complex> {
public:
    using LuFactors::LuFactors;
};

static_assert(Disposable<LU> && Disposable<CLU>);

} // namespace Velmar::Lintrix
