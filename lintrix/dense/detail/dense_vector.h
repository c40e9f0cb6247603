#pragma once
/// @file
/// What the dense vectors are whatever their cells: `Vector` of doubles, `CVector` of complex numbers. The
/// elements stand next to each other in one block.

#include <lintrix/dense/detail/dense_matrix.h>

#include <any>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <locale>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail {

[[noreturn]] LINTRIX_EXPORT void raiseVectorIndex();

/// The members that mean the same for both kinds of cells. `Vector` and `CVector` have what differs, and what
/// only one of them has.
///
/// Allocation raises NotEnoughMemoryException with its default message, in every member that makes a block; a
/// failing member leaves the object as it was. An object is used by one thread at a time; concurrent reading
/// is safe.
template <class Cell>
class LINTRIX_EXPORT DenseVector {
    using M = MatrixOf<Cell>;
    using V = VectorOf<Cell>;

public:
    /// @name Construction
    /// The size check, where there is one: from 1 to MaxSize, before anything is allocated.
    /// @throws InvalidSizeException  "Invalid number of rows or columns."
    /// @{

    /// 3 zeros.
    DenseVector();
    /// `size` zeros. Round brackets: `Vector{3}` is the one element 3.
    explicit DenseVector(std::int32_t size);
    /// `size` copies of `value`.
    DenseVector(std::int32_t size, Cell value);
    /// The elements of `array`, which may be empty. @throws InvalidSizeException  more than MaxSize elements
    DenseVector(std::span<const Cell> array);
    DenseVector(const std::vector<Cell>& array) : DenseVector(std::span<const Cell>(array)) {}
    DenseVector(std::initializer_list<Cell> array) : DenseVector(std::span(array.begin(), array.size())) {}
    /// A matrix is no vector, though its cells are a range: say `A.ColView(0)`, or `std::span<double>(A)`.
    template <class T>
    requires std::is_same_v<T, M>
    explicit DenseVector(const T&) = delete;
    /// @}

    /// @name Access
    /// @{

    /// Element `index`, counted from 0. @throws IndexOutOfBoundsException  "Index exceeds vector size."
    Cell Item(std::int32_t index) const { return cells()[checked(index)]; }
    void Item(std::int32_t index, Cell value) { cells()[checked(index)] = value; }
    Cell operator()(std::int32_t index) const { return Item(index); }
    Cell& operator()(std::int32_t index) { return cells()[checked(index)]; }
    Cell operator[](std::int32_t index) const { return Item(index); }
    Cell& operator[](std::int32_t index) { return cells()[checked(index)]; }

    /// Keeps answering after release.
    std::int32_t Length() const noexcept { return mCells; }
    /// `Resize(value)` if the value differs.
    void Length(std::int32_t value);
    /// Address of the block, of complex elements real and imaginary parts in turn; good until it is replaced
    /// or released.
    std::intptr_t DataPtr() const noexcept { return reinterpret_cast<std::intptr_t>(a.get()); }
    std::vector<Cell> ToArray() const;
    operator std::vector<Cell>() const { return ToArray(); }
    /// A Length() x 1 matrix, without rows for an empty vector.
    operator M() const;
    /// @}

    /// @name Elements as a range, and views
    /// For the standard library: `std::span<double> cells = x`, `std::ranges::sort(x)`, `for (double& e :
    /// x)`. A released vector has none. Good until the block is replaced or released.
    /// @{

    Cell* data() noexcept { return a.get(); }
    const Cell* data() const noexcept { return a.get(); }
    std::size_t size() const noexcept { return a ? static_cast<std::size_t>(mCells) : 0; }
    bool empty() const noexcept { return size() == 0; }
    Cell* begin() noexcept { return a.get(); }
    const Cell* begin() const noexcept { return a.get(); }
    Cell* end() noexcept { return a.get() + size(); }
    const Cell* end() const noexcept { return a.get() + size(); }

