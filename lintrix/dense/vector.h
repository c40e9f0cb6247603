#pragma once
/// @file
/// The dense real vector: elements next to each other in one block, with an arithmetic of its own. What it
/// shares with `CVector` stands in `detail::DenseVector`.
///
/// It stands beside `Matrix` and is not a kind of it. Where the two differ (division by a scalar, `operator*`
/// of two objects, `IsFinite`, `Normalize`), callers of each rely on what it does, and the members say so.

#include <lintrix/dense/detail/dense_vector.h>
#include <lintrix/dense/matrix.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>

namespace Velmar::Lintrix {

namespace detail {
extern template class DenseVector<double>;
}

/// A one-dimensional array of doubles.
class LINTRIX_EXPORT Vector : public detail::DenseVector<double> {
public:
    /// @name Construction and conversion
    /// @{

    /// 3 zeros.
    Vector() = default;
    using DenseVector::DenseVector;
    Vector(const Vector&) = default;
    /// Takes the block over; the source is left released, its length still readable.
    Vector(Vector&&) noexcept = default;
    Vector& operator=(Vector vector) noexcept
    {
        swap(vector);
        return *this;
    }
    ~Vector() = default;
    /// A Length() x 1 matrix, without rows for an empty vector; `operator Matrix` by name.
    Matrix ToMatrix() const { return *this; }
    /// @}

    /// @name Changes in place
    /// @{

    /// All elements to zero bytes.
    void Clear() { std::memset(cells(), 0, static_cast<std::size_t>(mCells) * sizeof(double)); }
    /// Keeps the first elements, new ones are zero; the same size keeps the block.
    /// @throws InvalidSizeException  size below 1 or above MaxSize
    void Resize(std::int32_t size);
    /// `UnitLength`: divides by the Euclidean norm unless that is 0. `MaximumOne`: multiplies by the element
    /// of largest magnitude, so [2, 4] becomes [8, 16]. `ZScores`: (x - mean) / |last - mean|, scaled by the
    /// last centred element alone, or only centred if that is 0. Other modes do nothing.
    /// `Matrix::NormalizeCols` has the usual forms of the last two; callers compare vectors with stored
    /// results, so these stay.
    void Normalize(NormalizeMode mode);
    /// @}

    /// @name Operations of two vectors
    /// @throws SizeMismatchException  "Vectors are not of the same size."
    /// @{

    /// Inner product, one running sum in index order.
    double DotProduct(const Vector& vector) const { return DotProduct(*this, vector); }
    static double DotProduct(const Vector& x, const Vector& y);
    LINTRIX_EXPORT friend Vector operator+(const Vector& x, const Vector& y);
    /// @}

private:
    void toZScores();
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
