#pragma once
/// @file
/// Compressed rows with cells of one type: what the real sparse matrix (`SparseMatrix`) and the complex one
/// (`CSparseMatrix`) share.
///
/// Three arrays: values, column numbers, row pointers. Both index arrays are one-based in memory, always: the
/// kernels and the direct solver take them as they stand, so zero-based input is shifted once, when it comes
/// in. Within a row the columns ascend strictly; every lookup depends on it. What is stored is a slot, not a
/// non-zero value: a stored zero stays until `RemoveZeros`.

#include <lintrix/dense/detail/dense_classes.h>
#include <lintrix/foundation/block.h>
#include <lintrix/foundation/capabilities.h>
#include <lintrix/foundation/enumerations.h>
#include <lintrix/services/export.h>
#include <lintrix/sparse/entries.h>

#include <algorithm>
#include <any>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <locale>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace Velmar::Lintrix {

class SparseMatrix;
class CSparseMatrix;

namespace detail {

struct SparseAccess;
template <class Cell>
struct RowArrays;
[[noreturn]] LINTRIX_EXPORT void raiseRowPointers(bool released);

template <class Cell>
struct SparseClass;
template <>
struct SparseClass<double> {
    using Type = SparseMatrix;
};
template <>
struct SparseClass<Complex> {
    using Type = CSparseMatrix;
};

template <class Cell>
struct SparseTwin;

/// The sparse class with cells of this type.
template <class Cell>
using SparseOf = typename SparseClass<Cell>::Type;

/// What an element of a complex matrix can be calculated with.
template <class T, class Cell>
concept ComplexOperand = std::is_same_v<Cell, Complex> && std::is_convertible_v<const T&, Cell>;

/// A rectangular matrix that stores the elements it was given.
///
/// **One triangle.** A matrix may be marked symmetric (`SparseMatrix`) or Hermitian (`CSparseMatrix`): it is
/// square then, and its rows hold the upper triangle with the diagonal. The lower triangle is the mirror
/// image, conjugated; diagonal values are not forced to be real. Such a matrix begins with all its diagonal
/// slots, value 0, because the direct solver needs them. `Item`, `ToDense` and the text see the full matrix;
/// sums, transposition and `IsEqual` see the stored triangle only; products differ from class to class.
///
/// **Capacity**: the slots that the arrays hold, at least NumElements(). An insertion into full arrays grows
/// them, as each class says.
///
/// An object is used by one thread at a time; concurrent reading is safe. Allocation raises
/// NotEnoughMemoryException with its default message, in every member that makes or grows an array; a failing
/// member leaves the object as it was where nothing else is said. Where an array cannot be resized (`Item`,
/// `Rows`, `Cols`, `Capacity`), the memory total stays too low by its size: the allocators withdraw the old
/// size before they try.
///
/// This library's own rule: a dense result of more than 2^31 - 1 cells (`ToDense`, A*B) raises
/// InvalidSizeException, because the product of its sizes would wrap and the result be written past its end.
template <class Cell>
class LINTRIX_EXPORT CompressedMatrix {
public:
    using Self = SparseOf<Cell>;
    using M = MatrixOf<Cell>;
    using V = VectorOf<Cell>;

    /// Element (row, col) of a matrix that may be written: `A(i, j) = 2.0` stores, reading looks up.
    class Reference {
    public:
        Reference(const Reference&) = default;
        operator Cell() const { return matrix_->Item(row_, col_); }
        Reference& operator=(Cell value)
        {
            matrix_->Item(row_, col_, value);
            return *this;
        }
        Reference& operator=(const Reference& other) { return *this = static_cast<Cell>(other); }
        Reference& operator+=(Cell value) { return *this = static_cast<Cell>(*this) + value; }
        Reference& operator-=(Cell value) { return *this = static_cast<Cell>(*this) - value; }
        Reference& operator*=(Cell value) { return *this = static_cast<Cell>(*this) * value; }
        Reference& operator/=(Cell value) { return *this = static_cast<Cell>(*this) / value; }

