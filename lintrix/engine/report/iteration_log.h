#pragma once
/// @file
/// The hook that refinement and the iterative paths tell their numbers to.

#include <lintrix/services/export.h>

#include <initializer_list>
#include <span>
#include <string_view>

namespace Velmar::Lintrix::detail::engine {

/// Is given a format in the manner of Fortran, and the numbers for it.
using IterationLog = void (*)(std::string_view format, std::span<const double> numbers);

/// An empty routine: no iteration prints anything at any `msglvl`, and reports stay as callers read them.
/// Whoever looks into an iteration puts a routine of his own in its place, as tests do.
LINTRIX_TESTABLE IterationLog& iterationLog() noexcept;

inline void logIteration(std::string_view format, std::initializer_list<double> numbers)
{
    iterationLog()(format, {numbers.begin(), numbers.size()});
}

} // namespace Velmar::Lintrix::detail::engine
