#pragma once
/// @file
/// The plain loops of the element-wise operations, by cell type.

#include <lintrix/foundation/block.h>

#include <cstdint>
#include <functional>

namespace Velmar::Lintrix::detail {

/// How the dense classes take the product and the quotient of two cells. Those of complex cells are not the
/// platform's; `complex/detail/trell_complex.h` names them.
template <class Cell>
struct CellArithmetic;
template <>
struct CellArithmetic<double> {
    using Product = std::multiplies<>;
    using Quotient = std::divides<>;
};
template <class Cell>
using ProductOf = typename CellArithmetic<Cell>::Product;
template <class Cell>
using QuotientOf = typename CellArithmetic<Cell>::Quotient;

/// out[i] = cellAt(i). `out` is a fresh block, so it overlaps no operand.
template <class Cell, class CellAt>
Block<Cell> generated(std::int64_t n, CellAt cellAt)
{
    Block<Cell> fresh(n);
    Cell* __restrict out = fresh.get();
    for (std::int64_t i = 0; i < n; ++i) out[i] = cellAt(i);
    return fresh;
}

/// out[i] = op(x[i])
template <class Cell, class Op>
Block<Cell> mapped(const Cell* x, std::int64_t n, Op op)
{
    return generated<Cell>(n, [=](std::int64_t i) { return op(x[i]); });
}

/// out[i] = op(x[i], y[i])
template <class Cell, class Op>
Block<Cell> mapped(const Cell* x, const Cell* y, std::int64_t n, Op op)
{
    return generated<Cell>(n, [=](std::int64_t i) { return op(x[i], y[i]); });
}

/// x[i] := op(x[i], y[i]); y may be x.
template <class Cell, class Op>
void combineInto(Cell* x, const Cell* y, std::int64_t n, Op op)
{
    for (std::int64_t i = 0; i < n; ++i) x[i] = op(x[i], y[i]);
}

/// x[i] := function(x[i], i) for a caller's function, in order.
template <class Cell, class Function>
void replaceEach(Cell* x, std::int32_t n, Function function)
{
    for (std::int32_t i = 0; i < n; ++i) x[i] = function(x[i], i);
}

} // namespace Velmar::Lintrix::detail