        friend Cell operator-(const Reference& x) { return -static_cast<Cell>(x); }
        // The operators of std::complex are templates and convert nothing; those of double need no help.
        template <ComplexOperand<Cell> T>
        friend Cell operator+(const Reference& x, const T& y)
        {
            return static_cast<Cell>(x) + static_cast<Cell>(y);
        }
        template <ComplexOperand<Cell> T>
        requires(!std::is_same_v<T, Reference>) friend Cell operator+(const T& x, const Reference& y)
        {
            return static_cast<Cell>(x) + static_cast<Cell>(y);
        }
        template <ComplexOperand<Cell> T>
        friend Cell operator-(const Reference& x, const T& y)
        {
            return static_cast<Cell>(x) - static_cast<Cell>(y);
        }
        template <ComplexOperand<Cell> T>
        requires(!std::is_same_v<T, Reference>) friend Cell operator-(const T& x, const Reference& y)
        {
            return static_cast<Cell>(x) - static_cast<Cell>(y);
        }
        template <ComplexOperand<Cell> T>
        friend Cell operator*(const Reference& x, const T& y)
        {
            return static_cast<Cell>(x) * static_cast<Cell>(y);
        }
        template <ComplexOperand<Cell> T>
        requires(!std::is_same_v<T, Reference>) friend Cell operator*(const T& x, const Reference& y)
        {
            return static_cast<Cell>(x) * static_cast<Cell>(y);
        }
        template <ComplexOperand<Cell> T>
        friend Cell operator/(const Reference& x, const T& y)
        {
            return static_cast<Cell>(x) / static_cast<Cell>(y);
        }
        template <ComplexOperand<Cell> T>
        requires(!std::is_same_v<T, Reference>) friend Cell operator/(const T& x, const Reference& y)
        {
            return static_cast<Cell>(x) / static_cast<Cell>(y);
        }
        template <ComplexOperand<Cell> T>
        friend bool operator==(const Reference& x, const T& y)
        {
            return static_cast<Cell>(x) == static_cast<Cell>(y);
        }

    private:
        friend class CompressedMatrix;
        Reference(CompressedMatrix& matrix, std::int32_t row, std::int32_t col)
            : matrix_(&matrix), row_(row), col_(col)
        {
        }

        CompressedMatrix* matrix_;
        std::int32_t row_, col_;
    };

    virtual ~CompressedMatrix() = default;

    /// @name Construction
    /// The size check, where there is one: `rows`, then `cols`, from 1 to MaxSize, before anything is
    /// allocated.
    /// @throws InvalidSizeException  "Invalid number of rows."; "Invalid number of columns."
    /// A growth factor is clamped to 1 .. 4, a capacity raised to the row count.
    /// @{

    /// Ones on the diagonal, and nothing else is stored.
    static Self Identity(std::int32_t size);
    /// rows x cols, no elements, capacity 100, growth factor 1.2f.
    explicit CompressedMatrix(std::int32_t rows, std::int32_t cols);
    explicit CompressedMatrix(std::int32_t rows, std::int32_t cols, std::int32_t capacity);
    explicit CompressedMatrix(std::int32_t rows, std::int32_t cols, std::int32_t capacity, float growFactor);
    /// size x size; with `oneTriangle` marked symmetric (Hermitian), and the diagonal is stored, all zero.
    explicit CompressedMatrix(std::int32_t size, bool oneTriangle);
    explicit CompressedMatrix(std::int32_t size, bool oneTriangle, std::int32_t capacity, float growFactor);
    /// From compressed rows, zero-based or one-based as `IA[0]` tells; general, growth factor 1.2f. The
    /// column count is the highest column in use, so trailing empty columns cannot be told.
    ///
    /// Checks in this order: lengths of `A` and `JA`; `IA[0]`; `IA[rows]` against the length of `A`; sizes.
    /// That row pointers rise and that columns ascend within a row is the caller's duty (the hardened build
    /// looks, and raises InvalidOperationException).
    /// @throws ArgumentException  "Array JA should have equal size with array A", parameter "JA"
    /// @throws IndexOutOfRangeException  `IA` is empty
    /// @throws ArgumentException  "Arrays should be zero based or one based", parameter "IA"
    /// @throws ArgumentException  "Array IA defines different number of elements than array A"
    CompressedMatrix(std::span<const Cell> A, std::span<const std::int32_t> IA,
                     std::span<const std::int32_t> JA);
    CompressedMatrix(std::initializer_list<Cell> A, std::initializer_list<std::int32_t> IA,
                     std::initializer_list<std::int32_t> JA)
        : CompressedMatrix(std::span(A.begin(), A.size()), std::span(IA.begin(), IA.size()),
                           std::span(JA.begin(), JA.size()))
    {
    }
    /// @}

