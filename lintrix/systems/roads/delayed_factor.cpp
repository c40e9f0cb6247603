#include <lintrix/systems/roads/delayed_factor.h>

#include <lintrix/services/thread_scope.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/roads/column_refinement.h>
#include <lintrix/systems/structure/sparse_entries.h>

#include <algorithm>
#include <cstdlib>

namespace Velmar::Lintrix::detail::roads {

using namespace multifrontal;

namespace {

/// None where there is no factor, whatever the pivots: elements that are none are not looked for any further.
template <class Fronts, class Cell, class... Kind>
std::shared_ptr<Fronts> analysed(const EntryArrays<Cell>& A, Kind... kind)
{
    if (!std::ranges::all_of(A.values, [](const Cell& x) { return isFinite(x); })) return nullptr;
    auto fronts = std::make_shared<Fronts>(A, kind...);
    if constexpr (Fronts::kTriangles == 2) {
        if (fronts->isStructurallySingular()) return nullptr;
    }
    return fronts;
}

} // namespace

template <class Cell, class Fronts, class... Kind>
FrontalFactor<Cell, Fronts, Kind...>::FrontalFactor(const SparseOf<Cell>& A, Kind... kind)
    : A_(&A), entries_(std::make_shared<const EntryArrays<Cell>>(entriesOf<Cell>(A))),
      fronts_(analysed<Fronts, Cell>(*entries_, kind...))
{
}

/// Of two triangles the entries of one, as roads tell them.
template <class Cell, class Fronts, class... Kind>
RoadCost FrontalFactor<Cell, Fronts, Kind...>::cost() const
{
    if (!fronts_) return {};
    constexpr std::int64_t triangles = Fronts::kTriangles;
    const FrontForecast forecast = fronts_->forecast();
    const double bytes = sizeof(Cell) * static_cast<double>(forecast.entries + forecast.cellsAtOnce);
    return {(forecast.entries + (triangles - 1) * A_->Rows()) / triangles,
            kMultiplications<Cell> * forecast.operations, bytes, bytes, bytes};
}

template <class Cell, class Fronts, class... Kind>
EngineAnswer FrontalFactor<Cell, Fronts, Kind...>::factorize(const FrontBounds& bounds)
{
    if (!fronts_) return {.error = kEngineNumeric};
    const SequentialBlasScope sequential(cost().operations / 2.0);
    const bool isMade = fronts_->factorize(*entries_, bounds);
    entries_.reset();
    return {.error = isMade ? 0 : kTooMuchFill};
}

/// An entry of L alone serves twice.
template <class Cell, class Fronts, class... Kind>
double FrontalFactor<Cell, Fronts, Kind...>::operations(std::int32_t rightHands) const
{
    constexpr double perEntry = (std::is_same_v<Cell, double> ? 4.0 : 16.0) / Fronts::kTriangles;
    return perEntry * static_cast<double>(entries()) * rightHands;
}

template <class Cell, class Fronts, class... Kind>
EngineAnswer FrontalFactor<Cell, Fronts, Kind...>::solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X,
                                                         TransposeMode op, std::optional<std::int32_t> steps)
{
    const SequentialBlasScope sequential(operations(B.Cols()) / 2.0);
    return answerTo(operations(B.Cols()), steps_,
                    [&] { return solveRefined<Cell>(*A_, *fronts_, B, X, op, std::abs(steps.value_or(0))); });
}

template <class Cell, class Fronts, class... Kind>
EngineAnswer FrontalFactor<Cell, Fronts, Kind...>::refine(const MatrixOf<Cell>& B, MatrixOf<Cell>& X,
                                                          TransposeMode op, std::int32_t steps)
{
    const SequentialBlasScope sequential(operations(B.Cols()) / 2.0);
    return answerTo(operations(B.Cols()), steps_,
                    [&] { return refineColumns<Cell>(*A_, *fronts_, B, X, op, std::abs(steps)); });
}

template <class Cell, class Fronts, class... Kind>
std::optional<Inertia> FrontalFactor<Cell, Fronts, Kind...>::inertia() const
{
    if constexpr (Fronts::kTriangles == 1) {
        if (fronts_->isHermitian()) return fronts_->inertia();
    }
    return std::nullopt;
}

template <class Cell, class Fronts, class... Kind>
std::optional<RaisedFactor<Cell>> FrontalFactor<Cell, Fronts, Kind...>::raised(double size) const
{
    if constexpr (Fronts::kTriangles == 1) {
        if (!fronts_->isHermitian() || replaced() == 0) return std::nullopt;
        const auto solve = [fronts = fronts_, n = A_->Rows(), size](std::int32_t columns, const Cell* x,
                                                                    Cell* y) {
            const std::span cells(y, static_cast<std::size_t>(n) * static_cast<std::size_t>(columns));
            std::copy_n(x, cells.size(), y);
            const SequentialBlasScope sequential(kMultiplications<Cell> * columns *
                                                 static_cast<double>(fronts->entries()));
            fronts->solveRaised(size, cells);
        };
        return RaisedFactor<Cell>{
            {A_->Rows(), A_->Rows(), solve, solve}, fronts_->raisedBy(size), fronts_->inertia()};
    }
    return std::nullopt;
}

template class FrontalFactor<double, MultifrontalLDL<double>, bool>;
template class FrontalFactor<Complex, MultifrontalLDL<Complex>, bool>;
template class FrontalFactor<double, MultifrontalLU<double>>;
template class FrontalFactor<Complex, MultifrontalLU<Complex>>;

} // namespace Velmar::Lintrix::detail::roads
