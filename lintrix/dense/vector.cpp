#include <lintrix/dense/vector.h>

#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/finite.h>
#include <lintrix/dense/detail/line.h>
#include <lintrix/dense/detail/random_fill.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/services/blas.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmar::Lintrix {

using detail::Block;

void detail::raiseVectorIndex()
{
    throw IndexOutOfBoundsException("Index exceeds vector size.");
}

// ---- construction

Vector::Vector() : mCells(3), a(Block<double>::zeroed(3))
{
}

Vector::Vector(std::int32_t size) : mCells((detail::requireSize(size), size)), a(Block<double>::zeroed(size))
{
}

Vector::Vector(std::int32_t size, double value) : mCells((detail::requireSize(size), size)), a(size)
{
    std::fill_n(a.get(), size, value);
}

Vector::Vector(std::span<const double> array) : mCells(detail::arrayLength(array.size())), a(mCells)
{
    std::copy(array.begin(), array.end(), a.get());
}

Vector::Vector(const Vector& vector) : mCells(vector.mCells), a(Block<double>::copyOf(vector.cells(), mCells))
{
}

Vector::Vector(Vector&& vector) noexcept : mCells(vector.mCells), a(std::move(vector.a))
{
}

Vector& Vector::operator=(Vector vector) noexcept
{
    swap(vector);
    return *this;
}

void Vector::swap(Vector& other) noexcept
{
    std::swap(mCells, other.mCells);
    std::swap(a, other.a);
}

Vector Vector::Clone() const
{
    return detail::DenseAccess::strided(cells(), mCells, 1);
}

detail::Line<double> Vector::line()
{
    return {cells(), mCells, 1};
}

detail::Line<const double> Vector::line() const
{
    return {cells(), mCells, 1};
}

// ---- access and size

void Vector::Length(std::int32_t value)
{
    if (value != mCells) Resize(value);
}

std::vector<double> Vector::ToArray() const
{
    return std::vector<double>(cells(), cells() + mCells);
}

Matrix Vector::ToMatrix() const
{
    return detail::DenseAccess::copyOf(cells(), mCells, 1);
}

void Vector::Resize(std::int32_t size)
{
    if (size == mCells) return;
    Vector fresh(size);
    std::copy_n(cells(), std::min(size, mCells), fresh.cells());
    swap(fresh);
}

void Vector::FillRandom(double lowerBound, double upperBound, std::int32_t decimals)
{
    detail::fillRandom(cells(), mCells, lowerBound, upperBound, decimals);
}

// ---- reductions and tests

double Vector::Sum() const
{
    return detail::sumOf(detail::Line<const double>{cells(), mCells, 1});
}

double Vector::AbsSum() const
{
    return detail::blas::asum(mCells, cells(), 1);
}

double Vector::Norm() const
{
    return detail::blas::nrm2(mCells, cells(), 1);
}

bool Vector::HasINFs() const
{
    return detail::anyInfinite(cells(), mCells);
}

bool Vector::HasNaNs() const
{
    return detail::anyNaN(cells(), mCells);
}

bool Vector::IsFinite() const
{
    return detail::allFinite(cells(), mCells);
}

// ---- normalization

void Vector::Normalize(NormalizeMode mode)
{
    if (mCells == 0) return;
    double* x = cells();
    if (mode == NormalizeMode::UnitLength) {
        const double s = detail::blas::dot(mCells, x, 1, x, 1);
        if (s != 0.0) detail::blas::scal(mCells, 1.0 / std::sqrt(s), x, 1);
    } else if (mode == NormalizeMode::MaximumOne) {
        // The factor is the element itself, not its reciprocal; Matrix differs here.
        const double largest = x[detail::blas::iamax(mCells, x, 1)];
        detail::blas::scal(mCells, largest, x, 1);
    } else if (mode == NormalizeMode::ZScores) {
        toZScores();
    }
}

// x := (x - mean) / |last - mean|. The scale is the last centred element alone, not the standard deviation;
// Matrix differs here.
void Vector::toZScores()
{
    const double mean = Sum() / mCells;
    double* x = cells();
    double q = 0.0;
    for (std::int32_t i = 0; i < mCells; ++i) {
        x[i] -= mean;
        q = x[i] * x[i];
    }
    if (q != 0.0) detail::blas::scal(mCells, 1.0 / std::sqrt(q), x, 1);
}

} // namespace Velmar::Lintrix
