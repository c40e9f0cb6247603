#pragma once
/// @file
/// One row, column or diagonal of a block, or a vector, by cell type.

#include <lintrix/foundation/block.h>
#include <lintrix/services/blas.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

namespace Velmar::Lintrix::detail {

/// `n` cells, each `stride` behind the one before.
template <class Cell>
struct Line {
    Cell* cells;
    std::int32_t n;
    std::int64_t stride;

    Cell& operator[](std::int64_t i) const { return cells[i * stride]; }
    /// The stride as the kernels take it. One past 32 bits, that of a diagonal below INT32_MAX rows, is never
    /// taken: two cells so far apart are in no block.
    std::int32_t step() const noexcept
    {
        return static_cast<std::int32_t>(std::min<std::int64_t>(stride, INT32_MAX));
    }
};

/// The cells next to each other in a new block.
template <class Cell>
Block<Cell> copied(const Line<const Cell>& x)
{
    Block<Cell> fresh(x.n);
    blas::copy(x.n, x.cells, x.step(), fresh.get(), 1);
    return fresh;
}

/// The first cells of x := `values`. A shorter source leaves the rest as it was, the excess of a longer one
/// is ignored.
template <class Cell>
void write(const Line<Cell>& x, const Cell* values, std::size_t count)
{
    const auto n = static_cast<std::int32_t>(std::min(static_cast<std::size_t>(x.n), count));
    blas::copy(n, values, 1, x.cells, x.step());
}

/// x[i] := i*step + start, each anew and not by repeated addition.
template <class Cell>
void writeRamp(const Line<Cell>& x, const Cell& start, const Cell& step)
{
    for (std::int32_t i = 0; i < x.n; ++i) x[i] = static_cast<double>(i) * step + start;
}

/// x[i] := value
template <class Cell>
void writeAll(const Line<Cell>& x, const Cell& value)
{
    for (std::int32_t i = 0; i < x.n; ++i) x[i] = value;
}

template <class Cell>
void swapCells(const Line<Cell>& x, const Line<Cell>& y)
{
    blas::swap(x.n, x.cells, x.step(), y.cells, y.step());
}

/// Running sum in order.
template <class Cell>
std::remove_const_t<Cell> sumOf(const Line<Cell>& x)
{
    std::remove_const_t<Cell> sum = 0.0;
    for (std::int32_t i = 0; i < x.n; ++i) sum += x[i];
    return sum;
}

/// x . y, through the kernel; complex cells are not conjugated.
template <class Cell>
auto dotProduct(const Line<Cell>& x, const Line<Cell>& y)
{
    return blas::dot(x.n, x.cells, x.step(), y.cells, y.step());
}

} // namespace Velmar::Lintrix::detail
