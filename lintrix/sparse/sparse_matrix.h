#pragma once
/// @file
/// The real sparse matrix in compressed rows.
///
/// Three arrays: values, column numbers, row pointers. Both index arrays are one-based in memory, always: the
/// kernels and the direct solver take them as they stand, so zero-based input is shifted once, when it comes
/// in. Within a row the columns ascend strictly; every lookup depends on it. What is stored is a slot, not a
/// non-zero value: a stored zero stays until `RemoveZeros`.
///
/// The class is made to be assembled once and then handed on. Writing a new element through `Item` moves all
/// elements behind it; for a large matrix see `SparseAssembler`, which takes elements in any order in linear
/// time.

#include <lintrix/dense/matrix.h>
#include <lintrix/dense/vector.h>
#include <lintrix/foundation/block.h>
#include <lintrix/foundation/capabilities.h>
#include <lintrix/foundation/enumerations.h>

#include <algorithm>
#include <any>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <locale>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix {

namespace detail {
struct SparseAccess;
[[noreturn]] LINTRIX_EXPORT void raiseRowPointers(bool released);
} // namespace detail

/// A rectangular matrix of doubles that stores the elements it was given.
///
/// Symmetric storage (`Symmetric()` true): the matrix is square and the rows hold the upper triangle with the
/// diagonal. A symmetric matrix begins with all its diagonal slots, value 0, because the direct solver needs
/// them. `Item` and products with dense operands see the full matrix; sums, transposition and `IsEqual` see
/// the stored triangle only; sparse products refuse it.
///
/// Capacity: the slots that the arrays hold, at least NumElements(). An insertion into full arrays grows them
/// to GrowFactor() times their capacity, at least by one slot.
///
/// An object is used by one thread at a time; concurrent reading is safe. Allocation raises
/// NotEnoughMemoryException with its default message, in every member that makes or grows an array; a failing
/// member leaves the object as it was where nothing else is said. What goes wrong while an array is resized
/// (`Item`, `Rows`, `Cols`, `Capacity`) leaves the memory total too low by the size of that array, until it
/// is released: the allocators withdraw the old size before they try.
///
/// This library's own rule: a dense result of more than 2^31 - 1 cells (`ToDense`, A*B) raises
/// InvalidSizeException, because the product of its sizes would wrap and the result be written past its end.
class LINTRIX_EXPORT SparseMatrix {
public:
    /// Element (row, col) of a matrix that may be written: `A(i, j) = 2.0` stores, reading looks up.
    class Reference {
    public:
        Reference(const Reference&) = default;
        operator double() const { return matrix_->Item(row_, col_); }
        Reference& operator=(double value)
        {
            matrix_->Item(row_, col_, value);
            return *this;
        }
        Reference& operator=(const Reference& other) { return *this = static_cast<double>(other); }
        Reference& operator+=(double value) { return *this = *this + value; }
        Reference& operator-=(double value) { return *this = *this - value; }
        Reference& operator*=(double value) { return *this = *this * value; }
        Reference& operator/=(double value) { return *this = *this / value; }

    private:
        friend class SparseMatrix;
        Reference(SparseMatrix& matrix, std::int32_t row, std::int32_t col)
            : matrix_(&matrix), row_(row), col_(col)
        {
        }

        SparseMatrix* matrix_;
        std::int32_t row_, col_;
    };

    /// @name Construction
    /// The size check, where there is one: `rows`, then `cols`, from 1 to MaxSize, before anything is
    /// allocated.
    /// @throws InvalidSizeException  "Invalid number of rows."; "Invalid number of columns."
    /// A growth factor is clamped to 1 .. 4, a capacity raised to the row count.
    /// @{

