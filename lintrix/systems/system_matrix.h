#pragma once
/// @file
/// A square sparse matrix in the storage that each type of the direct solver asks for, and what its values
/// tell before anything is factorized.

#include <lintrix/foundation/enumerations.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <complex>
#include <cstdint>
#include <optional>
#include <string_view>

namespace Velmar::Lintrix {

/// How each entry compares with the one at the mirrored place; one that is not stored compares with nothing.
struct MatrixSymmetry {
    bool pattern = false;    ///< the mirrored place is stored, too
    bool values = false;     ///< a_ij = a_ji, to the bit
    bool opposite = false;   ///< a_ij = -a_ji, and not symmetric
    bool conjugated = false; ///< a_ij is the conjugate of a_ji; of a real matrix the same as `values`
};

/// Of a square matrix. A real one marked `Symmetric` is what it is said to be. Cost: one pass over the
/// entries.
LINTRIX_EXPORT MatrixSymmetry SymmetryOf(const SparseMatrix& matrix);
LINTRIX_EXPORT MatrixSymmetry SymmetryOf(const CSparseMatrix& matrix);

/// Conditions that are seen without a factorization. None is sufficient but for the symmetry.
struct MatrixTraits {
    bool symmetric = false; ///< to the bit
    bool hermitian = false; ///< likewise; of a real matrix the same
    bool symmetricPattern = false;
    bool fullDiagonal = false;    ///< no element of the diagonal is zero
    bool positiveLooking = false; ///< hermitian, positive diagonal, and |a_ij|^2 < a_ii*a_jj for all i != j
    bool dominant = false;        ///< diagonally, by rows or by columns: LU is stable without exchanges

    /// One triangle says it all.
    bool mirrored() const noexcept { return symmetric || hermitian; }
};

/// Of a square matrix, a real one in either storage. Cost: a few passes over the entries.
LINTRIX_EXPORT MatrixTraits TraitsOf(const SparseMatrix& matrix);
LINTRIX_EXPORT MatrixTraits TraitsOf(const CSparseMatrix& matrix);

/// The strongest type that nothing seen speaks against; a symmetric pattern counts with a diagonal of
/// non-zeros.
LINTRIX_EXPORT MatrixType LikelyType(const MatrixTraits& traits) noexcept;

/// A matrix as `pardiso` takes it: types of even number as the upper triangle. The solver shifts the indices
/// while it works and puts them back.
struct EngineMatrix {
    int mtype = 11;
    std::int32_t n = 0;
    const void* a = nullptr;
    std::int32_t *ia = nullptr, *ja = nullptr;

    bool isTriangle() const noexcept { return mtype % 2 == 0; }
    bool isComplex() const noexcept { return mtype == 3 || mtype == 13 || mtype % 4 == 0 || mtype == 6; }
    std::int32_t entries() const noexcept { return ia[n] - 1; }
    /// As many entries as rows: the solver takes it as it is and analyses nothing.
    bool isDiagonal() const noexcept { return entries() == n; }
};

/// The solver's number for a type. Symmetric types of complex matrices are hermitian, but for 6:
///  real     2, -2, 1, 11
///  complex  4, -4 or 6, 3, 13
template <class Cell>
int EngineTypeOf(MatrixType type, const MatrixTraits& traits) noexcept;
template <>
LINTRIX_EXPORT int EngineTypeOf<double>(MatrixType type, const MatrixTraits& traits) noexcept;
template <>
LINTRIX_EXPORT int EngineTypeOf<std::complex<double>>(MatrixType type, const MatrixTraits& traits) noexcept;

/// "real symmetric indefinite" and the like, of one of the solver's numbers.
LINTRIX_EXPORT std::string_view EngineTypeInWords(int mtype) noexcept;

/// Holds a matrix in the form it came in, and makes the other one when it is first asked for.
///
/// The engine takes a matrix with as many elements as rows for a diagonal one, and refuses fewer; so a matrix
/// that sparse gets zeros where its diagonal has no element.
template <class Cell>
class LINTRIX_EXPORT SystemMatrix {
public:
    using Sparse = detail::SparseOf<Cell>;

    /// Square; a real one in either storage, and a triangle has its whole diagonal. A complex one has both
    /// triangles. @throws NotEnoughMemoryException
    explicit SystemMatrix(Sparse matrix);

    std::int32_t Size() const noexcept { return size_; }
    const MatrixTraits& Traits() const noexcept { return traits_; }
    /// Of the forms that it has been brought to.
    double Bytes() const noexcept;
    /// As it came, for products.
    const Sparse& Matrix() const noexcept { return full_ ? *full_ : *upper_; }

    /// The upper triangle with the whole diagonal. @pre Traits().mirrored()
    Sparse& Upper();
    /// All elements.
    Sparse& Full();
    /// Goes on with the values of `other`, which has the same pattern and the same symmetry. The arrays stay
    /// where they are.
    void TakeValues(SystemMatrix other);
    /// The arrays under a type, which live and die with this object. @pre the traits allow the type
    EngineMatrix As(MatrixType type);

private:
    std::int32_t size_;
    MatrixTraits traits_;
    std::optional<Sparse> upper_, full_;
};

SystemMatrix(SparseMatrix)->SystemMatrix<double>;
SystemMatrix(CSparseMatrix)->SystemMatrix<std::complex<double>>;

} // namespace Velmar::Lintrix
