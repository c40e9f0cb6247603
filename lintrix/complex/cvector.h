#pragma once
/// @file
/// The dense complex vector: elements next to each other in one block, with an arithmetic of its own.
///
/// The twin of `Vector`. Where the two differ (`Resize`, `Clear`, `Normalize`, the sum of two, division),
/// callers of each rely on what it does, and the members say so. There is no conversion from `Vector`, and no
/// operator takes one.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/dense/vector.h>

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

/// A one-dimensional array of complex numbers.
///
/// Allocation raises NotEnoughMemoryException with its default message, in every member that makes a block; a
/// failing member leaves the object as it was. An object is used by one thread at a time; concurrent reading
/// is safe.
class LINTRIX_EXPORT CVector {
public:
    /// @name Construction
    /// The size check, where there is one: from 1 to MaxSize, before anything is allocated.
    /// @throws InvalidSizeException  "Invalid number of rows or columns."
    /// @{

    /// 3 zeros.
    CVector();
    /// `size` zeros. Round brackets: `CVector{3}` is the one element 3.
    explicit CVector(std::int32_t size);
    /// `size` copies of `value`.
    CVector(std::int32_t size, Complex value);
    /// The elements of `array`, which may be empty. @throws InvalidSizeException  more than MaxSize elements
    CVector(std::span<const Complex> array);
    CVector(const std::vector<Complex>& array) : CVector(std::span<const Complex>(array)) {}
    CVector(std::initializer_list<Complex> array) : CVector(std::span(array.begin(), array.size())) {}
    CVector(const CVector& vector);
    /// Takes the block over; `vector` is left released, its length still readable.
    CVector(CVector&& vector) noexcept;
    CVector& operator=(CVector vector) noexcept;
    ~CVector() = default;
    /// @}

    /// @name Access
    /// @{

    /// Element `index`, counted from 0. @throws IndexOutOfBoundsException  "Index exceeds vector size."
    Complex Item(std::int32_t index) const { return cells()[checked(index)]; }
    void Item(std::int32_t index, Complex value) { cells()[checked(index)] = value; }
    Complex operator()(std::int32_t index) const { return Item(index); }
    Complex& operator()(std::int32_t index) { return cells()[checked(index)]; }
    Complex operator[](std::int32_t index) const { return Item(index); }
    Complex& operator[](std::int32_t index) { return cells()[checked(index)]; }

    /// Keeps answering after release.
    std::int32_t Length() const noexcept { return mCells; }
    /// `Resize(value)` if the value differs.
    void Length(std::int32_t value);
    /// Address of the block, real and imaginary parts in turn; good until it is replaced or released.
    std::intptr_t DataPtr() const noexcept { return reinterpret_cast<std::intptr_t>(a.get()); }
    /// The real (imaginary) parts of all elements.
    Vector Real() const;
    Vector Imag() const;
    std::vector<Complex> ToArray() const;
    operator std::vector<Complex>() const { return ToArray(); }
    /// A Length() x 1 matrix.
    CMatrix ToCMatrix() const;
    operator CMatrix() const { return ToCMatrix(); }
    /// @}

    /// @name Life
    /// @{

    CVector Clone() const;
    /// Releases the block at once; may be repeated.
    void Dispose() noexcept { a.reset(); }
    /// @}

    /// @name Changes in place
    /// @{

    /// The first half of the block to zero bytes: 8 bytes an element, as many as a `Vector` of this length
    /// has. Elements from Length()/2 on keep their values, and of an odd length the middle one its imaginary
    /// part. Callers keep the second half over a `Clear`, so it stays; `CMatrix::Clear` clears all.
    void Clear()
    {
        std::memset(static_cast<void*>(cells()), 0, static_cast<std::size_t>(mCells) * sizeof(double));
    }
    /// Keeps the first elements, new ones are zero. The block is replaced whatever the size, so that
    /// `DataPtr` changes also for the same one (`Vector` keeps it then); callers ask for a fresh block so.
    /// @throws InvalidSizeException  size below 1 or above MaxSize, also if it is that of an empty vector
    void Resize(std::int32_t size);
    /// As `CMatrix::FillRandom`, first element to last.
    void FillRandom() { FillRandom(0.0, 10.0, 0); }
    void FillRandom(double lowerBound, double upperBound) { FillRandom(lowerBound, upperBound, 0); }
    void FillRandom(double lowerBound, double upperBound, std::int32_t decimals);
    /// `MaximumOne`: divides by the real or imaginary part of largest magnitude (the first of several), with
    /// its sign, unless it is 0. `UnitLength`: divides by the root of the sum of squares, which is not that
    /// of squared moduli: nothing is conjugated, the divisor may be complex, and where the sum is 0, as for
    /// [1, i], nothing happens. `ZScores`: subtracts the mean, then divides by the Euclidean norm unless that
    /// is 0; there is no division by the count. Other modes do nothing. `Vector::Normalize` differs in all
    /// three, and callers of each compare with stored results, so they stay.
    void Normalize(NormalizeMode mode);
    /// @}

