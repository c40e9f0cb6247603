#include <lintrix/systems/multifrontal/multifrontal_lu.h>

#include <lintrix/services/work.h>
#include <lintrix/systems/multifrontal/square_elimination.h>
#include <lintrix/systems/powers_of_two.h>

#include <complex>
#include <utility>

namespace Velmar::Lintrix::detail::multifrontal {

namespace {

std::vector<std::int32_t> positionsOfRows(const UnsymmetricPlan& plan)
{
    std::vector<std::int32_t> positions(plan.tree.vertexAt.size());
    for (std::size_t row = 0; row < positions.size(); ++row)
        positions[row] = plan.tree.positionOf[plan.matching.rowOf[row]];
    return positions;
}

} // namespace

/// Of A, as they go to fronts.
template <class Cell>
class MultifrontalLU<Cell>::Elements {
public:
    Elements(const MultifrontalLU& lu, const SparseEntries<Cell>& A)
        : lu_(lu), tree_(lu.plan_.tree), rows_(A), columns_(transposed(A))
    {
    }

    /// Of its own columns and of its own rows what no front before has taken; where both are its own, once.
    void addTo(const FrontWalk<Cell>& walk, std::int32_t f) const
    {
        const std::int32_t begin = tree_.starts[f], end = tree_.starts[f + 1];
        const SparsePattern columns = columns_.pattern;
        for (std::int32_t p = begin; p < end; ++p) {
            const std::int32_t column = tree_.vertexAt[p], row = lu_.plan_.matching.columnOf[column];
            for (std::int32_t k = columns.starts[column]; k < columns.starts[column + 1]; ++k)
                if (lu_.rowPosition_[columns.columns[k]] >= begin)
                    add(walk, columns.columns[k], column, columns_.values[k]);
            for (std::int32_t k = rows_.starts[row]; k < rows_.starts[row + 1]; ++k)
                if (tree_.positionOf[rows_.columns[k]] >= end)
                    add(walk, row, rows_.columns[k], rows_.values[k]);
        }
    }

private:
    void add(const FrontWalk<Cell>& walk, std::int32_t row, std::int32_t column, const Cell& value) const
    {
        const int exponent = lu_.plan_.rowExponents[row] + lu_.plan_.columnExponents[column];
        walk.at(lu_.rowPosition_[row], tree_.positionOf[column]) += timesPowerOfTwo(value, exponent);
    }

    const MultifrontalLU& lu_;
    const FrontTree& tree_;
    SparseEntries<Cell> rows_;
    EntryArrays<Cell> columns_; ///< A'
};

template <class Cell>
MultifrontalLU<Cell>::MultifrontalLU(const SparseEntries<Cell>& A)
    : order_(A.rows), plan_(unsymmetricPlanOf(A)), rowPosition_(positionsOfRows(plan_))
{
}

template <class Cell>
MultifrontalLU<Cell>::MultifrontalLU(LuFrontParts<Cell> parts)
    : FrontFactor<Cell>(std::move(parts.panels)),
      order_(static_cast<std::int32_t>(parts.rowPositions.size())),
      rowPosition_(std::move(parts.rowPositions)), replaced_(parts.replaced)
{
    plan_.rowExponents = std::move(parts.rowExponents);
    plan_.columnExponents = std::move(parts.columnExponents);
    plan_.tree.vertexAt.resize(rowPosition_.size());
    for (std::size_t k = 0; k < rowPosition_.size(); ++k)
        plan_.tree.vertexAt[parts.columnPositions[k]] = static_cast<std::int32_t>(k);
    plan_.tree.positionOf = std::move(parts.columnPositions);
}

template <class Cell>
FrontForecast MultifrontalLU<Cell>::forecast() const
{
    FrontForecast forecast = forecastOf(plan_.tree);
    forecast.entries = 2 * forecast.entries - plan_.tree.order();
    forecast.operations *= 2.0;
    return forecast;
}

template <class Cell>
bool MultifrontalLU<Cell>::factorize(const SparseEntries<Cell>& A, const FrontBounds& bounds)
{
    SquareElimination<Cell> elimination{RowRule()};
    const Elements elements(*this, A);
    FrontWalk<Cell> walk(plan_.tree, Symmetry::None, bounds);
    std::int32_t replaced = 0;
    const bool isMade = walk.run(
        [&](std::int32_t f) { elements.addTo(walk, f); },
        [&](const Front<Cell>& front, bool isRoot) { return elimination.run(front, isRoot, replaced); });
    if (!isMade) return false;
    this->take(walk.made());
    replaced_ = replaced;
    return true;
}

/// A = L*U: L from rows to rows, U from rows to columns. Of A' or A^H U comes first, from columns to columns.
template <class Cell>
void MultifrontalLU<Cell>::solve(TransposeMode op, std::span<Cell> X) const
{
    if (order_ == 0) return;
    using Names = std::vector<std::int32_t> FrontPanel<Cell>::*;
    const bool isPlain = op == TransposeMode::NotTransposed;
    const char mode = isPlain ? 'N' : op == TransposeMode::ConjugateTransposed ? 'C' : 'T';
    const PanelHalf first{.isLower = isPlain, .op = mode}, second{.isLower = !isPlain, .op = mode};
    const FactorSide rows{plan_.rowExponents, rowPosition_},
        columns{plan_.columnExponents, plan_.tree.positionOf};
    const Names from = isPlain ? &FrontPanel<Cell>::rows : &FrontPanel<Cell>::columns,
                to = isPlain ? &FrontPanel<Cell>::columns : &FrontPanel<Cell>::rows;
    FrontColumns<Cell> onTheWay(X, isPlain ? rows : columns);
    for (const FrontPanel<Cell>& panel : this->panels()) {
        onTheWay.down(panel, first, panel.*from);
        WorkScope::tell();
    }
    const std::span<const FrontPanel<Cell>> panels = this->panels();
    for (auto panel = panels.rbegin(); panel != panels.rend(); ++panel) {
        onTheWay.up(*panel, second, (*panel).*from, (*panel).*to);
        WorkScope::tell();
    }
    onTheWay.store(X, isPlain ? columns : rows);
}

template class MultifrontalLU<double>;
template class MultifrontalLU<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::multifrontal
