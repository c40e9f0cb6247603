#include <lintrix/systems/sure_inertia.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/systems/column_quality.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/shifted_factors.h>
#include <lintrix/systems/structure/inertia.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <type_traits>

namespace Velmar::Lintrix::detail {

using namespace roads;

namespace {

// Operations of a factorization that nobody has asked for, and entries of the matrix: milliseconds. What is
// asked for may take about a second.
constexpr double kUnasked = 1e7, kAffordable = 2e9;
constexpr int kFewEntries = 20'000;

/// The first shift, of the norm of A: its factor is then measured to some eps/kShift.
constexpr double kShift = 0x1p-40;
constexpr int kTries = 3;
constexpr double kGrowth = 32.0; ///< of the shift, from try to try

/// Pivots that were zero beside elements near 1, if they are raised, and of the norm what they may add.
constexpr double kRaised = 0x1p-36, kSmall = 0x1p-28;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Of the factor at hand, where it is near enough to A. That of the probe is one random vector more; where
/// GMRES has made it good, it says nothing of the factor.
template <class Cell>
std::optional<CertainInertia> atHand(std::int32_t order, const Outcome<Cell>& outcome)
{
    if (!outcome.factor || !outcome.quality || !outcome.factorQuality || outcome.krylovSteps > 0)
        return std::nullopt;
    const std::optional<Inertia> inertia = outcome.factor->inertia();
    const FactorQuality& factor = *outcome.factorQuality;
    const double drift = factor.drift.value_or(kInfinity),
                 ofProbe = std::sqrt(static_cast<double>(order)) * outcome.quality->probeError;
    if (!inertia || inertia->zero > 0 || !(drift <= kSureDrift) || !(ofProbe <= kSureDrift))
        return std::nullopt;
    return CertainInertia{inertia->positive, inertia->negative, 0,
                          std::max(drift, ofProbe) / factor.inverseNorm};
}

/// Of a singular matrix by the factor at hand, its zero pivots raised: of A + D, where D >= 0 has the rank d
/// of these. A has no fewer negative eigenvalues than A + D, and at most d positive ones less, both by the
/// order of the eigenvalues of A and A + D (H. Weyl 1912). The inverse of A + D is D^-1 where D is not zero,
/// so that A + D has d eigenvalues in (0, max D], and the last d above no negative one of A are within that.
template <class Cell>
std::optional<CertainInertia> ofSingular(const SparseOf<Cell>& A, const Outcome<Cell>& outcome)
{
    if (!outcome.factor || outcome.perturbed == 0) return std::nullopt;
    const AnyMatrix<Cell> view(A);
    double size = kRaised;
    for (int tries = 0; tries < kTries; ++tries) {
        const std::optional<RaisedFactor<Cell>> raised = outcome.factor->raised(size);
        if (!raised || raised->inertia.zero != outcome.perturbed) return std::nullopt;
        const double most = std::ranges::max(raised->added);
        if (!(most <= kSmall * infinityNorm(view))) return std::nullopt;
        const FactorQuality quality =
            qualityOfFactor<Cell>(view, raised->inverse, {.shift = 0.0, .raised = raised->added});
        const double drift = *quality.drift;
        if (drift <= kSureDrift)
            return CertainInertia{raised->inertia.positive, raised->inertia.negative, raised->inertia.zero,
                                  most + drift / quality.inverseNorm};
        if (!std::isfinite(drift)) return std::nullopt;
        size *= 2.0 * drift / kSureDrift; // what rounding does falls as this grows
    }
    return std::nullopt;
}

/// All signs are uncertain.
CertainInertia nothingOf(std::int32_t order)
{
    return {0, 0, order, kInfinity};
}

/// By factors made for it: of A itself, and where that is not near enough, of A beside shifts.
template <class Cell>
CertainInertia byFactors(const SparseOf<Cell>& A, double left, bool asked)
{
    const double norm = infinityNorm(AnyMatrix<Cell>(A));
    const CertainInertia uncertain = nothingOf(A.Rows());
    if (!(norm > 0.0)) return uncertain;
    ShiftedFactors<Cell> factors(A);
    if (!factors.isAffordable(left, asked ? kAffordable : kUnasked)) return uncertain;
    if (const auto own = factors.at(0.0))
        return {own->inertia.positive, own->inertia.negative, 0, own->error};
    int tries = 0;
    const auto inertiaOf = [&](double shift) -> ShiftedInertia {
        if (tries++ >= 2 * kTries) return {{}, kInfinity};
        const std::optional<FactorInertia> shifted = factors.at(shift);
        if (!shifted) return {{}, 0.5 * kGrowth * std::abs(shift)}; // a larger one is to be tried
        return {shifted->inertia, 0.0};
    };
    return certainInertia(A.Rows(), 0.5 * kShift * norm, inertiaOf);
}

/// Of what `matrix` makes, where there is memory for it.
template <class Cell, class Matrix>
CertainInertia withinMemory(std::int32_t order, const std::function<double()>& left, bool asked,
                            const Matrix& matrix)
{
    const double bytes = left();
    if (bytes <= 0.0) return nothingOf(order);
    try {
        return byFactors<Cell>(matrix(), bytes, asked);
    } catch (const NotEnoughMemoryException&) {
        return nothingOf(order);
    } catch (const std::bad_alloc&) {
        return nothingOf(order);
    }
}

} // namespace

template <class Cell>
CertainInertia sureInertia(SystemMatrix<Cell>& system, const Outcome<Cell>& outcome,
                           const std::function<double()>& left, bool asked)
{
    if (const std::optional<CertainInertia> known = atHand(system.Size(), outcome)) return *known;
    const SparseOf<Cell>& A = system.Matrix();
    if (const std::optional<CertainInertia> known = ofSingular<Cell>(A, outcome)) return *known;
    if (!asked && A.NumElements() > kFewEntries) return nothingOf(A.Rows());
    return withinMemory<Cell>(A.Rows(), left, asked, [&A]() -> const SparseOf<Cell>& { return A; });
}

template <class Cell>
CertainInertia sureInertia(const MatrixOf<Cell>& A, const std::function<double()>& left, bool asked)
{
    constexpr double perCell = std::is_same_v<Cell, double> ? 1.0 : 4.0;
    const double n = A.Rows(), operations = perCell * n * n * n / 3.0;
    if (operations > (asked ? kAffordable : kUnasked)) return nothingOf(A.Rows());
    return withinMemory<Cell>(A.Rows(), left, asked, [&A] { return SparseOf<Cell>(A); });
}

template CertainInertia sureInertia<double>(const Matrix&, const std::function<double()>&, bool);
template CertainInertia sureInertia<Complex>(const CMatrix&, const std::function<double()>&, bool);
template CertainInertia sureInertia(SystemMatrix<double>&, const Outcome<double>&,
                                    const std::function<double()>&, bool);
template CertainInertia sureInertia(SystemMatrix<Complex>&, const Outcome<Complex>&,
                                    const std::function<double()>&, bool);

} // namespace Velmar::Lintrix::detail
