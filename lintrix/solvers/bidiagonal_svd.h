#pragma once
/// @file
/// All singular triplets of a small bidiagonal matrix.

#include <lintrix/foundation/block.h>
#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// B = P*diag(d)*Q' of a lower bidiagonal B of order b; P and Q' column-major, b cells a column.
///
/// Nobody asks whether the iteration converged: what it leaves is used, and the test of the triplet decides.
/// The hardened build raises InvalidOperationException if it did not. A B that is not finite has NaN for all
/// of its triplets: LAPACK would complain on standard error and leave the arrays unwritten.
struct LINTRIX_TESTABLE BidiagonalSvd {
    /// `diagonal` and `subdiagonal` have b cells, of which the last of the subdiagonal is not used. The
    /// singular values go to `values`, b cells, largest first. @throws NotEnoughMemoryException
    BidiagonalSvd(std::int32_t b, const double* diagonal, const double* subdiagonal, double* values);

    std::int32_t b;
    Block<double> left;       ///< P
    Block<double> rightTrans; ///< Q'
};

} // namespace Velmar::Lintrix::detail
