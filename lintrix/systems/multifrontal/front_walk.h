#pragma once
/// @file
/// The way through an assembly tree, from front to front.

#include <lintrix/systems/cells.h>
#include <lintrix/systems/multifrontal/cell_stack.h>
#include <lintrix/systems/multifrontal/front_tree.h>
#include <lintrix/systems/multifrontal/fronts.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail::multifrontal {

/// What the fronts have eliminated.
template <class Cell>
struct FrontPanels {
    std::vector<FrontPanel<Cell>> panels{};
    std::int64_t entries = 0, delayed = 0; ///< candidates that waited, once for each front
    double operations = 0.0;               ///< in cells
};

/// Puts the fronts of a tree together one after another, children first: elements of A, and what the children
/// have left, which stands on top of a stack. How a front is eliminated is the caller's.
template <class Cell>
class FrontWalk {
public:
    FrontWalk(const FrontTree& tree, Symmetry symmetry, const FrontBounds& bounds)
        : tree_(tree), symmetry_(symmetry), bounds_(bounds), children_(tree.parents.size()),
          rows_(tree.order()), columns_(isSymmetric() ? 0 : tree.order())
    {
        for (const std::int32_t parent : tree.parents)
            if (parent >= 0) ++children_[parent];
        foresee();
    }

    /// `addElements(f)` adds what no front before has taken, by `at`; `eliminate(front, isRoot)` does what
    /// `FrontElimination::run` does, and returns the same. @return  false: a bound was passed
    template <class AddElements, class Eliminate>
    bool run(const AddElements& addElements, const Eliminate& eliminate)
    {
        made_.panels.reserve(tree_.parents.size());
        if (hasRoom(kRoomy * most_)) stack_.reserve(withWaiting(most_));
        for (std::int32_t f = 0; f < tree_.fronts(); ++f) {
            if (!open(f)) return false;
            addElements(f);
            addContributions(f);
            const Front<Cell> front{cells_.get(), size(), candidates_, rows_.names, columns_.names};
            const std::int32_t pivots = eliminate(front, tree_.parents[f] < 0);
            if (!keep(front, pivots)) return false;
        }
        return true;
    }
    FrontPanels<Cell> made() { return std::move(made_); }

    /// Of the front at hand, by positions. @pre of a symmetric one the row is not before the column
    Cell& at(std::int32_t row, std::int32_t column) const
    {
        return cell(rows_.placeOf[row], columns().placeOf[column]);
    }

private:
    /// Rows or columns of the front at hand: their positions, and the other way round.
    struct Side {
        explicit Side(std::int32_t order) : placeOf(static_cast<std::size_t>(order)) {}
        std::vector<std::int32_t> names{}, placeOf;
    };
    /// What a front leaves for its parent: a square, or a lower triangle packed by columns.
    struct Contribution {
        Cell* cells;
        std::vector<std::int32_t> rows, columns;
        std::int32_t waiting; ///< of both: candidates that were no pivots

        std::int64_t size() const { return std::ssize(rows); }
    };
    static constexpr std::int64_t kRoomy = 4; ///< times what is foreseen: then pages are no matter
    static constexpr std::int64_t withWaiting(std::int64_t cells) { return cells + cells / 4; }

    using Names = std::vector<std::int32_t> Contribution::*;

    bool isSymmetric() const { return symmetry_ != Symmetry::None; }
    const Side& columns() const { return isSymmetric() ? rows_ : columns_; }
    std::int32_t size() const { return static_cast<std::int32_t>(rows_.names.size()); }
    Cell& cell(std::int64_t i, std::int64_t j) const { return cells_[j * size() + i]; }
    std::int64_t cellsLeft(std::int64_t size) const
    {
        return isSymmetric() ? size * (size + 1) / 2 : size * size;
    }
    std::span<const Contribution> contributionsTo(std::int32_t f) const
    {
        return std::span(left_).last(static_cast<std::size_t>(children_[f]));
    }
    bool hasRoom(std::int64_t more) const
    {
        return stack_.most() + kept_ + cells_.cells() + more <= bounds_.cells;
    }

