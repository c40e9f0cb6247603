#pragma once
/// @file
/// The dense complex vector, the twin of `Vector`. What the two share stands in `detail::DenseVector`.
///
/// Where they differ (`Resize`, `Clear`, `Normalize`, the sum of two, `DotProduct`), callers of each rely on
/// what it does, and the members say so. There is no conversion from `Vector`, and no operator takes one.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/dense/vector.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>

namespace Velmar::Lintrix {

namespace detail {
extern template class DenseVector<Complex>;
}

/// A one-dimensional array of complex numbers.
class LINTRIX_EXPORT CVector : public detail::DenseVector<Complex> {
public:
    /// @name Construction and conversion
    /// @{

    /// 3 zeros.
    CVector() = default;
    using DenseVector::DenseVector;
    CVector(const CVector&) = default;
    /// Takes the block over; the source is left released, its length still readable.
    CVector(CVector&&) noexcept = default;
    CVector& operator=(CVector vector) noexcept
    {
        swap(vector);
        return *this;
    }
    ~CVector() = default;
    /// The real (imaginary) parts of all elements.
    Vector Real() const;
    Vector Imag() const;
    /// A Length() x 1 matrix, without rows for an empty vector; `operator CMatrix` by name.
    CMatrix ToCMatrix() const { return *this; }
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
    /// `MaximumOne`: divides by the real or imaginary part of largest magnitude (the first of several), with
    /// its sign, unless it is 0. `UnitLength`: divides by the root of the sum of squares, which is not that
    /// of squared moduli: nothing is conjugated, the divisor may be complex, and where the sum is 0, as for
    /// [1, i], nothing happens. `ZScores`: subtracts the mean, then divides by the Euclidean norm unless that
    /// is 0; there is no division by the count. Other modes do nothing. `Vector::Normalize` differs in all
    /// three, and callers of each compare with stored results, so they stay.
    void Normalize(NormalizeMode mode);
    /// @}

    /// @name Operations of two vectors
    /// @throws SizeMismatchException  "Vectors are not of the same size."
    /// @{

    /// The sum of x[i]*y[i], nothing conjugated, through `zdotu`.
    Complex DotProduct(const CVector& vector) const { return DotProduct(*this, vector); }
    static Complex DotProduct(const CVector& x, const CVector& y);
    /// The lengths are compared before anything is allocated, unlike those of two `Vector`.
    LINTRIX_EXPORT friend CVector operator+(const CVector& x, const CVector& y);
    /// @}
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