    /// @name Access
    /// @{

    /// Element (row, col), counted from 0; zero where none is stored. Of a matrix that stores one triangle an
    /// element below the diagonal is the conjugate of the mirrored one, which is what is then looked for,
    /// before anything is checked. `row` is tested first. Cost: a scan of the row.
    /// @throws IndexOutOfBoundsException  "Row index exceeds matrix size."; "Column index exceeds matrix
    /// size."
    Cell Item(std::int32_t row, std::int32_t col) const;
    /// Overwrites the stored element, or inserts one, whatever the value: also a zero is stored. Below the
    /// diagonal, as above, the conjugate goes to the mirrored place. Checks as above. Cost of an insertion: a
    /// move of all elements behind it and a pass over the row pointers. When growing the arrays fails,
    /// `Capacity()` tells the value that was tried, and all else is as before: a caller learns from it how
    /// much was asked for, and the next insertion tries again.
    /// @throws NotSupportedException  there are 2^31 - 2 elements
    void Item(std::int32_t row, std::int32_t col, Cell value);
    Cell operator()(std::int32_t row, std::int32_t col) const { return Item(row, col); }
    Reference operator()(std::int32_t row, std::int32_t col) { return Reference(*this, row, col); }

    /// The sizes keep answering after release.
    std::int32_t Rows() const noexcept { return mRows; }
    std::int32_t Cols() const noexcept { return mCols; }
    /// New rows are empty, also where one triangle is stored; dropped rows take their elements along. A
    /// matrix of one triangle changes its columns with it. The value is not checked (the hardened build
    /// raises InvalidOperationException for one outside 1 .. MaxSize): 0 leaves a matrix without rows, -1 one
    /// without row pointers, to be given new contents or released.
    /// @throws NotEnoughMemoryException  also for a value below -1
    void Rows(std::int32_t value);
    /// Elements in dropped columns are removed, in one pass. A matrix of one triangle changes its rows with
    /// it. Not checked, as for the rows; below 1 it leaves a matrix without columns.
    void Cols(std::int32_t value);

    /// Stored elements, zeros among them. @pre not released
    std::int32_t NumElements() const { return rowPointers()[mRows] - rowPointers()[0]; }
    std::int32_t Capacity() const noexcept { return mCells; }
    /// Reallocates the arrays to max(value, NumElements()) slots, if that differs from Capacity().
    void Capacity(std::int32_t value);
    float GrowFactor() const noexcept { return _growFactor; }
    /// Clamped to 1 .. 4.
    void GrowFactor(float value) noexcept;

    /// The arrays as they are stored, both index arrays one-based; good until the matrix changes.
    /// Rows() + 1 row pointers: row i has the slots [RowPointers()[i] - 1, RowPointers()[i + 1] - 1).
    std::span<const std::int32_t> RowPointers() const
    {
        return {rowPointers(), static_cast<std::size_t>(mRows) + 1};
    }
    /// NumElements() column numbers, ascending within a row.
    std::span<const std::int32_t> ColumnIndices() const
    {
        return {ja.get(), static_cast<std::size_t>(NumElements())};
    }
    /// NumElements() values; of a matrix that may be written, to be written.
    std::span<const Cell> Values() const { return {a.get(), static_cast<std::size_t>(NumElements())}; }
    std::span<Cell> Values() { return {a.get(), static_cast<std::size_t>(NumElements())}; }

    /// The stored entries as a range: `for (auto [row, col, value] : A)`, places from 0, and `value` refers
    /// to the entry itself. Good until the pattern changes.
    SparseEntryIterator<const Cell> begin() const { return entryAt<const Cell>(0); }
    SparseEntryIterator<const Cell> end() const { return entryAt<const Cell>(NumElements()); }
    SparseEntryIterator<Cell> begin() { return entryAt<Cell>(0); }
    SparseEntryIterator<Cell> end() { return entryAt<Cell>(NumElements()); }

    /// min(Rows(), Cols()) elements (i, i), zero where none is stored.
    /// @throws InvalidSizeException  Rows() or Cols() has been set below 1
    V Diagonal() const;
    /// The norm of the full matrix, both triangles where one is stored; sums of complex magnitudes are of
    /// moduli. A NaN makes it NaN, and the Frobenius norm neither overflows nor vanishes on the way.
    double Norm(NormType type) const;
    /// @}