    /// All of it, or `count` elements from `first` on, each `stride` behind the one before.
    /// @throws IndexOutOfBoundsException  "Element 9 is outside 4 elements."
    VectorView<Cell> View() & { return {cells(), mCells, 1, BlockWitness(a.get())}; }
    VectorView<const Cell> View() const& { return {cells(), mCells, 1, BlockWitness(a.get())}; }
    void View() const&& = delete;
    VectorView<Cell> View(std::int32_t first, std::int32_t count, std::int32_t stride = 1) &
    {
        requirePart(first, count, stride);
        return {cells() + first, count, stride, BlockWitness(a.get())};
    }
    VectorView<const Cell> View(std::int32_t first, std::int32_t count, std::int32_t stride = 1) const&
    {
        requirePart(first, count, stride);
        return {cells() + first, count, stride, BlockWitness(a.get())};
    }
    void View(std::int32_t, std::int32_t, std::int32_t = 1) const&& = delete;
    /// @}

    /// @name Life
    /// @{

    V Clone() const;
    /// Releases the block at once; may be repeated.
    void Dispose() noexcept { a.reset(); }
    /// @}

    /// @name Changes in place
    /// @{

    /// As `Matrix::FillRandom`, first element to last.
    void FillRandom() { FillRandom(0.0, 10.0, 0); }
    void FillRandom(double lowerBound, double upperBound) { FillRandom(lowerBound, upperBound, 0); }
    void FillRandom(double lowerBound, double upperBound, std::int32_t decimals);
    /// @}

    /// @name Reductions and tests
    /// @{

    /// Running sum in index order.
    Cell Sum() const;
    /// Sum of magnitudes; that of a complex element is |re| + |im| here, not its modulus.
    double AbsSum() const;
    /// Euclidean norm.
    double Norm() const;
    /// Some element, or part of one, is infinite (NaN).
    bool HasINFs() const;
    bool HasNaNs() const;
    /// True if all elements are finite, in both parts if they are complex. (`Matrix` answers the opposite
    /// question under this name.)
    bool IsFinite() const;
    /// @}

    /// @name Element-wise operations
    /// New vectors; the operands stay as they are. `x * y` is the element-wise product. Products of complex
    /// elements are taken by the plain formula (re*re - im*im, im*re + re*im), without a look for infinities.
    /// @throws SizeMismatchException  lengths differ: "Vectors are not of the same size."
    /// @{

    friend V operator+(Cell alpha, const V& x) { return Add(x, alpha); }
    friend V operator+(const V& x, Cell alpha) { return Add(x, alpha); }
    friend V operator-(Cell alpha, const V& x) { return Subtract(alpha, x); }
    friend V operator-(const V& x, Cell alpha) { return Subtract(x, alpha); }
    friend V operator-(const V& x, const V& y) { return Subtract(x, y); }
    friend V operator*(Cell alpha, const V& x) { return Multiply(x, alpha); }
    friend V operator*(const V& x, Cell alpha) { return Multiply(x, alpha); }
    friend V operator*(const V& x, const V& y) { return Multiply(x, y); }
    /// Of complex elements by the division of `std::complex`; the two below by LAPACK's `dladiv`. Last bits
    /// and the outcome for a zero differ between them, and callers compare with stored results, so each keeps
    /// its own.
    friend V operator/(Cell alpha, const V& x) { return Divide(alpha, x); }
    /// No division tests for zero: infinities and NaN tell of it. `Matrix` refuses a zero.
    friend V operator/(const V& x, Cell alpha) { return Divide(x, alpha); }
    friend V operator/(const V& x, const V& y) { return Divide(x, y); }

    /// y := alpha*x + y in place. @throws SizeMismatchException  as above; y is unchanged
    static void Add(Cell alpha, const V& x, V& y);
    static V Add(const V& x, Cell alpha);
    static V Add(const V& x, const V& y) { return x + y; }
    static V Subtract(Cell alpha, const V& x);
    static V Subtract(const V& x, Cell alpha);
    static V Subtract(const V& x, const V& y);
    static V Multiply(const V& x, Cell alpha);
    static V Multiply(const V& x, const V& y);
    static V Divide(Cell alpha, const V& x);
    static V Divide(const V& x, Cell alpha);
    static V Divide(const V& x, const V& y);

