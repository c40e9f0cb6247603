#pragma once
/// @file
/// Eigen decomposition of a general matrix.

#include <lintrix/dense/matrix.h>
#include <lintrix/foundation/enumerations.h>
#include <lintrix/foundation/function_objects.h>

#include <cstdint>

namespace Velmar::Lintrix {

/// Eigenvalues and eigenvectors of a general real A (`dgeevx`: balancing, Hessenberg reduction and the QR
/// algorithm; Golub and Van Loan, Matrix Computations, 4th ed., chapter 7).
///
/// A is n x n. Eigenvalues come in the order of the routine, which is not sorted; the two of a conjugate pair
/// are neighbours, the one with the positive imaginary part first. Works on a private copy, once, in the
/// constructor; after that the object does not change. Eigenvectors are kept in the real form in which they
/// are computed. Any member may raise NotEnoughMemoryException with its default message. A finished object
/// may be read from several threads. Cost: about 25 n^3 operations with right eigenvectors, 10 n^3 without.
class LINTRIX_EXPORT Eigen {
public:
    /// `balance` tells how A is scaled and permuted first, which makes the eigenvalues of badly scaled
    /// matrices more accurate.
    /// @throws NotSquareMatrixException  before anything is allocated: "Matrix is not square."
    explicit Eigen(const Matrix& matrix, bool rightEigenvectors = true, bool leftEigenvectors = false,
                   BalanceType balance = BalanceType::Both);
    /// Takes the results over and leaves the source released.
    Eigen(Eigen&&) noexcept = default;
    /// Takes the results over and leaves the source released.
    Eigen& operator=(Eigen&&) noexcept = default;

    std::int32_t Size() const noexcept { return n; }
    /// True for every object: a failure of the routine is not told here, and callers do not expect it to be.
    /// Eigenvalues that it did not find are NaN, and so are all where A holds a NaN or an infinity.
    bool Succeeded() const noexcept { return inf == 0; }

    /// @throws IndexOutOfBoundsException  "Row or column index exceeds matrix size."
    Complex Eigenvalue(std::int32_t index) const;

    /// Releases the buffers at once; may be repeated.
    void Dispose() noexcept;

private:
    std::int32_t n;
    detail::Block<double> a;     ///< the private copy, destroyed by the routine
    detail::Block<double> wr;    ///< real parts of the eigenvalues
    detail::Block<double> wi;    ///< imaginary parts
    detail::Block<double> vl;    ///< left eigenvectors, packed; or empty
    detail::Block<double> vr;    ///< right eigenvectors, packed; or empty
    detail::Block<double> scale; ///< balancing details
    std::int32_t inf = 0;        ///< stays 0
};

static_assert(Disposable<Eigen>);

} // namespace Velmar::Lintrix
