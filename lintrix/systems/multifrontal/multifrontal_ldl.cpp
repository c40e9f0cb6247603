#include <lintrix/systems/multifrontal/multifrontal_ldl.h>

#include <lintrix/services/blas.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/multifrontal/scaled_cells.h>
#include <lintrix/systems/multifrontal/symmetric_plan.h>
#include <lintrix/systems/sparse_lu/cell_arithmetic.h>

#include <algorithm>
#include <complex>
#include <limits>

namespace Velmar::Lintrix::detail::multifrontal {

using sparse_lu::product;

namespace {

constexpr PivotRule kRule{};

/// What a pivot that waits costs its fronts, in the whole: measured on programs of quadratic optimization.
constexpr double kPriceOfWaiting = 2.5;

/// With partners, unless that makes much more fill than to let pivots wait.
template <class Cell>
FrontTree treeOf(const SparseEntries<Cell>& A, const std::vector<int>& exponents)
{
    const std::vector<std::int32_t> together = orderWithPartners(A, exponents, kRule.threshold),
                                    apart = orderWithPartners(A, exponents, 0.0);
    FrontTree paired = frontTreeOf(A, together);
    if (together == apart) return paired;
    FrontTree plain = frontTreeOf(A, apart);
    const bool pays = forecastOf(paired).operations <= kPriceOfWaiting * forecastOf(plain).operations;
    return pays ? std::move(paired) : std::move(plain);
}

/// The diagonal included.
template <class Cell>
std::int64_t entriesOfPanel(const FrontPanel<Cell>& panel)
{
    const std::int64_t pivots = panel.pivots;
    return pivots * std::ssize(panel.rows) - pivots * (pivots - 1) / 2;
}

template <class Cell>
void conjugateAll(std::span<Cell> cells)
{
    for (Cell& cell : cells) cell = conjugate(cell);
}

} // namespace

/// Puts a front together: its elements of A, and what its children have left.
template <class Cell>
class MultifrontalLDL<Cell>::Assembly {
public:
    Assembly(const MultifrontalLDL& ldl, const SparseEntries<Cell>& A)
        : ldl_(ldl), tree_(ldl.tree_), A_(A), rests_(tree_.parents.size()), children_(tree_.parents.size()),
          placeOf_(tree_.vertexAt.size())
    {
        for (std::int32_t f = 0; f < tree_.fronts(); ++f)
            if (tree_.parents[f] >= 0) children_[tree_.parents[f]].push_back(f);
    }

    /// Good until the next one is put together.
    Front<Cell> frontOf(std::int32_t f)
    {
        name(f);
        const auto size = static_cast<std::int64_t>(rows_.size());
        if (cells_.cells() < size * size) {
            cells_.reset();
            cells_ = Block<Cell>(size * size);
        }
        for (std::int64_t j = 0; j < size; ++j)
            std::fill(cells_.get() + j * size + j, cells_.get() + (j + 1) * size, Cell());
        addElements(f);
        for (const std::int32_t child : children_[f]) addRest(std::exchange(rests_[child], {}));
        return {cells_.get(), static_cast<std::int32_t>(size), candidates_, rows_};
    }

    /// What is left of a front behind its pivots.
    void keepRest(std::int32_t f, const Front<Cell>& front, std::int32_t pivots)
    {
        const std::int64_t size = front.size, left = size - pivots;
        if (left == 0) return;
        Rest& rest = rests_[f];
        rest.cells = Block<Cell>(left * left);
        for (std::int64_t j = 0; j < left; ++j) {
            const Cell* const from = front.cells + (pivots + j) * size + pivots;
            std::copy(from + j, from + left, rest.cells.get() + j * left + j);
        }
        rest.rows.assign(front.rows.begin() + pivots, front.rows.end());
        rest.waiting = front.candidates - pivots;
    }

private:
    /// Own columns first, then what waits from the children, then the rows below.
    void name(std::int32_t f)
    {
        rows_.clear();
        for (std::int32_t p = tree_.starts[f]; p < tree_.starts[f + 1]; ++p) rows_.push_back(p);
        for (const std::int32_t child : children_[f])
            rows_.insert(rows_.end(), rests_[child].rows.begin(),
                         rests_[child].rows.begin() + rests_[child].waiting);
        candidates_ = static_cast<std::int32_t>(rows_.size());
        rows_.insert(rows_.end(), tree_.rowsOf(f).begin(), tree_.rowsOf(f).end());
        for (std::int32_t k = 0; k < std::ssize(rows_); ++k) placeOf_[rows_[k]] = k;
    }

