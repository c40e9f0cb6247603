#pragma once
/// @file
/// Solves with the triangles of a sparse LU.

#include <lintrix/foundation/enumerations.h>
#include <lintrix/systems/sparse_lu/lu_arrays.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::sparse_lu {

/// Right-hand sides that are solved for at a time, at most.
inline constexpr std::int32_t kMostColumns = 4;

/// y = op(L*U + F)^-1 * y for `columns` right-hand sides: 1, 2 or 4. Element c of position k is
/// y[k*columns + c]. The bits of a right-hand side do not depend on those beside it.
template <class Cell>
void substitute(const LuArrays<Cell>& arrays, std::int32_t columns, TransposeMode op, Cell* y);

} // namespace Velmar::Lintrix::detail::sparse_lu
