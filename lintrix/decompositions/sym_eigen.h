#pragma once
/// @file
/// Eigen decomposition of a symmetric (`SymEigen`) or complex Hermitian matrix (`CSymEigen`): the two differ
/// in their cells alone.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>

#include <cstdint>
#include <optional>

namespace Velmar::Lintrix {

namespace detail {

/// A = X*D*X^H of a symmetric or Hermitian A (`dsyev`, `zheev`: tridiagonal reduction and implicit QL; Golub
/// and Van Loan, Matrix Computations, 4th ed., chapter 8). D is real.
///
/// A is n x n. Only the lower triangle is read, of a complex diagonal the real parts; symmetry is not tested.
/// Eigenvalues come largest first, the eigenvectors in step. Works on a private copy, once, in the
/// constructor; after that the object does not change. No convergence is a state, not a failure: see
/// Succeeded(). Members that need eigenvectors are empty in the form without them. Any member may raise
/// NotEnoughMemoryException with its default message. Cost: about 9 n^3 operations with eigenvectors, 4/3 n^3
/// without, of complex cells four times as many.
template <class Cell>
class LINTRIX_EXPORT HermitianEigen {
public:
    using M = MatrixOf<Cell>;

    /// With eigenvectors, unless told otherwise.
    /// @throws NotSquareMatrixException  before anything is allocated: "Matrix is not square."
    explicit HermitianEigen(const M& matrix, bool eigenvectors = true);
    HermitianEigen(HermitianEigen&&) noexcept = default;
    HermitianEigen& operator=(HermitianEigen&&) noexcept = default;

    std::int32_t Size() const noexcept { return n; }
    /// True exactly when the lower triangle of A is finite and the iteration converged. A matrix with a NaN
    /// or an infinity there is not given to the routine: its eigenvalues and eigenvectors are zero.
    bool Succeeded() const noexcept { return inf == 0; }

    /// n values, largest first.
    Vector Eigenvalues() const;
    /// @throws IndexOutOfBoundsException  "Row or column index exceeds matrix size."
    double Eigenvalue(std::int32_t index) const;
    /// n x n, column i belongs to Eigenvalue(i).
    std::optional<M> Eigenvectors() const;
    /// Column `index`. @throws IndexOutOfBoundsException  as above, also without eigenvectors
    std::optional<VectorOf<Cell>> Eigenvector(std::int32_t index) const;
    /// n x n, the eigenvalues on the diagonal.
    Matrix D() const;

    /// Releases the buffers at once; may be repeated.
    void Dispose() noexcept;

protected:
    ~HermitianEigen() = default;

private:
    const double* values() const;
    void requireIndex(std::int32_t index) const;

    std::int32_t n;
    Block<Cell> a;        ///< the eigenvectors as columns, in the order of w; or empty
    Block<double> w;      ///< the eigenvalues, largest first
    std::int32_t inf = 0; ///< what the routine returned
};

extern template class HermitianEigen<double>;
extern template class HermitianEigen<Complex>;

} // namespace detail

/// Eigenvalues and eigenvectors of a real symmetric matrix.
class SymEigen : public detail::HermitianEigen<double> {
public:
    using HermitianEigen::HermitianEigen;
};

/// Eigenvalues and eigenvectors of a complex Hermitian matrix.
class CSymEigen : public detail::HermitianEigen<Complex> {
public:
    using HermitianEigen::HermitianEigen;
};

static_assert(Disposable<SymEigen> && Disposable<CSymEigen>);

} // namespace Velmar::Lintrix
