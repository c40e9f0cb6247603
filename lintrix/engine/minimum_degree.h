#pragma once
/// @file
/// Multiple minimum degree ordering.

#include <lintrix/engine/multiple_elimination.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

LINTRIX_TESTABLE Failure minimumDegree(const Graph& graph, int delta, Ordering ordering,
                                       int bound = kLargestMark);

} // namespace Velmar::Lintrix::detail::engine
