#pragma once
/// @file
/// Out-of-place transposition of a column-major array.

#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix {

/// B := alpha*A' out of place. `ordering` is 'C' (column-major) and `trans` 'T': this is the one form
/// offered. A is rows x cols with leading dimension `lda`, B cols x rows with leading dimension `ldb`; they
/// must not overlap. Other letters leave B alone. Cost: one read of A and one write of B, tile by tile
/// (Frigo, Leiserson, Prokop, Ramachandran, "Cache-oblivious algorithms", FOCS 1999).
LINTRIX_EXPORT void MKL_Domatcopy(const char& ordering, const char& trans, const std::uint64_t& rows,
                                  const std::uint64_t& cols, const double& alpha, const double* a,
                                  const std::uint64_t& lda, double* b, const std::uint64_t& ldb);

namespace detail {

/// Element (i, j) of the m x n array `a` goes to (j, i) of the n x m array `b`, both column-major, unpadded.
LINTRIX_TESTABLE void vmr_transo(const double* a, double* b, const std::int32_t& m, const std::int32_t& n);

} // namespace detail
} // namespace Velmar::Lintrix
