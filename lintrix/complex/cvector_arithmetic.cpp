// Element-wise operations of CVector: plain loops into a fresh block, which the result adopts. One allocation
// and no copy a result.

#include <lintrix/complex/cvector.h>

#include <lintrix/complex/detail/trell_complex.h>
#include <lintrix/dense/detail/elementwise.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/services/blas.h>

#include <functional>

namespace Velmar::Lintrix {

using detail::CellProduct, detail::CellQuotient, detail::mapped, detail::requireSameLength;

CVector operator+(const CVector& x, Complex alpha)
{
    return {mapped(x.cells(), x.mCells, [alpha](const Complex& v) { return v + alpha; }), x.mCells};
}

CVector operator+(Complex alpha, const CVector& x)
{
    return x + alpha;
}

CVector operator+(const CVector& x, const CVector& y)
{
    requireSameLength(x, y);
    return {mapped(x.cells(), y.cells(), x.mCells, std::plus<>()), x.mCells};
}

CVector operator-(Complex alpha, const CVector& x)
{
    return {mapped(x.cells(), x.mCells, [alpha](const Complex& v) { return alpha - v; }), x.mCells};
}

CVector operator-(const CVector& x, Complex alpha)
{
    return {mapped(x.cells(), x.mCells, [alpha](const Complex& v) { return v - alpha; }), x.mCells};
}

CVector operator-(const CVector& x, const CVector& y)
{
    requireSameLength(x, y);
    return {mapped(x.cells(), y.cells(), x.mCells, std::minus<>()), x.mCells};
}

CVector operator*(const CVector& x, Complex alpha)
{
    return {mapped(x.cells(), x.mCells, [alpha](const Complex& v) { return CellProduct()(v, alpha); }),
            x.mCells};
}

CVector operator*(Complex alpha, const CVector& x)
{
    return x * alpha;
}

CVector operator*(const CVector& x, const CVector& y)
{
    requireSameLength(x, y);
    return {mapped(x.cells(), y.cells(), x.mCells, CellProduct()), x.mCells};
}

// The platform's division; the two below take the cells'. Callers' stored results tell them apart.
CVector operator/(Complex alpha, const CVector& x)
{
    return {mapped(x.cells(), x.mCells, [alpha](const Complex& v) { return alpha / v; }), x.mCells};
}

CVector operator/(const CVector& x, Complex alpha)
{
    return {mapped(x.cells(), x.mCells, [alpha](const Complex& v) { return CellQuotient()(v, alpha); }),
            x.mCells};
}

CVector operator/(const CVector& x, const CVector& y)
{
    requireSameLength(x, y);
    return {mapped(x.cells(), y.cells(), x.mCells, CellQuotient()), x.mCells};
}

void CVector::Add(Complex alpha, const CVector& x, CVector& y)
{
    requireSameLength(x, y);
    detail::blas::axpy(x.mCells, alpha, x.cells(), 1, y.cells(), 1);
}

template <class Function>
CVector CVector::applied(Function function) const
{
    CVector result(*this);
    detail::replaceEach(result.cells(), result.mCells, function);
    return result;
}

CVector CVector::ApplyFunction(const ComplexFunction1Cmp& function) const
{
    return applied([&](const Complex& x, std::int32_t) { return function(x); });
}

CVector CVector::ApplyFunction(const ComplexFunction2Cmp& function, Complex value) const
{
    return applied([&](const Complex& x, std::int32_t) { return function(x, value); });
}

// The constant, not the index: callers' functions written for it must keep working.
CVector CVector::ApplyFunction(const ComplexFunction1Cmp1Int& function, std::int32_t value) const
{
    return applied([&](const Complex& x, std::int32_t) { return function(x, value); });
}

CVector CVector::ApplyFunction(const ComplexFunction1Cmp2Int& function, std::int32_t value) const
{
    return applied([&](const Complex& x, std::int32_t i) { return function(x, value, i); });
}

CVector CVector::ApplyFunction(const ComplexFunction2Cmp2Int& function, Complex value1,
                               std::int32_t value2) const
{
    return applied([&](const Complex& x, std::int32_t i) { return function(x, value1, value2, i); });
}

} // namespace Velmar::Lintrix
