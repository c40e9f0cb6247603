#pragma once
/// @file
/// The dense real matrix.
///
/// Element (r, c), counted from 0, stands at block offset r + Rows()*c: column-major, unpadded, the row count
/// is always the leading dimension. Each object owns its block alone; parts of a matrix are copied out.

#include <lintrix/dense/detail/kept.h>
#include <lintrix/foundation/array2d.h>
#include <lintrix/foundation/block.h>
#include <lintrix/foundation/capabilities.h>
#include <lintrix/foundation/enumerations.h>
#include <lintrix/foundation/function_objects.h>
#include <lintrix/services/hardening.h>

#include <any>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <locale>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix {

class CMatrix;
class Vector;

namespace detail {
struct DenseAccess;
template <class Cell>
struct BlockView;
template <class Cell>
struct Line;
[[noreturn]] LINTRIX_EXPORT void raiseRowIndex();
[[noreturn]] LINTRIX_EXPORT void raiseColumnIndex();
} // namespace detail

/// A rectangular array of doubles: at least 1 x 1 while it lives, but for the 0 x 1 matrix that an empty
/// `Vector` converts to.
///
/// Rows and columns are each checked against 1 and `TrellConfiguration::MaxSize()`; the cell count is their
/// product in wrapping 32-bit arithmetic and is not checked (the hardened build refuses one that wraps). An
/// object is used by one thread at a time; concurrent reading is safe.
///
/// Allocation raises NotEnoughMemoryException with its default message, in every member that makes a block; a
/// failing member leaves the object as it was.
class LINTRIX_EXPORT Matrix {
public:
    /// @name Construction
    /// The size check, where there is one: `rows`, then `cols`, from 1 to MaxSize, before anything is
    /// allocated.
    /// @throws InvalidSizeException  "Invalid number of rows or columns."
    /// @{

    /// 3 x 3 zeros.
    Matrix();
    /// rows x cols zeros. Explicit, so that a list of numbers is never taken for a size.
    explicit Matrix(std::int32_t rows, std::int32_t cols);
    /// Zeros, then `diagonal` at block offsets 0, rows+1, 2(rows+1), ... to the end of the block: in a matrix
    /// wider than rows+1 the diagonal starts again in column rows+1. Callers build repeated diagonals so, and
    /// it stays; for one diagonal alone make a square matrix and resize it.
    explicit Matrix(std::int32_t rows, std::int32_t cols, double diagonal);
    /// All elements of `array`.
    Matrix(const Array2D<double>& array);
    /// `Matrix{{1, 2}, {3, 4}}`, row after row. @throws ArgumentException  ragged rows
    Matrix(std::initializer_list<std::initializer_list<double>> rows) : Matrix(Array2D<double>(rows)) {}
    /// rows x cols zeros with the overlap of `array` copied in; its excess is ignored. Nested braces are an
    /// array, flat ones the values of the form below; `{{1}, {2}}` may be either: name the type there.
    Matrix(const Array2D<double>& array, std::int32_t rows, std::int32_t cols);
    Matrix(std::initializer_list<std::initializer_list<double>> array, std::int32_t rows, std::int32_t cols)
        : Matrix(Array2D<double>(array), rows, cols)
    {
    }
    /// `array` read row after row; missing cells are zero, surplus values are ignored.
    /// @throws IndexOutOfRangeException  the array is empty: the first value is read before the length is
    /// looked at
    Matrix(std::span<const double> array, std::int32_t rows, std::int32_t cols);
    Matrix(std::initializer_list<double> array, std::int32_t rows, std::int32_t cols)
        : Matrix(std::span(array.begin(), array.size()), rows, cols)
    {
    }
    /// `RowMajor`: as above. `ColumnMajor`: the first min(length, cells) values in block order, none for an
    /// empty array. Any other order: all zero.
    Matrix(std::span<const double> array, std::int32_t rows, std::int32_t cols, StorageOrder order);
    Matrix(std::initializer_list<double> array, std::int32_t rows, std::int32_t cols, StorageOrder order)
        : Matrix(std::span(array.begin(), array.size()), rows, cols, order)
    {
    }
    /// One block copy.
    Matrix(const Matrix& matrix);
    /// Takes the block over; `matrix` is left released, its sizes still readable.
    Matrix(Matrix&& matrix) noexcept;
    Matrix& operator=(Matrix matrix) noexcept;
    ~Matrix() = default;
    /// @}

