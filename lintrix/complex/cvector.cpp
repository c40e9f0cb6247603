// What CVector does otherwise than Vector.

#include <lintrix/complex/cvector.h>

#include <lintrix/complex/access.h>
#include <lintrix/complex/detail/normalization.h>
#include <lintrix/complex/detail/parts.h>
#include <lintrix/dense/detail/elementwise.h>
#include <lintrix/dense/detail/line.h>
#include <lintrix/dense/detail/sizes.h>

#include <functional>
#include <utility>

namespace Velmar::Lintrix {

using detail::ComplexAccess, detail::DenseAccess;

Vector CVector::Real() const
{
    return DenseAccess::adopt(detail::realParts(cells(), mCells), mCells);
}

Vector CVector::Imag() const
{
    return DenseAccess::adopt(detail::imaginaryParts(cells(), mCells), mCells);
}

// A new block for the same size, too; Vector differs here.
void CVector::Resize(std::int32_t size)
{
    resizeTo(size);
}

void CVector::Normalize(NormalizeMode mode)
{
    detail::normalizeColumn(line(), mode);
}

// ---- operations of two vectors

CVector operator+(const CVector& x, const CVector& y)
{
    detail::requireSameLength(x, y);
    auto sum = detail::mapped(ComplexAccess::cells(x), ComplexAccess::cells(y), x.Length(), std::plus<>());
    return ComplexAccess::adopt(std::move(sum), x.Length());
}

Complex CVector::DotProduct(const CVector& x, const CVector& y)
{
    detail::requireSameLength(x, y);
    return detail::dotProduct(x.line(), y.line());
}

} // namespace Velmar::Lintrix
