#pragma once
// Rows and columns of a pattern brought together in pairs: as many as can be, which no rank can exceed.

#include <tools/input/compressed_rows.h>

#include <cstdint>
#include <vector>

namespace Velmar::Lintrix::tools {

/// Where the elements are that are not zero, in both triangles.
template <class Cell>
CompressedRows<char> nonZeroPattern(const CompressedRows<Cell>& matrix);

/// The column of each row, from 0, or -1 where a row is left over: as few as possible. @pre square
///
/// First the diagonal, then any free column, then augmenting paths found in depth, each row first looking for
/// a free column of its own (I. S. Duff, K. Kaya, B. Ucar, "Design, implementation, and analysis of maximum
/// transversal algorithms", ACM Trans. Math. Softw. 38 (2011)). Cost: a few passes over the entries as a
/// rule, at worst one a row.
std::vector<std::int32_t> maximumTransversal(const CompressedRows<char>& pattern);

/// The largest number of non-zeros of which no two share a row or a column; below the order the matrix is
/// singular whatever their values. @pre square
template <class Cell>
std::int32_t structuralRank(const CompressedRows<Cell>& matrix);

} // namespace Velmar::Lintrix::tools
