#pragma once
/// @file
/// The drivers of general eigenvalue problems, and eigenvectors out of their packed real form.

#include <lintrix/foundation/enumerations.h>
#include <lintrix/services/export.h>

#include <complex>
#include <cstdint>

namespace Velmar::Lintrix::detail {

/// Eigenvalues wr + i*wi of the n x n `a`, which is destroyed, and where `rV` and `lV` ask for them right and
/// left eigenvectors (n*n cells each, else not touched), as `geevx` leaves them: not sorted, conjugate pairs
/// next to each other. `scale` (n cells) gets the balancing details.
///
/// What the routine does not write, because it has not converged, is NaN in `wr` and in the vectors and 0 in
/// `wi`. So is everything where `a` is not finite: the routine would complain on the standard streams and is
/// not called. `info` is taken by value, so that the caller's own stays what it was: an `Eigen` has succeeded
/// whatever happens, as callers are used to, and a NaN is the only sign of a failure.
/// @throws NotEnoughMemoryException  default message
LINTRIX_TESTABLE void ConEigen(BalanceType bal, bool rV, bool lV, std::int32_t n, double* a, double* wr,
                               double* wi, double* vl, double* vr, double* scale, std::int32_t info);

/// The same for complex cells: eigenvalues in `w`, each eigenvector a column. An eigenvalue that was not
/// found is NaN in its real part and 0 in the other, and a vector NaN in the real parts of its cells.
LINTRIX_TESTABLE void CConEigen(BalanceType bal, bool rV, bool lV, std::int32_t n, std::complex<double>* a,
                                std::complex<double>* w, std::complex<double>* vl, std::complex<double>* vr,
                                double* scale, std::int32_t info);

/// Eigenvector `index` (n cells) out of the packed form: column `index` for a real eigenvalue; for a pair,
/// whose first member has the positive imaginary part, column `index` of the first holds the real part and
/// the column behind it the imaginary part of its vector, and the vector of the second is the conjugate.
LINTRIX_TESTABLE void unpackEigenvector(const double* packed, const double* wi, std::int32_t n,
                                        std::int32_t index, std::complex<double>* vector);

} // namespace Velmar::Lintrix::detail
