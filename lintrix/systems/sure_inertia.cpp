#include <lintrix/systems/sure_inertia.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/systems/column_quality.h>
#include <lintrix/systems/multifrontal/multifrontal_ldl.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/structure/inertia.h>
#include <lintrix/systems/structure/sparse_entries.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <span>
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

/// Of a factor beside a matrix, and what their distance is to the smallest eigenvalue.
struct FactorInertia {
    Inertia inertia;
    double error;
};

/// What waits makes a factor grow beyond its forecast.
constexpr double kWaitingRoom = 4.0;

/// Both triangles, and on the diagonal zeros, too.
template <class Cell>
EntryArrays<Cell> withDiagonal(const SparseOf<Cell>& A)
{
    const EntryArrays<Cell> entries = entriesOf<Cell>(A);
    const SparseEntries<Cell> view = entries;
    EntryArrays<Cell> whole{{view.rows, view.cols}};
    whole.pattern.columns.reserve(entries.values.size() + static_cast<std::size_t>(view.rows));
    whole.values.reserve(entries.values.size() + static_cast<std::size_t>(view.rows));
    for (std::int32_t i = 0; i < view.rows; ++i) {
        const auto columns = view.row(i);
        const auto values = view.valuesOf(i);
        if (std::ranges::find(columns, i) == columns.end()) {
            whole.pattern.columns.push_back(i);
            whole.values.push_back(Cell());
        }
        whole.pattern.columns.insert(whole.pattern.columns.end(), columns.begin(), columns.end());
        whole.values.insert(whole.values.end(), values.begin(), values.end());
        whole.pattern.starts.push_back(static_cast<std::int32_t>(whole.pattern.columns.size()));
    }
    return whole;
}

/// Factors of A - s*I for a few s, one at a time, after one analysis.
template <class Cell>
class ShiftedFactors {
public:
    explicit ShiftedFactors(const SystemMatrix<Cell>& system)
        : matrix_(system.Matrix()), entries_(withDiagonal<Cell>(system.Matrix())), ldl_(entries_, true)
    {
    }

    /// Whether a factorization can be had within so many bytes, and takes no long time.
    bool isAffordable(double left, bool asked) const
    {
        const auto [entries, operations, cellsAtOnce] = ldl_.forecast();
        const double own = 2.0 * sizeof(Cell) * static_cast<double>(entries_.values.size()),
                     cells = sizeof(Cell) * static_cast<double>(entries + cellsAtOnce);
        return own + kWaitingRoom * cells <= left && operations <= (asked ? kAffordable : kUnasked);
    }

    /// None where the factor is too far from A - shift*I.
    std::optional<FactorInertia> at(double shift)
    {
        EntryArrays<Cell> shifted(entries_);
        const SparseEntries<Cell> view = shifted;
        for (std::int32_t i = 0; i < view.rows; ++i)
            for (std::int32_t k = view.starts[i]; k < view.starts[i + 1]; ++k)
                if (view.columns[k] == i) shifted.values[k] -= shift;
        if (!ldl_.factorize(shifted)) return std::nullopt;
        const FactorQuality quality =
            qualityOfFactor<Cell>(MatrixView<Cell>(matrix_), inverse(), {.columns = 2, .shift = shift});
        const bool isNear = *quality.drift <= kSure && ldl_.replaced() == 0 && ldl_.inertia().zero == 0;
        return isNear ? std::optional(FactorInertia{ldl_.inertia(), *quality.drift / quality.inverseNorm})
                      : std::nullopt;
    }

private:
    LinearMap<Cell> inverse() const
    {
        const auto solve = [this](std::int32_t columns, const Cell* x, Cell* y) {
            const auto count = static_cast<std::size_t>(matrix_.Rows()) * static_cast<std::size_t>(columns);
            std::copy_n(x, count, y);
            ldl_.solve(TransposeMode::NotTransposed, std::span(y, count));
        };
        return {matrix_.Rows(), matrix_.Rows(), solve, solve};
    }

    const SparseOf<Cell>& matrix_;
    EntryArrays<Cell> entries_;
    multifrontal::MultifrontalLDL<Cell> ldl_;
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

/// By factors made for it: of A itself, and where that is not near enough, of A beside shifts.
template <class Cell>
CertainInertia byFactors(const SystemMatrix<Cell>& system, double left, bool asked)
{
    const double norm = infinityNorm(MatrixView<Cell>(system.Matrix()));
    const CertainInertia uncertain{0, 0, system.Size(), kInfinity};
    if (!(norm > 0.0) || (!asked && system.Matrix().NumElements() > kFewEntries)) return uncertain;
    ShiftedFactors<Cell> factors(system);
    if (!factors.isAffordable(left, asked)) return uncertain;
    if (const auto own = factors.at(0.0))
        return {own->inertia.positive, own->inertia.negative, 0, own->error};
    int tries = 0;
    const auto inertiaOf = [&](double shift) -> ShiftedInertia {
        if (tries++ >= 2 * kTries) return {{}, kInfinity};
        const auto shifted = factors.at(shift);
        if (!shifted) return {{}, 0.5 * kGrowth * std::abs(shift)}; // a larger one is to be tried
        return {shifted->inertia, 0.0};
    };
    return certainInertia(system.Size(), 0.5 * kShift * norm, inertiaOf);
}

} // namespace

template <class Cell>
CertainInertia sureInertia(SystemMatrix<Cell>& system, const Outcome<Cell>& outcome, double left, bool asked)
{
    if (const std::optional<CertainInertia> known = atHand(system.Size(), outcome)) return *known;
    const CertainInertia uncertain{0, 0, system.Size(), kInfinity};
    if (left <= 0.0) return uncertain;
    try {
        return byFactors(system, left, asked);
    } catch (const NotEnoughMemoryException&) {
        return uncertain;
    } catch (const std::bad_alloc&) {
        return uncertain;
    }
}

template CertainInertia sureInertia(SystemMatrix<double>&, const Outcome<double>&, double, bool);
template CertainInertia sureInertia(SystemMatrix<Complex>&, const Outcome<Complex>&, double, bool);

} // namespace Velmar::Lintrix::detail