    /// @name Access
    /// @{

    /// Element (row, col), counted from 0; `row` is tested first.
    /// @throws IndexOutOfBoundsException  "Row index exceeds matrix size."; "Column index exceeds matrix
    /// size."
    double Item(std::int32_t row, std::int32_t col) const { return cells()[offset(row, col)]; }
    void Item(std::int32_t row, std::int32_t col, double value) { cells()[offset(row, col)] = value; }
    double operator()(std::int32_t row, std::int32_t col) const { return Item(row, col); }
    double& operator()(std::int32_t row, std::int32_t col) { return cells()[offset(row, col)]; }

    /// The sizes keep answering after release.
    std::int32_t Rows() const noexcept { return mRows; }
    std::int32_t Cols() const noexcept { return mCols; }
    /// `Resize(value, Cols())` if the value differs; likewise for the columns.
    void Rows(std::int32_t value);
    void Cols(std::int32_t value);
    bool IsSquare() const noexcept { return mRows == mCols; }
    /// Address of the block, for a caller's own native code; good until the block is replaced or released.
    std::intptr_t DataPtr() const noexcept { return reinterpret_cast<std::intptr_t>(a.get()); }
    /// A zero-based Rows() x Cols() array.
    Array2D<double> ToArray() const;
    operator Array2D<double>() const { return ToArray(); }
    /// @}

    /// @name Life
    /// @{

    /// An independent copy.
    Matrix Clone() const { return *this; }
    /// The cloneable capability: holds a `Matrix`.
    std::any CloneableClone() const { return Clone(); }
    /// Releases the block at once; may be repeated. Not to use the object afterwards is the caller's duty: no
    /// operation looks (the hardened build does, and raises InvalidOperationException).
    void Dispose() noexcept { a.reset(); }
    /// @}

    /// @name Changes in place
    /// @{

    /// All cells to zero bytes.
    void Clear() { std::memset(cells(), 0, static_cast<std::size_t>(mCells) * sizeof(double)); }
    /// Every kept element keeps its (row, column), new cells are zero. The same size returns at once and
    /// keeps the block; another replaces it. @throws InvalidSizeException  as the constructors
    void Resize(std::int32_t rows, std::int32_t cols);
    /// Each cell in block order: u*(upperBound - lowerBound) + lowerBound with u uniform in [0, 1) from the
    /// shared generator, rounded to `decimals` digits. `decimals` is 0 where it is not given, so a fill
    /// between 0 and 1 yields only those two: for fractions give it. Callers rely on the whole numbers, so
    /// the default stays. No bound is checked.
    /// @throws ArgumentOutOfRangeException  decimals outside 0 to 15; the block is untouched
    void FillRandom() { FillRandom(0.0, 10.0, 0); }
    void FillRandom(double lowerBound, double upperBound) { FillRandom(lowerBound, upperBound, 0); }
    void FillRandom(double lowerBound, double upperBound, std::int32_t decimals);
    /// @}

    /// @name Sums and element-wise operations
    /// New matrices; the operands stay as they are. Shapes are compared rows first.
    /// @throws SizeMismatchException  shapes differ: "Matrix sizes do not match."
    /// @{

