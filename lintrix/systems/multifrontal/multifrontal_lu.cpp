#include <lintrix/systems/multifrontal/multifrontal_lu.h>

#include <lintrix/services/blas.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/multifrontal/scaled_cells.h>

#include <algorithm>
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

/// The diagonal once.
template <class Cell>
std::int64_t entriesOfPanel(const LuPanel<Cell>& panel)
{
    const std::int64_t pivots = panel.pivots;
    return pivots * (2 * std::ssize(panel.rows) - pivots);
}

} // namespace

/// Puts a front together: its elements of A, and what its children have left.
template <class Cell>
class MultifrontalLU<Cell>::Assembly {
public:
    Assembly(const MultifrontalLU& lu, const SparseEntries<Cell>& A)
        : lu_(lu), tree_(lu.plan_.tree), rows_(A), columns_(transposed(A)), rests_(tree_.parents.size()),
          children_(tree_.parents.size()), placeOfRow_(tree_.vertexAt.size()),
          placeOfColumn_(tree_.vertexAt.size())
    {
        for (std::int32_t f = 0; f < tree_.fronts(); ++f)
            if (tree_.parents[f] >= 0) children_[tree_.parents[f]].push_back(f);
    }

    /// Good until the next one is put together.
    SquareFront<Cell> frontOf(std::int32_t f)
    {
        name(f);
        const auto size = static_cast<std::int64_t>(rowNames_.size());
        if (cells_.cells() < size * size) {
            cells_.reset();
            cells_ = Block<Cell>(size * size);
        }
        std::fill_n(cells_.get(), size * size, Cell());
        addElements(f);
        for (const std::int32_t child : children_[f]) addRest(std::exchange(rests_[child], {}));
        return {cells_.get(), static_cast<std::int32_t>(size), candidates_, rowNames_, columnNames_};
    }

    /// What is left of a front behind its pivots.
    void keepRest(std::int32_t f, const SquareFront<Cell>& front, std::int32_t pivots)
    {
        const std::int64_t size = front.size, left = size - pivots;
        if (left == 0) return;
        Rest& rest = rests_[f];
        rest.cells = Block<Cell>(left * left);
        for (std::int64_t j = 0; j < left; ++j)
            std::copy_n(front.cells + (pivots + j) * size + pivots, left, rest.cells.get() + j * left);
        rest.rows.assign(front.rows.begin() + pivots, front.rows.end());
        rest.columns.assign(front.columns.begin() + pivots, front.columns.end());
        rest.waiting = front.candidates - pivots;
    }

private:
    struct Rest {
        Block<Cell> cells{};
        std::vector<std::int32_t> rows{}, columns{};
        std::int32_t waiting = 0; ///< of both: candidates that were no pivots
    };

    /// Own columns first, then what waits from the children, then those below; and rows likewise.
    void name(std::int32_t f)
    {
        rowNames_.clear();
        for (std::int32_t p = tree_.starts[f]; p < tree_.starts[f + 1]; ++p) rowNames_.push_back(p);
        columnNames_ = rowNames_;
        for (const std::int32_t child : children_[f]) {
            const Rest& rest = rests_[child];
            rowNames_.insert(rowNames_.end(), rest.rows.begin(), rest.rows.begin() + rest.waiting);
            columnNames_.insert(columnNames_.end(), rest.columns.begin(),
                                rest.columns.begin() + rest.waiting);
        }
        candidates_ = static_cast<std::int32_t>(rowNames_.size());
        const std::span<const std::int32_t> below = tree_.rowsOf(f);
        rowNames_.insert(rowNames_.end(), below.begin(), below.end());
        columnNames_.insert(columnNames_.end(), below.begin(), below.end());
        for (std::int32_t k = 0; k < std::ssize(rowNames_); ++k) {
            placeOfRow_[rowNames_[k]] = k;
            placeOfColumn_[columnNames_[k]] = k;
        }
    }

