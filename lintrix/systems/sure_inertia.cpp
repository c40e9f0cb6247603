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

/// By factors made for it: of A itself, and where that is not near enough, of A beside shifts.
template <class Cell>
CertainInertia byFactors(const SystemMatrix<Cell>& system, double left, bool asked)
{
    const double norm = infinityNorm(MatrixView<Cell>(system.Matrix()));
    const CertainInertia uncertain{0, 0, system.Size(), kInfinity};
    if (!(norm > 0.0) || (!asked && system.Matrix().NumElements() > kFewEntries)) return uncertain;
    ShiftedFactors<Cell> factors(system.Matrix());
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
    return certainInertia(system.Size(), 0.5 * kShift * norm, inertiaOf);
}

} // namespace

template <class Cell>
CertainInertia sureInertia(SystemMatrix<Cell>& system, const Outcome<Cell>& outcome,
                           const std::function<double()>& left, bool asked)
{
    if (const std::optional<CertainInertia> known = atHand(system.Size(), outcome)) return *known;
    const CertainInertia uncertain{0, 0, system.Size(), kInfinity};
    const double bytes = left();
    if (bytes <= 0.0) return uncertain;
    try {
        return byFactors(system, bytes, asked);
    } catch (const NotEnoughMemoryException&) {
        return uncertain;
    } catch (const std::bad_alloc&) {
        return uncertain;
    }
}

template CertainInertia sureInertia(SystemMatrix<double>&, const Outcome<double>&,
                                    const std::function<double()>&, bool);
template CertainInertia sureInertia(SystemMatrix<Complex>&, const Outcome<Complex>&,
                                    const std::function<double()>&, bool);

} // namespace Velmar::Lintrix::detail
