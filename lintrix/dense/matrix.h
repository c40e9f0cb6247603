#pragma once
/// @file
/// The dense real matrix. What it shares with `CMatrix` stands in `detail::DenseMatrix`.

#include <lintrix/dense/detail/dense_matrix.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <vector>

namespace Velmar::Lintrix {

namespace detail {
extern template class DenseMatrix<double>;
}

/// A rectangular array of doubles: at least 1 x 1 while it lives, but for the 0 x 1 matrix that an empty
/// `Vector` converts to.
class LINTRIX_EXPORT Matrix : public detail::DenseMatrix<double> {
public:
    /// @name Construction
    /// @{

    /// 3 x 3 zeros.
    Matrix() = default;
    using DenseMatrix::DenseMatrix;
    /// Nested braces are an array, flat ones the values of the form of `DenseMatrix`; `{{1}, {2}}` may be
    /// either: name the type there.
    Matrix(std::initializer_list<std::initializer_list<double>> array, std::int32_t rows, std::int32_t cols)
        : Matrix(Array2D<double>(array), rows, cols)
    {
    }
    /// One block copy.
    Matrix(const Matrix&) = default;
    /// Takes the block over; the source is left released, its sizes still readable.
    Matrix(Matrix&&) noexcept = default;
    Matrix& operator=(Matrix matrix) noexcept
    {
        swap(matrix);
        return *this;
    }
    ~Matrix() = default;
    /// @}

    /// @name Products
    /// @throws SizeMismatchException  inner sizes differ: "Matrix sizes do not match."
    /// @{

    using DenseMatrix::Multiply;
    /// A*x: A.Rows() elements from A.Cols().
    static Vector Multiply(const Matrix& A, const Vector& x);
    /// x'*A: A.Cols() elements from A.Rows().
    LINTRIX_EXPORT friend Vector operator*(const Vector& x, const Matrix& A);
    /// alpha*A*B + beta*C as a new matrix. A C of another shape is no failure: it is cut or zero-filled at
    /// its own coordinates. Callers rely on that, so it stays; the form with a target in place refuses it.
    static Matrix Multiply(double alpha, const Matrix& A, const Matrix& B, double beta, const Matrix& C);

    /// The cells as real parts, imaginary parts 0.
    CMatrix ToCMatrix() const;
    /// @}

    /// @name Systems of equations
    /// Each runs a decomposition on a private copy. O(n^3).
    /// @{

    /// The inverse through `LU`.
    /// @throws SingularMatrixException  exact zero pivot, also of a rectangular matrix: "This operation
    /// requires a
    ///         non-singular matrix."
    /// @throws NotSquareMatrixException  "Matrix inverse can be calculated only for a square matrix."
    Matrix Inverse() const;
    /// How many singular values exceed max(m, n)*s[0]*2^-52 (see `SVD::Rank`).
    /// @throws OperationFailedException  the iteration did not converge: "Operation has failed to complete."
    std::int32_t Rank() const;
    /// Cols() x Rows(), through `SVD::PseudoInverse`. @throws OperationFailedException  as above
    Matrix PseudoInverse() const;
    Matrix PseudoInverse(double tolerance) const;
    /// @}

    /// @name Sorting
    /// An index is tested before anything else.
    /// @throws IndexOutOfBoundsException  "Row index exceeds matrix size."; "Column index exceeds matrix
    /// size."
    /// @{

    /// Sorts the rows by their cells in column `col`, NaN first in both orders; the sort is stable. On return
    /// `pivots`[r] is the new place of old row r, which is what ReorderRows takes. Replaces the block.
    void SortRows() { SortRows(0, SortOrder::Ascending); }
    void SortRows(std::int32_t col) { SortRows(col, SortOrder::Ascending); }
    void SortRows(std::int32_t col, SortOrder order);
    void SortRows(std::int32_t col, SortOrder order, std::vector<std::int32_t>& pivots);
    /// The same with rows and columns exchanged; the key is a row.
    void SortCols() { SortCols(0, SortOrder::Ascending); }
    void SortCols(std::int32_t row) { SortCols(row, SortOrder::Ascending); }
    void SortCols(std::int32_t row, SortOrder order);
    void SortCols(std::int32_t row, SortOrder order, std::vector<std::int32_t>& pivots);
    /// @}

    /// @name Deleting
    /// Replace the block. The only row or column cannot be deleted.
    /// @throws IndexOutOfBoundsException  "Row or column index exceeds matrix size."
    /// @{
    void DeleteRow(std::int32_t row);
    void DeleteColumn(std::int32_t column);
    /// @}

    /// @name Statistics of the columns
    /// One-pass sums without centring, and the divisor is the row count n, not n - 1: the figures of a whole
    /// population. Stored results are compared with them, so the formulas stay, also where the columns are
    /// nearly constant and centred sums would tell more digits.
    /// @{

    /// Cols() x Cols(), 1 on the diagonal. A column without variance has 0 against every other.
    Matrix CorrelationMatrix() const;
    /// Cols() x Cols(), population covariances.
    Matrix CovarianceMatrix() const;
    /// 1 for a column with itself, unread. No test for zero variance: a constant column gives NaN, where
    /// `CorrelationMatrix` gives 0, and callers tell the two cases apart by it.
    double ColCorrelation(std::int32_t col1, std::int32_t col2) const;
    double ColCovariance(std::int32_t col1, std::int32_t col2) const;

    /// Each column (row) by itself, in place; other modes do nothing. `ZScores`: centred, and divided by the
    /// population standard deviation unless that is 0. `UnitLength`: divided by the Euclidean norm unless
    /// that is 0. `MaximumOne`: divided by the first cell of largest magnitude, with its sign, unless that is
    /// 0.
    void NormalizeCols(NormalizeMode mode);
    void NormalizeRows(NormalizeMode mode);
    /// @}

    /// @name Tests
    /// @{

    /// The opposite of what the name says, and of `Vector::IsFinite`: true if some cell is infinite or NaN,
    /// false if there is none. Callers test for it as it is, so it stays; `!HasINFs() && !HasNaNs()` asks for
    /// finiteness.
    bool IsFinite() const;
    /// @}
};

static_assert(Disposable<Matrix> && Cloneable<Matrix> && Serializable<Matrix>);

} // namespace Velmar::Lintrix

/// By `GetHashCode`.
template <>
struct std::hash<Velmar::Lintrix::Matrix> {
    /// The code, as an unsigned number.
    std::size_t operator()(const Velmar::Lintrix::Matrix& matrix) const
    {
        return static_cast<std::uint32_t>(matrix.GetHashCode());
    }
};