    Cell& at(std::int64_t i, std::int64_t j) const { return cells_[j * std::ssize(rowNames_) + i]; }

    /// Of its own columns and of its own rows what no front before has taken; where both are its own, once.
    void addElements(std::int32_t f)
    {
        const std::int32_t begin = tree_.starts[f], end = tree_.starts[f + 1];
        const SparsePattern columns = columns_.pattern;
        for (std::int32_t p = begin; p < end; ++p) {
            const std::int32_t column = tree_.vertexAt[p], row = lu_.plan_.matching.columnOf[column];
            for (std::int32_t k = columns.starts[column]; k < columns.starts[column + 1]; ++k)
                if (lu_.rowPosition_[columns.columns[k]] >= begin)
                    add(columns.columns[k], column, columns_.values[k]);
            for (std::int32_t k = rows_.starts[row]; k < rows_.starts[row + 1]; ++k)
                if (tree_.positionOf[rows_.columns[k]] >= end) add(row, rows_.columns[k], rows_.values[k]);
        }
    }
    void add(std::int32_t row, std::int32_t column, const Cell& value)
    {
        const int exponent = lu_.plan_.rowExponents[row] + lu_.plan_.columnExponents[column];
        at(placeOfRow_[lu_.rowPosition_[row]], placeOfColumn_[tree_.positionOf[column]]) +=
            scaled(value, exponent);
    }

    void addRest(const Rest& rest)
    {
        const auto size = static_cast<std::int32_t>(rest.rows.size());
        places_.resize(rest.rows.size());
        std::ranges::transform(rest.rows, places_.begin(), [&](std::int32_t p) { return placeOfRow_[p]; });
        for (std::int32_t j = 0; j < size; ++j) {
            Cell* const to = &at(0, placeOfColumn_[rest.columns[j]]);
            const Cell* const from = rest.cells.get() + std::int64_t{j} * size;
            for (std::int32_t i = 0; i < size; ++i) to[places_[i]] += from[i];
        }
    }

    const MultifrontalLU& lu_;
    const FrontTree& tree_;
    SparseEntries<Cell> rows_;
    EntryArrays<Cell> columns_; ///< A'
    std::vector<Rest> rests_;
    std::vector<std::vector<std::int32_t>> children_;
    std::vector<std::int32_t> placeOfRow_, placeOfColumn_; ///< in the front, by position
    std::vector<std::int32_t> rowNames_{}, columnNames_{}, places_{};
    std::int32_t candidates_ = 0;
    Block<Cell> cells_{};
};

template <class Cell>
MultifrontalLU<Cell>::MultifrontalLU(const SparseEntries<Cell>& A)
    : order_(A.rows), plan_(unsymmetricPlanOf(A)), rowPosition_(positionsOfRows(plan_))
{
}

template <class Cell>
MultifrontalLU<Cell>::MultifrontalLU(LuFrontParts<Cell> parts)
    : order_(static_cast<std::int32_t>(parts.rowPositions.size())),
      rowPosition_(std::move(parts.rowPositions)), factor_{std::move(parts.panels)}
{
    plan_.rowExponents = std::move(parts.rowExponents);
    plan_.columnExponents = std::move(parts.columnExponents);
    plan_.tree.vertexAt.resize(rowPosition_.size());
    for (std::size_t k = 0; k < rowPosition_.size(); ++k)
        plan_.tree.vertexAt[parts.columnPositions[k]] = static_cast<std::int32_t>(k);
    plan_.tree.positionOf = std::move(parts.columnPositions);
    factor_.replaced = parts.replaced;
    for (const Panel& panel : factor_.panels) factor_.entries += entriesOfPanel(panel);
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
    Assembly assembly(*this, A);
    Factor factor;
    factor.panels.reserve(plan_.tree.parents.size());
    for (std::int32_t f = 0; f < plan_.tree.fronts(); ++f) {
        const SquareFront<Cell> front = assembly.frontOf(f);
        const std::int32_t eliminated = elimination.run(front, plan_.tree.parents[f] < 0, factor.replaced);
        factor.add(front, eliminated);
        assembly.keepRest(f, front, eliminated);
        if (factor.entries > bounds.entries || factor.operations > bounds.operations) return false;
    }
    factor_ = std::move(factor);
    return true;
}

