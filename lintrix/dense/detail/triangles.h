#pragma once
/// @file
/// Triangles, diagonals and permutations out of the packed form in which LAPACK leaves its factors, by cell
/// type.
///
/// Targets are column-major, zero on entry, and their row count is their leading dimension. Trapezoids: p =
/// min(m, n), the lower one is m x p, the upper one p x n.

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail {

/// The diagonal and what stands below it; `packed` has as many rows as `lower`.
template <class Cell>
void copyLower(const Cell* packed, std::int32_t rows, std::int32_t cols, Cell* lower)
{
    for (std::int64_t j = 0; j < cols; ++j) {
        const std::int64_t diagonal = j + rows * j, end = rows + rows * j;
        std::copy(packed + diagonal, packed + end, lower + diagonal);
    }
}

/// `count` values down the diagonal of `target`, whose leading dimension is `rows`.
template <class Value, class Cell>
void setDiagonal(const Value* values, std::int32_t count, Cell* target, std::int32_t rows)
{
    for (std::int64_t i = 0; i < count; ++i) target[i + rows * i] = values[i];
}

/// What stands below the diagonal, and ones on it.
template <class Cell>
void copyUnitLower(const Cell* packed, std::int32_t rows, std::int32_t cols, Cell* lower)
{
    copyLower(packed, rows, cols, lower);
    for (std::int64_t j = 0; j < cols; ++j) lower[j + rows * j] = Cell(1);
}

/// The diagonal and what stands above it: the first `rows` rows of `packed`, whose leading dimension is `ld`.
template <class Cell>
void copyUpper(const Cell* packed, std::int32_t ld, std::int32_t rows, std::int32_t cols, Cell* upper)
{
    for (std::int64_t j = 0; j < cols; ++j) {
        std::copy_n(packed + ld * j, std::min<std::int64_t>(j + 1, rows), upper + rows * j);
    }
}

/// Each cell above the diagonal becomes mirror(it, its counterpart below): A is n x n, its lower triangle
/// set.
template <class Cell, class Mirror>
void mirrorLower(Cell* a, std::int32_t n, Mirror mirror)
{
    for (std::int64_t i = 1; i < n; ++i) {
        for (std::int64_t j = 0; j < i; ++j) a[j + n * i] = mirror(a[j + n * i], a[i + n * j]);
    }
}

/// The cells above the diagonal become those below it.
template <class Cell>
void mirrorLower(Cell* a, std::int32_t n)
{
    mirrorLower(a, n, [](const Cell&, const Cell& below) { return below; });
}

/// Where 0, 1, ..., length-1 stand after `count` interchanges in rising order: i with interchanges[i], which
/// is one-based. Entry i is the one that came to place i.
inline std::vector<std::int32_t> afterInterchanges(const std::int32_t* interchanges, std::int32_t count,
                                                   std::int32_t length)
{
    std::vector<std::int32_t> places(static_cast<std::size_t>(length));
    std::iota(places.begin(), places.end(), 0);
    for (std::int32_t i = 0; i < count; ++i) {
        std::swap(places[static_cast<std::size_t>(i)], places[static_cast<std::size_t>(interchanges[i] - 1)]);
    }
    return places;
}

/// `count` one-based numbers, counted from zero.
inline std::vector<std::int32_t> zeroBased(const std::int32_t* numbers, std::int32_t count)
{
    std::vector<std::int32_t> places(numbers, numbers + count);
    for (std::int32_t& place : places) --place;
    return places;
}

/// The permutation with a one in row places[i] of column i.
template <class Cell>
void setPermutation(const std::vector<std::int32_t>& places, Cell* square)
{
    const std::int64_t n = std::ssize(places);
    for (std::int64_t i = 0; i < n; ++i) square[places[static_cast<std::size_t>(i)] + n * i] = Cell(1);
}

} // namespace Velmar::Lintrix::detail