    Cell& at(std::int64_t i, std::int64_t j) const { return cells_[j * std::ssize(rows_) + i]; }

    /// Those of its own columns that no front before has taken.
    void addElements(std::int32_t f)
    {
        for (std::int32_t p = tree_.starts[f]; p < tree_.starts[f + 1]; ++p) {
            const std::int32_t vertex = tree_.vertexAt[p];
            for (std::int32_t k = A_.starts[vertex]; k < A_.starts[vertex + 1]; ++k) {
                const std::int32_t q = tree_.positionOf[A_.columns[k]];
                if (q < p) continue; // by symmetry
                const int exponent = ldl_.exponents_[vertex] + ldl_.exponents_[A_.columns[k]];
                const Cell value = ldl_.conjugates_ ? conjugate(A_.values[k]) : A_.values[k];
                at(placeOf_[q], p - tree_.starts[f]) += scaled(value, exponent);
            }
        }
    }

    /// Rows that wait go before those below, and behind the own ones: they alone may change sides.
    void addRest(const Rest& rest)
    {
        const auto size = static_cast<std::int32_t>(rest.rows.size());
        for (std::int32_t j = 0; j < size; ++j) {
            const std::int64_t col = placeOf_[rest.rows[j]];
            const Cell* const from = rest.cells.get() + std::int64_t{j} * size;
            for (std::int32_t i = j; i < size; ++i) {
                const std::int64_t row = placeOf_[rest.rows[i]];
                if (row >= col)
                    at(row, col) += from[i];
                else
                    at(col, row) += ldl_.conjugates_ ? conjugate(from[i]) : from[i];
            }
        }
    }

