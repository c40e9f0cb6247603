#pragma once
/// @file
/// Where the values of an m x n matrix are that are not zero, and what they are: compressed rows from 0.

#include <lintrix/services/export.h>

#include <complex>
#include <cstdint>
#include <span>
#include <vector>

namespace Velmar::Lintrix::detail {

/// Row i has the columns columns[starts[i]] .. columns[starts[i + 1] - 1], each once. `starts` has rows + 1
/// elements and begins with 0.
struct SparsePattern {
    std::int32_t rows = 0, cols = 0;
    std::span<const std::int32_t> starts, columns;

    std::span<const std::int32_t> row(std::int32_t i) const noexcept
    {
        return columns.subspan(static_cast<std::size_t>(starts[i]), lengthOf(i));
    }
    std::size_t lengthOf(std::int32_t i) const noexcept
    {
        return static_cast<std::size_t>(starts[i + 1] - starts[i]);
    }
};

/// A pattern with the value of each element.
template <class Cell>
struct SparseEntries : SparsePattern {
    std::span<const Cell> values;

    std::span<const Cell> valuesOf(std::int32_t i) const noexcept
    {
        return values.subspan(static_cast<std::size_t>(starts[i]), lengthOf(i));
    }
};

/// A pattern that owns its arrays.
struct PatternArrays {
    std::int32_t rows = 0, cols = 0;
    std::vector<std::int32_t> starts{0}, columns{};

    operator SparsePattern() const noexcept { return {rows, cols, starts, columns}; }
};

/// Entries that own their arrays.
template <class Cell>
struct EntryArrays {
    PatternArrays pattern;
    std::vector<Cell> values{};

    operator SparseEntries<Cell>() const noexcept { return {SparsePattern(pattern), values}; }
};

/// A without its stored zeros, of either sign; a NaN is none. Cost: O(rows + entries).
template <class Cell>
LINTRIX_TESTABLE EntryArrays<Cell> nonZerosOf(const SparseEntries<Cell>& A);

/// A', nothing conjugated: the columns of each row ascend. Made by counting (Gustavson, "Two fast algorithms
/// for sparse matrices: multiplication and permuted transposition", ACM TOMS 4 (1978)).
/// Cost: O(rows + cols + entries).
LINTRIX_TESTABLE PatternArrays transposed(const SparsePattern& A);
/// The same with names[i] in place of row i, in the order of the rows.
PatternArrays transposed(const SparsePattern& A, std::span<const std::int32_t> names);
template <class Cell>
LINTRIX_TESTABLE EntryArrays<Cell> transposed(const SparseEntries<Cell>& A);

} // namespace Velmar::Lintrix::detail