    void foresee();
    bool open(std::int32_t f);
    bool widen(std::int64_t cells);
    void name(std::int32_t f, Side& side, Names names);
    void addContributions(std::int32_t f);
    void addSquare(const Contribution& from);
    void addTriangle(const Contribution& from);
    bool keep(const Front<Cell>& front, std::int32_t pivots);
    void keepPanel(const Front<Cell>& front, std::int32_t pivots);
    bool givesAway(const Front<Cell>& front, std::int32_t pivots) const;
    void keepRest(const Front<Cell>& front, std::int32_t pivots);

    const FrontTree& tree_;
    Symmetry symmetry_;
    FrontBounds bounds_;
    std::vector<std::int32_t> children_; ///< of each front, how many
    Side rows_, columns_;                ///< those of rows are a symmetric front's columns
    std::int32_t candidates_ = 0;
    Block<Cell> cells_{};
    std::int64_t largestFront_ = 0, most_ = 0; ///< cells of it and on the stack, where nothing waits
    CellStack<Cell> stack_{};
    std::vector<Contribution> left_{}; ///< as they stand on the stack
    std::vector<std::int32_t> places_{};
    FrontPanels<Cell> made_{};
    std::int64_t kept_ = 0; ///< cells of the panels
};

template <class Cell>
void FrontWalk<Cell>::foresee()
{
    std::vector<std::int64_t> below(tree_.parents.size()); // cells of the children
    std::int64_t now = 0;
    for (std::int32_t f = 0; f < tree_.fronts(); ++f) {
        const std::int64_t left = std::ssize(tree_.rowsOf(f)), all = left + tree_.columnsOf(f);
        largestFront_ = std::max(largestFront_, all * all);
        now += cellsLeft(left) - below[f];
        most_ = std::max(most_, now);
        if (tree_.parents[f] >= 0) below[tree_.parents[f]] += cellsLeft(left);
    }
}

/// Room for a front, and for all others as far as they are foreseen: where each asked for a little more, new
/// pages would cost as much as the elimination. @return  false: a bound would be passed
template <class Cell>
bool FrontWalk<Cell>::widen(std::int64_t cells)
{
    if (cells_.cells() >= cells) return true;
    cells_.reset();
    if (!hasRoom(cells)) return false;
    const bool isRoomy = hasRoom(kRoomy * std::max(cells, largestFront_));
    cells_ = Block<Cell>(isRoomy ? withWaiting(std::max(cells, largestFront_)) : cells);
    return true;
}

/// Zeros, with names. @return  false: there is no room for it
template <class Cell>
bool FrontWalk<Cell>::open(std::int32_t f)
{
    name(f, rows_, &Contribution::rows);
    if (!isSymmetric()) name(f, columns_, &Contribution::columns);
    const std::int64_t n = size();
    if (!widen(n * n)) return false;
    for (std::int64_t j = 0; j < n; ++j)
        std::fill(&cell(isSymmetric() ? j : 0, j), cells_.get() + (j + 1) * n, Cell());
    return true;
}

/// Its own first, then what waits from the children, then those below.
template <class Cell>
void FrontWalk<Cell>::name(std::int32_t f, Side& side, Names names)
{
    side.names.clear();
    for (std::int32_t p = tree_.starts[f]; p < tree_.starts[f + 1]; ++p) side.names.push_back(p);
    for (const Contribution& child : contributionsTo(f))
        side.names.insert(side.names.end(), (child.*names).begin(), (child.*names).begin() + child.waiting);
    candidates_ = static_cast<std::int32_t>(side.names.size());
    side.names.insert(side.names.end(), tree_.rowsOf(f).begin(), tree_.rowsOf(f).end());
    for (std::int32_t k = 0; k < std::ssize(side.names); ++k) side.placeOf[side.names[k]] = k;
}

template <class Cell>
void FrontWalk<Cell>::addContributions(std::int32_t f)
{
    for (const Contribution& child : contributionsTo(f))
        isSymmetric() ? addTriangle(child) : addSquare(child);
    for (std::int32_t k = 0; k < children_[f]; ++k) {
        stack_.pop(cellsLeft(left_.back().size()));
        left_.pop_back();
    }
}

template <class Cell>
void FrontWalk<Cell>::addSquare(const Contribution& from)
{
    places_.resize(from.rows.size());
    std::ranges::transform(from.rows, places_.begin(), [&](std::int32_t p) { return rows_.placeOf[p]; });
    const Cell* next = from.cells;
    for (const std::int32_t column : from.columns) {
        Cell* const to = &cell(0, columns_.placeOf[column]);
        for (const std::int32_t place : places_) to[place] += *next++;
    }
}

