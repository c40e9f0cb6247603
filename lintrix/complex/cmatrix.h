#pragma once
/// @file
/// The dense complex matrix.
///
/// The twin of `Matrix`: column-major, unpadded, element (r, c), counted from 0, at block offset
/// r + Rows()*c. Where the two differ (the named products with a vector, the product that returns a new
/// matrix, `IsFinite`, deleting the last row, `ZScores`), callers of each rely on what it does, and the
/// members say so.

#include <lintrix/dense/matrix.h>
#include <lintrix/foundation/function_objects.h>

#include <any>
#include <cstddef>
#include <cstdint>
#include <cstring>
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

class CVector;

namespace detail {
struct ComplexAccess;
}

/// A rectangular array of complex numbers.
///
/// Rows and columns are each checked against 1 and `TrellConfiguration::MaxSize()`; the cell count is their
/// product in wrapping 32-bit arithmetic and is not checked (the hardened build refuses one that wraps). An
/// object is used by one thread at a time; concurrent reading is safe.
///
/// Allocation raises NotEnoughMemoryException with its default message, in every member that makes a block; a
/// failing member leaves the object as it was.
class LINTRIX_EXPORT CMatrix {
public:
    /// @name Construction
    /// The size check, where there is one: `rows`, then `cols`, from 1 to MaxSize, before anything is
    /// allocated.
    /// @throws InvalidSizeException  "Invalid number of rows or columns."
    /// @{

    /// 3 x 3 zeros.
    CMatrix();
    /// rows x cols zeros. Explicit, so that a list of numbers is never taken for a size.
    explicit CMatrix(std::int32_t rows, std::int32_t cols);
    /// Zeros, then `diagonal` at block offsets 0, rows+1, 2(rows+1), ... to the end of the block, as
    /// `Matrix`.
    explicit CMatrix(std::int32_t rows, std::int32_t cols, Complex diagonal);
    /// real + i*imaginary. @throws SizeMismatchException  rows, then columns, differ: "Matrix sizes do not
    /// match."
    explicit CMatrix(const Matrix& real, const Matrix& imaginary);
    /// All elements of `array`.
    CMatrix(const Array2D<Complex>& array);
    /// `CMatrix{{1, 2}, {3, {4, 5}}}`, row after row: the last element is 4 + 5i.
    /// @throws ArgumentException  ragged rows
    CMatrix(std::initializer_list<std::initializer_list<Complex>> rows) : CMatrix(Array2D<Complex>(rows)) {}
    /// rows x cols zeros with the overlap of `array` copied in; its excess is ignored. Of braces, name the
    /// type: `{{1, 2}, {3, 4}}` may be an array or the two values 1 + 2i and 3 + 4i of the form below.
    CMatrix(const Array2D<Complex>& array, std::int32_t rows, std::int32_t cols);
    /// `array` read row after row; missing cells are zero, surplus values are ignored.
    /// @throws IndexOutOfRangeException  the array is empty: the first value is read before the length is
    /// looked at
    CMatrix(std::span<const Complex> array, std::int32_t rows, std::int32_t cols);
    CMatrix(std::initializer_list<Complex> array, std::int32_t rows, std::int32_t cols)
        : CMatrix(std::span(array.begin(), array.size()), rows, cols)
    {
    }
    /// `RowMajor`: as above. `ColumnMajor`: the first min(length, cells) values in block order, none for an
    /// empty array. Any other order: all zero.
    CMatrix(std::span<const Complex> array, std::int32_t rows, std::int32_t cols, StorageOrder order);
    CMatrix(std::initializer_list<Complex> array, std::int32_t rows, std::int32_t cols, StorageOrder order)
        : CMatrix(std::span(array.begin(), array.size()), rows, cols, order)
    {
    }
    /// One block copy.
    CMatrix(const CMatrix& matrix);
    /// Takes the block over; `matrix` is left released, its sizes still readable.
    CMatrix(CMatrix&& matrix) noexcept;
    CMatrix& operator=(CMatrix matrix) noexcept;
    ~CMatrix() = default;
    /// @}

    /// @name Access
    /// @{