    /// The same in place, without a new block, also with y the same vector: `x += y` is `x = x + y`.
    /// @throws SizeMismatchException  "Vectors are not of the same size: 3 plus 4."; x is unchanged
    V& operator+=(const V& y);
    V& operator-=(const V& y);
    V& operator*=(const V& y);
    V& operator/=(const V& y);
    V& operator+=(Cell alpha);
    V& operator-=(Cell alpha);
    V& operator*=(Cell alpha);
    V& operator/=(Cell alpha);

    /// The caller's function on each element x of a copy, in index order; i is the element's index. The
    /// one-integer form passes the constant, not the index: functions written for it must keep working. What
    /// the function makes of this object does not show in the result. Of real elements they take
    /// `DoubleFunction1Dbl` and its like, of complex ones `ComplexFunction1Cmp` and its like.
    V ApplyFunction(const FunctionObject<Cell(Cell)>& function) const;                   ///< f(x)
    V ApplyFunction(const FunctionObject<Cell(Cell, Cell)>& function, Cell value) const; ///< f(x, value)
    V ApplyFunction(const FunctionObject<Cell(Cell, std::int32_t)>& function,
                    std::int32_t value) const; ///< f(x, value)
    V ApplyFunction(const FunctionObject<Cell(Cell, std::int32_t, std::int32_t)>& function,
                    std::int32_t value) const; ///< f(x, value, i)
    V ApplyFunction(const FunctionObject<Cell(Cell, Cell, std::int32_t, std::int32_t)>& function, Cell value1,
                    std::int32_t value2) const; ///< f(x, value1, value2, i)
    /// @}

    /// @name Text
    /// One line: `leftBorder`, the elements with `separator` between them, `rightBorder`, `endVector`. A
    /// complex element reads "(re,imi)". Each number, a real element or a part of a complex one, is padded on
    /// the left to the width of the widest of all. Not given, they are "F3", " ", "| ", " |" and "\n".
    /// Formats are those of `FormatNumber`; without a locale, that of `std::locale()`. Each number is
    /// formatted once, the result is allocated once.
    /// @throws FormatException  "Format specifier was invalid."
    /// @{

    std::string ToString() const;
    std::string ToString(std::string_view format) const;
    std::string ToString(std::string_view format, std::string_view separator) const;
    std::string ToString(std::string_view format, std::string_view separator, std::string_view leftBorder,
                         std::string_view rightBorder, std::string_view endVector) const;
    std::string ToString(const std::locale& provider, std::string_view format) const;
    std::string ToString(const std::locale& provider, std::string_view format, std::string_view separator,
                         std::string_view leftBorder, std::string_view rightBorder,
                         std::string_view endVector) const;
    /// Writes `ToString()`.
    friend std::ostream& operator<<(std::ostream& out, const V& vector) { return vector.writeTo(out); }
    /// Writes the same line with so many significant digits, and ends it: `ToString("G6")`.
    /// @throws ArgumentOutOfRangeException  "A number has 1 to 17 digits, not 18."
    void Print(std::ostream& out, std::int32_t digits = 6) const;
    /// @}

    /// @name Bytes and archive
    /// @{

    /// Length() as a 32-bit number, then the block, in the machine's byte order.
    /// @throws NotSupportedException  the block does not fit: "The byte form holds at most 2147483647 bytes."
    std::vector<std::byte> Data() const;
    /// Reads that form: `Resize` of `Vector` or `CVector`, then the cells. A surplus is ignored. An array
    /// that ends before its cells do fails with the object resized and the cells that are there written;
    /// callers use what is there.
    /// @throws IndexOutOfRangeException  too short; without a whole header nothing has changed
    /// @throws InvalidSizeException      a length that `Resize` refuses; nothing has changed
    /// @throws NotEnoughMemoryException  there is no memory for the length; nothing has changed
    void Data(std::span<const std::byte> data);
    /// Adds "Size" (a 32-bit number) and "Data" (doubles in index order, of complex elements the real and
    /// imaginary parts in turn).
    void GetObjectData(SerializationInfo& info, const StreamingContext& context) const;
    /// @}

