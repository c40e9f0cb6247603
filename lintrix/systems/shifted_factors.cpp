#include <lintrix/systems/shifted_factors.h>

#include <lintrix/systems/quality/factor_quality.h>
#include <lintrix/systems/structure/sparse_entries.h>

#include <algorithm>
#include <span>
#include <type_traits>
#include <vector>

namespace Velmar::Lintrix::detail {

namespace {

/// What waits makes a factor grow beyond its forecast.
constexpr double kWaitingRoom = 4.0;

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

} // namespace

template <class Cell>
ShiftedFactors<Cell>::ShiftedFactors(const SparseOf<Cell>& A)
    : A_(A), entries_(withDiagonal<Cell>(A)), ldl_(entries_, true)
{
}

template <class Cell>
bool ShiftedFactors<Cell>::isAffordable(double left, double operations)
{
    constexpr double perCell = std::is_same_v<Cell, double> ? 1.0 : 4.0;
    const multifrontal::FrontForecast forecast = ldl_.forecast();
    const double own = 2.0 * sizeof(Cell) * static_cast<double>(entries_.values.size()),
                 cells = sizeof(Cell) * static_cast<double>(forecast.entries + forecast.cellsAtOnce);
    const double most = kWaitingRoom * static_cast<double>(forecast.entries + forecast.cellsAtOnce);
    bounds_ = {static_cast<std::int64_t>(most), operations / perCell};
    return own + kWaitingRoom * cells <= left && perCell * forecast.operations <= operations;
}

template <class Cell>
std::optional<FactorInertia> ShiftedFactors<Cell>::at(double shift)
{
    EntryArrays<Cell> shifted(entries_);
    const SparseEntries<Cell> view = shifted;
    for (std::int32_t i = 0; i < view.rows; ++i)
        for (std::int32_t k = view.starts[i]; k < view.starts[i + 1]; ++k)
            if (view.columns[k] == i) shifted.values[k] -= shift;
    if (!ldl_.factorize(shifted, bounds_)) return std::nullopt;
    const FactorQuality quality = qualityOfFactor<Cell>(AnyMatrix<Cell>(A_), inverse(), {.shift = shift});
    const Inertia inertia = ldl_.inertia();
    if (!(*quality.drift <= kSureDrift) || ldl_.replaced() > 0 || inertia.zero > 0) return std::nullopt;
    return FactorInertia{inertia, *quality.drift / quality.inverseNorm};
}

/// The same as its adjoint.
template <class Cell>
LinearMap<Cell> ShiftedFactors<Cell>::inverse() const
{
    const auto solve = [this](std::int32_t columns, const Cell* x, Cell* y) {
        const auto count = static_cast<std::size_t>(A_.Rows()) * static_cast<std::size_t>(columns);
        std::copy_n(x, count, y);
        ldl_.solve(TransposeMode::NotTransposed, std::span(y, count));
    };
    return {A_.Rows(), A_.Rows(), solve, solve};
}

template class ShiftedFactors<double>;
template class ShiftedFactors<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