    /// Element (row, col), counted from 0; `row` is tested first.
    /// @throws IndexOutOfBoundsException  "Row index exceeds matrix size."; "Column index exceeds matrix
    /// size."
    Complex Item(std::int32_t row, std::int32_t col) const { return cells()[offset(row, col)]; }
    void Item(std::int32_t row, std::int32_t col, Complex value) { cells()[offset(row, col)] = value; }
    Complex operator()(std::int32_t row, std::int32_t col) const { return Item(row, col); }
    Complex& operator()(std::int32_t row, std::int32_t col) { return cells()[offset(row, col)]; }

    /// The sizes keep answering after release.
    std::int32_t Rows() const noexcept { return mRows; }
    std::int32_t Cols() const noexcept { return mCols; }
    /// `Resize(value, Cols())` if the value differs; likewise for the columns.
    void Rows(std::int32_t value);
    void Cols(std::int32_t value);
    bool IsSquare() const noexcept { return mRows == mCols; }
    /// Address of the block, real and imaginary parts in turn; good until it is replaced or released.
    std::intptr_t DataPtr() const noexcept { return reinterpret_cast<std::intptr_t>(a.get()); }
    /// The real (imaginary) parts of all cells.
    Matrix Real() const;
    Matrix Imag() const;
    /// A zero-based Rows() x Cols() array.
    Array2D<Complex> ToArray() const;
    operator Array2D<Complex>() const { return ToArray(); }
    /// @}

    /// @name Life
    /// @{

    /// An independent copy.
    CMatrix Clone() const { return *this; }
    /// The cloneable capability: holds a `CMatrix`.
    std::any CloneableClone() const { return Clone(); }
    /// Releases the block at once; may be repeated. Not to use the object afterwards is the caller's duty: no
    /// operation looks (the hardened build does, and raises InvalidOperationException).
    void Dispose() noexcept { a.reset(); }
    /// @}

    /// @name Changes in place
    /// @{

    /// All cells to zero bytes (`CVector::Clear` clears half of its own).
    void Clear()
    {
        std::memset(static_cast<void*>(cells()), 0, static_cast<std::size_t>(mCells) * sizeof(Complex));
    }
    /// Every kept element keeps its (row, column), new cells are zero. The same size returns at once and
    /// keeps the block; another replaces it. @throws InvalidSizeException  as the constructors
    void Resize(std::int32_t rows, std::int32_t cols);
    /// Each cell in block order, its real part first: u*(upperBound - lowerBound) + lowerBound with u uniform
    /// in [0, 1) from the shared generator, rounded to `decimals` digits, which is 0 where it is not given,
    /// as in `Matrix`. No bound is checked.
    /// @throws ArgumentOutOfRangeException  decimals outside 0 to 15; the block is untouched
    void FillRandom() { FillRandom(0.0, 10.0, 0); }
    void FillRandom(double lowerBound, double upperBound) { FillRandom(lowerBound, upperBound, 0); }
    void FillRandom(double lowerBound, double upperBound, std::int32_t decimals);
    /// @}

    /// @name Sums and element-wise operations
    /// New matrices; the operands stay as they are. Shapes are compared rows first.
    /// @throws SizeMismatchException  shapes differ: "Matrix sizes do not match."
    /// @{