/// Rows that wait go before those below, and behind the own ones: they alone may change sides.
template <class Cell>
void FrontWalk<Cell>::addTriangle(const Contribution& from)
{
    places_.resize(from.rows.size());
    std::ranges::transform(from.rows, places_.begin(), [&](std::int32_t p) { return rows_.placeOf[p]; });
    const Cell* next = from.cells;
    for (std::size_t j = 0; j < places_.size(); ++j) {
        const std::int32_t column = places_[j];
        Cell* const to = &cell(0, column);
        for (std::size_t i = j; i < places_.size(); ++i, ++next) {
            if (places_[i] >= column)
                to[places_[i]] += *next;
            else
                cell(column, places_[i]) += symmetry_ == Symmetry::Hermitian ? conjugate(*next) : *next;
        }
    }
}

/// @return  false: a bound was passed
template <class Cell>
bool FrontWalk<Cell>::keep(const Front<Cell>& front, std::int32_t pivots)
{
    const std::int64_t all = front.size, left = all - pivots,
                       panel = isSymmetric() ? all * pivots : all * all - left * left;
    for (std::int64_t below = left; below < all; ++below)
        made_.operations +=
            (isSymmetric() ? 1.0 : 2.0) * static_cast<double>(below) * static_cast<double>(below + 1);
    made_.delayed += front.candidates - pivots;
    const std::int64_t more = cellsLeft(left) + (givesAway(front, pivots) ? 0 : panel);
    if (made_.operations > bounds_.operations || !hasRoom(more)) return false;
    kept_ += panel;
    if (pivots > 0) keepPanel(front, pivots);
    if (left > 0) keepRest(front, pivots);
    return true;
}

/// The first columns of a front, which it has eliminated, and of an unsymmetric one the first rows.
template <class Cell>
void FrontWalk<Cell>::keepPanel(const Front<Cell>& front, std::int32_t pivots)
{
    const std::int64_t left = front.size - pivots;
    const std::int32_t firstPivot =
        made_.panels.empty() ? 0 : made_.panels.back().firstPivot + made_.panels.back().pivots;
    FrontPanel<Cell>& panel = made_.panels.emplace_back();
    if (givesAway(front, pivots)) {
        panel.lower = std::move(cells_);
        panel.lower.shrink(std::int64_t{front.size} * pivots);
    } else {
        panel.lower = Block<Cell>::copyOf(front.cells, std::int64_t{front.size} * pivots);
    }
    if (isSymmetric()) { // what stands above the diagonal was never written, and is saved with the rest
        for (std::int32_t j = 1; j < pivots; ++j)
            std::fill_n(panel.lower.get() + std::int64_t{front.size} * j, j, Cell());
    }
    panel.rows = rows_.names;
    panel.columns = columns_.names;
    panel.pivots = pivots;
    panel.firstPivot = firstPivot;
    if (!isSymmetric() && left > 0) {
        panel.upper = Block<Cell>(left * pivots);
        for (std::int32_t j = pivots; j < front.size; ++j)
            std::copy_n(front.column(j), pivots, panel.upper.get() + std::int64_t{j - pivots} * pivots);
    }
    made_.entries += panel.entries();
}

/// A root that fills its block gives it away.
template <class Cell>
bool FrontWalk<Cell>::givesAway(const Front<Cell>& front, std::int32_t pivots) const
{
    const std::int64_t cells = std::int64_t{front.size} * front.size;
    return pivots == front.size && cells_.cells() <= withWaiting(withWaiting(cells));
}

/// What is left of a front behind its pivots.
template <class Cell>
void FrontWalk<Cell>::keepRest(const Front<Cell>& front, std::int32_t pivots)
{
    Cell* to = stack_.push(cellsLeft(front.size - pivots));
    left_.push_back({to, {front.rows.begin() + pivots, front.rows.end()}, {}, front.candidates - pivots});
    if (!isSymmetric()) left_.back().columns.assign(front.columns.begin() + pivots, front.columns.end());
    for (std::int32_t j = pivots; j < front.size; ++j)
        to = std::copy(front.column(j) + (isSymmetric() ? j : pivots), front.column(j) + front.size, to);
}

} // namespace Velmar::Lintrix::detail::multifrontal
