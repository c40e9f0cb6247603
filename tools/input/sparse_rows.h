#pragma once
// Sparse matrices of the library, by cell.

#include <lintrix/lintrix.h>

#include <complex>
#include <type_traits>

namespace Velmar::Lintrix::tools {

using ComplexNumber = std::complex<double>;

template <class Cell>
inline constexpr bool kIsComplex = !std::is_same_v<Cell, double>;

/// The library's sparse matrix of these cells. A complex one has both triangles, since products take one of
/// them for a general matrix; of a real one the triangle may stand for both.
template <class Cell>
using SparseRows = std::conditional_t<kIsComplex<Cell>, CSparseMatrix, SparseMatrix>;

} // namespace Velmar::Lintrix::tools
