#pragma once
/// @file
/// The signs of the eigenvalues of a symmetric or Hermitian matrix, by pivots of factors, as far as they
/// are certain.
///
/// A factor is that of M = A + E, and by its pivots the inertia of M is known. With F = A*M^-1 - I, A is
/// (I + F)*M, and M - t*E = (I + t*F)*M is regular for all t from 0 to 1 if no eigenvalue of F is as large as
/// 1 in modulus: then no eigenvalue of M crosses zero on its way to A, and A has the inertia of M. F is
/// measured, not bounded by what rounding could do at worst: so growth of elements and replaced pivots count
/// with what they have done, and the scaling of A, which no eigenvalue of F depends on, does not count.
///
/// Where no factor of A is near enough, A - s*I and A + s*I are factorized with a small s: what is above s is
/// positive, what is below -s negative.

#include <lintrix/systems/roads/road_outcome.h>
#include <lintrix/systems/system_matrix.h>
#include <lintrix/systems/verdict.h>

#include <functional>

namespace Velmar::Lintrix::detail {

/// The factor of `outcome` is asked first, if its quality is known with the drift; of a singular matrix with
/// its zero pivots raised, so far that a few solves show no drift. Then one whose pivots
/// wait, of A itself, and where that is too far from A, of shifted matrices: where one takes milliseconds,
/// or, where it is `asked` for, up to 2e9 operations, up to seven times; and where one takes, with its
/// analysis, no more than the bytes that are `left` beside the factor at hand, which are counted only then.
/// Of larger ones, and where memory gives out, all signs are uncertain then, and the bound is infinite: the
/// solution does not depend on it.
/// @pre A is finite and symmetric or Hermitian
template <class Cell>
CertainInertia sureInertia(SystemMatrix<Cell>& system, const roads::Outcome<Cell>& outcome,
                           const std::function<double()>& left, bool asked);

/// Of a dense one by such factors alone, within the same operations.
template <class Cell>
CertainInertia sureInertia(const MatrixOf<Cell>& A, const std::function<double()>& left, bool asked);

} // namespace Velmar::Lintrix::detail
