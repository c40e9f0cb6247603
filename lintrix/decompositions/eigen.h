#pragma once
/// @file
/// Eigen decomposition of a general matrix, real (`Eigen`) and complex (`CEigen`): the results of both are
/// complex, and the two differ in how they keep them.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>
#include <lintrix/foundation/enumerations.h>

#include <cstdint>
#include <optional>

namespace Velmar::Lintrix {

namespace detail {

/// The eigenvalues as the routine of either cell type leaves them.
template <class Cell>
struct Spectrum;
template <>
struct Spectrum<double> {
    Block<double> wr; ///< real parts
    Block<double> wi; ///< imaginary parts
};
template <>
struct Spectrum<Complex> {
    Block<Complex> w;
};

/// Eigenvalues and eigenvectors of a general A (`dgeevx`, `zgeevx`: balancing, Hessenberg reduction and the
/// QR algorithm; Golub and Van Loan, Matrix Computations, 4th ed., chapter 7): A*V = V*D, and U^H*A = D*U^H
/// with the left ones as the columns of U. Each has length 1.
///
/// A is n x n. Eigenvalues come in the order of the routine, which is not sorted; the two of a conjugate pair
/// of a real A are neighbours, the one with the positive imaginary part first. Works on a private copy, once,
/// in the constructor; after that the object does not change. Eigenvectors are kept in the form in which they
/// are computed, of a real A the real one, and unpacked at each call. Any member may raise
/// NotEnoughMemoryException with its default message. A finished object may be read from several threads.
/// Cost: about 25 n^3 operations with right eigenvectors, 10 n^3 without, of complex cells four times as
/// many.
template <class Cell>
class LINTRIX_EXPORT GeneralEigen {
public:
    /// `balance` tells how A is scaled and permuted first, which makes the eigenvalues of badly scaled
    /// matrices more accurate.
    /// @throws NotSquareMatrixException  before anything is allocated: "Matrix is not square."
    explicit GeneralEigen(const MatrixOf<Cell>& matrix, bool rightEigenvectors = true,
                          bool leftEigenvectors = false, BalanceType balance = BalanceType::Both);
    /// Takes the results over and leaves the source released.
    GeneralEigen(GeneralEigen&&) noexcept = default;
    /// Takes the results over and leaves the source released.
    GeneralEigen& operator=(GeneralEigen&&) noexcept = default;

    std::int32_t Size() const noexcept { return n; }
    /// True for every object: a failure of the routine is not told here, and callers do not expect it to be.
    /// Eigenvalues that it did not find are NaN, and so are all where A holds a NaN or an infinity.
    bool Succeeded() const noexcept { return inf == 0; }

    /// n values.
    CVector Eigenvalues() const;
    /// @throws IndexOutOfBoundsException  "Row or column index exceeds matrix size."
    Complex Eigenvalue(std::int32_t index) const;
    /// n x n, the eigenvalues on the diagonal.
    CMatrix D() const;

    /// n x n, column i belongs to Eigenvalue(i); empty where right eigenvectors were not asked for.
    std::optional<CMatrix> Eigenvectors() const { return unpackedAll(vr); }
    /// Column `index`. @throws IndexOutOfBoundsException  as above, also without eigenvectors
    std::optional<CVector> Eigenvector(std::int32_t index) const { return unpacked(vr, index); }
    /// n x n, as Eigenvectors(); empty where left eigenvectors were not asked for.
    std::optional<CMatrix> LeftEigenvectors() const { return unpackedAll(vl); }
    /// As Eigenvector().
    std::optional<CVector> LeftEigenvector(std::int32_t index) const { return unpacked(vl, index); }

    /// Releases the buffers at once; may be repeated.
    void Dispose() noexcept;

protected:
    ~GeneralEigen() = default;

private:
    void requireIndex(std::int32_t index) const;
    void requireKept() const;
    std::optional<CMatrix> unpackedAll(const Block<Cell>& packed) const;
    std::optional<CVector> unpacked(const Block<Cell>& packed, std::int32_t index) const;

    std::int32_t n;
    Block<Cell> a;           ///< the private copy, destroyed by the routine
    Spectrum<Cell> spectrum; ///< n eigenvalues
    Block<Cell> vl;          ///< left eigenvectors as the routine packs them; or empty
    Block<Cell> vr;          ///< right eigenvectors; or empty
    Block<double> scale;     ///< balancing details
    std::int32_t inf = 0;    ///< stays 0
};

extern template class GeneralEigen<double>;
extern template class GeneralEigen<Complex>;

} // namespace detail

/// Eigenvalues and eigenvectors of a real matrix.
class Eigen : public detail::GeneralEigen<double> {
public:
    using GeneralEigen::GeneralEigen;
};

/// Eigenvalues and eigenvectors of a complex matrix.
class CEigen : public detail::GeneralEigen<Complex> {
public:
    using GeneralEigen::GeneralEigen;
};

static_assert(Disposable<Eigen> && Disposable<CEigen>);

} // namespace Velmar::Lintrix