    /// @name Identity
    /// Cells are compared as numbers, part by part, with no tolerance and no shortcut for the same object:
    /// 0.0 equals -0.0, and an object that holds a NaN is not equal to itself.
    /// @{

    /// Length() exclusive-or'ed with the two halves of every number, be it an element or a part of one: their
    /// order does not matter, and pairs of equal ones cancel.
    std::int32_t GetHashCode() const;
    friend bool operator==(const V& x, const V& y) { return x.sameAs(y); }
    /// Null equals null and nothing else. `operator!=` and its like are the negation.
    static bool Equals(const V* x, const V* y) { return x && y ? *x == *y : x == y; }
    bool Equals(const V& object) const { return self() == object; }
    bool Equals(const V* object) const { return object && self() == *object; }
    /// What the holder holds decides; an empty one, or one of another class, is not equal.
    bool Equals(const std::any& object) const { return Equals(std::any_cast<V>(&object)); }
    bool Equals(const std::optional<V>& object) const { return object && self() == *object; }
    /// False: an object of another class, the twin or a matrix among them.
    template <AnotherClass<V> T>
    bool Equals(const T&) const
    {
        return false;
    }
    /// @}

protected:
    friend struct ArchiveAccess;

    /// Restores what `GetObjectData` wrote; `FromArchive` is the way here.
    /// @throws SerializationException    a key is missing or of another type
    /// @throws NotEnoughMemoryException  "Size" is more than there is, or negative: it is not looked at, so
    /// that the archive of an empty vector is read
    /// @throws IndexOutOfRangeException  "Data" is short; a surplus is ignored
    DenseVector(const SerializationInfo& info, const StreamingContext& context);

    DenseVector(const DenseVector& vector);
    /// Takes the block over; `vector` is left released, its length still readable.
    DenseVector(DenseVector&& vector) noexcept = default;
    ~DenseVector() = default;

private:
    friend V;
    friend class DenseMatrix<Cell>;
    friend struct AccessTo<Cell>;

    /// Adopts the block, which holds `size` elements.
    DenseVector(Block<Cell>&& block, std::int32_t size) noexcept : mCells(size), a(std::move(block)) {}

    const V& self() const noexcept { return static_cast<const V&>(*this); }
    V& self() noexcept { return static_cast<V&>(*this); }
    /// Keeps the first elements in a new block, whatever the size; new ones are zero.
    void resizeTo(std::int32_t size);
    void swap(DenseVector& other) noexcept;
    template <class Function>
    V applied(Function function) const;
    std::ostream& writeTo(std::ostream& out) const;
    bool sameAs(const DenseVector& other) const;

    void requirePart(std::int32_t first, std::int32_t count, std::int32_t stride) const
    {
        const std::int64_t last = first + std::int64_t{stride} * (std::int64_t{count} - 1);
        if (first < 0 || first > mCells || count < 0 || stride < 1) raiseOutside("Element", first, mCells);
        if (count > 0 && last >= mCells) raiseOutside("Element", last, mCells);
    }
    /// element := function(element, other's), in place.
    template <class Function>
    V& combine(std::string_view operation, const V& y, Function function);
    template <class Function>
    V& each(Function function);
    Line<Cell> line();
    Line<const Cell> line() const;
    Cell* cells() { return kept(a); }
    const Cell* cells() const { return kept(a); }
    std::int32_t checked(std::int32_t index) const
    {
        if (index < 0 || index >= mCells) raiseVectorIndex();
        return index;
    }

    std::int32_t mCells;
    Block<Cell> a;
};

} // namespace Velmar::Lintrix::detail