    /// 1 x 1 and empty, capacity 1, growth factor 1.
    SparseMatrix();
    /// rows x cols, no elements, capacity 100, growth factor 1.2f.
    explicit SparseMatrix(std::int32_t rows, std::int32_t cols);
    explicit SparseMatrix(std::int32_t rows, std::int32_t cols, std::int32_t capacity);
    explicit SparseMatrix(std::int32_t rows, std::int32_t cols, std::int32_t capacity, float growFactor);
    /// size x size; with `symmetric` the diagonal is stored, all zero.
    explicit SparseMatrix(std::int32_t size, bool symmetric);
    explicit SparseMatrix(std::int32_t size, bool symmetric, std::int32_t capacity, float growFactor);
    /// The elements of a dense matrix that do not compare equal to zero: -0.0 is dropped, NaN is kept. The
    /// capacity is exact, and the growth factor 0, the only way to it: such a matrix grows by one slot at a
    /// time, and callers who keep memory exact rely on that. Costs a second dense array while it runs.
    explicit SparseMatrix(const Matrix& matrix);
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
    SparseMatrix(std::span<const double> A, std::span<const std::int32_t> IA,
                 std::span<const std::int32_t> JA);
    SparseMatrix(std::initializer_list<double> A, std::initializer_list<std::int32_t> IA,
                 std::initializer_list<std::int32_t> JA)
        : SparseMatrix(std::span(A.begin(), A.size()), std::span(IA.begin(), IA.size()),
                       std::span(JA.begin(), JA.size()))
    {
    }
    /// Deep copy with flag, growth factor and capacity, the latter raised to the row count, as in a new
    /// matrix. @throws InvalidSizeException  the sizes of `matrix` have been set below 1
    SparseMatrix(const SparseMatrix& matrix);
    /// Takes the arrays over; `matrix` is left released, its sizes still readable.
    SparseMatrix(SparseMatrix&& matrix) noexcept;
    SparseMatrix& operator=(SparseMatrix matrix) noexcept;
    virtual ~SparseMatrix() = default;
    /// @}

    /// @name Access
    /// @{

    /// Element (row, col), counted from 0; 0.0 where none is stored. In symmetric storage an access below the
    /// diagonal becomes the mirrored one before anything is checked. `row` is tested first. Cost: a scan of
    /// the row.
    /// @throws IndexOutOfBoundsException  "Row index exceeds matrix size."; "Column index exceeds matrix
    /// size."
    double Item(std::int32_t row, std::int32_t col) const;
    /// Overwrites the stored element, or inserts one, whatever the value: also a zero is stored. Checks as
    /// above. Cost of an insertion: a move of all elements behind it and a pass over the row pointers.
    /// When growing the arrays fails, `Capacity()` tells the value that was tried, and all else is as before:
    /// a caller learns from it how much was asked for, and the next insertion tries again.
    /// @throws NotSupportedException  there are 2^31 - 2 elements
    void Item(std::int32_t row, std::int32_t col, double value);
    double operator()(std::int32_t row, std::int32_t col) const { return Item(row, col); }
    Reference operator()(std::int32_t row, std::int32_t col) { return Reference(*this, row, col); }

    /// The sizes keep answering after release.
    std::int32_t Rows() const noexcept { return mRows; }
    std::int32_t Cols() const noexcept { return mCols; }
    /// New rows are empty, also in symmetric storage; dropped rows take their elements along. A symmetric
    /// matrix changes its columns with it. The value is not checked (the hardened build raises
    /// InvalidOperationException for one outside 1 .. MaxSize): 0 leaves a matrix without rows, -1 one
    /// without row pointers, to be given new contents or released.
    /// @throws NotEnoughMemoryException  also for a value below -1
    void Rows(std::int32_t value);
    /// Elements in dropped columns are removed, in one pass. A symmetric matrix changes its rows with it. Not
    /// checked, as for the rows; below 1 it leaves a matrix without columns.
    void Cols(std::int32_t value);

