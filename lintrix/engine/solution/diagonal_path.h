#pragma once
/// @file
/// Matrices with as many entries as rows: no analysis, no handle.

#include <lintrix/engine/call/arguments.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// Checks, counts and, if the phase ends in 3, solves. `ja` is not looked at: row i is divided by the i-th
/// value, wherever that entry stands. So a caller may leave it unfilled.
///
/// For each row: a number of entries other than 1 stops with the row's number as internal code, a zero value
/// with the negated number; otherwise a positive value (real part) counts in iparm(22), any other in
/// iparm(23). Then x_ij := b_ij / a_i, copied to `b` with iparm(6) = 1.
/// @return  {Diagonal, row} or {Diagonal, -row}
LINTRIX_TESTABLE Failure solveDiagonal(const Arguments& call, bool singlePrecision);

} // namespace Velmar::Lintrix::detail::engine
