#pragma once
/// @file
/// How the decompositions reach the blocks of the dense objects, by cell type.

#include <lintrix/complex/access.h>
#include <lintrix/dense/access.h>

namespace Velmar::Lintrix::detail {

template <class Cell>
struct AccessTo;
template <>
struct AccessTo<double> : DenseAccess {
};
template <>
struct AccessTo<Complex> : ComplexAccess {
};

} // namespace Velmar::Lintrix::detail
