// Notation. With the costs w_ij = ln|a_ij| - c_j <= 0, c_j = ln(largest magnitude of column j), the duals
// obey
//
//     length(i, j) = -(u_i + w_ij + q_j) >= 0,   and = 0 on matched entries,
//
// so that no other perfect matching has a larger sum of w, which is the logarithm of the product but for the
// constant sum of c_j. The caller gets v_j = q_j - c_j. A column that is not matched yet has q_j = 0, and
// u_i >= 0 throughout.

#include <lintrix/engine/analysis/matching/matching.h>

#include <lintrix/engine/analysis/matching/bit_vector.h>
#include <lintrix/engine/analysis/matching/distance_heap.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr double kEps = std::numeric_limits<double>::epsilon();
constexpr int kLooksPerRow = 10;
constexpr double kUnreached = std::numeric_limits<double>::infinity();

// 0 for an empty column.
void findColumnMaxima(const csr_new& record, std::span<double> columnMaximum) noexcept
{
    std::ranges::fill(columnMaximum, 0.0);
    for (int k = 0; k < record.nnz; ++k) {
        double& largest = columnMaximum[record.ja[k]];
        largest = std::max(largest, record.m[k]);
    }
}

void takeLogarithms(std::span<const double> columnMaximum, std::span<double> c) noexcept
{
    std::ranges::transform(columnMaximum, c.begin(),
                           [](double largest) { return largest > 0.0 ? std::log(largest) : 0.0; });
}

/// What a search reads and writes of a column, side by side in memory.
struct Column {
    double distance = kUnreached; ///< of the shortest path found that enters it
    double q = 0.0;               ///< its dual
    int row = -1;                 ///< its partner
    int entryTo = -1;             ///< the entry by which the path enters it,
    int rowBefore = -1;           ///< and that entry's row
};

/// The blocks of a matching under way.
struct Workspace {
    explicit Workspace(int n) noexcept
        : columns(Scratch<Column>::uninitialised(n)), heap(Scratch<DistanceHeap::Item>::uninitialised(n)),
          placeInHeap(Scratch<int>::uninitialised(n)), entryOfRow(Scratch<int>::uninitialised(n)),
          reached(Scratch<int>::uninitialised(n)), ready(Scratch<int>::uninitialised(n)),
          marks(Scratch<int>::zeroed(2 * bvec_new::wordsFor(n))),
          columnMaximum(Scratch<double>::uninitialised(n))
    {
    }
    std::int64_t bytesMissing() const noexcept
    {
        return missingBytes(columns, heap, placeInHeap, entryOfRow, reached, ready, marks, columnMaximum);
    }

    Scratch<Column> columns;
    Scratch<DistanceHeap::Item> heap;
    Scratch<int> placeInHeap, entryOfRow, reached, ready;
    Scratch<int> marks; ///< of columns, then of rows
    Scratch<double> columnMaximum;
};

class Matcher {
public:
    Matcher(const csr_new& record, Matching& matching, const Workspace& work) noexcept
        : ia_(record.ia.span()), ja_(record.ja.span()), w_(record.m.span()), n_(record.n),
          columnMaximum_(work.columnMaximum.span()), c_(matching.v), columnOfRow_(matching.columnOfRow),
          u_(matching.u), columns_(work.columns.span()), entryOfRow_(work.entryOfRow.span()),
          reached_(work.reached.span()), ready_(work.ready.span()),
          visited_(work.marks.span().first(work.marks.span().size() / 2)),
          costed_(work.marks.span().last(work.marks.span().size() / 2)),
          heap_(work.heap.span(), work.placeInHeap.span())
    {
    }

    /// Gives rows their duals and the diagonal entries that are tight. @return  whether all rows have theirs
    bool matchesDiagonal() noexcept
    {
        for (int i = 0; i < n_; ++i) size_ += startRow(i);
        return size_ == n_;
    }

    /// The number of pairs, of those that are found by the time at which the work has to end.
    int run() noexcept
    {
        std::ranges::fill(columns_, Column{});
        for (int i = 0; i < n_; ++i) {
            if (columnOfRow_[i] >= 0) columns_[i].row = i;
        }
        matchTightEntries();
        const WorkMeter asking(0.0); // tells nothing
        for (int i = 0; i < n_ && asking.goesOn(); ++i) {
            if (columnOfRow_[i] < 0) augmentFrom(i);
        }
        if (size_ == n_) removeDrift();
        return size_;
    }

private:
    // Quotients of magnitudes tell the same as differences of logarithms, unless they are lost to underflow.
    static constexpr double kLeastQuotient = 1e-290;

    double length(int row, int entry) const noexcept
    {
        return -(u_[row] + w_[entry] + columns_[ja_[entry]].q);
    }

    // Logarithms take longer than all else here, and few rows are looked at again: those have costs in place
    // of magnitudes.
    void takeCosts(int row) noexcept
    {
        if (costed_.test(row)) return;
        costed_.set(row);
        for (int k = ia_[row]; k < ia_[row + 1]; ++k) w_[k] = std::log(w_[k]) - c_[ja_[k]];
    }

