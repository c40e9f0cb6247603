#pragma once
/// @file
/// The entries of a sparse matrix, as this folder reads them.

#include <lintrix/services/export.h>
#include <lintrix/sparse/compressed_matrix.h>
#include <lintrix/systems/structure/sparse_pattern.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// What `A` stores and is not zero; of a real matrix marked symmetric in both triangles. Columns ascend where
/// they do in `A`. @throws OperationFailedException  there are 2^31 - 1 or more
template <class Cell>
LINTRIX_TESTABLE EntryArrays<Cell> entriesOf(const SparseOf<Cell>& A);

/// The largest number of entries of which no two share a row or a column: below the smaller size, A has not
/// full rank, whatever the values.
template <class Cell>
LINTRIX_TESTABLE std::int32_t structuralRank(const SparseOf<Cell>& A);

} // namespace Velmar::Lintrix::detail
