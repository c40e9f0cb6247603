#pragma once
/// @file
/// The Lanczos driver for truncated singular value decompositions.

#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix {

/// The k largest singular values of a sparse m x n matrix A with their vectors: A*v = s*u, A'*u = s*v.
///
/// Lanczos bidiagonalization from a fixed start vector with full reorthogonalization (Golub and Kahan, SIAM
/// Journal on Numerical Analysis B 2, 1965; lower form of Paige and Saunders, ACM TOMS 8, 1982). The first
/// test comes after trunc(sqrt(min(m, n)*k)) steps; each failed one is followed by half as many steps again
/// and one, on the bases that there are. The test is ||v - A'*u/s|| <= max(|eps|, 1e-14) for the k-th triplet
/// alone, the last to settle.
///
/// @param m, n  rows and columns
/// @param k     wanted triplets, at most min(m, n)
/// @param eps   tolerance
/// @param a, ia, ja  compressed rows, both index arrays one-based, columns ascending within a row
/// @param sym   the rows are the upper triangle of a symmetric matrix
/// @param U     m x k, column-major: left vectors
/// @param V     n x k, column-major: right vectors
/// @param S     k values, largest first
///
/// All of U, V and S is written unless memory fails. Equal calls under the same thread count give equal bits.
///
/// A multiple singular value may be found once only, since a Krylov space holds one vector of each.
///
/// Limits. The interface guards against none of them, and nothing is reported:
/// - A start vector in an invariant subspace that the steps exhaust exactly, a zero matrix above all: a zero
///   norm divides, and the results are NaN.
/// - k above the rank: the last value is rounding noise or zero. A zero ends the work with what there is or
///   with NaN. With noise the test may never pass.
/// - A tolerance out of reach, as can be one near 1e-14 or a last value near s(0)*1e-16: the steps go on
///   past min(m, n), without limit, until memory fails.
/// - k above min(m, n), and a symmetric matrix that is not square: undefined.
/// The hardened build raises InvalidOperationException at each of them. `LanczosObserver` lets a caller of
/// SparseSVD stop.
///
/// Memory: with b the steps and one, 8*b*(m + n) bytes for the bases and 40*b*b during a test. The matrix is
/// neither copied nor transposed: both products go through the caller's rows, which are only read.
/// Cost: b*b*(m + n)*2 operations for the reorthogonalization, about 10*b^3 for each test.
///
/// @throws NotEnoughMemoryException  default message; nothing leaks. If it was a later pass that failed,
/// `TrellConfiguration::TotalMemory` stays too low by the size of a basis: a resize withdraws the old size
/// before it asks for the new one.
LINTRIX_EXPORT void DoLan(std::int32_t m, std::int32_t n, std::int32_t k, double eps, const double* a,
                          const std::int32_t* ia, const std::int32_t* ja, bool sym, double* U, double* V,
                          double* S);

} // namespace Velmar::Lintrix
