#pragma once
/// @file
/// The check of the caller's matrix that `iparm(27)` asks for.

#include <lintrix/engine/call/arguments.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// Four tests, base 1 throughout; the first that fails ends the check. Each visits all of its range and
/// keeps the last failure, whose three numbers go to iparm(31), iparm(32), iparm(33):
///  - internal 21: ia(1) is not 1, or ia(i+1) <= ia(i); the numbers i, ia(i), ia(i+1);
///  - internal 22: some ja outside 1..n; the numbers i, ja(i), n;
///  - internal 23, symmetric storage: the first entry of row i lies left of the diagonal; the numbers i,
///    j = ia(i), ja(j);
///  - internal 24: columns do not ascend strictly within a row; the numbers j, ja(j), ja(j+1).
/// The parameter is set to 0 when all pass. `ja` must hold ia(n+1) - 1 numbers: no test can tell.
/// Linear in rows and entries.
LINTRIX_TESTABLE Failure checkMatrix(const Arguments& call);

} // namespace Velmar::Lintrix::detail::engine
