#pragma once
/// @file
/// The dense complex matrix, the twin of `Matrix`. What the two share stands in `detail::DenseMatrix`.
///
/// Where they differ (the named products with a vector, the product that returns a new matrix, `Inverse`,
/// `Rank`, `PseudoInverse`, deleting the last row, `ZScores`, `IsFinite`), callers of each rely on what it
/// does, and the members say so.

#include <lintrix/dense/matrix.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

namespace Velmar::Lintrix {

namespace detail {
extern template class DenseMatrix<Complex>;
}

/// A rectangular array of complex numbers.
class LINTRIX_EXPORT CMatrix : public detail::DenseMatrix<Complex> {
public:
    /// @name Construction
    /// There is no form of nested braces with sizes, as `Matrix` has it. Name the type: `{{1, 2}, {3, 4}}`
    /// may be an array or the two values 1 + 2i and 3 + 4i.
    /// @{

    /// 3 x 3 zeros.
    CMatrix() = default;
    using DenseMatrix::DenseMatrix;
    /// real + i*imaginary. @throws SizeMismatchException  rows, then columns, differ: "Matrix sizes do not
    /// match."
    explicit CMatrix(const Matrix& real, const Matrix& imaginary);
    /// One block copy.
    CMatrix(const CMatrix&) = default;
    /// Takes the block over; the source is left released, its sizes still readable.
    CMatrix(CMatrix&&) noexcept = default;
    CMatrix& operator=(CMatrix matrix) noexcept
    {
        swap(matrix);
        return *this;
    }
    ~CMatrix() = default;
    /// @}

    /// @name Parts
    /// @{

    /// The real (imaginary) parts of all cells.
    Matrix Real() const;
    Matrix Imag() const;
    /// Every imaginary part negated.
    CMatrix Conjugate() const;
    /// The conjugate transpose, a new Cols() x Rows() matrix.
    CMatrix Adjoint() const;
    /// @}

    /// @name Products
    /// @throws SizeMismatchException  inner sizes differ: "Matrix sizes do not match."
    /// @{

    using DenseMatrix::Multiply;
    /// A times B made complex. There is no form with the real matrix on the left.
    LINTRIX_EXPORT friend CMatrix operator*(const CMatrix& A, const Matrix& B);
    static CMatrix Multiply(const CMatrix& A, const Matrix& B) { return A * B; }
    /// A*x into a vector of A.Cols() elements: only for a square A, where the operator takes every shape. The
    /// twin in `Matrix` takes every shape; callers of this one find out by it that A is not square.
    static CVector Multiply(const CMatrix& A, const CVector& x);
    /// x'*A into a vector of A.Rows() elements, nothing conjugated: only for a square A, where the named form
    /// takes every shape, and so does this operator for `Matrix`. Callers rely on it as above.
    LINTRIX_EXPORT friend CVector operator*(const CVector& x, const CMatrix& A);
    /// alpha*A*B + beta*C as a new matrix. A C of another shape fails, where the twin in `Matrix` cuts or
    /// fills it; callers rely on each.
    /// @throws SizeMismatchException  inner sizes, then the shape of C: "Incorrect size for matrix C."
    static CMatrix Multiply(Complex alpha, const CMatrix& A, const CMatrix& B, Complex beta,
                            const CMatrix& C);
    /// @}

    /// @name Systems of equations
    /// Each runs a decomposition on a private copy. O(n^3).
    /// @{

    /// The inverse through `CLU`.
    /// @throws NotSquareMatrixException  "Matrix inverse can be calculated only for a square matrix."
    /// @throws SingularMatrixException   exact zero pivot: "Matrix is singular and it can not be inverted."
    CMatrix Inverse() const;
    /// How many singular values exceed max(m, n)*s[0]*2^-52 (see `CSVD::Rank`); 0 if the iteration did not
    /// converge, where `Matrix` raises a failure.
    std::int32_t Rank() const;
    /// Cols() x Rows(), through `CSVD::PseudoInverse`; empty if the iteration did not converge, where
    /// `Matrix` raises a failure.
    std::optional<CMatrix> PseudoInverse() const;
    std::optional<CMatrix> PseudoInverse(double tolerance) const;
    /// @}

    /// @name Deleting
    /// Replace the block. The only row or column can be deleted, too, which leaves a matrix of 0 cells
    /// (`Matrix` refuses it): callers take a matrix apart so, and it stays.
    /// @throws IndexOutOfBoundsException  "Row or column index exceeds matrix size."
    /// @{
    void DeleteRow(std::int32_t row);
    void DeleteColumn(std::int32_t column);
    /// @}

    /// @name Normalization
    /// @{

    /// Each column (row) by itself, in place, as `CVector::Normalize`: unconjugated in `UnitLength`, without
    /// a division by the count in `ZScores`, so that a column ends with length 1 and not with the deviation 1
    /// that `Matrix` gives it. Of a real and an imaginary part of one magnitude, `MaximumOne` takes the first
    /// in the column, but the real one in a row.
    void NormalizeCols(NormalizeMode mode);
    void NormalizeRows(NormalizeMode mode);
    /// @}

    /// @name Tests
    /// @{

    /// As `IsSymmetric` with the one of each pair conjugated. The diagonal is not looked at: an imaginary
    /// part there does not disqualify, and callers test matrices so whose diagonal carries rounding.
    bool IsHermitian() const { return IsHermitian(1e-09); }
    bool IsHermitian(double tolerance) const;
    /// True if both parts of all cells are finite: what the name says, and the opposite of
    /// `Matrix::IsFinite`.
    bool IsFinite() const;
    /// @}
};

static_assert(Disposable<CMatrix> && Cloneable<CMatrix> && Serializable<CMatrix>);

} // namespace Velmar::Lintrix

/// By `GetHashCode`.
template <>
struct std::hash<Velmar::Lintrix::CMatrix> {
    /// The code, as an unsigned number.
    std::size_t operator()(const Velmar::Lintrix::CMatrix& matrix) const
    {
        return static_cast<std::uint32_t>(matrix.GetHashCode());
    }
};
