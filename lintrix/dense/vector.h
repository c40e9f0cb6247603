#pragma once
/// @file
/// The dense real vector: elements next to each other in one block, with an arithmetic of its own.
///
/// It stands beside `Matrix` and is not a kind of it. Where the two differ (division by a scalar, `operator*`
/// of two objects, `IsFinite`, `Normalize`), callers of each rely on what it does, and the members say so.

#include <lintrix/dense/matrix.h>

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

namespace detail {
[[noreturn]] LINTRIX_EXPORT void raiseVectorIndex();
}

/// A one-dimensional array of doubles.
///
/// Allocation raises NotEnoughMemoryException with its default message, in every member that makes a block; a
/// failing member leaves the object as it was. An object is used by one thread at a time; concurrent reading
/// is safe.
class LINTRIX_EXPORT Vector {
public:
    /// @name Construction
    /// The size check, where there is one: from 1 to MaxSize, before anything is allocated.
    /// @throws InvalidSizeException  "Invalid number of rows or columns."
    /// @{

    /// 3 zeros.
    Vector();
    /// `size` zeros. Round brackets: `Vector{3}` is the one element 3.
    explicit Vector(std::int32_t size);
    /// `size` copies of `value`.
    Vector(std::int32_t size, double value);
    /// The elements of `array`, which may be empty. @throws InvalidSizeException  more than MaxSize elements
    Vector(std::span<const double> array);
    Vector(const std::vector<double>& array) : Vector(std::span<const double>(array)) {}
    Vector(std::initializer_list<double> array) : Vector(std::span(array.begin(), array.size())) {}
    Vector(const Vector& vector);
    /// Takes the block over; `vector` is left released, its length still readable.
    Vector(Vector&& vector) noexcept;
    Vector& operator=(Vector vector) noexcept;
    ~Vector() = default;
    /// @}

    /// @name Access
    /// @{

    /// Element `index`, counted from 0. @throws IndexOutOfBoundsException  "Index exceeds vector size."
    double Item(std::int32_t index) const { return cells()[checked(index)]; }
    void Item(std::int32_t index, double value) { cells()[checked(index)] = value; }
    double operator()(std::int32_t index) const { return Item(index); }
    double& operator()(std::int32_t index) { return cells()[checked(index)]; }
    double operator[](std::int32_t index) const { return Item(index); }
    double& operator[](std::int32_t index) { return cells()[checked(index)]; }

    /// Keeps answering after release.
    std::int32_t Length() const noexcept { return mCells; }
    /// `Resize(value)` if the value differs.
    void Length(std::int32_t value);
    /// Address of the block; good until it is replaced or released.
    std::intptr_t DataPtr() const noexcept { return reinterpret_cast<std::intptr_t>(a.get()); }
    std::vector<double> ToArray() const;
    operator std::vector<double>() const { return ToArray(); }
    /// A Length() x 1 matrix, without rows for an empty vector.
    Matrix ToMatrix() const;
    operator Matrix() const { return ToMatrix(); }
    /// @}

    /// @name Life
    /// @{

    Vector Clone() const;
    /// Releases the block at once; may be repeated.
    void Dispose() noexcept { a.reset(); }
    /// @}

    /// @name Changes in place
    /// @{

    /// All elements to zero bytes.
    void Clear() { std::memset(cells(), 0, static_cast<std::size_t>(mCells) * sizeof(double)); }
    /// Keeps the first elements, new ones are zero; the same size keeps the block.
    /// @throws InvalidSizeException  size below 1 or above MaxSize
    void Resize(std::int32_t size);
    /// As `Matrix::FillRandom`, first element to last.
    void FillRandom() { FillRandom(0.0, 10.0, 0); }
    void FillRandom(double lowerBound, double upperBound) { FillRandom(lowerBound, upperBound, 0); }
    void FillRandom(double lowerBound, double upperBound, std::int32_t decimals);
    /// `UnitLength`: divides by the Euclidean norm unless that is 0. `MaximumOne`: multiplies by the element
    /// of largest magnitude, so [2, 4] becomes [8, 16]. `ZScores`: (x - mean) / |last - mean|, scaled by the
    /// last centred element alone, or only centred if that is 0. Other modes do nothing.
    /// `Matrix::NormalizeCols` has the usual forms of the last two; callers compare vectors with stored
    /// results, so these stay.
    void Normalize(NormalizeMode mode);
    /// @}

