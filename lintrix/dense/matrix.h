#pragma once
/// @file
/// The dense real matrix.
///
/// Element (r, c), counted from 0, stands at block offset r + Rows()*c: column-major, unpadded, the row count
/// is always the leading dimension. Each object owns its block alone; parts of a matrix are copied out.

#include <lintrix/foundation/array2d.h>
#include <lintrix/foundation/block.h>
#include <lintrix/foundation/capabilities.h>
#include <lintrix/foundation/enumerations.h>
#include <lintrix/foundation/function_objects.h>
#include <lintrix/services/hardening.h>

#include <any>
#include <cstdint>
#include <initializer_list>
#include <span>

namespace Velmar::Lintrix {

class Vector;

namespace detail {
struct DenseAccess;
[[noreturn]] LINTRIX_EXPORT void raiseReleased();
[[noreturn]] LINTRIX_EXPORT void raiseRowIndex();
[[noreturn]] LINTRIX_EXPORT void raiseColumnIndex();
} // namespace detail

/// A rectangular array of doubles, at least 1 x 1 while it lives.
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
    /// Zeros, then `diagonal` at block offsets 0, rows+1, 2(rows+1), ... By contract to the end of the block:
    /// in a matrix wider than rows+1 the diagonal starts again in column rows+1.
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
    /// Releases the block at once; may be repeated. By contract no operation looks whether the object was
    /// released (the hardened build does, and raises InvalidOperationException).
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
    /// shared generator, rounded to `decimals` digits. By contract `decimals` is 0 where it is not given, so
    /// a fill between 0 and 1 yields only those two; no bound is checked.
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
    /// cell*(1/alpha): by contract multiplication by the reciprocal, so 49.0 / 49.0 is 0.9999999999999999.
    /// @throws ArgumentException  alpha is 0.0 or -0.0: "Division by zero error"
    LINTRIX_EXPORT friend Matrix operator/(const Matrix& A, double alpha);
    static Matrix Divide(const Matrix& A, double alpha) { return A / alpha; }

    /// The caller's function on each cell x of a copy, in block order. In the indexed forms `index1` is the
    /// column and `index2` the row, by contract against the order of `Item`. A failure of the function
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
    /// alpha*A*B + beta*C as a new matrix. By contract a C of another shape is cut or zero-filled, no
    /// failure.
    static Matrix Multiply(double alpha, const Matrix& A, const Matrix& B, double beta, const Matrix& C);

    /// A new Cols() x Rows() matrix.
    Matrix Transpose() const;
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
    /// sense by `QR`, wide by `LQ`. An exactly singular square matrix goes on to `LQ` by contract: no
    /// failure, non-finite cells included. Of a tall or wide system with several right-hand columns only the
    /// first column of the result is settled (see `QR::Solve`, `LQ::Solve`).
    /// @throws SizeMismatchException  row counts differ: "Right hand sides matrix not sized correctly."
    Matrix Solve(const Matrix& rightHands) const;
    /// The same, and tells which factorization answered: the way to learn that a square system was singular.
    Matrix Solve(const Matrix& rightHands, SolveRoad& road) const;
    /// X with A*X = B.
    /// @throws SizeMismatchException  "Matrices do not have the same number of rows."
    static Matrix LDivide(const Matrix& A, const Matrix& B);
    /// X with X*B = A.
    /// @throws SizeMismatchException  "Matrices do not have ths same number of columns."
    LINTRIX_EXPORT friend Matrix operator/(const Matrix& A, const Matrix& B);
    static Matrix Divide(const Matrix& A, const Matrix& B) { return A / B; }
    /// @}

private:
    friend struct detail::DenseAccess;

    struct Uninitialised {};
    Matrix(Uninitialised, std::int32_t rows, std::int32_t cols);
    /// Adopts the block, which holds rows*cols cells.
    Matrix(detail::Block<double>&& block, std::int32_t rows, std::int32_t cols) noexcept;

    void swap(Matrix& other) noexcept;
    void readRowMajor(std::span<const double> array);
    template <class Function>
    Matrix applied(Function function) const;

    double* cells() const
    {
        if constexpr (detail::kHardened) {
            if (!a) detail::raiseReleased();
        }
        return a.get();
    }
    std::int64_t offset(std::int32_t row, std::int32_t col) const
    {
        if (row < 0 || row >= mRows) detail::raiseRowIndex();
        if (col < 0 || col >= mCols) detail::raiseColumnIndex();
        return row + std::int64_t{mRows} * col;
    }

    std::int32_t mRows;
    std::int32_t mCols;
    std::int32_t mCells; ///< mRows*mCols in wrapping arithmetic
    detail::Block<double> a;
};

static_assert(Disposable<Matrix> && Cloneable<Matrix>);

} // namespace Velmar::Lintrix