    LINTRIX_EXPORT friend CMatrix operator+(const CMatrix& A, const CMatrix& B);
    LINTRIX_EXPORT friend CMatrix operator-(const CMatrix& A, const CMatrix& B);
    LINTRIX_EXPORT friend CMatrix operator-(const CMatrix& A);
    /// `A` itself, not a copy: a change made through the result shows in `A`.
    friend const CMatrix& operator+(const CMatrix& A) noexcept { return A; }
    friend CMatrix& operator+(CMatrix& A) noexcept { return A; }
    friend CMatrix operator+(CMatrix&& A) noexcept { return std::move(A); }
    static CMatrix Plus(const CMatrix& matrix) { return matrix; }
    static CMatrix Negate(const CMatrix& matrix) { return -matrix; }
    static CMatrix Add(const CMatrix& A, const CMatrix& B) { return A + B; }
    static CMatrix Subtract(const CMatrix& A, const CMatrix& B) { return A - B; }
    /// Cell-by-cell product by the plain formula (re*re - im*im, im*re + re*im), without a look for
    /// infinities.
    static CMatrix HadamardProduct(const CMatrix& A, const CMatrix& B);
    /// alpha / cell by LAPACK's `dladiv`, also for a zero cell; no inverse is involved.
    LINTRIX_EXPORT friend CMatrix operator/(Complex alpha, const CMatrix& A);
    static CMatrix Divide(Complex alpha, const CMatrix& A) { return alpha / A; }
    /// cell*alpha, through `zscal`.
    LINTRIX_EXPORT friend CMatrix operator*(const CMatrix& A, Complex alpha);
    friend CMatrix operator*(Complex alpha, const CMatrix& A) { return A * alpha; }
    static CMatrix Multiply(const CMatrix& A, Complex alpha) { return A * alpha; }
    CMatrix Times(Complex alpha) const { return *this * alpha; }
    /// cell*(1/alpha), with the reciprocal of `std::complex`: not a quotient, as in `Matrix`.
    /// @throws ArgumentException  alpha is zero, whatever its signs: "Division by zero error"
    LINTRIX_EXPORT friend CMatrix operator/(const CMatrix& A, Complex alpha);
    static CMatrix Divide(const CMatrix& A, Complex alpha) { return A / alpha; }

    /// The caller's function on each cell x of a copy, in block order. In the indexed forms `index1` is the
    /// column and `index2` the row, against the order of `Item`: functions written for that order must keep
    /// working. What the function makes of this object does not show in the result. A failure of the function
    /// travels out.
    CMatrix ApplyFunction(const ComplexFunction1Cmp& function) const;                 ///< f(x)
    CMatrix ApplyFunction(const ComplexFunction2Cmp& function, Complex value2) const; ///< f(x, value2)
    CMatrix ApplyFunction(const ComplexFunction1Cmp1Int& function, std::int32_t value) const; ///< f(x, value)
    CMatrix ApplyFunction(const ComplexFunction1Cmp2Int& function) const; ///< f(x, col, row)
    CMatrix ApplyFunction(const ComplexFunction2Cmp2Int& function,
                          Complex value2) const; ///< f(x, value2, col, row)
    /// @}

    /// @name Products
    /// Through `zgemm` and `zgemv` for every size; no transposed copy is formed.
    /// @throws SizeMismatchException  inner sizes differ: "Matrix sizes do not match."
    /// @{

    LINTRIX_EXPORT friend CMatrix operator*(const CMatrix& A, const CMatrix& B);
    static CMatrix Multiply(const CMatrix& A, const CMatrix& B) { return A * B; }
    CMatrix Times(const CMatrix& B) const { return *this * B; }
    /// A times B made complex. There is no form with the real matrix on the left.
    LINTRIX_EXPORT friend CMatrix operator*(const CMatrix& A, const Matrix& B);
    static CMatrix Multiply(const CMatrix& A, const Matrix& B) { return A * B; }
    /// A*x: A.Rows() elements from A.Cols().
    LINTRIX_EXPORT friend CVector operator*(const CMatrix& A, const CVector& x);
    /// A*x into a vector of A.Cols() elements: only for a square A, where the operator takes every shape. The
    /// twin in `Matrix` takes every shape; callers of this one find out by it that A is not square.
    static CVector Multiply(const CMatrix& A, const CVector& x);
    /// x'*A into a vector of A.Rows() elements, nothing conjugated: only for a square A, where the named form
    /// takes every shape, and so does this operator for `Matrix`. Callers rely on it as above.
    LINTRIX_EXPORT friend CVector operator*(const CVector& x, const CMatrix& A);
    /// x'*A: A.Cols() elements from A.Rows(), nothing conjugated.
    static CVector Multiply(const CVector& x, const CMatrix& A);
    /// A*x as a matrix of one column.
    CMatrix Times(const CVector& x) const;

