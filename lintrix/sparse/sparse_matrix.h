#pragma once
/// @file
/// The real sparse matrix in compressed rows.
///
/// The class is made to be assembled once and then handed on. Writing a new element through `Item` moves all
/// elements behind it; for a large matrix see `SparseAssembler`, which takes elements in any order in linear
/// time.

#include <lintrix/dense/matrix.h>
#include <lintrix/dense/vector.h>
#include <lintrix/sparse/compressed_matrix.h>

namespace Velmar::Lintrix {

/// A sparse matrix of doubles, general or marked symmetric; most of its members are those of
/// `CompressedMatrix`.
///
/// A copy keeps the mark and the growth factor. Full arrays grow to GrowFactor() times their capacity, at
/// least by one slot.
class LINTRIX_EXPORT SparseMatrix : public detail::CompressedMatrix<double> {
public:
    using CompressedMatrix::CompressedMatrix;
    using CompressedMatrix::IsEqual;
    using CompressedMatrix::Multiply;

    /// 1 x 1 and empty, capacity 1, growth factor 1.
    SparseMatrix() : CompressedMatrix(1, 1, 1, 0.2F) {}
    /// The elements of a dense matrix that do not compare equal to zero: -0.0 is dropped, NaN is kept. The
    /// capacity is exact, and the growth factor 0, the only way to it: such a matrix grows by one slot at a
    /// time, and callers who keep memory exact rely on that. Costs a second dense array while it runs.
    explicit SparseMatrix(const Matrix& matrix);
    /// Deep copy with mark, growth factor and capacity, the latter raised to the row count, as in a new
    /// matrix. @throws InvalidSizeException  the sizes of `matrix` have been set below 1
    SparseMatrix(const SparseMatrix& matrix)
        : CompressedMatrix(matrix, matrix._growFactor, matrix._oneTriangle)
    {
    }
    /// Takes the arrays over; `matrix` is left released, its sizes still readable.
    SparseMatrix(SparseMatrix&& matrix) noexcept = default;
    SparseMatrix& operator=(SparseMatrix matrix) noexcept
    {
        swap(matrix);
        return *this;
    }

    bool Symmetric() const noexcept { return _oneTriangle; }
    /// Says how the arrays are to be read, and changes nothing in them. Whether they hold an upper triangle,
    /// or the matrix is square, is not looked at: a caller may set the mark before the contents or after.
    void Symmetric(bool value) noexcept { _oneTriangle = value; }

    /// The operand itself, where `+A` copies: the one for callers who only pass a matrix on, the other for
    /// those who go on to change it.
    static const SparseMatrix& Plus(const SparseMatrix& A) noexcept { return A; }

    /// A*B. @throws InvalidSizeException  "Invalid number of rows for matrix B"; the operator has no message
    static Matrix Multiply(const SparseMatrix& A, const Matrix& B);

    /// @name Comparison
    /// @{

    /// Within 1e-9.
    bool IsEqual(const SparseMatrix& matrix) const { return IsEqual(matrix, 1e-09); }

    /// None of these ever answers: to compare, call `IsEqual`. They are here so that `==` ends in one failure
    /// that callers know, and does not compare something else in silence.
    /// @throws NullReferenceException  always
    bool Equals(const SparseMatrix& object) const;
    bool Equals(const SparseMatrix* object) const;
    template <AnotherClass<SparseMatrix> T>
    bool Equals(const T&) const
    {
        return Equals(static_cast<const SparseMatrix*>(nullptr));
    }
    friend bool operator==(const SparseMatrix& A, const SparseMatrix& B) { return A.Equals(B); }
    friend bool operator!=(const SparseMatrix& A, const SparseMatrix& B) { return !A.Equals(B); }
    /// @}
};

static_assert(Disposable<SparseMatrix> && Cloneable<SparseMatrix> && Serializable<SparseMatrix>);

} // namespace Velmar::Lintrix
