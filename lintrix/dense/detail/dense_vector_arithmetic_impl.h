#pragma once
/// @file
/// Element-wise operations of `DenseVector`: plain loops into a fresh block, which the result adopts. One
/// allocation and no copy a result. For the two files that instantiate the class.

#include <lintrix/dense/detail/dense_vector_impl.h>
#include <lintrix/dense/detail/elementwise.h>

#include <functional>

namespace Velmar::Lintrix::detail {

template <class Cell>
void DenseVector<Cell>::Add(Cell alpha, const V& x, V& y)
{
    requireSameLength(x, y);
    blas::axpy(x.mCells, alpha, x.cells(), 1, y.cells(), 1);
}

template <class Cell>
auto DenseVector<Cell>::Add(const V& x, Cell alpha) -> V
{
    return {mapped(x.cells(), x.mCells, [alpha](const Cell& v) { return v + alpha; }), x.mCells};
}

template <class Cell>
auto DenseVector<Cell>::Subtract(Cell alpha, const V& x) -> V
{
    return {mapped(x.cells(), x.mCells, [alpha](const Cell& v) { return alpha - v; }), x.mCells};
}

template <class Cell>
auto DenseVector<Cell>::Subtract(const V& x, Cell alpha) -> V
{
    return {mapped(x.cells(), x.mCells, [alpha](const Cell& v) { return v - alpha; }), x.mCells};
}

template <class Cell>
auto DenseVector<Cell>::Subtract(const V& x, const V& y) -> V
{
    requireSameLength(x, y);
    return {mapped(x.cells(), y.cells(), x.mCells, std::minus<>()), x.mCells};
}

template <class Cell>
auto DenseVector<Cell>::Multiply(const V& x, Cell alpha) -> V
{
    const auto product = [alpha](const Cell& v) { return ProductOf<Cell>()(v, alpha); };
    return {mapped(x.cells(), x.mCells, product), x.mCells};
}

template <class Cell>
auto DenseVector<Cell>::Multiply(const V& x, const V& y) -> V
{
    requireSameLength(x, y);
    return {mapped(x.cells(), y.cells(), x.mCells, ProductOf<Cell>()), x.mCells};
}

// The platform's division; the two below take the cells'. Callers' stored results tell them apart.
template <class Cell>
auto DenseVector<Cell>::Divide(Cell alpha, const V& x) -> V
{
    return {mapped(x.cells(), x.mCells, [alpha](const Cell& v) { return alpha / v; }), x.mCells};
}

// Divides, and does not test for zero; matrices differ here.
template <class Cell>
auto DenseVector<Cell>::Divide(const V& x, Cell alpha) -> V
{
    const auto quotient = [alpha](const Cell& v) { return QuotientOf<Cell>()(v, alpha); };
    return {mapped(x.cells(), x.mCells, quotient), x.mCells};
}

template <class Cell>
auto DenseVector<Cell>::Divide(const V& x, const V& y) -> V
{
    requireSameLength(x, y);
    return {mapped(x.cells(), y.cells(), x.mCells, QuotientOf<Cell>()), x.mCells};
}

template <class Cell>
template <class Function>
auto DenseVector<Cell>::combine(std::string_view operation, const V& y, Function function) -> V&
{
    if (mCells != y.mCells) raiseLengths(operation, mCells, y.mCells);
    combineInto(cells(), y.cells(), mCells, function);
    return self();
}

template <class Cell>
template <class Function>
auto DenseVector<Cell>::each(Function function) -> V&
{
    replaceEach(cells(), mCells, [&function](const Cell& x, std::int32_t) { return function(x); });
    return self();
}

template <class Cell>
auto DenseVector<Cell>::operator+=(const V& y) -> V&
{
    return combine("plus", y, std::plus<>());
}

template <class Cell>
auto DenseVector<Cell>::operator-=(const V& y) -> V&
{
    return combine("minus", y, std::minus<>());
}

template <class Cell>
auto DenseVector<Cell>::operator*=(const V& y) -> V&
{
    return combine("times", y, ProductOf<Cell>());
}

template <class Cell>
auto DenseVector<Cell>::operator/=(const V& y) -> V&
{
    return combine("divided by", y, QuotientOf<Cell>());
}

template <class Cell>
auto DenseVector<Cell>::operator+=(Cell alpha) -> V&
{
    return each([alpha](const Cell& x) { return x + alpha; });
}

template <class Cell>
auto DenseVector<Cell>::operator-=(Cell alpha) -> V&
{
    return each([alpha](const Cell& x) { return x - alpha; });
}

template <class Cell>
auto DenseVector<Cell>::operator*=(Cell alpha) -> V&
{
    return each([alpha](const Cell& x) { return ProductOf<Cell>()(x, alpha); });
}

template <class Cell>
auto DenseVector<Cell>::operator/=(Cell alpha) -> V&
{
    return each([alpha](const Cell& x) { return QuotientOf<Cell>()(x, alpha); });
}

template <class Cell>
template <class Function>
auto DenseVector<Cell>::applied(Function function) const -> V
{
    V result(self());
    replaceEach(result.cells(), result.mCells, function);
    return result;
}

template <class Cell>
auto DenseVector<Cell>::ApplyFunction(const FunctionObject<Cell(Cell)>& function) const -> V
{
    return applied([&](const Cell& x, std::int32_t) { return function(x); });
}

template <class Cell>
auto DenseVector<Cell>::ApplyFunction(const FunctionObject<Cell(Cell, Cell)>& function, Cell value) const -> V
{
    return applied([&](const Cell& x, std::int32_t) { return function(x, value); });
}

// The constant, not the index: callers' functions written for it must keep working.
template <class Cell>
auto DenseVector<Cell>::ApplyFunction(const FunctionObject<Cell(Cell, std::int32_t)>& function,
                                      std::int32_t value) const -> V
{
    return applied([&](const Cell& x, std::int32_t) { return function(x, value); });
}

template <class Cell>
auto DenseVector<Cell>::ApplyFunction(const FunctionObject<Cell(Cell, std::int32_t, std::int32_t)>& function,
                                      std::int32_t value) const -> V
{
    return applied([&](const Cell& x, std::int32_t i) { return function(x, value, i); });
}

template <class Cell>
auto DenseVector<Cell>::ApplyFunction(
    const FunctionObject<Cell(Cell, Cell, std::int32_t, std::int32_t)>& function, Cell value1,
    std::int32_t value2) const -> V
{
    return applied([&](const Cell& x, std::int32_t i) { return function(x, value1, value2, i); });
}

} // namespace Velmar::Lintrix::detail