    /// @name Life and conversion
    /// @{

    /// A copy, as the copying constructor makes it.
    Self Clone() const { return self(); }
    /// The cloneable capability: holds a copy.
    std::any CloneableClone() const { return Clone(); }
    /// Releases the arrays at once; may be repeated. Afterwards the sizes can be read and new contents
    /// assigned; what needs the elements raises InvalidOperationException.
    void Dispose() noexcept;
    /// The full matrix, both triangles where one is stored.
    /// @throws InvalidSizeException  it would have more than 2^31 - 1 cells, or its sizes were set below 1
    virtual M ToDense() const;
    /// @}

    /// @name Changes in place
    /// @{

    /// Removes stored elements of magnitude below |tolerance|: strictly, so 0 removes nothing, and a NaN
    /// stays. With `excludeDiagonals` the diagonal stays. One pass; the capacity stays.
    void RemoveZeros() { RemoveZeros(1e-15); }
    void RemoveZeros(double tolerance) { RemoveZeros(tolerance, true); }
    void RemoveZeros(double tolerance, bool excludeDiagonals);

    /// Replaces all elements by random ones from the shared generator, uniform in lowerBound .. upperBound
    /// and rounded to `decimals` places; of a complex one the real part is drawn first. Counts are rounded,
    /// ties to even.
    ///
    /// General: max(Rows(), density*Rows()*Cols()) elements, which is the new capacity, in rows of even
    /// share. One triangle: max(Rows(), density*Rows()*Cols()/2) places of the upper triangle, to each row in
    /// proportion to its length, and one more to each row for its diagonal; the capacity is their sum. The
    /// diagonal is always stored, also where its value is zero. A row never holds more elements than it has
    /// columns, so at high densities fewer than told here are stored. The product of the sizes is taken in
    /// wrapping 32-bit arithmetic, which settles how many elements a seed gives, and no bound is checked (the
    /// hardened build raises InvalidOperationException for a density outside 0 to 1 and a product that
    /// wraps).
    /// @throws ArgumentOutOfRangeException  decimals outside 0 to 15
    /// @throws NotSupportedException        2^31 - 1 elements or more
    void FillRandom() { FillRandom(0.01); }
    void FillRandom(double density) { FillRandom(density, 1.0, 10.0); }
    void FillRandom(double density, double lowerBound, double upperBound)
    {
        FillRandom(density, lowerBound, upperBound, 0);
    }
    virtual void FillRandom(double density, double lowerBound, double upperBound, std::int32_t decimals);
    /// @}

    /// @name Sums and scalar multiples
    /// @{

    /// A + beta*op(B), the union of both patterns; what cancels stays as a stored zero. The marks of one
    /// triangle are not looked at: the result is general and holds the sum of what is stored, so that the
    /// lower half of two such operands reads as zero. Mark the result to have the full sum; callers do, so it
    /// stays.
    /// Checks: class, then shape. Cost: one merge of the rows each for sizing and filling.
    /// @throws ArgumentException         run-time classes differ: "Matrices are not of the same type"
    /// @throws SizeMismatchException     op(B) is not of A's shape, or `transB` no member; no message
    /// @throws OperationFailedException  more than 2^31 - 2 elements, no scratch memory, or a column count
    ///         that was set below 0; no message
    static Self Add(const Self& A, Cell beta, TransposeMode transB, const Self& B);
    static Self Add(const Self& A, const Self& B);
    static Self Subtract(const Self& A, const Self& B);
    static Self Negate(const Self& A) { return Multiply(A, Cell(-1.0)); }
    /// A copy as of the copying constructor, its values scaled; 0 keeps all slots.
    static Self Multiply(const Self& A, Cell scalar);

    friend Self operator+(const Self& A) { return A; }
    friend Self operator-(const Self& A) { return Negate(A); }
    friend Self operator+(const Self& A, const Self& B) { return Add(A, B); }
    friend Self operator-(const Self& A, const Self& B) { return Subtract(A, B); }
    friend Self operator*(const Self& A, Cell scalar) { return Multiply(A, scalar); }
    friend Self operator*(Cell scalar, const Self& A) { return Multiply(A, scalar); }