    /// Stored elements, zeros among them. @pre not released
    std::int32_t NumElements() const { return rowPointers()[mRows] - rowPointers()[0]; }
    std::int32_t Capacity() const noexcept { return mCells; }
    /// Reallocates the arrays to max(value, NumElements()) slots, if that differs from Capacity().
    void Capacity(std::int32_t value);
    float GrowFactor() const noexcept { return _growFactor; }
    /// Clamped to 1 .. 4.
    void GrowFactor(float value) noexcept;
    bool Symmetric() const noexcept { return _symmetric; }
    /// Says how the arrays are to be read, and changes nothing in them. Whether they hold an upper triangle,
    /// or the matrix is square, is not looked at: a caller may set the flag before the contents or after.
    void Symmetric(bool value) noexcept { _symmetric = value; }

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
    /// NumElements() values.
    std::span<const double> Values() const { return {a.get(), static_cast<std::size_t>(NumElements())}; }
    /// @}

    /// @name Life and conversion
    /// @{

    SparseMatrix Clone() const { return *this; }
    /// The cloneable capability: holds a `SparseMatrix`.
    std::any CloneableClone() const { return Clone(); }
    /// Releases the arrays at once; may be repeated. Afterwards the sizes can be read and new contents
    /// assigned; what needs the elements raises InvalidOperationException.
    void Dispose() noexcept;
    /// The full matrix, both triangles of a symmetric one.
    /// @throws InvalidSizeException  it would have more than 2^31 - 1 cells, or its sizes were set below 1
    virtual Matrix ToDense() const;
    /// @}

    /// @name Changes in place
    /// @{

    /// Removes stored elements of magnitude below |tolerance|: strictly, so 0 removes nothing, and a NaN
    /// stays. With `excludeDiagonals` the diagonal stays. One pass; the capacity stays.
    void RemoveZeros() { RemoveZeros(1e-15); }
    void RemoveZeros(double tolerance) { RemoveZeros(tolerance, true); }
    void RemoveZeros(double tolerance, bool excludeDiagonals);

    /// Replaces all elements by random ones from the shared generator, uniform in lowerBound .. upperBound
    /// and rounded to `decimals` places. Counts are rounded, ties to even.
    ///
    /// General: max(Rows(), density*Rows()*Cols()) elements, which is the new capacity, in rows of even
    /// share. Symmetric: max(Rows(), density*Rows()*Cols()/2) places of the upper triangle, to each row in
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

    /// A + beta*op(B), the union of both patterns; what cancels stays as a stored zero. The symmetric flags
    /// are not looked at: the result is general and holds the sum of what is stored, so that the lower half
    /// of two symmetric operands reads as zero. Set the flag of the result to have the symmetric sum; callers
    /// do, so it stays.
    /// Checks: class, then shape. Cost: one merge of the rows each for sizing and filling.
    /// @throws ArgumentException         run-time classes differ: "Matrices are not of the same type"
    /// @throws SizeMismatchException     op(B) is not of A's shape, or `transB` no member; no message
    /// @throws OperationFailedException  more than 2^31 - 2 elements, no scratch memory, or a column count
    ///         that was set below 0; no message
    static SparseMatrix Add(const SparseMatrix& A, double beta, TransposeMode transB, const SparseMatrix& B);
    static SparseMatrix Add(const SparseMatrix& A, const SparseMatrix& B);
    static SparseMatrix Subtract(const SparseMatrix& A, const SparseMatrix& B);
    static SparseMatrix Negate(const SparseMatrix& A) { return Multiply(A, -1.0); }
    /// The operand itself, where `+A` copies: the one for callers who only pass a matrix on, the other for
    /// those who go on to change it.
    static const SparseMatrix& Plus(const SparseMatrix& A) noexcept { return A; }
    /// A copy with flag, growth factor and capacity, its values scaled; 0 keeps all slots.
    static SparseMatrix Multiply(const SparseMatrix& A, double scalar);

    friend SparseMatrix operator+(const SparseMatrix& A) { return A; }
    friend SparseMatrix operator-(const SparseMatrix& A) { return Negate(A); }
    friend SparseMatrix operator+(const SparseMatrix& A, const SparseMatrix& B) { return Add(A, B); }
    friend SparseMatrix operator-(const SparseMatrix& A, const SparseMatrix& B) { return Subtract(A, B); }
    friend SparseMatrix operator*(const SparseMatrix& A, double scalar) { return Multiply(A, scalar); }
    friend SparseMatrix operator*(double scalar, const SparseMatrix& A) { return Multiply(A, scalar); }
    /// @}

