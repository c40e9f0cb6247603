// Element-wise operations of Vector: plain loops into a fresh block, which the result adopts. One allocation
// and no copy a result.

#include <lintrix/dense/vector.h>

#include <lintrix/dense/detail/elementwise.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/services/blas.h>

#include <functional>

namespace Velmar::Lintrix {

using detail::requireSameLength;

Vector operator+(const Vector& y, double alpha)
{
    return {detail::mapped(y.cells(), y.mCells, [alpha](double v) { return v + alpha; }), y.mCells};
}

Vector operator+(double alpha, const Vector& vector)
{
    return vector + alpha;
}

// A copy of the second operand, then y := x + y: the lengths are compared after the copy.
Vector operator+(const Vector& x, const Vector& y)
{
    Vector sum(y);
    Vector::Add(1.0, x, sum);
    return sum;
}

Vector operator-(double alpha, const Vector& x)
{
    return {detail::mapped(x.cells(), x.mCells, [alpha](double v) { return alpha - v; }), x.mCells};
}

Vector operator-(const Vector& x, double alpha)
{
    return {detail::mapped(x.cells(), x.mCells, [alpha](double v) { return v - alpha; }), x.mCells};
}

Vector operator-(const Vector& x, const Vector& y)
{
    requireSameLength(x, y);
    return {detail::mapped(x.cells(), y.cells(), x.mCells, std::minus<>()), x.mCells};
}

Vector operator*(const Vector& x, double alpha)
{
    return {detail::mapped(x.cells(), x.mCells, [alpha](double v) { return v * alpha; }), x.mCells};
}

Vector operator*(double alpha, const Vector& x)
{
    return x * alpha;
}

Vector operator*(const Vector& x, const Vector& y)
{
    requireSameLength(x, y);
    return {detail::mapped(x.cells(), y.cells(), x.mCells, std::multiplies<>()), x.mCells};
}

Vector operator/(double alpha, const Vector& x)
{
    return {detail::mapped(x.cells(), x.mCells, [alpha](double v) { return alpha / v; }), x.mCells};
}

// Divides, and does not test for zero; Vector and Matrix differ here.
Vector operator/(const Vector& x, double alpha)
{
    return {detail::mapped(x.cells(), x.mCells, [alpha](double v) { return v / alpha; }), x.mCells};
}

Vector operator/(const Vector& x, const Vector& y)
{
    requireSameLength(x, y);
    return {detail::mapped(x.cells(), y.cells(), x.mCells, std::divides<>()), x.mCells};
}

void Vector::Add(double alpha, const Vector& x, Vector& y)
{
    requireSameLength(x, y);
    detail::blas::axpy(x.mCells, alpha, x.cells(), 1, y.cells(), 1);
}

double Vector::DotProduct(const Vector& x, const Vector& y)
{
    requireSameLength(x, y);
    const double *p = x.cells(), *q = y.cells();
    double sum = 0.0;
    for (std::int32_t i = 0; i < x.mCells; ++i) sum += p[i] * q[i];
    return sum;
}

template <class Function>
Vector Vector::applied(Function function) const
{
    Vector result(*this);
    detail::replaceEach(result.cells(), result.mCells, function);
    return result;
}

Vector Vector::ApplyFunction(const DoubleFunction1Dbl& function) const
{
    return applied([&](double x, std::int32_t) { return function(x); });
}

Vector Vector::ApplyFunction(const DoubleFunction2Dbl& function, double value) const
{
    return applied([&](double x, std::int32_t) { return function(x, value); });
}

// The constant, not the index: callers' functions written for it must keep working.
Vector Vector::ApplyFunction(const DoubleFunction1Dbl1Int& function, std::int32_t value) const
{
    return applied([&](double x, std::int32_t) { return function(x, value); });
}

Vector Vector::ApplyFunction(const DoubleFunction1Dbl2Int& function, std::int32_t value) const
{
    return applied([&](double x, std::int32_t i) { return function(x, value, i); });
}

Vector Vector::ApplyFunction(const DoubleFunction2Dbl2Int& function, double value1, std::int32_t value2) const
{
    return applied([&](double x, std::int32_t i) { return function(x, value1, value2, i); });
}

} // namespace Velmar::Lintrix