    /// The sum or difference in the place of this matrix, whose mark and growth factor stay: two matrices of
    /// one triangle have the sum of both, triangle by triangle. B may be this matrix.
    /// @throws SizeMismatchException  "Matrix sizes do not match: 2 x 3 plus 3 x 2."
    /// @throws ArgumentException      "One matrix stores one triangle, the other both.": neither reading of
    /// the
    ///         sum would be right
    Self& operator+=(const Self& B);
    Self& operator-=(const Self& B);
    /// Scales the values where they stand; mark, pattern and capacity stay.
    /// @throws ArgumentException  marked Hermitian and alpha is not real: "A Hermitian matrix times a number
    ///         that is not real is not Hermitian."
    Self& operator*=(Cell alpha);
    /// Each value divided by alpha.
    /// @throws ArgumentException  alpha is zero: "Division by zero error"; then as above
    Self& operator/=(Cell alpha);
    /// The product in the place of this matrix, whose growth factor stays. B may be this matrix.
    /// @throws SizeMismatchException  "Matrix sizes do not match: 2 x 3 times 4 x 1."; then as `A * B`
    Self& operator*=(const Self& B);
    /// @}

    /// @name Products
    /// A mode outside the enumeration ends in the size failure of the form. y must not be x, and C must not
    /// be B (the hardened build raises InvalidOperationException).
    ///
    /// A symmetric matrix is refused as a factor of a sparse product, and stands for the full matrix in a
    /// product with a dense operand. A Hermitian one is in both the general matrix that its stored triangle
    /// forms, the rest zero: callers know it from there, and complete it first (A + A^H less its diagonal)
    /// where they mean the full one.
    /// @{

    /// op(A)*B. What cancels stays a stored zero with `NotTransposed` and is dropped with the other modes.
    /// Cost: proportional to the multiplications.
    /// @throws NotSupportedException     an operand is symmetric: "Symmetrix matrices are not supported."
    /// @throws InvalidSizeException      inner sizes differ; no message
    /// @throws OperationFailedException  more than 2^31 - 2 elements, no scratch memory, or a column count
    ///         that was set below 0; no message
    static Self Multiply(TransposeMode transA, const Self& A, const Self& B);
    static Self Multiply(const Self& A, const Self& B)
    {
        return Multiply(TransposeMode::NotTransposed, A, B);
    }
    /// A*B. @throws InvalidSizeException  inner sizes differ; no message
    static M Multiply(const Self& A, const M& B);
    /// A*x. @throws SizeMismatchException  no message
    static V Multiply(const Self& A, const V& x);
    /// x'*A, x taken as a row, not conjugated. @throws SizeMismatchException  no message
    static V Multiply(const V& x, const Self& A);
    /// y := alpha*op(A)*x + beta*y in place; `x` is checked first. With beta 0 y is not read.
    /// @throws SizeMismatchException     no message
    /// @throws NotSquareMatrixException  A is marked symmetric, not square, and the triangle reaches past x
    /// or
    ///         y: A is tall, or has elements in columns behind the row count
    static void Multiply(Cell alpha, TransposeMode transA, const Self& A, const V& x, Cell beta, V& y);
    /// C := alpha*op(A)*B + beta*C in place. Checks: rows of B, rows of C, columns of C.
    ///
    /// The columns of B and C are addressed A.Cols() and A.Rows() apart in every mode, so a transposed
    /// product means what it says for square A only, or for one column (the hardened build refuses every
    /// rectangular A there with InvalidOperationException). The checks accept the others all the same, and
    /// their results are relied on, so it stays: transpose A first to multiply by a rectangular A'. The
    /// addresses of a rectangular A lead past the end of B or C: there zeros are read, and nothing is
    /// written; every cell of C that they do meet gets the told value.
    /// @throws InvalidSizeException      no message
    /// @throws NotSquareMatrixException  as above
    static void Multiply(Cell alpha, TransposeMode transA, const Self& A, const M& B, Cell beta, M& C);

    friend Self operator*(const Self& A, const Self& B) { return Multiply(A, B); }
    /// @throws InvalidSizeException  inner sizes differ; no message
    friend M operator*(const Self& A, const M& B) { return Multiply(A, B); }
    friend V operator*(const Self& A, const V& x) { return Multiply(A, x); }
    friend V operator*(const V& x, const Self& A) { return Multiply(x, A); }

    /// Cols() x Rows(), general, nothing conjugated. Marks are not looked at: of a matrix of one triangle it
    /// is the stored one turned, from which callers complete the full matrix. Linear in elements and columns.
    /// @throws OperationFailedException  Cols() has been set below 0
    Self Transpose() const;
    /// @}

