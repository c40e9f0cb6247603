#pragma once
/// @file
/// Whether arrays that somebody else has written are the structure of a factor. Whatever passes, no step of
/// the engine leaves its arrays.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/analysis/symbolic/entry_maps.h>
#include <lintrix/engine/analysis/symbolic/factor_structure.h>
#include <lintrix/engine/factorization/numeric_factorization.h>
#include <lintrix/services/export.h>

#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Whether `order` holds each number from 0 on once; `placeOf` becomes its inverse, or is spoilt.
LINTRIX_TESTABLE bool invert(std::span<const int> order, std::span<int> placeOf) noexcept;

/// Whether the ranges follow each other without gaps from 0 to `count` - 1, none of them empty.
LINTRIX_TESTABLE bool cover(std::span<const PositionRange> ranges, int count) noexcept;

/// Whether the columns 0 .. `columns` - 1 are cut into supernodes of 1 to `widest` columns.
LINTRIX_TESTABLE bool areSupernodes(std::span<const int> starts, int columns, int widest) noexcept;

/// Whether the row lists begin at 0, end at `rows` and have room for the columns of each supernode, and for
/// no more rows than there are from there on.
LINTRIX_TESTABLE bool areRowStarts(std::span<const std::int64_t> rowStarts, std::span<const int> starts,
                                   std::int64_t rows) noexcept;

/// Whether each supernode has its columns first, then rows below that ascend, and each of these is a row of
/// its parent: so every row that a supernode updates is there. Supernodes and row starts are right already.
/// `work` has room for a number a column and two a supernode. Linear in the row lists.
LINTRIX_TESTABLE bool haveClosedRows(const FactorStructure& structure, std::span<int> work) noexcept;

/// Whether each entry of A has its place in a panel; with symmetric storage A is its upper triangle. Row i
/// stands in row `columnOfRow[i]`, or in row i where that is empty.
LINTRIX_TESTABLE bool holdsEntries(const FactorStructure& structure, const RowPattern& A,
                                   std::span<const int> columnOfRow,
                                   std::span<const int> positionOf) noexcept;

/// Whether the exchanges of rows and columns stay within the diagonal blocks, and each pivot of two columns
/// has both of them.
LINTRIX_TESTABLE bool areExchanges(const FactorStructure& structure, Method method,
                                   std::span<const int> exchanges) noexcept;

} // namespace Velmar::Lintrix::detail::engine
