#include <lintrix/systems/roads/fronts_factor.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/roads/column_refinement.h>
#include <lintrix/systems/structure/sparse_entries.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace Velmar::Lintrix::detail::roads {

using namespace multifrontal;

namespace {

/// None where an element is not finite, or there are too few places for values.
template <class Cell>
std::shared_ptr<MultifrontalLU<Cell>> analysed(const EntryArrays<Cell>& A)
{
    if (!std::ranges::all_of(A.values, [](const Cell& x) { return isFinite(x); })) return nullptr;
    auto lu = std::make_shared<MultifrontalLU<Cell>>(A);
    return lu->isStructurallySingular() ? nullptr : lu;
}

} // namespace

template <class Cell>
FrontsFactor<Cell>::FrontsFactor(const SparseOf<Cell>& A)
    : A_(&A), entries_(std::make_shared<const EntryArrays<Cell>>(entriesOf<Cell>(A))),
      lu_(analysed(*entries_))
{
}

template <class Cell>
RoadCost FrontsFactor<Cell>::cost() const
{
    if (!lu_) return {};
    constexpr double perCell = std::is_same_v<Cell, double> ? 1.0 : 4.0;
    const FrontForecast forecast = lu_->forecast();
    const double bytes = sizeof(Cell) * static_cast<double>(forecast.entries + forecast.cellsAtOnce);
    return {(forecast.entries + A_->Rows()) / 2, perCell * forecast.operations, bytes, bytes, bytes};
}

template <class Cell>
EngineAnswer FrontsFactor<Cell>::factorize(const FrontBounds& bounds)
{
    if (!lu_) return {.error = kEngineNumeric};
    const bool isMade = lu_->factorize(*entries_, bounds);
    entries_.reset();
    return {.error = isMade ? 0 : kTooMuchFill};
}

template <class Cell>
double FrontsFactor<Cell>::operations(std::int32_t rightHands) const
{
    constexpr double perEntry = std::is_same_v<Cell, double> ? 2.0 : 8.0;
    return perEntry * static_cast<double>(entries()) * rightHands;
}

template <class Cell>
EngineAnswer FrontsFactor<Cell>::solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                                       std::optional<std::int32_t> steps)
try {
    steps_ = solveRefined<Cell>(*A_, *lu_, B, X, op, std::abs(steps.value_or(0)));
    WorkScope::tell(operations(B.Cols()));
    return {};
} catch (const NotEnoughMemoryException&) {
    return {.error = kEngineNoMemory};
} catch (const std::bad_alloc&) {
    return {.error = kEngineNoMemory};
}

template class FrontsFactor<double>;
template class FrontsFactor<Complex>;

} // namespace Velmar::Lintrix::detail::roads