    /// @name Comparison
    /// @{

    /// Whether the stored elements agree within |tolerance|, by the magnitude of their difference, an absent
    /// one counting as 0. Sizes and marks are not compared, and a NaN agrees with everything.
    /// @throws InvalidOperationException  an operand stores nothing: "The enumerator is positioned before the
    /// first element of the matrix."
    bool IsEqual(const Self& matrix, double tolerance) const;

    /// Sizes, row pointers, columns and values, exclusive-or'ed together, with one slot more than is stored,
    /// unless the arrays end before it. So equal matrices may differ in it; hashes that were kept must stay
    /// what they are.
    std::int32_t GetHashCode() const;
    /// @}

    /// @name Text
    /// Every element as `Item` reads it. A real one is padded on the left to the longest stored one, and a
    /// longer text is not cut; a complex one reads "(re,imi)", each part padded to the longest part of the
    /// whole matrix, zeros that are not stored among them.
    /// @{

    /// Current locale, format "F3", separator " ", borders "| " and " |\n", end " |\n".
    std::string ToString() const;
    std::string ToString(std::string_view format) const;
    std::string ToString(std::string_view format, std::string_view separator) const;
    std::string ToString(std::string_view format, std::string_view separator, std::string_view leftBorder,
                         std::string_view rightBorder, std::string_view endMatrix) const;
    /// With the borders "|\n", without the blank of the other forms: texts that were written so are compared.
    std::string ToString(const std::locale& provider, std::string_view format) const;
    /// The last row closes with `endMatrix` alone.
    /// @throws FormatException  "Format specifier was invalid."
    std::string ToString(const std::locale& provider, std::string_view format, std::string_view separator,
                         std::string_view leftBorder, std::string_view rightBorder,
                         std::string_view endMatrix) const;
    /// Writes `ToString()`.
    friend std::ostream& operator<<(std::ostream& out, const Self& matrix) { return matrix.writeTo(out); }
    /// Writes what is stored, one entry a line, with so many significant digits: "(0, 2) 1.5", places from 0,
    /// below a line with sizes and count. For matrices that are too large for the table.
    /// @throws ArgumentOutOfRangeException  "A number has 1 to 17 digits, not 18."
    void Print(std::ostream& out, std::int32_t digits = 6) const;
    /// @}

    /// @name Byte form and archive
    /// @{

    /// Rows, columns, row pointers, values, columns of the elements, little-endian as in memory:
    /// 4*(Rows() + 3 + 3*NumElements()) bytes, of a complex matrix 4*(Rows() + 3 + 5*NumElements()). The mark
    /// of one triangle and the growth factor are not in it.
    std::vector<std::byte> Data() const;
    /// Restores what the form above holds, with exact capacity; mark and growth factor stay, and whether the
    /// mark goes with the new sizes is not looked at. A surplus of bytes is ignored. Nothing in the form is
    /// believed before it is checked; only that columns ascend within a row is left to whoever made it (the
    /// hardened build raises InvalidOperationException).
    ///
    /// The sizes are stored before they are checked: a form that is refused for them leaves Rows() and Cols()
    /// changed and the arrays old, and callers read off the object which sizes those were. Give such an
    /// object new contents or release it; what needs row pointers that are not there raises
    /// InvalidOperationException, and rows that it hides are empty after the next edit.
    /// @throws InvalidSizeException       "Invalid number of rows."; "Invalid number of columns."
    /// @throws IndexOutOfRangeException   the form is shorter than it says, its row pointers do not begin
    /// with 1 or fall, or a column is outside 1 .. columns
    void Data(std::span<const std::byte> data);
    /// Adds "mRows", "mCols", "growFactor", then the mark as "symm" ("herm" of a complex matrix), "_IA",
    /// "_A" (doubles: of a complex matrix real and imaginary parts in turn), "_JA".
    void GetObjectData(SerializationInfo& info, const StreamingContext& context) const;
    /// @}

protected:
    friend struct ArchiveAccess;