    /// @name Products
    /// A mode outside the enumeration ends in the size failure of the form. y must not be x, and C must not
    /// be B (the hardened build raises InvalidOperationException).
    /// @{

    /// op(A)*B, both general. What cancels stays a stored zero with `NotTransposed` and is dropped with the
    /// other modes. Cost: proportional to the multiplications.
    /// @throws NotSupportedException     an operand is symmetric: "Symmetrix matrices are not supported."
    /// @throws InvalidSizeException      inner sizes differ; no message
    /// @throws OperationFailedException  more than 2^31 - 2 elements, no scratch memory, or a column count
    ///         that was set below 0; no message
    static SparseMatrix Multiply(TransposeMode transA, const SparseMatrix& A, const SparseMatrix& B);
    static SparseMatrix Multiply(const SparseMatrix& A, const SparseMatrix& B);
    /// A*B. @throws InvalidSizeException  "Invalid number of rows for matrix B"
    static Matrix Multiply(const SparseMatrix& A, const Matrix& B);
    /// A*x. @throws SizeMismatchException  no message
    static Vector Multiply(const SparseMatrix& A, const Vector& x);
    /// x'*A, x taken as a row. @throws SizeMismatchException  no message
    static Vector Multiply(const Vector& x, const SparseMatrix& A);
    /// y := alpha*op(A)*x + beta*y in place; `x` is checked first. With beta 0 y is not read.
    /// @throws SizeMismatchException     no message
    /// @throws NotSquareMatrixException  A is marked symmetric, not square, and the triangle reaches past x
    /// or
    ///         y: A is tall, or has elements in columns behind the row count
    static void Multiply(double alpha, TransposeMode transA, const SparseMatrix& A, const Vector& x,
                         double beta, Vector& y);
    /// C := alpha*op(A)*B + beta*C in place. Checks: rows of B, rows of C, columns of C.
    ///
    /// The columns of B and C are addressed A.Cols() and A.Rows() apart in every mode, so a transposed
    /// product means what it says for square A only, or for one column (the hardened build refuses the others
    /// with InvalidOperationException). The checks accept the others all the same, and their results are
    /// relied on, so it stays: transpose A first to multiply by a rectangular A'. The addresses of a
    /// rectangular A lead past the end of B or C: there zeros are read, and nothing is written; every cell of
    /// C that they do meet gets the told value.
    /// @throws InvalidSizeException      no message
    /// @throws NotSquareMatrixException  as above
    static void Multiply(double alpha, TransposeMode transA, const SparseMatrix& A, const Matrix& B,
                         double beta, Matrix& C);

    friend SparseMatrix operator*(const SparseMatrix& A, const SparseMatrix& B) { return Multiply(A, B); }
    /// @throws InvalidSizeException  no message: the operator has no check of its own
    LINTRIX_EXPORT friend Matrix operator*(const SparseMatrix& A, const Matrix& B);
    friend Vector operator*(const SparseMatrix& A, const Vector& x) { return Multiply(A, x); }
    friend Vector operator*(const Vector& x, const SparseMatrix& A) { return Multiply(x, A); }

    /// Cols() x Rows(), general. The flag is not looked at: of a symmetric matrix it is the stored triangle
    /// turned, the lower one, from which callers complete the full matrix. Linear in elements and columns.
    /// @throws OperationFailedException  Cols() has been set below 0
    SparseMatrix Transpose() const;
    /// @}

    /// @name Comparison
    /// @{

    /// Whether the stored elements agree within |tolerance|, an absent one counting as 0. Sizes and the flag
    /// are not compared, and a NaN agrees with everything.
    /// @throws InvalidOperationException  an operand stores nothing: "The enumerator is positioned before the
    /// first element of the matrix."
    bool IsEqual(const SparseMatrix& matrix) const { return IsEqual(matrix, 1e-09); }
    bool IsEqual(const SparseMatrix& matrix, double tolerance) const;

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

