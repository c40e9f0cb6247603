#pragma once
/// @file
/// Compressed rows as a caller hands them over: zero-based or one-based, of any cell.

#include <lintrix/dense/detail/byte_form.h>
#include <lintrix/services/hardening.h>
#include <lintrix/sparse/detail/row_arrays.h>
#include <lintrix/sparse/detail/sizes.h>
#include <lintrix/sparse/detail/structure.h>

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>

namespace Velmar::Lintrix::detail {

/// The base of a caller's arrays.
inline std::int32_t baseOf(std::span<const std::int32_t> IA)
{
    if (IA.empty()) throw IndexOutOfRangeException();
    if (IA[0] != 0 && IA[0] != 1) {
        throw ArgumentException("Arrays should be zero based or one based", "IA");
    }
    return IA[0];
}

/// The highest column in use tells how many there are, and an empty array counts as column 0.
inline std::int64_t columnCount(std::span<const std::int32_t> JA, std::int32_t base)
{
    const auto highest = std::max_element(JA.begin(), JA.end());
    return std::int64_t{highest == JA.end() ? 0 : std::max(*highest, 0)} + 1 - base;
}

/// Indices from `base` on as indices from 1 on, in wrapping arithmetic: they are not looked at.
inline Block<std::int32_t> oneBased(std::span<const std::int32_t> indices, std::int32_t base)
{
    Block<std::int32_t> fresh(static_cast<std::int64_t>(indices.size()));
    const std::uint32_t shift = base == 0 ? 1 : 0;
    std::transform(indices.begin(), indices.end(), fresh.get(), [shift](std::int32_t index) {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(index) + shift);
    });
    return fresh;
}

template <class Cell>
struct CallerRows {
    std::int32_t rows, cols, elements;
    RowArrays<Cell> arrays;
};

/// The arrays as a sparse object holds them; `Value` has the layout of `Cell`. The checks are those of the
/// constructors, in their order.
template <class Cell, class Value>
CallerRows<Cell> callerRows(std::span<const Value> A, std::span<const std::int32_t> IA,
                            std::span<const std::int32_t> JA)
{
    static_assert(sizeof(Cell) == sizeof(Value));
    if (A.size() != JA.size()) {
        throw ArgumentException("Array JA should have equal size with array A", "JA");
    }
    const std::int32_t base = baseOf(IA);
    const std::int64_t elements = std::int64_t{IA.back()} - base;
    if (elements != static_cast<std::int64_t>(A.size())) {
        throw ArgumentException("Array IA defines different number of elements than array A");
    }
    const std::int64_t rows = static_cast<std::int64_t>(IA.size()) - 1, cols = columnCount(JA, base);
    requireSparseSizes(rows, cols);
    auto starts = oneBased(IA, base), columns = oneBased(JA, base);
    Block<Cell> values(elements);
    copyToBlock(A, values.get(), elements);
    const auto narrowed = [](std::int64_t count) { return static_cast<std::int32_t>(count); };
    if constexpr (kHardened) {
        requireCompressedRows({starts.get(), IA.size()}, {columns.get(), JA.size()}, narrowed(cols));
    }
    return {narrowed(rows),
            narrowed(cols),
            narrowed(elements),
            {std::move(values), std::move(starts), std::move(columns)}};
}

} // namespace Velmar::Lintrix::detail
