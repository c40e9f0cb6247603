#pragma once
/// @file
/// The caller's parameter array: its defaults, and what its numbers choose.

#include <lintrix/engine/pardiso.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// `iparm(k)`, and the view of the caller's array.
using Parameter = PardisoParameter;
using Parameters = PardisoParameters;

inline constexpr int kEngineVersion = 102000114;

/// `iparm(2)`.
enum class OrderingChoice : int {
    MinimumDegree = 0,
    ConstrainedMinimumDegree = 1,
    NestedDissection = 2,
    NestedDissectionByThreads = 3,
};

/// What a caller gets who leaves `iparm(1)` at 0, by matrix type. Slots that have no default keep the
/// caller's value: among them the matrix check, the precision and the switch of refinement.
LINTRIX_TESTABLE void applyDefaults(int mtype, Parameters parameters) noexcept;

} // namespace Velmar::Lintrix::detail::engine