    /// C := alpha*op(A)*op(B) + beta*C in place, `ConjugateTransposed` with true conjugation. With beta = 0
    /// the old C is not read. C must not be A or B, and a mode outside the three members is not guarded (the
    /// hardened build refuses both).
    /// @throws SizeMismatchException  inner sizes differ: "Matrix sizes do not match."; then the shape of C:
    ///         "Incorrect size for matrix C."
    static void Multiply(Complex alpha, TransposeMode transA, const CMatrix& A, TransposeMode transB,
                         const CMatrix& B, Complex beta, CMatrix& C);
    /// y := alpha*op(A)*x + beta*y in place; `ConjugateTransposed` conjugates, and every mode but
    /// `NotTransposed` transposes. y must not be x.
    /// @throws SizeMismatchException  length of x, then of y: "Matrix sizes do not match."
    static void Multiply(Complex alpha, TransposeMode transA, const CMatrix& A, const CVector& x,
                         Complex beta, CVector& y);
    /// alpha*A*B + beta*C as a new matrix. A C of another shape fails, where the twin in `Matrix` cuts or
    /// fills it; callers rely on each.
    /// @throws SizeMismatchException  inner sizes, then the shape of C: "Incorrect size for matrix C."
    static CMatrix Multiply(Complex alpha, const CMatrix& A, const CMatrix& B, Complex beta,
                            const CMatrix& C);

    /// A new Cols() x Rows() matrix, nothing conjugated.
    CMatrix Transpose() const;
    /// Every imaginary part negated.
    CMatrix Conjugate() const;
    /// The conjugate transpose, a new Cols() x Rows() matrix.
    CMatrix Adjoint() const;
    /// @}

    /// @name Systems of equations
    /// Each runs a decomposition on a private copy. O(n^3).
    /// @{

    /// The inverse through `CLU`.
    /// @throws NotSquareMatrixException  "Matrix inverse can be calculated only for a square matrix."
    /// @throws SingularMatrixException   exact zero pivot: "Matrix is singular and it can not be inverted."
    CMatrix Inverse() const;
    /// The determinant through `CLU`, a plain product of pivots: it may overflow or underflow.
    /// @throws NotSquareMatrixException  "Determinant can be calculated only for a square matrix."
    Complex Determinant() const;
    /// X with A*X = rightHands, Cols() x columns of rightHands: square by `CLU`, tall by `CQR`, wide or
    /// exactly singular by `CLQ`, which answer otherwise than their real twins: for systems that are not
    /// square, or singular, take `PseudoInverse()*rightHands`.
    /// @throws SizeMismatchException  row counts differ: "Right hand sides matrix not sized correctly."
    CMatrix Solve(const CMatrix& rightHands) const;
    /// The same, and tells which factorization answered.
    CMatrix Solve(const CMatrix& rightHands, SolveRoad& road) const;
    /// X with A*X = B.
    /// @throws SizeMismatchException  "Matrices do not have the same number of rows."
    static CMatrix LDivide(const CMatrix& A, const CMatrix& B);
    /// How many singular values exceed max(m, n)*s[0]*2^-52 (see `CSVD::Rank`); 0 if the iteration did not
    /// converge, where `Matrix` raises a failure.
    std::int32_t Rank() const;
    /// Cols() x Rows(), through `CSVD::PseudoInverse`; empty if the iteration did not converge, where
    /// `Matrix` raises a failure.
    std::optional<CMatrix> PseudoInverse() const;
    std::optional<CMatrix> PseudoInverse(double tolerance) const;
    /// X with X*B = A; transposed, not conjugated, on the way.
    /// @throws SizeMismatchException  "Matrices do not have ths same number of columns."
    LINTRIX_EXPORT friend CMatrix operator/(const CMatrix& A, const CMatrix& B);
    static CMatrix Divide(const CMatrix& A, const CMatrix& B) { return A / B; }
    /// @}

    /// @name Rows, columns and parts
    /// An index is tested before anything else, the first before the second.
    /// @throws IndexOutOfBoundsException  "Row index exceeds matrix size."; "Column index exceeds matrix
    /// size."
    /// @{