    // q = 0 is feasible, since each column's largest cost is 0, and u_i is as large as it can be; q_j could
    // not be larger, for the row of that cost has u_i = 0.
    // @return  whether the diagonal entry is tight then
    bool startRow(int i) noexcept
    {
        double largest = 0.0, onDiagonal = 0.0;
        int entry = -1, diagonal = -1;
        for (int k = ia_[i]; k < ia_[i + 1]; ++k) {
            const double quotient = w_[k] / columnMaximum_[ja_[k]];
            if (quotient > largest) {
                largest = quotient;
                entry = k;
            }
            if (ja_[k] == i && quotient >= onDiagonal) {
                onDiagonal = quotient;
                diagonal = k;
            }
        }
        if (largest < kLeastQuotient) return startSmallRow(i);
        u_[i] = largest == 1.0 ? 0.0 : c_[ja_[entry]] - std::log(w_[entry]);
        return startMatch(i, onDiagonal == largest ? diagonal : -1);
    }

    bool startSmallRow(int i) noexcept
    {
        takeCosts(i);
        const auto row = w_.subspan(ia_[i], ia_[i + 1] - ia_[i]);
        const double largest = row.empty() ? 0.0 : *std::ranges::max_element(row);
        u_[i] = -largest;
        int diagonal = -1;
        for (int k = ia_[i]; k < ia_[i + 1]; ++k) {
            if (ja_[k] == i && w_[k] == largest) diagonal = k;
        }
        return startMatch(i, diagonal);
    }

    bool startMatch(int i, int diagonal) noexcept
    {
        entryOfRow_[i] = diagonal;
        columnOfRow_[i] = diagonal < 0 ? -1 : i;
        return diagonal >= 0;
    }

    void match(int row, int entry) noexcept
    {
        columnOfRow_[row] = ja_[entry];
        columns_[ja_[entry]].row = row;
        entryOfRow_[row] = entry;
    }

    // Cheap assignment: a free row takes a tight free column, or the tight column of a row that can move on
    // to a tight free column. The cursors of rows never go back, since a matched column stays matched, so
    // that this takes one pass over the matrix for each of the two levels.
    void matchTightEntries() noexcept
    {
        const std::span<int> cursor = reached_;
        std::copy_n(ia_.begin(), n_, cursor.begin());
        for (int i = 0; i < n_; ++i) {
            if (columnOfRow_[i] < 0 && (takeFreeColumn(i, cursor) || takeByMovingOn(i, cursor))) ++size_;
        }
    }

    bool takeFreeColumn(int row, std::span<int> cursor) noexcept
    {
        takeCosts(row);
        for (int& k = cursor[row]; k < ia_[row + 1]; ++k) {
            if (length(row, k) > 0.0 || columns_[ja_[k]].row >= 0) continue;
            match(row, k);
            return true;
        }
        return false;
    }

    bool takeByMovingOn(int row, std::span<int> cursor) noexcept
    {
        for (int k = ia_[row]; k < ia_[row + 1]; ++k) {
            if (length(row, k) > 0.0 || !takeFreeColumn(columns_[ja_[k]].row, cursor)) continue;
            match(row, k);
            return true;
        }
        return false;
    }

    // Dijkstra's search over columns from the free row `root`: a column's distance is the length of the
    // shortest alternating path that enters it. It ends when a free column is as near as any that is left. If
    // there is none, the columns visited cannot lead to a free one, now or later: they stay marked, and no
    // later search enters them.
    void augmentFrom(int root) noexcept
    {
        reachedCount_ = readyCount_ = 0;
        shortest_ = kUnreached;
        freeColumn_ = -1;
        relax(root, 0.0);
        for (int column = nextColumn(); column >= 0; column = nextColumn()) {
            visited_.set(column);
            relax(columns_[column].row, columns_[column].distance);
        }
        heap_.clear();
        if (freeColumn_ >= 0) {
            augment(root);
            updateDuals();
            ++size_;
        }
        for (const int j : reached_.first(reachedCount_)) columns_[j].distance = kUnreached;
    }

    // The nearest column that waits, or -1 when none can shorten the path found so far.
    int nextColumn() noexcept
    {
        if (readyCount_ == 0 && heap_.empty()) return -1;
        const int column = readyCount_ > 0 ? ready_[readyCount_ - 1] : heap_.nearest();
        if (freeColumn_ >= 0 && columns_[column].distance >= shortest_) return -1;
        if (readyCount_ > 0) {
            --readyCount_;
        } else {
            heap_.removeNearest();
        }
        return column;
    }

