#pragma once
/// @file
/// What the dense matrices are whatever their cells: `Matrix` of doubles, `CMatrix` of complex numbers.
///
/// Element (r, c), counted from 0, stands at block offset r + Rows()*c: column-major, unpadded, the row count
/// is always the leading dimension. Each object owns its block alone; parts of a matrix are copied out,
/// or seen through views.

#include <lintrix/dense/detail/dense_classes.h>
#include <lintrix/dense/detail/kept.h>
#include <lintrix/dense/views.h>
#include <lintrix/foundation/array2d.h>
#include <lintrix/foundation/block.h>
#include <lintrix/foundation/capabilities.h>
#include <lintrix/foundation/enumerations.h>
#include <lintrix/foundation/function_objects.h>
#include <lintrix/services/export.h>

#include <any>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <iosfwd>
#include <locale>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail {

template <class Cell>
struct LINTRIX_TESTABLE AccessTo;
template <class Cell>
struct BlockView;
template <class Cell>
struct Line;
[[noreturn]] LINTRIX_EXPORT void raiseRowIndex();
[[noreturn]] LINTRIX_EXPORT void raiseColumnIndex();

/// The members that mean the same for both kinds of cells. `Matrix` and `CMatrix` have what differs, and what
/// only one of them has.
///
/// Rows and columns are each checked against 1 and `TrellConfiguration::MaxSize()`; the cell count is their
/// product in wrapping 32-bit arithmetic and is not checked (the hardened build refuses one that wraps). An
/// object is used by one thread at a time; concurrent reading is safe.
///
/// Allocation raises NotEnoughMemoryException with its default message, in every member that makes a block; a
/// failing member leaves the object as it was.
template <class Cell>
class LINTRIX_EXPORT DenseMatrix {
    using M = MatrixOf<Cell>;
    using V = VectorOf<Cell>;

public:
    /// @name Construction
    /// The size check, where there is one: `rows`, then `cols`, from 1 to MaxSize, before anything is
    /// allocated.
    /// @throws InvalidSizeException  "Invalid number of rows or columns."
    /// @{

    /// 3 x 3 zeros.
    DenseMatrix();
    /// rows x cols zeros. Explicit, so that a list of numbers is never taken for a size.
    explicit DenseMatrix(std::int32_t rows, std::int32_t cols);
    /// Zeros, then `diagonal` at block offsets 0, rows+1, 2(rows+1), ... to the end of the block: in a matrix
    /// wider than rows+1 the diagonal starts again in column rows+1. Callers build repeated diagonals so, and
    /// it stays; for one diagonal alone make a square matrix and resize it.
    explicit DenseMatrix(std::int32_t rows, std::int32_t cols, Cell diagonal);
    /// Ones on the diagonal of size x size zeros.
    static M Identity(std::int32_t size) { return M(size, size, Cell(1.0)); }
    /// All elements of `array`.
    DenseMatrix(const Array2D<Cell>& array);
    /// `Matrix{{1, 2}, {3, 4}}`, `CMatrix{{1, 2}, {3, {4, 5}}}`, row after row; the last element of the
    /// second is 4 + 5i. @throws ArgumentException  ragged rows
    DenseMatrix(std::initializer_list<std::initializer_list<Cell>> rows) : DenseMatrix(Array2D<Cell>(rows)) {}
    /// rows x cols zeros with the overlap of `array` copied in; its excess is ignored.
    DenseMatrix(const Array2D<Cell>& array, std::int32_t rows, std::int32_t cols);
    /// `array` read row after row; missing cells are zero, surplus values are ignored.
    /// @throws IndexOutOfRangeException  the array is empty: the first value is read before the length is
    /// looked at
    DenseMatrix(std::span<const Cell> array, std::int32_t rows, std::int32_t cols);
    DenseMatrix(std::initializer_list<Cell> array, std::int32_t rows, std::int32_t cols)
        : DenseMatrix(std::span(array.begin(), array.size()), rows, cols)
    {
    }
    /// `RowMajor`: as above. `ColumnMajor`: the first min(length, cells) values in block order, none for an
    /// empty array. Any other order: all zero.
    DenseMatrix(std::span<const Cell> array, std::int32_t rows, std::int32_t cols, StorageOrder order);
    DenseMatrix(std::initializer_list<Cell> array, std::int32_t rows, std::int32_t cols, StorageOrder order)
        : DenseMatrix(std::span(array.begin(), array.size()), rows, cols, order)
    {
    }
    /// @}

