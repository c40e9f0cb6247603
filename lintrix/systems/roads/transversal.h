#pragma once
/// @file
/// Rows and columns of a pattern brought together in pairs: as many as can be, which no rank can exceed.

#include <lintrix/services/export.h>
#include <lintrix/systems/roads/sparse_rows.h>

#include <cstdint>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

/// Compressed rows that count from 1, without values.
struct Pattern {
    std::vector<std::int32_t> ia{1}, ja{};

    std::int32_t rows() const noexcept { return static_cast<std::int32_t>(ia.size()) - 1; }
};

/// Of what `visit` tells, as `listRows`.
template <class Visit>
Pattern patternFrom(std::int32_t rows, Visit visit)
{
    RowLists<char> lists = listRows<char>(rows, visit);
    for (std::int32_t& start : lists.starts) ++start;
    for (std::int32_t& column : lists.columns) ++column;
    return {std::move(lists.starts), std::move(lists.columns)};
}

/// Where the elements are that are not zero, in both triangles.
template <class Matrix>
LINTRIX_TESTABLE Pattern nonZeroPattern(const Matrix& matrix);

/// The column of each row, from 0, or -1 where a row is left over: as few as possible. @pre square
///
/// First the diagonal, then any free column, then augmenting paths found in depth, each row first looking for
/// a free column of its own (I. S. Duff, K. Kaya, B. Ucar, "Design, implementation, and analysis of maximum
/// transversal algorithms", ACM Trans. Math. Softw. 38 (2011)). Cost: a few passes over the entries as a
/// rule, at worst one a row.
LINTRIX_TESTABLE std::vector<std::int32_t> maximumTransversal(const Pattern& pattern);

/// The largest number of non-zeros of which no two share a row or a column; below the order the matrix is
/// singular whatever their values. @pre square
template <class Matrix>
LINTRIX_TESTABLE std::int32_t structuralRank(const Matrix& matrix);

} // namespace Velmar::Lintrix::detail::roads