    /// The first cells of the row; a shorter source leaves the rest as it was, the excess of a longer is
    /// ignored. Braces hold cells: `{3, 4}` are two of them, 3 + 4i is `Complex(3, 4)`.
    void SetRow(std::int32_t row, const CVector& x);
    void SetRow(std::int32_t row, std::span<const Complex> values);
    void SetRow(std::int32_t row, const std::vector<Complex>& values) { SetRow(row, std::span(values)); }
    void SetRow(std::int32_t row, std::initializer_list<Complex> values)
    {
        SetRow(row, std::span(values.begin(), values.size()));
    }
    /// Cell in column j := j*step + start.
    void SetRow(std::int32_t row, Complex start, Complex step);
    void SetRow(std::int32_t row, Complex value);
    /// As for rows.
    void SetColumn(std::int32_t col, const CVector& x);
    void SetColumn(std::int32_t col, std::span<const Complex> values);
    void SetColumn(std::int32_t col, const std::vector<Complex>& values)
    {
        SetColumn(col, std::span(values));
    }
    void SetColumn(std::int32_t col, std::initializer_list<Complex> values)
    {
        SetColumn(col, std::span(values.begin(), values.size()));
    }
    void SetColumn(std::int32_t col, Complex start, Complex step);
    void SetColumn(std::int32_t col, Complex value);

    CVector RowVector(std::int32_t row) const;
    CVector ColVector(std::int32_t col) const;
    /// min(Rows(), Cols()) cells; the matrix need not be square.
    CVector Diagonal() const;

    void SwapRows(std::int32_t row1, std::int32_t row2);
    void SwapCols(std::int32_t col1, std::int32_t col2);

    /// Both ends are inclusive; a start above its end gives the part in reverse order.
    CMatrix SubMatrix(std::int32_t startRow, std::int32_t endRow, std::int32_t startCol,
                      std::int32_t endCol) const;

    /// A and B side by side, or one above the other; zeros where the smaller one ends. Never fails on sizes.
    /// Empty for a mode outside the two members.
    static std::optional<CMatrix> Concatenate(const CMatrix& A, const CMatrix& B, ConcatenateMode mode);
    static CMatrix Concatenate(const CMatrix& A, const CMatrix& B);

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
    /// Replace the block. The only row or column can be deleted, too, which leaves a matrix of 0 cells
    /// (`Matrix` refuses it): callers take a matrix apart so, and it stays. An index of Rows() (Cols())
    /// appends zeros.
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

    /// As the types say, of the moduli.
    double Norm(NormType type) const;
    /// Sum of the cells (i, i); the matrix need not be square.
    Complex Trace() const;
    /// Running sums in order.
    Complex RowSum(std::int32_t rowIndex) const;
    Complex ColSum(std::int32_t colIndex) const;
    /// Sums of products, nothing conjugated.
    Complex RowsDotProduct(std::int32_t row1, std::int32_t row2) const;
    Complex ColsDotProduct(std::int32_t col1, std::int32_t col2) const;

    /// Each column (row) by itself, in place, as `CVector::Normalize`: unconjugated in `UnitLength`, without
    /// a division by the count in `ZScores`, so that a column ends with length 1 and not with the deviation 1
    /// that `Matrix` gives it. Of a real and an imaginary part of one magnitude, `MaximumOne` takes the first
    /// in the column, but the real one in a row.
    void NormalizeCols(NormalizeMode mode);
    void NormalizeRows(NormalizeMode mode);
    /// @}

    /// @name Tests
    /// @{

    /// Square, and in no pair (i, j), (j, i) do the real or the imaginary parts differ by more than
    /// `tolerance`, 1e-9 if not given; nothing is conjugated. A NaN difference passes.
    bool IsSymmetric() const { return IsSymmetric(1e-09); }
    bool IsSymmetric(double tolerance) const;
    /// The same with the one of each pair conjugated. The diagonal is not looked at: an imaginary part there
    /// does not disqualify, and callers test matrices so whose diagonal carries rounding.
    bool IsHermitian() const { return IsHermitian(1e-09); }
    bool IsHermitian(double tolerance) const;
    /// No part of a cell differs by more than |tolerance|, 1e-9 if not given; a NaN difference passes. The
    /// blocks are compared as far as this object has cells, and the shapes are not: callers compare reshaped
    /// copies so. `A` must have as many cells (the hardened build checks it); `operator==` looks at the
    /// shape.
    bool IsEqual(const CMatrix& A) const { return IsEqual(A, 1e-09); }
    bool IsEqual(const CMatrix& A, double tolerance) const;
    /// Some part of a cell is infinite (NaN).
    bool HasINFs() const;
    bool HasNaNs() const;
    /// True if both parts of all cells are finite: what the name says, and the opposite of
    /// `Matrix::IsFinite`.
    bool IsFinite() const;
    /// @}