    /// @name Access
    /// @{

    /// Element (row, col), counted from 0; `row` is tested first.
    /// @throws IndexOutOfBoundsException  "Row index exceeds matrix size."; "Column index exceeds matrix
    /// size."
    Cell Item(std::int32_t row, std::int32_t col) const { return cells()[offset(row, col)]; }
    void Item(std::int32_t row, std::int32_t col, Cell value) { cells()[offset(row, col)] = value; }
    Cell operator()(std::int32_t row, std::int32_t col) const { return Item(row, col); }
    Cell& operator()(std::int32_t row, std::int32_t col) { return cells()[offset(row, col)]; }

    /// The sizes keep answering after release.
    std::int32_t Rows() const noexcept { return mRows; }
    std::int32_t Cols() const noexcept { return mCols; }
    /// `Resize(value, Cols())` if the value differs; likewise for the columns.
    void Rows(std::int32_t value);
    void Cols(std::int32_t value);
    bool IsSquare() const noexcept { return mRows == mCols; }
    /// Address of the block, for a caller's own native code: complex cells are real and imaginary parts in
    /// turn. Good until the block is replaced or released.
    std::intptr_t DataPtr() const noexcept { return reinterpret_cast<std::intptr_t>(a.get()); }
    /// A zero-based Rows() x Cols() array.
    Array2D<Cell> ToArray() const;
    operator Array2D<Cell>() const { return ToArray(); }
    /// @}

    /// @name Cells as a range, and views
    /// The cells in block order, column after column, for the standard library: `std::span<double> cells =
    /// A`, `std::ranges::sort(A)`. A released matrix has none. Good until the block is replaced or released,
    /// as the views are (see `lintrix/dense/views.h`); no view is made of a temporary.
    /// @{

    Cell* data() noexcept { return a.get(); }
    const Cell* data() const noexcept { return a.get(); }
    std::size_t size() const noexcept { return a ? static_cast<std::size_t>(mCells) : 0; }
    bool empty() const noexcept { return size() == 0; }
    Cell* begin() noexcept { return a.get(); }
    const Cell* begin() const noexcept { return a.get(); }
    Cell* end() noexcept { return a.get() + size(); }
    const Cell* end() const noexcept { return a.get() + size(); }

    /// All of it, or `rows` x `cols` cells from (row, col) on.
    /// @throws IndexOutOfBoundsException  "A block of 2 x 2 cells from (2, 3) on exceeds a 3 x 4 matrix."
    MatrixView<Cell> View() & { return {cells(), mRows, mCols, mRows, BlockWitness(a.get())}; }
    MatrixView<const Cell> View() const& { return {cells(), mRows, mCols, mRows, BlockWitness(a.get())}; }
    void View() const&& = delete;
    MatrixView<Cell> View(std::int32_t row, std::int32_t col, std::int32_t rows, std::int32_t cols) &
    {
        return View().View(row, col, rows, cols);
    }
    MatrixView<const Cell> View(std::int32_t row, std::int32_t col, std::int32_t rows,
                                std::int32_t cols) const&
    {
        return View().View(row, col, rows, cols);
    }
    void View(std::int32_t, std::int32_t, std::int32_t, std::int32_t) const&& = delete;
    /// @throws IndexOutOfBoundsException  "Row 5 is outside 3 rows."; "Column 4 is outside 4 columns."
    VectorView<Cell> RowView(std::int32_t row) & { return View().RowView(row); }
    VectorView<const Cell> RowView(std::int32_t row) const& { return View().RowView(row); }
    void RowView(std::int32_t) const&& = delete;
    VectorView<Cell> ColView(std::int32_t col) & { return View().ColView(col); }
    VectorView<const Cell> ColView(std::int32_t col) const& { return View().ColView(col); }
    void ColView(std::int32_t) const&& = delete;
    /// min(Rows(), Cols()) cells.
    VectorView<Cell> DiagonalView() & { return View().DiagonalView(); }
    VectorView<const Cell> DiagonalView() const& { return View().DiagonalView(); }
    void DiagonalView() const&& = delete;
    /// @}

