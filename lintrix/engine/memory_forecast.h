#pragma once
/// @file
/// The memory that factorization and solve will take, as an analysis tells it.

#include <lintrix/engine/analysis/memory_figures.h>

namespace Velmar::Lintrix::detail::engine {

/// In core: one factor and the larger of two peaks, that of the factorization and that of the first solve.
/// Out of core, at least: room for two supernodes at a time and the same work. Linear in the row lists, but
/// for the parts of a solve on several threads, which are dealt out as in a solve.
/// @return  outOfMemory(Transient)
Failure forecastNumericMemory(const Arguments& call, Handle handle, NumericMemory& memory);

} // namespace Velmar::Lintrix::detail::engine
