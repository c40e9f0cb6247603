// Notation. With the costs w_ij = ln|a_ij| - c_j <= 0, c_j = ln(largest magnitude of column j), the duals
// obey
//
//     length(i, j) = -(u_i + w_ij + q_j) >= 0,   and = 0 on matched entries,
//
// so that no other perfect matching has a larger sum of w, which is the logarithm of the product but for the
// constant sum of c_j. The caller gets v_j = q_j - c_j. A column that is not matched yet has q_j = 0, and
// u_i >= 0 throughout; so an augmenting path, whose length is a sum of at most n costs -w less duals of its
// ends, is never longer than -n min w.

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

bool standOnDiagonal(std::span<const double> columnMaximum, const csr_new& record) noexcept
{
    for (int i = 0; i < record.n; ++i) {
        int k = record.ia[i];
        while (k < record.ia[i + 1] && !(record.ja[k] == i && record.m[k] == columnMaximum[i])) ++k;
        if (k == record.ia[i + 1]) return false;
    }
    return true;
}

void takeLogarithms(std::span<double> columnMaximum) noexcept
{
    for (double& c : columnMaximum) c = c > 0.0 ? std::log(c) : 0.0;
}

// Magnitudes become costs; the smallest of them returns.
double replaceByCosts(csr_new& record, std::span<const double> logColumnMaximum) noexcept
{
    double smallest = 0.0;
    for (int k = 0; k < record.nnz; ++k) {
        record.m[k] = std::log(record.m[k]) - logColumnMaximum[record.ja[k]];
        smallest = std::min(smallest, record.m[k]);
    }
    return smallest;
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
          visited(Scratch<int>::zeroed(bvec_new::wordsFor(n))),
          logColumnMaximum(Scratch<double>::uninitialised(n))
    {
    }
    std::int64_t bytesMissing() const noexcept
    {
        return missingBytes(columns, heap, placeInHeap, entryOfRow, reached, ready, visited,
                            logColumnMaximum);
    }

    Scratch<Column> columns;
    Scratch<DistanceHeap::Item> heap;
    Scratch<int> placeInHeap, entryOfRow, reached, ready, visited;
    Scratch<double> logColumnMaximum;
};

class Matcher {
public:
    Matcher(const csr_new& record, Matching& matching, const Workspace& work, double smallestCost) noexcept
        : ia_(record.ia.span()), ja_(record.ja.span()), w_(record.m.span()), n_(record.n),
          bound_((-static_cast<double>(n_) - 1.0) * smallestCost), columnOfRow_(matching.columnOfRow),
          u_(matching.u), columns_(work.columns.span()), entryOfRow_(work.entryOfRow.span()),
          reached_(work.reached.span()), ready_(work.ready.span()), visited_(work.visited.span()),
          heap_(work.heap.span(), work.placeInHeap.span())
    {
        std::fill(columnOfRow_.begin(), columnOfRow_.end(), -1);
        std::fill(columns_.begin(), columns_.end(), Column{});
    }

    /// The number of pairs, of those that are found by the time at which the work has to end.
    int run() noexcept
    {
        initialiseRowDuals();
        matchTightDiagonal();
        matchTightEntries();
        for (int i = 0; i < n_ && WorkScope::goesOn(); ++i) {
            if (columnOfRow_[i] < 0) augmentFrom(i);
        }
        if (size_ == n_) removeDrift();
        return size_;
    }

private:
    double length(int row, int entry) const noexcept
    {
        return -(u_[row] + w_[entry] + columns_[ja_[entry]].q);
    }

    // q = 0 is feasible, since each column's largest cost is 0, and u_i is as large as it can be; q_j could
    // not be larger, for the row of that cost has u_i = 0.
    void initialiseRowDuals() noexcept
    {
        for (int i = 0; i < n_; ++i) {
            const auto row = w_.subspan(ia_[i], ia_[i + 1] - ia_[i]);
            u_[i] = row.empty() ? 0.0 : -*std::max_element(row.begin(), row.end());
        }
    }

    void match(int row, int entry) noexcept
    {
        columnOfRow_[row] = ja_[entry];
        columns_[ja_[entry]].row = row;
        entryOfRow_[row] = entry;
    }

    void matchTightDiagonal() noexcept
    {
        for (int i = 0; i < n_; ++i) {
            for (int k = ia_[i]; k < ia_[i + 1] && columnOfRow_[i] < 0; ++k) {
                if (ja_[k] == i && length(i, k) <= 0.0) {
                    match(i, k);
                    ++size_;
                }
            }
        }
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
        shortest_ = bound_;
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
    // the rounding of its own sum, its column gives way, and the column's row is looked at again. The number
    // of looks is limited, for around a cycle of length 0 the errors could chase each other.
    void removeDrift() noexcept
    {
        const std::span<int> stack = ready_;
        const bvec_new waiting = visited_; // all clear after the last search
        for (int i = 0; i < n_; ++i) {
            stack[i] = i;
            waiting.set(i);
        }
        int count = n_;
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
        tightenRowOf(ja_[entry]);
        return true;
    }

    std::span<const int> ia_, ja_;
    std::span<const double> w_;
    int n_;
    double bound_;

    std::span<int> columnOfRow_;
    std::span<double> u_;
    std::span<Column> columns_;
    std::span<int> entryOfRow_; ///< of a matched row: where its pair stands in the record
    int size_ = 0;

    // The search under way.
    std::span<int> reached_;
    std::span<int> ready_;
    bvec_new visited_;
    DistanceHeap heap_;
    int reachedCount_ = 0, readyCount_ = 0;
    double shortest_ = 0.0; ///< length of the path to freeColumn_, or the bound while there is none
    int freeColumn_ = -1;
};

// No product is larger than that of the columns' largest magnitudes: where they stand on the diagonal, that
// is the matching, all u_i and q_j are 0, and nothing has to be sought.
void matchDiagonal(std::span<const double> logColumnMaximum, Matching& matching) noexcept
{
    matching.size = static_cast<int>(logColumnMaximum.size());
    std::iota(matching.columnOfRow.begin(), matching.columnOfRow.end(), 0);
    std::iota(matching.rowOfColumn.begin(), matching.rowOfColumn.end(), 0);
    std::ranges::fill(matching.u, 0.0);
    std::ranges::transform(logColumnMaximum, matching.v.begin(), std::negate<>());
}

} // namespace

Failure matchMaximumProduct(csr_new& record, Matching& matching) noexcept
{
    const Workspace work(record.n);
    if (const std::int64_t bytes = work.bytesMissing(); bytes > 0)
        return outOfMemory(BlockCode::MatchingScratch, bytes);
    const std::span<double> c = work.logColumnMaximum.span();
    findColumnMaxima(record, c);
    const bool isDiagonal = standOnDiagonal(c, record);
    takeLogarithms(c);
    if (isDiagonal) {
        matchDiagonal(c, matching);
        return {};
    }
    const double smallestCost = replaceByCosts(record, c);
    matching.size = Matcher(record, matching, work, smallestCost).run();
    if (!WorkScope::goesOn()) return stopped();
    for (int j = 0; j < record.n; ++j) {
        matching.rowOfColumn[j] = work.columns[j].row;
        matching.v[j] = work.columns[j].q - c[j];
    }
    return matching.size == record.n ? Failure{} : Failure{Error::Matching, -matching.size};
}

} // namespace Velmar::Lintrix::detail::engine
