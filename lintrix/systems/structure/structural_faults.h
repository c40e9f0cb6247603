#pragma once
/// @file
/// What makes a matrix singular, or of less than full rank, that can be seen in its pattern and its values
/// without elimination.

#include <lintrix/services/export.h>
#include <lintrix/systems/structure/sparse_pattern.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace Velmar::Lintrix::detail {

/// Rows and columns that an elimination cannot bring together in equal number; both ascend, neither is empty.
struct UnevenBlock {
    std::vector<std::int32_t> rows, columns;
};

/// All indices are those of the matrix, from 0. Lists ascend.
struct StructuralFaults {
    std::int32_t rows = 0, cols = 0;
    std::int32_t structuralRank = 0;
    std::vector<std::int32_t> emptyRows{}, emptyColumns{};
    /// Each of two or more rows of which each is a multiple of each other, exactly; by the first of them.
    std::vector<std::vector<std::int32_t>> duplicateRows{}, duplicateColumns{};
    /// Columns that have fewer rows to be determined by, all told, than they are: in each block
    /// columns - rows can be chosen at will, whatever the values. An empty column is in none.
    std::vector<UnevenBlock> underDetermined{};
    /// Rows that have fewer columns, all told, than they are. An empty row is in none.
    std::vector<UnevenBlock> overDetermined{};

    std::int32_t fullRank() const noexcept { return std::min(rows, cols); }
};

/// Stored zeros count as nothing, a NaN as a value; a row or column that is not finite is a duplicate of
/// none.
///
/// Uneven blocks are the connected parts of H and V of the Dulmage-Mendelsohn decomposition. Duplicates are
/// found by their keys (proportionality.h) and then compared exactly: what is named is a duplicate, and one
/// is overlooked only where keys agree by accident.
///
/// @pre columns ascend within each row. Cost: that of a maximum matching, O(entries) passes, a sort of as
/// many keys as there are rows and columns.
template <class Cell>
LINTRIX_TESTABLE StructuralFaults findStructuralFaults(const SparseEntries<Cell>& A);

/// For people: "The structural rank is 9 of 10: the matrix is singular, whatever its values. Columns 3, 17
/// and 20 are free: they share rows 5 and 9 alone." The first of each kind are named. Free columns of a
/// matrix of full row rank and superfluous rows of one of full column rank go without mention, they lie in
/// its shape. Empty where nothing is to be said. Rows and columns are counted from `firstIndex`.
LINTRIX_TESTABLE std::string explain(const StructuralFaults& faults, std::int32_t firstIndex = 0);

} // namespace Velmar::Lintrix::detail
