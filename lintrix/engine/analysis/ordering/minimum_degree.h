#pragma once
/// @file
/// Ordering by multiple minimum degree.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/analysis/ordering/light_elimination.h>
#include <lintrix/engine/analysis/ordering/multiple_elimination.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// The largest integer that the marks of an elimination count to before they start again.
inline constexpr int kLargestMark = 0x7fffffff;

/// Orders the vertices so that each pivot has about the fewest neighbours left; Liu, ACM TOMS 11 (1985), on a
/// quotient graph (QuotientGraph), with several independent pivots between two choices (MultipleElimination).
///
/// `delta`, 0 or more, allows a pivot as much above the lowest degree, so that there are fewer passes. Below
/// a lowest degree of 4 delta the allowance is a quarter of that degree: at degree 100 six more or less are
/// alike, at degree 1 a pivot of degree 2 fills in a tree that needs no fill. Over grids and real matrices
/// the fill is then that of delta 0 within half a percent. `bound` is at least 3 n + 3; what it is does not
/// change the order. The same graph gets the same ordering every time. Workspace: edges * 1.2 + 16 n
/// integers, at most, and in networks another edges + 7 n.
///
/// `counts`, unless empty, receives the entries of each column of the factor, by position; the last is 0
/// where vertices were dense (`isDense`), and then none can be relied on.
///
/// In networks, where a quarter of the vertices has two neighbours or fewer, those that have, or come to have
/// them, go first and without a quotient graph (LightElimination).
/// @return  outOfMemory(Transient), overflow() as for MultipleElimination::run; the ordering is then
/// undefined
LINTRIX_TESTABLE Failure minimumDegree(const Graph& graph, int delta, Ordering ordering,
                                       int bound = kLargestMark, std::span<int> counts = {});

/// What `light` leaves of its graph, in the same way: `order`, and `counts` unless empty, have a place for
/// each vertex that remains.
Failure orderRest(LightElimination& light, int delta, int bound, std::span<int> order,
                  MultipleElimination& elimination, std::span<int> counts = {});

} // namespace Velmar::Lintrix::detail::engine