    /// @name Text
    /// One line a row: `leftBorder`, the cells with `separator` between them, and `rightBorder`, or
    /// `endMatrix` alone after the last row. A cell reads "(re,imi)", each part padded on the left to the
    /// width of the widest part of the matrix. Not given, they are "F3", " ", "| ", " |\n" and " |\n".
    /// Formats are those of `FormatNumber`; without a locale, that of `std::locale()`. Each part is formatted
    /// once, the result is allocated once.
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
    LINTRIX_EXPORT friend std::ostream& operator<<(std::ostream& out, const CMatrix& matrix);
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
    /// Adds "Rows", "Cols" (32-bit numbers) and "Data" (doubles: real and imaginary parts in turn, in block
    /// order).
    void GetObjectData(SerializationInfo& info, const StreamingContext& context) const;
    /// @}

    /// @name Identity
    /// Cells are compared as numbers, part by part, with no tolerance and no shortcut for the same object:
    /// 0.0 equals -0.0, and an object that holds a NaN is not equal to itself.
    /// @{

    /// Rows() and the number of cells, exclusive-or'ed with the two halves of every part: their order does
    /// not matter, and pairs of equal parts cancel.
    std::int32_t GetHashCode() const;
    LINTRIX_EXPORT friend bool operator==(const CMatrix& A, const CMatrix& B);
    /// As with the matrix of that array, whatever its lower bounds; no failure for an array without elements.
    LINTRIX_EXPORT friend bool operator==(const CMatrix& A, const Array2D<Complex>& array);
    /// Null equals null and nothing else. `operator!=` and its like are the negation.
    static bool Equals(const CMatrix* A, const CMatrix* B) { return A && B ? *A == *B : A == B; }
    bool Equals(const CMatrix& object) const { return *this == object; }
    bool Equals(const CMatrix* object) const { return object && *this == *object; }
    /// What the holder holds decides; an empty one, or one of another class, is not equal.
    bool Equals(const std::any& object) const { return Equals(std::any_cast<CMatrix>(&object)); }
    bool Equals(const std::optional<CMatrix>& object) const { return object && *this == *object; }
    /// False: an object of another class, a `Matrix` or a vector among them.
    template <AnotherClass<CMatrix> T>
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
    CMatrix(const SerializationInfo& info, const StreamingContext& context);

private:
    friend struct detail::ComplexAccess;

    struct Uninitialised {};
    /// A result, all of whose cells are to be written; sizes may be sums of two.
    CMatrix(Uninitialised, std::int64_t rows, std::int64_t cols);
    /// Adopts the block, which holds rows*cols cells.
    CMatrix(detail::Block<Complex>&& block, std::int32_t rows, std::int32_t cols) noexcept;

    /// Takes over a finished block of another size or order.
    void commit(detail::Block<Complex>&& block, std::int64_t rows, std::int64_t cols) noexcept;
    void swap(CMatrix& other) noexcept;
    template <class Function>
    CMatrix applied(Function function) const;
    void requireRow(std::int32_t row) const
    {
        if (row < 0 || row >= mRows) detail::raiseRowIndex();
    }
    void requireColumn(std::int32_t col) const
    {
        if (col < 0 || col >= mCols) detail::raiseColumnIndex();
    }
    detail::Line<Complex> rowLine(std::int32_t row);
    detail::Line<const Complex> rowLine(std::int32_t row) const;
    detail::Line<Complex> columnLine(std::int32_t col);
    detail::Line<const Complex> columnLine(std::int32_t col) const;
    Complex* column(std::int64_t col) { return cells() + mRows * col; }
    const Complex* column(std::int64_t col) const { return cells() + mRows * col; }
    detail::BlockView<Complex> view() const;
    Complex* cells() { return detail::kept(a); }
    const Complex* cells() const { return detail::kept(a); }
    std::int64_t offset(std::int32_t row, std::int32_t col) const
    {
        requireRow(row);
        requireColumn(col);
        return row + std::int64_t{mRows} * col;
    }

    std::int32_t mCols;
    std::int32_t mRows;
    std::int32_t mCells; ///< mRows*mCols in wrapping arithmetic
    detail::Block<Complex> a;
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