    /// @name Life
    /// @{

    /// An independent copy.
    M Clone() const { return self(); }
    /// The cloneable capability: holds a `Matrix`, of complex cells a `CMatrix`.
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
        std::memset(static_cast<void*>(cells()), 0, static_cast<std::size_t>(mCells) * sizeof(Cell));
    }
    /// Every kept element keeps its (row, column), new cells are zero. The same size returns at once and
    /// keeps the block; another replaces it. @throws InvalidSizeException  as the constructors
    void Resize(std::int32_t rows, std::int32_t cols);
    /// Each cell in block order, of a complex one its real part first: u*(upperBound - lowerBound) +
    /// lowerBound with u uniform in [0, 1) from the shared generator, rounded to `decimals` digits.
    /// `decimals` is 0 where it is not given, so a fill between 0 and 1 yields only those two: for fractions
    /// give it. Callers rely on the whole numbers, so the default stays. No bound is checked.
    /// @throws ArgumentOutOfRangeException  decimals outside 0 to 15; the block is untouched
    void FillRandom() { FillRandom(0.0, 10.0, 0); }
    void FillRandom(double lowerBound, double upperBound) { FillRandom(lowerBound, upperBound, 0); }
    void FillRandom(double lowerBound, double upperBound, std::int32_t decimals);
    /// @}

    /// @name Sums and element-wise operations
    /// New matrices; the operands stay as they are. Shapes are compared rows first.
    /// @throws SizeMismatchException  shapes differ: "Matrix sizes do not match."
    /// @{

    friend M operator+(const M& A, const M& B) { return Add(A, B); }
    friend M operator-(const M& A, const M& B) { return Subtract(A, B); }
    friend M operator-(const M& A) { return Negate(A); }
    /// `A` itself, not a copy: a change made through the result shows in `A`.
    friend const M& operator+(const M& A) noexcept { return A; }
    friend M& operator+(M& A) noexcept { return A; }
    friend M operator+(M&& A) noexcept { return std::move(A); }
    static M Plus(const M& matrix) { return matrix; }
    static M Negate(const M& matrix);
    static M Add(const M& A, const M& B);
    static M Subtract(const M& A, const M& B);
    /// Cell-by-cell product; of complex cells by the plain formula (re*re - im*im, im*re + re*im), without a
    /// look for infinities.
    static M HadamardProduct(const M& A, const M& B);
    /// alpha / cell, of complex cells by LAPACK's `dladiv`; no inverse is involved. A zero cell is divided
    /// by, too, and gives an infinity or NaN.
    friend M operator/(Cell alpha, const M& A) { return Divide(alpha, A); }
    static M Divide(Cell alpha, const M& A);
    /// cell*alpha, through `dscal` or `zscal`.
    friend M operator*(const M& A, Cell alpha) { return Multiply(A, alpha); }
    friend M operator*(Cell alpha, const M& A) { return Multiply(A, alpha); }
    static M Multiply(const M& A, Cell alpha);
    M Times(Cell alpha) const { return Multiply(self(), alpha); }
    /// cell*(1/alpha), with the reciprocal of `std::complex` for complex cells: the reciprocal is multiplied,
    /// so 49.0 / 49.0 is 0.9999999999999999. Results are compared bit by bit with stored ones, so it is not a
    /// quotient.
    /// @throws ArgumentException  alpha is zero, whatever its signs: "Division by zero error"
    friend M operator/(const M& A, Cell alpha) { return Divide(A, alpha); }
    static M Divide(const M& A, Cell alpha);

    /// The same in place, bit for bit: `A += B` is `A = A + B` without a new block, also with B the same
    /// matrix.
    /// @throws SizeMismatchException  "Matrix sizes do not match: 2 x 3 plus 3 x 2."; A is unchanged
    M& operator+=(const M& B);
    M& operator-=(const M& B);
    M& operator*=(Cell alpha);
    /// @throws ArgumentException  as `A / alpha`
    M& operator/=(Cell alpha);

    /// The caller's function on each cell x of a copy, in block order. In the indexed forms `index1` is the
    /// column and `index2` the row, against the order of `Item`: functions written for that order must keep
    /// working. What the function makes of this object does not show in the result. A failure of the function
    /// travels out. Of real cells they take `DoubleFunction1Dbl` and its like, of complex ones
    /// `ComplexFunction1Cmp` and its like.
    M ApplyFunction(const FunctionObject<Cell(Cell)>& function) const;                    ///< f(x)
    M ApplyFunction(const FunctionObject<Cell(Cell, Cell)>& function, Cell value2) const; ///< f(x, value2)
    M ApplyFunction(const FunctionObject<Cell(Cell, std::int32_t)>& function,
                    std::int32_t value) const; ///< f(x, value)
    M ApplyFunction(
        const FunctionObject<Cell(Cell, std::int32_t, std::int32_t)>& function) const; ///< f(x, col, row)
    M ApplyFunction(const FunctionObject<Cell(Cell, Cell, std::int32_t, std::int32_t)>& function,
                    Cell value2) const; ///< f(x, value2, col, row)
    /// @}

    /// @name Products
    /// Through `dgemm` and `dgemv`, or `zgemm` and `zgemv`, for every size; no transposed copy is formed. The
    /// products that the twins answer differently stand in their classes.
    /// @throws SizeMismatchException  inner sizes differ: "Matrix sizes do not match."
    /// @{

    friend M operator*(const M& A, const M& B) { return Multiply(A, B); }
    static M Multiply(const M& A, const M& B);
    M Times(const M& B) const { return Multiply(self(), B); }
    /// A*x: A.Rows() elements from A.Cols().
    friend V operator*(const M& A, const V& x) { return A.times(x); }
    /// A*x as a matrix of one column.
    M Times(const V& x) const;
    /// x'*A, nothing conjugated: A.Cols() elements from A.Rows().
    static V Multiply(const V& x, const M& A);

    /// C := alpha*op(A)*op(B) + beta*C in place; `ConjugateTransposed` conjugates complex cells. With beta =
    /// 0 the old C is not read. C must not be A or B, and a mode outside the three members is not guarded
    /// (the hardened build refuses both).
    /// @throws SizeMismatchException  inner sizes differ: "Matrix sizes do not match."; then the shape of C:
    ///         "Incorrect size for matrix C."
    static void Multiply(Cell alpha, TransposeMode transA, const M& A, TransposeMode transB, const M& B,
                         Cell beta, M& C);
    /// y := alpha*op(A)*x + beta*y in place; every mode but `NotTransposed` transposes, and
    /// `ConjugateTransposed` conjugates complex cells. y must not be x.
    /// @throws SizeMismatchException  length of x, then of y: "Matrix sizes do not match."
    static void Multiply(Cell alpha, TransposeMode transA, const M& A, const V& x, Cell beta, V& y);

    /// `A = A * B`: the product goes to a new block, so B may be A.
    /// @throws SizeMismatchException  "Matrix sizes do not match: 2 x 3 times 4 x 1."; A is unchanged
    M& operator*=(const M& B);

    /// A new Cols() x Rows() matrix, nothing conjugated.
    M Transpose() const;
    /// @}

    /// @name Systems of equations
    /// Each runs a decomposition on a private copy. O(n^3).
    /// @{

    /// The determinant through `LU` (`CLU`), a plain product of pivots: it may overflow or underflow.
    /// @throws NotSquareMatrixException  "Determinant can be calculated only for a square matrix."
    Cell Determinant() const;
    /// X with A*X = rightHands, Cols() x columns of rightHands: square by `LU`, tall in the least-squares
    /// sense by `QR`, wide by `LQ`. An exactly singular square matrix goes on to `LQ` without a failure, and
    /// its result may hold cells that are not finite: callers rely on getting a matrix, and learn of it by
    /// the form below. Of a tall or wide system with several right-hand columns only the first column of the
    /// result is settled (see `QR::Solve`, `LQ::Solve`).
    ///
    /// Of complex cells by `CLU`, `CQR` and `CLQ`, of which the last two answer otherwise than their real
    /// twins: for systems that are not square, or singular, take `PseudoInverse()*rightHands`.
    /// @throws SizeMismatchException  row counts differ: "Right hand sides matrix not sized correctly."
    M Solve(const M& rightHands) const;
    /// The same, and tells which factorization answered: the way to learn that a square system was singular.
    M Solve(const M& rightHands, SolveRoad& road) const;
    /// X with A*X = B.
    /// @throws SizeMismatchException  "Matrices do not have the same number of rows."
    static M LDivide(const M& A, const M& B);
    /// X with X*B = A; complex matrices are transposed, not conjugated, on the way.
    /// @throws SizeMismatchException  "Matrices do not have ths same number of columns."
    friend M operator/(const M& A, const M& B) { return Divide(A, B); }
    static M Divide(const M& A, const M& B);
    /// @}

    /// @name Rows, columns and parts
    /// An index is tested before anything else, the first before the second.
    /// @throws IndexOutOfBoundsException  "Row index exceeds matrix size."; "Column index exceeds matrix
    /// size."
    /// @{

    /// The first cells of the row; a shorter source leaves the rest as it was, the excess of a longer is
    /// ignored. Braces hold cells: `{3, 4}` are two of them, 3 + 4i is `Complex(3, 4)`.
    void SetRow(std::int32_t row, const V& x);
    void SetRow(std::int32_t row, std::span<const Cell> values);
    void SetRow(std::int32_t row, const std::vector<Cell>& values) { SetRow(row, std::span(values)); }
    void SetRow(std::int32_t row, std::initializer_list<Cell> values)
    {
        SetRow(row, std::span(values.begin(), values.size()));
    }
    /// Cell in column j := j*step + start.
    void SetRow(std::int32_t row, Cell start, Cell step);
    void SetRow(std::int32_t row, Cell value);
    /// As for rows.
    void SetColumn(std::int32_t col, const V& x);
    void SetColumn(std::int32_t col, std::span<const Cell> values);
    void SetColumn(std::int32_t col, const std::vector<Cell>& values) { SetColumn(col, std::span(values)); }
    void SetColumn(std::int32_t col, std::initializer_list<Cell> values)
    {
        SetColumn(col, std::span(values.begin(), values.size()));
    }
    void SetColumn(std::int32_t col, Cell start, Cell step);
    void SetColumn(std::int32_t col, Cell value);

    V RowVector(std::int32_t row) const;
    V ColVector(std::int32_t col) const;
    /// min(Rows(), Cols()) cells; the matrix need not be square.
    V Diagonal() const;

    void SwapRows(std::int32_t row1, std::int32_t row2);
    void SwapCols(std::int32_t col1, std::int32_t col2);

    /// Both ends are inclusive; a start above its end gives the part in reverse order.
    M SubMatrix(std::int32_t startRow, std::int32_t endRow, std::int32_t startCol, std::int32_t endCol) const;

    /// A and B side by side, or one above the other; zeros where the smaller one ends. Never fails on sizes.
    /// Empty for a mode outside the two members.
    static std::optional<M> Concatenate(const M& A, const M& B, ConcatenateMode mode);
    static M Concatenate(const M& A, const M& B);

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

    /// Zeros before the old row (column) `index`; Rows() (Cols()) appends them. Replaces the block.
    /// @throws IndexOutOfBoundsException  "Row or column index exceeds matrix size."
    void InsertRow(std::int32_t index);
    void InsertColumn(std::int32_t index);
    /// @}

    /// @name Reductions
    /// Indices fail as in the section on rows and columns.
    /// @{

    /// As the types say, of the magnitudes.
    double Norm(NormType type) const;
    /// Sum of the cells (i, i); the matrix need not be square.
    Cell Trace() const;
    /// Running sums in order.
    Cell RowSum(std::int32_t rowIndex) const;
    Cell ColSum(std::int32_t colIndex) const;
    /// Sums of products, nothing conjugated.
    Cell RowsDotProduct(std::int32_t row1, std::int32_t row2) const;
    Cell ColsDotProduct(std::int32_t col1, std::int32_t col2) const;
    /// @}

    /// @name Tests
    /// Complex cells are compared part by part.
    /// @{

    /// Square, and no pair (i, j), (j, i) differs by more than `tolerance`, 1e-9 if not given; nothing is
    /// conjugated. A NaN difference passes.
    bool IsSymmetric() const { return IsSymmetric(1e-09); }
    bool IsSymmetric(double tolerance) const;
    /// No cell differs by more than |tolerance|, 1e-9 if not given; a NaN difference passes. The blocks are
    /// compared as far as this object has cells, and the shapes are not: callers compare reshaped copies so.
    /// `A` must have as many cells (the hardened build checks it); `operator==` looks at the shape.
    bool IsEqual(const M& A) const { return IsEqual(A, 1e-09); }
    bool IsEqual(const M& A, double tolerance) const;
    /// Some cell, or part of one, is infinite (NaN).
    bool HasINFs() const;
    bool HasNaNs() const;
    /// @}

    /// @name Text
    /// One line a row: `leftBorder`, the cells with `separator` between them, and `rightBorder`, or
    /// `endMatrix` alone after the last row. A complex cell reads "(re,imi)". Each number, a real cell or a
    /// part of a complex one, is padded on the left to the width of the widest of the matrix. Not given, they
    /// are "F3", " ", "| ", " |\n" and " |\n". Formats are those of `FormatNumber`; without a locale, that of
    /// `std::locale()`. Each number is formatted once, the result is allocated once.
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
    friend std::ostream& operator<<(std::ostream& out, const M& matrix) { return matrix.writeTo(out); }
    /// Writes the same table with so many significant digits, as many as each number needs: `ToString("G6")`.
    /// @throws ArgumentOutOfRangeException  "A number has 1 to 17 digits, not 18."
    void Print(std::ostream& out, std::int32_t digits = 6) const;
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
    /// Adds "Rows", "Cols" (32-bit numbers) and "Data" (doubles in block order, of complex cells the real and
    /// imaginary parts in turn).
    void GetObjectData(SerializationInfo& info, const StreamingContext& context) const;
    /// @}

    /// @name Identity
    /// Cells are compared as numbers, part by part, with no tolerance and no shortcut for the same object:
    /// 0.0 equals -0.0, and an object that holds a NaN is not equal to itself.
    /// @{

    /// Rows() and the number of cells, exclusive-or'ed with the two halves of every number, be it a cell or a
    /// part of one: their order does not matter, and pairs of equal ones cancel.
    std::int32_t GetHashCode() const;
    friend bool operator==(const M& A, const M& B) { return A.sameAs(B); }
    /// As with the matrix of that array, whatever its lower bounds; no failure for an array without elements.
    friend bool operator==(const M& A, const Array2D<Cell>& array) { return A.sameAs(array); }
    /// Null equals null and nothing else. `operator!=` and its like are the negation.
    static bool Equals(const M* A, const M* B) { return A && B ? *A == *B : A == B; }
    bool Equals(const M& object) const { return self() == object; }
    bool Equals(const M* object) const { return object && self() == *object; }
    /// What the holder holds decides; an empty one, or one of another class, is not equal.
    bool Equals(const std::any& object) const { return Equals(std::any_cast<M>(&object)); }
    bool Equals(const std::optional<M>& object) const { return object && self() == *object; }
    /// False: an object of another class, the twin or a vector among them.
    template <AnotherClass<M> T>
    bool Equals(const T&) const
    {
        return false;
    }
    /// @}

