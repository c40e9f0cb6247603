#pragma once
/// @file
/// The hook that refinement and the iterative paths tell their numbers to.

#include <initializer_list>
#include <string_view>

namespace Velmar::Lintrix::detail::engine {

/// A format in the manner of Fortran, and the numbers for it. By contract nothing is printed: the calls are
/// there for whoever looks into an iteration with a debugger.
inline void logIteration(std::string_view /*format*/, std::initializer_list<double> /*numbers*/) noexcept
{
}

} // namespace Velmar::Lintrix::detail::engine