    /// Without elements and rows, to be filled by the constructor of the class.
    CompressedMatrix() noexcept = default;
    /// A deep copy but for growth factor and mark, which each class treats in its own way. The capacity is
    /// raised to the row count, as in a new matrix.
    /// @throws InvalidSizeException  the sizes of `matrix` have been set below 1
    CompressedMatrix(const CompressedMatrix& matrix, float growFactor, bool oneTriangle);
    /// Takes the arrays over; `matrix` is left released, its sizes still readable.
    CompressedMatrix(CompressedMatrix&& matrix) noexcept;
    CompressedMatrix(const CompressedMatrix&) = delete;
    CompressedMatrix& operator=(const CompressedMatrix&) = delete;

    /// Restores what `GetObjectData` wrote, with exact capacity; `FromArchive` is the way here. The growth
    /// factor is taken as it stands, a surplus in the arrays is ignored, columns are checked as by `Data`;
    /// there may be no rows or no columns.
    /// @throws SerializationException    a key is missing or of another type
    /// @throws InvalidSizeException      the row count is negative: "Invalid number of rows."
    /// @throws IndexOutOfRangeException  an array is short, row pointers or columns are wrong
    CompressedMatrix(const SerializationInfo& info, const StreamingContext& context);

    /// Adopts arrays made by a kernel. The capacity reads `ia[rows]`, one more than is stored; the arrays
    /// have that spare slot.
    CompressedMatrix(std::int32_t rows, std::int32_t cols, RowArrays<Cell>&& arrays) noexcept;

    static float clampedGrowFactor(float value) noexcept { return std::clamp(value, 1.0F, 4.0F); }

    void swap(CompressedMatrix& other) noexcept;
    /// New contents for the same sizes: the commit of what replaces all elements.
    void setArrays(std::int32_t capacity, RowArrays<Cell>&& arrays) noexcept;

private:
    friend struct SparseAccess;
    friend Self;

    const Self& self() const noexcept { return static_cast<const Self&>(*this); }
    template <class Value>
    SparseEntryIterator<Value> entryAt(std::int32_t slot) const
    {
        return {a.get(), ja.get(), rowPointers(), 0, slot, NumElements()};
    }
    Self& add(std::string_view operation, Cell beta, const Self& B);
    void requireRealFactor(Cell alpha) const;
    Self& replaceBy(Self&& fresh, bool oneTriangle) noexcept;
    void Init(std::int32_t rows, std::int32_t cols, std::int32_t capacity, float growFactor,
              bool oneTriangle);
    void InitSer(const SerializationInfo& info);
    /// The block may have room for row pointers of rows that are not there: the smallest block has, and a
    /// refused byte form hides rows. After every edit they become those of empty rows, for the next refused
    /// form may count them among the rows again.
    void closeRowPointers() noexcept
    {
        if (mRows >= 0) std::fill(ia.get() + mRows + 1, ia.get() + ia.cells(), ia[mRows]);
    }
    /// Opens slot `pos`, counted from 0, growing the arrays if they are full. Its contents are stale and the
    /// row pointers as before: both are the caller's.
    void insert_elem(std::int32_t pos);
    /// Closes slot `pos`; the row pointers are the caller's.
    void delete_elem(std::int32_t pos);

    /// Where element (row, col) stands, or would have to be inserted; after the mirroring and the checks of
    /// `Item`.
    struct Slot {
        std::int32_t row, col, index;
        bool mirrored, stored;
    };
    Slot slotOf(std::int32_t row, std::int32_t col) const;
    void resizeSlots(std::int32_t slots);
    void resizeRows(std::int32_t value);
    void resizeCols(std::int32_t value) noexcept;
    std::ostream& writeTo(std::ostream& out) const;

    /// Every way to the elements leads through here. A refused byte form may have left a row count beyond the
    /// row pointers, a released matrix has none: reading them would end anywhere, also in the normal build.
    std::int32_t* rowPointers() const
    {
        if (mRows < 0 || mRows >= ia.cells()) raiseRowPointers(!ia);
        return ia.get();
    }

    std::int32_t mRows = 0;
    std::int32_t mCols = 0;
    std::int32_t mCells = 0; ///< capacity, as it is told; `insert_elem` sees to it that the blocks hold it
    Block<Cell> a;
    Block<std::int32_t> ia;
    Block<std::int32_t> ja;
    float _growFactor = 0.0F;
    bool _oneTriangle = false; ///< `Symmetric` or `Hermitian`
};

extern template class CompressedMatrix<double>;
extern template class CompressedMatrix<Complex>;

} // namespace detail

} // namespace Velmar::Lintrix
