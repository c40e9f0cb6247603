#include <lintrix/systems/roads/delayed_factor.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/roads/column_refinement.h>
#include <lintrix/systems/structure/sparse_entries.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace Velmar::Lintrix::detail::roads {

using namespace multifrontal;

namespace {

/// Elements that are none are not looked for any further.
template <class Cell>
std::shared_ptr<MultifrontalLDL<Cell>> analysed(const EntryArrays<Cell>& A, bool hermitian)
{
    const bool isUsable = std::ranges::all_of(A.values, [](const Cell& x) { return isFinite(x); });
    return isUsable ? std::make_shared<MultifrontalLDL<Cell>>(A, hermitian) : nullptr;
}

} // namespace

template <class Cell>
DelayedFactor<Cell>::DelayedFactor(const SparseOf<Cell>& A, bool hermitian)
    : A_(&A), hermitian_(hermitian), entries_(std::make_shared<const EntryArrays<Cell>>(entriesOf<Cell>(A))),
      ldl_(analysed(*entries_, hermitian))
{
}

template <class Cell>
RoadCost DelayedFactor<Cell>::cost() const
{
    if (!ldl_) return {};
    constexpr double perCell = std::is_same_v<Cell, double> ? 1.0 : 4.0;
    const FrontForecast forecast = ldl_->forecast();
    const double bytes = sizeof(Cell) * static_cast<double>(forecast.entries + forecast.cellsAtOnce);
    return {forecast.entries, perCell * forecast.operations, bytes, bytes, bytes};
}

template <class Cell>
EngineAnswer DelayedFactor<Cell>::factorize(const FrontBounds& bounds)
{
    if (!ldl_) return {.error = kEngineNumeric};
    const bool isMade = ldl_->factorize(*entries_, bounds);
    entries_.reset();
    return {.error = isMade ? 0 : kTooMuchFill};
}

template <class Cell>
double DelayedFactor<Cell>::operations(std::int32_t rightHands) const
{
    constexpr double perEntry = std::is_same_v<Cell, double> ? 4.0 : 16.0;
    return perEntry * static_cast<double>(entries()) * rightHands;
}

template <class Cell>
EngineAnswer DelayedFactor<Cell>::solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                                        std::optional<std::int32_t> steps)
try {
    steps_ = solveRefined<Cell>(*A_, *ldl_, B, X, op, std::abs(steps.value_or(0)));
    WorkScope::tell(operations(B.Cols()));
    return {};
} catch (const NotEnoughMemoryException&) {
    return {.error = kEngineNoMemory};
} catch (const std::bad_alloc&) {
    return {.error = kEngineNoMemory};
}

template <class Cell>
std::optional<Inertia> DelayedFactor<Cell>::inertia() const
{
    return hermitian_ ? std::optional(ldl_->inertia()) : std::nullopt;
}

template class DelayedFactor<double>;
template class DelayedFactor<Complex>;

} // namespace Velmar::Lintrix::detail::roads