    /// @name Reductions and tests
    /// @{

    /// Running sum in index order.
    double Sum() const;
    /// Sum of magnitudes.
    double AbsSum() const;
    /// Euclidean norm.
    double Norm() const;
    /// Inner product, one running sum in index order.
    /// @throws SizeMismatchException  "Vectors are not of the same size."
    double DotProduct(const Vector& vector) const { return DotProduct(*this, vector); }
    static double DotProduct(const Vector& x, const Vector& y);
    bool HasINFs() const;
    bool HasNaNs() const;
    /// True if all elements are finite. (`Matrix` answers the opposite question under this name.)
    bool IsFinite() const;
    /// @}

    /// @name Element-wise operations
    /// New vectors; the operands stay as they are. `x * y` is the element-wise product.
    /// @throws SizeMismatchException  lengths differ: "Vectors are not of the same size."
    /// @{

    LINTRIX_EXPORT friend Vector operator+(double alpha, const Vector& vector);
    LINTRIX_EXPORT friend Vector operator+(const Vector& y, double alpha);
    LINTRIX_EXPORT friend Vector operator+(const Vector& x, const Vector& y);
    LINTRIX_EXPORT friend Vector operator-(double alpha, const Vector& x);
    LINTRIX_EXPORT friend Vector operator-(const Vector& x, double alpha);
    LINTRIX_EXPORT friend Vector operator-(const Vector& x, const Vector& y);
    LINTRIX_EXPORT friend Vector operator*(double alpha, const Vector& x);
    LINTRIX_EXPORT friend Vector operator*(const Vector& x, double alpha);
    LINTRIX_EXPORT friend Vector operator*(const Vector& x, const Vector& y);
    LINTRIX_EXPORT friend Vector operator/(double alpha, const Vector& x);
    /// Divides, and does not test for zero: infinities and NaN tell of it. `Matrix` refuses a zero.
    LINTRIX_EXPORT friend Vector operator/(const Vector& x, double alpha);
    LINTRIX_EXPORT friend Vector operator/(const Vector& x, const Vector& y);

    /// y := alpha*x + y in place. @throws SizeMismatchException  as above; y is unchanged
    static void Add(double alpha, const Vector& x, Vector& y);
    static Vector Add(const Vector& x, double alpha) { return x + alpha; }
    static Vector Add(const Vector& x, const Vector& y) { return x + y; }
    static Vector Subtract(double alpha, const Vector& x) { return alpha - x; }
    static Vector Subtract(const Vector& x, double alpha) { return x - alpha; }
    static Vector Subtract(const Vector& x, const Vector& y) { return x - y; }
    static Vector Multiply(const Vector& x, double alpha) { return x * alpha; }
    static Vector Multiply(const Vector& x, const Vector& y) { return x * y; }
    static Vector Divide(double alpha, const Vector& x) { return alpha / x; }
    static Vector Divide(const Vector& x, double alpha) { return x / alpha; }
    static Vector Divide(const Vector& x, const Vector& y) { return x / y; }

    /// The caller's function on each element x of a copy, in index order; i is the element's index. The
    /// one-integer form passes the constant, not the index: functions written for it must keep working. What
    /// the function makes of this object does not show in the result.
    Vector ApplyFunction(const DoubleFunction1Dbl& function) const;                         ///< f(x)
    Vector ApplyFunction(const DoubleFunction2Dbl& function, double value) const;           ///< f(x, value)
    Vector ApplyFunction(const DoubleFunction1Dbl1Int& function, std::int32_t value) const; ///< f(x, value)
    Vector ApplyFunction(const DoubleFunction1Dbl2Int& function,
                         std::int32_t value) const; ///< f(x, value, i)
    Vector ApplyFunction(const DoubleFunction2Dbl2Int& function, double value1,
                         std::int32_t value2) const; ///< f(x, value1, value2, i)
    /// @}