    /// @name Reductions and tests
    /// @{

    /// Running sum in index order.
    Complex Sum() const;
    /// Sum of |re| + |im| over the elements, not of their moduli.
    double AbsSum() const;
    /// Euclidean norm.
    double Norm() const;
    /// The sum of x[i]*y[i], nothing conjugated, through `zdotu`.
    /// @throws SizeMismatchException  "Vectors are not of the same size."
    Complex DotProduct(const CVector& vector) const { return DotProduct(*this, vector); }
    static Complex DotProduct(const CVector& x, const CVector& y);
    /// Some part of an element is infinite (NaN).
    bool HasINFs() const;
    bool HasNaNs() const;
    /// True if both parts of all elements are finite.
    bool IsFinite() const;
    /// @}

    /// @name Element-wise operations
    /// New vectors; the operands stay as they are. `x * y` is the element-wise product. Products are taken by
    /// the plain formula (re*re - im*im, im*re + re*im), without a look for infinities.
    /// @throws SizeMismatchException  lengths differ, before anything is allocated: "Vectors are not of the
    /// same size."
    /// @{

    LINTRIX_EXPORT friend CVector operator+(Complex alpha, const CVector& x);
    LINTRIX_EXPORT friend CVector operator+(const CVector& x, Complex alpha);
    LINTRIX_EXPORT friend CVector operator+(const CVector& x, const CVector& y);
    LINTRIX_EXPORT friend CVector operator-(Complex alpha, const CVector& x);
    LINTRIX_EXPORT friend CVector operator-(const CVector& x, Complex alpha);
    LINTRIX_EXPORT friend CVector operator-(const CVector& x, const CVector& y);
    LINTRIX_EXPORT friend CVector operator*(Complex alpha, const CVector& x);
    LINTRIX_EXPORT friend CVector operator*(const CVector& x, Complex alpha);
    LINTRIX_EXPORT friend CVector operator*(const CVector& x, const CVector& y);
    /// By the division of `std::complex`; the two below by LAPACK's `dladiv`. Last bits and the outcome for a
    /// zero differ between them, and callers compare with stored results, so each keeps its own. No division
    /// tests for zero.
    LINTRIX_EXPORT friend CVector operator/(Complex alpha, const CVector& x);
    LINTRIX_EXPORT friend CVector operator/(const CVector& x, Complex alpha);
    LINTRIX_EXPORT friend CVector operator/(const CVector& x, const CVector& y);

    /// y := alpha*x + y in place. @throws SizeMismatchException  as above; y is unchanged
    static void Add(Complex alpha, const CVector& x, CVector& y);
    static CVector Add(const CVector& x, Complex alpha) { return x + alpha; }
    static CVector Add(const CVector& x, const CVector& y) { return x + y; }
    static CVector Subtract(Complex alpha, const CVector& x) { return alpha - x; }
    static CVector Subtract(const CVector& x, Complex alpha) { return x - alpha; }
    static CVector Subtract(const CVector& x, const CVector& y) { return x - y; }
    static CVector Multiply(const CVector& x, Complex alpha) { return x * alpha; }
    static CVector Multiply(const CVector& x, const CVector& y) { return x * y; }
    static CVector Divide(Complex alpha, const CVector& x) { return alpha / x; }
    static CVector Divide(const CVector& x, Complex alpha) { return x / alpha; }
    static CVector Divide(const CVector& x, const CVector& y) { return x / y; }

    /// The caller's function on each element x of a copy, in index order; i is the element's index. The
    /// one-integer form passes the constant, not the index: functions written for it must keep working. What
    /// the function makes of this object does not show in the result.
    CVector ApplyFunction(const ComplexFunction1Cmp& function) const;                         ///< f(x)
    CVector ApplyFunction(const ComplexFunction2Cmp& function, Complex value) const;          ///< f(x, value)
    CVector ApplyFunction(const ComplexFunction1Cmp1Int& function, std::int32_t value) const; ///< f(x, value)
    CVector ApplyFunction(const ComplexFunction1Cmp2Int& function,
                          std::int32_t value) const; ///< f(x, value, i)
    CVector ApplyFunction(const ComplexFunction2Cmp2Int& function, Complex value1,
                          std::int32_t value2) const; ///< f(x, value1, value2, i)
    /// @}