    LINTRIX_EXPORT friend Matrix operator+(const Matrix& A, const Matrix& B);
    LINTRIX_EXPORT friend Matrix operator-(const Matrix& A, const Matrix& B);
    LINTRIX_EXPORT friend Matrix operator-(const Matrix& A);
    /// `A` itself, not a copy: a change made through the result shows in `A`.
    friend const Matrix& operator+(const Matrix& A) noexcept { return A; }
    friend Matrix& operator+(Matrix& A) noexcept { return A; }
    friend Matrix operator+(Matrix&& A) noexcept { return std::move(A); }
    static Matrix Plus(const Matrix& matrix) { return matrix; }
    static Matrix Negate(const Matrix& matrix) { return -matrix; }
    static Matrix Add(const Matrix& A, const Matrix& B) { return A + B; }
    static Matrix Subtract(const Matrix& A, const Matrix& B) { return A - B; }
    /// Cell-by-cell product.
    static Matrix HadamardProduct(const Matrix& A, const Matrix& B);
    /// alpha / cell; a zero cell gives an infinity or NaN, no inverse is involved.
    LINTRIX_EXPORT friend Matrix operator/(double alpha, const Matrix& A);
    static Matrix Divide(double alpha, const Matrix& A) { return alpha / A; }
    /// cell*alpha.
    LINTRIX_EXPORT friend Matrix operator*(const Matrix& A, double alpha);
    friend Matrix operator*(double alpha, const Matrix& A) { return A * alpha; }
    static Matrix Multiply(const Matrix& A, double alpha) { return A * alpha; }
    Matrix Times(double alpha) const { return *this * alpha; }
    /// cell*(1/alpha): the reciprocal is multiplied, so 49.0 / 49.0 is 0.9999999999999999. Results are
    /// compared bit by bit with stored ones, so it is not a quotient.
    /// @throws ArgumentException  alpha is 0.0 or -0.0: "Division by zero error"
    LINTRIX_EXPORT friend Matrix operator/(const Matrix& A, double alpha);
    static Matrix Divide(const Matrix& A, double alpha) { return A / alpha; }

    /// The caller's function on each cell x of a copy, in block order. In the indexed forms `index1` is the
    /// column and `index2` the row, against the order of `Item`: functions written for that order must keep
    /// working. What the function makes of this object does not show in the result. A failure of the function
    /// travels out.
    Matrix ApplyFunction(const DoubleFunction1Dbl& function) const;                         ///< f(x)
    Matrix ApplyFunction(const DoubleFunction2Dbl& function, double value2) const;          ///< f(x, value2)
    Matrix ApplyFunction(const DoubleFunction1Dbl1Int& function, std::int32_t value) const; ///< f(x, value)
    Matrix ApplyFunction(const DoubleFunction1Dbl2Int& function) const; ///< f(x, col, row)
    Matrix ApplyFunction(const DoubleFunction2Dbl2Int& function,
                         double value2) const; ///< f(x, value2, col, row)
    /// @}

    /// @name Products
    /// Through `dgemm` and `dgemv` for every size; no transposed copy is formed.
    /// @throws SizeMismatchException  inner sizes differ: "Matrix sizes do not match."
    /// @{

    LINTRIX_EXPORT friend Matrix operator*(const Matrix& A, const Matrix& B);
    static Matrix Multiply(const Matrix& A, const Matrix& B) { return A * B; }
    Matrix Times(const Matrix& B) const { return *this * B; }
    /// A*x: A.Rows() elements from A.Cols().
    LINTRIX_EXPORT friend Vector operator*(const Matrix& A, const Vector& x);
    static Vector Multiply(const Matrix& A, const Vector& x);
    /// x'*A: A.Cols() elements from A.Rows().
    LINTRIX_EXPORT friend Vector operator*(const Vector& x, const Matrix& A);
    static Vector Multiply(const Vector& x, const Matrix& A);
    /// A*x as a matrix of one column.
    Matrix Times(const Vector& x) const;

    /// C := alpha*op(A)*op(B) + beta*C in place. With beta = 0 the old C is not read. C must not be A or B,
    /// and a mode outside the three members is not guarded (the hardened build refuses both).
    /// @throws SizeMismatchException  inner sizes differ: "Matrix sizes do not match."; then the shape of C:
    ///         "Incorrect size for matrix C."
    static void Multiply(double alpha, TransposeMode transA, const Matrix& A, TransposeMode transB,
                         const Matrix& B, double beta, Matrix& C);
    /// y := alpha*op(A)*x + beta*y in place; every mode but `NotTransposed` means transposed. y must not be
    /// x.
    /// @throws SizeMismatchException  length of x, then of y: "Matrix sizes do not match."
    static void Multiply(double alpha, TransposeMode transA, const Matrix& A, const Vector& x, double beta,
                         Vector& y);
    /// alpha*A*B + beta*C as a new matrix. A C of another shape is no failure: it is cut or zero-filled at
    /// its own coordinates. Callers rely on that, so it stays; the form with a target in place refuses it.
    static Matrix Multiply(double alpha, const Matrix& A, const Matrix& B, double beta, const Matrix& C);