    // Offers the columns of `row`, which stands at distance `base`. Columns at the same distance wait on a
    // stack, those beyond it in the heap.
    void relax(int row, double base) noexcept
    {
        takeCosts(row);
        for (int k = ia_[row]; k < ia_[row + 1]; ++k) {
            const int j = ja_[k];
            if (visited_.test(j)) continue;
            Column& column = columns_[j];
            const double reach = base + std::max(0.0, length(row, k)); // rounding may have gone below 0
            if (reach > shortest_ || reach >= column.distance) continue;
            if (column.distance == kUnreached) reached_[reachedCount_++] = j;
            column.distance = reach;
            column.entryTo = k;
            column.rowBefore = row;
            if (column.row < 0) {
                shortest_ = reach;
                freeColumn_ = j;
            } else if (heap_.contains(j)) {
                heap_.raise(j, reach);
            } else if (reach <= base) {
                ready_[readyCount_++] = j;
            } else {
                heap_.insert(j, reach);
            }
        }
    }

    // Exchanges matched and other entries along the path from `root` to the free column.
    void augment(int root) noexcept
    {
        int row = -1;
        for (int column = freeColumn_; row != root;) {
            row = columns_[column].rowBefore;
            const int left = columnOfRow_[row];
            match(row, columns_[column].entryTo);
            column = left;
        }
    }

    // Columns visited at distance d move down by (shortest - d); the rows of the search, all matched to these
    // columns or to the one that was free, move up to keep their entries tight.
    void updateDuals() noexcept
    {
        for (const int j : reached_.first(reachedCount_)) {
            if (!visited_.test(j)) continue;
            columns_[j].q -= shortest_ - columns_[j].distance;
            visited_.reset(j);
            tightenRowOf(j);
        }
        tightenRowOf(freeColumn_);
    }

    void tightenRowOf(int column) noexcept
    {
        const int row = columns_[column].row;
        u_[row] = -(w_[entryOfRow_[row]] + columns_[column].q);
    }

    // Many searches leave rounding errors in the duals. Where an entry has become shorter than 0 by more than
    // the rounding of its own sum, its column gives way, and the column's row is looked at again. Rows that
    // no search has met have the duals that they began with, below which no entry falls. The number of looks
    // is limited, for around a cycle of length 0 the errors could chase each other.
    void removeDrift() noexcept
    {
        const std::span<int> stack = ready_;
        const bvec_new waiting = visited_; // all clear after the last search
        int count = 0;
        for (int i = 0; i < n_; ++i) {
            if (!costed_.test(i)) continue;
            stack[count++] = i;
            waiting.set(i);
        }
        for (std::int64_t looks = kLooksPerRow * std::int64_t{n_}; count > 0 && looks > 0; --looks) {
            const int row = stack[--count];
            waiting.reset(row);
            for (int k = ia_[row]; k < ia_[row + 1]; ++k) {
                if (!giveWay(row, k)) continue;
                const int neighbour = columns_[ja_[k]].row;
                if (waiting.test(neighbour)) continue;
                waiting.set(neighbour);
                stack[count++] = neighbour;
            }
        }
    }

    bool giveWay(int row, int entry) noexcept
    {
        Column& column = columns_[ja_[entry]];
        const double excess = -length(row, entry);
        const double rounding = kEps * (std::abs(u_[row]) + std::abs(w_[entry]) + std::abs(column.q));
        if (column.row == row || excess <= rounding) return false;
        column.q -= excess;
        takeCosts(column.row);
        tightenRowOf(ja_[entry]);
        return true;
    }

    std::span<const int> ia_, ja_;
    std::span<double> w_; ///< the magnitudes, in rows that have been looked at the costs
    int n_;
    std::span<const double> columnMaximum_, c_;

    std::span<int> columnOfRow_;
    std::span<double> u_;
    std::span<Column> columns_;
    std::span<int> entryOfRow_; ///< of a matched row: where its pair stands in the record
    int size_ = 0;

    // The search under way.
    std::span<int> reached_;
    std::span<int> ready_;
    bvec_new visited_;
    bvec_new costed_; ///< rows
    DistanceHeap heap_;
    int reachedCount_ = 0, readyCount_ = 0;
    double shortest_ = 0.0; ///< length of the path to freeColumn_
    int freeColumn_ = -1;
};

} // namespace

Failure matchMaximumProduct(csr_new& record, Matching& matching) noexcept
{
    const Workspace work(record.n);
    if (const std::int64_t bytes = work.bytesMissing(); bytes > 0)
        return outOfMemory(BlockCode::MatchingScratch, bytes);
    findColumnMaxima(record, work.columnMaximum.span());
    takeLogarithms(work.columnMaximum.span(), matching.v);
    Matcher matcher(record, matching, work);
    if (matcher.matchesDiagonal()) {
        matching.size = record.n;
        std::ranges::copy(matching.columnOfRow, matching.rowOfColumn.begin());
        std::ranges::transform(matching.v, matching.v.begin(), std::negate<>());
        return {};
    }
    matching.size = matcher.run();
    if (!WorkScope::goesOn()) return stopped();
    for (int j = 0; j < record.n; ++j) {
        matching.rowOfColumn[j] = work.columns[j].row;
        matching.v[j] = work.columns[j].q - matching.v[j];
    }
    return matching.size == record.n ? Failure{} : Failure{Error::Matching, -matching.size};
}

} // namespace Velmar::Lintrix::detail::engine
