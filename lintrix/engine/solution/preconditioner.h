#pragma once
/// @file
/// What refinement and the iterative paths know of the factor: that it solves.

#include <functional>

namespace Velmar::Lintrix::detail::engine {

/// z := inv(M)*r, for all right-hand sides at once; both may be the same array.
template <class T>
using Preconditioner = std::function<void(const T* r, T* z)>;

} // namespace Velmar::Lintrix::detail::engine