    /// A new Cols() x Rows() matrix.
    Matrix Transpose() const;
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
    /// The determinant through `LU`, a plain product of pivots: it may overflow or underflow.
    /// @throws NotSquareMatrixException  "Determinant can be calculated only for a square matrix."
    double Determinant() const;
    /// X with A*X = rightHands, Cols() x columns of rightHands: square by `LU`, tall in the least-squares
    /// sense by `QR`, wide by `LQ`. An exactly singular square matrix goes on to `LQ` without a failure, and
    /// its result may hold cells that are not finite: callers rely on getting a matrix, and learn of it by
    /// the form below. Of a tall or wide system with several right-hand columns only the first column of the
    /// result is settled (see `QR::Solve`, `LQ::Solve`).
    /// @throws SizeMismatchException  row counts differ: "Right hand sides matrix not sized correctly."
    Matrix Solve(const Matrix& rightHands) const;
    /// The same, and tells which factorization answered: the way to learn that a square system was singular.
    Matrix Solve(const Matrix& rightHands, SolveRoad& road) const;
    /// X with A*X = B.
    /// @throws SizeMismatchException  "Matrices do not have the same number of rows."
    static Matrix LDivide(const Matrix& A, const Matrix& B);
    /// How many singular values exceed max(m, n)*s[0]*2^-52 (see `SVD::Rank`).
    /// @throws OperationFailedException  the iteration did not converge: "Operation has failed to complete."
    std::int32_t Rank() const;
    /// Cols() x Rows(), through `SVD::PseudoInverse`. @throws OperationFailedException  as above
    Matrix PseudoInverse() const;
    Matrix PseudoInverse(double tolerance) const;
    /// X with X*B = A.
    /// @throws SizeMismatchException  "Matrices do not have ths same number of columns."
    LINTRIX_EXPORT friend Matrix operator/(const Matrix& A, const Matrix& B);
    static Matrix Divide(const Matrix& A, const Matrix& B) { return A / B; }
    /// @}

    /// @name Rows, columns and parts
    /// An index is tested before anything else, the first before the second.
    /// @throws IndexOutOfBoundsException  "Row index exceeds matrix size."; "Column index exceeds matrix
    /// size."
    /// @{

    /// The first cells of the row; a shorter source leaves the rest as it was, the excess of a longer is
    /// ignored.
    void SetRow(std::int32_t row, const Vector& x);
    void SetRow(std::int32_t row, std::span<const double> values);
    void SetRow(std::int32_t row, const std::vector<double>& values) { SetRow(row, std::span(values)); }
    void SetRow(std::int32_t row, std::initializer_list<double> values)
    {
        SetRow(row, std::span(values.begin(), values.size()));
    }
    /// Cell in column j := j*step + start.
    void SetRow(std::int32_t row, double start, double step);
    void SetRow(std::int32_t row, double value);
    /// As for rows.
    void SetColumn(std::int32_t col, const Vector& x);
    void SetColumn(std::int32_t col, std::span<const double> values);
    void SetColumn(std::int32_t col, const std::vector<double>& values) { SetColumn(col, std::span(values)); }
    void SetColumn(std::int32_t col, std::initializer_list<double> values)
    {
        SetColumn(col, std::span(values.begin(), values.size()));
    }
    void SetColumn(std::int32_t col, double start, double step);
    void SetColumn(std::int32_t col, double value);

    Vector RowVector(std::int32_t row) const;
    Vector ColVector(std::int32_t col) const;
    /// min(Rows(), Cols()) cells; the matrix need not be square.
    Vector Diagonal() const;

    void SwapRows(std::int32_t row1, std::int32_t row2);
    void SwapCols(std::int32_t col1, std::int32_t col2);

    /// Both ends are inclusive; a start above its end gives the part in reverse order.
    Matrix SubMatrix(std::int32_t startRow, std::int32_t endRow, std::int32_t startCol,
                     std::int32_t endCol) const;

    /// A and B side by side, or one above the other; zeros where the smaller one ends. Never fails on sizes.
    /// Empty for a mode outside the two members.
    static std::optional<Matrix> Concatenate(const Matrix& A, const Matrix& B, ConcatenateMode mode);
    static Matrix Concatenate(const Matrix& A, const Matrix& B);

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