    /// @name Text
    /// One line: `leftBorder`, the elements with `separator` between them, `rightBorder`, `endVector`. An
    /// element reads "(re,imi)", each part padded on the left to the width of the widest part of all. Not
    /// given, they are "F3", " ", "| ", " |" and "\n". Formats are those of `FormatNumber`; without a locale,
    /// that of `std::locale()`. Each part is formatted once, the result is allocated once.
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
    LINTRIX_EXPORT friend std::ostream& operator<<(std::ostream& out, const CVector& vector);
    /// @}

    /// @name Bytes and archive
    /// @{

    /// Length() as a 32-bit number, then the block, in the machine's byte order.
    /// @throws NotSupportedException  the block does not fit: "The byte form holds at most 2147483647 bytes."
    std::vector<std::byte> Data() const;
    /// Reads that form: `Resize`, which replaces the block whatever the length, then the cells. A surplus is
    /// ignored. An array that ends before its cells do fails with the object resized and the cells that are
    /// there written; callers use what is there.
    /// @throws IndexOutOfRangeException  too short; without a whole header nothing has changed
    /// @throws InvalidSizeException      a length outside 1 to MaxSize, that of an empty vector among them;
    /// nothing has changed
    /// @throws NotEnoughMemoryException  there is no memory for the length; nothing has changed
    void Data(std::span<const std::byte> data);
    /// Adds "Size" (a 32-bit number) and "Data" (doubles: real and imaginary parts in turn, in index order).
    void GetObjectData(SerializationInfo& info, const StreamingContext& context) const;
    /// @}

    /// @name Identity
    /// Cells are compared as numbers, part by part, with no tolerance and no shortcut for the same object:
    /// 0.0 equals -0.0, and an object that holds a NaN is not equal to itself.
    /// @{

    /// Length() exclusive-or'ed with the two halves of every part: their order does not matter, and pairs of
    /// equal parts cancel.
    std::int32_t GetHashCode() const;
    LINTRIX_EXPORT friend bool operator==(const CVector& x, const CVector& y);
    /// Null equals null and nothing else. `operator!=` and its like are the negation.
    static bool Equals(const CVector* x, const CVector* y) { return x && y ? *x == *y : x == y; }
    bool Equals(const CVector& object) const { return *this == object; }
    bool Equals(const CVector* object) const { return object && *this == *object; }
    /// What the holder holds decides; an empty one, or one of another class, is not equal.
    bool Equals(const std::any& object) const { return Equals(std::any_cast<CVector>(&object)); }
    bool Equals(const std::optional<CVector>& object) const { return object && *this == *object; }
    /// False: an object of another class, a `Vector` or a matrix among them.
    template <AnotherClass<CVector> T>
    bool Equals(const T&) const
    {
        return false;
    }
    /// @}

protected:
    friend struct detail::ArchiveAccess;

    /// Restores what `GetObjectData` wrote; `FromArchive` is the way here.
    /// @throws SerializationException    a key is missing or of another type
    /// @throws NotEnoughMemoryException  "Size" is more than there is, or negative: it is not looked at, so
    /// that the archive of an empty vector is read
    /// @throws IndexOutOfRangeException  "Data" is short; a surplus is ignored
    CVector(const SerializationInfo& info, const StreamingContext& context);

private:
    friend struct detail::AccessTo<Complex>;
    friend class detail::DenseMatrix<Complex>;

    /// Adopts the block, which holds `size` elements.
    CVector(detail::Block<Complex>&& block, std::int32_t size) noexcept : mCells(size), a(std::move(block)) {}

    void swap(CVector& other) noexcept;
    template <class Function>
    CVector applied(Function function) const;
    detail::Line<Complex> line();
    detail::Line<const Complex> line() const;

    Complex* cells() { return detail::kept(a); }
    const Complex* cells() const { return detail::kept(a); }
    std::int32_t checked(std::int32_t index) const
    {
        if (index < 0 || index >= mCells) detail::raiseVectorIndex();
        return index;
    }

    std::int32_t mCells;
    detail::Block<Complex> a;
};

static_assert(Disposable<CVector> && Cloneable<CVector> && Serializable<CVector>);

} // namespace Velmar::Lintrix

/// By `GetHashCode`.
template <>
struct std::hash<Velmar::Lintrix::CVector> {
    /// The code, as an unsigned number.
    std::size_t operator()(const Velmar::Lintrix::CVector& vector) const
    {
        return static_cast<std::uint32_t>(vector.GetHashCode());
    }
};