/// The first columns and rows of a front, which it has eliminated.
template <class Cell>
void MultifrontalLU<Cell>::Factor::add(const SquareFront<Cell>& front, std::int32_t eliminated)
{
    const std::int64_t size = front.size, columns = eliminated, left = size - columns;
    delayed += front.candidates - columns;
    if (columns == 0) return;
    Panel& panel = panels.emplace_back();
    panel.lower = Block<Cell>::copyOf(front.cells, size * columns);
    if (left > 0) panel.upper = Block<Cell>(columns * left);
    for (std::int64_t j = 0; j < left; ++j)
        std::copy_n(front.cells + (columns + j) * size, columns, panel.upper.get() + j * columns);
    panel.rows.assign(front.rows.begin(), front.rows.end());
    panel.columns.assign(front.columns.begin(), front.columns.end());
    panel.pivots = eliminated;
    entries += entriesOfPanel(panel);
    for (std::int64_t below = left; below < size; ++below)
        operations += 2.0 * static_cast<double>(below) * static_cast<double>(below + 1);
}

/// work := the given rows, packed: positions.size() x count.
template <class Cell>
void MultifrontalLU<Cell>::Columns::gather(const std::vector<Cell>& from,
                                           std::span<const std::int32_t> positions)
{
    work.resize(positions.size() * static_cast<std::size_t>(count));
    for (std::int32_t c = 0; c < count; ++c)
        std::ranges::transform(positions, work.begin() + c * std::ssize(positions),
                               [&](std::int32_t p) { return from[c * stride + p]; });
}

/// The first rows of a work that was gathered, where they belong.
template <class Cell>
void MultifrontalLU<Cell>::Columns::scatter(std::vector<Cell>& to,
                                            std::span<const std::int32_t> positions) const
{
    const std::int64_t rows = std::ssize(work) / count;
    for (std::int32_t c = 0; c < count; ++c)
        for (std::int64_t k = 0; k < std::ssize(positions); ++k)
            to[c * stride + positions[k]] = work[c * rows + k];
}

/// L*Y = B, in rows.
template <class Cell>
void MultifrontalLU<Cell>::down(const Panel& panel, Columns& X) const
{
    const auto size = static_cast<std::int32_t>(panel.rows.size()), pivots = panel.pivots;
    const Cell* const L = panel.lower.get();
    X.gather(X.given, panel.rows);
    Cell* const own = X.work.data();
    blas::trsm('L', 'L', 'N', 'U', pivots, X.count, Cell(1.0), L, size, own, size);
    if (panel.left() > 0)
        blas::gemm('N', 'N', panel.left(), X.count, pivots, Cell(-1.0), L + pivots, size, own, size,
                   Cell(1.0), own + pivots, size);
    X.scatter(X.given, panel.rows);
}

/// U*X = Y, from rows to columns.
template <class Cell>
void MultifrontalLU<Cell>::up(const Panel& panel, Columns& X) const
{
    const auto size = static_cast<std::int32_t>(panel.rows.size()), pivots = panel.pivots;
    X.gather(X.found, std::span(panel.columns).subspan(static_cast<std::size_t>(pivots)));
    std::vector<Cell> beside;
    beside.swap(X.work);
    X.gather(X.given, std::span(panel.rows).first(static_cast<std::size_t>(pivots)));
    if (panel.left() > 0)
        blas::gemm('N', 'N', pivots, X.count, panel.left(), Cell(-1.0), panel.upper.get(), pivots,
                   beside.data(), panel.left(), Cell(1.0), X.work.data(), pivots);
    blas::trsm('L', 'U', 'N', 'N', pivots, X.count, Cell(1.0), panel.lower.get(), size, X.work.data(),
               pivots);
    X.scatter(X.found, std::span(panel.columns).first(static_cast<std::size_t>(pivots)));
}