    /// @name Text
    /// One line: `leftBorder`, the elements with `separator` between them, each padded on the left to the
    /// width of the widest, `rightBorder`, `endVector`. Not given, they are "F3", " ", "| ", " |" and "\n".
    /// Formats are those of `FormatNumber`; without a locale, that of `std::locale()`. Each cell is formatted
    /// once, the result is allocated once.
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
    LINTRIX_EXPORT friend std::ostream& operator<<(std::ostream& out, const Vector& vector);
    /// @}

    /// @name Bytes and archive
    /// @{

    /// Length() as a 32-bit number, then the block, in the machine's byte order.
    /// @throws NotSupportedException  the block does not fit: "The byte form holds at most 2147483647 bytes."
    std::vector<std::byte> Data() const;
    /// Reads that form: `Resize`, then the cells. A surplus is ignored. An array that ends before its cells
    /// do fails with the object resized and the cells that are there written; callers use what is there.
    /// @throws IndexOutOfRangeException  too short; without a whole header nothing has changed
    /// @throws InvalidSizeException      a new length outside 1 to MaxSize; nothing has changed
    /// @throws NotEnoughMemoryException  there is no memory for the length; nothing has changed
    void Data(std::span<const std::byte> data);
    /// Adds "Size" (a 32-bit number) and "Data" (the elements in index order).
    void GetObjectData(SerializationInfo& info, const StreamingContext& context) const;
    /// @}

    /// @name Identity
    /// Cells are compared as numbers, with no tolerance and no shortcut for the same object: 0.0 equals -0.0,
    /// and an object that holds a NaN is not equal to itself.
    /// @{

    /// Length() exclusive-or'ed with the two halves of every cell: the order of the cells does not matter,
    /// and pairs of equal cells cancel.
    std::int32_t GetHashCode() const;
    LINTRIX_EXPORT friend bool operator==(const Vector& x, const Vector& y);
    /// Null equals null and nothing else. `operator!=` and its like are the negation.
    static bool Equals(const Vector* x, const Vector* y) { return x && y ? *x == *y : x == y; }
    bool Equals(const Vector& object) const { return *this == object; }
    bool Equals(const Vector* object) const { return object && *this == *object; }
    /// What the holder holds decides; an empty one, or one of another class, is not equal.
    bool Equals(const std::any& object) const { return Equals(std::any_cast<Vector>(&object)); }
    bool Equals(const std::optional<Vector>& object) const { return object && *this == *object; }
    /// False: an object of another class, a matrix among them.
    template <AnotherClass<Vector> T>
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
    Vector(const SerializationInfo& info, const StreamingContext& context);

private:
    friend struct detail::AccessTo<double>;
    friend class detail::DenseMatrix<double>;

    /// Adopts the block, which holds `size` elements.
    Vector(detail::Block<double>&& block, std::int32_t size) noexcept : mCells(size), a(std::move(block)) {}

    void swap(Vector& other) noexcept;
    void toZScores();
    template <class Function>
    Vector applied(Function function) const;
    detail::Line<double> line();
    detail::Line<const double> line() const;

    double* cells() { return detail::kept(a); }
    const double* cells() const { return detail::kept(a); }
    std::int32_t checked(std::int32_t index) const
    {
        if (index < 0 || index >= mCells) detail::raiseVectorIndex();
        return index;
    }

    std::int32_t mCells;
    detail::Block<double> a;
};

static_assert(Disposable<Vector> && Cloneable<Vector> && Serializable<Vector>);

} // namespace Velmar::Lintrix

/// By `GetHashCode`.
template <>
struct std::hash<Velmar::Lintrix::Vector> {
    /// The code, as an unsigned number.
    std::size_t operator()(const Velmar::Lintrix::Vector& vector) const
    {
        return static_cast<std::uint32_t>(vector.GetHashCode());
    }
};
