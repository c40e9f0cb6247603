#pragma once
/// @file
/// The caller's array `perm`: an order taken as given, or handed out.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Internal code of a `perm` that is no permutation.
inline constexpr int kInconsistentPermutation = -11;

/// Takes `perm` as it stands and makes its inverse. perm[k], counted from 1, names the equation that is
/// eliminated in place k: the sense in which the solve step gathers the right-hand side, y(k) = b(perm(k)),
/// and in which `copyOrdering` hands an order out, so that what one analysis gave, the next can take.
///
/// Nobody has checked `perm` before: it comes as the caller wrote it. An element out of 1 .. n or one that
/// comes twice would send the inverse out of its bounds or leave a hole in it; making the inverse meets both.
/// @return  {Reordering, kInconsistentPermutation}; `ordering` is then undefined
LINTRIX_TESTABLE Failure takeOrdering(std::span<const int> perm, Ordering ordering);

/// Writes the order into the caller's `perm`, counted from 1.
LINTRIX_TESTABLE void copyOrdering(const Ordering& ordering, std::span<int> perm);

} // namespace Velmar::Lintrix::detail::engine