    /// Row (column) i moves to place `pivots`[i]. Replaces the block. That the values are a permutation is
    /// the caller's duty; the hardened build checks it.
    /// @throws SizeMismatchException  another length: "Array size does not match."
    void ReorderRows(std::span<const std::int32_t> pivots);
    void ReorderRows(std::initializer_list<std::int32_t> pivots)
    {
        ReorderRows(std::span(pivots.begin(), pivots.size()));
    }
    void ReorderCols(std::span<const std::int32_t> pivots);
    void ReorderCols(std::initializer_list<std::int32_t> pivots)
    {
        ReorderCols(std::span(pivots.begin(), pivots.size()));
    }
    /// @}

    /// @name Deleting and inserting
    /// Replace the block. The only row or column cannot be deleted; an index of Rows() (Cols()) appends
    /// zeros.
    /// @throws IndexOutOfBoundsException  "Row or column index exceeds matrix size."
    /// @{
    void DeleteRow(std::int32_t row);
    void DeleteColumn(std::int32_t column);
    void InsertRow(std::int32_t index);
    void InsertColumn(std::int32_t index);
    /// @}

    /// @name Reductions
    /// Indices fail as in the section on rows and columns.
    /// @{

    double Norm(NormType type) const;
    /// Sum of the cells (i, i); the matrix need not be square.
    double Trace() const;
    /// Running sums in order.
    double RowSum(std::int32_t rowIndex) const;
    double ColSum(std::int32_t colIndex) const;
    double RowsDotProduct(std::int32_t row1, std::int32_t row2) const;
    double ColsDotProduct(std::int32_t col1, std::int32_t col2) const;
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

    /// Square, and no pair (i, j), (j, i) differs by more than `tolerance`, 1e-9 if not given; a NaN
    /// difference passes.
    bool IsSymmetric() const { return IsSymmetric(1e-09); }
    bool IsSymmetric(double tolerance) const;
    /// No cell differs by more than |tolerance|, 1e-9 if not given; a NaN difference passes. The blocks are
    /// compared as far as this object has cells, and the shapes are not: callers compare reshaped copies so.
    /// `A` must have as many cells (the hardened build checks it); `operator==` looks at the shape.
    bool IsEqual(const Matrix& A) const { return IsEqual(A, 1e-09); }
    bool IsEqual(const Matrix& A, double tolerance) const;
    bool HasINFs() const;
    bool HasNaNs() const;
    /// The opposite of what the name says, and of `Vector::IsFinite`: true if some cell is infinite or NaN,
    /// false if there is none. Callers test for it as it is, so it stays; `!HasINFs() && !HasNaNs()` asks for
    /// finiteness.
    bool IsFinite() const;
    /// @}

    /// @name Text
    /// One line a row: `leftBorder`, the cells with `separator` between them, each padded on the left to
    /// the width of the widest cell of the matrix, and `rightBorder`, or `endMatrix` alone after the last
    /// row. Not given, they are "F3", " ", "| ", " |\n" and " |\n". Formats are those of `FormatNumber`;
    /// without a locale, that of `std::locale()`. Each cell is formatted once, the result is allocated once.
    /// @throws FormatException  "Format specifier was invalid."
    /// @{

    std::string ToString() const;
    std::string ToString(std::string_view format) const;
    std::string ToString(std::string_view format, std::string_view separator) const;
    std::string ToString(std::string_view format, std::string_view separator, std::string_view leftBorder,
                         std::string_view rightBorder, std::string_view endMatrix) const;
    std::string ToString(const std::locale& provider, std::string_view format) const;
    std::string ToString(const std::locale& provider, std::string_view format, std::string_view separator,
                         std::string_view leftBorder, std::string_view rightBorder,
                         std::string_view endMatrix) const;
    /// Writes `ToString()`.
    LINTRIX_EXPORT friend std::ostream& operator<<(std::ostream& out, const Matrix& matrix);
    /// @}

    /// @name Bytes and archive
    /// @{

    /// Rows() and Cols() as 32-bit numbers, then the block, in the machine's byte order.
    /// @throws NotSupportedException  the block does not fit: "The byte form holds at most 2147483647 bytes."
    std::vector<std::byte> Data() const;
    /// Reads that form: `Resize`, then the cells. A surplus is ignored. An array that ends before its cells
    /// do fails with the object resized and the cells that are there written; callers use what is there.
    /// @throws IndexOutOfRangeException  too short; without a whole header nothing has changed
    /// @throws InvalidSizeException      a new size outside 1 to MaxSize, or of more than 2^31 - 1 cells;
    /// nothing has changed
    /// @throws NotEnoughMemoryException  there is no memory for the size; nothing has changed
    void Data(std::span<const std::byte> data);
    /// Adds "Rows", "Cols" (32-bit numbers) and "Data" (the cells in block order).
    void GetObjectData(SerializationInfo& info, const StreamingContext& context) const;
    /// @}

