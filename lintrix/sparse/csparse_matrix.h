#pragma once
/// @file
/// The complex sparse matrix in compressed rows, as `SparseMatrix` made to be assembled once and handed on
/// (see `CSparseAssembler`).

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>
#include <lintrix/sparse/compressed_matrix.h>

namespace Velmar::Lintrix {

/// A sparse matrix of complex numbers, general or marked Hermitian; most of its members are those of
/// `CompressedMatrix`.
///
/// It is not `SparseMatrix` with other cells: a copy is never marked, products take the stored triangle for a
/// general matrix, no comparison but `IsEqual` with a tolerance tells anything, and full arrays grow by one
/// slot at a time. Callers of each rely on what it does.
class LINTRIX_EXPORT CSparseMatrix : public detail::CompressedMatrix<Complex> {
public:
    using CompressedMatrix::CompressedMatrix;
    using CompressedMatrix::IsEqual;

    /// 1 x 1 and empty, capacity 1, growth factor 1.2f.
    CSparseMatrix() : CompressedMatrix(1, 1, 1, 1.2F) {}
    /// The elements of a dense matrix with a part that does not compare equal to zero; a NaN counts. Exact
    /// capacity, growth factor 0. The sizes are not checked: a matrix without rows or columns is taken.
    /// @throws NotSupportedException  2^31 - 1 elements
    explicit CSparseMatrix(const CMatrix& matrix);
    /// Deep copy that is not marked Hermitian, whatever `matrix` is: below its diagonal it reads zero. A
    /// growth factor of 0 becomes 1; the capacity is raised to the row count.
    /// @throws InvalidSizeException  the sizes of `matrix` have been set below 1
    CSparseMatrix(const CSparseMatrix& matrix)
        : CompressedMatrix(matrix, clampedGrowFactor(matrix._growFactor), false)
    {
    }
    /// Takes arrays and mark over; `matrix` is left released, its sizes still readable.
    CSparseMatrix(CSparseMatrix&& matrix) noexcept = default;
    CSparseMatrix& operator=(CSparseMatrix matrix) noexcept
    {
        swap(matrix);
        return *this;
    }

    bool Hermitian() const noexcept { return _oneTriangle; }
    /// Says how the arrays are to be read, and changes nothing in them. Whether they hold an upper triangle,
    /// the matrix is square, or its diagonal real, is not looked at.
    void Hermitian(bool value) noexcept { _oneTriangle = value; }

    /// @name Comparison
    /// To compare, call `IsEqual` with a tolerance. The others give one answer for all operands, a matrix and
    /// itself among them, and programs have come to rest on it.
    /// @{

    /// False.
    bool IsEqual(const CSparseMatrix&) const noexcept { return false; }
    bool Equals(const CSparseMatrix&) const noexcept { return false; }
    bool Equals(const CSparseMatrix*) const noexcept { return false; }
    template <AnotherClass<CSparseMatrix> T>
    bool Equals(const T&) const noexcept
    {
        return false;
    }
    friend bool operator==(const CSparseMatrix&, const CSparseMatrix&) noexcept { return false; }
    /// True.
    friend bool operator!=(const CSparseMatrix&, const CSparseMatrix&) noexcept { return true; }
    /// @}

private:
    friend struct detail::SparseTwin<Complex>;

    /// What a product asks before it takes a stored triangle for a full matrix. A Hermitian one never is: the
    /// kernels know its rows as a general matrix alone.
    static constexpr bool IsSymmetricInt() noexcept { return false; }
};

static_assert(Disposable<CSparseMatrix> && Cloneable<CSparseMatrix> && Serializable<CSparseMatrix>);

} // namespace Velmar::Lintrix
