#pragma once
// How many rows and columns of a pattern can be brought together in pairs: what no values can exceed.

#include <tools/input/compressed_rows.h>

#include <cstdint>

namespace Velmar::Lintrix::tools {

/// The largest number of non-zeros of which no two share a row or a column; below the order the matrix is
/// singular whatever their values. In either storage. @pre square
///
/// A maximum transversal: the diagonal, then any free column, then augmenting paths found in depth, each row
/// first looking for a free column among its own (I. S. Duff, K. Kaya, B. Ucar, "Design, implementation, and
/// analysis of maximum transversal algorithms", ACM Trans. Math. Softw. 38 (2011)). Cost: a few passes over
/// the entries as a rule, at worst one a row.
template <class Cell>
std::int32_t structuralRank(const CompressedRows<Cell>& matrix);

} // namespace Velmar::Lintrix::tools
