#pragma once
/// @file
/// How well a vector solves a system, and which of two does it better.

#include <lintrix/engine/solution/sparse_operator.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// ||r|| / (||A|| ||x|| + ||b||) for the residual r of x: the smallest eta such that x solves (A + E) x = b +
/// f exactly with ||E|| <= eta ||A|| and ||f|| <= eta ||b||. Rigal, Gaches, "On the compatibility of a given
/// solution with the data of a linear system", J. ACM 14 (1967). The sum of magnitudes is the norm of x, the
/// largest magnitude that of r and b, and max |a_ij| the norm of A that these two induce.
///
/// 0 where r is 0. No number where the residual has an element that is not finite, or x one that is none.
template <class T>
LINTRIX_TESTABLE double backwardError(double largestEntry, const T* x, const T* b, const T* residual,
                                      int n) noexcept;

/// Puts each of the `count` vectors of `other` in the place of that of `x`, unless the latter's backward
/// error is no larger, or that of `other` is no number. `work` has room for 2 n x count numbers.
template <class T>
LINTRIX_TESTABLE void takeBetter(const SparseOperator<T>& A, double largestEntry, const T* b, const T* other,
                                 T* x, int n, int count, T* work);

} // namespace Velmar::Lintrix::detail::engine