    /// Sizes, row pointers, columns and values, exclusive-or'ed together, with one slot more than is stored,
    /// unless the arrays end before it. So equal matrices may differ in it; hashes that were kept must stay
    /// what they are.
    std::int32_t GetHashCode() const;
    /// @}

    /// @name Text
    /// Every element as `Item` reads it, padded on the left to the longest stored one; a longer text is not
    /// cut.
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
    LINTRIX_EXPORT friend std::ostream& operator<<(std::ostream& out, const SparseMatrix& matrix);
    /// @}

    /// @name Byte form and archive
    /// @{

    /// Rows, columns, row pointers, values, columns of the elements: 4*(3*NumElements() + Rows() + 3) bytes,
    /// little-endian as in memory. Flag and growth factor are not in it.
    std::vector<std::byte> Data() const;
    /// Restores what the form above holds, with exact capacity; flag and growth factor stay, and whether the
    /// flag goes with the new sizes is not looked at. A surplus of bytes is ignored. Nothing in the form is
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
    /// Adds "mRows", "mCols", "growFactor", "symm", "_IA", "_A", "_JA".
    void GetObjectData(SerializationInfo& info, const StreamingContext& context) const;
    /// @}

protected:
    friend struct detail::ArchiveAccess;

    /// Restores what `GetObjectData` wrote, with exact capacity; `FromArchive` is the way here. The growth
    /// factor is taken as it stands, a surplus in the arrays is ignored, columns are checked as by `Data`;
    /// there may be no rows or no columns.
    /// @throws SerializationException    a key is missing or of another type
    /// @throws InvalidSizeException      the row count is negative: "Invalid number of rows."
    /// @throws IndexOutOfRangeException  an array is short, row pointers or columns are wrong
    SparseMatrix(const SerializationInfo& info, const StreamingContext& context);

private:
    friend struct detail::SparseAccess;

    /// Adopts arrays made by a kernel. The capacity reads `_ia[rows]`, one more than is stored; the arrays
    /// have that spare slot.
    SparseMatrix(std::int32_t rows, std::int32_t cols, detail::Block<double>&& _a,
                 detail::Block<std::int32_t>&& _ia, detail::Block<std::int32_t>&& _ja) noexcept;

    void Init(std::int32_t rows, std::int32_t cols, std::int32_t capacity, float growFactor, bool symmetric);
    void InitSer(const SerializationInfo& info);
    void swap(SparseMatrix& other) noexcept;
    /// New contents for the same sizes: the commit of what replaces all elements.
    void setArrays(std::int32_t capacity, detail::Block<double>&& values,
                   detail::Block<std::int32_t>&& starts, detail::Block<std::int32_t>&& columns) noexcept;
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
        bool stored;
    };
    Slot slotOf(std::int32_t row, std::int32_t col) const;
    void resizeSlots(std::int32_t slots);
    void resizeRows(std::int32_t value);
    void resizeCols(std::int32_t value) noexcept;

    /// Every way to the elements leads through here. A refused byte form may have left a row count beyond the
    /// row pointers, a released matrix has none: reading them would end anywhere, also in the normal build.
    std::int32_t* rowPointers() const
    {
        if (mRows < 0 || mRows >= ia.cells()) detail::raiseRowPointers(!ia);
        return ia.get();
    }

    std::int32_t mRows = 0;
    std::int32_t mCols = 0;
    std::int32_t mCells = 0; ///< capacity, as it is told; `insert_elem` sees to it that the blocks hold it
    detail::Block<double> a;
    detail::Block<std::int32_t> ia;
    detail::Block<std::int32_t> ja;
    float _growFactor = 0.0F;
    bool _symmetric = false;
};

static_assert(Disposable<SparseMatrix> && Cloneable<SparseMatrix> && Serializable<SparseMatrix>);

} // namespace Velmar::Lintrix
