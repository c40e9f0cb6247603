#include <lintrix/complex/cvector.h>

#include <lintrix/complex/access.h>
#include <lintrix/complex/detail/normalization.h>
#include <lintrix/complex/detail/parts.h>
#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/finite.h>
#include <lintrix/dense/detail/line.h>
#include <lintrix/dense/detail/random_fill.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/services/blas.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix {

using detail::Block, detail::DenseAccess;

// ---- construction

CVector::CVector() : mCells(3), a(Block<Complex>::zeroed(3))
{
}

CVector::CVector(std::int32_t size)
    : mCells((detail::requireSize(size), size)), a(Block<Complex>::zeroed(size))
{
}

CVector::CVector(std::int32_t size, Complex value) : mCells((detail::requireSize(size), size)), a(size)
{
    std::fill_n(a.get(), size, value);
}

CVector::CVector(std::span<const Complex> array) : mCells(detail::arrayLength(array.size())), a(mCells)
{
    std::copy(array.begin(), array.end(), a.get());
}

CVector::CVector(const CVector& vector)
    : mCells(vector.mCells), a(Block<Complex>::copyOf(vector.cells(), mCells))
{
}

CVector::CVector(CVector&& vector) noexcept : mCells(vector.mCells), a(std::move(vector.a))
{
}

CVector& CVector::operator=(CVector vector) noexcept
{
    swap(vector);
    return *this;
}

void CVector::swap(CVector& other) noexcept
{
    std::swap(mCells, other.mCells);
    std::swap(a, other.a);
}

CVector CVector::Clone() const
{
    return detail::ComplexAccess::strided(cells(), mCells, 1);
}

detail::Line<Complex> CVector::line()
{
    return {cells(), mCells, 1};
}

detail::Line<const Complex> CVector::line() const
{
    return {cells(), mCells, 1};
}

// ---- access and size

void CVector::Length(std::int32_t value)
{
    if (value != mCells) Resize(value);
}

Vector CVector::Real() const
{
    return DenseAccess::adopt(detail::realParts(cells(), mCells), mCells);
}

Vector CVector::Imag() const
{
    return DenseAccess::adopt(detail::imaginaryParts(cells(), mCells), mCells);
}

std::vector<Complex> CVector::ToArray() const
{
    return std::vector<Complex>(cells(), cells() + mCells);
}

CMatrix CVector::ToCMatrix() const
{
    return detail::ComplexAccess::copyOf(cells(), mCells, 1);
}

// A new block for the same size, too; Vector differs here.
void CVector::Resize(std::int32_t size)
{
    CVector fresh(size);
    std::copy_n(cells(), std::min(size, mCells), fresh.cells());
    swap(fresh);
}

void CVector::FillRandom(double lowerBound, double upperBound, std::int32_t decimals)
{
    detail::fillRandom(cells(), mCells, lowerBound, upperBound, decimals);
}

void CVector::Normalize(NormalizeMode mode)
{
    detail::normalizeColumn(line(), mode);
}

// ---- reductions and tests

Complex CVector::Sum() const
{
    return detail::sumOf(line());
}

double CVector::AbsSum() const
{
    return detail::blas::asum(mCells, cells(), 1);
}

double CVector::Norm() const
{
    return detail::blas::nrm2(mCells, cells(), 1);
}

Complex CVector::DotProduct(const CVector& x, const CVector& y)
{
    detail::requireSameLength(x, y);
    return detail::dotProduct(x.line(), y.line());
}

bool CVector::HasINFs() const
{
    return detail::anyInfinite(cells(), mCells);
}

bool CVector::HasNaNs() const
{
    return detail::anyNaN(cells(), mCells);
}

bool CVector::IsFinite() const
{
    return detail::allFinite(cells(), mCells);
}

} // namespace Velmar::Lintrix
