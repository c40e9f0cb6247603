#pragma once
/// @file
/// QR decomposition, with or without column pivoting, real (`QR`) and complex (`CQR`): the factors are twins,
/// the solution of systems is not.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>

#include <cstdint>
#include <vector>

namespace Velmar::Lintrix {

namespace detail {

/// A*P = Q*R by Householder reflections (`dgeqrf`, `dgeqp3`, `zgeqrf`, `zgeqp3`; Golub and Van Loan, Matrix
/// Computations, 4th ed., sections 5.2 and 5.4).
///
/// A is m x n, p = min(m, n): Q is m x p with orthonormal columns, R is p x n upper trapezoidal, P is n x n,
/// the identity without pivoting. Works on a private copy, once, in the constructor; after that the object
/// does not change. There is no failure state: rank deficiency is neither detected nor reported, and a NaN or
/// an infinity in A runs through the factors, while P stays a permutation. A diagonal of R below 5.6e-309,
/// whose reciprocal overflows, acts as a zero in Solve(); multiply A and the right-hand sides by a power of
/// two, and X is the same. Each property builds a new matrix. Any member may raise NotEnoughMemoryException
/// with its default message. Cost: 2 n^2 (m - n/3) operations for m >= n, of complex cells four times as
/// many.
template <class Cell>
class LINTRIX_EXPORT QrFactors {
public:
    using M = MatrixOf<Cell>;

    /// With pivoting the magnitudes on the diagonal of R do not rise.
    explicit QrFactors(const M& matrix, bool pivoting = false);
    /// Takes the factors over and leaves the source released.
    QrFactors(QrFactors&&) noexcept = default;
    /// Takes the factors over and leaves the source released.
    QrFactors& operator=(QrFactors&&) noexcept = default;

    std::int32_t Rows() const noexcept { return mRows; } ///< m
    std::int32_t Cols() const noexcept { return mCols; } ///< n

    M R() const; ///< p x n, upper trapezoidal
    M Q() const; ///< m x p, orthonormal columns
    M P() const; ///< n x n, permutation; out of memory for more than 46340 columns, unlike GetPivots()
    /// Column j of A*P is column GetPivots()[j] of A; n entries, zero-based.
    std::vector<std::int32_t> GetPivots() const;

    /// Releases the buffers at once; may be repeated.
    void Dispose() noexcept;

protected:
    ~QrFactors() = default;

    /// The checks of Solve(), and the right-hand sides in a block that may be changed.
    Block<Cell> rightHandSides(const M& rightHands) const;
    /// P*inv(R)*block, n x nrhs.
    M backSubstituted(const Block<Cell>& block, std::int32_t nrhs) const;
    const Cell* packed() const;
    const Cell* reflectorScalars() const noexcept { return tau.get(); }

private:
    std::int32_t mRows;
    std::int32_t mCols;
    std::int32_t mCells;
    Block<Cell> a;            ///< R on and above the diagonal, the Householder vectors below it
    Block<Cell> tau;          ///< p reflector scalars
    Block<std::int32_t> jpvt; ///< n, one-based: column j of A*P is column jpvt[j] of A
};

extern template class QrFactors<double>;
extern template class QrFactors<Complex>;

} // namespace detail

/// A*P = Q*R of a real matrix, and systems in the sense of least squares.
class LINTRIX_EXPORT QR : public detail::QrFactors<double> {
public:
    using QrFactors::QrFactors;

    /// X (n x nrhs) that minimizes ||A*X - rightHands||, m >= n: in every column when m = n, of a tall system
    /// in the first one alone. Give a tall system with several right-hand sides in single columns: further
    /// columns of X are no solutions (the triangular solve walks the columns at a stride of n, and they stand
    /// at a stride of m). Callers compare X with stored results, so it stays. A zero on the diagonal of R
    /// gives non-finite cells. Checks, in this order:
    /// @throws SizeMismatchException  rightHands.Rows() != m: "Right hands matrix size does not match."
    /// @throws SizeMismatchException  m < n: "Underdetermined system. Use LQ decomposition instead."
    Matrix Solve(const Matrix& rightHands) const;
};

/// A*P = Q*R of a complex matrix; Q has unitary columns.
class LINTRIX_EXPORT CQR : public detail::QrFactors<Complex> {
public:
    using QrFactors::QrFactors;

    /// P*inv(R) times the leading n rows of rightHands: Q is **not** applied, and so X is a solution of A*X =
    /// rightHands only where Q is the identity. `zunmqr` knows no plain transpose of Q, which `QR` asks for;
    /// here its refusal is the last word, and callers compare X with stored results, so it stays. For a
    /// solution take `CLU`, or `CMatrix::PseudoInverse` for any shape. Strides, checks and failures are those
    /// of `QR::Solve`.
    CMatrix Solve(const CMatrix& rightHands) const;
};

static_assert(Disposable<QR> && Disposable<CQR>);

} // namespace Velmar::Lintrix
