#pragma once
/// @file
/// Eigen decomposition of a symmetric matrix.

#include <lintrix/dense/matrix.h>
#include <lintrix/dense/vector.h>

#include <cstdint>
#include <optional>

namespace Velmar::Lintrix {

/// A = X*D*X' of a symmetric A (`dsyev`: tridiagonal reduction and implicit QL; Golub and Van Loan, Matrix
/// Computations, 4th ed., chapter 8).
///
/// A is n x n. Only the lower triangle is read; symmetry is not tested. Eigenvalues come largest first, the
/// eigenvectors in step. Works on a private copy, once, in the constructor; after that the object does not
/// change. No convergence is a state, not a failure: see Succeeded(). Members that need eigenvectors are
/// empty in the form without them. Any member may raise NotEnoughMemoryException with its default message.
/// Cost: about 9 n^3 operations with eigenvectors, 4/3 n^3 without.
class LINTRIX_EXPORT SymEigen {
public:
    /// With eigenvectors.
    /// @throws NotSquareMatrixException  before anything is allocated: "Matrix is not square."
    explicit SymEigen(const Matrix& matrix) : SymEigen(matrix, true) {}
    SymEigen(const Matrix& matrix, bool eigenvectors);
    SymEigen(SymEigen&&) noexcept = default;
    SymEigen& operator=(SymEigen&&) noexcept = default;

    std::int32_t Size() const noexcept { return n; }
    /// True exactly when the lower triangle of A is finite and the iteration converged. A matrix with a NaN
    /// or an infinity there is not given to the routine: its eigenvalues and eigenvectors are zero.
    bool Succeeded() const noexcept { return inf == 0; }

    /// n values, largest first.
    Vector Eigenvalues() const;
    /// @throws IndexOutOfBoundsException  "Row or column index exceeds matrix size."
    double Eigenvalue(std::int32_t index) const;
    /// n x n, column i belongs to Eigenvalue(i).
    std::optional<Matrix> Eigenvectors() const;
    /// Column `index`. @throws IndexOutOfBoundsException  as above, also without eigenvectors
    std::optional<Vector> Eigenvector(std::int32_t index) const;
    /// n x n, the eigenvalues on the diagonal.
    Matrix D() const;

    /// Releases the buffers at once; may be repeated.
    void Dispose() noexcept;

private:
    const double* values() const;
    void requireIndex(std::int32_t index) const;

    std::int32_t n;
    detail::Block<double> a; ///< the eigenvectors as columns, in the order of w; or empty
    detail::Block<double> w; ///< the eigenvalues, largest first
    std::int32_t inf = 0;    ///< what dsyev returned
};

static_assert(Disposable<SymEigen>);

} // namespace Velmar::Lintrix
