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

/// What both drivers hand to the routine beside its operands, of which nobody reads what comes back.
struct Scratch {
    explicit Scratch(std::int64_t n) : rconde(n), rcondv(n) {}

    Block<double> rconde, rcondv;
    std::int32_t ilo = 0, ihi = 0;
    double norm = 0.0;
};

char jobOf(bool vectors)
{
    return vectors ? 'V' : 'N';
}
std::int32_t leadingDimensionOf(bool vectors, std::int32_t n)
{
    return vectors ? leadingDimension(n) : 1;
}

/// What stays where nothing is found. Whether the routine may be given `a`.
template <class Cell>
bool prepare(bool rV, bool lV, std::int32_t n, const Cell* a, Cell* vl, Cell* vr)
{
    const std::int64_t cells = std::int64_t{n} * n;
    if (rV) std::fill_n(vr, cells, Cell(kNaN));
    if (lV) std::fill_n(vl, cells, Cell(kNaN));
    return allFinite(a, cells);
}

} // namespace

void ConEigen(BalanceType bal, bool rV, bool lV, std::int32_t n, double* a, double* wr, double* wi,
              double* vl, double* vr, double* scale, std::int32_t info)
{
    std::fill_n(wr, n, kNaN);
    std::fill_n(wi, n, 0.0);
    if (!prepare(rV, lV, n, a, vl, vr)) return;

    Scratch scratch(n);
    const Block<std::int32_t> integers(2 * std::int64_t{n});
    const Workspace<double> work(3 * std::int64_t{n}); // the least with eigenvectors
    lapack::geevx(letterOf(bal), jobOf(lV), jobOf(rV), 'N', n, a, leadingDimension(n), wr, wi, vl,
                  leadingDimensionOf(lV, n), vr, leadingDimensionOf(rV, n), scratch.ilo, scratch.ihi, scale,
                  scratch.norm, scratch.rconde.get(), scratch.rcondv.get(), work.get(), work.lwork,
                  integers.get(), info);
}

void CConEigen(BalanceType bal, bool rV, bool lV, std::int32_t n, std::complex<double>* a,
               std::complex<double>* w, std::complex<double>* vl, std::complex<double>* vr, double* scale,
               std::int32_t info)
{
    std::fill_n(w, n, kNaN);
    if (!prepare(rV, lV, n, a, vl, vr)) return;

    Scratch scratch(n);
    const Block<double> reals(2 * std::int64_t{n});
    const Workspace<std::complex<double>> work(3 * std::int64_t{n});
    lapack::geevx(letterOf(bal), jobOf(lV), jobOf(rV), 'N', n, a, leadingDimension(n), w, vl,
                  leadingDimensionOf(lV, n), vr, leadingDimensionOf(rV, n), scratch.ilo, scratch.ihi, scale,
                  scratch.norm, scratch.rconde.get(), scratch.rcondv.get(), work.get(), work.lwork,
                  reals.get(), info);
}

void unpackEigenvector(const double* packed, const double* wi, std::int32_t n, std::int32_t index,
                       std::complex<double>* vector)
{
    const bool second = index > 0 && !(wi[index] >= 0.0); // a NaN counts as negative
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
