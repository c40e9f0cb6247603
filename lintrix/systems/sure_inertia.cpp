#include <lintrix/systems/sure_inertia.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/systems/column_quality.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/structure/inertia.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail {

using namespace roads;

namespace {

/// Of the measured size of F. It is measured in few directions: random ones miss one that counts by a factor
/// of a thousand about once in a thousand times each.
constexpr double kSure = 1e-3;

// Operations of a factorization that nobody has asked for, and entries of the matrix: milliseconds. What is
// asked for may take about a second.
constexpr double kUnasked = 1e7, kAffordable = 2e9;
constexpr int kFewEntries = 20'000;

/// The first shift, of the norm of A: its factor is then measured to some eps/kShift.
constexpr double kShift = 0x1p-40;
constexpr int kTries = 3;
constexpr double kGrowth = 32.0; ///< of the shift, from try to try

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Factors of A - s*I for a few s, one at a time, after one analysis.
template <class Cell>
class ShiftedFactors {
public:
    ShiftedFactors(SystemMatrix<Cell>& system, Road road)
        : system_(system), matrix_(system.As(MatrixType::Indefinite)),
          original_(static_cast<const Cell*>(matrix_.a),
                    static_cast<const Cell*>(matrix_.a) + matrix_.entries()),
          values_(original_)
    {
        matrix_.a = values_.data();
        run_ =
            std::make_unique<DirectRun>(road, matrix_, FillInReducingMethod::MinimumDegree, EngineSettings{});
        run_->keepSmallPivots();
    }

    /// Whether a factorization can be had within so many bytes, and takes no long time.
    bool isAffordable(double left, bool asked)
    {
        if (!asked && matrix_.entries() > kFewEntries) return false;
        const double own = 2.0 * sizeof(Cell) * static_cast<double>(values_.size());
        if (left <= own || run_->analyse(FactorStore::Memory, 1).error != 0) return false;
        return own + run_->bytesInMemory() <= left &&
               run_->cost().operations <= (asked ? kAffordable : kUnasked);
    }

    /// None where the factor is too far from A - shift*I.
    std::optional<Inertia> inertiaAt(double shift)
    {
        values_ = original_;
        for (std::int32_t i = 0; i < matrix_.n; ++i) values_[matrix_.ia[i] - 1] -= shift; // leads its row
        if (run_->factorize().error != 0) return std::nullopt;
        const std::optional<Inertia> inertia = run_->inertia();
        EngineFactor<Cell> factor(std::move(run_));
        const FactorQuality quality = qualityOfFactor<Cell>(
            MatrixView<Cell>(system_.Matrix()),
            inverseBy<Cell>(factor, matrix_.n, TransposeMode::NotTransposed), {.columns = 2, .shift = shift});
        run_ = factor.release();
        return *quality.drift <= kSure && inertia->zero == 0 ? inertia : std::nullopt;
    }

private:
    SystemMatrix<Cell>& system_;
    EngineMatrix matrix_;
    std::vector<Cell> original_, values_;
    std::unique_ptr<DirectRun> run_{};
};

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
    if (!inertia || inertia->zero > 0 || !(drift <= kSure) || !(ofProbe <= kSure)) return std::nullopt;
    return CertainInertia{inertia->positive, inertia->negative, 0,
                          std::max(drift, ofProbe) / factor.inverseNorm};
}

Road roadForShifts(Road taken, std::int32_t perturbed)
{
    const bool byDiagonal = taken == Road::Cholesky || taken == Road::Symmetric;
    return byDiagonal && perturbed == 0 ? Road::Symmetric : Road::SymmetricPairs;
}

template <class Cell>
CertainInertia byShifts(SystemMatrix<Cell>& system, const Outcome<Cell>& outcome, double left, bool asked)
{
    const double norm = infinityNorm(MatrixView<Cell>(system.Matrix()));
    ShiftedFactors<Cell> factors(system, roadForShifts(outcome.attempt.road, outcome.perturbed));
    int tries = 0;
    const auto inertiaOf = [&](double shift) -> ShiftedInertia {
        if (tries++ >= 2 * kTries) return {{}, kInfinity};
        const std::optional<Inertia> inertia = factors.inertiaAt(shift);
        if (!inertia) return {{}, 0.5 * kGrowth * std::abs(shift)}; // a larger one is to be tried
        return {*inertia, 0.0};
    };
    if (!(norm > 0.0) || !factors.isAffordable(left, asked)) return {0, 0, system.Size(), kInfinity};
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
        return byShifts(system, outcome, bytes, asked);
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
