#pragma once
// Minimum degree or nested dissection, by a cheap look at the graph of the matrix.

#include <lintrix/lintrix.h>

#include <cstdint>

namespace Velmar::Lintrix::tools {

/// The largest number of unknowns at equal distance from one end of the graph: what it takes to cut the graph
/// in two. About n^(1/2) on a plane, n^(2/3) in space, and near n where the graph has no shape.
///
/// The graph joins i and j where a_ij or a_ji is stored. From an unknown far out in each part of it, found by
/// two sweeps (George and Liu, Computer Solution of Large Sparse Positive Definite Systems, 1981, chapter 4),
/// levels are counted in order of distance. Unknowns joined to more than 10 sqrt(n) others shorten every way
/// and are left out. Cost: linear in the elements.
std::int32_t widthOf(const SparseMatrix& matrix);

/// Nested dissection takes several times as long as minimum degree and saves a share of the elimination that
/// grows with the width of the graph. Minimum degree unless the saving pays for it.
FillInReducingMethod chooseOrdering(const SparseMatrix& matrix);

} // namespace Velmar::Lintrix::tools