    const MultifrontalLDL& ldl_;
    const FrontTree& tree_;
    const SparseEntries<Cell>& A_;
    std::vector<Rest> rests_;
    std::vector<std::vector<std::int32_t>> children_;
    std::vector<std::int32_t> placeOf_; ///< in the front, by position
    std::vector<std::int32_t> rows_{};
    std::int32_t candidates_ = 0;
    Block<Cell> cells_{};
};

template <class Cell>
MultifrontalLDL<Cell>::MultifrontalLDL(const SparseEntries<Cell>& A, bool conjugates)
    : conjugates_(conjugates), exponents_(equilibrate(A)), tree_(treeOf(A, exponents_))
{
}

template <class Cell>
MultifrontalLDL<Cell>::MultifrontalLDL(LdlParts<Cell> parts, bool conjugates)
    : conjugates_(conjugates),
      exponents_(std::move(parts.exponents)), factor_{std::move(parts.panels), std::move(parts.pivots)}
{
    tree_.positionOf.resize(parts.vertexAt.size());
    for (std::size_t k = 0; k < parts.vertexAt.size(); ++k)
        tree_.positionOf[parts.vertexAt[k]] = static_cast<std::int32_t>(k);
    tree_.vertexAt = std::move(parts.vertexAt);
    for (const Panel& panel : factor_.panels) factor_.entries += entriesOfPanel(panel);
}

template <class Cell>
bool MultifrontalLDL<Cell>::factorize(const SparseEntries<Cell>& A, const FrontBounds& bounds)
{
    PivotRule rule = kRule;
    rule.conjugates = conjugates_;
    FrontElimination<Cell> elimination(rule);
    Assembly assembly(*this, A);
    Factor factor;
    factor.panels.reserve(tree_.parents.size());
    for (std::int32_t f = 0; f < tree_.fronts(); ++f) {
        const Front<Cell> front = assembly.frontOf(f);
        const std::int32_t eliminated = elimination.run(front, tree_.parents[f] < 0, factor.pivots);
        factor.add(front, eliminated);
        assembly.keepRest(f, front, eliminated);
        if (factor.entries > bounds.entries || factor.operations > bounds.operations) return false;
    }
    factor_ = std::move(factor);
    return true;
}

/// The first columns of a front, which it has eliminated, with their pivots at the end of all.
template <class Cell>
void MultifrontalLDL<Cell>::Factor::add(const Front<Cell>& front, std::int32_t eliminated)
{
    const std::int64_t size = front.size, columns = eliminated;
    Panel& panel = panels.emplace_back();
    if (columns > 0) panel.cells = Block<Cell>::copyOf(front.cells, size * columns);
    panel.rows.assign(front.rows.begin(), front.rows.end());
    panel.pivots = eliminated;
    panel.firstPivot = static_cast<std::int32_t>(std::ssize(pivots.diagonal) - columns);
    entries += entriesOfPanel(panel);
    delayed += front.candidates - columns;
    for (std::int64_t left = size - columns; left < size; ++left)
        operations += static_cast<double>(left) * static_cast<double>(left + 1);
}

template <class Cell>
Inertia MultifrontalLDL<Cell>::inertia() const
{
    std::vector<double> diagonal(factor_.pivots.diagonal.size());
    std::ranges::transform(factor_.pivots.diagonal, diagonal.begin(),
                           [](const Cell& x) { return std::real(x); });
    Inertia inertia = inertiaOf<Cell>(diagonal, factor_.pivots.below);
    inertia.positive -= replaced(); // which they look
    inertia.zero += replaced();
    return inertia;
}

/// The rows of a panel, packed: rows.size() x columns.
template <class Cell>
void MultifrontalLDL<Cell>::gather(const Panel& panel, std::int32_t columns, const Cell* X,
                                   std::vector<Cell>& work) const
{
    const std::size_t size = panel.rows.size();
    work.resize(size * static_cast<std::size_t>(columns));
    for (std::int32_t c = 0; c < columns; ++c) {
        const Cell* const column = X + std::int64_t{c} * tree_.order();
        Cell* const to = work.data() + size * static_cast<std::size_t>(c);
        for (std::size_t k = 0; k < size; ++k) to[k] = column[panel.rows[k]];
    }
}

template <class Cell>
void MultifrontalLDL<Cell>::forward(const Panel& panel, std::int32_t columns, Cell* X,
                                    std::vector<Cell>& work) const
{
    gather(panel, columns, X, work);
    const auto size = static_cast<std::int32_t>(panel.rows.size()), below = size - panel.pivots;
    const Cell* const L = panel.cells.get();
    blas::trsm('L', 'L', 'N', 'U', panel.pivots, columns, Cell(1.0), L, size, work.data(), size);
    if (below > 0)
        blas::gemm('N', 'N', below, columns, panel.pivots, Cell(-1.0), L + panel.pivots, size, work.data(),
                   size, Cell(1.0), work.data() + panel.pivots, size);
    for (std::int32_t c = 0; c < columns; ++c) {
        Cell* const column = X + std::int64_t{c} * tree_.order();
        const Cell* const from = work.data() + std::int64_t{c} * size;
        for (std::int32_t k = 0; k < size; ++k) column[panel.rows[k]] = from[k];
    }
}

/// By the blocks of D, as in the elimination.
template <class Cell>
void MultifrontalLDL<Cell>::divide(const Panel& panel, std::int32_t columns, Cell* X) const
{
    for (std::int32_t k = 0; k < panel.pivots; ++k) {
        const std::int32_t p = panel.firstPivot + k;
        const Cell a = factor_.pivots.diagonal[p], b = factor_.pivots.below[p];
        if (b == Cell()) {
            const sparse_lu::Divisor<Cell> divisor(a);
            for (std::int32_t c = 0; c < columns; ++c) {
                Cell& x = X[std::int64_t{c} * tree_.order() + panel.rows[k]];
                x = divisor.of(x);
            }
            continue;
        }
        const Cell byB = Cell(1.0) / b, byM = Cell(1.0) / (conjugates_ ? conjugate(b) : b);
        const Cell alpha = product(a, byB), gamma = product(factor_.pivots.diagonal[p + 1], byM);
        const Cell scale = Cell(1.0) / (product(alpha, gamma) - Cell(1.0));
        for (std::int32_t c = 0; c < columns; ++c) {
            Cell* const column = X + std::int64_t{c} * tree_.order();
            Cell &first = column[panel.rows[k]], &second = column[panel.rows[k + 1]];
            const Cell one = first, two = second;
            first = product(scale, product(gamma, product(one, byB)) - product(two, byB));
            second = product(scale, product(alpha, product(two, byM)) - product(one, byM));
        }
        ++k;
    }
}

template <class Cell>
void MultifrontalLDL<Cell>::backward(const Panel& panel, std::int32_t columns, Cell* X,
                                     std::vector<Cell>& work) const
{
    gather(panel, columns, X, work);
    const auto size = static_cast<std::int32_t>(panel.rows.size()), below = size - panel.pivots;
    const Cell* const L = panel.cells.get();
    const char mirror = conjugates_ ? 'C' : 'T';
    if (below > 0)
        blas::gemm(mirror, 'N', panel.pivots, columns, below, Cell(-1.0), L + panel.pivots, size,
                   work.data() + panel.pivots, size, Cell(1.0), work.data(), size);
    blas::trsm('L', 'L', mirror, 'U', panel.pivots, columns, Cell(1.0), L, size, work.data(), size);
    for (std::int32_t c = 0; c < columns; ++c) {
        Cell* const column = X + std::int64_t{c} * tree_.order();
        const Cell* const from = work.data() + std::int64_t{c} * size;
        for (std::int32_t k = 0; k < panel.pivots; ++k) column[panel.rows[k]] = from[k];
    }
}

/// S*b by positions, in units of its largest element, and the exponent of those.
template <class Cell>
int MultifrontalLDL<Cell>::place(const Cell* b, Cell* placed) const
{
    const std::int32_t n = tree_.order();
    int unit = std::numeric_limits<int>::min();
    for (std::int32_t i = 0; i < n; ++i)
        if (const double size = sparse_lu::sizeOf(b[i]); size > 0.0 && std::isfinite(size))
            unit = std::max(unit, std::ilogb(size) + exponents_[i]);
    if (unit == std::numeric_limits<int>::min()) unit = 0;
    for (std::int32_t i = 0; i < n; ++i) placed[tree_.positionOf[i]] = scaled(b[i], exponents_[i] - unit);
    return unit;
}

/// A^H*x = b of A = A' is A*conj(x) = conj(b), and so is A'*x = b of A = A^H.
template <class Cell>
void MultifrontalLDL<Cell>::solve(TransposeMode op, std::span<Cell> X) const
{
    const std::int32_t n = tree_.order();
    if (n == 0) return;
    const auto columns = static_cast<std::int32_t>(std::ssize(X) / n);
    const bool isMirrored =
        op == (conjugates_ ? TransposeMode::Transposed : TransposeMode::ConjugateTransposed);
    if (isMirrored) conjugateAll(X);
    std::vector<Cell> placed(X.size()), work;
    std::vector<int> units;
    for (std::int64_t c = 0; c < columns; ++c)
        units.push_back(place(X.data() + c * n, placed.data() + c * n));
    for (const Panel& panel : factor_.panels) {
        if (panel.pivots == 0) continue;
        forward(panel, columns, placed.data(), work);
        divide(panel, columns, placed.data());
        WorkScope::tell();
    }
    for (auto panel = factor_.panels.rbegin(); panel != factor_.panels.rend(); ++panel)
        if (panel->pivots > 0) backward(*panel, columns, placed.data(), work);
    for (std::int64_t c = 0; c < columns; ++c)
        for (std::int32_t i = 0; i < n; ++i)
            X[c * n + i] = scaled(placed[c * n + tree_.positionOf[i]], exponents_[i] + units[c]);
    if (isMirrored) conjugateAll(X);
}

template class MultifrontalLDL<double>;
template class MultifrontalLDL<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::multifrontal
