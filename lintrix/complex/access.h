#pragma once
/// @file
/// How the other classes of the library reach the blocks of the complex objects. Not for callers.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>
#include <lintrix/dense/access.h>

namespace Velmar::Lintrix::detail {

extern template struct AccessTo<Complex>;
using ComplexAccess = AccessTo<Complex>;

} // namespace Velmar::Lintrix::detail
