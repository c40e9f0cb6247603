#pragma once
/// @file
/// Bounds on the errors of dense systems that are not square.

#include <lintrix/services/export.h>
#include <lintrix/systems/roads/dense_reflections.h>

#include <vector>

namespace Velmar::Lintrix::detail::roads {

/// Refines X, by `factors` of A for A*X = B, of full rank (see `refine` of systems/quality).
///
/// @return  for each column a bound on ||x* - x||/||x||, infinity norms, x* being the exact solution;
/// infinite
///          where R is all but singular, or x is zero and need not be
/// @throws NotEnoughMemoryException, as `WorkScope::tell`; X is as it was then, or better
template <class Cell>
LINTRIX_TESTABLE std::vector<double> refineAndBound(const MatrixOf<Cell>& A,
                                                    const DenseReflections<Cell>& factors,
                                                    const MatrixOf<Cell>& B, MatrixOf<Cell>& X);

} // namespace Velmar::Lintrix::detail::roads