    /// @name Identity
    /// Cells are compared as numbers, with no tolerance and no shortcut for the same object: 0.0 equals -0.0,
    /// and an object that holds a NaN is not equal to itself.
    /// @{

    /// Rows() and the number of cells, exclusive-or'ed with the two halves of every cell: the order of the
    /// cells does not matter, and pairs of equal cells cancel.
    std::int32_t GetHashCode() const;
    LINTRIX_EXPORT friend bool operator==(const Matrix& A, const Matrix& B);
    /// As with the matrix of that array, whatever its lower bounds; no failure for an array without elements.
    LINTRIX_EXPORT friend bool operator==(const Matrix& A, const Array2D<double>& array);
    /// Null equals null and nothing else. `operator!=` and its like are the negation.
    static bool Equals(const Matrix* A, const Matrix* B) { return A && B ? *A == *B : A == B; }
    bool Equals(const Matrix& object) const { return *this == object; }
    bool Equals(const Matrix* object) const { return object && *this == *object; }
    /// What the holder holds decides; an empty one, or one of another class, is not equal.
    bool Equals(const std::any& object) const { return Equals(std::any_cast<Matrix>(&object)); }
    bool Equals(const std::optional<Matrix>& object) const { return object && *this == *object; }
    /// False: an object of another class, a vector among them.
    template <AnotherClass<Matrix> T>
    bool Equals(const T&) const
    {
        return false;
    }
    /// @}

protected:
    friend struct detail::ArchiveAccess;

    /// Restores what `GetObjectData` wrote; `FromArchive` is the way here.
    /// @throws SerializationException    a key is missing or of another type
    /// @throws InvalidSizeException      rows, then columns, outside 1 to MaxSize, or more than 2^31 - 1
    /// cells
    /// @throws IndexOutOfRangeException  "Data" is short; a surplus is ignored
    Matrix(const SerializationInfo& info, const StreamingContext& context);

private:
    friend struct detail::DenseAccess;

    struct Uninitialised {};
    /// A result, all of whose cells are to be written; sizes may be sums of two.
    Matrix(Uninitialised, std::int64_t rows, std::int64_t cols);
    /// Adopts the block, which holds rows*cols cells.
    Matrix(detail::Block<double>&& block, std::int32_t rows, std::int32_t cols) noexcept;

    using CellCount = std::int32_t (*)(std::int32_t rows, std::int32_t cols);
    void resizeTo(std::int32_t rows, std::int32_t cols, CellCount count);
    /// Takes over a finished block of another size or order.
    void commit(detail::Block<double>&& block, std::int64_t rows, std::int64_t cols) noexcept;
    void swap(Matrix& other) noexcept;
    template <class Function>
    Matrix applied(Function function) const;
    void requireRow(std::int32_t row) const
    {
        if (row < 0 || row >= mRows) detail::raiseRowIndex();
    }
    void requireColumn(std::int32_t col) const
    {
        if (col < 0 || col >= mCols) detail::raiseColumnIndex();
    }
    detail::Line<double> rowLine(std::int32_t row);
    detail::Line<const double> rowLine(std::int32_t row) const;
    detail::Line<double> columnLine(std::int32_t col);
    detail::Line<const double> columnLine(std::int32_t col) const;
    double* column(std::int64_t col) { return cells() + mRows * col; }
    const double* column(std::int64_t col) const { return cells() + mRows * col; }
    detail::BlockView<double> view() const;
    double* cells() { return detail::kept(a); }
    const double* cells() const { return detail::kept(a); }
    std::int64_t offset(std::int32_t row, std::int32_t col) const
    {
        requireRow(row);
        requireColumn(col);
        return row + std::int64_t{mRows} * col;
    }

    std::int32_t mRows;
    std::int32_t mCols;
    std::int32_t mCells; ///< mRows*mCols in wrapping arithmetic
    detail::Block<double> a;
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