protected:
    friend struct ArchiveAccess;

    /// Restores what `GetObjectData` wrote; `FromArchive` is the way here.
    /// @throws SerializationException    a key is missing or of another type
    /// @throws InvalidSizeException      rows, then columns, outside 1 to MaxSize, or more than 2^31 - 1
    /// cells
    /// @throws IndexOutOfRangeException  "Data" is short; a surplus is ignored
    DenseMatrix(const SerializationInfo& info, const StreamingContext& context);

    /// One block copy.
    DenseMatrix(const DenseMatrix& matrix);
    /// Takes the block over; `matrix` is left released, its sizes still readable.
    DenseMatrix(DenseMatrix&& matrix) noexcept = default;
    ~DenseMatrix() = default;

private:
    friend M;
    friend struct AccessTo<Cell>;

    struct Uninitialised {};
    /// A result, all of whose cells are to be written; sizes may be sums of two.
    DenseMatrix(Uninitialised, std::int64_t rows, std::int64_t cols);
    /// Adopts the block, which holds rows*cols cells.
    DenseMatrix(Block<Cell>&& block, std::int32_t rows, std::int32_t cols) noexcept;

    const M& self() const noexcept { return static_cast<const M&>(*this); }
    using CellCount = std::int32_t (*)(std::int32_t rows, std::int32_t cols);
    void resizeTo(std::int32_t rows, std::int32_t cols, CellCount count);
    /// Takes over a finished block of another size or order.
    void commit(Block<Cell>&& block, std::int64_t rows, std::int64_t cols) noexcept;
    void swap(DenseMatrix& other) noexcept;
    template <class Function>
    M applied(Function function) const;
    V times(const V& x) const;
    /// `count` is how many rows (columns) may be deleted: all of them, or, where the last must stay, none.
    void deleteRow(std::int32_t row, std::int32_t count);
    void deleteColumn(std::int32_t column, std::int32_t count);
    std::ostream& writeTo(std::ostream& out) const;
    bool sameAs(const DenseMatrix& other) const;
    bool sameAs(const Array2D<Cell>& array) const;

    void requireRow(std::int32_t row) const
    {
        if (row < 0 || row >= mRows) raiseRowIndex();
    }
    void requireColumn(std::int32_t col) const
    {
        if (col < 0 || col >= mCols) raiseColumnIndex();
    }
    Line<Cell> rowLine(std::int32_t row);
    Line<const Cell> rowLine(std::int32_t row) const;
    Line<Cell> columnLine(std::int32_t col);
    Line<const Cell> columnLine(std::int32_t col) const;
    Cell* column(std::int64_t col) { return cells() + mRows * col; }
    const Cell* column(std::int64_t col) const { return cells() + mRows * col; }
    BlockView<Cell> view() const;
    Cell* cells() { return kept(a); }
    const Cell* cells() const { return kept(a); }
    std::int64_t offset(std::int32_t row, std::int32_t col) const
    {
        requireRow(row);
        requireColumn(col);
        return row + std::int64_t{mRows} * col;
    }

    std::int32_t mRows;
    std::int32_t mCols;
    std::int32_t mCells; ///< mRows*mCols in wrapping arithmetic
    Block<Cell> a;
};

} // namespace Velmar::Lintrix::detail
