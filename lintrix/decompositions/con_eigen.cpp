#include <lintrix/decompositions/detail/con_eigen.h>

#include <lintrix/dense/detail/finite.h>
#include <lintrix/dense/detail/workspace.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <limits>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

char letterOf(BalanceType balance)
{
    switch (balance) {
    case BalanceType::Scale:
        return 'S';
    case BalanceType::Permute:
        return 'P';
    case BalanceType::Both:
        return 'B';
    default:
        return 'N';
    }
}

} // namespace

void ConEigen(BalanceType bal, bool rV, bool lV, std::int32_t n, double* a, double* wr, double* wi,
              double* vl, double* vr, double* scale, std::int32_t info)
{
    const std::int64_t cells = std::int64_t{n} * n;
    std::fill_n(wr, n, kNaN);
    std::fill_n(wi, n, 0.0);
    if (rV) std::fill_n(vr, cells, kNaN);
    if (lV) std::fill_n(vl, cells, kNaN);
    if (!allFinite(a, cells)) return;

    const Block<double> rconde(n), rcondv(n);
    const Block<std::int32_t> integers(2 * std::int64_t{n});
    const Workspace<double> work(3 * std::int64_t{n}); // the least with eigenvectors
    const std::int32_t ld = leadingDimension(n);
    std::int32_t ilo = 0, ihi = 0;
    double norm = 0.0;
    lapack::geevx(letterOf(bal), lV ? 'V' : 'N', rV ? 'V' : 'N', 'N', n, a, ld, wr, wi, vl, lV ? ld : 1, vr,
                  rV ? ld : 1, ilo, ihi, scale, norm, rconde.get(), rcondv.get(), work.get(), work.lwork,
                  integers.get(), info);
}

void unpackEigenvector(const double* packed, const double* wi, std::int32_t n, std::int32_t index,
                       std::complex<double>* vector)
{
    const bool second = wi[index] < 0.0;
    const double* real = packed + std::int64_t{n} * (second ? index - 1 : index);
    const double* imaginary = real + n;
    for (std::int32_t i = 0; i < n; ++i) {
        if (wi[index] == 0.0) {
            vector[i] = real[i];
        } else {
            vector[i] = {real[i], second ? -imaginary[i] : imaginary[i]};
        }
    }
}

} // namespace Velmar::Lintrix::detail