/// U'*Y = B or U^H*Y = B, in columns.
template <class Cell>
void MultifrontalLU<Cell>::downTransposed(const Panel& panel, char op, Columns& X) const
{
    const auto size = static_cast<std::int32_t>(panel.rows.size()), pivots = panel.pivots;
    X.gather(X.given, panel.columns);
    Cell* const own = X.work.data();
    blas::trsm('L', 'U', op, 'N', pivots, X.count, Cell(1.0), panel.lower.get(), size, own, size);
    if (panel.left() > 0)
        blas::gemm(op, 'N', panel.left(), X.count, pivots, Cell(-1.0), panel.upper.get(), pivots, own, size,
                   Cell(1.0), own + pivots, size);
    X.scatter(X.given, panel.columns);
}

/// L'*X = Y or L^H*X = Y, from columns to rows.
template <class Cell>
void MultifrontalLU<Cell>::upTransposed(const Panel& panel, char op, Columns& X) const
{
    const auto size = static_cast<std::int32_t>(panel.rows.size()), pivots = panel.pivots;
    const Cell* const L = panel.lower.get();
    X.gather(X.found, std::span(panel.rows).subspan(static_cast<std::size_t>(pivots)));
    std::vector<Cell> beside;
    beside.swap(X.work);
    X.gather(X.given, std::span(panel.columns).first(static_cast<std::size_t>(pivots)));
    if (panel.left() > 0)
        blas::gemm(op, 'N', pivots, X.count, panel.left(), Cell(-1.0), L + pivots, size, beside.data(),
                   panel.left(), Cell(1.0), X.work.data(), pivots);
    blas::trsm('L', 'L', op, 'U', pivots, X.count, Cell(1.0), L, size, X.work.data(), pivots);
    X.scatter(X.found, std::span(panel.rows).first(static_cast<std::size_t>(pivots)));
}

/// Of A or its adjoint: right-hand sides in the order and the scales of rows, solutions in those of columns,
/// or the other way round.
template <class Cell>
void MultifrontalLU<Cell>::solve(TransposeMode op, std::span<Cell> X) const
{
    const auto n = static_cast<std::size_t>(order_);
    if (n == 0) return;
    const bool isPlain = op == TransposeMode::NotTransposed;
    const char mode = op == TransposeMode::ConjugateTransposed ? 'C' : 'T';
    const std::vector<std::int32_t>&columnPosition = plan_.tree.positionOf,
          &from = isPlain ? rowPosition_ : columnPosition, &to = isPlain ? columnPosition : rowPosition_;
    const std::vector<int>&scales = isPlain ? plan_.rowExponents : plan_.columnExponents,
          &unscales = isPlain ? plan_.columnExponents : plan_.rowExponents;
    Columns columns{order_, static_cast<std::int32_t>(X.size() / n), std::vector<Cell>(X.size()),
                    std::vector<Cell>(X.size())};
    for (std::size_t k = 0; k < X.size(); ++k)
        columns.given[k - k % n + from[k % n]] = scaled(X[k], scales[k % n]);
    for (const Panel& panel : factor_.panels) {
        isPlain ? down(panel, columns) : downTransposed(panel, mode, columns);
        WorkScope::tell();
    }
    for (auto panel = factor_.panels.rbegin(); panel != factor_.panels.rend(); ++panel)
        isPlain ? up(*panel, columns) : upTransposed(*panel, mode, columns);
    for (std::size_t k = 0; k < X.size(); ++k)
        X[k] = scaled(columns.found[k - k % n + to[k % n]], unscales[k % n]);
}

template class MultifrontalLU<double>;
template class MultifrontalLU<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::multifrontal
